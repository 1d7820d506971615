// The Tenkai steps.
#include "tests/upgrade/step_bench.h"

namespace upgrade_test {
namespace {

using testing::Each;
using testing::ElementsAre;

constexpr const char* kRoundDuct = "丸ダクト設定";
constexpr const char* kCuts = "丸ダクトカット設定";
constexpr const char* kEndPlate = "ﾂﾏ板設定";
constexpr const char* kCodes = "設定_材質板厚ｺｰﾄﾞ";

Texts Last(const Texts& texts, std::ptrdiff_t count) {
  return Texts(texts.end() - count, texts.end());
}

TEST(TenkaiSteps3And5, AddAllowancesToEveryMaterial) {
  StepBench bench(Kind::kTenkai, 5);
  for (const char* material : {"亜鉛鉄板", "SUS", "塩ﾋﾞ", "鋼板"}) {
    const std::string ending(material);
    EXPECT_EQ(Last(bench.Rows("ｼﾛ_ｱﾝｸﾞﾙ別設定_" + ending), 2),
              (Texts{"ﾒｯﾂ|ﾌﾗﾝｼﾞｼﾛ|30|30|30|30|30|0|0|0|", "ﾒｯﾂ|返しｼﾛ|-5|-5|-5|-5|-5|0|0|0|"}));
    const Texts rows = Last(bench.Rows("ｼﾛ_接合種類別設定_" + ending), 8);
    EXPECT_EQ(rows[0], "ﾊｾﾞ抜き|ﾌﾗﾝｼﾞｼﾛ|50|50|50|50|50|50|50|50|");
    EXPECT_EQ(rows[7], "ﾐﾐ付共板|返しｼﾛ|45|45|45|45|45|45|45|45|");
  }
  EXPECT_EQ(bench.Run({"Tenkai_Up_3", "Tenkai_Up_5"}), 0);
  EXPECT_EQ(bench.Count("ｼﾛ_ｱﾝｸﾞﾙ別設定_SUS"), 10U);
  EXPECT_EQ(bench.Count("ｼﾛ_接合種類別設定_SUS"), 24U);
}

// Columns are found by their names, however they read: "05" is no number.
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

TEST(TenkaiStep4, BuildsTheRoundDuctSettings) {
  StepBench bench(Kind::kTenkai, 4);
  EXPECT_EQ(bench.Columns(kRoundDuct).size(), 17U);
  EXPECT_THAT(bench.Columns(kRoundDuct), Each(testing::EndsWith("!")));
  EXPECT_EQ(bench.Columns(kRoundDuct)[11], "接合部カット 2 0!");
  const Texts rows = bench.Rows(kRoundDuct);
  ASSERT_EQ(rows.size(), 24U);
  EXPECT_EQ(rows[0], "亜鉛鉄板|繋ぎﾊｾﾞ|S|5|5|5|5|5|0|0|0|1|800|1000|1500|2000|9999|");
  EXPECT_EQ(rows[1], "亜鉛鉄板|繋ぎﾊｾﾞ|W|10|10|10|10|10|0|0|0|0|0|0|0|0|0|");
  EXPECT_EQ(rows[10], "塩ビ両面|接合ﾊｾﾞ|S|0|0|0|0|0|0|0|0|0|0|0|0|0|0|");
  EXPECT_EQ(rows[15], "鋼板|接合ﾊｾﾞ|W|10|10|10|10|10|0|0|0|0|0|0|0|0|0|");
  EXPECT_EQ(rows[16], "亜鉛鉄板|取出し口ﾊｾﾞ|T|15|15|15|15|15|0|0|0|0|0|0|0|0|0|");
  EXPECT_EQ(rows[23], "鋼板|取出し口ﾊｾﾞ|Y|15|15|15|15|15|0|0|0|0|0|0|0|0|0|");
  EXPECT_EQ(bench.Run("Tenkai_Up_4"), 0);
  EXPECT_EQ(bench.Rows(kRoundDuct), rows);
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
    EXPECT_EQ(bench.Values(kRoundDuct, "R・RTﾊｾﾞ形式"), Texts{"0"} + Repeat(test.rows - 1, kNull));
    EXPECT_EQ(bench.Values(kRoundDuct, "丸ﾀﾞｸﾄﾏｰｷﾝｸﾞ設定"),
              Texts{"2"} + Repeat(test.rows - 1, kNull));
  }
}

// Steps that count on rows: how many they need, and what a table that is one
// short holds after the failure.
TEST(TenkaiSteps, FailBehindTheLastRow) {
  const struct {
    std::int16_t version;
    const char* step;
    const char* table;
    std::size_t rows;
    const char* field;
    std::vector<std::string> values;  // of the field in the last rows, one short
  } cases[] = {
      {5, "Tenkai_Up_6", kRoundDuct, 16, "重ねシロ線", Repeat(15, "0")},
      {6, "Tenkai_Up_7", kRoundDuct, 1, "切幅05t", {}},
      {7, "Tenkai_Up_8", "接続口基本設定", 1, "差込ｶｯﾄ_Ha2", {}},
      {11, "Tenkai_Up_12", kCodes, 6, "23", {"18", "28", "48", "38", "58"}},
      {12, "Tenkai_Up_13", kCodes, 6, "23", {"18", "28", "48", "38", "58"}},
      {13, "Tenkai_Up_14", kEndPlate, 1, "5面Boxﾊｾﾞ抜きミミ", {}},
      {15,
       "Tenkai_Up_16",
       "設定_円弧分割数",
       10,
       "丸ダクト分割数",
       {"40", "40", "60", "60", "80", "80", "100", "100", "100"}},
      {17, "Tenkai_Up_18", "ﾀﾞｸﾄｻｲｽﾞの寸法補正値_BP", 1, "ID", {}},
      {18,
       "Tenkai_Up_19",
       "設定_材質別ｺｰﾄﾞ",
       9,
       "材質・板厚ID",
       {"1", "2", "3", "4", "5", "6", "1", "2"}},
      {20, "Tenkai_Up_21", kCuts, 2, "オーバル開口補正", {"2"}},
      {21, "Tenkai_Up_22", kRoundDuct, 1, "丸ﾀﾞｸﾄﾏｰｷﾝｸﾞ設定", {}},
      {21,
       "Tenkai_Up_22",
       "設定_Box板取形状",
       6,
       "BL5面Box",
       {"1枚取り", "2枚取り", "3枚取り", "4枚取り", "5枚取り"}},
  };
  for (const auto& test : cases) {
    for (std::size_t rows : {test.rows, test.rows - 1}) {
      StepBench bench(Kind::kTenkai, test.version);
      bench.DeleteRows(test.table, rows);
      ASSERT_EQ(bench.Count(test.table), rows) << test.step;
      const bool enough = rows == test.rows;
      EXPECT_EQ(bench.Run(test.step), enough ? 0 : ado::kErrNoCurrentRow) << test.step;
      if (!enough) {
        EXPECT_EQ(bench.Values(test.table, test.field), test.values) << test.step;
      }
    }
  }
}

TEST(TenkaiSteps8To17, AddSettingsToTheFirstRow) {
  StepBench bench(Kind::kTenkai, 17);
  const struct {
    const char* table;
    std::size_t columns;
    const char* row;
  } cases[] = {
      {"接続口基本設定", 9, "1|5|45|10|10|0|30|4|20|"},
      {"板取設定_角丸", 4, "1|2|3|0|"},
      {"設定_NEST", 5, "1|10|0|1|1|"},
      {kEndPlate, 20, "1|21.5|22.5|23.5|24.5|3|4|18|12|20|12|15|15|15|21.5|22.5|23.5|24.5|3|4|"},
      {"形状別設定", 7, "1|20|35.5|35.5|0|0|0|"},
      {"印刷初期値", 3, "1|A4|1|"},
      {"設定_CADLink", 11, "1|C:\\CADLink|1|0|0|0|0|0|0|0|0|"},
  };
  for (const auto& test : cases) {
    EXPECT_EQ(bench.Rows(test.table), Texts{test.row});
    EXPECT_EQ(bench.Columns(test.table).size(), test.columns) << test.table;
  }
  EXPECT_EQ(bench.Columns("接続口基本設定")[5], "ﾊｾﾞ差ミミフラグ 2 0!");
  EXPECT_EQ(bench.Columns(kEndPlate)[10], "ハゼ抜き長さ(重ね回避)_W 5 0!");
  EXPECT_EQ(bench.Columns(kEndPlate)[19], "5面Boxﾊｾﾞ抜きミミ 3 0!");
  EXPECT_EQ(bench.Values("設定_円弧分割数", "丸ダクト分割数"),
            (Texts{"40", "40", "60", "60", "80", "80"} + Repeat(4, "100") + Texts{kNull}));
  EXPECT_THAT(Last(bench.Values("設定_直管板取形状", "板取り形状"), 2),
              ElementsAre("グル巻き\u0020分割なし", "グル巻き\u0020分割あり"));
}

TEST(TenkaiStep14, RefusesToCopyNull) {
  StepBench bench(Kind::kTenkai, 13, [](Tables& tables) {
    BaseTable& table = TableNamed(tables, kEndPlate);
    for (samples::BaseColumn& column : table.columns) column.spec.required = false;
    table.At(0, "Boxハゼ抜きパターン") = jet::Null{};
  });
  EXPECT_EQ(bench.Run("Tenkai_Up_14"), ado::kErrIntegrity);
  EXPECT_EQ(bench.Columns(kEndPlate).size(), 20U);
  EXPECT_EQ(bench.Values(kEndPlate, "5面Box繋ぎﾊｾﾞ_ｾﾝﾀｰ_S"), Texts{kNull});
}

// Each table is finished before the next is touched.
TEST(TenkaiSteps15And16, KeepTheTablesBeforeAFailure) {
  const struct {
    std::int16_t version;
    const char* step;
    const char* there;  // a column of the second table
    const char* second;
    const char* first;
    const char* row;
  } cases[] = {
      {14, "Tenkai_Up_15", "ドン付キザミHb", "接続口基本設定", "形状別設定",
       "1|20|35.5|35.5|0|0|0|"},
      {15, "Tenkai_Up_16", "表示㎡", "印刷初期値", "設定_NEST", "1|10|0|1|1|"},
  };
  for (const auto& test : cases) {
    StepBench bench(Kind::kTenkai, test.version);
    bench.Edit([&](db::DbHandle& db) {
      db.AppendColumn(db.GetTable(db.BindCatalog(), test.second), test.there, db::adDouble, 0);
    });
    EXPECT_EQ(bench.Run(test.step), ado::kErrColumnExists);
    EXPECT_EQ(bench.Rows(test.first), Texts{test.row});
  }
}

TEST(TenkaiStep18, NumbersFrom25WhateverIsThere) {
  for (std::size_t count : {24U, 30U}) {
    StepBench bench(Kind::kTenkai, 17, ResizeRows("ﾀﾞｸﾄｻｲｽﾞの寸法補正値_BP", count));
    ASSERT_EQ(bench.Run("Tenkai_Up_18"), 0);
    EXPECT_EQ(bench.Values("ﾀﾞｸﾄｻｲｽﾞの寸法補正値_BP", "ID"),
              Numbers(1, static_cast<int>(count)) + Numbers(25, 47));
    const Texts rows = Last(bench.Rows("ﾀﾞｸﾄｻｲｽﾞの寸法補正値_三井ﾊｾﾞ"), 23);
    EXPECT_EQ(rows.front(), "25|直管|共通|L寸|0|0|0|0|0|0|0|0|");
    EXPECT_EQ(rows.back(), "47|切板|なし|H|0|0|0|0|0|0|0|0|");
  }
}

TEST(TenkaiSteps12And13, RewriteSixRows) {
  StepBench bench(Kind::kTenkai, 11, ResizeRows(kCodes, 7));
  ASSERT_EQ(bench.Run("Tenkai_Up_12"), 0);
  const Texts rows = bench.Rows(kCodes);
  EXPECT_EQ(rows[0], "1|亜鉛|11|12|13|14|15|16|17|18|");
  EXPECT_EQ(rows[3], "4|塩ﾋﾞ片面|31|32|33|34|35|36|37|38|");
  EXPECT_EQ(rows[6], "7|鋼板|601|602|603|604|605|606|607|608|");
  ASSERT_EQ(bench.Run("Tenkai_Up_13"), 0);
  EXPECT_EQ(bench.Rows(kCodes), rows);
}

TEST(TenkaiStep19, ChangesTheNinthMaterialBeforeADuplicate) {
  for (std::size_t codes : {6U, 7U}) {
    StepBench bench(Kind::kTenkai, 18, ResizeRows(kCodes, codes));
    EXPECT_EQ(bench.Run("Tenkai_Up_19"), codes == 6 ? 0 : ado::kErrIntegrity);
    EXPECT_EQ(bench.Value("設定_材質別ｺｰﾄﾞ", "材質・板厚ID", 8), "7");
    EXPECT_EQ(bench.Count(kCodes), 7U);
  }
}

TEST(TenkaiSteps20And21, SetUpCuts) {
  StepBench bench(Kind::kTenkai, 21);
  EXPECT_EQ(bench.Rows(kCuts), (Texts{"1|2|2|5|7|0|3|4|1|1|1|2|2|2|200|3|3|7|7|1|2|2|",
                                      "1|2|2|5|7|0|3|4|1|1|1|2|2|2|99999|5|5|8|8|1|2|2|"}));
  EXPECT_EQ(bench.Columns(kCuts)[14], "R管等重ねシロコーナーカットW上限サイズ 3 0!");
  EXPECT_EQ(bench.Columns(kEndPlate).size(), 26U);
  EXPECT_TRUE(bench.Rows(kEndPlate)[0].ends_with("|0|2|0|2|0|2|"));
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

TEST(TenkaiStep22, WritesTheSixthBoxLayout) {
  StepBench bench(Kind::kTenkai, 22);
  const Texts layouts = bench.Values("設定_Box板取形状", "BL5面Box");
  EXPECT_EQ(layouts[4], "5枚取り");
  EXPECT_EQ(layouts[5], "4枚取り\u3000特殊");
}

}  // namespace
}  // namespace upgrade_test
