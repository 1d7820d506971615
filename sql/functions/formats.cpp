// Format, and what its pattern is of.
#include <algorithm>
#include <array>

#include "jet/base/ascii.h"
#include "jet/base/text.h"
#include "sql/functions/arguments.h"
#include "sql/functions/date_text.h"
#include "sql/functions/groups.h"
#include "sql/functions/letters.h"
#include "sql/functions/patterns.h"
#include "sql/values/number_text.h"

namespace sql {

std::string FormatText(std::string_view pattern, std::string_view text) {
  const std::u16string form = jet::ToUtf16(pattern);
  std::u16string value = jet::ToUtf16(text);
  const auto is_place = [](char16_t c) { return c == u'@' || c == u'&'; };
  std::size_t places = 0;
  bool from_left = false;
  for (std::size_t i = 0; i < form.size(); ++i) {
    if (form[i] == u'\\') {
      ++i;
    } else if (form[i] == u'"') {
      i = std::min(form.find(u'"', i + 1), form.size());
    } else {
      if (form[i] == u'<') value = LowerCase(std::move(value));
      if (form[i] == u'>') value = UpperCase(std::move(value));
      from_left = from_left || form[i] == u'!';
      places += is_place(form[i]) ? 1 : 0;
    }
  }
  // Places without a character: at the left, or with "!" at the right.
  const std::size_t empty = places > value.size() ? places - value.size() : 0;
  std::u16string out;
  std::size_t place = 0, at = 0;
  for (std::size_t i = 0; i < form.size(); ++i) {
    const char16_t c = form[i];
    if (c == u'\\') {
      if (i + 1 < form.size()) out += form[++i];
    } else if (c == u'"') {
      const std::size_t end = std::min(form.find(u'"', i + 1), form.size());
      out += form.substr(i + 1, end - i - 1);
      i = end;
    } else if (is_place(c)) {
      const bool filled = from_left ? at < value.size() : place >= empty;
      if (!filled) {
        if (c == u'@') out += u' ';
      } else {
        // What is too long stands before the first place, or behind the last.
        while (!from_left && value.size() - at > places - place) out += value[at++];
        out += value[at++];
      }
      ++place;
    } else if (c != u'<' && c != u'>' && c != u'!') {
      out += c;
    }
  }
  out += value.substr(std::min(at, value.size()));
  return jet::ToUtf8(out);
}

namespace {

using Kind = Datum::Kind;

struct Named {
  std::string_view name;
  std::string_view english, japanese;  // the pattern that it stands for
};
constexpr std::array<Named, 15> kNumberNames = {{
    {"General Number", "", ""},
    {"Fixed", "0.00", "0.00"},
    {"Standard", "#,##0.00", "#,##0.00"},
    {"Percent", "0.00%", "0.00%"},
    {"Scientific", "0.00E+00", "0.00E+00"},
    {"Currency", "$#,##0.00;($#,##0.00)", "¥#,##0"},
    {"Yes/No", "\"Yes\";\"Yes\";\"No\"", "\"Yes\";\"Yes\";\"No\""},
    {"True/False", "\"True\";\"True\";\"False\"", "\"True\";\"True\";\"False\""},
    {"On/Off", "\"On\";\"On\";\"Off\"", "\"On\";\"On\";\"Off\""},
}};
constexpr std::array<Named, 7> kDateNames = {{
    {"General Date", "c", "c"},
    {"Long Date", "dddddd", "dddddd"},
    {"Medium Date", "dd-mmm-yy", "yy-mm-dd"},
    {"Short Date", "ddddd", "ddddd"},
    {"Long Time", "ttttt", "ttttt"},
    {"Medium Time", "hh:nn AM/PM", "hh:nn AM/PM"},
    {"Short Time", "hh:nn", "hh:nn"},
}};

template <std::size_t kSize>
const Named* FindNamed(const std::array<Named, kSize>& names, std::string_view pattern) {
  for (const Named& each : names) {
    if (!each.name.empty() && jet::EqualsAsciiCase(each.name, pattern)) return &each;
  }
  return nullptr;
}

// What a pattern is of: digits make it one of numbers, letters one of dates.
enum class PatternKind { kNumber, kDate, kText, kNone };

PatternKind KindOfPattern(std::string_view pattern, bool japanese) {
  bool date = false, text = false;
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    const char c = jet::AsciiLower(pattern[i]);
    if (c == '\\') {
      ++i;
    } else if (c == '"') {
      i = std::min(pattern.find('"', i + 1), pattern.size());
    } else if (c == '0' || c == '#') {
      return PatternKind::kNumber;
    } else if (c == '@' || c == '&') {
      return PatternKind::kText;
    } else if (std::string_view("dmyhnswqct/:").find(c) != std::string_view::npos ||
               (japanese && std::string_view("geao").find(c) != std::string_view::npos)) {
      date = true;
    } else if (std::string_view("<>!").find(c) != std::string_view::npos) {
      text = true;
    }
  }
  return date ? PatternKind::kDate : text ? PatternKind::kText : PatternKind::kNone;
}

std::optional<double> NumberFor(const Datum& value) {
  if (value.is_number()) return value.number;
  if (const auto number = ReadNumber(value.text)) return number;
  if (const auto date = ReadDateText(value.text)) return date->days;
  return std::nullopt;
}

std::optional<double> DaysFor(const Datum& value) {
  std::optional<double> days;
  if (value.is_number()) {
    days = value.number;
  } else if (const auto date = ReadDateText(value.text)) {
    days = date->days;
  } else {
    days = ReadNumber(value.text);
  }
  if (days && !jet::IsInCalendar({*days})) Overflow();
  return days;
}

class Formatter {
 public:
  Formatter(const FunctionContext& context, Arguments a) : context_(context), value_(*a[0]) {
    if (a.size() > 1 && !a[1]->null()) pattern_ = TextArgument(context, *a[1]);
    first_ = WholeOr(a, 2, 1);
    rule_ = WholeOr(a, 3, 1);
    if (first_ < 0 || first_ > 7 || rule_ < 0 || rule_ > 3) InvalidCall();
  }

  std::string Run() {
    if (value_.null()) return OfNull();
    const Language language = LanguageOf(context_.order);
    const bool japanese = language == Language::kJapanese;
    if (pattern_.empty()) return Plain();
    if (const Named* named = FindNamed(kNumberNames, pattern_)) {
      const auto number = NumberFor(value_);
      if (!number) return Plain();
      const std::string_view pattern = japanese ? named->japanese : named->english;
      return pattern.empty() ? NumberText(*number) : FormatNumber(pattern, *number);
    }
    const Named* date = FindNamed(kDateNames, pattern_);
    if (date != nullptr) pattern_ = japanese ? date->japanese : date->english;
    switch (date != nullptr ? PatternKind::kDate : KindOfPattern(pattern_, japanese)) {
      case PatternKind::kNumber:
        if (const auto number = NumberFor(value_)) return FormatNumber(pattern_, *number);
        return Plain();
      case PatternKind::kDate:
        if (const auto days = DaysFor(value_)) {
          return FormatDate(language, SectionsOf(pattern_)[0], *days, first_, rule_);
        }
        return Plain();
      case PatternKind::kText:
        return OfText();
      case PatternKind::kNone:
        break;
    }
    return value_.is_number() ? FormatNumber(pattern_, value_.number) : OfText();
  }

 private:
  std::string Plain() const {
    if (value_.kind == Kind::kBoolean) return value_.number != 0 ? "True" : "False";
    return TextArgument(context_, value_);
  }
  std::string OfText() const {
    const auto sections = SectionsOf(pattern_);
    const std::string text = Plain();
    return FormatText(text.empty() && sections.size() > 1 ? sections[1] : sections[0], text);
  }
  std::string OfNull() const {
    const auto sections = SectionsOf(pattern_);
    const bool text = KindOfPattern(pattern_, IsJapanese(context_)) == PatternKind::kText;
    if (text && sections.size() > 1) return FormatText(sections[1], "");
    return sections.size() > 3 ? FormatNumber(sections[3], 0) : "";
  }

  const FunctionContext& context_;
  const Datum& value_;
  std::string pattern_;
  int first_ = 1, rule_ = 1;
};

void Format(const FunctionContext& context, Arguments a, Datum& out) {
  out.SetText(Formatter(context, a).Run());
}

constexpr std::array<Function, 1> kFormats = {{
    {"Format", 1, 4, Nulls::kOwn, Result::kText, Format},
}};

}  // namespace

std::span<const Function> FormatFunctions() { return kFormats; }

}  // namespace sql
