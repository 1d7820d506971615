#include "jet/pages/page_set.h"

#include <bit>

#include "jet/base/bytes.h"

namespace jet {

void PageSet::AddWord(std::size_t word, std::uint64_t bits, PageSet& repeated) {
  if (word >= bits_.size()) return;
  repeated.bits_[word] |= bits_[word] & bits;
  bits_[word] |= bits;
}

void PageSet::AddBits(PageNumber first, ByteView bits, PageSet& repeated) {
  constexpr std::size_t kWordBytes = sizeof(std::uint64_t);
  for (std::size_t i = 0; i < bits.size(); i += kWordBytes) {
    std::uint64_t word = 0;
    if (bits.size() - i >= kWordBytes) {
      word = GetU64(bits, i);
    } else {
      for (std::size_t k = i; k < bits.size(); ++k) word |= std::uint64_t{bits[k]} << (8 * (k - i));
    }
    if (word == 0) continue;
    const std::uint64_t from = std::uint64_t{first.value} + 8 * i;
    const auto at = static_cast<std::size_t>(from / 64);
    AddWord(at, word << (from % 64), repeated);
    if (from % 64 != 0) AddWord(at + 1, word >> (64 - from % 64), repeated);
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
