#include "jet/base/date_time.h"

#include <fmt/format.h>

#include <array>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <utility>

#include "jet/base/ascii.h"

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

int DaysInMonth(int year, int month) {
  constexpr std::array<int, 12> kDays = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
  const bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
  return month == 2 && leap ? 29 : kDays[static_cast<std::size_t>(month - 1)];
}

// Reads part after part, blanks between them passed over.
class DateReader {
 public:
  explicit DateReader(std::string_view text) : text_(text) {}

  std::optional<DateTime> Read() {
    const std::optional<Number> first = TakeNumber();
    if (!first) return std::nullopt;
    bool good = false;
    if (Take(':')) {
      good = TakeTime(first->value);
    } else {
      good = TakeDate(*first);
      if (const auto hour = TakeNumber(); good && hour) good = Take(':') && TakeTime(hour->value);
    }
    SkipBlanks();
    if (!good || !text_.empty() || !IsValid(civil_)) return std::nullopt;
    return ToDateTime(civil_);
  }
  // Of what was read.
  bool year_first() const { return year_first_; }

 private:
  struct Number {
    int value = 0;
    std::ptrdiff_t digits = 0;
  };
  void SkipBlanks() {
    while (!text_.empty() && IsBlank(text_.front())) text_.remove_prefix(1);
  }
  std::optional<Number> TakeNumber() {
    SkipBlanks();
    if (text_.empty() || !IsDigit(text_.front())) return std::nullopt;
    Number number;
    const char* const begin = text_.data();
    const auto [end, failure] = std::from_chars(begin, begin + text_.size(), number.value);
    if (failure != std::errc()) return std::nullopt;
    number.digits = end - begin;
    text_.remove_prefix(static_cast<std::size_t>(number.digits));
    return number;
  }
  bool Take(char sign) {
    SkipBlanks();
    if (!text_.starts_with(sign)) return false;
    text_.remove_prefix(1);
    return true;
  }
  bool TakeDate(Number first) {
    SkipBlanks();
    const char sign = text_.starts_with('-') ? '-' : '/';
    if (!Take(sign)) return false;
    const auto second = TakeNumber();
    if (!second || !Take(sign)) return false;
    const auto third = TakeNumber();
    if (!third) return false;
    constexpr int kMaxDay = 31, kMaxMonth = 12;
    year_first_ = first.value > kMaxDay || first.digits > 2;
    const Number year = year_first_ ? first : *third;
    civil_.month = year_first_ ? second->value : first.value;
    civil_.day = year_first_ ? third->value : second->value;
    if (!year_first_ && civil_.month > kMaxMonth) std::swap(civil_.month, civil_.day);
    civil_.year = year.value;
    if (year.digits <= 2) civil_.year += year.value < 30 ? 2000 : 1900;
    return true;
  }
  bool TakeTime(int hour) {
    const auto minute = TakeNumber();
    if (!minute) return false;
    civil_.hour = hour;
    civil_.minute = minute->value;
    if (Take(':')) {
      const auto second = TakeNumber();
      if (!second) return false;
      civil_.second = second->value;
    }
    SkipBlanks();
    const bool afternoon = EqualsAsciiCase(text_.substr(0, 2), "PM");
    if (afternoon || EqualsAsciiCase(text_.substr(0, 2), "AM")) {
      text_.remove_prefix(2);
      if (hour < 1 || hour > 12) return false;
      civil_.hour = hour % 12 + (afternoon ? 12 : 0);
    }
    return true;
  }

  std::string_view text_;
  CivilTime civil_;
  bool year_first_ = true;
};

}  // namespace

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

bool IsValid(const CivilTime& civil) {
  return civil.year >= 100 && civil.year <= 9999 && civil.month >= 1 && civil.month <= 12 &&
         civil.day >= 1 && civil.day <= DaysInMonth(civil.year, civil.month) && civil.hour >= 0 &&
         civil.hour < 24 && civil.minute >= 0 && civil.minute < 60 && civil.second >= 0 &&
         civil.second < 60;
}

bool IsInCalendar(DateTime date) {
  // 100-01-01 is day -657434; its time of day counts on from there, away from zero.
  return date.days > -657435 && date.days < 2958466;
}

std::optional<DateTime> ReadDateTime(std::string_view text) { return DateReader(text).Read(); }

std::optional<DateTime> ReadDateTimeByYear(std::string_view text) {
  DateReader reader(text);
  const std::optional<DateTime> date = reader.Read();
  return reader.year_first() ? date : std::nullopt;
}

}  // namespace jet
