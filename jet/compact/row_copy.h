// The rows of one table, copied in stored order onto new pages.
#pragma once

#include <array>
#include <functional>
#include <vector>

#include "jet/compact/long_value_copy.h"
#include "jet/compact/map_book.h"
#include "jet/compact/object_ids.h"
#include "jet/compact/page_writer.h"
#include "jet/compact/row_ids.h"
#include "jet/pages/page_allocator.h"
#include "jet/pages/slotted_page.h"
#include "jet/row/table_def.h"

namespace jet::compact {

// Puts rows onto pages, one after the other.
class RowPages {
 public:
  // `take` gives the number of each new page.
  RowPages(PageWriter& out, PageNumber owner, std::function<PageNumber()> take)
      : out_(&out), owner_(owner), take_(std::move(take)) {}
  RowId Add(ByteView row);
  // Rows of another page from `first` on, which is live, as many as go onto one page; at
  // least one.
  struct Run {
    RowId first;
    std::size_t count = 0;
  };
  Run AddRun(const RowPage& rows, std::size_t first);
  // Puts the last page; its number, or none where there was no row.
  PageNumber Finish();

 private:
  void Begin();

  PageWriter* out_;
  PageNumber owner_;
  std::function<PageNumber()> take_;
  PageNumber page_;
  std::array<std::uint8_t, kPageSize> image_{};
};

// What the copy of a table's rows needs to know beside the table.
struct RowCopyJob {
  PageAllocator& from;
  const TableDef& def;                      // as it is in the old file
  std::vector<std::size_t> id_columns;      // ordinals
  const ObjectIds& ids;                     // what becomes of those
  std::vector<LongValueCopy*> long_values;  // by ordinal; null for other columns
};

// Hands every row to `pages`, with ids and addresses in it as they are in the new file,
// and adds to `rows` where it went.
void CopyRows(const RowCopyJob& job, RowPages& pages, RowIdMap& rows);

// The pages that the rows of a table will take.
std::uint32_t CountRowPages(PageAllocator& from, const TableDef& def);

}  // namespace jet::compact
