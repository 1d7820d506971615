// What a database holds before any upgrade: the tables that the design system
// itself brings, at version 2, with the rows of the small ones. The rows of
// jobs are in jobs.h.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "jet/database/database.h"

namespace samples {

struct BaseColumn {
  jet::ColumnSpec spec;
  bool key = false;      // part of the primary key
  bool indexed = false;  // has a plain index of its own, named like the column
};

using Row = std::vector<jet::Value>;

struct BaseTable {
  std::string name;
  std::vector<BaseColumn> columns;
  // A row may be shorter than the table (Null behind it), and any number may
  // stand for any type of number: it is converted when the row is written.
  std::vector<Row> rows;

  jet::TableSpec Spec() const;
  // Appends a column; `value` in all rows.
  void AddColumn(BaseColumn column, const jet::Value& value = {});
  jet::Value& At(std::size_t row, std::string_view column);
};

// The tables without rows.
std::vector<BaseTable> DataSchema();
std::vector<BaseTable> TenkaiSchema();
// With the rows that do not depend on jobs.
std::vector<BaseTable> DataTables();
std::vector<BaseTable> TenkaiTables();

// By exact name. Throws std::out_of_range.
BaseTable& TableNamed(std::vector<BaseTable>& tables, std::string_view name);

// Creates the table and writes its rows.
std::shared_ptr<jet::Table> Write(jet::Database& database, const BaseTable& table);
// `row` with a value for every column, each of its column's type.
void Conform(const BaseTable& table, Row& row);

}  // namespace samples
