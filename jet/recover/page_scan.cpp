#include "jet/recover/page_scan.h"

#include <algorithm>

#include "jet/base/bytes.h"
#include "jet/base/error.h"
#include "jet/index/index_page.h"
#include "jet/row/table_def.h"

namespace jet::recover {
namespace {

constexpr std::uint16_t kHeaderType = 0x0100, kRowsType = 0x0101, kDefinitionType = 0x0102,
                        kNodeType = 0x0103, kLeafType = 0x0104, kBitmapType = 0x0105,
                        kReleasedDefinition = 0x0108, kReleasedRows = 0x0109;
constexpr std::size_t kFree = 0x02, kOwner = 0x04, kWord8 = 0x08, kRowCount = 0x0C, kSlots = 0x0E;
constexpr std::uint16_t kOffsetBits = 0x1FFF, kUnknownFlag = 0x2000;
constexpr std::uint32_t kGlobalMapOwner = 1;
constexpr PageNumber kGlobalMapPage{1};

std::uint64_t HashOf(PageView page) {
  std::uint64_t hash = 0xCBF2'9CE4'8422'2325u;
  for (std::size_t at = 0; at < kPageSize; at += 8) {
    hash = (hash ^ GetU64(page, at)) * 0x0000'0100'0000'01B3u;
    hash ^= hash >> 29;
  }
  return hash;
}

bool HasKnownType(std::uint16_t type) {
  return (type >= kHeaderType && type <= kBitmapType) || type == kReleasedDefinition ||
         type == kReleasedRows;
}

bool IsFirstOfDefinition(PageView page) {
  const std::uint32_t length = GetU32(page, 0x08), logical = GetU32(page, 0x2F),
                      real = GetU32(page, 0x33);
  const std::size_t ids = GetU16(page, 0x29), columns = GetU16(page, 0x2D);
  if (GetU32(page, 0x0C) != 0x659) return false;
  if (page[0x28] != TableDef::kUser && page[0x28] != TableDef::kSystem) return false;
  if (columns > kMaxColumns || columns > ids) return false;
  if (real > kMaxIndexes || real > logical || logical > 1000) return false;
  return length >= 65 + 64 * real + 25 * columns + 28 * logical;
}

bool IsIndex(PageNumber number, PageView page) {
  if (GetU32(page, kWord8) != 0) return false;
  try {
    const IndexPage index(number, page, {GetU32(page, kOwner)});
    return index.leaf() == (index.level() == 0);
  } catch (const Error&) {
    return false;
  }
}

// A page of rows of whatever kind; kUnknown for any other.
PageFacts RowsFacts(PageNumber number, PageView page, bool typed) {
  PageFacts facts;
  const RowsOfPage rows(page);
  if (!rows.whole() && (!typed || rows.size() == 0)) return facts;
  facts.owner = GetU32(page, kOwner);
  facts.flawed = !typed || !rows.whole() || (facts.owner != kLvalOwner && GetU32(page, kWord8));
  if (facts.owner == kLvalOwner) {
    facts.kind = PageKind::kLongValues;
  } else if (facts.owner == 0 || (facts.owner == kGlobalMapOwner && number == kGlobalMapPage)) {
    facts.kind = PageKind::kMaps;
  } else {
    facts.kind = PageKind::kRows;
    facts.hash = HashOf(page);
  }
  return facts;
}

PageFacts FactsOf(PageNumber number, PageView page) {
  PageFacts facts;
  if (!number) {
    facts.kind = PageKind::kHeader;
    return facts;
  }
  const std::uint16_t type = GetU16(page, 0);
  switch (type) {
    case kRowsType:
      return RowsFacts(number, page, true);
    case kDefinitionType:
      facts.kind = IsFirstOfDefinition(page) ? PageKind::kDefinition : PageKind::kDefinitionPart;
      return facts;
    case kNodeType:
    case kLeafType:
      if (!IsIndex(number, page)) return facts;
      facts.kind = PageKind::kIndex;
      facts.owner = GetU32(page, kOwner);
      return facts;
    case kBitmapType:
      if (GetU16(page, 2) == 0) facts.kind = PageKind::kBitmap;
      return facts;
    case kReleasedDefinition:
    case kReleasedRows:
      facts.kind = PageKind::kReleased;
      return facts;
    default:
      break;
  }
  if (std::ranges::all_of(page, [](std::uint8_t byte) { return byte == 0; })) {
    facts.kind = PageKind::kZero;
    return facts;
  }
  // The rest of a page still says what it is when the type word is gone.
  if (HasKnownType(type)) return facts;
  if (IsFirstOfDefinition(page)) return {PageKind::kDefinition, true, 0, 0};
  return RowsFacts(number, page, false);
}

}  // namespace

RowsOfPage::RowsOfPage(PageView page) : page_(page) {
  const std::size_t rows = GetU16(page, kRowCount);
  if (rows > kMaxRowsOnPage) return;
  const std::size_t top = kSlots + kSlotSize * rows;
  std::size_t end = kPageSize;
  bool flags_known = true;
  for (std::size_t row = 0; row < rows; ++row) {
    const std::size_t start = Slot(row) & kOffsetBits;
    if (start > end || start < top) return;
    flags_known = flags_known && (Slot(row) & kUnknownFlag) == 0;
    ends_.push_back(static_cast<std::uint16_t>(end));
    end = start;
  }
  whole_ = flags_known && GetU16(page, kFree) == end - top;
}

std::uint16_t RowsOfPage::Slot(std::size_t row) const {
  return GetU16(page_, kSlots + kSlotSize * row);
}

SlotKind RowsOfPage::kind(std::size_t row) const { return static_cast<SlotKind>(Slot(row) >> 14); }

ByteView RowsOfPage::bytes(std::size_t row) const {
  const std::size_t start = Slot(row) & kOffsetBits;
  return page_.subspan(start, ends_[row] - start);
}

PageScan::PageScan(Pager& pager) : pages_(pager.page_count()) {
  for (std::uint32_t page = 0; page < pages_.size(); ++page) {
    pages_[page] = FactsOf({page}, pager.Read({page}).bytes());
  }
}

const PageFacts& PageScan::operator[](PageNumber page) const {
  static constexpr PageFacts kNone;
  return page.value < pages_.size() ? pages_[page.value] : kNone;
}

}  // namespace jet::recover
