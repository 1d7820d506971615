#include "jet/recover/key_set.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>

namespace jet::recover {
namespace {

Bytes KeyOf(std::uint32_t number) {
  Bytes key{0x7F};
  for (int shift = 24; shift >= 0; shift -= 8)
    key.push_back(static_cast<std::uint8_t>(number >> shift));
  return key;
}

// Keys that ascend at first, then come in any order, some of them again.
TEST(KeySet, KnowsEveryKeyInAnyOrder) {
  std::mt19937 random(7);
  KeySet set;
  std::set<std::uint32_t> expected;
  for (std::uint32_t step = 0; step < 20'000; ++step) {
    const auto number = static_cast<std::uint32_t>(step < 3000 ? 5 * step : random() % 40'000);
    const Bytes key = KeyOf(number);
    ASSERT_EQ(set.Contains(key), expected.contains(number)) << step;
    if (expected.insert(number).second) set.Insert(key);
  }
  set.Clear();
  EXPECT_FALSE(set.Contains(KeyOf(5)));
}

}  // namespace
}  // namespace jet::recover
