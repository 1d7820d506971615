// Letters, digits and blanks of ASCII, whatever the locale says. All other
// characters are left alone.
#pragma once

#include <algorithm>
#include <string>
#include <string_view>

namespace jet {

constexpr bool IsDigit(char c) { return c >= '0' && c <= '9'; }
constexpr bool IsBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
constexpr char AsciiLower(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

inline std::string AsciiLower(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) c = AsciiLower(c);
  return lower;
}

constexpr bool EqualsAsciiCase(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return AsciiLower(x) == AsciiLower(y); });
}

// Without the blanks at both ends.
constexpr std::string_view TrimBlanks(std::string_view text) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  return text;
}

}  // namespace jet
