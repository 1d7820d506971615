#include "jet/check/context.h"

namespace jet::check {

std::optional<std::size_t> ExactSize(const ColumnDef& column) {
  if (InfoOf(column.type).size != ValueSize::kExact && !column.fixed()) return std::nullopt;
  return column.fixed_bytes();
}

}  // namespace jet::check
