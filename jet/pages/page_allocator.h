// Pages of the file that are taken and given back.
#pragma once

#include <functional>
#include <optional>

#include "jet/pages/usage_map.h"

namespace jet {

// Pages taken from and given back to the file: the global map, row 0 of page 1,
// where a set bit means free.
class PageAllocator final : public PageSource {
 public:
  explicit PageAllocator(Pager& pager) : pager_(&pager) {}

  // Tells which pages are in use, whatever the map says of them; without it the
  // map alone counts.
  void SetCensus(std::function<PageUse()> census) { census_ = std::move(census); }
  // Asks, once, before pages are taken, given back, or definitions change. A file
  // that contradicts itself throws kDamaged.
  void TakeCensus();

  // The lowest free page, zeroed, open for editing in the caller's Scope. The
  // file and the map grow as needed, the file by no more than that page; kFileTooLarge at 2 GB.
  // kDamaged for a page that is in use.
  PageNumber Allocate() override;
  // The lowest free page above `floor`.
  PageNumber AllocateAbove(PageNumber floor);
  // Gives a page back, out of its part's map if it is in one; its content stays. A
  // page that another part has in its map, too, stays taken.
  void Free(PageNumber page, RowId owned_map = {});
  bool IsFree(PageNumber page) const;
  // The highest page below `limit` that is not free.
  PageNumber HighestTaken() const;

  // A fresh map row of kNewMapBytes zero bytes: on `page_of_maps` if it has
  // room (PageNumber{} = none), else on a new page of maps, which takes its place.
  RowId NewMap(PageNumber& page_of_maps);

  Pager& pager() { return *pager_; }

 private:
  PageNumber Take(PageNumber from);
  void Extend();
  void TurnIntoList();
  void ExtendList();
  void MarkFree(PageNumber page);
  [[noreturn]] void ThrowTooLarge() const;
  void RequireUnused(PageNumber page);
  Pager* pager_;
  std::function<PageUse()> census_;
  std::optional<PageUse> use_;
  std::uint32_t trusted_from_ = 0;        // below, a page marked free may be one in use
  std::optional<PageNumber> file_limit_;  // in use, but cut off: the file must not grow over it
  std::uint32_t search_from_ = 0;
  std::uint64_t search_epoch_ = 0;
};

}  // namespace jet
