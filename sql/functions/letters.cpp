#include "sql/functions/letters.h"

#include <array>
#include <string_view>

namespace sql {
namespace {

bool Between(char16_t c, char16_t low, char16_t high) { return c >= low && c <= high; }

// Capitals and small letters that lie a fixed way apart.
struct CaseRange {
  char16_t first, last;  // capitals
  char16_t apart;
};
constexpr std::array<CaseRange, 8> kCaseRanges = {{{u'A', u'Z', 32},
                                                   {0xC0, 0xD6, 32},
                                                   {0xD8, 0xDE, 32},
                                                   {0x391, 0x3A1, 32},
                                                   {0x3A3, 0x3AB, 32},
                                                   {0x410, 0x42F, 32},
                                                   {0x400, 0x40F, 80},
                                                   {0xFF21, 0xFF3A, 32}}};

// Capital even, small odd, side by side.
bool InPairs(char16_t c) { return Between(c, 0x100, 0x137) || Between(c, 0x14A, 0x177); }
bool InOddPairs(char16_t c) { return Between(c, 0x139, 0x148) || Between(c, 0x179, 0x17E); }

char16_t Upper(char16_t c) {
  for (const CaseRange& each : kCaseRanges) {
    if (c >= each.first + each.apart && c <= each.last + each.apart) {
      return static_cast<char16_t>(c - each.apart);
    }
  }
  if (InPairs(c) && c % 2 == 1 && c != 0x131) return static_cast<char16_t>(c - 1);
  if (InOddPairs(c) && c % 2 == 0) return static_cast<char16_t>(c - 1);
  return c;
}

char16_t Lower(char16_t c) {
  for (const CaseRange& each : kCaseRanges) {
    if (Between(c, each.first, each.last)) return static_cast<char16_t>(c + each.apart);
  }
  if (InPairs(c) && c % 2 == 0 && c != 0x130) return static_cast<char16_t>(c + 1);
  if (InOddPairs(c) && c % 2 == 1) return static_cast<char16_t>(c + 1);
  return c;
}

// The full forms of U+FF61 to U+FF9F.
constexpr std::u16string_view kFull =
    u"。「」、・ヲァィゥェォャュョッーアイウエオカキクケコサシスセソタチツテトナニヌネノハヒフヘホ"
    u"マミ"
    u"ムメモヤユヨラリルレロワン゛゜";
constexpr char16_t kFirstHalf = 0xFF61, kHalfVoiced = 0xFF9E, kHalfPlosive = 0xFF9F;

// The voiced form of a full-width kana, 0 if it has none.
char16_t Voiced(char16_t c, char16_t mark) {
  const bool plosive = Between(c, u'ハ', u'ホ') && (c - u'ハ') % 3 == 0;
  if (mark == kHalfPlosive) return plosive ? static_cast<char16_t>(c + 2) : char16_t{0};
  if (c == u'ウ') return u'ヴ';
  const bool before_tsu = Between(c, u'カ', u'チ') && (c - u'カ') % 2 == 0;
  const bool from_tsu = c == u'ツ' || c == u'テ' || c == u'ト';
  return plosive || before_tsu || from_tsu ? static_cast<char16_t>(c + 1) : char16_t{0};
}

}  // namespace

std::u16string UpperCase(std::u16string text) {
  for (char16_t& c : text) c = Upper(c);
  return text;
}

std::u16string LowerCase(std::u16string text) {
  for (char16_t& c : text) c = Lower(c);
  return text;
}

std::u16string ProperCase(std::u16string text) {
  bool inside = false;
  for (char16_t& c : text) {
    c = inside ? Lower(c) : Upper(c);
    inside = c != u' ' && c != u'\t' && c != u'\n' && c != u'\r' && c != u'\0' && c != u'　';
  }
  return text;
}

std::u16string Wide(const std::u16string& text) {
  std::u16string wide;
  for (const char16_t c : text) {
    if (c == u' ') {
      wide += u'　';
    } else if (Between(c, 0x21, 0x7E)) {
      wide += static_cast<char16_t>(c + 0xFEE0);
    } else if ((c == kHalfVoiced || c == kHalfPlosive) && !wide.empty() &&
               Voiced(wide.back(), c) != 0) {
      wide.back() = Voiced(wide.back(), c);
    } else if (Between(c, kFirstHalf, kHalfPlosive)) {
      wide += kFull[c - kFirstHalf];
    } else {
      wide += c;
    }
  }
  return wide;
}

std::u16string Narrow16(const std::u16string& text) {
  std::u16string narrow;
  for (const char16_t c : text) {
    if (c == u'　') {
      narrow += u' ';
      continue;
    }
    if (Between(c, 0xFF01, 0xFF5E)) {
      narrow += static_cast<char16_t>(c - 0xFEE0);
      continue;
    }
    const std::size_t plain = kFull.find(c);
    if (plain != kFull.npos) {
      narrow += static_cast<char16_t>(kFirstHalf + plain);
      continue;
    }
    bool found = false;
    for (const char16_t mark : {kHalfVoiced, kHalfPlosive}) {
      for (std::size_t i = 0; i < kFull.size() && !found; ++i) {
        if (Voiced(kFull[i], mark) != c || c == 0) continue;
        narrow += static_cast<char16_t>(kFirstHalf + i);
        narrow += mark;
        found = true;
      }
    }
    if (!found) narrow += c;
  }
  return narrow;
}

std::u16string Katakana(std::u16string text) {
  for (char16_t& c : text) {
    if (Between(c, u'ぁ', 0x3096)) c = static_cast<char16_t>(c + 0x60);
  }
  return text;
}

std::u16string Hiragana(std::u16string text) {
  for (char16_t& c : text) {
    if (Between(c, u'ァ', 0x30F4)) c = static_cast<char16_t>(c - 0x60);
  }
  return text;
}

}  // namespace sql
