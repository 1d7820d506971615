// A field's value, apart from any column. Null is std::monostate. Plain values, which
// own what they hold; any thread may use its own.
#pragma once

#include <array>
#include <optional>
#include <string>
#include <variant>

#include "jet/base/date_time.h"
#include "jet/base/types.h"

namespace jet {

// Fixed point with four decimals: 12.5 is 125'000.
struct Currency {
  std::int64_t ten_thousandths = 0;
  friend auto operator<=>(const Currency&, const Currency&) = default;
};

// Makes Guid non-trivial. Otherwise libstdc++ takes the variant for one that always
// holds a value, and destroys a string that was never made when a copy of it runs out
// of memory.
struct NotBytes {
  NotBytes() = default;
  NotBytes(const NotBytes&) noexcept {}
  NotBytes& operator=(const NotBytes&) noexcept { return *this; }
  friend auto operator<=>(const NotBytes&, const NotBytes&) = default;
};

// Sixteen bytes as stored: the first three groups little-endian.
struct Guid {
  std::array<std::uint8_t, 16> bytes{};
  [[no_unique_address]] NotBytes not_bytes{};
  friend auto operator<=>(const Guid&, const Guid&) = default;
};
std::string FormatGuid(const Guid& guid);  // "{00112233-4455-...}"
// The braces and each hyphen may be missing; nothing for any other text.
std::optional<Guid> ParseGuid(std::string_view text);
// From the stored order of a GUID's bytes to the printed one, and back.
std::array<std::uint8_t, 16> PrintedOrder(const std::array<std::uint8_t, 16>& bytes);

// Decimal of up to 28 digits: (negative ? -1 : 1) * magnitude / 10^scale, where
// the scale belongs to the column. magnitude: most significant word first.
struct Numeric {
  bool negative = false;
  std::array<std::uint32_t, 4> magnitude{};
  friend auto operator<=>(const Numeric&, const Numeric&) = default;
};
// REQUIRES: 0 <= scale <= 28.
std::string FormatNumeric(const Numeric& number, int scale);
// Nothing if `text` is not a decimal or does not fit.
std::optional<Numeric> ParseNumeric(std::string_view text, int precision, int scale);

using Null = std::monostate;
// Alternatives in the order of the type codes; text is UTF-8. Which a column takes:
//
//   Boolean  bool           Single    float        Binary, OLE  Bytes
//   Byte     uint8_t        Double    double       GUID         Guid
//   Integer  int16_t        DateTime  DateTime     Numeric      Numeric
//   Long     int32_t        Text      std::string
//   Currency Currency       Memo      std::string
using Value = std::variant<Null, bool, std::uint8_t, std::int16_t, std::int32_t, Currency, float,
                           double, DateTime, std::string, Bytes, Guid, Numeric>;

inline bool IsNull(const Value& value) { return std::holds_alternative<Null>(value); }

// The value as a T; `otherwise` if it is of another type, or Null.
template <typename T>
T ValueOr(const Value& value, T otherwise) {
  const T* held = std::get_if<T>(&value);
  return held != nullptr ? *held : otherwise;
}

// A new value for one field of a row, by its column's place in the table, from 0.
struct FieldChange {
  std::size_t ordinal = 0;
  Value value;
};

}  // namespace jet
