#include <fmt/format.h>

#include <array>

#include "jet/base/ascii.h"
#include "sql/functions/date_text.h"
#include "sql/functions/patterns.h"

namespace sql {
namespace {

struct Era {
  jet::CivilTime begin;
  char letter;
  std::string_view sign, name;
};
constexpr std::array<Era, 5> kEras = {
    {{{.year = 2019, .month = 5, .day = 1}, 'R', "令", "令和"},
     {{.year = 1989, .month = 1, .day = 8}, 'H', "平", "平成"},
     {{.year = 1926, .month = 12, .day = 25}, 'S', "昭", "昭和"},
     {{.year = 1912, .month = 7, .day = 30}, 'T', "大", "大正"},
     {{.year = 1868, .month = 10, .day = 23}, 'M', "明", "明治"}}};

class DateFormatter {
 public:
  DateFormatter(Language language, std::string_view pattern, double days, int first, int rule)
      : language_(language), pattern_(pattern), days_(days), first_(first), rule_(rule) {
    civil_ = jet::ToCivilTime({days});
    day_ = DayOf(civil_.year, civil_.month, civil_.day);
    for (std::size_t i = 0; i < pattern.size(); ++i) half_ = half_ || HalfDayMark(i) != 0;
    for (const Era& each : kEras) {
      if (era_ == nullptr && day_ >= DayOf(each.begin.year, each.begin.month, each.begin.day)) {
        era_ = &each;
      }
    }
  }

  std::string Run() {
    for (std::size_t i = 0; i < pattern_.size();) i = Piece(i);
    return std::move(out_);
  }

 private:
  bool japanese() const { return language_ == Language::kJapanese; }

  // The length of AM/PM, A/P or AMPM at `at`, 0 if none stands there.
  std::size_t HalfDayMark(std::size_t at) const {
    for (const std::string_view mark : {"AM/PM", "A/P", "AMPM"}) {
      if (jet::EqualsAsciiCase(pattern_.substr(at, mark.size()), mark)) return mark.size();
    }
    return 0;
  }

  void AddHalfDay(std::string_view mark) {
    const bool afternoon = civil_.hour >= 12;
    const bool small = mark[0] == 'a';
    if (mark.size() == 3) {
      out_ += afternoon ? (small ? 'p' : 'P') : (small ? 'a' : 'A');
    } else if (japanese()) {
      out_ += afternoon ? "午後" : "午前";
    } else if (small) {
      out_ += afternoon ? "pm" : "am";
    } else {
      out_ += afternoon ? "PM" : "AM";
    }
  }

  std::size_t Piece(std::size_t at) {
    const char c = pattern_[at];
    if (c == '\\') {
      if (at + 1 < pattern_.size()) out_ += pattern_[at + 1];
      return at + 2;
    }
    if (c == '"') {
      const std::size_t end = std::min(pattern_.find('"', at + 1), pattern_.size());
      out_ += pattern_.substr(at + 1, end - at - 1);
      return end + 1;
    }
    if (const std::size_t length = HalfDayMark(at); length != 0) {
      AddHalfDay(pattern_.substr(at, length));
      return at + length;
    }
    const char letter = jet::AsciiLower(c);
    std::size_t length = 1;
    while (at + length < pattern_.size() && jet::AsciiLower(pattern_[at + length]) == letter) {
      ++length;
    }
    if (const std::size_t taken = Letters(letter, length); taken != 0) {
      if (letter != ':') after_hour_ = letter == 'h';
      return at + taken;
    }
    out_ += c;
    return at + 1;
  }

  void Number(int number, std::size_t width) {
    out_ += fmt::format("{:0{}}", number, width < 2 ? 1 : 2);
  }
  void Part(std::string_view pattern) {
    out_ += FormatDate(language_, pattern, days_, first_, rule_);
  }

  // How many letters of the run were used; 0 if they mean nothing.
  std::size_t Letters(char letter, std::size_t length) {
    switch (letter) {
      case 'd':
        return Days(std::min<std::size_t>(length, 6));
      case 'w':
        length = std::min<std::size_t>(length, 2);
        Number(length == 1 ? WeekdayOf(day_, first_) : WeekOf(day_, first_, rule_), 1);
        return length;
      case 'm':
        length = std::min<std::size_t>(length, 4);
        if (after_hour_ && length <= 2) {
          Number(civil_.minute, length);
        } else if (length <= 2) {
          Number(civil_.month, length);
        } else {
          const std::string_view name = kMonths[civil_.month - 1];
          out_ += length == 3 ? name.substr(0, 3) : name;
        }
        return length;
      case 'q':
        Number((civil_.month + 2) / 3, 1);
        return 1;
      case 'y':
        return Years(std::min<std::size_t>(length, 4));
      case 'h':
        length = std::min<std::size_t>(length, 2);
        Number(half_ ? (civil_.hour + 11) % 12 + 1 : civil_.hour, length);
        return length;
      case 'n':
        length = std::min<std::size_t>(length, 2);
        Number(civil_.minute, length);
        return length;
      case 's':
        length = std::min<std::size_t>(length, 2);
        Number(civil_.second, length);
        return length;
      case 't':
        if (length < 5) return 0;
        Part(japanese() ? "h:nn:ss" : "h:nn:ss AM/PM");
        return 5;
      case 'c':
        out_ += DateText({days_}, language_);
        return 1;
      default:
        return japanese() ? JapaneseLetters(letter, length) : 0;
    }
  }

  std::size_t Days(std::size_t length) {
    const std::string_view name = kWeekdays[WeekdayOf(day_, 1) - 1];
    switch (length) {
      case 1:
      case 2:
        Number(civil_.day, length);
        break;
      case 3:
        out_ += name.substr(0, 3);
        break;
      case 4:
        out_ += name;
        break;
      case 5:
        Part(japanese() ? "yyyy/mm/dd" : "m/d/yyyy");
        break;
      default:
        Part(japanese() ? "yyyy年m月d日" : "dddd, mmmm d, yyyy");
    }
    return length;
  }

  std::size_t Years(std::size_t length) {
    if (length == 1) {
      Number(static_cast<int>(day_ - DayOf(civil_.year, 1, 1)) + 1, 1);
    } else if (length == 2) {
      Number(civil_.year % 100, 2);
    } else {
      out_ += fmt::format("{:04}", civil_.year);
    }
    return length;
  }

  std::size_t JapaneseLetters(char letter, std::size_t length) {
    if (letter == 'g') {
      length = std::min<std::size_t>(length, 3);
      if (era_ == nullptr) return length;
      out_ += length == 1   ? std::string_view(&era_->letter, 1)
              : length == 2 ? era_->sign
                            : era_->name;
      return length;
    }
    if (letter == 'e') {
      length = std::min<std::size_t>(length, 2);
      Number(era_ == nullptr ? civil_.year : civil_.year - era_->begin.year + 1, length);
      return length;
    }
    if (letter == 'a' && length >= 3) {
      length = std::min<std::size_t>(length, 4);
      out_ += kJapaneseWeekdays[WeekdayOf(day_, 1) - 1];
      if (length == 4) out_ += "曜日";
      return length;
    }
    if (letter == 'o' && length >= 4) {
      out_ += fmt::format("{}月", civil_.month);
      return 4;
    }
    return 0;
  }

  Language language_;
  std::string_view pattern_;
  double days_;
  int first_, rule_;
  jet::CivilTime civil_;
  std::int64_t day_ = 0;
  const Era* era_ = nullptr;
  bool half_ = false, after_hour_ = false;
  std::string out_;
};

}  // namespace

std::string FormatDate(Language language, std::string_view pattern, double days, int first,
                       int rule) {
  return DateFormatter(language, pattern, days, first, rule).Run();
}

}  // namespace sql
