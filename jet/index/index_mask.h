// The mask of an index page: bit i is set where an entry ends before byte i of
// the entry area. Only IndexPage uses this. The mask is read as words, so the
// bytes before and behind it must be those of its page.
#pragma once

#include <array>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace jet::internal {

inline constexpr std::size_t kIndexMaskBytes = 453;
inline constexpr std::size_t kNoBit = ~std::size_t{0};
static_assert(std::endian::native == std::endian::little, "the mask is read as words");

inline std::uint64_t MaskWordAt(const std::uint8_t* bytes) {
  std::uint64_t word;
  std::memcpy(&word, bytes, sizeof word);
  return word;
}

// The lowest bit set above `bit`. REQUIRES: there is one.
inline std::size_t NextBit(const std::uint8_t* mask, std::size_t bit) {
  ++bit;
  for (;;) {
    // Behind the mask lies the entry area: the load stays on the page.
    const std::uint64_t word = MaskWordAt(mask + bit / 8) >> (bit % 8);
    if (word != 0) return bit + static_cast<std::size_t>(std::countr_zero(word));
    bit += 64 - bit % 8;
  }
}

// The highest bit set in (floor, bit]; `floor` if there is none.
inline std::size_t BitBelow(const std::uint8_t* mask, std::size_t bit, std::size_t floor) {
  for (;;) {
    // Before the mask lies the page's head: the load stays on the page, and
    // what it finds there is below any floor.
    const std::uint64_t word = MaskWordAt(mask + bit / 8 - 7) << (7 - bit % 8);
    const std::size_t above = bit - floor;
    if (word != 0) {
      const auto distance = static_cast<std::size_t>(std::countl_zero(word));
      return distance < above ? bit - distance : floor;
    }
    const std::size_t looked_at = 57 + bit % 8;
    if (above < looked_at) return floor;
    bit -= looked_at;
  }
}

inline void SetBit(std::uint8_t* mask, std::size_t bit) {
  mask[bit / 8] = static_cast<std::uint8_t>(mask[bit / 8] | 1u << (bit % 8));
}

// kNoBit for an empty mask.
std::size_t HighestBit(const std::uint8_t* mask);
std::size_t CountBits(const std::uint8_t* mask);
// The bits above `bit` move up by `distance`. `highest`: the highest that is set, or more.
void OpenGap(std::uint8_t* mask, std::size_t bit, std::size_t distance, std::size_t highest);
// The bits in (from, to] go, those above move down to close the gap.
void CloseGap(std::uint8_t* mask, std::size_t from, std::size_t to);

}  // namespace jet::internal
