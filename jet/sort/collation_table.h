// What each UTF-16 unit adds to a sort key, for the orders that we know.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "jet/base/types.h"

namespace jet {

enum class CharKind : std::uint8_t {
  kIgnored,
  kLetter,   // one weight with its secondary
  kLetters,  // a character that counts as several letters
  kKana,     // weight 7Fxx; xx is the sound
  kSmallKana,
  kProlonged,  // lengthens the vowel of the kana before it
  kRepeat,     // repeats the weight before it
  kMark,       // its amount is added to the secondary before it
  kWordSort,   // no weight; a record at the end of the key
  kRefused,    // not proven
};

inline constexpr std::uint8_t kPlainSecondary = 2;

struct CharEntry {
  std::uint16_t weight = 0;    // below 0x100: one byte
  std::uint8_t secondary = 0;  // amount of a mark, code of a word-sort character
  CharKind kind = CharKind::kIgnored;
};

struct Letter {
  std::uint16_t weight = 0;
  std::uint8_t secondary = 0;
};

// The entry `steps` behind `first` in a run whose weights count up. The low byte
// of a weight of two bytes goes from 02 to FF.
constexpr CharEntry CountUp(CharEntry first, std::size_t steps) {
  std::size_t place = (first.weight >> 8) * 254U + (first.weight & 0xFFU) - 2 + steps;
  first.weight = static_cast<std::uint16_t>(place / 254 << 8 | (place % 254 + 2));
  return first;
}

inline constexpr std::size_t kMaxLetters = 3;  // that one character counts as

class CollationTable {
 public:
  using Page = std::array<CharEntry, 256>;
  // 256 units: listed one by one, or all like the first, or counting up from it.
  struct PageInfo {
    const Page* listed = nullptr;
    CharEntry first;
    bool counts_up = false;
  };
  using Pages = std::array<PageInfo, 256>;
  explicit constexpr CollationTable(const Pages& pages) : pages_(pages) {}

  constexpr CharEntry operator[](char16_t unit) const {
    const PageInfo& page = pages_[unit >> 8];
    std::size_t offset = unit & 0xFF;
    if (page.listed != nullptr) return (*page.listed)[offset];
    return page.counts_up ? CountUp(page.first, offset) : page.first;
  }
  constexpr const Pages& pages() const { return pages_; }
  // Of an entry of kind kLetters.
  static std::span<const Letter> LettersOf(const CharEntry& entry);

 private:
  Pages pages_;
};

// Null if the order is not known.
const CollationTable* FindCollationTable(SortOrder order);

}  // namespace jet
