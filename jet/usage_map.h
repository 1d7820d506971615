// Usage maps: which pages a table, a long-value column or an index owns, which
// of them have room, and which pages of the file are free. A map is a row on a
// page of maps; it starts as a bitmap inside the row and becomes a list of
// bitmap pages when its range is outgrown.
//
//   type 0  00, u32 first page, bitmap
//   type 1  01, u32 page numbers; entry k covers pages from k * 32736
#pragma once

#include <functional>
#include <optional>
#include <vector>

#include "jet/page_set.h"
#include "jet/pager.h"

namespace jet {

class PageAllocator;

inline constexpr std::size_t kNewMapBytes = 69;          // 512 pages
inline constexpr std::uint32_t kPagesPerBitmap = 32736;  // of a bitmap page
inline constexpr RowId kGlobalMap{PageNumber{1}, 0};     // of free pages

// A handle: holds no state but the address. Throws kDamaged for rows that are
// no map and for pages outside the file.
// What the parts of a file have in their maps.
struct PageUse {
  PageSet taken, taken_twice;
  bool complete = true;  // else there are parts that cannot be read
};

class UsageMap {
 public:
  UsageMap(Pager& pager, RowId at) : pager_(&pager), at_(at) {}

  RowId at() const { return at_; }
  bool Contains(PageNumber page) const;
  // The lowest marked page from `from` on.
  std::optional<PageNumber> FirstFrom(PageNumber from) const;
  // The highest marked page up to `limit`, itself included.
  std::optional<PageNumber> LastUpTo(PageNumber limit) const;
  std::optional<PageNumber> Last() const { return LastUpTo({0xFFFFFFFF}); }
  // Pages that hold the bits (type 1 only).
  std::vector<PageNumber> BitmapPages() const;

  // Adds the marked pages and the map's own.
  void AddTo(PageUse& use) const;

  // Inside a Scope. Add may grow the row or turn it into a list.
  void Add(PageNumber page, PageAllocator& allocator);
  void Remove(PageNumber page);
  // Leaves exactly `page` marked: a free-space map of 512 pages around it.
  void MarkOnly(PageNumber page, PageAllocator& allocator);

 private:
  bool GrowInline(PageNumber page);
  void TurnIntoList(PageAllocator& allocator);
  Pager* pager_;
  RowId at_;
};

// Pages taken from and given back to the file: the global map, row 0 of page 1,
// where a set bit means free.
class PageAllocator {
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
  PageNumber Allocate();
  // The lowest free page above `floor`.
  PageNumber AllocateAbove(PageNumber floor);
  // Gives a page back, out of its part's map if it is in one; its content stays. A
  // page that another part has in its map, too, stays taken.
  void Free(PageNumber page, RowId owned_map = {});
  bool IsFree(PageNumber page) const;
  // The highest page below `limit` that is not free.
  PageNumber HighestTaken() const;

  // A fresh map row of kNewMapBytes zero bytes: on `page_of_maps` if it has
  // room (PageNumber{} = none), else on a new page of maps.
  RowId NewMap(PageNumber page_of_maps);

  Pager& pager() { return *pager_; }

 private:
  PageNumber Take(PageNumber from);
  void Extend();
  void ExtendList();
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
