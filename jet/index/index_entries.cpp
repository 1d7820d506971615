#include "jet/index/index_entries.h"

#include <algorithm>
#include <cstring>

namespace jet {

namespace {

constexpr std::size_t kMostAhead = 1'000'000;  // a damaged table may count any number

// Behind a short key zeros count, which no byte is below.
std::uint64_t BeginOf(ByteView key) {
  std::uint64_t begin = 0;
  for (std::size_t i = 0; i < sizeof begin; ++i) begin = begin << 8 | (i < key.size() ? key[i] : 0);
  return begin;
}

}  // namespace

void IndexEntries::Reserve(std::size_t count) {
  expected_ = std::min(count, kMostAhead);
  entries_.reserve(expected_);
}

void IndexEntries::Add(ByteView key, bool collides, RowId row) {
  if (bytes_.empty()) bytes_.reserve(expected_ * key.size());
  entries_.push_back({.begin = BeginOf(key),
                      .at = bytes_.size(),
                      .row = row.packed(),
                      .size = static_cast<std::uint16_t>(key.size()),
                      .collides = collides});
  AddBytes(bytes_, key);
  if (sorted_ && size() > 1) sorted_ = Less(entries_[size() - 2], entries_.back());
}

bool IndexEntries::SameKey(const Entry& a, const Entry& b) const {
  return a.begin == b.begin && std::ranges::equal(KeyOf(a), KeyOf(b));
}

bool IndexEntries::Less(const Entry& a, const Entry& b) const {
  if (a.begin != b.begin) return a.begin < b.begin;
  const ByteView left = KeyOf(a), right = KeyOf(b);
  const int order = std::memcmp(left.data(), right.data(), std::min(left.size(), right.size()));
  if (order != 0) return order < 0;
  return left.size() != right.size() ? left.size() < right.size() : a.row < b.row;
}

void IndexEntries::Sort() {
  if (sorted_) return;
  std::ranges::sort(entries_, [this](const Entry& a, const Entry& b) { return Less(a, b); });
  sorted_ = true;
}

bool IndexEntries::HasTwice() const {
  return std::ranges::adjacent_find(entries_, [this](const Entry& a, const Entry& b) {
           return b.collides && SameKey(a, b);
         }) != entries_.end();
}

}  // namespace jet
