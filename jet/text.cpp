#include "jet/text.h"

#include <utf8.h>

#include <optional>

#include "jet/bytes.h"

namespace jet {
namespace {

constexpr bool IsLead(char16_t unit) { return (unit & 0xFC00) == 0xD800; }
constexpr bool IsTrail(char16_t unit) { return (unit & 0xFC00) == 0xDC00; }

// An unpaired surrogate in our UTF-8: ED A0..BF xx, which strict UTF-8 forbids.
bool IsEncodedSurrogate(std::string_view text, std::size_t at) {
  if (text.size() - at < 3) return false;
  const auto byte = [&](std::size_t i) { return static_cast<std::uint8_t>(text[at + i]); };
  return byte(0) == 0xED && byte(1) >= 0xA0 && byte(1) <= 0xBF && (byte(2) & 0xC0) == 0x80;
}

std::u16string ToUtf16WithSurrogates(std::string_view text) {
  std::u16string out;
  std::size_t at = 0;
  while (at < text.size()) {
    if (IsEncodedSurrogate(text, at)) {
      out.push_back(
          static_cast<char16_t>(0xD000 | (text[at + 1] & 0x3F) << 6 | (text[at + 2] & 0x3F)));
      at += 3;
      continue;
    }
    auto it = text.begin() + static_cast<std::ptrdiff_t>(at);
    try {
      const char32_t code = utf8::next(it, text.end());
      if (code > 0xFFFF) out.push_back(static_cast<char16_t>(0xD7C0 + (code >> 10)));
      out.push_back(static_cast<char16_t>(code > 0xFFFF ? 0xDC00 + (code & 0x3FF) : code));
    } catch (const utf8::exception&) {
      throw Error(ErrorCode::kBadText, "byte " + std::to_string(at) + " of the text");
    }
    at = static_cast<std::size_t>(it - text.begin());
  }
  return out;
}

// Puts units together to code points and appends them as UTF-8.
class Utf8Sink {
 public:
  explicit Utf8Sink(std::string& out) : out_(out) {}
  ~Utf8Sink() { Flush(); }
  Utf8Sink(const Utf8Sink&) = delete;
  Utf8Sink& operator=(const Utf8Sink&) = delete;

  void Add(char16_t unit) {
    if (lead_ != 0) {
      if (IsTrail(unit)) {
        Append(0x10000 + ((lead_ & 0x3FFu) << 10) + (unit & 0x3FFu));
        lead_ = 0;
        return;
      }
      Flush();
    }
    if (unit < 0x80) {
      out_.push_back(static_cast<char>(unit));
    } else if (IsLead(unit)) {
      lead_ = unit;
    } else {
      Append(unit);
    }
  }

 private:
  void Append(std::uint32_t code) { utf8::unchecked::append(code, std::back_inserter(out_)); }
  void Flush() {
    if (lead_ != 0) Append(lead_);
    lead_ = 0;
  }
  std::string& out_;
  char16_t lead_ = 0;
};

void DecodeUnits(ByteView stored, Utf8Sink& sink) {
  if (stored.size() % 2 != 0) throw Error(ErrorCode::kDamaged, "a text has half a character");
  for (std::size_t i = 0; i < stored.size(); i += 2) {
    sink.Add(static_cast<char16_t>(stored[i] | stored[i + 1] << 8));
  }
}

void DecodeCompressed(ByteView runs, Utf8Sink& sink) {
  bool single = true;
  for (std::size_t at = 0; at < runs.size();) {
    if (runs[at] == 0) {  // where a unit could start, zero switches the mode
      single = !single;
      ++at;
    } else if (single) {
      sink.Add(runs[at++]);
    } else {
      if (at + 1 >= runs.size()) throw Error(ErrorCode::kDamaged, "a text has half a character");
      sink.Add(static_cast<char16_t>(runs[at] | runs[at + 1] << 8));
      at += 2;
    }
  }
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

std::u16string ToUtf16(std::string_view text) {
  if (!utf8::is_valid(text.begin(), text.end())) return ToUtf16WithSurrogates(text);
  std::u16string out;
  out.reserve(text.size());
  utf8::unchecked::utf8to16(text.begin(), text.end(), std::back_inserter(out));
  return out;
}

std::string ToUtf8(std::u16string_view text) {
  std::string out;
  out.reserve(text.size() * 3);
  {
    Utf8Sink sink(out);
    for (const char16_t unit : text) sink.Add(unit);
  }
  return out;
}

std::size_t Utf16Length(std::string_view text) {
  std::size_t units = 0;
  for (const char c : text) {
    const auto byte = static_cast<std::uint8_t>(c);
    if ((byte & 0xC0) != 0x80) ++units;
    if (byte >= 0xF0) ++units;
  }
  return units;
}

void DecodeText(ByteView stored, std::string& out) {
  out.clear();
  Utf8Sink sink(out);
  if (stored.size() >= 2 && stored[0] == 0xFF && stored[1] == 0xFE) {
    DecodeCompressed(stored.subspan(2), sink);
  } else {
    DecodeUnits(stored, sink);
  }
}

std::string DecodeText(ByteView stored) {
  std::string out;
  DecodeText(stored, out);
  return out;
}

std::string DecodePlain(ByteView stored) {
  std::string out;
  {
    Utf8Sink sink(out);
    DecodeUnits(stored, sink);
  }
  return out;
}

Bytes EncodePlain(std::u16string_view text) {
  Bytes out;
  out.reserve(text.size() * 2);
  for (const char16_t unit : text) AddU16(out, unit);
  return out;
}

Bytes EncodeText(std::u16string_view text, TextForm form) {
  const std::size_t plain_size = text.size() * 2;
  if (form != TextForm::kPlain && text.size() >= 3) {
    if (auto compressed = Compress(text)) {
      const bool shorter = compressed->size() < plain_size;
      const bool equal = compressed->size() == plain_size;
      if (shorter || (equal && form == TextForm::kText)) return *compressed;
    }
  }
  Bytes plain = EncodePlain(text);
  // Plain bytes that look like the mark of compression would be read as such.
  if (plain.size() >= 2 && plain[0] == 0xFF && plain[1] == 0xFE) {
    throw Error(ErrorCode::kBadText, "a text cannot begin with U+FEFF");
  }
  return plain;
}

}  // namespace jet
