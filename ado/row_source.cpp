#include "ado/row_source.h"

#include <utility>

#include "ado/value.h"

namespace ado {
namespace {

std::vector<std::string> NamesOf(const jet::Table& table) {
  std::vector<std::string> names;
  for (const jet::ColumnInfo& column : table.columns()) names.push_back(column.name);
  return names;
}

std::vector<std::string> NamesOf(const sql::RowSet& rows) {
  std::vector<std::string> names;
  for (const sql::OutputColumn& column : rows.columns()) names.push_back(column.name);
  return names;
}

// Nothing if the row, or the column, is not there any more.
std::optional<jet::Value> ReadField(const jet::Table& table, jet::RowId id, std::size_t ordinal) {
  // A row that was read pins its page and is valid until the next change, which may
  // come from anywhere; so it is not kept.
  jet::Table::Row row;
  if (ordinal >= table.columns().size() || !table.Read(id, row)) return std::nullopt;
  return HandedOver(table, ordinal, row.Get(ordinal));
}

// All rows of a table; rows are found by their address, none is kept.
class TableRows : public RowSource {
 public:
  explicit TableRows(std::shared_ptr<jet::Table> table)
      : RowSource(NamesOf(*table)), table_(std::move(table)) {}

  void MoveFirst() override { row_ = table_->First(); }
  void MoveNext() override { row_ = table_->Next(*row_); }
  void MoveLast() override { row_ = table_->Last(); }
  bool at_end() const override { return !row_; }
  // Counted: the number in the definition may be wrong, and steps go by this one.
  std::uint64_t Count() override {
    std::uint64_t count = 0;
    for (auto row = table_->First(); row; row = table_->Next(*row)) ++count;
    return count;
  }
  std::optional<jet::Value> Get(std::size_t field) override {
    return ReadField(*table_, *row_, field);
  }
  jet::Table* table() override { return table_.get(); }
  jet::RowId row() const override { return *row_; }
  void StandOnAdded(jet::RowId added) override { row_ = added; }

 private:
  std::shared_ptr<jet::Table> table_;
  std::optional<jet::RowId> row_;
};

// The rows of one table that a query picked, in its order: their addresses only.
class PickedRows : public RowSource {
 public:
  PickedRows(std::shared_ptr<jet::Table> table, sql::RowSet& picked)
      : RowSource(NamesOf(picked)), table_(std::move(table)) {
    for (std::size_t i = 0; i < names().size(); ++i) ordinals_.push_back(picked.base_ordinal(i));
    while (picked.Next()) {
      if (const auto row = picked.base_row()) rows_.push_back(*row);
    }
  }

  void MoveFirst() override { at_ = 0; }
  void MoveNext() override { ++at_; }
  void MoveLast() override { at_ = rows_.empty() ? 0 : rows_.size() - 1; }
  bool at_end() const override { return at_ >= rows_.size(); }
  std::uint64_t Count() override { return rows_.size(); }
  std::optional<jet::Value> Get(std::size_t field) override {
    return ReadField(*table_, row(), ordinals_[field]);
  }
  jet::Table* table() override { return table_.get(); }
  std::size_t OrdinalOf(std::size_t field) const override { return ordinals_[field]; }
  jet::RowId row() const override { return rows_[at_]; }
  void StandOnAdded(jet::RowId added) override {
    at_ = rows_.size();
    rows_.push_back(added);
  }

 private:
  std::shared_ptr<jet::Table> table_;
  std::vector<std::size_t> ordinals_;  // by field
  std::vector<jet::RowId> rows_;
  std::size_t at_ = 0;
};

jet::Value HandedOver(jet::Value value, int scale) {
  const auto* numeric = std::get_if<jet::Numeric>(&value);
  return numeric == nullptr ? value : jet::Value(ToDouble(jet::FormatNumeric(*numeric, scale)));
}

// The values of a query that cannot be written through. All are taken at once:
// a running query must not see its tables change, and a recordset may stay open
// while they do.
class QueryRows : public RowSource {
 public:
  explicit QueryRows(sql::RowSet& rows) : RowSource(NamesOf(rows)) {
    while (rows.Next()) {
      for (std::size_t i = 0; i < names().size(); ++i)
        values_.push_back(HandedOver(rows.value(i), rows.columns()[i].scale));
      ++count_;
    }
  }

  void MoveFirst() override { at_ = 0; }
  void MoveNext() override { ++at_; }
  void MoveLast() override { at_ = count_ == 0 ? 0 : count_ - 1; }
  bool at_end() const override { return at_ >= count_; }
  std::uint64_t Count() override { return count_; }
  std::optional<jet::Value> Get(std::size_t field) override {
    return values_[at_ * names().size() + field];
  }

 private:
  std::vector<jet::Value> values_;  // row by row
  std::size_t count_ = 0;
  std::size_t at_ = 0;
};

}  // namespace

jet::Value HandedOver(const jet::Table& table, std::size_t ordinal, jet::Value value) {
  if (ordinal >= table.columns().size()) return value;
  return HandedOver(std::move(value), table.columns()[ordinal].scale);
}

std::unique_ptr<RowSource> MakeTableRows(std::shared_ptr<jet::Table> table) {
  return std::make_unique<TableRows>(std::move(table));
}

std::unique_ptr<RowSource> MakeQueryRows(jet::Database& database,
                                         const jet::QueryDefinition& definition, bool updatable) {
  const std::unique_ptr<sql::RowSet> rows = sql::Run(database, definition);
  if (std::shared_ptr<jet::Table> table = rows->base_table(); updatable && table != nullptr) {
    return std::make_unique<PickedRows>(std::move(table), *rows);
  }
  return std::make_unique<QueryRows>(*rows);
}

}  // namespace ado
