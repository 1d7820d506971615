// The rows of one table on its pages, as bytes. Stored order is insertion order: a
// new row goes behind all others.
#pragma once

#include <optional>

#include "jet/pages/page_allocator.h"
#include "jet/pages/slotted_page.h"
#include "jet/row/table_def.h"
#include "jet/storage/page_ref.h"

namespace jet {

class RowStore {
 public:
  // REQUIRES: both outlive the store.
  RowStore(PageAllocator& allocator, const TableDef& def) : allocator_(&allocator), def_(&def) {}

  // In stored order; nothing at the end.
  std::optional<RowId> First() const;
  std::optional<RowId> Next(RowId row) const;
  std::optional<RowId> Last() const;

  // The bytes of a row, which `page` keeps in the cache. `at` says where they stand:
  // in the row's own slot, or where that points. Null data if there is no such row;
  // kDamaged.
  ByteView Find(RowId id, PageRef& page, RowId& at) const;

  // Each REQUIRES a Scope. kDamaged if the row is not there.
  RowId Append(ByteView bytes);
  // The row keeps its slot, and with it its position and its index entries.
  void Rewrite(RowId id, ByteView bytes);
  void Remove(RowId id);

 private:
  friend class RowWalk;
  bool IsDataPage(PageView bytes) const;
  std::optional<PageNumber> NextDataPage(PageNumber from) const;
  std::optional<PageNumber> LastDataPage(PageNumber limit) const;
  PageNumber NewDataPage(PageNumber above, bool mark);
  RowId AppendBody(ByteView bytes);
  void RemoveBytes(RowId at);
  Pager& pager() const { return allocator_->pager(); }

  PageAllocator* allocator_;
  const TableDef* def_;
  // The page that takes new rows, found sound; good in last_epoch_.
  PageNumber last_;
  std::uint64_t last_epoch_ = 0;
};

// A fast walk over all rows. REQUIRES: the rows do not change meanwhile.
class RowWalk {
 public:
  explicit RowWalk(const RowStore& rows) : store_(&rows) {}

  // False at the end. What the others return holds until the next call.
  bool Next();
  RowId id() const { return id_; }
  RowId at() const { return at_; }  // where the bytes stand
  ByteView bytes() const { return bytes_; }
  // That of id().
  const RowPage& page() const { return *rows_; }
  // Passes over so many slots behind that of id().
  void Skip(std::size_t slots) { slot_ += slots; }

 private:
  bool NextPage();

  const RowStore* store_;
  PageNumber from_;  // the next page
  PageRef page_, body_page_;
  std::optional<RowPage> rows_;  // of page_
  std::size_t slot_ = 0;
  RowId id_, at_;
  ByteView bytes_;
};

}  // namespace jet
