#include "mdbadm/sql_literal.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstdlib>

#include "ado/value.h"
#include "jet/base/date_time.h"

namespace mdbadm {
namespace {

constexpr std::size_t kExactDigits = 15;  // a double holds every decimal of so many
constexpr int kExactPower = 22;           // powers of ten up to here are doubles
constexpr int kMantissaBits = 53;
constexpr int kShift = 62;  // powers of two up to here are integers of sqlite3
constexpr std::int64_t kSecondsPerDay = 86'400;
constexpr std::int64_t kMostPerSecond = 1'000'000'000;
constexpr double kPlainWhole = 1e6;     // whole numbers below are written digit by digit
constexpr double kNoise = 4;            // in units of the last place
constexpr std::size_t kDateChars = 10;  // of "2010-01-04"

void AppendBlob(std::string& out, jet::ByteView bytes) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  out += "X'";
  for (const std::uint8_t byte : bytes) {
    out += kDigits[byte >> 4];
    out += kDigits[byte & 15];
  }
  out += '\'';
}

void AppendQuote(std::string& out, std::string_view text) {
  out += '\'';
  for (const char c : text) {
    if (c == '\'') out += c;
    out += c;
  }
  out += '\'';
}

// Whether line breaks are all of the form that this format uses, CR and LF.
bool HasWholeBreaks(std::string_view text) {
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool begins = text[i] == '\r' && i + 1 < text.size() && text[i + 1] == '\n';
    if (text[i] == '\n' || (text[i] == '\r' && !begins)) return false;
    if (begins) ++i;
  }
  return true;
}

// Exact parts: an integer, times or divided by powers of two. So sqlite3 does not have to
// round a decimal.
void AppendParts(std::string& out, double number) {
  int exponent = 0;
  const double fraction = std::frexp(number, &exponent);
  fmt::format_to(std::back_inserter(out), "CAST({} AS REAL)",
                 static_cast<std::int64_t>(std::ldexp(fraction, kMantissaBits)));
  exponent -= kMantissaBits;
  const char sign = exponent < 0 ? '/' : '*';
  for (int left = std::abs(exponent); left > 0; left -= kShift) {
    fmt::format_to(std::back_inserter(out), "{}{}", sign,
                   std::int64_t{1} << std::min(left, kShift));
  }
}

bool IsMinusZero(double number) { return number == 0 && std::signbit(number); }

// How many digits a decimal has, without leading zeros.
std::size_t DigitsOf(std::string_view decimal) {
  std::size_t digits = 0;
  for (const char c : decimal) {
    if (c == 'e') break;
    if (c >= '0' && c <= '9' && (digits != 0 || c != '0')) ++digits;
  }
  return digits;
}

void AppendWhole(std::string& out, std::int64_t number) {
  constexpr std::size_t kMostDigits = 20;
  char digits[kMostDigits];
  out.append(digits, std::to_chars(digits, digits + kMostDigits, number).ptr);
}

template <class Real>
void AppendReal(std::string& out, Real number) {
  if (std::fabs(number) < kPlainWhole && number == std::trunc(number) && !IsMinusZero(number)) {
    AppendWhole(out, static_cast<std::int64_t>(number));
    out += ".0";
  } else if (std::isnan(number)) {
    out += "'NaN'";
  } else if (std::isinf(number)) {
    out += number < 0 ? "-9e999" : "9e999";
  } else {
    const std::string shortest = fmt::format("{}", number);
    const bool near_one =
        number == 0 || std::fabs(std::log10(std::fabs(number))) < kExactPower - kExactDigits;
    const bool exact = near_one && DigitsOf(shortest) <= kExactDigits;
    if (!exact && sizeof(Real) == sizeof(double)) return AppendParts(out, number);
    out += shortest;
    if (shortest.find_first_of(".e") == std::string::npos) out += ".0";
  }
}

// "12.3400" without the zeros at its end.
std::string Trimmed(std::string decimal) {
  if (decimal.find('.') == std::string::npos) return decimal;
  decimal.erase(decimal.find_last_not_of('0') + 1);
  if (decimal.back() == '.') decimal.pop_back();
  return decimal;
}

void AppendDecimal(std::string& out, const std::string& decimal) {
  if (DigitsOf(decimal) <= kExactDigits) {
    out += decimal;
  } else {
    AppendQuote(out, decimal);
  }
}

// ISO 8601, with as few digits as say the same but for the noise of a double. Where they are
// not the very number that is stored, that follows as a comment.
void AppendDate(std::string& out, jet::DateTime date) {
  if (!jet::IsInCalendar(date)) {
    // A text as well: of a number the column would drop digits.
    return AppendQuote(out, fmt::format("{} days", date.days));
  }
  double day = std::trunc(date.days);
  const double time = std::fabs(date.days - day);
  const double ulp = std::nextafter(std::fabs(date.days), HUGE_VAL) - std::fabs(date.days);
  std::int64_t units = 0, per_second = 1;
  for (;; per_second *= 1000) {
    const auto per_day = static_cast<double>(kSecondsPerDay * per_second);
    units = std::llround(time * per_day);
    const double off = std::fabs(static_cast<double>(units) / per_day - time);
    if (off <= kNoise * ulp || per_second == kMostPerSecond) break;
  }
  if (units == kSecondsPerDay * per_second) {
    const bool ends = !jet::IsInCalendar({day + 1});
    units = ends ? units - 1 : 0;
    day += ends ? 0 : 1;
  }
  const std::int64_t seconds = units / per_second, left = units % per_second;
  std::string text =
      fmt::format("{} {:02}:{:02}:{:02}", jet::FormatDateTime({day}).substr(0, kDateChars),
                  seconds / 3600, seconds / 60 % 60, seconds % 60);
  if (left != 0) text += '.' + std::to_string(per_second + left).substr(1);
  AppendQuote(out, text);
  const double fraction =
      static_cast<double>(units) / static_cast<double>(kSecondsPerDay * per_second);
  const double told = day < 0 ? day - fraction : day + fraction;
  const bool exact = told == date.days && std::signbit(told) == std::signbit(date.days);
  if (!exact) fmt::format_to(std::back_inserter(out), " /* {} days */", date.days);
}

}  // namespace

std::string SqlName(std::string_view name) {
  std::string quoted = "\"";
  for (const char c : name) {
    if (c == '"') quoted += c;
    quoted += c;
  }
  return quoted + '"';
}

void AppendSqlText(std::string& out, std::string_view text) {
  const bool plain = text.find_first_of(std::string_view("\r\0", 2)) == std::string_view::npos;
  if (plain) return AppendQuote(out, text);
  // The shell of sqlite3 drops a CR at the end of a line, and ends a text at NUL.
  if (text.find('\0') != std::string_view::npos || !HasWholeBreaks(text)) {
    out += "CAST(";
    AppendBlob(out, {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()});
    out += " AS TEXT)";
    return;
  }
  std::string lines(text);
  std::erase(lines, '\r');
  out += "replace(";
  AppendQuote(out, lines);
  out += ",char(10),char(13,10))";
}

void AppendSqlValue(std::string& out, const jet::Value& value, int scale) {
  if (jet::IsNull(value)) {
    out += "NULL";
  } else if (const auto* flag = std::get_if<bool>(&value)) {
    out += *flag ? '1' : '0';
  } else if (const auto* whole = std::get_if<std::int32_t>(&value)) {
    AppendWhole(out, *whole);
  } else if (const auto* text = std::get_if<std::string>(&value)) {
    AppendSqlText(out, *text);
  } else if (const auto* bytes = std::get_if<jet::Bytes>(&value)) {
    AppendBlob(out, *bytes);
  } else if (const auto* guid = std::get_if<jet::Guid>(&value)) {
    AppendQuote(out, jet::FormatGuid(*guid));
  } else if (const auto* date = std::get_if<jet::DateTime>(&value)) {
    AppendDate(out, *date);
  } else if (const auto* number = std::get_if<jet::Numeric>(&value)) {
    AppendDecimal(out, Trimmed(jet::FormatNumeric(*number, scale)));
  } else if (std::holds_alternative<jet::Currency>(value)) {
    AppendDecimal(out, ado::ToText(value));
  } else if (const auto* real = std::get_if<double>(&value)) {
    AppendReal(out, *real);
  } else if (const auto* single = std::get_if<float>(&value)) {
    AppendReal(out, *single);
  } else {
    out += ado::ToText(value);
  }
}

std::string SqlComment(std::string_view text) {
  std::string line = "-- ";
  for (const char c : text) line += c == '\n' || c == '\r' || c == '\0' ? ' ' : c;
  return line + '\n';
}

}  // namespace mdbadm
