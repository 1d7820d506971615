// Numbers that follow from a seed, the same on every machine.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>

namespace fuzz {

class Random {
 public:
  explicit Random(std::uint64_t seed) : state_(seed) {}

  std::uint64_t Next() {
    std::uint64_t x = state_ += 0x9E37'79B9'7F4A'7C15u;
    x = (x ^ x >> 30) * 0xBF58'476D'1CE4'E5B9u;
    x = (x ^ x >> 27) * 0x94D0'49BB'1331'11EBu;
    return x ^ x >> 31;
  }
  // Below `count`; 0 for none.
  std::size_t Below(std::size_t count) {
    return count == 0 ? 0 : static_cast<std::size_t>(Next() % count);
  }
  bool OneIn(std::size_t count) { return Below(count) == 0; }
  template <class List>
  const auto& Pick(const List& list) {
    return list[Below(std::size(list))];
  }

 private:
  std::uint64_t state_;
};

}  // namespace fuzz
