// Both ladders as a whole: what they plan, what they leave, and what running a
// step again does.
#include <map>

#include "tests/upgrade/step_bench.h"

namespace upgrade_test {
namespace {

using testing::ElementsAre;

Texts Plan(const db::Ladder& ladder, std::int16_t from) {
  Texts names;
  for (const db::LadderStep* step : ladder.Plan(from, ladder.latest())) names.push_back(step->name);
  return names;
}

TEST(Ladders, PlanTheStepsAboveAVersion) {
  StepBench bench(Kind::kData), tenkai(Kind::kTenkai);
  const db::Ladder& data = bench.ladder();
  EXPECT_EQ(Plan(data, 2).size(), 27U);
  EXPECT_EQ(Plan(data, -7), Plan(data, 2));
  EXPECT_EQ(Plan(data, -32768), Plan(data, 2));  // the lowest that can be stored
  const Texts from_15 = Plan(data, 15);
  EXPECT_EQ(
      Texts(from_15.begin(), from_15.begin() + 6),
      (Texts{"Data_Up_16a", "Data_Up_16b", "Data_Up_17", "Data_Up_18", "Eng_Apply", "Data_Up_19"}));
  EXPECT_EQ(Plan(data, 18)[0], "Eng_Apply");
  EXPECT_EQ(Plan(data, 19)[0], "Data_Up_20");
  EXPECT_THAT(Plan(data, 26), ElementsAre("Data_Up_27"));
  EXPECT_THAT(Plan(data, 27), ElementsAre());
  EXPECT_THAT(Plan(data, 28), ElementsAre());

  const db::Ladder& steps = tenkai.ladder();
  for (std::int16_t from : std::initializer_list<std::int16_t>{-32768, 0, 1, 2, 3, 4, 5, 6, 7}) {
    const Texts plan = Plan(steps, from);
    const bool take_off = std::ranges::find(plan, "Tenkai_Up_7") != plan.end();
    EXPECT_EQ(take_off, from != 3 && from < 7) << from;
    EXPECT_EQ(plan.back(), "Tenkai_Up_22");
    EXPECT_EQ(plan.size(), static_cast<std::size_t>(22 - std::max<int>(from, 2) - (from == 3)));
  }
}

TEST(Ladders, RunThroughAndLeaveSoundFiles) {
  for (Kind kind : {Kind::kData, Kind::kTenkai}) {
    StepBench whole(kind), parts(kind);
    const std::int16_t latest = whole.ladder().latest();
    StepNames names;
    ASSERT_EQ(whole.Upgrade(latest, &names), 0);
    EXPECT_EQ(names.begun, Plan(whole.ladder(), 2));
    EXPECT_EQ(names.ended, names.begun);
    whole.ExpectSound();
    // Step by step leads to the same; the Tenkai ladder goes by its beginning.
    if (kind == Kind::kTenkai) continue;
    for (std::int16_t version = 3; version <= latest; ++version) {
      ASSERT_EQ(parts.Upgrade(version), 0) << version;
    }
    EXPECT_EQ(parts.Content(), whole.Content());
    EXPECT_EQ(whole.Values(kShapes, "形状名ID"), Numbers(0, 44) + Numbers(46, 160));
  }
}

// Every step on a database that is there already: it fails, adds its rows once
// more, or changes nothing.
TEST(Ladders, RunAStepAgain) {
  const std::map<std::string, ado::ErrorNumber> kinds[] = {
      {{"3 17 18 22 23", ado::kErrColumnExists},
       {"16a", ado::kErrObjectExists},
       {"4 5 6 7 8 9 10 11 12 19 20 24 26 27", ado::kErrIntegrity}},
      {{"6 8 9 10 14 15 16 17 21 22", ado::kErrColumnExists}, {"19", ado::kErrIntegrity}},
  };
  const std::string rows_again = " 3 5 7 11 18 ";  // of the Tenkai steps
  for (Kind kind : {Kind::kData, Kind::kTenkai}) {
    StepBench bench(kind);
    for (const db::LadderStep& step : bench.ladder().steps()) {
      const std::string number = " " + step.name.substr(step.name.rfind('_') + 1) + " ";
      ado::ErrorNumber expected = 0;
      for (const auto& [steps, error] : kinds[kind == Kind::kData ? 0 : 1]) {
        if ((" " + steps + " ").find(number) != std::string::npos) expected = error;
      }
      ASSERT_EQ(bench.Run(step.name), 0) << step.name;
      const std::string before = bench.Content();
      EXPECT_EQ(bench.Run(step.name), expected) << step.name;
      const bool adds = kind == Kind::kTenkai && rows_again.find(number) != std::string::npos;
      if (expected == 0) {
        EXPECT_EQ(bench.Content() != before, adds) << step.name;
      }
    }
  }
}

}  // namespace
}  // namespace upgrade_test
