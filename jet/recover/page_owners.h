// Which pages hold the rows of a table. The maps of a file are believed where they
// agree with the pages; where they do not, the owner that a page itself names counts.
#pragma once

#include <map>
#include <optional>
#include <vector>

#include "jet/pages/page_set.h"
#include "jet/recover/old_definition.h"
#include "jet/recover/page_scan.h"

namespace jet::recover {

using OldDefinitions = std::map<PageNumber, OldDefinition>;

class PageOwners {
 public:
  // REQUIRES: both references outlive this object.
  PageOwners(Pager& pager, const PageScan& scan, const OldDefinitions& definitions);

  // Whether the map of free pages can be believed.
  bool knows_free_pages() const { return free_.has_value(); }
  // False for all pages where the map cannot be believed.
  bool IsFree(PageNumber page) const { return free_ && free_->Contains(page); }

  struct Pages {
    std::vector<PageNumber> rows;  // ascending
    std::vector<bool> doubtful;    // beside `rows`: nothing but the page itself says so
    std::vector<PageNumber> lost;  // the table's, but they cannot be read
  };
  // Of the definition on page `table`, whether or not that can be read.
  Pages PagesOf(PageNumber table) const;
  // Definition pages that pages of rows name, but which are no definitions.
  std::vector<PageNumber> OwnersWithoutDefinition() const;
  // Pages that name one table while the maps give them to another, or that repeat
  // another page.
  const std::vector<PageNumber>& foreign() const { return foreign_; }

 private:
  using Owned = std::optional<PageSet>;
  Owned ReadMap(RowId at) const;
  void ReadOwnedMap(PageNumber table, const OldDefinition& old);
  void ReadFreeMap();
  void FindCopies();
  std::uint64_t LiveRows(PageNumber page) const;

  Pager* pager_;
  const PageScan* scan_;
  const OldDefinitions* definitions_;
  std::map<PageNumber, PageSet> owned_;      // maps that hold, by definition page
  std::map<PageNumber, PageNumber> mapped_;  // pages in them, to the definition page
  // Pages of maps that hold, of which every one is another's now.
  std::map<PageNumber, std::vector<PageNumber>> overwritten_;
  std::map<PageNumber, std::vector<PageNumber>> pages_;  // of rows, by the owner they name
  std::optional<PageSet> free_;
  std::vector<PageNumber> foreign_;
};

}  // namespace jet::recover
