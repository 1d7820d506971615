// A table: what it is, and its rows, walked in stored order, found by value, inserted,
// updated and deleted, with all indexes, long values and counters kept true. Stored
// order is insertion order: a new row goes behind all others.
//
// Tables come from a Database (jet/database/database.h) and are a part of it: a table
// must not be used after its database is gone, and one thread at a time may use a
// database with all its tables. Rows, scans and seeks must not outlive their table.
//
// Errors are jet::Error and name table and file. An operation that throws has changed
// nothing. kDamaged may come from any of them, kIo where a page is not in the cache,
// kReadOnly from all that change something.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "jet/base/column_type.h"
#include "jet/base/types.h"
#include "jet/base/value.h"

namespace jet {

class IndexSeek;
class RowWalk;
class TableCore;
class TableRow;
class TableSeek;
namespace internal {
struct Frame;
}

struct ColumnInfo {
  std::string name;
  ColumnType type = ColumnType::kLong;
  std::size_t size_bytes = 0;             // as its definition says; 0 for Memo and OLE
  std::uint8_t precision = 0, scale = 0;  // of Numeric, in digits
  bool fixed = false;                     // every row has room for it
  bool auto_number = false;
  bool compressed = false;  // Text and Memo: one byte a character where that is possible
  bool required = false;
  bool allow_zero_length = true;
  std::string default_expression{};  // empty: none

  std::size_t max_chars() const { return size_bytes / 2; }  // of Text, in UTF-16 units
};

struct IndexInfo {
  struct Column {
    std::optional<std::size_t> ordinal;  // nothing: a damaged file names no column here
    bool descending = false;
  };
  std::string name;
  std::vector<Column> columns;  // the first counts most
  bool primary = false;
  bool unique = false;
  bool required = false;            // no Null in its columns
  bool ignore_nulls = false;        // rows in which all its columns are Null are not in it
  bool relation = false;            // made for a relationship of two tables
  std::uint32_t distinct_keys = 0;  // how many there were, at most; 0: unknown
  std::uint8_t flags = 0;           // all of them, as stored
};

// Whether a column is wide enough for a text or bytes; other values always fit.
// kTextTooLong, kBadText.
void RequireFits(const ColumnInfo& column, const Value& value);

// Columns are counted from 0, in the order of columns().
class Table {
 public:
  // Made by a database.
  explicit Table(std::unique_ptr<TableCore> core);
  ~Table();
  Table(const Table&) = delete;
  Table& operator=(const Table&) = delete;

  const std::string& name() const;
  // Both stay valid until the table or its definition is changed.
  const std::vector<ColumnInfo>& columns() const;
  const std::vector<IndexInfo>& indexes() const;
  // As the file counts them.
  std::uint32_t row_count() const;
  // By SameName: case and width do not count. Nothing if there is none.
  std::optional<std::size_t> FindColumn(std::string_view column) const;
  // The same; kColumnMissing with the name in it.
  std::size_t OrdinalOf(std::string_view column) const;

  // Rows by address, in stored order; nothing at the end. A row stays where it
  // is when it is updated. Rows inserted meanwhile come at the end.
  std::optional<RowId> First() const;
  std::optional<RowId> Next(RowId row) const;
  std::optional<RowId> Last() const;

  using Row = TableRow;
  // False if the row is deleted or there is none; kDamaged.
  bool Read(RowId id, Row& row) const;

  using Seek = TableSeek;
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
  // Fields that are not named keep their bytes. The same errors. REQUIRES: the row is
  // there, else kDamaged.
  void Update(RowId id, std::span<const FieldChange> changes);
  // REQUIRES: the row is there, else kDamaged.
  void Delete(RowId id);

 private:
  friend class TableInternals;
  friend class TableScan;
  void RefreshInfo() const;

  std::unique_ptr<TableCore> core_;
  // What the core says in a form for callers, made when it is asked for.
  mutable std::uint64_t info_version_ = 0;
  mutable std::vector<ColumnInfo> columns_;
  mutable std::vector<IndexInfo> indexes_;
};

// One row that was read. REQUIRES: the table has not changed since; a new Read() into
// it is always possible. Kept from row to row, it allocates nothing.
class TableRow {
 public:
  TableRow() = default;
  TableRow(TableRow&& other) noexcept { *this = std::move(other); }
  TableRow& operator=(TableRow&& other) noexcept;
  ~TableRow() {
    if (page_ != nullptr) Release();
  }

  RowId id() const { return id_; }
  bool IsNull(std::size_t ordinal) const;
  Value Get(std::size_t ordinal) const;  // long values included
  // Both without allocating; false for Null. REQUIRES: a column of Text or Memo.
  bool GetText(std::size_t ordinal, std::string& out) const;
  // REQUIRES: a column of Boolean (true is -1), Byte, Integer, Long, Single, Double or
  // DateTime.
  bool GetNumber(std::size_t ordinal, double& out) const;
  // The bytes that stand for the field, as long as the row stays; null data for Null and
  // for a Boolean. Of one value there may be several forms.
  ByteView Stored(std::size_t ordinal) const;

 private:
  friend class Table;
  friend class TableInternals;
  friend class TableScan;
  void Release() noexcept;

  TableCore* table_ = nullptr;
  RowId id_;
  internal::Frame* page_ = nullptr;  // keeps the bytes in the cache
  ByteView bytes_;
  RowLayout layout_;
};

// A fast walk over all rows in stored order. REQUIRES: the table does not change
// meanwhile.
class TableScan {
 public:
  explicit TableScan(const Table& table);
  ~TableScan();
  TableScan(const TableScan&) = delete;
  TableScan& operator=(const TableScan&) = delete;

  // False at the end.
  bool Next();
  // REQUIRES: Next() was true. Valid until the next call.
  const TableRow& row() const { return row_; }

 private:
  std::unique_ptr<RowWalk> walk_;
  TableRow row_;
};

// Rows whose columns hold given values, through an index and in its order.
// REQUIRES: the definition does not change, the rows not before the last Next.
class TableSeek {
 public:
  TableSeek(TableSeek&&) noexcept;
  TableSeek& operator=(TableSeek&&) noexcept;
  ~TableSeek();

  // One value a column, of the column's type. Texts are equal where they have the
  // same place in the index, Memo fields where their first 255 characters are.
  // kWrongType, kUnsortable.
  void Begin(std::span<const Value> values);
  // Each row once; nothing at the end.
  std::optional<RowId> Next();

 private:
  friend class Table;
  TableSeek(TableCore& table, std::unique_ptr<IndexSeek> seek);

  TableCore* table_;
  std::unique_ptr<IndexSeek> seek_;
};

}  // namespace jet
