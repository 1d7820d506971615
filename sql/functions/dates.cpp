// Functions of dates.
#include <fmt/format.h>

#include <array>
#include <cmath>
#include <optional>

#include "jet/base/ascii.h"
#include "jet/base/number.h"
#include "sql/functions/arguments.h"
#include "sql/functions/date_text.h"
#include "sql/functions/groups.h"

namespace sql {
namespace {

using Kind = Datum::Kind;

enum class Interval {
  kYear,
  kQuarter,
  kMonth,
  kDayOfYear,
  kDay,
  kWeekday,
  kWeek,
  kHour,
  kMinute,
  kSecond
};

struct IntervalName {
  std::string_view name;
  Interval interval;
};
constexpr std::array<IntervalName, 10> kIntervals = {{{"yyyy", Interval::kYear},
                                                      {"q", Interval::kQuarter},
                                                      {"m", Interval::kMonth},
                                                      {"y", Interval::kDayOfYear},
                                                      {"d", Interval::kDay},
                                                      {"w", Interval::kWeekday},
                                                      {"ww", Interval::kWeek},
                                                      {"h", Interval::kHour},
                                                      {"n", Interval::kMinute},
                                                      {"s", Interval::kSecond}}};

Interval IntervalArgument(const FunctionContext& context, const Datum& datum) {
  const std::string text = TextArgument(context, datum);
  for (const IntervalName& each : kIntervals) {
    if (jet::EqualsAsciiCase(each.name, text)) return each.interval;
  }
  InvalidCall();
}

int FirstDay(Arguments a, std::size_t at) {
  const std::int32_t first = WholeOr(a, at, 1);
  if (first < 0 || first > 7) InvalidCall();
  return first;
}

int WeekRule(Arguments a, std::size_t at) {
  const std::int32_t rule = WholeOr(a, at, 1);
  if (rule < 0 || rule > 3) InvalidCall();
  return rule;
}

void SetDate(double days, Datum& out) {
  if (!jet::IsInCalendar({days})) InvalidCall();
  out.SetNumber(Kind::kDate, days);
}

int PartOf(Interval interval, double days, int first, int rule) {
  const jet::CivilTime civil = jet::ToCivilTime({days});
  const std::int64_t day = DayOf(civil.year, civil.month, civil.day);
  switch (interval) {
    case Interval::kYear:
      return civil.year;
    case Interval::kQuarter:
      return (civil.month + 2) / 3;
    case Interval::kMonth:
      return civil.month;
    case Interval::kDayOfYear:
      return static_cast<int>(day - DayOf(civil.year, 1, 1)) + 1;
    case Interval::kDay:
      return civil.day;
    case Interval::kWeekday:
      return WeekdayOf(day, first);
    case Interval::kWeek:
      return WeekOf(day, first, rule);
    case Interval::kHour:
      return civil.hour;
    case Interval::kMinute:
      return civil.minute;
    case Interval::kSecond:
      return civil.second;
  }
  InvalidCall();
}

template <Interval kInterval>
void Part(const FunctionContext& context, Arguments a, Datum& out) {
  out.SetNumber(Kind::kLong, PartOf(kInterval, DateArgument(context, *a[0]), 1, 1));
}

void Weekday(const FunctionContext& context, Arguments a, Datum& out) {
  const int first = FirstDay(a, 1);
  out.SetNumber(Kind::kLong, PartOf(Interval::kWeekday, DateArgument(context, *a[0]), first, 1));
}

void DatePart(const FunctionContext& context, Arguments a, Datum& out) {
  const Interval interval = IntervalArgument(context, *a[0]);
  const double days = DateArgument(context, *a[1]);
  out.SetNumber(Kind::kLong, PartOf(interval, days, FirstDay(a, 2), WeekRule(a, 3)));
}

double AddMonths(double days, double months) {
  const jet::CivilTime civil = jet::ToCivilTime({days});
  const Moment moment = MomentOf(days);
  if (std::fabs(months) > 120'000) InvalidCall();
  const auto month = civil.month + static_cast<std::int64_t>(months);
  const std::int64_t last = DayOf(civil.year, month + 1, 1) - 1;
  const std::int64_t day = std::min(DayOf(civil.year, month, civil.day), last);
  return DaysOf({day, moment.second});
}

void DateAdd(const FunctionContext& context, Arguments a, Datum& out) {
  const Interval interval = IntervalArgument(context, *a[0]);
  const double count = jet::RoundToEven(NumberArgument(*a[1]));
  const double days = DateArgument(context, *a[2]);
  if (!(std::fabs(count) < 1e12)) InvalidCall();
  Moment moment = MomentOf(days);
  const auto whole = static_cast<std::int64_t>(count);
  switch (interval) {
    case Interval::kYear:
      return SetDate(AddMonths(days, count * 12), out);
    case Interval::kQuarter:
      return SetDate(AddMonths(days, count * 3), out);
    case Interval::kMonth:
      return SetDate(AddMonths(days, count), out);
    case Interval::kDayOfYear:
    case Interval::kDay:
    case Interval::kWeekday:
      moment.day += whole;
      break;
    case Interval::kWeek:
      moment.day += whole * 7;
      break;
    case Interval::kHour:
      moment.second += whole * 3600;
      break;
    case Interval::kMinute:
      moment.second += whole * 60;
      break;
    case Interval::kSecond:
      moment.second += whole;
      break;
  }
  SetDate(DaysOf(moment), out);
}

// Boundaries that lie between two dates.
double Boundaries(Interval interval, double a, double b, int first) {
  const jet::CivilTime from = jet::ToCivilTime({a}), to = jet::ToCivilTime({b});
  const Moment x = MomentOf(a), y = MomentOf(b);
  const auto days = static_cast<double>(y.day - x.day);
  const double seconds = days * 86400 + static_cast<double>(y.second - x.second);
  const auto units = [&](std::int64_t size) {
    const std::int64_t within = y.second / size - x.second / size;
    return days * (86400.0 / static_cast<double>(size)) + static_cast<double>(within);
  };
  const int quarters = (to.year - from.year) * 4 + (to.month - 1) / 3 - (from.month - 1) / 3;
  const int months = (to.year - from.year) * 12 + to.month - from.month;
  switch (interval) {
    case Interval::kYear:
      return to.year - from.year;
    case Interval::kQuarter:
      return quarters;
    case Interval::kMonth:
      return months;
    case Interval::kDayOfYear:
    case Interval::kDay:
      return days;
    case Interval::kWeekday:
      return std::trunc(days / 7);
    case Interval::kWeek:
      return static_cast<double>((y.day - WeekdayOf(y.day, first)) -
                                 (x.day - WeekdayOf(x.day, first))) /
             7;
    case Interval::kHour:
      return units(3600);
    case Interval::kMinute:
      return units(60);
    case Interval::kSecond:
      return seconds;
  }
  InvalidCall();
}

void DateDiff(const FunctionContext& context, Arguments a, Datum& out) {
  const Interval interval = IntervalArgument(context, *a[0]);
  const double from = DateArgument(context, *a[1]), to = DateArgument(context, *a[2]);
  const int first = FirstDay(a, 3);
  WeekRule(a, 4);
  const double count = Boundaries(interval, from, to, first);
  if (!jet::RoundHalfEven<std::int32_t>(count)) Overflow();
  out.SetNumber(Kind::kLong, count);
}

std::int32_t ShortArgument(const Datum& datum) {
  const std::int32_t whole = WholeArgument(datum);
  if (whole < -32768 || whole > 32767) Overflow();
  return whole;
}

void DateSerial(const FunctionContext&, Arguments a, Datum& out) {
  std::int32_t year = ShortArgument(*a[0]);
  if (year >= 0 && year < 100) year += year < 30 ? 2000 : 1900;
  const std::int64_t day = DayOf(year, ShortArgument(*a[1]), ShortArgument(*a[2]));
  SetDate(static_cast<double>(day), out);
}

void TimeSerial(const FunctionContext&, Arguments a, Datum& out) {
  const std::int64_t second = std::int64_t{ShortArgument(*a[0])} * 3600 +
                              std::int64_t{ShortArgument(*a[1])} * 60 + ShortArgument(*a[2]);
  SetDate(DaysOf({0, second}), out);
}

void DateValue(const FunctionContext& context, Arguments a, Datum& out) {
  out.SetNumber(Kind::kDate, static_cast<double>(MomentOf(DateArgument(context, *a[0])).day));
}

void TimeValue(const FunctionContext& context, Arguments a, Datum& out) {
  out.SetNumber(Kind::kDate, DaysOf({0, MomentOf(DateArgument(context, *a[0])).second}));
}

void Date(const FunctionContext& context, Arguments, Datum& out) {
  out.SetNumber(Kind::kDate, static_cast<double>(MomentOf(context.now.days).day));
}
void Now(const FunctionContext& context, Arguments, Datum& out) {
  out.SetNumber(Kind::kDate, context.now.days);
}
void Time(const FunctionContext& context, Arguments, Datum& out) {
  out.SetNumber(Kind::kDate, DaysOf({0, MomentOf(context.now.days).second}));
}
void Timer(const FunctionContext& context, Arguments, Datum& out) {
  out.SetNumber(Kind::kDouble, static_cast<double>(MomentOf(context.now.days).second));
}

bool Abbreviated(Arguments a) { return a.size() > 1 && NumberArgument(*a[1]) != 0; }

void MonthName(const FunctionContext& context, Arguments a, Datum& out) {
  const std::int32_t month = WholeArgument(*a[0]);
  if (month < 1 || month > 12) InvalidCall();
  if (IsJapanese(context)) return out.SetText(fmt::format("{}月", month));
  out.SetText(kMonths[month - 1].substr(0, Abbreviated(a) ? 3 : std::string_view::npos));
}

void WeekdayName(const FunctionContext& context, Arguments a, Datum& out) {
  const std::int32_t day = WholeArgument(*a[0]);
  if (day < 1 || day > 7) InvalidCall();
  const int first = FirstDay(a, 2);
  const int at = (day - 1 + (first == 0 ? 0 : first - 1)) % 7;
  const bool abbreviated = Abbreviated(a);
  if (IsJapanese(context)) {
    return out.SetText(fmt::format("{}{}", kJapaneseWeekdays[at], abbreviated ? "" : "曜日"));
  }
  out.SetText(kWeekdays[at].substr(0, abbreviated ? 3 : std::string_view::npos));
}

constexpr std::array<Function, 20> kDates = {{
    {"Date", 0, 0, Nulls::kAnswerNull, Result::kDate, Date},
    {"Now", 0, 0, Nulls::kAnswerNull, Result::kDate, Now},
    {"Time", 0, 0, Nulls::kAnswerNull, Result::kDate, Time},
    {"Timer", 0, 0, Nulls::kAnswerNull, Result::kSingle, Timer},
    {"Year", 1, 1, Nulls::kAnswerNull, Result::kInteger, Part<Interval::kYear>},
    {"Month", 1, 1, Nulls::kAnswerNull, Result::kInteger, Part<Interval::kMonth>},
    {"Day", 1, 1, Nulls::kAnswerNull, Result::kInteger, Part<Interval::kDay>},
    {"Hour", 1, 1, Nulls::kAnswerNull, Result::kInteger, Part<Interval::kHour>},
    {"Minute", 1, 1, Nulls::kAnswerNull, Result::kInteger, Part<Interval::kMinute>},
    {"Second", 1, 1, Nulls::kAnswerNull, Result::kInteger, Part<Interval::kSecond>},
    {"Weekday", 1, 2, Nulls::kAnswerNull, Result::kInteger, Weekday},
    {"DatePart", 2, 4, Nulls::kAnswerNull, Result::kInteger, DatePart},
    {"DateAdd", 3, 3, Nulls::kAnswerNull, Result::kDate, DateAdd},
    {"DateDiff", 3, 5, Nulls::kAnswerNull, Result::kLong, DateDiff},
    {"DateSerial", 3, 3, Nulls::kAnswerNull, Result::kDate, DateSerial},
    {"TimeSerial", 3, 3, Nulls::kAnswerNull, Result::kDate, TimeSerial},
    {"DateValue", 1, 1, Nulls::kAnswerNull, Result::kDate, DateValue},
    {"TimeValue", 1, 1, Nulls::kAnswerNull, Result::kDate, TimeValue},
    {"MonthName", 1, 2, Nulls::kAnswerNull, Result::kText, MonthName},
    {"WeekdayName", 1, 3, Nulls::kAnswerNull, Result::kText, WeekdayName},
}};

}  // namespace

std::span<const Function> DateFunctions() { return kDates; }

}  // namespace sql
