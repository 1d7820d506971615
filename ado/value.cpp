#include "ado/value.h"

#include <fmt/format.h>

#include "ado/error.h"
#include "jet/base/ascii.h"
#include "jet/base/number.h"
#include "jet/base/text.h"

namespace ado {
namespace {

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
    const auto number = jet::ReadNumber(value);
    if (!number) throw Error::Standard(kErrIntegrity);
    return *number;
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

double LeadingNumber(std::string_view text) {
  while (!text.empty() && jet::IsBlank(text.front())) text.remove_prefix(1);
  const std::size_t length = jet::NumberLength(text);
  if (length == 0) return 0;
  const auto number = jet::ReadNumber(text.substr(0, length));
  if (!number) throw Error::Standard(kErrOverflow);  // too large
  return *number;
}

std::int16_t ToInt16(double number) {
  const auto rounded = jet::RoundHalfEven<std::int16_t>(number);
  if (!rounded) throw Error::Standard(kErrOverflow);
  return *rounded;
}

std::string WithoutLast(std::string_view text, std::size_t units) {
  std::u16string cut = jet::ToUtf16(text);
  cut.resize(cut.size() > units ? cut.size() - units : 0);
  return jet::ToUtf8(cut);
}

}  // namespace ado
