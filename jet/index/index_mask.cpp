#include "jet/index/index_mask.h"

namespace jet::internal {
namespace {

using MaskWords = std::array<std::uint64_t, (kIndexMaskBytes + 7) / 8>;

MaskWords LoadMask(const std::uint8_t* mask) {
  MaskWords words;
  words.back() = 0;
  std::memcpy(words.data(), mask, kIndexMaskBytes);
  return words;
}

}  // namespace

std::size_t HighestBit(const std::uint8_t* mask) {
  constexpr std::size_t kBits = kIndexMaskBytes * 8;
  const std::size_t found = BitBelow(mask, kBits - 1, 0);
  if (found != 0) return found;
  return (mask[0] & 1) != 0 ? 0 : kNoBit;
}

std::size_t CountBits(const std::uint8_t* mask) {
  std::size_t count = 0;
  for (const std::uint64_t word : LoadMask(mask)) {
    count += static_cast<std::size_t>(std::popcount(word));
  }
  return count;
}

void OpenGap(std::uint8_t* mask, std::size_t bit, std::size_t distance) {
  MaskWords words = LoadMask(mask);
  const std::size_t first = (bit + 1) / 64, skip = distance / 64, shift = distance % 64;
  const std::uint64_t below = (std::uint64_t{1} << ((bit + 1) % 64)) - 1;
  const std::uint64_t kept = words[first] & below;
  words[first] &= ~below;
  for (std::size_t i = words.size(); i-- > first;) {
    std::uint64_t word = 0;
    if (i >= first + skip) word = words[i - skip] << shift;
    if (shift != 0 && i > first + skip) word |= words[i - skip - 1] >> (64 - shift);
    words[i] = word;
  }
  words[first] |= kept;
  std::memcpy(mask, words.data(), kIndexMaskBytes);
}

void CloseGap(std::uint8_t* mask, std::size_t from, std::size_t to) {
  MaskWords words = LoadMask(mask);
  const std::size_t first = (from + 1) / 64, skip = (to - from) / 64, shift = (to - from) % 64;
  const std::uint64_t below = (std::uint64_t{1} << ((from + 1) % 64)) - 1;
  const std::uint64_t kept = words[first] & below;
  for (std::size_t i = first; i < words.size(); ++i) {
    std::uint64_t word = 0;
    if (i + skip < words.size()) word = words[i + skip] >> shift;
    if (shift != 0 && i + skip + 1 < words.size()) word |= words[i + skip + 1] << (64 - shift);
    words[i] = word;
  }
  words[first] = (words[first] & ~below) | kept;
  std::memcpy(mask, words.data(), kIndexMaskBytes);
}

}  // namespace jet::internal
