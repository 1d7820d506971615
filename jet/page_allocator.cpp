#include "jet/page_allocator.h"

#include <algorithm>

#include "jet/error.h"
#include "jet/map_row.h"
#include "jet/slotted_page.h"

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
  if (page->value >= kMaxPages) {
    throw Error(ErrorCode::kFileTooLarge, "a database holds at most 2 GB").In(pager_->path());
  }
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
  const std::uint32_t covered = map.start() + map.bit_count();
  if (covered >= kMaxPages) {
    throw Error(ErrorCode::kFileTooLarge, "a database holds at most 2 GB").In(pager_->path());
  }
  const ByteView bits = map.bits();
  Bytes row(kInlineBits);
  PutU32(row, 1, map.start());
  AddBytes(row, bits);
  AddU32(row, 0xFFFFFFFF);
  if (covered + 32 <= kPagesPerBitmap && map.Replace(row)) return;

  // The bitmap page that takes over lies behind everything that is taken.
  const PageNumber bitmap{std::max(covered, pager_->page_count())};
  if (map.start() != 0 || bitmap.value >= kPagesPerBitmap) {
    map.Bad("the map of free pages does not cover the file");
  }
  const Bytes old_bits(bits.begin(), bits.end());
  Bytes list(1 + 4 * kReferenceEntries);
  list[0] = kReferenceMap;
  PutU32(list, 1, bitmap.value);
  RequireUnused(bitmap);
  if (!map.Replace(list)) map.Bad("no room for the map of free pages");
  const std::span<std::uint8_t> new_bits = InitBitmap(pager_->EditNew(bitmap));
  PutBytes(new_bits, 0, old_bits);
  for (std::uint32_t i = covered; i < kPagesPerBitmap; ++i) {
    PutBit(new_bits, i, i > bitmap.value);
  }
}

void PageAllocator::ExtendList() {
  MapRow map(*pager_, kGlobalMap);
  for (std::size_t k = 0; k < map.entries(); ++k) {
    if (map.entry(k)) continue;
    const std::uint32_t base = static_cast<std::uint32_t>(k) * kPagesPerBitmap;
    const PageNumber bitmap{std::max(base, pager_->page_count())};
    if (bitmap.value >= kMaxPages) break;
    if (bitmap.value - base >= kPagesPerBitmap) {
      map.Bad("the map of free pages does not cover the file");
    }
    RequireUnused(bitmap);
    PutU32(map.Edit(), 1 + 4 * k, bitmap.value);
    const std::span<std::uint8_t> bits = InitBitmap(pager_->EditNew(bitmap));
    for (std::uint32_t i = 0; i < kPagesPerBitmap; ++i) {
      PutBit(bits, i, base + i > bitmap.value);
    }
    return;
  }
  throw Error(ErrorCode::kFileTooLarge, "a database holds at most 2 GB").In(pager_->path());
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
  global.Add(page, *this);
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

RowId PageAllocator::NewMap(PageNumber page_of_maps) {
  const Bytes row(kNewMapBytes);
  if (page_of_maps) {
    const PageRef page = pager_->Read(page_of_maps);
    if (RowPage::IsRowPage(page.bytes()) && FitsNewRow(page_of_maps, page.bytes(), row.size())) {
      return {page_of_maps, AddRow(page_of_maps, pager_->Edit(page_of_maps), row, SlotKind::kLive)};
    }
  }
  const PageNumber fresh = Allocate();
  const PageSpan page = pager_->Edit(fresh);
  InitRowPage(page, 0);
  return {fresh, AddRow(fresh, page, row, SlotKind::kLive)};
}

}  // namespace jet
