#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <vector>

#include "jet/base/ascii.h"
#include "sql/functions/arguments.h"
#include "sql/functions/patterns.h"

namespace sql {
namespace {

constexpr int kMaxDecimals = 30;

struct Piece {
  enum class Kind { kLiteral, kDigit, kPoint };
  Kind kind = Kind::kLiteral;
  std::string text;       // of a literal
  bool zero = false;      // a digit: 0, else #
  bool exponent = false;  // the pieces behind it are those of the exponent
};

// One section of a pattern.
class NumberSection {
 public:
  explicit NumberSection(std::string_view text) {
    for (std::size_t i = 0; i < text.size(); ++i) i = Read(text, i);
  }
  // The digits of a number that is not negative, and the sign that belongs before them.
  std::string Format(double number, bool negative) const;

 private:
  std::size_t Read(std::string_view text, std::size_t i);
  void AddDigit(bool zero);
  void AddComma(std::string_view text, std::size_t i);
  void AddLiteral(std::string_view text) {
    pieces_.push_back({Piece::Kind::kLiteral, std::string(text), false, false});
  }
  std::string Emit(const std::string& whole, const std::string& decimals) const;

  std::vector<Piece> pieces_;
  int whole_ = 0, decimals_ = 0, needed_decimals_ = 0, least_ = 0;
  int percents_ = 0, thousands_ = 0;
  bool point_ = false, grouped_ = false, zero_seen_ = false;
  char exponent_sign_ = 0;  // '+': always written
  int exponent_digits_ = 0;
  bool capital_e_ = true;
};

std::size_t NumberSection::Read(std::string_view text, std::size_t i) {
  const char c = text[i];
  if (exponent_sign_ != 0 && (c == '0' || c == '#')) {
    ++exponent_digits_;
    return i;
  }
  switch (c) {
    case '0':
    case '#':
      AddDigit(c == '0');
      return i;
    case '.':
      if (point_) AddLiteral(".");
      if (!point_) pieces_.push_back({Piece::Kind::kPoint, {}, false, false});
      point_ = true;
      return i;
    case ',':
      AddComma(text, i);
      return i;
    case '%':
      ++percents_;
      AddLiteral("%");
      return i;
    case '\\':
      if (i + 1 < text.size()) AddLiteral(text.substr(++i, 1));
      return i;
    case '"': {
      const std::size_t end = std::min(text.find('"', i + 1), text.size());
      AddLiteral(text.substr(i + 1, end - i - 1));
      return end;
    }
    case 'E':
    case 'e':
      if (i + 1 < text.size() && (text[i + 1] == '+' || text[i + 1] == '-') && whole_ > 0) {
        exponent_sign_ = text[i + 1];
        capital_e_ = c == 'E';
        pieces_.push_back({Piece::Kind::kLiteral, {}, false, true});
        return i + 1;
      }
      break;
    default:
      break;
  }
  AddLiteral(text.substr(i, 1));
  return i;
}

void NumberSection::AddDigit(bool zero) {
  pieces_.push_back({Piece::Kind::kDigit, {}, zero, false});
  if (point_) {
    ++decimals_;
    if (zero) needed_decimals_ = decimals_;
    return;
  }
  ++whole_;
  zero_seen_ = zero_seen_ || zero;
  if (zero_seen_) ++least_;
}

// Between digits it groups them, behind the last it divides by a thousand.
void NumberSection::AddComma(std::string_view text, std::size_t i) {
  if (point_ || whole_ == 0) return;
  const std::size_t next = text.find_first_not_of(',', i);
  const bool digit = next != text.npos && (text[next] == '0' || text[next] == '#');
  if (digit) {
    grouped_ = true;
  } else {
    ++thousands_;
  }
}

// Halves away from zero, by decimal digits.
std::string Fixed(double number, int decimals) {
  const double power = std::pow(10.0, decimals), scaled = number * power;
  if (scaled < 4503599627370496.0) {
    const double tolerance = 1e-15 * scaled * 4 + 1e-12;
    number = std::floor(scaled + 0.5 + tolerance) / power;
  }
  return fmt::format("{:.{}f}", number, decimals);
}

std::string NumberSection::Emit(const std::string& whole, const std::string& decimals) const {
  std::string out;
  int left = whole_;  // digits of the pattern still to come
  std::size_t at = 0, decimal = 0;
  const auto add = [&] {
    out += whole[at];
    const std::size_t behind = whole.size() - ++at;
    if (grouped_ && behind != 0 && behind % 3 == 0) out += ',';
  };
  for (const Piece& each : pieces_) {
    if (each.kind == Piece::Kind::kLiteral) {
      out += each.text;
    } else if (each.kind == Piece::Kind::kPoint) {
      while (at < whole.size()) add();
      left = 0;
      out += '.';
    } else if (left > 0) {
      while (whole.size() - at >= static_cast<std::size_t>(left) && at < whole.size()) add();
      --left;
    } else if (decimal < decimals.size()) {
      out += decimals[decimal++];
    }
  }
  return out;
}

std::string NumberSection::Format(double number, bool negative) const {
  for (int i = 0; i < percents_; ++i) number *= 100;
  for (int i = 0; i < thousands_; ++i) number /= 1000;
  const int decimals = std::min(decimals_, kMaxDecimals);
  int exponent = 0;
  std::string text;
  if (exponent_sign_ != 0) {
    if (number != 0) exponent = static_cast<int>(std::floor(std::log10(number))) - (whole_ - 1);
    text = Fixed(number / std::pow(10.0, exponent), decimals);
    if (text.find('.') == text.npos ? static_cast<int>(text.size()) > whole_
                                    : static_cast<int>(text.find('.')) > whole_) {
      text = Fixed(number / std::pow(10.0, ++exponent), decimals);
    }
  } else {
    text = Fixed(number, decimals);
  }
  const std::size_t point = std::min(text.find('.'), text.size());
  std::string whole = text.substr(0, point), rest;
  if (point < text.size()) rest = text.substr(point + 1);
  whole.erase(0, std::min(whole.find_first_not_of('0'), whole.size()));
  const auto least = static_cast<std::size_t>(least_);
  if (whole.size() < least) whole.insert(0, least - whole.size(), '0');
  while (rest.size() > static_cast<std::size_t>(needed_decimals_) && rest.ends_with('0')) {
    rest.pop_back();
  }
  const bool shown = (whole + rest).find_first_not_of('0') != std::string::npos;
  const std::string sign = negative && (shown || whole_ + decimals_ == 0) ? "-" : "";
  if (exponent_sign_ == 0) return sign + Emit(whole, rest);
  NumberSection filled = *this;
  const char* mark = exponent < 0 ? "-" : exponent_sign_ == '+' ? "+" : "";
  for (Piece& each : filled.pieces_) {
    if (!each.exponent) continue;
    each.text = fmt::format("{}{}{:0{}}", capital_e_ ? 'E' : 'e', mark, std::abs(exponent),
                            std::clamp(exponent_digits_, 1, 9));
  }
  return sign + filled.Emit(whole, rest);
}

}  // namespace

std::vector<std::string_view> SectionsOf(std::string_view pattern) {
  std::vector<std::string_view> sections;
  std::size_t begin = 0;
  bool quoted = false;
  for (std::size_t i = 0; i < pattern.size(); ++i) {
    if (pattern[i] == '"') quoted = !quoted;
    if (pattern[i] == '\\' && !quoted) ++i;
    if (i < pattern.size() && pattern[i] == ';' && !quoted) {
      sections.push_back(pattern.substr(begin, i - begin));
      begin = i + 1;
    }
  }
  sections.push_back(pattern.substr(std::min(begin, pattern.size())));
  return sections;
}

std::string FormatNumber(std::string_view pattern, double number) {
  const std::vector<std::string_view> sections = SectionsOf(pattern);
  const bool has_negative = sections.size() > 1 && !sections[1].empty();
  const bool has_zero = sections.size() > 2 && !sections[2].empty();
  if (number < 0 && has_negative) return NumberSection(sections[1]).Format(-number, false);
  if (number == 0 && has_zero) return NumberSection(sections[2]).Format(0, false);
  return NumberSection(sections[0]).Format(std::fabs(number), number < 0);
}

}  // namespace sql
