// Usage maps: which pages a table, a long-value column or an index owns, which
// of them have room, and which pages of the file are free. A map is a row on a
// page of maps: a bitmap inside the row, which moves and grows, or a list of bitmap
// pages.
//
//   type 0  00, u32 first page, bitmap
//   type 1  01, u32 page numbers; entry k covers pages from k * 32736
#pragma once

#include <optional>
#include <vector>

#include "jet/pages/page_set.h"
#include "jet/storage/pager.h"

namespace jet {

inline constexpr std::size_t kNewMapBytes = 69;       // 512 pages
inline constexpr RowId kGlobalMap{PageNumber{1}, 0};  // of free pages
// Beside it. Nothing in it counts; other programs keep notes there while they work.
inline constexpr RowId kSecondMap{PageNumber{1}, 1};

// Where a map that becomes a list takes the pages of its bits from.
class PageSource {
 public:
  // A zeroed page, open for editing in the caller's Scope.
  virtual PageNumber Allocate() = 0;

 protected:
  ~PageSource() = default;
};

// What the parts of a file have in their maps.
struct PageUse {
  PageSet taken, taken_twice;
  bool complete = true;  // else there are parts that cannot be read
};

// A handle: holds no state but the address. Throws kDamaged for rows that are
// no map and for pages outside the file.
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

  // These REQUIRE a Scope. Where an inline map does not cover `page`, one that marks
  // nothing moves to it, others grow behind their end and become lists for a page below
  // their start, or where the page of maps is full. The map of free pages never moves:
  // Add REQUIRES that it covers the page.
  void Add(PageNumber page, PageSource& pages);
  void Remove(PageNumber page);
  // Leaves exactly `page` marked.
  void MarkOnly(PageNumber page, PageSource& pages);

 private:
  void AddToList(PageNumber page, PageSource& pages);
  void TurnIntoList(PageSource& pages);
  Pager* pager_;
  RowId at_;
};

}  // namespace jet
