#include "mdbadm/output.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <utility>

#include "ado/value.h"
#include "mdbadm/console.h"

namespace mdbadm {
namespace {

constexpr std::string_view kNull = "\\N";
constexpr double kMaxWhole = 1e15;  // below it a whole number is written as one

std::string Hex(jet::ByteView bytes) {
  std::string text;
  for (std::uint8_t byte : bytes) fmt::format_to(std::back_inserter(text), "{:02X}", byte);
  return text;
}

// How far a text reaches before the first character that is escaped.
std::size_t PlainLength(std::string_view text) {
  // Eight bytes at a time, as long as none is a control character or a backslash.
  constexpr std::uint64_t kEach = 0x0101010101010101, kTop = 0x80 * kEach;
  std::size_t at = 0;
  for (std::uint64_t word = 0; at + sizeof word <= text.size(); at += sizeof word) {
    std::memcpy(&word, text.data() + at, sizeof word);
    const std::uint64_t backslash = word ^ kEach * '\\';
    const std::uint64_t found = ((word - kEach * ' ') & ~word) | ((backslash - kEach) & ~backslash);
    if ((found & kTop) != 0) break;
  }
  for (; at < text.size(); ++at) {
    const char c = text[at];
    if (c == '\t' || c == '\n' || c == '\r' || c == '\\') break;
  }
  return at;
}

char* PutWhole(char* at, std::int64_t number) {
  if (number >= 0 && number < 10) {  // most are
    *at = static_cast<char>('0' + number);
    return at + 1;
  }
  constexpr std::ptrdiff_t kMaxWholeBytes = 20;
  return std::to_chars(at, at + kMaxWholeBytes, number).ptr;
}

constexpr std::int64_t kScale = 10'000;

// A number given in units of its fourth decimal place, of which the last are not zero.
char* PutDecimal(char* at, std::int64_t number) {
  if (number < 0) *at++ = '-';
  const std::int64_t magnitude = std::abs(number);
  at = PutWhole(at, magnitude / kScale);
  *at++ = '.';
  std::int64_t rest = magnitude % kScale;
  for (std::int64_t unit = kScale / 10; rest != 0; unit /= 10) {
    *at++ = static_cast<char>('0' + rest / unit);
    rest %= unit;
  }
  return at;
}

}  // namespace

void ShowProgress(std::string_view text) {
  if (!ErrorsGoToTerminal()) return;
  std::fprintf(stderr, "\r\033[K%.*s", static_cast<int>(text.size()), text.data());
  std::fflush(stderr);
}

void Print(std::string_view text) { std::fwrite(text.data(), 1, text.size(), stdout); }

bool Flush() { return std::fflush(stdout) == 0 && std::ferror(stdout) == 0; }

void AppendEscaped(std::string& line, std::string_view text) {
  for (;;) {
    const std::size_t plain = PlainLength(text);
    line.append(text.data(), plain);
    if (plain == text.size()) return;
    const char special = text[plain];
    line += '\\';
    line += special == '\t' ? 't' : special == '\n' ? 'n' : special == '\r' ? 'r' : '\\';
    text.remove_prefix(plain + 1);
  }
}

std::string Escaped(std::string_view text) {
  std::string line;
  AppendEscaped(line, text);
  return line;
}

std::string Dump(const Json& value) {
  return value.dump(-1, ' ', false, Json::error_handler_t::replace);
}

std::string Cell(const Json& value) {
  if (value.is_null()) return std::string(kNull);
  if (value.is_boolean()) return value.get<bool>() ? "yes" : "no";
  if (value.is_string()) return Escaped(value.get_ref<const std::string&>());
  if (value.is_number_float()) return ado::ToText(value.get<double>());
  return Dump(value);
}

Json ToJson(const jet::Value& value, int scale) {
  if (jet::IsNull(value)) return nullptr;
  if (const auto* flag = std::get_if<bool>(&value)) return *flag;
  if (const auto* byte = std::get_if<std::uint8_t>(&value)) return *byte;
  if (const auto* number = std::get_if<std::int16_t>(&value)) return *number;
  if (const auto* number = std::get_if<std::int32_t>(&value)) return *number;
  if (const auto* number = std::get_if<double>(&value)) return *number;
  std::string text;
  if (const auto* bytes = std::get_if<jet::Bytes>(&value)) {
    text = Hex(*bytes);
  } else if (const auto* guid = std::get_if<jet::Guid>(&value)) {
    text = jet::FormatGuid(*guid);
  } else if (const auto* number = std::get_if<jet::Numeric>(&value)) {
    text = jet::FormatNumeric(*number, scale);
  } else {
    text = ado::ToText(value);
  }
  return text;
}

Json ToJson(const jet::Property& property) {
  if (jet::IsText(property.type)) return property.Text();
  if (property.type == jet::ColumnType::kBoolean) return property.Boolean();
  return Hex(property.value);
}

Json VersionNumber(double version) {
  if (version == static_cast<std::int32_t>(version)) return static_cast<std::int32_t>(version);
  return version;
}

char* PutNumber(char* at, double number) {
  if (std::fabs(number) < kMaxWhole) {
    const auto whole = static_cast<std::int64_t>(number);
    if (static_cast<double>(whole) == number) return PutWhole(at, whole);
  }
  // A decimal of few digits that gives the number again is its shortest text: different
  // decimals of fifteen digits are different numbers.
  if (std::fabs(number) < kMaxWhole / kScale) {
    const auto scaled = static_cast<std::int64_t>(number * kScale + (number < 0 ? -0.5 : 0.5));
    if (static_cast<double>(scaled) / kScale == number) return PutDecimal(at, scaled);
  }
  const std::string text = ado::ToText(number);
  return std::copy(text.begin(), text.end(), at);
}

void AppendNumber(std::string& line, double number) {
  std::array<char, kMaxNumberBytes> text;
  line.append(text.data(), static_cast<std::size_t>(PutNumber(text.data(), number) - text.data()));
}

void AppendCell(std::string& line, const jet::Value& value, int scale) {
  if (jet::IsNull(value)) {
    line += kNull;
  } else if (const auto* text = std::get_if<std::string>(&value)) {
    AppendEscaped(line, *text);
  } else if (std::holds_alternative<jet::Bytes>(value) ||
             std::holds_alternative<jet::Guid>(value) ||
             std::holds_alternative<jet::Numeric>(value)) {
    line += ToJson(value, scale).get_ref<const std::string&>();
  } else if (const auto* whole = std::get_if<std::int32_t>(&value)) {
    AppendNumber(line, *whole);
  } else if (const auto* real = std::get_if<double>(&value)) {
    AppendNumber(line, *real);
  } else {
    line += ado::ToText(value);
  }
}

void JsonArray::Add(const Json& object) {
  Print((std::exchange(first_, false) ? "\n" : ",\n") + Dump(object));
}

Listing::Listing(bool json, std::vector<std::string> names) : names_(std::move(names)) {
  if (json) {
    array_.emplace();
    return;
  }
  std::string line;
  for (const std::string& name : names_) {
    if (!line.empty()) line += '\t';
    AppendEscaped(line, name);
  }
  Print(line + "\n");
}

void Listing::Add(const std::vector<Json>& row) {
  if (array_) {
    Json object = Json::object();
    for (std::size_t i = 0; i < row.size(); ++i) object[names_[i]] = row[i];
    array_->Add(object);
    return;
  }
  std::string line;
  for (std::size_t i = 0; i < row.size(); ++i) {
    if (i != 0) line += '\t';
    line += Cell(row[i]);
  }
  Print(line + "\n");
}

void PrintObject(bool json, const Json& object) {
  if (json) {
    Print(Dump(object) + "\n");
    return;
  }
  for (const auto& [name, value] : object.items()) Print(name + "\t" + Cell(value) + "\n");
}

}  // namespace mdbadm
