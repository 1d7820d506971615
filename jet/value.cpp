#include "jet/value.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "jet/bytes.h"

namespace jet {
namespace {

// Days from 1899-12-30 to a date of the proleptic Gregorian calendar.
std::int64_t DaysFromCivil(int year, int month, int day) {
  year -= month <= 2 ? 1 : 0;
  const std::int64_t era = (year >= 0 ? year : year - 399) / 400;
  const std::int64_t year_of_era = year - era * 400;
  const std::int64_t day_of_year = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
  const std::int64_t day_of_era =
      year_of_era * 365 + year_of_era / 4 - year_of_era / 100 + day_of_year;
  return era * 146097 + day_of_era - 693899;
}

void CivilFromDays(std::int64_t days, CivilTime& civil) {
  days += 693899;
  const std::int64_t era = (days >= 0 ? days : days - 146096) / 146097;
  const std::int64_t day_of_era = days - era * 146097;
  const std::int64_t year_of_era =
      (day_of_era - day_of_era / 1460 + day_of_era / 36524 - day_of_era / 146096) / 365;
  const std::int64_t day_of_year =
      day_of_era - (365 * year_of_era + year_of_era / 4 - year_of_era / 100);
  const std::int64_t month = (5 * day_of_year + 2) / 153;
  civil.day = static_cast<int>(day_of_year - (153 * month + 2) / 5 + 1);
  civil.month = static_cast<int>(month < 10 ? month + 3 : month - 9);
  civil.year = static_cast<int>(year_of_era + era * 400 + (civil.month <= 2 ? 1 : 0));
}

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

std::string TypeName(ColumnType type) {
  switch (type) {
    case ColumnType::kBoolean:
      return "Boolean";
    case ColumnType::kByte:
      return "Byte";
    case ColumnType::kInteger:
      return "Integer";
    case ColumnType::kLong:
      return "Long";
    case ColumnType::kCurrency:
      return "Currency";
    case ColumnType::kSingle:
      return "Single";
    case ColumnType::kDouble:
      return "Double";
    case ColumnType::kDateTime:
      return "DateTime";
    case ColumnType::kBinary:
      return "Binary";
    case ColumnType::kText:
      return "Text";
    case ColumnType::kOle:
      return "OLE";
    case ColumnType::kMemo:
      return "Memo";
    case ColumnType::kGuid:
      return "GUID";
    case ColumnType::kNumeric:
      return "Numeric";
    case ColumnType::kRaw:
      return "Raw";
  }
  return fmt::format("type {}", static_cast<unsigned>(type));
}

DateTime ToDateTime(const CivilTime& civil) {
  const auto days = static_cast<double>(DaysFromCivil(civil.year, civil.month, civil.day));
  const double time = (civil.hour * 3600 + civil.minute * 60 + civil.second) / 86400.0;
  return {days < 0 ? days - time : days + time};
}

CivilTime ToCivilTime(DateTime date) {
  CivilTime civil;
  double days = std::trunc(date.days);
  auto seconds = static_cast<std::int64_t>(std::llround(std::fabs(date.days - days) * 86400.0));
  if (!(std::fabs(days) < 1e9)) return civil;  // no calendar reaches so far
  auto whole = static_cast<std::int64_t>(days);
  if (seconds == 86400) {
    seconds = 0;
    ++whole;
  }
  CivilFromDays(whole, civil);
  civil.hour = static_cast<int>(seconds / 3600);
  civil.minute = static_cast<int>(seconds / 60 % 60);
  civil.second = static_cast<int>(seconds % 60);
  return civil;
}

std::string FormatDateTime(DateTime date) {
  const CivilTime civil = ToCivilTime(date);
  return fmt::format("{:04}-{:02}-{:02} {:02}:{:02}:{:02}", civil.year, civil.month, civil.day,
                     civil.hour, civil.minute, civil.second);
}

std::string FormatGuid(const Guid& guid) {
  const ByteView bytes(guid.bytes);
  std::string text =
      fmt::format("{{{:08X}-{:04X}-{:04X}-", GetU32(bytes, 0), GetU16(bytes, 4), GetU16(bytes, 6));
  for (std::size_t i = 8; i < 16; ++i) {
    if (i == 10) text += '-';
    text += fmt::format("{:02X}", bytes[i]);
  }
  return text + '}';
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
