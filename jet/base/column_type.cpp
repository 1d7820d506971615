#include "jet/base/column_type.h"

namespace jet {

static_assert(InfoOf(ColumnType::kRaw).name == "Raw", "the rows stand by their codes");

std::string TypeName(ColumnType type) {
  if (IsKnownType(type)) return std::string(InfoOf(type).name);
  return "type " + std::to_string(static_cast<unsigned>(type));
}

}  // namespace jet
