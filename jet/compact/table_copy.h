// One table with all that belongs to it, written anew: definition, usage maps, rows with
// their long values, indexes.
//
// Its pages are taken in the order of the calls. Where rows name ids of objects, pages
// are taken for them and the roots first; they are copied when all tables have ids.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <unordered_map>
#include <vector>

#include "jet/compact/map_book.h"
#include "jet/compact/object_ids.h"
#include "jet/compact/page_writer.h"
#include "jet/compact/row_copy.h"
#include "jet/compact/row_ids.h"
#include "jet/pages/page_allocator.h"
#include "jet/row/table_def.h"

namespace jet::compact {

// What the copies of all tables of a file share.
struct CopyContext {
  Pager& from;
  PageAllocator& allocator;  // of the old file; only reads
  PageWriter& out;
  ObjectIds& ids;
  RowIdMap& rows;  // of the table in hand
};

class TableCopy {
 public:
  struct Source {
    PageNumber page;
    std::string name;
    bool system = false;
  };
  // Reads the old definition. REQUIRES: the context outlives the copy.
  TableCopy(const CopyContext& context, Source source);

  const std::string& name() const { return source_.name; }
  std::uint32_t row_count() const { return def_.row_count; }
  std::uint64_t index_entries() const { return index_entries_; }
  // Whether its definition names other tables.
  bool is_related() const;
  std::size_t map_count() const;
  bool names_ids() const { return !id_columns_.empty(); }

  // The page of the definition, and those that continue it.
  void TakeDefinition(PageNumber first);
  void TakeContinuation();
  // Maps of its own, or in a book that it shares.
  void TakeMaps();
  void TakeMaps(MapBook& book);
  void TakeRowPages();
  void TakeRoots();

  // REQUIRES: what its rows name has its new ids.
  void CopyRows();
  // Right after the rows.
  void CopyIndexes();
  // Puts maps of its own.
  void FinishMaps();
  // REQUIRES: all tables have their new pages.
  void PutDefinition();

 private:
  // The next page for rows.
  PageNumber NextRowPage();
  PageRuns& PagesOf(RowId map) { return book_->PagesOf(map); }
  void PutContent(const Bytes& content);

  const CopyContext* context_;
  Source source_;
  TableDef old_, def_;  // the latter as it becomes
  std::vector<std::size_t> id_columns_;
  std::optional<MapBook> own_book_;
  MapBook* book_ = nullptr;
  PageNumber row_page_;               // taken in advance, the next one
  std::uint32_t row_pages_left_ = 0;  // from there on
  std::uint64_t index_entries_ = 0;
};

}  // namespace jet::compact
