// A table's rows: walked in stored order, found by value, inserted, updated,
// deleted, with all indexes, long values and counters kept true. Stored order is
// insertion order: a new row goes behind all others.
//
// A table is a part of its Database: it must not be used after that is gone, and one
// thread at a time may use a database with all its tables. Whatever is derived from a
// table (a row, a scan, a seek) must not outlive it.
//
// Errors are jet::Error and name table and file. An operation that throws has changed
// nothing. kDamaged may come from any of them, kIo where a page is not in the cache,
// kReadOnly from all that change something.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "jet/base/value.h"
#include "jet/row/row.h"
#include "jet/row/table_def.h"
#include "jet/storage/page_ref.h"

namespace jet {

class IndexSeek;
class PageAllocator;
class RowStore;
class RowWalk;
class TableIndexes;

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

class Table {
 public:
  // `load` gives the state as it is now: at once, and again whenever pages went
  // back to an older one. `now` for Date() and Now() in defaults. REQUIRES: the
  // allocator outlives the table.
  Table(PageAllocator& allocator, std::string name, std::function<TableState()> load,
        std::function<DateTime()> now);
  ~Table();
  Table(const Table&) = delete;
  Table& operator=(const Table&) = delete;

  const std::string& name() const { return name_; }
  // Both stay valid until the table or its definition is changed.
  const TableDef& def() const;
  const std::vector<ColumnRules>& rules() const {
    def();
    return state_.rules;
  }
  // The order by which column names compare.
  SortOrder name_order() const;
  std::uint32_t row_count() const { return def().row_count; }
  // kColumnMissing with the name in it.
  std::size_t OrdinalOf(std::string_view column) const;
  // After the stored definition or the properties were changed.
  void Reload() const;

  // Rows by address, in stored order; nothing at the end. A row stays where it
  // is when it is updated. Rows inserted meanwhile come at the end.
  std::optional<RowId> First() const;
  std::optional<RowId> Next(RowId row) const;
  std::optional<RowId> Last() const;

  // One row that was read; valid until the next change of the table or Read into it.
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

  // Rows whose columns hold given values, through an index and in its order.
  // REQUIRES: the definition does not change, the rows not before the last Next.
  class Seek {
   public:
    Seek(Seek&&) noexcept;
    Seek& operator=(Seek&&) noexcept;
    ~Seek();
    // One value a column, of the column's type. Texts are equal where they have the
    // same place in the index, Memo fields where their first 255 characters are.
    // kWrongType, kUnsortable.
    void Begin(std::span<const Value> values);
    // Each row once; nothing at the end.
    std::optional<RowId> Next();

   private:
    friend class Table;
    Seek(const Table& table, std::unique_ptr<IndexSeek> seek);
    const Table* table_;
    std::unique_ptr<IndexSeek> seek_;
  };
  // Nothing if no index begins with these columns, in this order.
  std::optional<Seek> SeekBy(const std::vector<std::size_t>& ordinals) const;

  // What a column holds in a new row that gives it no value: its default, else
  // Null. kNotSupported for a default expression that we cannot evaluate.
  Value DefaultOf(std::size_t ordinal) const;
  // A value for every column: the given ones, DefaultOf() the others.
  std::vector<Value> NewRow(std::span<const FieldChange> given = {}) const;

  // `values` by ordinal, one for every column. An autonumber column may be Null:
  // it gets its number. kRequired, kZeroLength, kWrongType, kTextTooLong, kOutOfRange,
  // kBadText, kRowTooLong, kDuplicateKey, kNullKey, kKeyTooLong, kUnsortable.
  RowId Insert(std::span<const Value> values);
  // Fields that are not named keep their bytes. REQUIRES: the row is there, else
  // kDamaged.
  void Update(RowId id, std::span<const FieldChange> changes);
  void Delete(RowId id);
  // Writes every row again as the definition stands now; values stay.
  void RewriteRows();

 private:
  friend class TableScan;
  template <class Body>
  auto Named(Body&& body) const -> decltype(body());
  RowView ViewOf(ByteView bytes, RowId at) const;
  std::span<const Value> Complete(std::span<const Value> values, std::vector<Value>& buffer);
  void PassNumbersInUse(std::size_t ordinal);

  PageAllocator* allocator_;
  std::string name_;
  std::function<TableState()> load_;
  std::function<DateTime()> now_;
  mutable TableState state_;
  mutable std::uint64_t epoch_ = 0;  // of state_
  std::unique_ptr<RowStore> rows_;
  std::unique_ptr<TableIndexes> indexes_;
  RowEncoder encoder_;
  // When the last autonumber was found not to be below one in use.
  std::optional<std::uint64_t> numbers_epoch_;
};

// A fast walk over all rows in stored order. REQUIRES: the table does not change
// meanwhile.
class TableScan {
 public:
  explicit TableScan(const Table& table);
  ~TableScan();
  TableScan(const TableScan&) = delete;
  TableScan& operator=(const TableScan&) = delete;

  bool Next();
  const Table::Row& row() const { return row_; }

 private:
  const Table* table_;
  std::unique_ptr<RowWalk> walk_;
  Table::Row row_;
};

}  // namespace jet
