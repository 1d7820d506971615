#include "sql/text/parameter_type.h"

#include <algorithm>
#include <array>

#include "jet/base/ascii.h"
#include "jet/base/column_type.h"

namespace sql {
namespace {

struct ParameterType {
  std::string_view word;
  jet::ColumnType type;
};

// 0, a parameter of any type, is "Value".
constexpr std::array<ParameterType, 38> kParameterTypes = {{
    {"Bit", jet::ColumnType::kBoolean},        {"YesNo", jet::ColumnType::kBoolean},
    {"Byte", jet::ColumnType::kByte},          {"Short", jet::ColumnType::kInteger},
    {"Integer", jet::ColumnType::kLong},       {"Long", jet::ColumnType::kLong},
    {"Currency", jet::ColumnType::kCurrency},  {"Single", jet::ColumnType::kSingle},
    {"IEEESingle", jet::ColumnType::kSingle},  {"Double", jet::ColumnType::kDouble},
    {"IEEEDouble", jet::ColumnType::kDouble},  {"DateTime", jet::ColumnType::kDateTime},
    {"Binary", jet::ColumnType::kBinary},      {"Text", jet::ColumnType::kText},
    {"LongBinary", jet::ColumnType::kOle},     {"Memo", jet::ColumnType::kMemo},
    {"LongText", jet::ColumnType::kMemo},      {"Guid", jet::ColumnType::kGuid},
    {"Decimal", jet::ColumnType::kNumeric},    {"Numeric", jet::ColumnType::kNumeric},
    {"Boolean", jet::ColumnType::kBoolean},    {"Logical", jet::ColumnType::kBoolean},
    {"SmallInt", jet::ColumnType::kInteger},   {"Int", jet::ColumnType::kLong},
    {"Counter", jet::ColumnType::kLong},       {"AutoIncrement", jet::ColumnType::kLong},
    {"Money", jet::ColumnType::kCurrency},     {"Real", jet::ColumnType::kSingle},
    {"Float", jet::ColumnType::kDouble},       {"Number", jet::ColumnType::kDouble},
    {"Date", jet::ColumnType::kDateTime},      {"Time", jet::ColumnType::kDateTime},
    {"Timestamp", jet::ColumnType::kDateTime}, {"Char", jet::ColumnType::kText},
    {"VarChar", jet::ColumnType::kText},       {"String", jet::ColumnType::kText},
    {"Note", jet::ColumnType::kMemo},          {"UniqueIdentifier", jet::ColumnType::kGuid},
}};

}  // namespace

std::optional<std::int16_t> ParameterTypeOf(std::string_view word) {
  if (jet::EqualsAsciiCase(word, "VALUE")) return std::int16_t{0};
  const auto known = std::find_if(
      kParameterTypes.begin(), kParameterTypes.end(),
      [&](const ParameterType& each) { return jet::EqualsAsciiCase(each.word, word); });
  if (known == kParameterTypes.end()) return std::nullopt;
  return static_cast<std::int16_t>(known->type);
}

std::string ParameterTypeWord(std::int16_t type) {
  switch (type) {
    case 0:
      return "Value";
    case static_cast<int>(jet::ColumnType::kBoolean):
      return "Bit";
    case static_cast<int>(jet::ColumnType::kInteger):
      return "Short";
    case static_cast<int>(jet::ColumnType::kOle):
      return "LongBinary";
    case static_cast<int>(jet::ColumnType::kNumeric):
      return "Decimal";
    default:
      if (type > 0 && type <= static_cast<int>(jet::ColumnType::kGuid) &&
          jet::IsKnownType(static_cast<jet::ColumnType>(type))) {
        return jet::TypeName(static_cast<jet::ColumnType>(type));
      }
      return "Value";
  }
}

}  // namespace sql
