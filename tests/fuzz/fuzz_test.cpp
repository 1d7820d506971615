// The short form of the fuzzing: every seed and some mutated inputs of each
// target.
#include <gtest/gtest.h>

#include "fuzz/seeds.h"
#include "fuzz/target.h"
#include "fuzz/targets.h"

namespace fuzz {
namespace {

class FuzzTest : public testing::TestWithParam<Target> {};

TEST_P(FuzzTest, KeepsItsPromises) {
  constexpr std::uint64_t kSeed = 20'260;
  const Target& target = GetParam();
  const std::vector<jet::Bytes> seeds = target.seeds();
  if (seeds.empty()) GTEST_SKIP() << "no file to begin with";
  for (std::size_t i = 0; i < seeds.size(); ++i) {
    EXPECT_NO_THROW(target.run(seeds[i])) << "seed " << i;
  }
  // A small part of a long run, but enough of each where inputs are small.
  const std::uint64_t least = target.inputs < 2'000 ? 10 : 60;
  const std::uint64_t inputs = std::max(least, target.inputs / 100);
  std::string said;
  for (std::uint64_t i = 0; i < inputs; ++i) {
    const jet::Bytes input = MakeInput(target, seeds, kSeed, i, said);
    EXPECT_NO_THROW(target.run(input)) << "input " << i << " of seed " << kSeed << ": " << said;
  }
  std::printf("%s: %zu seeds, %zu inputs, seed %zu\n", target.name, seeds.size(),
              static_cast<std::size_t>(inputs), static_cast<std::size_t>(kSeed));
}

// Nothing is proved by queries that all are refused.
TEST(SelectTargetTest, QueriesOverSoundFilesRun) {
  SelectCounts all;
  for (const jet::Bytes& seed : SelectSeeds()) {
    const SelectCounts counts = RunSelects(seed);
    all.ran += counts.ran;
    all.rows += counts.rows;
    all.refused += counts.refused;
  }
  EXPECT_GT(all.ran, 20u);
  EXPECT_GT(all.rows, 200u);
  EXPECT_LT(all.refused, all.ran / 2);
  std::printf("%zu ran, %zu refused, %zu rows\n", static_cast<std::size_t>(all.ran),
              static_cast<std::size_t>(all.refused), static_cast<std::size_t>(all.rows));
}

// Nor by files that all are refused.
TEST(CompactTargetTest, SoundFilesAreWrittenAnew) {
  CompactCounts all;
  for (const jet::Bytes& seed : FileSeeds()) {
    const CompactCounts counts = RunCompact(seed);
    all.done += counts.done;
    all.rows += counts.rows;
    all.refused += counts.refused;
  }
  EXPECT_GT(all.rows, 200u);
  EXPECT_LT(all.refused, all.done);
  std::printf("%zu written anew, %zu refused, %zu rows\n", static_cast<std::size_t>(all.done),
              static_cast<std::size_t>(all.refused), static_cast<std::size_t>(all.rows));
}

INSTANTIATE_TEST_SUITE_P(Targets, FuzzTest, testing::ValuesIn(Targets()),
                         [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace fuzz
