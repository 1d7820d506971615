// What stands behind a Table and its rows, for the rooms that change definitions and
// for tests, fuzzing and benchmarks that look at bytes.
#pragma once

#include "jet/table/table.h"
#include "jet/table/table_core.h"

namespace jet {

class TableInternals {
 public:
  static TableCore& CoreOf(const Table& table) { return *table.core_; }
  static RowView ViewOf(const TableRow& row) { return RowView(row.bytes_, row.layout_); }
};

// Both as TableCore::def() and rules().
inline const TableDef& DefOf(const Table& table) { return TableInternals::CoreOf(table).def(); }
inline const std::vector<ColumnRules>& RulesOf(const Table& table) {
  return TableInternals::CoreOf(table).rules();
}
// Valid as long as the row.
inline RowView ViewOf(const TableRow& row) { return TableInternals::ViewOf(row); }

}  // namespace jet
