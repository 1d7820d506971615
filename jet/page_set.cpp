#include "jet/page_set.h"

#include <bit>

namespace jet {

void PageSet::AddBits(PageNumber first, ByteView bits) {
  for (std::size_t i = 0; i < bits.size(); ++i) {
    const std::uint64_t from = std::uint64_t{first.value} + 8 * i;
    if (bits[i] == 0) continue;
    if (from / 64 >= bits_.size()) return;
    const std::size_t word = static_cast<std::size_t>(from / 64);
    bits_[word] |= std::uint64_t{bits[i]} << (from % 64);
    if (from % 64 > 56 && word + 1 < bits_.size()) {
      bits_[word + 1] |= std::uint64_t{bits[i]} >> (64 - from % 64);
    }
  }
}

std::optional<PageNumber> PageSet::FirstFrom(std::uint32_t from) const {
  for (std::size_t word = from / 64; word < bits_.size(); ++word) {
    std::uint64_t bits = bits_[word];
    if (word == from / 64) bits &= ~std::uint64_t{0} << (from % 64);
    if (bits != 0) {
      return PageNumber{
          static_cast<std::uint32_t>(word * 64 + static_cast<std::size_t>(std::countr_zero(bits)))};
    }
  }
  return std::nullopt;
}

std::optional<PageNumber> PageSet::FirstMissingIn(const PageSet& other) const {
  for (std::size_t word = 0; word < bits_.size(); ++word) {
    const std::uint64_t bits = bits_[word] & ~other.bits_[word];
    if (bits != 0) {
      return PageNumber{
          static_cast<std::uint32_t>(word * 64 + static_cast<std::size_t>(std::countr_zero(bits)))};
    }
  }
  return std::nullopt;
}

}  // namespace jet
