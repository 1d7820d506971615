#include "jet/index/index_mask.h"

#include <algorithm>

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
  // Most pages are not full: four words at a time as long as they are empty.
  std::size_t end = kIndexMaskBytes;
  for (; end > 4 * sizeof(std::uint64_t); end -= 4 * sizeof(std::uint64_t)) {
    const std::uint8_t* at = mask + end;
    if ((MaskWordAt(at - 8) | MaskWordAt(at - 16) | MaskWordAt(at - 24) | MaskWordAt(at - 32)) !=
        0) {
      break;
    }
  }
  const std::size_t found = BitBelow(mask, std::min(kBits, end * 8) - 1, 0);
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

void OpenGap(std::uint8_t* mask, std::size_t bit, std::size_t distance, std::size_t highest) {
  if (highest <= bit) return;
  MaskWords words;
  const std::size_t first = (bit + 1) / 64, skip = distance / 64, shift = distance % 64;
  const std::size_t end = std::min((highest + distance) / 64 + 1, words.size());
  const std::size_t bytes = std::min(end * 8, kIndexMaskBytes) - first * 8;
  words[end - 1] = 0;  // the last one may not be whole
  std::memcpy(&words[first], mask + first * 8, bytes);
  const std::uint64_t below = (std::uint64_t{1} << ((bit + 1) % 64)) - 1;
  const std::uint64_t kept = words[first] & below;
  words[first] &= ~below;
  for (std::size_t i = end; i-- > first;) {
    std::uint64_t word = 0;
    if (i >= first + skip) word = words[i - skip] << shift;
    if (shift != 0 && i > first + skip) word |= words[i - skip - 1] >> (64 - shift);
    words[i] = word;
  }
  words[first] |= kept;
  std::memcpy(mask + first * 8, &words[first], bytes);
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
