// The usage maps of a file that is written anew: the pages that each names are
// gathered first, its row is made when all are known.
#pragma once

#include <cstdint>
#include <vector>

#include "jet/base/types.h"
#include "jet/compact/page_writer.h"

namespace jet::compact {

// Pages in ascending order, by runs.
class PageRuns {
 public:
  struct Run {
    std::uint32_t first = 0, end = 0;
  };
  // REQUIRES: above all others.
  void Add(PageNumber page);
  bool empty() const { return runs_.empty(); }
  const std::vector<Run>& runs() const { return runs_; }
  void Clear() { runs_.clear(); }

 private:
  std::vector<Run> runs_;
};

// Sets the bits of `pages` in a bitmap whose first bit is that of page `from`.
void PutBits(const PageRuns& pages, std::uint32_t from, std::span<std::uint8_t> bits);

// The pages of maps of one table, or of several that share them.
class MapBook {
 public:
  // Takes pages for `maps` maps. REQUIRES: the writer outlives the book.
  MapBook(PageWriter& out, std::size_t maps, std::uint32_t pages_per_bitmap);

  // The next map's address. REQUIRES: there are not yet as many as were asked for.
  RowId Add();
  PageRuns& PagesOf(RowId map);
  // Puts the pages of maps, and those of bitmaps where a map does not fit.
  void Finish();

 private:
  struct Page {
    PageNumber number;
    std::vector<PageRuns> maps;
  };
  void PutPage(const Page& page);
  Bytes MakeList(const PageRuns& pages);

  PageWriter* out_;
  std::uint32_t pages_per_bitmap_;
  std::vector<Page> pages_;
  std::size_t filling_ = 0;
};

}  // namespace jet::compact
