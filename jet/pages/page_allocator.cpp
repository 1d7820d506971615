#include "jet/pages/page_allocator.h"

#include <algorithm>

#include "jet/base/error.h"
#include "jet/pages/map_row.h"
#include "jet/pages/slotted_page.h"

namespace jet {
namespace {

constexpr PageNumber kGlobalPage = kGlobalMap.page;

}  // namespace

PageNumber PageAllocator::Allocate() { return Take({}); }

PageNumber PageAllocator::AllocateAbove(PageNumber floor) { return Take({floor.value + 1}); }

PageNumber PageAllocator::Take(PageNumber from) {
  if (search_epoch_ != pager_->epoch()) {
    search_epoch_ = pager_->epoch();
    search_from_ = 0;
  }
  TakeCensus();
  UsageMap global(*pager_, kGlobalMap);
  const PageNumber start{std::max({from.value, search_from_, trusted_from_})};
  std::optional<PageNumber> page = global.FirstFrom(start);
  // What no table has behind the end is free, whatever the map says: a page that
  // it marks far behind would make a file of gigabytes.
  const PageNumber end{std::max(start.value, pager_->page_count())};
  if (page ? *page > end : end.value < PagesCovered(MapRow(*pager_, kGlobalMap))) page = end;
  // Each round adds pages to the map, and the file's limit bounds the rounds.
  while (!page) {
    Extend();
    page = global.FirstFrom(start);
  }
  if (page->value >= kMaxPages) ThrowTooLarge();
  RequireUnused(*page);
  global.Remove(*page);
  pager_->EditNew(*page);
  if (start.value == search_from_) search_from_ = page->value + 1;
  return *page;
}

void PageAllocator::TakeCensus() {
  if (use_ || !census_) return;
  use_ = census_();
  file_limit_ = use_->taken.FirstFrom(pager_->page_count());
  if (!use_->complete) trusted_from_ = pager_->page_count();
}

void PageAllocator::RequireUnused(PageNumber page) {
  TakeCensus();
  if (use_ && use_->taken.Contains(page)) {
    throw Error::Damaged(page, "a page in use is marked free");
  }
  if (file_limit_ && page > *file_limit_) {
    throw Error::Damaged(*file_limit_, "a page in use lies behind the end of the file");
  }
}

// More free pages behind those that the map knows.
void PageAllocator::Extend() {
  MapRow map(*pager_, kGlobalMap);
  if (!map.is_inline()) {
    ExtendList();
    return;
  }
  const std::uint32_t covered = PagesCovered(map);
  if (covered >= kMaxPages) ThrowTooLarge();
  if (covered + 32 <= map.pages_per_bitmap()) {
    Bytes row(kInlineBits);
    PutU32(row, 1, map.start());
    AddBytes(row, map.bits());
    AddU32(row, 0xFFFFFFFF);
    if (map.Replace(row)) return;
  }
  TurnIntoList();
}

// The bitmap pages lie behind everything that is taken.
void PageAllocator::TurnIntoList() {
  MapRow map(*pager_, kGlobalMap);
  if (map.start() != 0) map.Bad("the map of free pages does not cover the file");
  const std::uint32_t covered = PagesCovered(map), per_page = map.pages_per_bitmap();
  const std::uint32_t first = std::max(covered, pager_->page_count());
  // They have bits for themselves, and one more.
  const std::uint32_t count = first / (per_page - 1) + 1;
  Bytes list(kListBytes);
  if (first + count > kMaxPages || 1 + 4 * count > list.size()) ThrowTooLarge();
  const Bytes old_bits(map.bits().begin(), map.bits().end());
  list[0] = kReferenceMap;
  for (std::uint32_t k = 0; k < count; ++k) {
    RequireUnused({first + k});
    PutU32(list, 1 + 4 * k, first + k);
  }
  if (!map.Replace(list)) map.Bad("no room for the map of free pages");
  for (std::uint32_t k = 0; k < count; ++k) {
    const std::span<std::uint8_t> bits = InitBitmap(pager_->EditNew({first + k}));
    for (std::uint32_t i = 0; i < per_page; ++i) {
      const std::uint32_t page = k * per_page + i;
      PutBit(bits, i, page < covered ? TestBit(old_bits, page) : page >= first + count);
    }
  }
}

void PageAllocator::ExtendList() {
  MapRow map(*pager_, kGlobalMap);
  for (std::size_t k = 0; k < map.entries(); ++k) {
    if (map.entry(k)) continue;
    const std::uint32_t base = map.base(k);
    const PageNumber bitmap{std::max(base, pager_->page_count())};
    if (bitmap.value >= kMaxPages) break;
    if (bitmap.value - base >= map.pages_per_bitmap()) {
      map.Bad("the map of free pages does not cover the file");
    }
    RequireUnused(bitmap);
    PutU32(map.Edit(), 1 + 4 * k, bitmap.value);
    const std::span<std::uint8_t> bits = InitBitmap(pager_->EditNew(bitmap));
    for (std::uint32_t i = 0; i < map.pages_per_bitmap(); ++i) {
      PutBit(bits, i, base + i > bitmap.value);
    }
    return;
  }
  ThrowTooLarge();
}

void PageAllocator::ThrowTooLarge() const {
  throw Error(ErrorCode::kFileTooLarge, "a database holds at most 2 GB").In(pager_->path());
}

// A page that the map has no bit for counts as taken; so do those between.
void PageAllocator::MarkFree(PageNumber page) {
  MapRow map(*pager_, kGlobalMap);
  if (map.is_inline() && !map.Covers(page)) {
    const std::uint32_t first = std::min(map.start(), page.value - page.value % 8);
    if (!map.Stretch(first, std::max(page.value + 1, PagesCovered(map)) - 1)) {
      map.Bad("the map of free pages does not cover the file");
    }
  }
  UsageMap(*pager_, kGlobalMap).Add(page, *this);
}

void PageAllocator::Free(PageNumber page, RowId owned_map) {
  TakeCensus();  // as long as both maps have it
  if (owned_map) UsageMap(*pager_, owned_map).Remove(page);
  if (page.value >= pager_->page_count() || page.value <= kGlobalPage.value) {
    throw Error::Damaged(page, "a page that cannot be freed");
  }
  UsageMap global(*pager_, kGlobalMap);
  if (global.Contains(page)) throw Error::Damaged(page, "a page in use is marked free");
  if (use_ && use_->taken_twice.Contains(page)) return;
  MarkFree(page);
  if (use_) use_->taken.Remove(page);
  search_from_ = std::min(search_from_, page.value);
}

bool PageAllocator::IsFree(PageNumber page) const {
  return UsageMap(*pager_, kGlobalMap).Contains(page);
}

PageNumber PageAllocator::HighestTaken() const {
  const UsageMap global(*pager_, kGlobalMap);
  std::uint32_t page = std::min(pager_->page_count(), PagesCovered(MapRow(*pager_, kGlobalMap)));
  while (page > 0 && global.Contains({page - 1})) --page;
  return {page == 0 ? 0 : page - 1};
}

RowId PageAllocator::NewMap(PageNumber& page_of_maps) {
  const Bytes row(kNewMapBytes);
  if (page_of_maps) {
    const PageRef page = pager_->Read(page_of_maps);
    if (RowPage::IsRowPage(page.bytes()) && FitsNewRow(page_of_maps, page.bytes(), row.size())) {
      return {page_of_maps, AddRow(page_of_maps, pager_->Edit(page_of_maps), row, SlotKind::kLive)};
    }
  }
  page_of_maps = Allocate();
  const PageSpan page = pager_->Edit(page_of_maps);
  InitRowPage(page, 0);
  return {page_of_maps, AddRow(page_of_maps, page, row, SlotKind::kLive)};
}

}  // namespace jet
