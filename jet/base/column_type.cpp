#include "jet/base/column_type.h"

namespace jet {

static_assert(InfoOf(ColumnType::kRaw).name == "Raw", "the rows stand by their codes");

std::string TypeName(ColumnType type) {
  if (IsKnownType(type)) return std::string(InfoOf(type).name);
  const auto code = static_cast<unsigned>(type);
  // Later formats have it, and programs of theirs may have put it here.
  constexpr unsigned kComplex = 18;
  return "type " + std::to_string(code) +
         (code == kComplex ? " (attachments or several values)" : "");
}

}  // namespace jet
