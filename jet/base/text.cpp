#include "jet/base/text.h"

#include <bit>
#include <cstring>
#include <optional>

#include "jet/base/bytes.h"

namespace jet {
namespace {

static_assert(std::endian::native == std::endian::little, "units are copied as they are");

constexpr bool IsLead(char16_t unit) { return (unit & 0xFC00) == 0xD800; }
constexpr bool IsTrail(char16_t unit) { return (unit & 0xFC00) == 0xDC00; }

constexpr std::uint32_t kBadSequence = 0xFFFFFFFF;

// The code point at `at`, which is moved behind it; kBadSequence. Surrogates in
// three bytes pass, as unpaired ones are written so.
inline std::uint32_t TakeCode(const std::uint8_t*& at, const std::uint8_t* end) {
  const std::uint32_t first = *at;
  const auto left = static_cast<std::size_t>(end - at);
  const auto is_tail = [&](std::size_t i) { return i < left && (at[i] & 0xC0) == 0x80; };
  if (first < 0x80) {
    ++at;
    return first;
  }
  std::uint32_t code = kBadSequence;
  if (first >= 0xE0 && first < 0xF0) {
    if (left < 3 || (at[1] & 0xC0) != 0x80 || (at[2] & 0xC0) != 0x80) return kBadSequence;
    code = (first & 0x0F) << 12 | (at[1] & 0x3Fu) << 6 | (at[2] & 0x3Fu);
    if (code < 0x800) return kBadSequence;
    at += 3;
  } else if (first >= 0xC2 && first < 0xE0) {
    if (!is_tail(1)) return kBadSequence;
    code = (first & 0x1F) << 6 | (at[1] & 0x3Fu);
    at += 2;
  } else if (first >= 0xF0 && first < 0xF5) {
    if (!is_tail(1) || !is_tail(2) || !is_tail(3)) return kBadSequence;
    code = (first & 0x07) << 18 | (at[1] & 0x3Fu) << 12 | (at[2] & 0x3Fu) << 6 | (at[3] & 0x3Fu);
    if (code < 0x10000 || code > 0x10FFFF) return kBadSequence;
    at += 4;
  }
  return code;
}

// Hands over one code point after the other.
template <class Sink>
void WalkCodes(std::string_view text, Sink&& sink) {
  const auto* const begin = reinterpret_cast<const std::uint8_t*>(text.data());
  const std::uint8_t* const end = begin + text.size();
  for (const std::uint8_t* at = begin; at != end;) {
    const auto start = static_cast<std::size_t>(at - begin);
    const std::uint32_t code = TakeCode(at, end);
    if (code == kBadSequence) {
      throw Error(ErrorCode::kBadText, "byte " + std::to_string(start) + " of the text");
    }
    sink(code);
  }
}

char* PutThree(std::uint32_t unit, char* at) {
  *at++ = static_cast<char>(0xE0 | unit >> 12);
  *at++ = static_cast<char>(0x80 | (unit >> 6 & 0x3F));
  *at++ = static_cast<char>(0x80 | (unit & 0x3F));
  return at;
}

char* PutPair(char16_t lead, char16_t trail, char* at) {
  const std::uint32_t code = 0x10000 + ((lead & 0x3FFu) << 10) + (trail & 0x3FFu);
  *at++ = static_cast<char>(0xF0 | code >> 18);
  *at++ = static_cast<char>(0x80 | (code >> 12 & 0x3F));
  *at++ = static_cast<char>(0x80 | (code >> 6 & 0x3F));
  *at++ = static_cast<char>(0x80 | (code & 0x3F));
  return at;
}

// Puts units together to code points and writes them as UTF-8: at most three bytes a
// unit. `unit_at` gives a unit by its number. Returns the end.
template <class UnitAt>
char* PutUnits(std::size_t count, const UnitAt& unit_at, char* at) {
  for (std::size_t i = 0; i < count; ++i) {
    const char16_t unit = unit_at(i);
    if (unit < 0x80) {
      *at++ = static_cast<char>(unit);
    } else if (unit < 0x800) {
      *at++ = static_cast<char>(0xC0 | unit >> 6);
      *at++ = static_cast<char>(0x80 | (unit & 0x3F));
    } else if (IsLead(unit) && i + 1 < count && IsTrail(unit_at(i + 1))) {
      at = PutPair(unit, unit_at(++i), at);
    } else {
      at = PutThree(unit, at);
    }
  }
  return at;
}

template <class UnitAt>
void ToUtf8(std::size_t count, const UnitAt& unit_at, std::string& out) {
  out.resize(3 * count);
  out.resize(static_cast<std::size_t>(PutUnits(count, unit_at, out.data()) - out.data()));
}

void DecodeUnits(ByteView stored, std::string& out) {
  if (stored.size() % 2 != 0) throw Error(ErrorCode::kDamaged, "a text has half a character");
  const std::uint8_t* bytes = stored.data();
  ToUtf8(
      stored.size() / 2,
      [bytes](std::size_t i) {
        return static_cast<char16_t>(bytes[2 * i] | bytes[2 * i + 1] << 8);
      },
      out);
}

// The units of the mixed form.
void Expand(ByteView runs, std::u16string& units) {
  bool single = true;
  for (std::size_t at = 0; at < runs.size();) {
    if (runs[at] == 0) {  // where a unit could start, zero switches the mode
      single = !single;
      ++at;
    } else if (single) {
      units += static_cast<char16_t>(runs[at++]);
    } else {
      if (at + 1 >= runs.size()) throw Error(ErrorCode::kDamaged, "a text has half a character");
      units += static_cast<char16_t>(runs[at] | runs[at + 1] << 8);
      at += 2;
    }
  }
}

void DecodeCompressed(ByteView runs, std::string& out) {
  const auto* zero = static_cast<const std::uint8_t*>(
      runs.empty() ? nullptr : std::memchr(runs.data(), 0, runs.size()));
  if (zero == nullptr) {  // one byte a unit, as nearly all are
    return ToUtf8(
        runs.size(), [&](std::size_t i) { return static_cast<char16_t>(runs[i]); }, out);
  }
  std::u16string units;
  Expand(runs, units);
  ToUtf8(
      units.size(), [&](std::size_t i) { return units[i]; }, out);
}

// FF FE and the mixed form; nothing if a character forbids it.
std::optional<Bytes> Compress(std::u16string_view text) {
  Bytes out{0xFF, 0xFE};
  bool single = true;
  for (const char16_t unit : text) {
    const bool narrow = unit >= 1 && unit <= 0xFF;
    if (!narrow && (unit & 0xFF) == 0) return std::nullopt;
    if (narrow != single) {
      out.push_back(0);
      single = narrow;
    }
    out.push_back(static_cast<std::uint8_t>(unit & 0xFF));
    if (!narrow) out.push_back(static_cast<std::uint8_t>(unit >> 8));
  }
  return out;
}

}  // namespace

std::size_t ToUtf16(std::string_view text, std::span<char16_t> out) {
  char16_t* to = out.data();
  WalkCodes(text, [&](std::uint32_t code) {
    if (code > 0xFFFF) {
      *to++ = static_cast<char16_t>(0xD7C0 + (code >> 10));
      *to++ = static_cast<char16_t>(0xDC00 + (code & 0x3FF));
    } else {
      *to++ = static_cast<char16_t>(code);
    }
  });
  return static_cast<std::size_t>(to - out.data());
}

void ToUtf16(std::string_view text, std::u16string& out) {
  out.resize(text.size());
  out.resize(ToUtf16(text, std::span(out)));
}

std::u16string ToUtf16(std::string_view text) {
  std::u16string out;
  ToUtf16(text, out);
  return out;
}

std::string ToUtf8(std::u16string_view text) {
  std::string out;
  ToUtf8(
      text.size(), [&](std::size_t i) { return text[i]; }, out);
  return out;
}

std::size_t Utf16Length(std::string_view text) {
  std::size_t units = 0;
  WalkCodes(text, [&](std::uint32_t code) { units += code > 0xFFFF ? 2 : 1; });
  return units;
}

void DecodeText(ByteView stored, std::string& out) {
  if (stored.size() >= 2 && stored[0] == 0xFF && stored[1] == 0xFE) {
    DecodeCompressed(stored.subspan(2), out);
  } else {
    DecodeUnits(stored, out);
  }
}

std::string DecodeText(ByteView stored) {
  std::string out;
  DecodeText(stored, out);
  return out;
}

std::string DecodePlain(ByteView stored) {
  std::string out;
  DecodeUnits(stored, out);
  return out;
}

void AddPlain(std::u16string_view text, Bytes& out) {
  const std::size_t at = out.size();
  out.resize(at + 2 * text.size());
  if (!text.empty()) std::memcpy(out.data() + at, text.data(), 2 * text.size());
}

Bytes EncodePlain(std::u16string_view text) {
  Bytes out;
  AddPlain(text, out);
  return out;
}

void AddText(std::u16string_view text, TextForm form, Bytes& out) {
  const std::size_t plain_size = text.size() * 2;
  if (form != TextForm::kPlain && text.size() >= 3) {
    if (const auto compressed = Compress(text)) {
      const bool shorter = compressed->size() < plain_size;
      const bool equal = compressed->size() == plain_size;
      if (shorter || (equal && form == TextForm::kText)) return AddBytes(out, *compressed);
    }
  }
  // Plain bytes that look like the mark of compression would be read as such.
  if (!text.empty() && text.front() == 0xFEFF) {
    throw Error(ErrorCode::kBadText, "a text cannot begin with U+FEFF");
  }
  AddPlain(text, out);
}

Bytes EncodeText(std::u16string_view text, TextForm form) {
  Bytes out;
  AddText(text, form, out);
  return out;
}

}  // namespace jet
