// The column types of the format, and what is known of each: one row a type. Constants
// and functions of them; any thread may use them.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace jet {

// The type codes of the format. Files may hold others: see IsKnownType.
enum class ColumnType : std::uint8_t {
  kBoolean = 1,
  kByte = 2,
  kInteger = 3,
  kLong = 4,
  kCurrency = 5,
  kSingle = 6,
  kDouble = 7,
  kDateTime = 8,
  kBinary = 9,
  kText = 10,
  kOle = 11,
  kMemo = 12,
  kGuid = 15,
  kNumeric = 16,
  kRaw = 17,  // fixed bytes of a system table; read only
};

inline constexpr std::uint16_t kMaxTextChars = 255;  // UTF-16 units of a Text column
inline constexpr std::uint16_t kMaxBinaryBytes = 510;
inline constexpr std::uint8_t kMaxPrecision = 28;  // digits of a Numeric column

// How many bytes the values of a type take in a row.
enum class ValueSize : std::uint8_t {
  kExact,     // always TypeInfo::bytes
  kByColumn,  // at most as many as the column's descriptor says
  kLong,      // a long value's descriptor
};

struct TypeInfo {
  std::string_view name;  // English, for messages and listings; empty: no such type
  ValueSize size = ValueSize::kByColumn;
  std::uint8_t bytes = 0;    // a Boolean has none: its value is a bit of the null mask
  std::uint16_t length = 0;  // of a new column's descriptor; kByColumn: the most
  bool fixed = false;        // whether a new column lies in the rows' fixed region
  bool creatable = false;    // whether we make columns of it
  bool indexable = false;    // whether its values have keys
};

namespace internal {

// By type code: name, size, bytes, length, fixed, creatable, indexable.
inline constexpr std::array<TypeInfo, 18> kTypes = {{
    {},
    {"Boolean", ValueSize::kExact, 0, 1, true, true, false},
    {"Byte", ValueSize::kExact, 1, 1, true, true, true},
    {"Integer", ValueSize::kExact, 2, 2, true, true, true},
    {"Long", ValueSize::kExact, 4, 4, true, true, true},
    {"Currency", ValueSize::kExact, 8, 8, true, true, true},
    {"Single", ValueSize::kExact, 4, 4, true, true, true},
    {"Double", ValueSize::kExact, 8, 8, true, true, true},
    {"DateTime", ValueSize::kExact, 8, 8, true, true, true},
    {"Binary", ValueSize::kByColumn, 0, kMaxBinaryBytes, false, true, true},
    {"Text", ValueSize::kByColumn, 0, 2 * kMaxTextChars, false, true, true},
    {"OLE", ValueSize::kLong, 0, 0, false, true, false},
    {"Memo", ValueSize::kLong, 0, 0, false, true, true},
    {},
    {},
    {"GUID", ValueSize::kExact, 16, 16, false, true, true},
    {"Numeric", ValueSize::kExact, 17, 17, true, true, true},
    {"Raw", ValueSize::kByColumn, 0, 0, true, false, false},
}};

}  // namespace internal

// Of a code that is not a type's, an entry without a name.
constexpr const TypeInfo& InfoOf(ColumnType type) {
  const auto code = static_cast<std::size_t>(type);
  return internal::kTypes[code < internal::kTypes.size() ? code : 0];
}

constexpr bool IsKnownType(ColumnType type) { return !InfoOf(type).name.empty(); }
constexpr bool IsLongValue(ColumnType type) { return InfoOf(type).size == ValueSize::kLong; }
constexpr bool IsText(ColumnType type) {
  return type == ColumnType::kText || type == ColumnType::kMemo;
}
// Whether a Numeric column may have this many digits, and so many of them decimals.
constexpr bool IsDecimalShape(std::uint8_t precision, std::uint8_t scale) {
  return precision >= 1 && precision <= kMaxPrecision && scale <= precision;
}

// "Long", "Text"; "type 13" for a code that is not a type's.
std::string TypeName(ColumnType type);

}  // namespace jet
