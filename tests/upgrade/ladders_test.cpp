// Both ladders as a whole: what they plan, what they leave, and what running a
// step again does.
#include <map>

#include "tests/upgrade/step_bench.h"

namespace upgrade_test {
namespace {

using testing::ElementsAre;

class Names : public db::LadderObserver {
 public:
  void StepBegins(const db::LadderStep& step) override { begun.push_back(step.name); }
  void StepEnds(const db::LadderStep& step) override { ended.push_back(step.name); }
  Texts begun, ended;
};

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
    Names names;
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

// A base whose step fails in the middle keeps what was done, and its version.
TEST(Ladders, KeepWhatWasDoneBeforeAFailure) {
  StepBench bench(Kind::kData, 2, [](Tables& tables) {
    TableNamed(tables, "仕様_その他設定")
        .AddColumn(samples::OfType("鋼板重量", jet::ColumnType::kDouble));
  });
  EXPECT_EQ(bench.Upgrade(27), ado::kErrColumnExists);
  EXPECT_EQ(bench.Values(kVersions, "Ver_No"), Texts{"2"});
  EXPECT_EQ(bench.Columns("拾い転送_設定").back(), "1㎡以下の追加 5 0!");
  EXPECT_EQ(bench.Count(kShapes), 157U);
  bench.ExpectSound();
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

// Renaming a shape comes before the duplicate that ends step 27.
TEST(Ladders, RenameBeforeADuplicate) {
  StepBench bench(Kind::kData, 27);
  bench.Edit([](db::DbHandle& db) {
    db.OpenTable(kShapes);
    for (int i = 0; i < 158; ++i) db.NextRow();
    db.SetField("形状名", "x");
    db.SaveRow();
  });
  EXPECT_EQ(bench.Run("Data_Up_27"), ado::kErrIntegrity);
  EXPECT_EQ(bench.Value(kShapes, "形状名", 158), "丸ｴﾙﾎﾞ_横繋ぎ");
  EXPECT_EQ(bench.Count("拾い転送_形状名称変換"), 160U);
}

// Code points that a careless hand changes.
TEST(Ladders, WriteTextsCharacterForCharacter) {
  StepBench data(Kind::kData, 27);
  const struct {
    const char* table;
    const char* field;
    std::size_t row;
    const char* text;
  } cases[] = {
      {kShapes, "形状名", 57, "勾配_\uFF74\uFF99\uFF8E"},
      {kShapes, "形状名", 60, "消音\uFF74\uFF99\uFF8E\uFF9E内\uFF32"},
      {kShapes, "形状名", 129, "\uFF12又_R-C"},
      {kShapes, "形状名", 130, "Y管"},
      {kShapes, "形状名", 124, "丸WRE90\u00B0管"},
      {kShapes, "形状名_英語", 158, "SP Elbow\u3000Side"},
      {"拾い転送_形状名称変換", "変更形状名", 111, "\uFF39管"},
      {"拾い転送_形状名称変換", "変更形状名", 105, "\uFF19\uFF10\u00B0エルボ"},
      {"拾い転送_形状名称変換_副資材", "変更形状名", 5, "90\u00B0エルボ"},
      {"拾い転送_形状名称変換_副資材", "数量表示", 0, "L1\u00D7数量"},
      {"拾い転送_キャンバス変換", "変換名称", 2, "\uFF21\uFF33-\uFF11\uFF11\uFF10"},
      {"拾い転送_フレキ変換", "変換名称", 4, "\uFF33\uFF34フレキ"},
      {"拾い転送_材質変換", "拾い材質", 6, "\uFF11\uFF0E\uFF16鋼板"},
      {"拾い転送_系統変換", "板厚基準", 5, "高圧\uFF11"},
      {"拾い転送_工法変換", "拾い工法名", 14, "メッツ"},
      {"Spec_開口形状", "形状", 2, "\uFF75\uFF70\uFF8A\uFF9E\uFF99"},
  };
  for (const auto& test : cases) {
    EXPECT_EQ(data.Value(test.table, test.field, test.row), test.text) << test.table;
  }
}

}  // namespace
}  // namespace upgrade_test
