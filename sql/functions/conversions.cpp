// CInt, CStr and their kin.
#include <array>
#include <cmath>
#include <limits>

#include "jet/base/number.h"
#include "sql/functions/arguments.h"
#include "sql/functions/groups.h"
#include "sql/values/number_text.h"

namespace sql {
namespace {

using Kind = Datum::Kind;

template <class Integer>
void ToWhole(const FunctionContext&, Arguments a, Datum& out) {
  const auto whole = jet::RoundHalfEven<Integer>(NumberArgument(*a[0]));
  if (!whole) Overflow();
  out.SetNumber(Kind::kLong, static_cast<double>(*whole));
}

void CCur(const FunctionContext&, Arguments a, Datum& out) {
  const double number = RoundDecimals(NumberArgument(*a[0]), 4);
  if (!(std::fabs(number) <= 922337203685477.5807)) Overflow();
  out.SetNumber(Kind::kDouble, number);
}

void CDbl(const FunctionContext&, Arguments a, Datum& out) {
  out.SetNumber(Kind::kDouble, NumberArgument(*a[0]));
}

void CSng(const FunctionContext&, Arguments a, Datum& out) {
  const double number = NumberArgument(*a[0]);
  if (!(std::fabs(number) <= static_cast<double>(std::numeric_limits<float>::max()))) Overflow();
  out.SetNumber(Kind::kDouble, static_cast<double>(static_cast<float>(number)));
}

void CBool(const FunctionContext&, Arguments a, Datum& out) {
  const auto number = NumberOf(*a[0], true);
  if (!number) TypeMismatch();
  out.SetBoolean(*number != 0);
}

void CStr(const FunctionContext& context, Arguments a, Datum& out) {
  if (a[0]->kind == Kind::kBoolean) return out.SetText(a[0]->number != 0 ? "True" : "False");
  out.SetText(TextArgument(context, *a[0]));
}

void CDate(const FunctionContext& context, Arguments a, Datum& out) {
  if (a[0]->null()) return out.SetNull();
  out.SetNumber(Kind::kDate, DateArgument(context, *a[0]));
}

constexpr std::array<Function, 11> kConversions = {{
    {"CBool", 1, 1, Nulls::kRefused, Result::kBoolean, CBool},
    {"CByte", 1, 1, Nulls::kRefused, Result::kByte, ToWhole<std::uint8_t>},
    {"CInt", 1, 1, Nulls::kRefused, Result::kInteger, ToWhole<std::int16_t>},
    {"CLng", 1, 1, Nulls::kRefused, Result::kLong, ToWhole<std::int32_t>},
    {"CCur", 1, 1, Nulls::kRefused, Result::kCurrency, CCur},
    {"CSng", 1, 1, Nulls::kRefused, Result::kSingle, CSng},
    {"CDbl", 1, 1, Nulls::kRefused, Result::kDouble, CDbl},
    {"CDec", 1, 1, Nulls::kRefused, Result::kDouble, CDbl},
    {"CDate", 1, 1, Nulls::kRefused, Result::kDate, CDate},
    {"CVDate", 1, 1, Nulls::kOwn, Result::kDate, CDate},
    {"CStr", 1, 1, Nulls::kRefused, Result::kText, CStr},
}};

}  // namespace

std::span<const Function> ConversionFunctions() { return kConversions; }

}  // namespace sql
