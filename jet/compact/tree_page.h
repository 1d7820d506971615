// One page of an index tree that is filled from its beginning to its end.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "jet/base/types.h"

namespace jet::compact {

class TreePage {
 public:
  // An empty page of this level, 0 = leaf.
  void Begin(std::uint8_t level);
  // Behind all others; in a node with its child. A leaf that is full shares the longest
  // prefix of its entries and goes on. False, and nothing changed but for that: no room,
  // or another prefix. One byte of a page stays free.
  bool Add(ByteView entry);
  // Takes the last entry out. REQUIRES: a node with two.
  Bytes TakeLast();
  std::size_t size() const { return ends_.size(); }

  PageNumber number;  // none: not known yet
  PageNumber previous, next, tail;
  // The page's bytes; good until it is changed.
  PageView Image(PageNumber owner);

 private:
  std::size_t used() const { return ends_.empty() ? 0 : ends_.back(); }
  ByteView Own(std::size_t i) const;
  bool Append(ByteView entry);
  // The first entry's bytes that all others begin with, too.
  std::size_t CommonPrefix() const;
  void Compress(std::size_t prefix);

  std::uint8_t level_ = 0;
  std::size_t prefix_ = 0;
  std::vector<std::uint16_t> ends_;
  std::array<std::uint8_t, kPageSize> image_{};
};

}  // namespace jet::compact
