#include "db/ladder.h"

#include <gmock/gmock.h>

#include "ado/error.h"
#include "tests/support/ado_fixture.h"

namespace test_support {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Steps to 3 ... 7; the one to 7 is left out from 3, the one to 5 is two.
class LadderTest : public ::testing::Test {
 protected:
  LadderTest() {
    const auto step = [this](std::int16_t threshold, const char* name) {
      return db::LadderStep{.threshold = threshold,
                            .produces = static_cast<std::int16_t>(threshold + 1),
                            .name = name,
                            .run = [this, name] { ran_.emplace_back(name); }};
    };
    steps_ = {step(2, "to 3"),  step(3, "to 4"), step(4, "to 5a"),
              step(4, "to 5b"), step(5, "to 6"), step(6, "to 7")};
    steps_.back().except = 3;
  }
  std::vector<std::string> Run(int from, int to = 7) {
    ran_.clear();
    db::Ladder(7, steps_).Run(ado::ToInt16(from), ado::ToInt16(to));
    return ran_;
  }
  std::vector<db::LadderStep> steps_;
  std::vector<std::string> ran_;
};

TEST_F(LadderTest, RunsEveryStepAboveTheVersionOnceInOrder) {
  const std::vector<std::string> all = {"to 3", "to 4", "to 5a", "to 5b", "to 6", "to 7"};
  for (int from : {2, 1, 0, -5, -32768}) EXPECT_EQ(Run(from), all) << from;
  EXPECT_THAT(Run(3), ElementsAre("to 4", "to 5a", "to 5b", "to 6"));
  EXPECT_THAT(Run(4), ElementsAre("to 5a", "to 5b", "to 6", "to 7"));
  EXPECT_THAT(Run(6), ElementsAre("to 7"));
  for (int from : {7, 8, 32767}) EXPECT_THAT(Run(from), IsEmpty());
  EXPECT_THAT(Run(2, 5), ElementsAre("to 3", "to 4", "to 5a", "to 5b"));
  EXPECT_THAT(Run(6, 5), IsEmpty());
}

TEST_F(LadderTest, MissingStepStopsTheRunBeforeItBegins) {
  steps_[4].run = nullptr;
  EXPECT_RAISES(ado::kErrMissingStep, Run(2));
  EXPECT_THAT(ran_, IsEmpty());
  EXPECT_THAT(Run(2, 5), ElementsAre("to 3", "to 4", "to 5a", "to 5b"));
  steps_.erase(steps_.begin() + 4);
  const ado::Error error = ErrorOf([&] { Run(5); });
  EXPECT_EQ(error.number(), ado::kErrMissingStep);
  EXPECT_THAT(error.text(), ::testing::HasSubstr("6"));
  EXPECT_THAT(Run(6), ElementsAre("to 7"));
  EXPECT_RAISES(ado::kErrMissingStep, Run(6, 8));
  EXPECT_RAISES(ado::kErrMissingStep, db::Ladder(7, {}).Run(2, 7));
  EXPECT_NO_THROW(db::Ladder(7, {}).Run(7, 7));
}

TEST_F(LadderTest, ObserverHearsOfEachStepAndFailureEndsTheRun) {
  struct Observer : db::LadderObserver {
    void StepBegins(const db::LadderStep& step) override { heard.push_back("+" + step.name); }
    void StepEnds(const db::LadderStep& step) override { heard.push_back("-" + step.name); }
    std::vector<std::string> heard;
  } observer;
  steps_[1].run = [] { throw ado::Error::Standard(ado::kErrColumnExists); };
  EXPECT_RAISES(ado::kErrColumnExists, db::Ladder(7, steps_).Run(2, 7, &observer));
  EXPECT_THAT(observer.heard, ElementsAre("+to 3", "-to 3", "+to 4"));
}

}  // namespace
}  // namespace test_support
