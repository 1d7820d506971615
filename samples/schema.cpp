#include "samples/schema.h"

#include <stdexcept>

namespace samples {
namespace {

constexpr std::string_view kPrimaryKeyName = "PrimaryKey";

// A whole number in the type of the column.
jet::Value Converted(jet::ColumnType type, const jet::Value& value) {
  const auto* number = std::get_if<std::int32_t>(&value);
  if (number == nullptr) return value;
  switch (type) {
    case jet::ColumnType::kInteger:
      return static_cast<std::int16_t>(*number);
    case jet::ColumnType::kDouble:
      return static_cast<double>(*number);
    case jet::ColumnType::kText:
      return std::to_string(*number);
    default:
      return value;
  }
}

}  // namespace

jet::TableSpec BaseTable::Spec() const {
  jet::TableSpec spec;
  spec.name = name;
  jet::IndexSpec primary;
  primary.name = kPrimaryKeyName;
  primary.primary = primary.unique = primary.required = true;
  for (const BaseColumn& column : columns) {
    spec.columns.push_back(column.spec);
    if (column.key) primary.columns.push_back(column.spec.name);
  }
  if (!primary.columns.empty()) spec.indexes.push_back(primary);
  for (const BaseColumn& column : columns) {
    if (!column.indexed) continue;
    jet::IndexSpec index;
    index.name = column.spec.name;
    index.columns = {column.spec.name};
    spec.indexes.push_back(index);
  }
  return spec;
}

void BaseTable::AddColumn(BaseColumn column, const jet::Value& value) {
  for (Row& row : rows) {
    row.resize(columns.size());
    row.push_back(value);
  }
  columns.push_back(std::move(column));
}

jet::Value& BaseTable::At(std::size_t row, std::string_view column) {
  for (std::size_t i = 0; i < columns.size(); ++i) {
    if (columns[i].spec.name != column) continue;
    rows.at(row).resize(columns.size());
    return rows[row][i];
  }
  throw std::out_of_range("no column " + std::string(column) + " in " + name);
}

BaseTable& TableNamed(std::vector<BaseTable>& tables, std::string_view name) {
  for (BaseTable& table : tables) {
    if (table.name == name) return table;
  }
  throw std::out_of_range("no base table " + std::string(name));
}

void Conform(const BaseTable& table, Row& row) {
  row.resize(table.columns.size());
  for (std::size_t i = 0; i < row.size(); ++i) {
    row[i] = Converted(table.columns[i].spec.type, row[i]);
  }
}

std::shared_ptr<jet::Table> Write(jet::Database& database, const BaseTable& table) {
  std::shared_ptr<jet::Table> stored = database.CreateTable(table.Spec());
  for (Row row : table.rows) {
    Conform(table, row);
    stored->Insert(row);
  }
  return stored;
}

}  // namespace samples
