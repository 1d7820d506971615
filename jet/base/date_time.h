// Dates and times of day: as stored, by the calendar, and as texts. Plain values and
// functions of them; any thread may use them.
#pragma once

#include <compare>
#include <optional>
#include <string>
#include <string_view>

namespace jet {

// Days since 1899-12-30, local time without a zone; the fraction is the time of
// day (for days before 1899-12-30 it still counts forward from midnight).
struct DateTime {
  double days = 0;
  friend auto operator<=>(const DateTime&, const DateTime&) = default;
};

struct CivilTime {
  int year = 1899, month = 12, day = 30, hour = 0, minute = 0, second = 0;
};
// REQUIRES: IsValid(civil).
DateTime ToDateTime(const CivilTime& civil);
CivilTime ToCivilTime(DateTime date);       // rounded to the second
std::string FormatDateTime(DateTime date);  // "2010-01-04 00:00:00"

// Whether there is such a day and time, in the years 100 to 9999.
bool IsValid(const CivilTime& civil);
// Whether `date` lies in those years.
bool IsInCalendar(DateTime date);

// A date, a time of day, or a date and a time; blanks may stand around each part.
//
//   date   three numbers with "/" or "-" between them, the same sign twice. The first
//          is the year if it is over 31 or has more than two digits; else the last is
//          the year, and the month comes first. Where it cannot be a month but the
//          second number can, the day comes first. Years of one or two digits are
//          those from 1930 to 2029.
//   time   hour:minute or hour:minute:second, of 24 hours, or of 12 with AM or PM
//
// The locale plays no part: a saved query and a column's default mean the same on
// every machine. Nothing for any other text.
std::optional<DateTime> ReadDateTime(std::string_view text);
// The same, but a date only with the year first: for texts that are not marked as
// dates, where the order of month and day would be a guess.
std::optional<DateTime> ReadDateTimeByYear(std::string_view text);

}  // namespace jet
