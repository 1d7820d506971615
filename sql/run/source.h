// What a query reads from: rows with handles. A handle is 32 bits, so that a
// joined row costs four bytes a source; 0 stands for the row of Nulls that an
// outer join adds.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "jet/table/table.h"
#include "sql/values/datum.h"

namespace sql {

using Handle = std::uint32_t;

struct SourceColumn {
  std::string name;
  jet::ColumnType type = jet::ColumnType::kText;
  std::size_t max_chars = 0;
  int scale = 0;
  double distinct = 0;  // how many different values an index knows of; 0 = unknown
};

class Source {
 public:
  virtual ~Source() = default;
  const std::vector<SourceColumn>& columns() const { return columns_; }
  virtual double row_count() const = 0;

  // All rows, once; again after Rewind.
  virtual bool Advance(Handle& handle) = 0;
  virtual void Rewind() = 0;
  virtual void Read(Handle handle, std::size_t column, Datum& out) = 0;
  // Appends bytes that are different for values that differ; one value may have several.
  virtual void AppendSpelling(Handle handle, std::size_t column, std::string& out);
  // The value as it is stored; `scratch` may be used to hold it.
  virtual const jet::Value& ReadValue(Handle handle, std::size_t column, jet::Value& scratch) = 0;

 protected:
  std::vector<SourceColumn> columns_;

 private:
  Datum spelled_;
};

// A stored table. A handle is the row's address.
class TableSource : public Source {
 public:
  // kScan is fast; kSteps allows the table to change between the rows.
  enum class Walk { kScan, kSteps };

  explicit TableSource(std::shared_ptr<jet::Table> table);
  void set_walk(Walk walk) { walk_ = walk; }
  const std::shared_ptr<jet::Table>& table() const { return table_; }

  double row_count() const override { return table_->row_count(); }
  bool Advance(Handle& handle) override;
  void Rewind() override;
  void Read(Handle handle, std::size_t column, Datum& out) override;
  void AppendSpelling(Handle handle, std::size_t column, std::string& out) override;
  const jet::Value& ReadValue(Handle handle, std::size_t column, jet::Value& scratch) override;

 private:
  // How a column is read: kText, a kind of numbers, or kBytes for all others.
  std::vector<Datum::Kind> kinds_;

  const jet::Table::Row& RowAt(Handle handle);

  std::shared_ptr<jet::Table> table_;
  Walk walk_ = Walk::kScan;
  std::optional<jet::TableScan> scan_;
  Handle scanned_ = 0;
  jet::Table::Row row_;
  Handle read_ = 0;
  const jet::Table::Row* last_ = nullptr;
  Handle last_handle_ = 0;
};

// Rows of a table by the number in one column, through an index.
class IndexProbe {
 public:
  // Nothing if no index starts with the column, or it holds no numbers.
  static std::optional<IndexProbe> For(const jet::Table& table, std::size_t column);
  // Each row that holds `number` follows, once.
  void Begin(double number);
  bool Next(Handle& handle);

 private:
  IndexProbe(jet::ColumnType type, jet::Table::Seek rows) : type_(type), rows_(std::move(rows)) {}

  jet::ColumnType type_;
  jet::Table::Seek rows_;
  bool possible_ = false;  // the column can hold the number
};

// Rows held in memory. Handles count from 1.
class MemorySource : public Source {
 public:
  explicit MemorySource(std::vector<SourceColumn> columns);
  // A value for every column; taken away.
  void Add(std::vector<jet::Value>& values);
  // All rows of `source`; only the columns that `used` names are filled.
  static std::unique_ptr<MemorySource> Load(Source& source, const std::vector<bool>& used);

  double row_count() const override { return static_cast<double>(rows_); }
  bool Advance(Handle& handle) override;
  void Rewind() override { at_ = 0; }
  void Read(Handle handle, std::size_t column, Datum& out) override;
  const jet::Value& ReadValue(Handle handle, std::size_t column, jet::Value& scratch) override;

 private:
  std::vector<jet::Value> values_;
  std::size_t rows_ = 0, at_ = 0;
};

// The state of a running query: the sources and one row of each.
struct Context {
  jet::SortOrder order;
  std::vector<std::unique_ptr<Source>> sources;
  std::vector<Handle> handles;
  const Datum* aggregates = nullptr;  // of the group in hand
};

}  // namespace sql
