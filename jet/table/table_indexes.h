// The indexes of one table: which entries a change of a row takes out of the trees
// and puts in, and the search for rows by their values.
#pragma once

#include <optional>
#include <span>
#include <vector>

#include "jet/index/index.h"
#include "jet/index/index_key.h"
#include "jet/pages/page_allocator.h"
#include "jet/row/row.h"
#include "jet/row/table_def.h"

namespace jet {

// What a change of a row does to one tree.
struct KeyChange {
  std::size_t real = 0;  // ordinal of the tree
  std::optional<Bytes> erase{};
  bool erase_by_row = false;  // the old key cannot be built
  std::optional<Bytes> insert{};
};

// Finds the rows whose first columns of an index hold given values, in the order of
// the index. REQUIRES: pager and definition outlive it, the table does not change.
class IndexSeek {
 public:
  // By the first `columns` columns of the tree `real`.
  IndexSeek(Pager& pager, const TableDef& def, std::size_t real, std::size_t columns);

  // One value a column. Values are equal where their keys are: of texts, case and
  // width may not count. kWrongType, kUnsortable.
  void Begin(std::span<const Value> values);
  std::optional<RowId> Next();

 private:
  const TableDef* def_;
  std::size_t real_, columns_;
  Index index_;
  Bytes key_;
  std::optional<Index::Cursor> cursor_;
};

class TableIndexes {
 public:
  // REQUIRES: both outlive this object.
  TableIndexes(PageAllocator& allocator, TableDef& def) : allocator_(&allocator), def_(&def) {}

  // The changes of an operation. Each checks the new keys: kNullKey, kDuplicateKey,
  // kUnsortable, kKeyTooLong; kNotSupported for the key of a relationship.
  // `texts`: of the row as it will be.
  // `values`: one for every column.
  std::vector<KeyChange> OfNewRow(std::span<const Value> values, RowTexts& texts);
  // `stored` gives the values that the row has now.
  std::vector<KeyChange> OfUpdate(RowId id, const ValueOf& stored,
                                  std::span<const FieldChange> changes, RowTexts& texts);
  std::vector<KeyChange> OfErasedRow(const ValueOf& stored) const;
  // Counts new keys in the definition, which is not stored. REQUIRES: a Scope.
  void Apply(RowId id, const std::vector<KeyChange>& changes);

  // The tree that begins with these columns, in this order.
  std::optional<std::size_t> BeginningWith(std::span<const std::size_t> ordinals) const;
  // At the first entry whose value is not less than `value` in a tree that begins with
  // the column, ascending; nothing if there is no such tree.
  std::optional<Index::Cursor> From(std::size_t ordinal, const Value& value) const;

 private:
  Index Open(std::size_t real) const { return Index(allocator_->pager(), *def_, real); }
  void Check(std::size_t real, const IndexKey& key, RowId except);

  PageAllocator* allocator_;
  TableDef* def_;
  std::vector<IndexHint> hints_;  // by tree; a leaf lasts from Check() to Apply()
};

}  // namespace jet
