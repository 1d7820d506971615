// Some pages of a file, one bit each.
#pragma once

#include <optional>
#include <vector>

#include "jet/base/types.h"

namespace jet {

class PageSet {
 public:
  // Pages from `page_count` on are never in the set.
  explicit PageSet(std::uint32_t page_count) : bits_((page_count + 63) / 64) {}

  void Add(PageNumber page) {
    if (Holds(page)) bits_[page.value / 64] |= Bit(page);
  }
  void Remove(PageNumber page) {
    if (Holds(page)) bits_[page.value / 64] &= ~Bit(page);
  }
  bool Contains(PageNumber page) const {
    return Holds(page) && (bits_[page.value / 64] & Bit(page)) != 0;
  }
  // Of a bitmap whose first bit is that of `first`, lowest bit of a byte first. Those
  // that were in the set already go to `repeated`, which has as many pages.
  void AddBits(PageNumber first, ByteView bits, PageSet& repeated);
  std::optional<PageNumber> FirstFrom(std::uint32_t from) const;
  // The lowest page that is here but not in `other`.
  std::optional<PageNumber> FirstMissingIn(const PageSet& other) const;

 private:
  static std::uint64_t Bit(PageNumber page) { return std::uint64_t{1} << (page.value % 64); }
  bool Holds(PageNumber page) const { return page.value / 64 < bits_.size(); }
  void AddWord(std::size_t word, std::uint64_t bits, PageSet& repeated);
  std::vector<std::uint64_t> bits_;
};

}  // namespace jet
