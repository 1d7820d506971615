#include "jet/row/long_value.h"

#include <algorithm>

#include "jet/base/bytes.h"
#include "jet/base/text.h"
#include "jet/pages/slotted_page.h"

namespace jet {

namespace {

constexpr std::uint32_t kInlineBits = 0x8000'0000;
constexpr std::uint32_t kSingleBits = 0x4000'0000;
constexpr std::uint32_t kLengthBits = 0x3FFF'FFFF;

constexpr std::size_t kWorthMarkingBytes = 257;  // pages with more room are in the free map
constexpr std::size_t kPagesTried = 16;          // of the free map, before a new page is taken

// The row's bytes behind `at`; the page must be one of long values.
ByteView LongValueRow(RowId at, PageView page) {
  const RowPage rows(at.page, page);
  if (rows.owner() != kLvalOwner) throw Error::Damaged(at.page, "not a page of long values");
  if (at.row >= rows.row_count() || rows.kind(at.row) != SlotKind::kLive) {
    throw Error::Damaged(at.page, "long value in row " + std::to_string(at.row) + " is not there");
  }
  return rows.row(at.row);
}

// Calls `visit(at, chunk)` for every row of a chain, until the length is reached.
template <typename Visit>
void WalkChain(Pager& pager, const LongValueDescriptor& descriptor, Visit&& visit) {
  std::size_t left = descriptor.length;
  RowId at = descriptor.at;
  // Each link has a page of its own.
  for (std::uint32_t links = 0; at && left != 0; ++links) {
    if (links == pager.page_count()) throw Error::Damaged(at.page, "a chain runs in a circle");
    const PageRef page = pager.Read(at.page);
    const ByteView row = LongValueRow(at, page.bytes());
    if (row.size() <= kChainLinkBytes)
      throw Error::Damaged(at.page, "empty link in a chain of long values");
    const ByteView chunk =
        row.subspan(kChainLinkBytes, std::min(left, row.size() - kChainLinkBytes));
    const RowId next = RowId::FromPacked(GetU32(row, 0));
    left -= chunk.size();
    visit(at, chunk);
    at = next;
  }
  if (left != 0) throw Error::Damaged(descriptor.at.page, "a chain of long values is too short");
}

Bytes MakeDescriptor(std::size_t length, std::uint32_t kind, RowId at, std::uint32_t stamp) {
  Bytes out;
  AddU32(out, static_cast<std::uint32_t>(length) | kind);
  AddU32(out, at.packed());
  AddU32(out, stamp);
  return out;
}

PageNumber NewLongValuePage(PageAllocator& allocator, const ColumnDef& column) {
  Pager& pager = allocator.pager();
  const PageNumber page = allocator.Allocate();
  InitRowPage(pager.Edit(page), kLvalOwner);
  UsageMap(pager, column.owned_map).Add(page, allocator);
  return page;
}

// A page of the column with room for `length` bytes, a new one if need be.
PageNumber PageWithRoom(PageAllocator& allocator, const ColumnDef& column, std::size_t length) {
  Pager& pager = allocator.pager();
  const UsageMap owned(pager, column.owned_map), free_map(pager, column.free_map);
  PageNumber from{1};
  for (std::size_t tried = 0; tried < kPagesTried; ++tried) {
    const std::optional<PageNumber> page = free_map.FirstFrom(from);
    if (!page) break;
    const PageRef ref = pager.Read(*page);
    const bool ours = owned.Contains(*page) && RowPage::IsRowPage(ref.bytes()) &&
                      RowPage(*page, ref.bytes()).owner() == kLvalOwner;
    if (ours && FitsNewRow(*page, ref.bytes(), length)) return *page;
    from = PageNumber{page->value + 1};
  }
  return NewLongValuePage(allocator, column);
}

void UpdateFreeMap(PageAllocator& allocator, const ColumnDef& column, PageNumber page) {
  Pager& pager = allocator.pager();
  const bool worth = HasRoomForLongValues(page, pager.Read(page).bytes());
  UsageMap free_map(pager, column.free_map);
  if (worth == free_map.Contains(page)) return;
  if (worth) {
    free_map.Add(page, allocator);
  } else {
    free_map.Remove(page);
  }
}

Bytes StoreSingle(PageAllocator& allocator, const ColumnDef& column, ByteView value) {
  const PageNumber page = PageWithRoom(allocator, column, value.size());
  const std::uint8_t row = AddRow(page, allocator.pager().Edit(page), value, SlotKind::kLive);
  UpdateFreeMap(allocator, column, page);
  return MakeDescriptor(value.size(), kSingleBits, RowId{page, row}, 0);
}

Bytes StoreChain(PageAllocator& allocator, const ColumnDef& column, ByteView value) {
  Pager& pager = allocator.pager();
  std::vector<PageNumber> pages((value.size() + kChunkBytes - 1) / kChunkBytes);
  for (PageNumber& page : pages) page = NewLongValuePage(allocator, column);
  Bytes row;
  for (std::size_t i = 0; i < pages.size(); ++i) {
    const std::size_t at = i * kChunkBytes;
    const bool last = i + 1 == pages.size();
    row.clear();
    AddU32(row, last ? 0 : RowId{pages[i + 1], 0}.packed());
    AddBytes(row, value.subspan(at, std::min(kChunkBytes, value.size() - at)));
    AddRow(pages[i], pager.Edit(pages[i]), row, SlotKind::kLive);
  }
  // Any number but 0 does, as long as page and descriptor agree.
  const RowId first{pages.front(), 0};
  const std::uint32_t stamp = first.packed();
  PutStamp(pager.Edit(first.page), stamp);
  return MakeDescriptor(value.size(), 0, first, stamp);
}

LongValueKind KindFor(std::size_t plain_bytes) {
  if (plain_bytes <= kMaxInlineBytes) return LongValueKind::kInline;
  return plain_bytes <= kMaxSingleBytes ? LongValueKind::kSingle : LongValueKind::kChain;
}

Bytes Store(PageAllocator& allocator, const ColumnDef& column, LongValueKind kind, ByteView value) {
  if (value.size() > kMaxLongValueBytes) {
    throw Error(ErrorCode::kTextTooLong, "a long value of over 1 GB").OfColumn(column.name);
  }
  if (kind == LongValueKind::kChain) return StoreChain(allocator, column, value);
  if (kind == LongValueKind::kSingle) return StoreSingle(allocator, column, value);
  Bytes out = MakeDescriptor(value.size(), kInlineBits, RowId{}, 0);
  AddBytes(out, value);
  return out;
}

// Deletes one row and gives back its page if nothing else is on it.
void FreeRow(PageAllocator& allocator, const ColumnDef& column, RowId at) {
  Pager& pager = allocator.pager();
  LongValueRow(at, pager.Read(at.page).bytes());  // throws if it is not there
  DeleteRow(at.page, pager.Edit(at.page), at.row);
  bool empty = true;
  {
    const PageRef ref = pager.Read(at.page);
    const RowPage rows(at.page, ref.bytes());
    for (std::size_t row = 0; empty && row < rows.row_count(); ++row) {
      empty = rows.kind(row) == SlotKind::kDeleted;
    }
  }
  // Else it is not the column's to give away or to fill.
  if (!UsageMap(pager, column.owned_map).Contains(at.page)) return;
  if (!empty) {
    UpdateFreeMap(allocator, column, at.page);
    return;
  }
  UsageMap(pager, column.free_map).Remove(at.page);
  MarkReleased(pager.Edit(at.page));
  allocator.Free(at.page, column.owned_map);
}

}  // namespace

LongValueDescriptor ParseLongValue(ByteView stored) {
  const std::uint32_t first = GetU32(stored, 0);
  LongValueDescriptor descriptor;
  descriptor.length = first & kLengthBits;
  descriptor.at = RowId::FromPacked(GetU32(stored, 4));
  descriptor.stamp = GetU32(stored, 8);
  switch (first & ~kLengthBits) {
    case kInlineBits:
      descriptor.kind = LongValueKind::kInline;
      break;
    case kSingleBits:
      descriptor.kind = LongValueKind::kSingle;
      break;
    case 0:
      descriptor.kind = LongValueKind::kChain;
      break;
    default:
      throw Error(ErrorCode::kDamaged, "long value of no known kind");
  }
  return descriptor;
}

Bytes ReadLongValue(Pager& pager, ByteView stored) {
  const LongValueDescriptor descriptor = ParseLongValue(stored);
  if (descriptor.kind == LongValueKind::kInline) {
    const ByteView value = Slice(stored, kLongValueDescriptorBytes, descriptor.length);
    return Bytes(value.begin(), value.end());
  }
  Bytes value;
  // A length that the file cannot hold asks for no memory.
  value.reserve(
      std::min<std::uint64_t>(descriptor.length, std::uint64_t{pager.page_count()} * kChunkBytes));
  ReadPieces(pager, descriptor, [&](ByteView piece) { AddBytes(value, piece); });
  return value;
}

void ReadPieces(Pager& pager, const LongValueDescriptor& value,
                const std::function<void(ByteView)>& piece) {
  if (value.kind == LongValueKind::kChain) {
    WalkChain(pager, value, [&](RowId, ByteView chunk) { piece(chunk); });
    return;
  }
  const PageRef page = pager.Read(value.at.page);
  const ByteView row = LongValueRow(value.at, page.bytes());
  if (row.size() < value.length) {
    throw Error::Damaged(value.at.page, "a long value is shorter than its length");
  }
  piece(row.first(value.length));
}

bool HasRoomForLongValues(PageNumber number, PageView page) {
  return RowPage(number, page).free_bytes() > kWorthMarkingBytes;
}

Bytes WriteLongValue(PageAllocator& allocator, const ColumnDef& column, ByteView value) {
  return Store(allocator, column, KindFor(value.size()), value);
}

Bytes WriteMemo(PageAllocator& allocator, const ColumnDef& column, std::u16string_view text) {
  const LongValueKind kind = KindFor(text.size() * 2);
  TextForm form = TextForm::kPlain;
  if (kind == LongValueKind::kInline) form = TextForm::kInlineMemo;
  if (kind == LongValueKind::kSingle && column.compressed()) form = TextForm::kText;
  return Store(allocator, column, kind, EncodeText(text, form));
}

void FreeLongValue(PageAllocator& allocator, const ColumnDef& column, ByteView stored) {
  const LongValueDescriptor descriptor = ParseLongValue(stored);
  if (descriptor.kind == LongValueKind::kInline) return;
  if (descriptor.kind == LongValueKind::kSingle) {
    FreeRow(allocator, column, descriptor.at);
    return;
  }
  // The chain is walked to its end before any link of it goes.
  std::vector<RowId> links;
  WalkChain(allocator.pager(), descriptor, [&](RowId at, ByteView) { links.push_back(at); });
  for (RowId at : links) FreeRow(allocator, column, at);
}

}  // namespace jet
