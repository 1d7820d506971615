#include "jet/compact/row_ids.h"

#include <bit>

#include "jet/base/error.h"

namespace jet::compact {

void RowIdMap::Clear() {
  for (const OldPage& old : old_) place_[old.page] = 0;
  old_.clear();
  new_.clear();
  rows_ = 0;
}

void RowIdMap::Add(RowId from, RowId to) {
  if (new_.empty() || new_.back().page != to.page.value) new_.push_back({to.page.value, rows_});
  if (old_.empty() || old_.back().page != from.page.value) {
    old_.push_back({from.page.value, rows_, static_cast<std::uint32_t>(new_.size() - 1), {}});
    place_.at(from.page.value) = static_cast<std::uint32_t>(old_.size());
  }
  old_.back().slots[from.row / 64] |= std::uint64_t{1} << (from.row % 64);
  ++rows_;
}

RowId RowIdMap::Find(RowId from) const {
  const std::uint32_t place = from.page.value < place_.size() ? place_[from.page.value] : 0;
  const std::uint64_t bit = std::uint64_t{1} << (from.row % 64);
  if (place == 0 || (old_[place - 1].slots[from.row / 64] & bit) == 0) {
    throw Error::Damaged(from.page, "an index entry leads to no row");
  }
  const OldPage& old = old_[place - 1];
  int before = std::popcount(old.slots[from.row / 64] & (bit - 1));
  for (std::size_t word = 0; word < from.row / 64U; ++word) {
    before += std::popcount(old.slots[word]);
  }
  const std::uint32_t row = old.first + static_cast<std::uint32_t>(before);
  std::size_t page = old.new_page;
  while (page + 1 < new_.size() && new_[page + 1].first <= row) ++page;
  return {PageNumber{new_[page].page}, static_cast<std::uint8_t>(row - new_[page].first)};
}

}  // namespace jet::compact
