// A small language to write table definitions in.
#pragma once

#include <utility>

#include "samples/schema.h"

namespace samples {

inline BaseColumn OfType(const char* name, jet::ColumnType type) {
  BaseColumn column;
  column.spec.name = name;
  column.spec.type = type;
  return column;
}
inline BaseColumn Long(const char* name) { return OfType(name, jet::ColumnType::kLong); }
inline BaseColumn Short(const char* name) { return OfType(name, jet::ColumnType::kInteger); }
inline BaseColumn Double(const char* name) { return OfType(name, jet::ColumnType::kDouble); }
inline BaseColumn Date(const char* name) { return OfType(name, jet::ColumnType::kDateTime); }

// Text as the design system's own tables hold it: compressed, empty allowed.
inline BaseColumn Text(const char* name, std::size_t max_chars) {
  BaseColumn column = OfType(name, jet::ColumnType::kText);
  column.spec.max_size = max_chars;
  column.spec.compressed = true;
  column.spec.allow_zero_length = true;
  return column;
}
inline BaseColumn Memo(const char* name) {
  BaseColumn column = Text(name, 0);
  column.spec.type = jet::ColumnType::kMemo;
  return column;
}

inline BaseColumn Key(BaseColumn column) {
  column.key = true;
  return column;
}
inline BaseColumn Indexed(BaseColumn column) {
  column.indexed = true;
  return column;
}
inline BaseColumn Required(BaseColumn column) {
  column.spec.required = true;
  return column;
}
inline BaseColumn Default(BaseColumn column, const char* expression) {
  column.spec.default_expression = expression;
  return column;
}

inline void Add(std::vector<BaseTable>& tables, const char* name, std::vector<BaseColumn> columns) {
  tables.push_back({name, std::move(columns), {}});
}

}  // namespace samples
