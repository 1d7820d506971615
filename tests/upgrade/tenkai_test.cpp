// The Tenkai steps.
#include "tests/upgrade/step_bench.h"

namespace upgrade_test {
namespace {

using testing::ElementsAre;

constexpr const char* kRoundDuct = "丸ダクト設定";
constexpr const char* kCuts = "丸ダクトカット設定";
constexpr const char* kEndPlate = "ﾂﾏ板設定";
constexpr const char* kCodes = "設定_材質板厚ｺｰﾄﾞ";

// Columns are found by their names, however they read: "05" is not a number.
TEST(TenkaiSteps, FindFieldsByNameInAnyOrder) {
  StepBench bench(Kind::kTenkai, 2, [](Tables& tables) {
    for (const char* name : {"ｼﾛ_ｱﾝｸﾞﾙ別設定_SUS", kCodes}) {
      BaseTable& table = TableNamed(tables, name);
      std::ranges::reverse(table.columns);
      for (samples::Row& row : table.rows) {
        row.resize(table.columns.size());
        std::ranges::reverse(row);
      }
    }
  });
  ASSERT_EQ(bench.Upgrade(22), 0);
  EXPECT_EQ(bench.Rows("ｼﾛ_ｱﾝｸﾞﾙ別設定_SUS").back(), "0|0|0|-5|-5|-5|-5|-5|返しｼﾛ|ﾒｯﾂ|");
  const Texts codes = bench.Rows(kCodes);
  EXPECT_EQ(codes[2], "48|47|46|45|44|43|42|41|SUS304|3|") << "rows 3 and 4 have swapped bases";
  EXPECT_EQ(codes[6], "78|77|76|75|74|73|72|71|ｽｰﾊﾟｰﾀﾞｲﾏ|7|");
}

// The silent end leaves no error that step 20 could take for its own.
TEST(TenkaiStep4, EndsQuietlyAndForGood) {
  StepBench bench(Kind::kTenkai, 3);
  bench.Edit([](db::DbHandle& db) { MakeTable(db, kRoundDuct); });
  EXPECT_EQ(bench.Run({"Tenkai_Up_4", "Tenkai_Up_20"}), 0);
  EXPECT_THAT(bench.Columns(kRoundDuct), ElementsAre());
  EXPECT_EQ(bench.Count(kCuts), 2U);
}

// How many rows there are depends on where a run began.
TEST(TenkaiLadder, KeepsTheDoubledTakeOffRows) {
  const struct {
    std::vector<std::int16_t> versions;
    std::size_t rows;
  } cases[] = {{{2, 22}, 32}, {{3, 22}, 24}, {{4, 22}, 32}, {{6, 22}, 32}, {{2, 3, 22}, 24}};
  for (const auto& test : cases) {
    StepBench bench(Kind::kTenkai, test.versions[0]);
    for (std::size_t i = 1; i < test.versions.size(); ++i) {
      ASSERT_EQ(bench.Upgrade(test.versions[i]), 0);
    }
    EXPECT_EQ(bench.Count(kRoundDuct), test.rows) << test.versions[0];
    EXPECT_EQ(bench.Columns(kRoundDuct).size(), 30U);
    EXPECT_EQ(bench.Values(kVersions, "Ver_No"), Texts{"22"});
    // The take-off rows of step 4 never get their cut widths, those of step 7 do.
    const Texts widths = bench.Values(kRoundDuct, "切幅16t");
    EXPECT_EQ(widths,
              Texts{"0.5"} + Repeat(15, "0") + Repeat(8, kNull) + Repeat(test.rows - 24, "0"));
  }
}

TEST(TenkaiStep18, NumbersFrom25WhateverIsThere) {
  StepBench bench(Kind::kTenkai, 17, ResizeRows("ﾀﾞｸﾄｻｲｽﾞの寸法補正値_BP", 30));
  ASSERT_EQ(bench.Run("Tenkai_Up_18"), 0);
  EXPECT_EQ(bench.Values("ﾀﾞｸﾄｻｲｽﾞの寸法補正値_BP", "ID"), Numbers(1, 30) + Numbers(25, 47));
}

// With the table of cuts there, the end plates get nothing, and step 21 works
// on the table as it is.
TEST(TenkaiSteps20And21, GoOnWithATableThatIsThere) {
  for (const std::int16_t rows : {std::int16_t{2}, std::int16_t{1}}) {
    StepBench bench(Kind::kTenkai, 19);
    bench.Edit([&](db::DbHandle& db) {
      MakeTable(db, kCuts);
      db.AppendColumn(db.GetTable(db.BindCatalog(), kCuts), "x", db::adInteger, 0);
      db.OpenTable(kCuts);
      for (std::int16_t i = 1; i <= rows; ++i) {
        db.AddRow();
        db.SetField("x", i);
      }
      db.SaveRow();
    });
    const Texts end_plate = bench.Columns(kEndPlate);
    EXPECT_EQ(bench.Run({"Tenkai_Up_20", "Tenkai_Up_21"}), rows == 2 ? 0 : ado::kErrNoCurrentRow);
    EXPECT_EQ(bench.Columns(kEndPlate), end_plate);
    EXPECT_EQ(bench.Rows(kCuts), rows == 2 ? (Texts{"1|2|2|", "2|2|2|"}) : Texts{"1|2|2|"});
  }
}

}  // namespace
}  // namespace upgrade_test
