// Assignment to a field: the value becomes one of the column's own type.
#include <fmt/format.h>

#include <charconv>
#include <cmath>
#include <limits>
#include <optional>

#include "ado/error.h"
#include "ado/value.h"
#include "jet/text.h"

namespace ado {
namespace {

using jet::ColumnDef;
using jet::ColumnType;

[[noreturn]] void Fail(const ColumnDef& column, std::string_view why) {
  throw Error(kErrIntegrity, fmt::format("フィールド '{}' {}", column.name, why));
}

[[noreturn]] void FailType(const ColumnDef& column) { Fail(column, "の型に値を変換できません。"); }

[[noreturn]] void FailRange(const ColumnDef& column) { Fail(column, "の値が範囲を超えています。"); }

bool SameAscii(std::string_view a, std::string_view lower) {
  if (a.size() != lower.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    const char c = a[i] >= 'A' && a[i] <= 'Z' ? static_cast<char>(a[i] + ('a' - 'A')) : a[i];
    if (c != lower[i]) return false;
  }
  return true;
}

// "True" and "False" in any case.
std::optional<bool> BooleanWord(const Value& value) {
  const auto* text = std::get_if<std::string>(&value);
  if (text == nullptr) return std::nullopt;
  if (SameAscii(*text, "true")) return true;
  if (SameAscii(*text, "false")) return false;
  return std::nullopt;
}

double NumberFor(const ColumnDef& column, const Value& value) {
  if (const auto word = BooleanWord(value)) return *word ? -1 : 0;
  try {
    return ToDouble(value);
  } catch (const Error&) {
    FailType(column);
  }
}

template <class Integer>
Value IntegerFor(const ColumnDef& column, const Value& value) {
  const double rounded = std::nearbyint(NumberFor(column, value));  // half to even
  constexpr double low = std::numeric_limits<Integer>::min();
  constexpr double high = std::numeric_limits<Integer>::max();
  if (!(rounded >= low && rounded <= high)) FailRange(column);
  return static_cast<Integer>(rounded);
}

Value ByteFor(const ColumnDef& column, const Value& value) {
  // True is all bits set, and a byte has no sign.
  if (const auto* flag = std::get_if<bool>(&value)) {
    return static_cast<std::uint8_t>(*flag ? 255 : 0);
  }
  return IntegerFor<std::uint8_t>(column, value);
}

Value SingleFor(const ColumnDef& column, const Value& value) {
  const double number = NumberFor(column, value);
  if (!(std::abs(number) <= static_cast<double>(std::numeric_limits<float>::max()))) {
    FailRange(column);
  }
  return static_cast<float>(number);
}

Value CurrencyFor(const ColumnDef& column, const Value& value) {
  if (std::holds_alternative<Currency>(value)) return value;
  const long double scaled =
      std::nearbyint(static_cast<long double>(NumberFor(column, value)) * 10000.0L);
  constexpr long double limit = 9.2e18L;
  if (!(std::abs(scaled) <= limit)) FailRange(column);
  return Currency{static_cast<std::int64_t>(scaled)};
}

// The unsigned numbers of a text and what separates them: "2010-1-4 8:30" has
// five, separated by "-- :". Nothing for any other shape.
struct NumberRow {
  std::vector<int> numbers;
  std::string separators;
};

std::optional<NumberRow> SplitNumbers(std::string_view text) {
  NumberRow row;
  const char* at = text.data();
  const char* const end = at + text.size();
  while (row.numbers.size() < 6) {
    int number = 0;
    const auto [next, failure] = std::from_chars(at, end, number);
    if (failure != std::errc() || *at == '-') return std::nullopt;
    row.numbers.push_back(number);
    if (next == end) return row;
    row.separators += *next == '/' ? '-' : *next;
    at = next + 1;
  }
  return std::nullopt;
}

int DaysOf(int year, int month) {
  constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
  return month == 2 && leap ? 29 : kDays[month - 1];
}

// Year, month and day with "-" or "/", a time of day, or both.
std::optional<DateTime> ParseDate(std::string_view text) {
  const auto row = SplitNumbers(text);
  if (!row) return std::nullopt;
  const std::string_view shape = row->separators;
  jet::CivilTime civil;
  std::size_t at = 0;
  if (shape.starts_with("--")) {
    civil.year = row->numbers[0];
    civil.month = row->numbers[1];
    civil.day = row->numbers[2];
    at = 3;
    if (civil.year < 100 || civil.year > 9999 || civil.month < 1 || civil.month > 12 ||
        civil.day < 1 || civil.day > DaysOf(civil.year, civil.month)) {
      return std::nullopt;
    }
  }
  const std::string_view time = at == 0 ? shape : shape.substr(2);
  if (time.empty() && at == 3) return jet::ToDateTime(civil);
  if (time != (at == 3 ? " :" : ":") && time != (at == 3 ? " ::" : "::")) return std::nullopt;
  civil.hour = row->numbers[at];
  civil.minute = row->numbers[at + 1];
  if (row->numbers.size() > at + 2) civil.second = row->numbers[at + 2];
  if (civil.hour > 23 || civil.minute > 59 || civil.second > 59) return std::nullopt;
  return jet::ToDateTime(civil);
}

Value DateFor(const ColumnDef& column, const Value& value) {
  if (std::holds_alternative<DateTime>(value)) return value;
  if (const auto* text = std::get_if<std::string>(&value)) {
    if (const auto date = ParseDate(*text)) return *date;
  }
  const double days = NumberFor(column, value);
  constexpr double first_day = -657434, last_day = 2958466;  // the years 100 to 9999
  if (!(days >= first_day && days < last_day)) FailRange(column);
  return DateTime{days};
}

Value TextFor(const ColumnDef& column, const Value& value) {
  if (std::holds_alternative<jet::Bytes>(value)) FailType(column);
  std::string text = ToText(value);
  std::size_t units = 0;
  try {
    units = jet::ToUtf16(text).size();
  } catch (const jet::Error&) {
    Fail(column, "の文字列が正しい Unicode ではありません。");
  }
  if (column.type == ColumnType::kText && units > column.max_chars()) {
    Fail(column, fmt::format("の文字列が長すぎます。{} 文字まで保存できますが、{} 文字あります。",
                             column.max_chars(), units));
  }
  return text;
}

Value BinaryFor(const ColumnDef& column, const Value& value) {
  const auto* bytes = std::get_if<jet::Bytes>(&value);
  if (bytes == nullptr) FailType(column);
  if (column.type == ColumnType::kBinary && bytes->size() > column.length) {
    Fail(column, fmt::format("の値が長すぎます。{} バイトまで保存できますが、{} バイトあります。",
                             column.length, bytes->size()));
  }
  return value;
}

Value GuidFor(const ColumnDef& column, const Value& value) {
  if (std::holds_alternative<jet::Guid>(value)) return value;
  const auto* text = std::get_if<std::string>(&value);
  if (text == nullptr) FailType(column);
  jet::Bytes digits;  // in the order of the text
  std::string_view rest = *text;
  if (rest.starts_with('{') && rest.ends_with('}')) rest = rest.substr(1, rest.size() - 2);
  while (!rest.empty()) {
    if (rest.front() == '-') rest.remove_prefix(1);
    std::uint8_t byte = 0;
    const std::string_view pair = rest.substr(0, 2);
    const auto [end, failure] = std::from_chars(pair.data(), pair.data() + pair.size(), byte, 16);
    if (failure != std::errc() || end != pair.data() + 2 || digits.size() == 16) FailType(column);
    digits.push_back(byte);
    rest.remove_prefix(2);
  }
  if (digits.size() != 16) FailType(column);
  constexpr std::size_t kStoredOrder[] = {3, 2, 1, 0, 5, 4, 7, 6, 8, 9, 10, 11, 12, 13, 14, 15};
  jet::Guid guid;
  for (std::size_t i = 0; i < 16; ++i) guid.bytes[i] = digits[kStoredOrder[i]];
  return guid;
}

Value NumericFor(const ColumnDef& column, const Value& value) {
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

Value ConvertTo(const jet::ColumnDef& column, const Value& value) {
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
