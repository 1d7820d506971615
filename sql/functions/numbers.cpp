// Functions of numbers.
#include <fmt/format.h>

#include <array>
#include <cmath>

#include "jet/base/ascii.h"
#include "jet/base/number.h"
#include "sql/functions/arguments.h"
#include "sql/functions/groups.h"
#include "sql/values/number_text.h"

namespace sql {
namespace {

using Kind = Datum::Kind;

void SetLike(const Datum& argument, double number, Datum& out) {
  if (!std::isfinite(number)) Overflow();
  out.SetNumber(
      argument.kind == Kind::kLong || argument.kind == Kind::kDate ? argument.kind : Kind::kDouble,
      number);
}

template <double (*kCompute)(double)>
void Same(const FunctionContext&, Arguments a, Datum& out) {
  SetLike(*a[0], kCompute(NumberArgument(*a[0])), out);
}

template <double (*kCompute)(double)>
void Real(const FunctionContext&, Arguments a, Datum& out) {
  const double number = kCompute(NumberArgument(*a[0]));
  if (std::isnan(number)) InvalidCall();
  if (std::isinf(number)) Overflow();
  out.SetNumber(Kind::kDouble, number);
}

double Sqr(double x) {
  if (x < 0) InvalidCall();
  return std::sqrt(x);
}
double Log(double x) {
  if (x <= 0) InvalidCall();
  return std::log(x);
}

void Sgn(const FunctionContext&, Arguments a, Datum& out) {
  const double x = NumberArgument(*a[0]);
  out.SetNumber(Kind::kLong, x > 0 ? 1 : x < 0 ? -1 : 0);
}

void Round(const FunctionContext&, Arguments a, Datum& out) {
  const std::int32_t digits = WholeOr(a, 1, 0);
  if (digits < 0) InvalidCall();
  SetLike(*a[0], RoundDecimals(NumberArgument(*a[0]), digits), out);
}

// Of a number as 16 or 32 bits.
void Digits(Arguments a, bool hex, Datum& out) {
  const std::int32_t whole = WholeArgument(*a[0]);
  auto bits = static_cast<std::uint32_t>(whole);
  if (whole < 0 && whole >= -32768) bits &= 0xFFFF;
  out.SetText(hex ? fmt::format("{:X}", bits) : fmt::format("{:o}", bits));
}
void Hex(const FunctionContext&, Arguments a, Datum& out) { Digits(a, true, out); }
void Oct(const FunctionContext&, Arguments a, Datum& out) { Digits(a, false, out); }

void Str(const FunctionContext&, Arguments a, Datum& out) {
  const double number = NumberArgument(*a[0]);
  out.SetText(number >= 0 ? " " + NumberText(number) : NumberText(number));
}

// Digits of a base behind &H or &O; the highest bit of 16 or 32 is a sign.
double OfBase(std::string_view digits, unsigned base) {
  std::uint64_t number = 0;
  for (const char c : digits) {
    const char low = jet::AsciiLower(c);
    const unsigned digit =
        low >= 'a' ? static_cast<unsigned>(low - 'a') + 10 : static_cast<unsigned>(low - '0');
    if ((!jet::IsDigit(low) && !(low >= 'a' && low <= 'f')) || digit >= base) break;
    number = number * base + digit;
    if (number > 0xFFFFFFFFu) Overflow();
  }
  if (number > 0xFFFF) return static_cast<std::int32_t>(static_cast<std::uint32_t>(number));
  return static_cast<std::int16_t>(static_cast<std::uint16_t>(number));
}

// The longest number that stands at the start; blanks do not count anywhere.
void Val(const FunctionContext& context, Arguments a, Datum& out) {
  std::string text;
  for (const char c : TextArgument(context, *a[0])) {
    if (c != ' ' && c != '\t' && c != '\n' && c != '\r') text += jet::AsciiLower(c);
  }
  double number = 0;
  if (text.starts_with("&h") || text.starts_with("&o")) {
    number = OfBase(std::string_view(text).substr(2), text[1] == 'h' ? 16 : 8);
  } else if (const std::size_t length = jet::NumberLength(text); length != 0) {
    number = jet::ReadNumber(std::string_view(text).substr(0, length)).value_or(0);
  }
  out.SetNumber(Kind::kDouble, number);
}

std::string RangeText(const std::string& number, std::size_t width) {
  return number.size() < width ? std::string(width - number.size(), ' ') + number : number;
}

// "lower:upper", both as wide as the number behind the last range.
void Partition(const FunctionContext&, Arguments a, Datum& out) {
  const std::int64_t number = WholeArgument(*a[0]), start = WholeArgument(*a[1]),
                     stop = WholeArgument(*a[2]), step = WholeArgument(*a[3]);
  if (start < 0 || stop <= start || step < 1) InvalidCall();
  const std::size_t width = std::to_string(stop + 1).size();
  std::string lower, upper;
  if (number < start) {
    upper = std::to_string(start - 1);
  } else if (number > stop) {
    lower = std::to_string(stop + 1);
  } else {
    const std::int64_t from = start + (number - start) / step * step;
    lower = std::to_string(from);
    upper = std::to_string(std::min(from + step - 1, stop));
  }
  out.SetText(RangeText(lower, width) + ":" + RangeText(upper, width));
}

constexpr std::array<Function, 17> kNumbers = {{
    {"Abs", 1, 1, Nulls::kAnswerNull, Result::kAsFirst, Same<std::fabs>},
    {"Int", 1, 1, Nulls::kAnswerNull, Result::kAsFirst, Same<std::floor>},
    {"Fix", 1, 1, Nulls::kAnswerNull, Result::kAsFirst, Same<std::trunc>},
    {"Round", 1, 2, Nulls::kAnswerNull, Result::kAsFirst, Round},
    {"Sgn", 1, 1, Nulls::kAnswerNull, Result::kInteger, Sgn},
    {"Sqr", 1, 1, Nulls::kAnswerNull, Result::kDouble, Real<Sqr>},
    {"Exp", 1, 1, Nulls::kAnswerNull, Result::kDouble, Real<std::exp>},
    {"Log", 1, 1, Nulls::kAnswerNull, Result::kDouble, Real<Log>},
    {"Sin", 1, 1, Nulls::kAnswerNull, Result::kDouble, Real<std::sin>},
    {"Cos", 1, 1, Nulls::kAnswerNull, Result::kDouble, Real<std::cos>},
    {"Tan", 1, 1, Nulls::kAnswerNull, Result::kDouble, Real<std::tan>},
    {"Atn", 1, 1, Nulls::kAnswerNull, Result::kDouble, Real<std::atan>},
    {"Hex", 1, 1, Nulls::kAnswerNull, Result::kText, Hex},
    {"Oct", 1, 1, Nulls::kAnswerNull, Result::kText, Oct},
    {"Str", 1, 1, Nulls::kAnswerNull, Result::kText, Str},
    {"Val", 1, 1, Nulls::kRefused, Result::kDouble, Val},
    {"Partition", 4, 4, Nulls::kAnswerNull, Result::kText, Partition},
}};

}  // namespace

std::span<const Function> NumberFunctions() { return kNumbers; }

}  // namespace sql
