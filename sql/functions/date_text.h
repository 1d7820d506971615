// Dates of texts that are not marked as dates, and the parts of a date.
#pragma once

#include <cstdint>
#include <optional>
#include <string_view>

#include "jet/base/date_time.h"

namespace sql {

// As a date literal, or with the month's English name ("5 Jan 1995", "January 5, 1995"),
// or as 2020年1月15日, a time behind it.
std::optional<jet::DateTime> ReadDateText(std::string_view text);

// A date as whole days since 1899-12-30 and seconds of that day.
struct Moment {
  std::int64_t day = 0;
  std::int64_t second = 0;
};
Moment MomentOf(double days);
// Seconds beyond a day carry over.
double DaysOf(const Moment& moment);

// 1 for `first` (1 = Sunday; 0 stands for it).
int WeekdayOf(std::int64_t day, int first);
// `rule`: 1 (and 0) the week of 1 January, 2 the first with four days, 3 the first full one.
int WeekOf(std::int64_t day, int first, int rule);
// Whole days of a date by the calendar; months and days out of range carry over.
std::int64_t DayOf(std::int64_t year, std::int64_t month, std::int64_t day);

inline constexpr std::string_view kMonths[] = {"January",   "February", "March",    "April",
                                               "May",       "June",     "July",     "August",
                                               "September", "October",  "November", "December"};
inline constexpr std::string_view kWeekdays[] = {"Sunday",   "Monday", "Tuesday", "Wednesday",
                                                 "Thursday", "Friday", "Saturday"};
inline constexpr std::string_view kJapaneseWeekdays[] = {"日", "月", "火", "水", "木", "金", "土"};

}  // namespace sql
