#include "jet/default_value.h"

#include <charconv>
#include <cmath>
#include <limits>
#include <optional>

#include "jet/error.h"
#include "jet/text.h"

namespace jet {

namespace {

struct Number {
  long double value = 0;
  std::string text;  // sign and digits as written
};
// What an expression evaluates to, before any column is asked.
using Literal = std::variant<Null, bool, Number, DateTime, std::string>;

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }

std::string_view Trim(std::string_view text) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  return text;
}

bool SameWord(std::string_view text, std::string_view lower) {
  if (text.size() != lower.size()) return false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const char c = text[i];
    if ((c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c) != lower[i]) return false;
  }
  return true;
}

std::optional<Number> ParseNumber(std::string_view text) {
  Number number;
  if (!text.empty() && (text[0] == '-' || text[0] == '+')) {
    if (text[0] == '-') number.text = "-";
    text = Trim(text.substr(1));
  }
  if (text.empty() || !(IsDigit(text[0]) || text[0] == '.')) return std::nullopt;
  number.text += text;
  const char* end = number.text.data() + number.text.size();
  const auto parsed = std::from_chars(number.text.data(), end, number.value);
  if (parsed.ec != std::errc() || parsed.ptr != end) return std::nullopt;
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

// Three numbers with one kind of separator between them.
std::optional<std::array<int, 3>> ParseTriple(std::string_view text, std::string_view separators,
                                              std::size_t least) {
  std::array<int, 3> parts{};
  std::size_t count = 0;
  const char* at = text.data();
  const char* end = at + text.size();
  while (count < 3) {
    const auto parsed = std::from_chars(at, end, parts[count]);
    if (parsed.ec != std::errc() || parts[count] < 0) return std::nullopt;
    ++count;
    at = parsed.ptr;
    if (at == end) return count >= least ? std::optional(parts) : std::nullopt;
    if (separators.find(*at) == std::string_view::npos) return std::nullopt;
    ++at;
  }
  return std::nullopt;
}

int DaysIn(int year, int month) {
  constexpr int kDays[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
  return month == 2 && leap ? 29 : kDays[month - 1];
}

// A literal's date is month first unless it starts with the year, whatever the
// locale says.
bool ParseDatePart(std::string_view text, CivilTime& out) {
  const auto parts = ParseTriple(text, "/-", 3);
  if (!parts) return false;
  const bool year_first = text.find_first_of("/-") == 4;
  const auto [a, b, c] = *parts;
  out.year = year_first ? a : c;
  out.month = year_first ? b : a;
  out.day = year_first ? c : b;
  if (!year_first && out.year < 100) out.year += out.year < 30 ? 2000 : 1900;
  return out.year >= 100 && out.year <= 9999 && out.month >= 1 && out.month <= 12 && out.day >= 1 &&
         out.day <= DaysIn(out.year, out.month);
}

bool ParseTimePart(std::string_view text, CivilTime& out) {
  bool am = false, pm = false;
  if (text.size() > 2) {
    const std::string_view half = text.substr(text.size() - 2);
    am = SameWord(half, "am");
    pm = SameWord(half, "pm");
    if (am || pm) text = Trim(text.substr(0, text.size() - 2));
  }
  const auto parts = ParseTriple(text, ":", 2);
  if (!parts) return false;
  out.hour = (*parts)[0];
  out.minute = (*parts)[1];
  out.second = (*parts)[2];
  if (am || pm) {
    if (out.hour < 1 || out.hour > 12) return false;
    out.hour = out.hour % 12 + (pm ? 12 : 0);
  }
  return out.hour < 24 && out.minute < 60 && out.second < 60;
}

std::optional<DateTime> ParseDate(std::string_view text) {
  text = Trim(text);
  CivilTime civil;
  const std::size_t blank = text.find(' ');
  const std::string_view first = text.substr(0, blank);
  if (first.find(':') != std::string_view::npos) {
    return ParseTimePart(text, civil) ? std::optional(ToDateTime(civil)) : std::nullopt;
  }
  if (!ParseDatePart(first, civil)) return std::nullopt;
  if (blank != std::string_view::npos && !ParseTimePart(Trim(text.substr(blank)), civil)) {
    return std::nullopt;
  }
  return ToDateTime(civil);
}

std::optional<Literal> ParseLiteral(std::string_view text, DateTime now) {
  if (SameWord(text, "null")) return Literal(Null{});
  if (SameWord(text, "true") || SameWord(text, "yes")) return Literal(true);
  if (SameWord(text, "false") || SameWord(text, "no")) return Literal(false);
  const double day = std::floor(now.days);
  if (SameWord(text, "now()")) return Literal(now);
  if (SameWord(text, "date()")) return Literal(DateTime{day});
  if (SameWord(text, "time()")) return Literal(DateTime{now.days - day});
  if (text.front() == '"' || text.front() == '\'') {
    if (auto quoted = ParseQuoted(text)) return Literal(std::move(*quoted));
    return std::nullopt;
  }
  if (text.front() == '#' && text.size() > 2 && text.back() == '#') {
    if (auto date = ParseDate(text.substr(1, text.size() - 2))) return Literal(*date);
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
    return ParseNumber(Trim(*text));
  }
  return std::nullopt;
}

std::string AsText(const Literal& literal) {
  if (const bool* truth = std::get_if<bool>(&literal)) return *truth ? "True" : "False";
  if (const DateTime* date = std::get_if<DateTime>(&literal)) return FormatDateTime(*date);
  if (const Number* number = std::get_if<Number>(&literal)) {
    char shortest[32];
    const auto end =
        std::to_chars(shortest, shortest + sizeof shortest, static_cast<double>(number->value));
    return std::string(shortest, end.ptr);
  }
  return std::get<std::string>(literal);
}

// Rounds half to even; the column's alternative must be able to hold it.
template <typename Integer>
std::optional<Integer> ToInteger(long double value) {
  const long double rounded = std::nearbyint(value);
  if (!(rounded >= static_cast<long double>(std::numeric_limits<Integer>::min()) &&
        rounded <= static_cast<long double>(std::numeric_limits<Integer>::max()))) {
    return std::nullopt;
  }
  return static_cast<Integer>(rounded);
}

// Four decimals as they are written; more of them, and exponents, are rounded. Not
// every system reads a number with more than the 53 bits of a double.
std::optional<Currency> ToCurrency(const Number& number) {
  constexpr std::uint64_t kMost = std::numeric_limits<std::int64_t>::max();
  if (const auto exact = ParseNumeric(number.text, 19, 4)) {
    const std::uint64_t size = std::uint64_t{exact->magnitude[2]} << 32 | exact->magnitude[3];
    if (size <= kMost) {
      const auto whole = static_cast<std::int64_t>(size);
      return Currency{exact->negative ? -whole : whole};
    }
  }
  const auto rounded = ToInteger<std::int64_t>(number.value * 10'000);
  return rounded ? std::optional(Currency{*rounded}) : std::nullopt;
}

std::optional<Value> ToNumberColumn(const ColumnDef& column, const Number& number) {
  const auto integer = [&]<typename Integer>(Integer) -> std::optional<Value> {
    if (const auto whole = ToInteger<Integer>(number.value)) return Value(*whole);
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
      if (std::fabs(number.value) > std::numeric_limits<double>::max()) return std::nullopt;
      return Value(static_cast<double>(number.value));
    case ColumnType::kDateTime:
      if (!(number.value > -657'435.0L && number.value < 2'958'466.0L)) return std::nullopt;
      return Value(DateTime{static_cast<double>(number.value)});
    default:
      if (const auto exact = ParseNumeric(number.text, column.precision, column.scale)) {
        return Value(*exact);
      }
      return std::nullopt;
  }
}

Value ToTextColumn(const ColumnDef& column, const Literal& literal, std::string_view expression) {
  std::string text = AsText(literal);
  if (column.type == ColumnType::kText && Utf16Length(text) > column.max_chars()) {
    Refuse(ErrorCode::kTextTooLong, column, expression);
  }
  return text;
}

bool ToTruth(const ColumnDef& column, const Literal& literal, std::string_view expression) {
  if (std::holds_alternative<Null>(literal)) return false;
  if (const std::string* text = std::get_if<std::string>(&literal)) {
    if (SameWord(*text, "true") || SameWord(*text, "yes")) return true;
    if (SameWord(*text, "false") || SameWord(*text, "no")) return false;
  }
  const std::optional<Number> number = AsNumber(literal);
  if (!number) Refuse(ErrorCode::kWrongType, column, expression);
  return number->value != 0;
}

}  // namespace

Value EvaluateDefault(const ColumnDef& column, std::string_view expression, DateTime now) {
  std::string_view text = Trim(expression);
  if (!text.empty() && text.front() == '=') text = Trim(text.substr(1));
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
      return ToTextColumn(column, literal, expression);
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
      if (const auto date = ParseDate(*quoted)) return *date;
    }
  }
  const std::optional<Number> number = AsNumber(literal);
  if (!number) Refuse(ErrorCode::kWrongType, column, expression);
  const std::optional<Value> value = ToNumberColumn(column, *number);
  if (!value) Refuse(ErrorCode::kOutOfRange, column, expression);
  return *value;
}

}  // namespace jet
