// Numbers: read from text, and rounded to integers.
#pragma once

#include <cmath>
#include <cstddef>
#include <limits>
#include <optional>
#include <string_view>

namespace jet {

// How far a number reaches from the start of `text`: sign, digits with one point
// among them, exponent. 0 if none stands there.
std::size_t NumberLength(std::string_view text);

// The number that `text` is as a whole, a point as decimal mark; blanks around it do
// not count. Nothing for any other text, and for a number that no double holds.
std::optional<double> ReadNumber(std::string_view text);

// The whole number next to `number`; a half goes to the even neighbour.
template <class Real>
Real RoundToEven(Real number) {
  return std::nearbyint(number);
}

// The same as an Integer. Nothing for what Integer does not hold.
template <class Integer, class Real>
std::optional<Integer> RoundHalfEven(Real number) {
  using Limits = std::numeric_limits<Integer>;
  const Real rounded = RoundToEven(number);
  // The greatest value itself may have no Real; the power of two above it has.
  const Real above = std::ldexp(Real{1}, Limits::digits);
  if (!(rounded >= static_cast<Real>(Limits::min()) && rounded < above)) return std::nullopt;
  return static_cast<Integer>(rounded);
}

}  // namespace jet
