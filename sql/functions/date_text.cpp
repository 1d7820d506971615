#include "sql/functions/date_text.h"

#include <fmt/format.h>

#include <cmath>
#include <string>
#include <vector>

#include "jet/base/ascii.h"

namespace sql {
namespace {

// The text with every "," and the kanji of a date as blanks; nothing if a kanji stands
// where it cannot.
std::string Spaced(std::string_view text) {
  std::string out;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const std::string_view three = text.substr(i, 3);
    if (three == "年" || three == "月" || three == "時" || three == "分") {
      out += three == "年" || three == "月" ? '/' : ':';
      i += 2;
    } else if (three == "日" || three == "秒") {
      out += ' ';
      i += 2;
    } else {
      out += text[i] == ',' ? ' ' : text[i];
    }
  }
  while (out.ends_with(' ') || out.ends_with(':')) out.pop_back();
  return out;
}

std::optional<int> MonthNamed(std::string_view word) {
  for (int i = 0; i < 12; ++i) {
    const std::string_view name = kMonths[i];
    if (word.size() >= 3 && word.size() <= name.size() &&
        (word.size() == 3 || word.size() == name.size()) &&
        jet::EqualsAsciiCase(word, name.substr(0, word.size()))) {
      return i + 1;
    }
  }
  return std::nullopt;
}

// Words and numbers; anything else but blanks, "-" and "/" between them stays with its word.
std::vector<std::string> Parts(std::string_view text) {
  std::vector<std::string> parts;
  bool open = false;
  for (const char c : text) {
    if (jet::IsBlank(c) || c == '-' || c == '/') {
      open = false;
      continue;
    }
    if (!open) parts.emplace_back();
    open = true;
    parts.back() += c;
  }
  return parts;
}

// Month by name among two numbers, a time behind them.
std::optional<jet::DateTime> ReadNamed(std::string_view text) {
  const std::vector<std::string> parts = Parts(text);
  if (parts.size() < 3) return std::nullopt;
  const auto first = MonthNamed(parts[0]), second = MonthNamed(parts[1]);
  if (!first && !second) return std::nullopt;
  std::string date = first ? fmt::format("{}/{}/{}", *first, parts[1], parts[2])
                           : fmt::format("{}/{}/{}", *second, parts[0], parts[2]);
  for (std::size_t i = 3; i < parts.size(); ++i) date += " " + parts[i];
  return jet::ReadDateTime(date);
}

}  // namespace

std::optional<jet::DateTime> ReadDateText(std::string_view text) {
  if (const auto date = jet::ReadDateTime(text)) return date;
  const std::string spaced = Spaced(text);
  if (const auto date = jet::ReadDateTime(spaced)) return date;
  return ReadNamed(spaced);
}

Moment MomentOf(double days) {
  constexpr double kSeconds = 86400;
  // Before 1899-12-30 the fraction still counts forward from midnight.
  double day = std::trunc(days);
  double second = std::round(std::fabs(days - day) * kSeconds);
  if (second >= kSeconds) {
    second = 0;
    day += 1;
  }
  return {static_cast<std::int64_t>(day), static_cast<std::int64_t>(second)};
}

double DaysOf(const Moment& moment) {
  constexpr std::int64_t kSeconds = 86400;
  std::int64_t day = moment.day + moment.second / kSeconds, second = moment.second % kSeconds;
  if (second < 0) {
    second += kSeconds;
    --day;
  }
  const double fraction = static_cast<double>(second) / static_cast<double>(kSeconds);
  return day < 0 ? static_cast<double>(day) - fraction : static_cast<double>(day) + fraction;
}

int WeekdayOf(std::int64_t day, int first) {
  const std::int64_t from_sunday = ((day + 6) % 7 + 7) % 7;  // day 0 was a Saturday
  return static_cast<int>((from_sunday - (first == 0 ? 0 : first - 1) + 7) % 7) + 1;
}

std::int64_t DayOf(std::int64_t year, std::int64_t month, std::int64_t day) {
  std::int64_t months = year * 12 + month - 1;
  const std::int64_t in_year = ((months % 12) + 12) % 12;
  months -= in_year;
  const jet::DateTime first = jet::ToDateTime({.year = static_cast<int>(months / 12),
                                               .month = static_cast<int>(in_year) + 1,
                                               .day = 1,
                                               .hour = 0});
  return static_cast<std::int64_t>(first.days) + day - 1;
}

int WeekOf(std::int64_t day, int first, int rule) {
  const int year = jet::ToCivilTime({static_cast<double>(day)}).year;
  const auto week_one = [&](int of_year) {
    const std::int64_t january = DayOf(of_year, 1, 1);
    const int weekday = WeekdayOf(january, first);
    const std::int64_t begin = january - (weekday - 1);
    const bool counts = rule < 2 || (rule == 2 ? 8 - weekday >= 4 : weekday == 1);
    return counts ? begin : begin + 7;
  };
  const std::int64_t begin = day - (WeekdayOf(day, first) - 1);
  std::int64_t one = week_one(year);
  if (begin < one) one = week_one(year - 1);
  // Only the week of four days belongs to the next year as a whole.
  if (rule == 2 && begin >= week_one(year + 1)) return 1;
  return static_cast<int>((begin - one) / 7) + 1;
}

}  // namespace sql
