// Keys that were met before, as their hashes of 128 bits: that two different keys
// have the same one does not happen. Most tables hold their rows in the order of a key;
// as long as keys ascend, nothing is looked up.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "jet/base/bytes.h"

namespace jet::recover {

class KeySet {
 public:
  bool Contains(ByteView key);
  // REQUIRES: it is not there.
  void Insert(ByteView key);
  void Clear();

 private:
  using Hash = std::array<std::uint64_t, 2>;

  bool IsAbove(ByteView key) const;
  void EndAscent();
  static Hash HashOf(ByteView key);
  // The place of a hash, or the free one where it belongs.
  std::size_t PlaceOf(const Hash& hash) const;
  void Put(const Hash& hash);
  void Grow();

  static constexpr Hash kFree{};
  Bytes greatest_;
  std::vector<Hash> ascending_;  // until a key does not ascend
  std::vector<Hash> places_;     // a power of two, at most three quarters in use
  std::size_t count_ = 0;
};

}  // namespace jet::recover
