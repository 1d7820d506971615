// Functions of texts. Places and lengths count UTF-16 units, from 1.
#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "jet/base/text.h"
#include "jet/sort/name.h"
#include "sql/functions/arguments.h"
#include "sql/functions/groups.h"
#include "sql/functions/letters.h"

namespace sql {
namespace {

using Kind = Datum::Kind;
using Text = std::u16string;
using TextView = std::u16string_view;

constexpr std::size_t kMaxUnits = 65535;

Text UnitsOf(const FunctionContext& context, const Datum& datum) {
  return jet::ToUtf16(TextArgument(context, datum));
}

std::size_t CountArgument(const Datum& datum) {
  const std::int32_t count = WholeArgument(datum);
  if (count < 0) InvalidCall();
  return static_cast<std::size_t>(count);
}

void SetLong(std::size_t number, Datum& out) {
  out.SetNumber(Kind::kLong, static_cast<double>(number));
}

void SetUnits(TextView units, Datum& out) { out.SetText(jet::ToUtf8(units)); }

void Left(const FunctionContext& context, Arguments a, Datum& out) {
  SetUnits(TextView(UnitsOf(context, *a[0])).substr(0, CountArgument(*a[1])), out);
}

void Right(const FunctionContext& context, Arguments a, Datum& out) {
  const Text text = UnitsOf(context, *a[0]);
  const std::size_t count = std::min(CountArgument(*a[1]), text.size());
  SetUnits(TextView(text).substr(text.size() - count), out);
}

void Mid(const FunctionContext& context, Arguments a, Datum& out) {
  const Text text = UnitsOf(context, *a[0]);
  const std::size_t start = CountArgument(*a[1]);
  const std::size_t count = a.size() > 2 ? CountArgument(*a[2]) : text.size();
  if (start == 0) InvalidCall();
  if (start > text.size()) return out.SetText({});
  SetUnits(TextView(text).substr(start - 1, count), out);
}

void Len(const FunctionContext& context, Arguments a, Datum& out) {
  SetLong(jet::Utf16Length(TextArgument(context, *a[0])), out);
}

void Trimmed(const FunctionContext& context, Arguments a, bool left, bool right, Datum& out) {
  const std::string text = TextArgument(context, *a[0]);
  std::string_view rest = text;
  if (left) rest.remove_prefix(std::min(rest.find_first_not_of(' '), rest.size()));
  if (right) rest = rest.substr(0, rest.find_last_not_of(' ') + 1);
  out.SetText(rest);
}
void Trim(const FunctionContext& context, Arguments a, Datum& out) {
  Trimmed(context, a, true, true, out);
}
void LTrim(const FunctionContext& context, Arguments a, Datum& out) {
  Trimmed(context, a, true, false, out);
}
void RTrim(const FunctionContext& context, Arguments a, Datum& out) {
  Trimmed(context, a, false, true, out);
}

void UCase(const FunctionContext& context, Arguments a, Datum& out) {
  SetUnits(UpperCase(UnitsOf(context, *a[0])), out);
}
void LCase(const FunctionContext& context, Arguments a, Datum& out) {
  SetUnits(LowerCase(UnitsOf(context, *a[0])), out);
}
void StrReverse(const FunctionContext& context, Arguments a, Datum& out) {
  Text text = UnitsOf(context, *a[0]);
  std::reverse(text.begin(), text.end());
  SetUnits(text, out);
}

// --- finding ---

// 0 by code, else as the database compares.
bool IsBinary(Arguments a, std::size_t at) {
  const std::int32_t kind = WholeOr(a, at, 2);
  if (kind < 0 || kind > 2) InvalidCall();
  return kind == 0;
}

class Finder {
 public:
  Finder(const FunctionContext& context, TextView text, TextView wanted, bool binary)
      : order_(context.order), text_(text), wanted_(wanted), binary_(binary) {
    ascii_ = std::all_of(text.begin(), text.end(), IsAscii) &&
             std::all_of(wanted.begin(), wanted.end(), IsAscii);
    if (!binary_ && !ascii_) key_ = KeyOf(wanted_);
  }
  bool Matches(std::size_t at) const {
    if (at + wanted_.size() > text_.size()) return false;
    const TextView part = text_.substr(at, wanted_.size());
    if (binary_) return part == wanted_;
    if (!ascii_) return KeyOf(part) == key_;
    return std::equal(part.begin(), part.end(), wanted_.begin(),
                      [](char16_t x, char16_t y) { return Fold(x) == Fold(y); });
  }

 private:
  static bool IsAscii(char16_t c) { return c < 0x80; }
  static char16_t Fold(char16_t c) {
    return c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c + 32) : c;
  }
  std::string KeyOf(TextView part) const { return jet::NameKey(order_, jet::ToUtf8(part)); }

  jet::SortOrder order_;
  TextView text_, wanted_;
  bool binary_, ascii_ = false;
  std::string key_;
};

// [start,] text, wanted [, how]
void InStr(const FunctionContext& context, Arguments a, Datum& out) {
  const bool starts = a.size() > 2;
  const Datum& text_datum = *a[starts ? 1 : 0];
  const Datum& wanted_datum = *a[starts ? 2 : 1];
  if (text_datum.null() || wanted_datum.null()) return out.SetNull();
  if (starts && a[0]->null()) NullRefused();
  if (a.size() > 3 && a[3]->null()) NullRefused();
  const std::size_t start = starts ? CountArgument(*a[0]) : 1;
  if (start == 0) InvalidCall();
  const Text text = UnitsOf(context, text_datum), wanted = UnitsOf(context, wanted_datum);
  if (text.empty() || start > text.size()) return SetLong(0, out);
  if (wanted.empty()) return SetLong(start, out);
  const Finder finder(context, text, wanted, IsBinary(a, 3));
  for (std::size_t at = start - 1; at + wanted.size() <= text.size(); ++at) {
    if (finder.Matches(at)) return SetLong(at + 1, out);
  }
  SetLong(0, out);
}

// text, wanted [, start [, how]]
void InStrRev(const FunctionContext& context, Arguments a, Datum& out) {
  const Text text = UnitsOf(context, *a[0]), wanted = UnitsOf(context, *a[1]);
  const std::int32_t start = WholeOr(a, 2, -1);
  if (start == 0 || start < -1) InvalidCall();
  const std::size_t end = start == -1 ? text.size() : static_cast<std::size_t>(start);
  if (text.empty() || end > text.size()) return SetLong(0, out);
  if (wanted.empty()) return SetLong(end, out);
  const Finder finder(context, text, wanted, IsBinary(a, 3));
  for (std::size_t at = end; at-- > 0;) {
    if (at + wanted.size() <= end && finder.Matches(at)) return SetLong(at + 1, out);
  }
  SetLong(0, out);
}

// text, wanted, with [, start [, count [, how]]]
void Replace(const FunctionContext& context, Arguments a, Datum& out) {
  const Text text = UnitsOf(context, *a[0]), wanted = UnitsOf(context, *a[1]),
             with = UnitsOf(context, *a[2]);
  const std::int32_t start = WholeOr(a, 3, 1), count = WholeOr(a, 4, -1);
  if (start < 1 || count < -1) InvalidCall();
  const auto begin = static_cast<std::size_t>(start) - 1;
  if (begin >= text.size()) return out.SetText({});
  const TextView rest = TextView(text).substr(begin);
  if (wanted.empty() || count == 0) return SetUnits(rest, out);
  const Finder finder(context, rest, wanted, IsBinary(a, 5));
  Text result;
  std::int32_t done = 0;
  for (std::size_t at = 0; at < rest.size();) {
    if ((count == -1 || done < count) && finder.Matches(at)) {
      result += with;
      at += wanted.size();
      ++done;
    } else {
      result += rest[at++];
    }
    if (result.size() > kMaxUnits * 16) Overflow();
  }
  SetUnits(result, out);
}

void StrComp(const FunctionContext& context, Arguments a, Datum& out) {
  const std::string x = TextArgument(context, *a[0]), y = TextArgument(context, *a[1]);
  int difference = 0;
  if (IsBinary(a, 2)) {
    difference = jet::ToUtf16(x).compare(jet::ToUtf16(y));
  } else {
    difference = jet::NameKey(context.order, x).compare(jet::NameKey(context.order, y));
  }
  out.SetNumber(Kind::kLong, difference < 0 ? -1 : difference > 0 ? 1 : 0);
}

// --- making ---

std::size_t LengthArgument(const Datum& datum) {
  const std::size_t count = CountArgument(datum);
  if (count > kMaxUnits) Overflow();
  return count;
}

void Space(const FunctionContext&, Arguments a, Datum& out) {
  out.SetText(std::string(LengthArgument(*a[0]), ' '));
}

void String(const FunctionContext& context, Arguments a, Datum& out) {
  const std::size_t count = LengthArgument(*a[0]);
  char16_t unit = 0;
  if (a[1]->is_text()) {
    const Text text = UnitsOf(context, *a[1]);
    if (text.empty()) InvalidCall();
    unit = text[0];
  } else {
    unit = static_cast<char16_t>(WholeArgument(*a[1]) & 0xFF);
  }
  SetUnits(Text(count, unit), out);
}

void StrConv(const FunctionContext& context, Arguments a, Datum& out) {
  enum Kinds {
    kUpper = 1,
    kLower = 2,
    kProper = 3,
    kWide = 4,
    kNarrow = 8,
    kKata = 16,
    kHira = 32
  };
  const std::int32_t kind = WholeArgument(*a[1]);
  Text text = UnitsOf(context, *a[0]);
  const std::int32_t forms = kind & ~kProper;
  const bool both = ((kind & kWide) != 0 && (kind & kNarrow) != 0) ||
                    ((kind & kKata) != 0 && (kind & kHira) != 0);
  if (kind < 0 || forms > (kWide | kNarrow | kKata | kHira) || both ||
      (forms != 0 && !IsJapanese(context))) {
    InvalidCall();
  }
  if ((kind & kKata) != 0) text = Katakana(std::move(text));
  if ((kind & kHira) != 0) text = Hiragana(std::move(text));
  if ((kind & kWide) != 0) text = Wide(text);
  if ((kind & kNarrow) != 0) text = Narrow16(text);
  const std::int32_t letters = kind & kProper;
  if (letters == kUpper) text = UpperCase(std::move(text));
  if (letters == kLower) text = LowerCase(std::move(text));
  if (letters == kProper) text = ProperCase(std::move(text));
  SetUnits(text, out);
}

// --- codes ---

void AscW(const FunctionContext& context, Arguments a, Datum& out) {
  const Text text = UnitsOf(context, *a[0]);
  if (text.empty()) InvalidCall();
  out.SetNumber(Kind::kLong, static_cast<std::int16_t>(text[0]));
}

// The single bytes of code page 932: ASCII and half-width kana.
constexpr char16_t kHalfKana = 0xFF61 - 0xA1;

void Asc(const FunctionContext& context, Arguments a, Datum& out) {
  const Text text = UnitsOf(context, *a[0]);
  if (text.empty()) InvalidCall();
  char16_t code = text[0];
  if (IsJapanese(context) && code >= 0xFF61 && code <= 0xFF9F) {
    code = static_cast<char16_t>(code - kHalfKana);
  }
  if (code > 0xFF) InvalidCall();
  out.SetNumber(Kind::kLong, code);
}

void ChrW(const FunctionContext&, Arguments a, Datum& out) {
  const std::int32_t code = WholeArgument(*a[0]);
  if (code < -32768 || code > 65535) InvalidCall();
  SetUnits(Text(1, static_cast<char16_t>(code & 0xFFFF)), out);
}

void Chr(const FunctionContext& context, Arguments a, Datum& out) {
  std::int32_t code = WholeArgument(*a[0]);
  if (code < 0 || code > 255) InvalidCall();
  if (IsJapanese(context) && code >= 0xA1 && code <= 0xDF) code += kHalfKana;
  SetUnits(Text(1, static_cast<char16_t>(code)), out);
}

constexpr std::array<Function, 21> kTexts = {{
    {"Left", 2, 2, Nulls::kAnswerNull, Result::kText, Left},
    {"Right", 2, 2, Nulls::kAnswerNull, Result::kText, Right},
    {"Mid", 2, 3, Nulls::kAnswerNull, Result::kText, Mid},
    {"Len", 1, 1, Nulls::kAnswerNull, Result::kLong, Len},
    {"Trim", 1, 1, Nulls::kAnswerNull, Result::kText, Trim},
    {"LTrim", 1, 1, Nulls::kAnswerNull, Result::kText, LTrim},
    {"RTrim", 1, 1, Nulls::kAnswerNull, Result::kText, RTrim},
    {"UCase", 1, 1, Nulls::kAnswerNull, Result::kText, UCase},
    {"LCase", 1, 1, Nulls::kAnswerNull, Result::kText, LCase},
    {"StrReverse", 1, 1, Nulls::kAnswerNull, Result::kText, StrReverse},
    {"InStr", 2, 4, Nulls::kOwn, Result::kLong, InStr},
    {"InStrRev", 2, 4, Nulls::kAnswerNull, Result::kLong, InStrRev},
    {"Replace", 3, 6, Nulls::kRefused, Result::kText, Replace},
    {"StrComp", 2, 3, Nulls::kAnswerNull, Result::kInteger, StrComp},
    {"Space", 1, 1, Nulls::kAnswerNull, Result::kText, Space},
    {"String", 2, 2, Nulls::kAnswerNull, Result::kText, String},
    {"StrConv", 2, 2, Nulls::kAnswerNull, Result::kText, StrConv},
    {"Asc", 1, 1, Nulls::kAnswerNull, Result::kInteger, Asc},
    {"AscW", 1, 1, Nulls::kAnswerNull, Result::kInteger, AscW},
    {"Chr", 1, 1, Nulls::kAnswerNull, Result::kText, Chr},
    {"ChrW", 1, 1, Nulls::kAnswerNull, Result::kText, ChrW},
}};

}  // namespace

std::span<const Function> TextFunctions() { return kTexts; }

}  // namespace sql
