#include "jet/pages/slotted_page.h"

#include <algorithm>
#include <cstring>

#include "jet/base/bytes.h"

namespace jet {
namespace {

constexpr std::uint16_t kPageType = 0x0101;
constexpr std::uint16_t kReleasedPageType = 0x0109;
constexpr std::size_t kFree = 0x02;
constexpr std::size_t kOwner = 0x04;
constexpr std::size_t kRowCount = 0x0C;
constexpr std::size_t kSlots = 0x0E;
constexpr std::uint16_t kOffsetMask = 0x1FFF;
constexpr std::uint16_t kFlagsMask = 0xC000;
constexpr std::uint16_t kMovedFlag = 0x4000;
constexpr std::uint16_t kBodyFlag = 0x8000;

std::uint16_t Slot(PageView page, std::size_t row) {
  return GetU16(page, kSlots + kSlotSize * row);
}

std::size_t Offset(PageView page, std::size_t row) { return Slot(page, row) & kOffsetMask; }

// Where row `row` ends: where the one before it starts.
std::size_t End(PageView page, std::size_t row) {
  return row == 0 ? kPageSize : Offset(page, row - 1);
}

std::size_t LowestOffset(PageView page, std::size_t rows) {
  return rows == 0 ? kPageSize : Offset(page, rows - 1);
}

std::uint16_t Flags(SlotKind kind) {
  switch (kind) {
    case SlotKind::kLive:
      return 0;
    case SlotKind::kMoved:
      return kMovedFlag;
    case SlotKind::kBody:
      return kBodyFlag;
    case SlotKind::kDeleted:
      return kFlagsMask;
  }
  return 0;
}

SlotKind KindOf(std::uint16_t slot) {
  switch (slot & kFlagsMask) {
    case 0:
      return SlotKind::kLive;
    case kMovedFlag:
      return SlotKind::kMoved;
    case kBodyFlag:
      return SlotKind::kBody;
    default:
      return SlotKind::kDeleted;
  }
}

void PutFree(PageSpan page, std::size_t rows) {
  PutU16(page, kFree, LowestOffset(page, rows) - (kSlots + kSlotSize * rows));
}

// Gives row `row` a length of `length` by sliding all rows below it. The caller
// has checked that there is room.
void Resize(PageSpan page, std::size_t rows, std::size_t row, std::size_t length) {
  const std::size_t old_start = Offset(page, row);
  const std::size_t new_start = End(page, row) - length;
  const std::size_t lowest = LowestOffset(page, rows);
  const std::size_t below = old_start - lowest;
  if (new_start == old_start) return;
  std::memmove(page.data() + (new_start - below), page.data() + lowest, below);
  for (std::size_t i = row; i < rows; ++i) {
    const std::uint16_t slot = Slot(page, i);
    const std::size_t moved = (slot & kOffsetMask) + new_start - old_start;
    PutU16(page, kSlots + kSlotSize * i, (slot & ~kOffsetMask) | moved);
  }
  PutFree(page, rows);
}

[[noreturn]] void ThrowNoRow(PageNumber page, std::size_t row) {
  throw Error::Damaged(page, "no row " + std::to_string(row));
}

}  // namespace

bool RowPage::IsRowPage(PageView page) { return GetU16(page, 0) == kPageType; }

RowPage::RowPage(PageNumber number, PageView page)
    : number_(number), page_(page), rows_(GetU16(page, kRowCount)) {
  if (!IsRowPage(page)) throw Error::Damaged(number, "not a page of rows");
  if (rows_ > kMaxRowsOnPage + 1) throw Error::Damaged(number, "too many rows");
  std::size_t end = kPageSize;
  const std::size_t slots_end = kSlots + kSlotSize * rows_;
  for (std::size_t i = 0; i < rows_; ++i) {
    const std::size_t start = Offset(page, i);
    if (start > end || start < slots_end) throw Error::Damaged(number, "row slots contradict");
    end = start;
  }
}

std::uint32_t RowPage::OwnerOf(PageView page) { return GetU32(page, kOwner); }
std::uint32_t RowPage::owner() const { return OwnerOf(page_); }
std::uint16_t RowPage::free_bytes() const { return GetU16(page_, kFree); }

SlotKind RowPage::kind(std::size_t row) const {
  if (row >= rows_) ThrowNoRow(number_, row);
  return KindOf(Slot(page_, row));
}

ByteView RowPage::row(std::size_t row) const {
  if (row >= rows_) ThrowNoRow(number_, row);
  const std::size_t start = Offset(page_, row);
  return page_.subspan(start, End(page_, row) - start);
}

std::optional<std::size_t> RowPage::FirstHome(std::size_t from) const {
  for (std::size_t row = from; row < rows_; ++row) {
    const SlotKind found = KindOf(Slot(page_, row));
    if (found == SlotKind::kLive || found == SlotKind::kMoved) return row;
  }
  return std::nullopt;
}

void InitRowPage(PageSpan page, std::uint32_t owner) {
  std::fill(page.begin(), page.end(), std::uint8_t{0});
  PutU16(page, 0, kPageType);
  PutU16(page, kFree, kPageSize - kSlots);
  PutU32(page, kOwner, owner);
}

std::optional<FoundRow> FindRow(PageNumber number, PageView page, std::size_t row) {
  const std::size_t rows = GetU16(page, kRowCount);
  if (row >= rows) return std::nullopt;
  const std::size_t start = Offset(page, row), end = End(page, row);
  if (rows > kMaxRowsOnPage + 1 || start > end || end > kPageSize ||
      start < kSlots + kSlotSize * rows) {
    throw Error::Damaged(number, "row slots contradict");
  }
  return FoundRow{KindOf(Slot(page, row)), page.subspan(start, end - start)};
}

bool FitsNewRow(PageNumber number, PageView page, std::size_t length) {
  if (!RowPage::IsRowPage(page)) throw Error::Damaged(number, "not a page of rows");
  const std::size_t rows = GetU16(page, kRowCount);
  if (rows >= kMaxRowsOnPage) return false;
  const std::size_t lowest = LowestOffset(page, rows), slots_end = kSlots + kSlotSize * rows;
  if (lowest > kPageSize || lowest < slots_end) {
    throw Error::Damaged(number, "row slots contradict");
  }
  return length + kSlotSize <= lowest - slots_end;
}

std::array<PagePart, 2> PartsOfNewRow(PageView page, std::size_t length) {
  const std::size_t rows = GetU16(page, kRowCount);
  return {PagePart{0, kSlots + kSlotSize * (rows + 1)},
          PagePart{LowestOffset(page, rows) - length, length}};
}

std::uint8_t AddRow(PageNumber number, PageSpan page, ByteView bytes, SlotKind kind) {
  if (!FitsNewRow(number, page, bytes.size())) throw Error::Damaged(number, "no room for a row");
  const std::size_t rows = GetU16(page, kRowCount);
  const std::size_t start = LowestOffset(page, rows) - bytes.size();
  PutBytes(page, start, bytes);
  PutU16(page, kSlots + kSlotSize * rows, start | Flags(kind));
  PutU16(page, kRowCount, rows + 1);
  PutFree(page, rows + 1);
  return static_cast<std::uint8_t>(rows);
}

std::size_t AddRows(PageNumber number, PageSpan page, const RowPage& from, std::size_t first) {
  const PageView source = from.page();
  const std::size_t rows = GetU16(page, kRowCount), end = End(source, first);
  const auto bytes_of = [&](std::size_t count) { return end - Offset(source, first + count - 1); };
  std::size_t count = 0;
  while (first + count < from.row_count() && from.kind(first + count) == SlotKind::kLive &&
         rows + count < kMaxRowsOnPage &&
         FitsNewRow(number, page, bytes_of(count + 1) + kSlotSize * count)) {
    ++count;
  }
  if (count == 0) return 0;
  const std::size_t lowest = LowestOffset(page, rows);
  PutBytes(page, lowest - bytes_of(count), source.subspan(end - bytes_of(count), bytes_of(count)));
  for (std::size_t i = 0; i < count; ++i) {
    PutU16(page, kSlots + kSlotSize * (rows + i), lowest - bytes_of(i + 1));
  }
  PutU16(page, kRowCount, rows + count);
  PutFree(page, rows + count);
  return count;
}

bool ReplaceRow(PageNumber number, PageSpan page, std::size_t row, ByteView bytes, SlotKind kind) {
  const RowPage rows(number, page);
  const std::size_t old_length = rows.row(row).size();
  const std::size_t free =
      LowestOffset(page, rows.row_count()) - (kSlots + kSlotSize * rows.row_count());
  if (bytes.size() > old_length + free) return false;
  Resize(page, rows.row_count(), row, bytes.size());
  const std::size_t start = Offset(page, row);
  PutBytes(page, start, bytes);
  PutU16(page, kSlots + kSlotSize * row, start | Flags(kind));
  return true;
}

void DeleteRow(PageNumber number, PageSpan page, std::size_t row) {
  const RowPage rows(number, page);
  if (row >= rows.row_count()) throw Error::Damaged(number, "no row " + std::to_string(row));
  Resize(page, rows.row_count(), row, 0);
  PutU16(page, kSlots + kSlotSize * row, Offset(page, row) | Flags(SlotKind::kDeleted));
}

void MarkReleased(PageSpan page) { PutU16(page, 0, kReleasedPageType); }

void PutStamp(PageSpan page, std::uint32_t stamp) { PutU32(page, kStampOffset, stamp); }

}  // namespace jet
