#include "sql/values/datum.h"

#include <fmt/format.h>

#include <bit>

#include "jet/base/ascii.h"
#include "jet/base/number.h"
#include "jet/sort/name.h"
#include "sql/error.h"
#include "sql/values/number_text.h"

namespace sql {
namespace {

using Kind = Datum::Kind;

double CurrencyNumber(jet::Currency value) {
  return static_cast<double>(value.ten_thousandths) / 10000.0;
}

struct FromValueVisitor {
  int scale;
  Datum& out;

  void operator()(jet::Null) const { out.SetNull(); }
  void operator()(bool value) const { out.SetBoolean(value); }
  void operator()(std::uint8_t value) const { out.SetNumber(Kind::kLong, value); }
  void operator()(std::int16_t value) const { out.SetNumber(Kind::kLong, value); }
  void operator()(std::int32_t value) const { out.SetNumber(Kind::kLong, value); }
  void operator()(jet::Currency value) const {
    out.SetNumber(Kind::kDouble, CurrencyNumber(value));
  }
  void operator()(float value) const { out.SetNumber(Kind::kDouble, static_cast<double>(value)); }
  void operator()(double value) const { out.SetNumber(Kind::kDouble, value); }
  void operator()(jet::DateTime value) const { out.SetNumber(Kind::kDate, value.days); }
  void operator()(const std::string& value) const { out.SetText(value); }
  void operator()(const jet::Bytes& value) const { SetBytes(value); }
  void operator()(const jet::Guid& value) const { SetBytes(value.bytes); }
  void operator()(const jet::Numeric& value) const {
    out.SetNumber(Kind::kDouble, ReadNumber(jet::FormatNumeric(value, scale)).value_or(0));
  }
  void SetBytes(jet::ByteView bytes) const {
    out.kind = Kind::kBytes;
    out.text.assign(bytes.begin(), bytes.end());
  }
};

template <typename Integer>
Integer Whole(double number) {
  const auto rounded = jet::RoundHalfEven<Integer>(number);
  if (!rounded) throw Error(ErrorCode::kBadValue, fmt::format("{} is out of range", number));
  return *rounded;
}

jet::Value NumberValue(double number, jet::ColumnType type) {
  switch (type) {
    case jet::ColumnType::kBoolean:
      return number != 0;
    case jet::ColumnType::kByte:
      return Whole<std::uint8_t>(number);
    case jet::ColumnType::kInteger:
      return Whole<std::int16_t>(number);
    case jet::ColumnType::kLong:
      return Whole<std::int32_t>(number);
    case jet::ColumnType::kCurrency:
      return jet::Currency{Whole<std::int64_t>(number * 10000.0)};
    case jet::ColumnType::kSingle:
      return static_cast<float>(number);
    case jet::ColumnType::kDateTime:
      return jet::DateTime{number};
    default:
      return number;
  }
}

// Full-width forms of ASCII become ASCII, U+3000 a blank.
std::string Narrow(std::string_view text) {
  std::string narrow;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const auto byte = [&](std::size_t k) { return static_cast<unsigned char>(text[i + k]); };
    if (byte(0) < 0xE3 || i + 2 >= text.size()) {
      narrow += text[i];
      continue;
    }
    const unsigned unit = (byte(0) & 0x0Fu) << 12 | (byte(1) & 0x3Fu) << 6 | (byte(2) & 0x3Fu);
    if (byte(0) == 0xEF && unit >= 0xFF01 && unit <= 0xFF5E) {
      narrow += static_cast<char>(unit - 0xFEE0);
      i += 2;
    } else if (byte(0) == 0xE3 && unit == 0x3000) {
      narrow += ' ';
      i += 2;
    } else {
      narrow += text[i];
    }
  }
  return narrow;
}

// Big-endian, so that the bytes order as the numbers do.
void AppendNumberKey(double number, std::string& out) {
  std::uint64_t bits = NumberBits(number);
  bits = (bits >> 63) != 0 ? ~bits : bits | std::uint64_t{1} << 63;
  char bytes[8];
  for (int i = 0; i < 8; ++i) bytes[i] = static_cast<char>(bits >> (56 - 8 * i));
  out.append(bytes, sizeof bytes);
}

void AppendBits(std::uint64_t bits, std::string& out) {
  out.append(reinterpret_cast<const char*>(&bits), sizeof bits);
}

Ordering Order(int difference) {
  if (difference == 0) return Ordering::kEqual;
  return difference < 0 ? Ordering::kLess : Ordering::kGreater;
}

}  // namespace

void FromValue(const jet::Value& value, int scale, Datum& out) {
  std::visit(FromValueVisitor{scale, out}, value);
}

void ToValue(const Datum& datum, jet::ColumnType type, jet::Value& out) {
  if (datum.null()) {
    out = jet::Null{};
  } else if (datum.is_number()) {
    if (jet::IsText(type)) {
      // What is declared as text may still hold a number: of a choice between them.
      out = TextOf(datum, Language::kJapanese);
    } else {
      out = NumberValue(datum.number, type);
    }
  } else if (datum.is_text()) {
    if (auto* text = std::get_if<std::string>(&out)) {
      *text = datum.text;
    } else {
      out = datum.text;
    }
  } else if (type == jet::ColumnType::kGuid && datum.text.size() == 16) {
    jet::Guid guid;
    std::copy(datum.text.begin(), datum.text.end(), guid.bytes.begin());
    out = guid;
  } else {
    out = jet::Bytes(datum.text.begin(), datum.text.end());
  }
}

std::optional<double> ReadNumber(std::string_view text) { return jet::ReadNumber(Narrow(text)); }

std::optional<double> NumberOfText(std::string_view text, bool words) {
  if (const auto number = ReadNumber(text)) return number;
  if (!words) return std::nullopt;
  const std::string narrow = Narrow(text);
  if (jet::EqualsAsciiCase(narrow, "True")) return -1;
  if (jet::EqualsAsciiCase(narrow, "False")) return 0;
  return std::nullopt;
}

double NeedNumber(const Datum& datum) {
  const auto number = NumberOf(datum, false);
  if (!number) {
    throw Error(ErrorCode::kBadValue, datum.is_text()
                                          ? fmt::format("\"{}\" is not a number", datum.text)
                                          : std::string("binary data are not a number"));
  }
  return *number;
}

std::optional<bool> TruthOf(const Datum& datum) {
  if (datum.null()) return std::nullopt;
  const auto number = NumberOf(datum, true);
  if (!number) {
    throw Error(ErrorCode::kBadValue, fmt::format("\"{}\" is neither true nor false", datum.text));
  }
  return *number != 0;
}

Language LanguageOf(jet::SortOrder order) {
  return order.language == jet::kJapanese.language ? Language::kJapanese : Language::kEnglish;
}

std::string DateText(jet::DateTime date, Language language) {
  const jet::CivilTime civil = jet::ToCivilTime(date);
  const bool midnight = civil.hour == 0 && civil.minute == 0 && civil.second == 0;
  const bool first_day = civil.year == 1899 && civil.month == 12 && civil.day == 30;
  const bool japanese = language == Language::kJapanese;
  std::string text;
  if (!first_day || midnight) {
    text = japanese ? fmt::format("{:04}/{:02}/{:02}", civil.year, civil.month, civil.day)
                    : fmt::format("{}/{}/{}", civil.month, civil.day, civil.year);
  }
  if (midnight) return text;
  if (!text.empty()) text += ' ';
  if (japanese) {
    return text + fmt::format("{}:{:02}:{:02}", civil.hour, civil.minute, civil.second);
  }
  return text + fmt::format("{}:{:02}:{:02} {}", (civil.hour + 11) % 12 + 1, civil.minute,
                            civil.second, civil.hour < 12 ? "AM" : "PM");
}

void AppendText(const Datum& datum, Language language, std::string& out) {
  switch (datum.kind) {
    case Kind::kNull:
      break;
    case Kind::kDate:
      out += DateText({datum.number}, language);
      break;
    case Kind::kText:
    case Kind::kBytes:
      out += datum.text;
      break;
    default:
      out += NumberText(datum.number);
  }
}

std::string TextOf(const Datum& datum, Language language) {
  std::string text;
  AppendText(datum, language, text);
  return text;
}

const std::string& TextKeyCache::KeyOf(jet::SortOrder order, std::string_view text) {
  if (!filled_ || text_ != text) {
    key_ = jet::NameKey(order, text);
    text_ = text;
    filled_ = true;
  }
  return key_;
}

Ordering Compare(jet::SortOrder order, const Datum& a, const Datum& b, TextKeyCache& keys_a,
                 TextKeyCache& keys_b) {
  if (a.is_text() && b.is_text()) {
    if (a.text == b.text) return Ordering::kEqual;
    return Order(keys_a.KeyOf(order, a.text).compare(keys_b.KeyOf(order, b.text)));
  }
  if (a.kind == Kind::kBytes && b.kind == Kind::kBytes) return Order(a.text.compare(b.text));
  const bool words = a.kind == Kind::kBoolean || b.kind == Kind::kBoolean;
  const auto x = NumberOf(a, words), y = NumberOf(b, words);
  if (!x || !y) return Ordering::kUnordered;
  if (*x == *y) return Ordering::kEqual;
  return *x < *y ? Ordering::kLess : Ordering::kGreater;
}

std::uint64_t NumberBits(double number) {
  return std::bit_cast<std::uint64_t>(number + 0.0);  // -0 becomes 0
}

void AppendSortKey(jet::SortOrder order, const Datum& datum, bool descending, std::string& out) {
  const std::size_t begin = out.size();
  if (datum.null()) {
    out += '\0';
  } else if (datum.is_number()) {
    out += '\1';
    AppendNumberKey(datum.number, out);
  } else {
    // A zero byte is followed by FF, the end is two zero bytes: no key is the
    // beginning of another.
    out += datum.is_text() ? '\2' : '\3';
    const std::string key = datum.is_text() ? jet::NameKey(order, datum.text) : datum.text;
    for (const char c : key) {
      out += c;
      if (c == '\0') out += '\xFF';
    }
    out.append(2, '\0');
  }
  if (!descending) return;
  for (std::size_t i = begin; i < out.size(); ++i) out[i] = static_cast<char>(~out[i]);
}

void AppendRawKey(const Datum& datum, std::string& out) {
  out += static_cast<char>(datum.kind);
  if (datum.is_number()) {
    AppendBits(NumberBits(datum.number), out);
  } else if (!datum.null()) {
    AppendBits(datum.text.size(), out);
    out += datum.text;
  }
}

}  // namespace sql
