#include "jet/pages/page_set.h"

#include <gmock/gmock.h>

namespace jet {
namespace {

std::vector<std::uint32_t> Pages(const PageSet& set) {
  std::vector<std::uint32_t> pages;
  for (auto at = set.FirstFrom(0); at; at = set.FirstFrom(at->value + 1)) {
    pages.push_back(at->value);
  }
  return pages;
}

TEST(PageSetTest, HoldsPagesAtTheEdgesOfItsWords) {
  PageSet set(130);
  const std::vector<std::uint32_t> edges = {0, 1, 63, 64, 127, 128, 129};
  for (const std::uint32_t page : edges) set.Add({page});
  set.Add({9999});
  EXPECT_EQ(Pages(set), edges);
  EXPECT_TRUE(set.Contains({63}) && set.Contains({64}));
  EXPECT_FALSE(set.Contains({62}) || set.Contains({65}) || set.Contains({9999}));
  set.Remove({64});
  set.Remove({9999});
  EXPECT_EQ(set.FirstFrom(64)->value, 127u);
  EXPECT_FALSE(set.FirstFrom(130));
  PageSet other = set;
  EXPECT_FALSE(set.FirstMissingIn(other));
  other.Remove({127});
  EXPECT_EQ(set.FirstMissingIn(other)->value, 127u);
  EXPECT_FALSE(other.FirstMissingIn(set));
}

// Wherever the bitmap begins and whatever its length, bit by bit.
TEST(PageSetTest, TakesABitmapThatBeginsAnywhere) {
  for (const std::uint32_t first : {0u, 1u, 8u, 63u, 64u, 71u, 300u}) {
    for (const std::size_t length : {1u, 7u, 8u, 9u, 17u}) {
      Bytes bits(length);
      std::vector<std::uint32_t> expected;
      for (std::uint32_t i = 0; i < 8 * length; ++i) {
        if (i % 5 != 0 && i + 1 != 8 * length) continue;
        bits[i / 8] = static_cast<std::uint8_t>(bits[i / 8] | 1u << i % 8);
        if (first + i < 320) expected.push_back(first + i);
      }
      PageSet set(320), repeated(320);
      set.AddBits({first}, bits, repeated);
      EXPECT_EQ(Pages(set), expected) << first << ' ' << length;
      EXPECT_EQ(Pages(repeated), std::vector<std::uint32_t>());
      set.AddBits({first}, bits, repeated);
      EXPECT_EQ(Pages(repeated), expected) << first << ' ' << length;
    }
  }
}

}  // namespace
}  // namespace jet
