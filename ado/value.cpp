#include "ado/value.h"

#include <fmt/format.h>

#include <charconv>
#include <cmath>
#include <limits>

#include "ado/error.h"
#include "jet/text.h"

namespace ado {
namespace {

bool IsBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
bool IsDigit(char c) { return c >= '0' && c <= '9'; }

std::string_view TrimBlanks(std::string_view text) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  while (!text.empty() && IsBlank(text.back())) text.remove_suffix(1);
  return text;
}

// How far a number reaches from the start of `text`: sign, digits, one point,
// exponent. 0: there is none.
std::size_t NumberLength(std::string_view text) {
  std::size_t at = 0;
  auto digits = [&] {
    const std::size_t from = at;
    while (at < text.size() && IsDigit(text[at])) ++at;
    return at - from;
  };
  if (at < text.size() && (text[at] == '+' || text[at] == '-')) ++at;
  std::size_t count = digits();
  if (at < text.size() && text[at] == '.') {
    ++at;
    count += digits();
  }
  if (count == 0) return 0;
  const std::size_t mantissa = at;
  if (at < text.size() && (text[at] == 'e' || text[at] == 'E')) {
    ++at;
    if (at < text.size() && (text[at] == '+' || text[at] == '-')) ++at;
    if (digits() == 0) return mantissa;
  }
  return at;
}

enum class Read { kNumber, kNone, kTooLarge };

// `text` is a number as NumberLength() measures it, and nothing else.
Read ReadNumber(std::string_view text, double& number) {
  if (text.empty()) return Read::kNone;
  if (text.front() == '+') text.remove_prefix(1);  // from_chars knows only the minus
  const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (failure == std::errc()) return Read::kNumber;
  if (failure != std::errc::result_out_of_range) return Read::kNone;
  // Out of range is too large, or too close to zero to be told from it.
  const std::size_t exponent = text.find_first_of("eE");
  const bool tiny =
      exponent != std::string_view::npos
          ? text.substr(exponent + 1, 1) == "-"
          : text.substr(0, text.find('.')).find_first_of("123456789") == std::string_view::npos;
  number = 0;
  return tiny ? Read::kNumber : Read::kTooLarge;
}

template <class Float>
std::string FloatText(Float number) {
  if (number == 0) return "0";  // without the sign of a negative zero
  std::string text = fmt::format("{}", number);
  for (char& c : text) {
    if (c == 'e') c = 'E';
  }
  return text;
}

std::string CurrencyText(Currency amount) {
  const bool negative = amount.ten_thousandths < 0;
  const auto bits = static_cast<std::uint64_t>(amount.ten_thousandths);
  const std::uint64_t magnitude = negative ? 0 - bits : bits;
  std::string text = fmt::format("{}{}", negative ? "-" : "", magnitude / 10000);
  if (const std::uint64_t fraction = magnitude % 10000; fraction != 0) {
    text += fmt::format(".{:04}", fraction);
    text.erase(text.find_last_not_of('0') + 1);
  }
  return text;
}

template <class Integer>
Integer RoundTo(double number) {
  const double rounded = std::nearbyint(number);  // half to even
  constexpr double low = std::numeric_limits<Integer>::min();
  constexpr double high = std::numeric_limits<Integer>::max();
  if (!(rounded >= low && rounded <= high)) throw Error::Standard(kErrOverflow);
  return static_cast<Integer>(rounded);
}

struct TextOf {
  std::string operator()(Null) const { throw Error::Standard(kErrInvalidNull); }
  std::string operator()(bool value) const { return value ? "True" : "False"; }
  std::string operator()(std::uint8_t value) const { return fmt::format("{}", value); }
  std::string operator()(std::int16_t value) const { return fmt::format("{}", value); }
  std::string operator()(std::int32_t value) const { return fmt::format("{}", value); }
  std::string operator()(Currency value) const { return CurrencyText(value); }
  std::string operator()(float value) const { return FloatText(value); }
  std::string operator()(double value) const { return FloatText(value); }
  std::string operator()(DateTime value) const { return jet::FormatDateTime(value); }
  std::string operator()(const std::string& value) const { return value; }
  std::string operator()(const jet::Bytes&) const { throw Error::Standard(kErrIntegrity); }
  std::string operator()(const jet::Guid& value) const { return jet::FormatGuid(value); }
  std::string operator()(const jet::Numeric& value) const { return jet::FormatNumeric(value, 0); }
};

struct DoubleOf {
  double operator()(Null) const { throw Error::Standard(kErrInvalidNull); }
  double operator()(bool value) const { return value ? -1 : 0; }
  double operator()(std::uint8_t value) const { return value; }
  double operator()(std::int16_t value) const { return value; }
  double operator()(std::int32_t value) const { return value; }
  double operator()(Currency value) const {
    return static_cast<double>(value.ten_thousandths) / 10000;
  }
  double operator()(float value) const { return static_cast<double>(value); }
  double operator()(double value) const { return value; }
  double operator()(DateTime value) const { return value.days; }
  double operator()(const std::string& value) const {
    double number = 0;
    if (!ParseNumber(value, number)) throw Error::Standard(kErrIntegrity);
    return number;
  }
  double operator()(const jet::Bytes&) const { throw Error::Standard(kErrIntegrity); }
  double operator()(const jet::Guid&) const { throw Error::Standard(kErrIntegrity); }
  double operator()(const jet::Numeric& value) const {
    return operator()(jet::FormatNumeric(value, 0));
  }
};

}  // namespace

std::string ToText(const Value& value) { return std::visit(TextOf(), value); }

double ToDouble(const Value& value) { return std::visit(DoubleOf(), value); }

bool ParseNumber(std::string_view text, double& number) {
  const std::string_view trimmed = TrimBlanks(text);
  if (trimmed.empty() || NumberLength(trimmed) != trimmed.size()) return false;
  return ReadNumber(trimmed, number) == Read::kNumber;
}

double LeadingNumber(std::string_view text) {
  while (!text.empty() && IsBlank(text.front())) text.remove_prefix(1);
  double number = 0;
  if (ReadNumber(text.substr(0, NumberLength(text)), number) == Read::kTooLarge) {
    throw Error::Standard(kErrOverflow);
  }
  return number;
}

std::int16_t ToInt16(double number) { return RoundTo<std::int16_t>(number); }
std::int32_t ToInt32(double number) { return RoundTo<std::int32_t>(number); }

std::string WithoutLast(std::string_view text, std::size_t units) {
  std::u16string cut = jet::ToUtf16(text);
  cut.resize(cut.size() > units ? cut.size() - units : 0);
  return jet::ToUtf8(cut);
}

}  // namespace ado
