// Assignment to a field: the value becomes one of the column's own type.
#include <fmt/format.h>

#include <cmath>
#include <limits>
#include <optional>

#include "ado/error.h"
#include "ado/value.h"
#include "jet/base/ascii.h"
#include "jet/base/number.h"
#include "jet/table/table.h"

namespace ado {
namespace {

using jet::ColumnInfo;
using jet::ColumnType;

[[noreturn]] void Fail(const ColumnInfo& column, jet::ErrorCode code) {
  throw Error::From(jet::Error(code).OfColumn(column.name));
}

[[noreturn]] void FailType(const ColumnInfo& column) { Fail(column, jet::ErrorCode::kWrongType); }

[[noreturn]] void FailRange(const ColumnInfo& column) { Fail(column, jet::ErrorCode::kOutOfRange); }

// "True" and "False" in any case.
std::optional<bool> BooleanWord(const Value& value) {
  const auto* text = std::get_if<std::string>(&value);
  if (text == nullptr) return std::nullopt;
  if (jet::EqualsAsciiCase(*text, "true")) return true;
  if (jet::EqualsAsciiCase(*text, "false")) return false;
  return std::nullopt;
}

double NumberFor(const ColumnInfo& column, const Value& value) {
  if (const auto word = BooleanWord(value)) return *word ? -1 : 0;
  try {
    return ToDouble(value);
  } catch (const Error&) {
    FailType(column);
  }
}

template <class Integer>
Value IntegerFor(const ColumnInfo& column, const Value& value) {
  const auto rounded = jet::RoundHalfEven<Integer>(NumberFor(column, value));
  if (!rounded) FailRange(column);
  return *rounded;
}

Value ByteFor(const ColumnInfo& column, const Value& value) {
  // True is all bits set, and a byte has no sign.
  if (const auto* flag = std::get_if<bool>(&value)) {
    return static_cast<std::uint8_t>(*flag ? 255 : 0);
  }
  return IntegerFor<std::uint8_t>(column, value);
}

Value SingleFor(const ColumnInfo& column, const Value& value) {
  const double number = NumberFor(column, value);
  if (!(std::abs(number) <= static_cast<double>(std::numeric_limits<float>::max()))) {
    FailRange(column);
  }
  return static_cast<float>(number);
}

Value CurrencyFor(const ColumnInfo& column, const Value& value) {
  if (std::holds_alternative<Currency>(value)) return value;
  const auto scaled =
      jet::RoundHalfEven<std::int64_t>(static_cast<long double>(NumberFor(column, value)) * 10000);
  if (!scaled) FailRange(column);
  return Currency{*scaled};
}

Value DateFor(const ColumnInfo& column, const Value& value) {
  if (std::holds_alternative<DateTime>(value)) return value;
  if (const auto* text = std::get_if<std::string>(&value)) {
    if (const auto date = jet::ReadDateTimeByYear(*text)) return *date;
  }
  const DateTime date{NumberFor(column, value)};
  if (!jet::IsInCalendar(date)) FailRange(column);
  return date;
}

Value TextFor(const ColumnInfo& column, const Value& value) {
  if (std::holds_alternative<jet::Bytes>(value)) FailType(column);
  Value text = ToText(value);
  Translated([&] { jet::RequireFits(column, text); });
  return text;
}

Value BinaryFor(const ColumnInfo& column, const Value& value) {
  if (!std::holds_alternative<jet::Bytes>(value)) FailType(column);
  Translated([&] { jet::RequireFits(column, value); });
  return value;
}

Value GuidFor(const ColumnInfo& column, const Value& value) {
  if (std::holds_alternative<jet::Guid>(value)) return value;
  const auto* text = std::get_if<std::string>(&value);
  if (text == nullptr) FailType(column);
  const auto guid = jet::ParseGuid(*text);
  if (!guid) FailType(column);
  return *guid;
}

Value NumericFor(const ColumnInfo& column, const Value& value) {
  if (std::holds_alternative<jet::Numeric>(value)) return value;
  const double number = NumberFor(column, value);
  // A text keeps its digits; what is in binary is rounded to the column's scale.
  const auto* text = std::get_if<std::string>(&value);
  std::optional<jet::Numeric> numeric;
  if (text != nullptr) numeric = jet::ParseNumeric(*text, column.precision, column.scale);
  if (!numeric && std::isfinite(number)) {
    numeric = jet::ParseNumeric(fmt::format("{:.{}f}", number, column.scale), column.precision,
                                column.scale);
  }
  if (!numeric) FailRange(column);
  return *numeric;
}

}  // namespace

Value ConvertTo(const jet::ColumnInfo& column, const Value& value) {
  if (jet::IsNull(value)) {
    // A Yes/No column has no Null.
    return column.type == ColumnType::kBoolean ? Value(false) : value;
  }
  switch (column.type) {
    case ColumnType::kBoolean:
      return std::holds_alternative<bool>(value) ? value : Value(NumberFor(column, value) != 0);
    case ColumnType::kByte:
      return ByteFor(column, value);
    case ColumnType::kInteger:
      return IntegerFor<std::int16_t>(column, value);
    case ColumnType::kLong:
      return IntegerFor<std::int32_t>(column, value);
    case ColumnType::kCurrency:
      return CurrencyFor(column, value);
    case ColumnType::kSingle:
      return SingleFor(column, value);
    case ColumnType::kDouble:
      return NumberFor(column, value);
    case ColumnType::kDateTime:
      return DateFor(column, value);
    case ColumnType::kText:
    case ColumnType::kMemo:
      return TextFor(column, value);
    case ColumnType::kBinary:
    case ColumnType::kOle:
      return BinaryFor(column, value);
    case ColumnType::kGuid:
      return GuidFor(column, value);
    case ColumnType::kNumeric:
      return NumericFor(column, value);
    case ColumnType::kRaw:
      break;
  }
  FailType(column);
}

}  // namespace ado
