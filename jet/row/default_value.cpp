#include "jet/row/default_value.h"

#include <charconv>
#include <cmath>
#include <limits>
#include <optional>

#include "jet/base/ascii.h"
#include "jet/base/error.h"
#include "jet/base/number.h"

namespace jet {

namespace {

struct Number {
  double value = 0;
  std::string text;  // sign and digits as written
};
// What an expression evaluates to, before any column is asked.
using Literal = std::variant<Null, bool, Number, DateTime, std::string>;

std::optional<bool> TruthOf(std::string_view word) {
  if (EqualsAsciiCase(word, "true") || EqualsAsciiCase(word, "yes")) return true;
  if (EqualsAsciiCase(word, "false") || EqualsAsciiCase(word, "no")) return false;
  return std::nullopt;
}

std::optional<Number> ParseNumber(std::string_view text) {
  Number number;
  if (!text.empty() && (text[0] == '-' || text[0] == '+')) {
    if (text[0] == '-') number.text = "-";
    text = TrimBlanks(text.substr(1));
  }
  if (text.empty() || !(IsDigit(text[0]) || text[0] == '.')) return std::nullopt;
  number.text += text;
  const std::optional<double> value = ReadNumber(number.text);
  if (!value) return std::nullopt;
  number.value = *value;
  return number;
}

// "text" or 'text', the quote doubled inside.
std::optional<std::string> ParseQuoted(std::string_view text) {
  const char quote = text.front();
  std::string out;
  for (std::size_t i = 1; i < text.size(); ++i) {
    if (text[i] == quote) {
      if (i + 1 == text.size()) return out;
      if (text[++i] != quote) return std::nullopt;
    }
    out += text[i];
  }
  return std::nullopt;
}

std::optional<Literal> ParseLiteral(std::string_view text, DateTime now) {
  if (EqualsAsciiCase(text, "null")) return Literal(Null{});
  if (const auto truth = TruthOf(text)) return Literal(*truth);
  const double day = std::floor(now.days);
  if (EqualsAsciiCase(text, "now()")) return Literal(now);
  if (EqualsAsciiCase(text, "date()")) return Literal(DateTime{day});
  if (EqualsAsciiCase(text, "time()")) return Literal(DateTime{now.days - day});
  if (text.front() == '"' || text.front() == '\'') {
    if (auto quoted = ParseQuoted(text)) return Literal(std::move(*quoted));
    return std::nullopt;
  }
  if (text.front() == '#' && text.size() > 2 && text.back() == '#') {
    if (auto date = ReadDateTime(text.substr(1, text.size() - 2))) return Literal(*date);
    return std::nullopt;
  }
  if (auto number = ParseNumber(text)) return Literal(std::move(*number));
  return std::nullopt;
}

[[noreturn]] void Refuse(ErrorCode code, const ColumnDef& column, std::string_view expression) {
  throw Error(code, "default value " + std::string(expression)).OfColumn(column.name);
}

// A literal as a number; texts count if they read as one.
std::optional<Number> AsNumber(const Literal& literal) {
  if (const bool* truth = std::get_if<bool>(&literal)) {
    return *truth ? Number{-1, "-1"} : Number{0, "0"};
  }
  if (const Number* number = std::get_if<Number>(&literal)) return *number;
  if (const DateTime* date = std::get_if<DateTime>(&literal)) {
    return Number{date->days, std::to_string(date->days)};
  }
  if (const std::string* text = std::get_if<std::string>(&literal)) {
    return ParseNumber(TrimBlanks(*text));
  }
  return std::nullopt;
}

std::string AsText(const Literal& literal) {
  if (const bool* truth = std::get_if<bool>(&literal)) return *truth ? "True" : "False";
  if (const DateTime* date = std::get_if<DateTime>(&literal)) return FormatDateTime(*date);
  if (const Number* number = std::get_if<Number>(&literal)) {
    char shortest[32];
    const auto end = std::to_chars(shortest, shortest + sizeof shortest, number->value);
    return std::string(shortest, end.ptr);
  }
  return std::get<std::string>(literal);
}

// Four decimals as they are written; more of them, and exponents, are rounded.
std::optional<Currency> ToCurrency(const Number& number) {
  constexpr std::uint64_t kMost = std::numeric_limits<std::int64_t>::max();
  if (const auto exact = ParseNumeric(number.text, 19, 4)) {
    const std::uint64_t size = std::uint64_t{exact->magnitude[2]} << 32 | exact->magnitude[3];
    if (size <= kMost) {
      const auto whole = static_cast<std::int64_t>(size);
      return Currency{exact->negative ? -whole : whole};
    }
  }
  const auto rounded = RoundHalfEven<std::int64_t>(number.value * 10'000);
  return rounded ? std::optional(Currency{*rounded}) : std::nullopt;
}

std::optional<Value> ToNumberColumn(const ColumnDef& column, const Number& number) {
  const auto integer = [&]<typename Integer>(Integer) -> std::optional<Value> {
    if (const auto whole = RoundHalfEven<Integer>(number.value)) return Value(*whole);
    return std::nullopt;
  };
  switch (column.type) {
    case ColumnType::kByte:
      return integer(std::uint8_t{});
    case ColumnType::kInteger:
      return integer(std::int16_t{});
    case ColumnType::kLong:
      return integer(std::int32_t{});
    case ColumnType::kCurrency:
      if (const auto currency = ToCurrency(number)) return Value(*currency);
      return std::nullopt;
    case ColumnType::kSingle:
      if (std::fabs(number.value) > std::numeric_limits<float>::max()) return std::nullopt;
      return Value(static_cast<float>(number.value));
    case ColumnType::kDouble:
      return Value(number.value);
    case ColumnType::kDateTime:
      if (!IsInCalendar({number.value})) return std::nullopt;
      return Value(DateTime{number.value});
    default:
      if (const auto exact = ParseNumeric(number.text, column.precision, column.scale)) {
        return Value(*exact);
      }
      return std::nullopt;
  }
}

bool ToTruth(const ColumnDef& column, const Literal& literal, std::string_view expression) {
  if (std::holds_alternative<Null>(literal)) return false;
  if (const std::string* text = std::get_if<std::string>(&literal)) {
    if (const auto truth = TruthOf(*text)) return *truth;
  }
  const std::optional<Number> number = AsNumber(literal);
  if (!number) Refuse(ErrorCode::kWrongType, column, expression);
  return number->value != 0;
}

}  // namespace

Value EvaluateDefault(const ColumnDef& column, std::string_view expression, DateTime now) {
  std::string_view text = TrimBlanks(expression);
  if (!text.empty() && text.front() == '=') text = TrimBlanks(text.substr(1));
  Literal literal;
  if (!text.empty()) {
    std::optional<Literal> parsed = ParseLiteral(text, now);
    if (!parsed) Refuse(ErrorCode::kNotSupported, column, expression);
    literal = std::move(*parsed);
  }
  if (column.type == ColumnType::kBoolean) return ToTruth(column, literal, expression);
  if (std::holds_alternative<Null>(literal)) return Null{};

  switch (column.type) {
    case ColumnType::kText:
    case ColumnType::kMemo:
      return AsText(literal);
    case ColumnType::kBinary:
    case ColumnType::kOle:
    case ColumnType::kGuid:
    case ColumnType::kRaw:
      Refuse(ErrorCode::kNotSupported, column, expression);
    default:
      break;
  }
  if (column.type == ColumnType::kDateTime) {
    if (const DateTime* date = std::get_if<DateTime>(&literal)) return *date;
    if (const std::string* quoted = std::get_if<std::string>(&literal)) {
      if (const auto date = ReadDateTime(*quoted)) return *date;
    }
  }
  const std::optional<Number> number = AsNumber(literal);
  if (!number) Refuse(ErrorCode::kWrongType, column, expression);
  const std::optional<Value> value = ToNumberColumn(column, *number);
  if (!value) Refuse(ErrorCode::kOutOfRange, column, expression);
  return *value;
}

}  // namespace jet
