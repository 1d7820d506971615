#include "jet/base/value.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>

namespace jet {
namespace {

using Magnitude = std::array<std::uint32_t, 4>;

// magnitude = magnitude * 10 + digit; false on overflow.
bool PushDigit(Magnitude& magnitude, unsigned digit) {
  std::uint64_t carry = digit;
  for (std::size_t i = 4; i-- > 0;) {
    const std::uint64_t part = std::uint64_t{magnitude[i]} * 10 + carry;
    magnitude[i] = static_cast<std::uint32_t>(part);
    carry = part >> 32;
  }
  return carry == 0;
}

// Divides by ten and returns the remainder.
unsigned PopDigit(Magnitude& magnitude) {
  std::uint64_t rest = 0;
  for (std::uint32_t& word : magnitude) {
    const std::uint64_t part = rest << 32 | word;
    word = static_cast<std::uint32_t>(part / 10);
    rest = part % 10;
  }
  return static_cast<unsigned>(rest);
}

}  // namespace

std::array<std::uint8_t, 16> PrintedOrder(const std::array<std::uint8_t, 16>& bytes) {
  constexpr std::array<std::size_t, 16> kFrom = {3, 2, 1,  0,  5,  4,  7,  6,
                                                 8, 9, 10, 11, 12, 13, 14, 15};
  std::array<std::uint8_t, 16> printed{};
  for (std::size_t i = 0; i < printed.size(); ++i) printed[i] = bytes[kFrom[i]];
  return printed;
}

std::string FormatGuid(const Guid& guid) {
  const auto printed = PrintedOrder(guid.bytes);
  std::string text = "{";
  for (std::size_t i = 0; i < printed.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
    text += fmt::format("{:02X}", printed[i]);
  }
  return text + '}';
}

std::optional<Guid> ParseGuid(std::string_view text) {
  if (text.starts_with('{') && text.ends_with('}')) text = text.substr(1, text.size() - 2);
  Guid guid;
  for (std::uint8_t& byte : guid.bytes) {
    if (text.starts_with('-')) text.remove_prefix(1);
    const std::string_view digits = text.substr(0, 2);
    const auto [end, failure] =
        std::from_chars(digits.data(), digits.data() + digits.size(), byte, 16);
    if (failure != std::errc() || end != digits.data() + 2) return std::nullopt;
    text.remove_prefix(2);
  }
  if (!text.empty()) return std::nullopt;
  guid.bytes = PrintedOrder(guid.bytes);
  return guid;
}

std::string FormatNumeric(const Numeric& number, int scale) {
  Magnitude magnitude = number.magnitude;
  std::string digits;
  while (magnitude != Magnitude{} || static_cast<int>(digits.size()) <= scale) {
    digits.push_back(static_cast<char>('0' + PopDigit(magnitude)));
    if (scale > 0 && static_cast<int>(digits.size()) == scale) digits.push_back('.');
    if (scale > 0 && static_cast<int>(digits.size()) == scale + 1 && magnitude == Magnitude{}) {
      digits.push_back('0');
      break;
    }
  }
  if (number.negative) digits.push_back('-');
  std::reverse(digits.begin(), digits.end());
  return digits;
}

std::optional<Numeric> ParseNumeric(std::string_view text, int precision, int scale) {
  Numeric number;
  if (!text.empty() && (text[0] == '-' || text[0] == '+')) {
    number.negative = text[0] == '-';
    text.remove_prefix(1);
  }
  int decimals = -1, digits = 0, significant = 0;
  for (const char c : text) {
    if (c == '.') {
      if (decimals >= 0) return std::nullopt;
      decimals = 0;
      continue;
    }
    if (c < '0' || c > '9') return std::nullopt;
    ++digits;
    if (decimals >= 0 && ++decimals > scale) {
      if (c != '0') return std::nullopt;
      --decimals;
      continue;
    }
    if (c != '0' || significant > 0) ++significant;
    if (!PushDigit(number.magnitude, static_cast<unsigned>(c - '0'))) return std::nullopt;
  }
  if (digits == 0) return std::nullopt;
  for (int i = std::max(decimals, 0); i < scale; ++i) {
    if (significant > 0) ++significant;
    if (!PushDigit(number.magnitude, 0)) return std::nullopt;
  }
  if (significant > precision) return std::nullopt;
  if (number.magnitude == Magnitude{}) number.negative = false;
  return number;
}

}  // namespace jet
