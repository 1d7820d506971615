#include "jet/row/table_def.h"

#include <algorithm>

#include "jet/sort/name.h"

namespace jet {

std::size_t TableDef::fixed_width() const {
  std::size_t width = 0;
  for (const ColumnDef& column : columns) {
    if (column.fixed() && column.type != ColumnType::kBoolean) {
      width = std::max(width, column.fixed_offset + column.fixed_bytes());
    }
  }
  return width;
}

std::optional<std::size_t> TableDef::FindColumn(std::string_view name, SortOrder order) const {
  for (std::size_t i = 0; i < columns.size(); ++i) {
    if (columns[i].name == name) return i;
  }
  for (std::size_t i = 0; i < columns.size(); ++i) {
    if (SameName(order, columns[i].name, name)) return i;
  }
  return std::nullopt;
}

std::optional<std::size_t> TableDef::FindColumn(ColumnId id) const {
  for (std::size_t i = 0; i < columns.size(); ++i) {
    if (columns[i].id == id) return i;
  }
  return std::nullopt;
}

}  // namespace jet
