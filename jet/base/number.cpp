#include "jet/base/number.h"

#include <charconv>

#include "jet/base/ascii.h"

namespace jet {

std::size_t NumberLength(std::string_view text) {
  std::size_t at = 0;
  const auto digits = [&] {
    const std::size_t from = at;
    while (at < text.size() && IsDigit(text[at])) ++at;
    return at - from;
  };
  const auto sign = [&] {
    if (at < text.size() && (text[at] == '+' || text[at] == '-')) ++at;
  };
  sign();
  std::size_t count = digits();
  if (at < text.size() && text[at] == '.') {
    ++at;
    count += digits();
  }
  if (count == 0) return 0;
  const std::size_t mantissa = at;
  if (at < text.size() && AsciiLower(text[at]) == 'e') {
    ++at;
    sign();
    if (digits() == 0) return mantissa;
  }
  return at;
}

std::optional<double> ReadNumber(std::string_view text) {
  text = TrimBlanks(text);
  if (text.empty() || NumberLength(text) != text.size()) return std::nullopt;
  if (text.front() == '+') text.remove_prefix(1);  // from_chars knows only the minus
  double number = 0;
  const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (failure == std::errc()) return number;
  // Out of range: too large, or too close to zero to differ from it.
  const std::size_t exponent = text.find_first_of("eE");
  const bool tiny =
      exponent != std::string_view::npos
          ? text.substr(exponent + 1, 1) == "-"
          : text.substr(0, text.find('.')).find_first_of("123456789") == std::string_view::npos;
  return tiny ? std::optional(0.0) : std::nullopt;
}

}  // namespace jet
