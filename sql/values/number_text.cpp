#include "sql/values/number_text.h"

#include <fmt/format.h>

#include <charconv>
#include <cmath>
#include <string_view>

#include "jet/base/number.h"

namespace sql {

std::string NumberText(double number) {
  if (number == 0 || !std::isfinite(number)) return "0";
  constexpr int kDigits = 15;
  const std::string text = fmt::format("{:.{}e}", std::fabs(number), kDigits - 1);
  const std::size_t e = text.find('e');
  std::string digits = text.substr(0, 1) + text.substr(2, e - 2);
  digits.erase(digits.find_last_not_of('0') + 1);
  int exponent = 0;
  const char* begin = text.data() + e + 1;
  if (*begin == '+') ++begin;
  std::from_chars(begin, text.data() + text.size(), exponent);

  const int count = static_cast<int>(digits.size());
  const std::string sign = number < 0 ? "-" : "";
  if (exponent >= kDigits || count - 1 - exponent > kDigits + 4) {
    const std::string rest = count > 1 ? "." + digits.substr(1) : "";
    return fmt::format("{}{}{}E{}{:02}", sign, digits[0], rest, exponent < 0 ? '-' : '+',
                       std::abs(exponent));
  }
  if (exponent < 0) {
    return sign + "0." + std::string(static_cast<std::size_t>(-exponent - 1), '0') + digits;
  }
  const auto whole = static_cast<std::size_t>(exponent) + 1;
  if (digits.size() <= whole) return sign + digits + std::string(whole - digits.size(), '0');
  return sign + digits.substr(0, whole) + "." + digits.substr(whole);
}

double RoundDecimals(double number, int decimals) {
  if (decimals > 15) return number;
  const double power = std::pow(10.0, decimals);
  const double scaled = number * power;
  if (!std::isfinite(scaled) || std::fabs(scaled) >= 4503599627370496.0) return number;
  const double below = std::floor(scaled);
  const double tolerance = 1e-15 * std::fabs(scaled) * 4 + 1e-12;
  const bool half = std::fabs(scaled - below - 0.5) <= tolerance;
  const double rounded =
      half ? (std::fmod(below, 2) == 0 ? below : below + 1) : jet::RoundToEven(scaled);
  return rounded / power;
}

}  // namespace sql
