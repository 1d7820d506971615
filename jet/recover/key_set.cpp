#include "jet/recover/key_set.h"

#define XXH_INLINE_ALL
#include <xxhash.h>

#include <algorithm>
#include <utility>

namespace jet::recover {

namespace {
constexpr std::size_t kFirstPlaces = 1024;
}

KeySet::Hash KeySet::HashOf(ByteView key) {
  const XXH128_hash_t hash = XXH3_128bits(key.data(), key.size());
  return {hash.low64 | 1, hash.high64};  // no hash is that of a free place
}

std::size_t KeySet::PlaceOf(const Hash& hash) const {
  const std::size_t mask = places_.size() - 1;
  std::size_t at = hash[1] & mask;
  while (places_[at] != kFree && places_[at] != hash) at = (at + 1) & mask;
  return at;
}

bool KeySet::IsAbove(ByteView key) const {
  return std::ranges::lexicographical_compare(greatest_, key);
}

void KeySet::EndAscent() {
  for (const Hash& hash : ascending_) Put(hash);
  ascending_ = {};
}

bool KeySet::Contains(ByteView key) {
  if (IsAbove(key)) return false;
  EndAscent();
  if (places_.empty()) return false;
  const Hash hash = HashOf(key);
  return places_[PlaceOf(hash)] == hash;
}

void KeySet::Insert(ByteView key) {
  const bool above = IsAbove(key);
  if (above) greatest_.assign(key.begin(), key.end());
  if (above && places_.empty()) {
    ascending_.push_back(HashOf(key));
  } else {
    EndAscent();
    Put(HashOf(key));
  }
}

void KeySet::Put(const Hash& hash) {
  if (4 * (count_ + 1) > 3 * places_.size()) Grow();
  places_[PlaceOf(hash)] = hash;
  ++count_;
}

void KeySet::Grow() {
  const std::vector<Hash> before = std::exchange(
      places_, std::vector<Hash>(places_.empty() ? kFirstPlaces : 2 * places_.size()));
  for (const Hash& hash : before) {
    if (hash != kFree) places_[PlaceOf(hash)] = hash;
  }
}

void KeySet::Clear() {
  greatest_.clear();
  ascending_ = {};
  places_ = {};
  count_ = 0;
}

}  // namespace jet::recover
