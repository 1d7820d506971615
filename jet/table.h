// A table's rows: walked in stored order, inserted, updated, deleted, with all
// indexes, long values and counters kept true. Stored order is insertion order:
// a new row goes behind all others.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "jet/index.h"
#include "jet/index_key.h"
#include "jet/page_allocator.h"
#include "jet/row.h"
#include "jet/slotted_page.h"
#include "jet/table_def.h"
#include "jet/value.h"

namespace jet {

// What the properties of a table say about a column.
struct ColumnRules {
  bool required = false;
  bool allow_zero_length = true;
  std::string default_expression;  // empty: none
};

// What a table is, as its pages and its properties say together.
struct TableState {
  TableDef def;
  std::vector<ColumnRules> rules;  // by ordinal, or empty
};

struct FieldChange {
  std::size_t ordinal = 0;
  Value value;
};

class Table {
 public:
  // `load` gives the state as it is now: at once, and again whenever pages went
  // back to an older one. `now` for Date() and Now() in defaults.
  Table(PageAllocator& allocator, std::string name, std::function<TableState()> load,
        std::function<DateTime()> now);

  const std::string& name() const { return name_; }
  const TableDef& def() const;
  const std::vector<ColumnRules>& rules() const {
    def();
    return rules_;
  }
  // The order by which column names compare.
  SortOrder name_order() const;
  std::uint32_t row_count() const { return def().row_count; }
  // kColumnMissing with the name in it.
  std::size_t OrdinalOf(std::string_view column) const;

  // Rows by address, in stored order; nothing at the end. A row stays where it
  // is when it is updated. Rows inserted meanwhile come at the end.
  std::optional<RowId> First() const;
  std::optional<RowId> Next(RowId row) const;
  std::optional<RowId> Last() const;

  // A row in hand: its bytes stay valid until the next change or Read.
  class Row {
   public:
    RowId id() const { return id_; }
    const RowView& view() const { return view_; }
    bool IsNull(std::size_t ordinal) const;
    Value Get(std::size_t ordinal) const;  // long values included
    // Text and Memo without allocating; false for Null.
    bool GetText(std::size_t ordinal, std::string& out) const;

   private:
    friend class Table;
    friend class TableScan;
    const Table* table_ = nullptr;
    RowId id_;
    PageRef page_;  // of the bytes
    RowView view_;
  };
  // False if the row is deleted or there is none; kDamaged.
  bool Read(RowId id, Row& row) const;

  // What a column holds in a new row that gives it no value: its default, else
  // Null. kNotSupported for a default expression that we cannot evaluate.
  Value DefaultOf(std::size_t ordinal) const;
  // A value for every column: the given ones, DefaultOf() the others.
  std::vector<Value> NewRow(std::span<const FieldChange> given = {}) const;
  // `values` by ordinal, one for every column. An autonumber column may be Null:
  // it gets its number. Whole or not at all.
  RowId Insert(std::span<const Value> values);
  // Fields that are not named keep their bytes. Whole or not at all.
  void Update(RowId id, std::span<const FieldChange> changes);
  void Delete(RowId id);
  // Writes every row again as the definition stands now; values stay.
  void RewriteRows();

  // Trees by ordinal of def().real_indexes.
  Index OpenIndex(std::size_t real) const;
  // The first row whose key is `values` in the given tree; kUnsortable.
  std::optional<RowId> Lookup(std::size_t real, std::span<const Value> values) const;

  // After the stored definition or the properties were changed.
  void Reload() const;
  PageAllocator& allocator() const { return *allocator_; }

 private:
  friend class TableScan;
  struct KeyChange;
  template <class Body>
  auto Named(Body&& body) const -> decltype(body());
  bool IsDataPage(PageView bytes) const;
  std::optional<PageNumber> NextDataPage(PageNumber from) const;
  std::optional<PageNumber> LastDataPage(PageNumber limit) const;
  std::optional<ByteView> Locate(RowId id, PageRef& page, RowId& at) const;

  void CheckRules(std::size_t ordinal, const Value& value) const;
  std::span<const Value> Complete(std::span<const Value> values, std::vector<Value>& buffer);
  void GiveAutonumbers(std::vector<Value>& row);
  void PassNumbersInUse(std::size_t ordinal);
  std::int32_t GreatestNumber(std::size_t ordinal) const;
  bool RaiseAutonumber(const ColumnDef& column, const Value& value);
  void StoreField(std::size_t ordinal, const Value& value);
  std::vector<KeyChange> KeysOfNewRow(std::span<const Value> values);
  void EraseKeys(const Row& row);
  std::vector<KeyChange> KeyChanges(RowId id, const Row& row, std::span<const FieldChange> changes);
  void CheckKey(std::size_t real, const IndexKey& key, RowId except) const;
  void ApplyKeyChanges(RowId id, const std::vector<KeyChange>& changes);

  PageNumber NewDataPage(PageNumber above, bool mark);
  RowId PlaceRow(ByteView bytes);
  RowId PlaceBody(ByteView bytes);
  void RewriteRow(RowId id, ByteView bytes);
  void RemoveBytes(RowId at);
  Pager& pager() const { return allocator_->pager(); }

  PageAllocator* allocator_;
  std::string name_;
  std::function<TableState()> load_;
  mutable TableDef def_;
  mutable std::vector<ColumnRules> rules_;
  mutable std::uint64_t epoch_ = 0;  // of the two
  std::function<DateTime()> now_;
  RowEncoder encoder_;
  // The page that takes new rows, found sound; good in tail_epoch_.
  PageNumber tail_;
  std::uint64_t tail_epoch_ = 0;
  // When the last autonumber was found not to be below one in use.
  std::optional<std::uint64_t> numbers_epoch_;
};

// A fast walk over all rows in stored order; the table must not change
// meanwhile.
class TableScan {
 public:
  explicit TableScan(const Table& table) : table_(&table) {
    table.def();
    row_.table_ = &table;
  }
  bool Next();
  const Table::Row& row() const { return row_; }

 private:
  bool NextPage();
  const Table* table_;
  Table::Row row_;
  PageRef page_;
  std::optional<RowPage> rows_;
  std::size_t slot_ = 0;
  PageNumber from_;
};

}  // namespace jet
