// What each UTF-16 unit adds to a sort key, for the orders that we know.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "jet/types.h"

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

inline constexpr std::size_t kMaxLetters = 3;  // that one character counts as

class CollationTable {
 public:
  using Page = std::array<CharEntry, 256>;
  using Pages = std::array<const Page*, 256>;
  explicit constexpr CollationTable(const Pages& pages) : pages_(pages) {}

  const CharEntry& operator[](char16_t unit) const { return (*pages_[unit >> 8])[unit & 0xFF]; }
  // Of an entry of kind kLetters.
  static std::span<const Letter> LettersOf(const CharEntry& entry);

 private:
  Pages pages_;
};

// Null if the order is not known.
const CollationTable* FindCollationTable(SortOrder order);

}  // namespace jet
