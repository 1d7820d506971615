// Data steps 15 to 27, and the English names.
#include "tests/upgrade/step_bench.h"

namespace upgrade_test {
namespace {

using testing::ElementsAre;

constexpr const char* kAccessoryConversion = "拾い転送_形状名称変換_副資材";
constexpr const char* kFlexible = "Spec_ﾌﾚｷ種類名";
constexpr const char* kEnglish = "形状名_英語";

TEST(DataStep16, RewritesTheFifthReinforcement) {
  for (std::size_t count : {0U, 4U, 5U, 12U}) {
    StepBench bench(Kind::kData, 15, ResizeRows(kReinforcements, count));
    Texts expected = bench.Values(kReinforcements, "転送名称");
    if (count > 4) expected[4] = "なし";
    EXPECT_EQ(bench.Run("Data_Up_16a"), 0) << count;
    EXPECT_EQ(bench.Values(kReinforcements, "転送名称"), expected);
    EXPECT_EQ(bench.Columns("拾い転送_共板FG").size(), 7U);
    EXPECT_EQ(bench.Rows("拾い転送_設定"), Texts{"1|1|"});
  }
}

TEST(DataStep16, ToleratesItsSecondTable) {
  StepBench bench(Kind::kData, 15);
  bench.Edit([](db::DbHandle& db) { MakeTable(db, "拾い転送_設定"); });
  // Without a reopen, the steps behind it still see the schema.
  EXPECT_EQ(bench.Run({"Data_Up_16a", "Data_Up_16b", "Data_Up_17"}), 0);
  EXPECT_THAT(bench.Columns("拾い転送_設定"), ElementsAre());
  EXPECT_EQ(bench.Columns("拾い転送_共板FG").size(), 7U);
  EXPECT_EQ(bench.Rows("ZVT6設定"), Texts{"0|"});
}

TEST(DataStep16, NamesFlexibleDuctsByPosition) {
  for (std::size_t count : {16U, 14U, 10U}) {
    StepBench bench(Kind::kData, 15, ResizeRows(kFlexible, count));
    Texts ducts = bench.Values(kFlexible, "ﾌﾚｷ種類名");
    Texts conversions = bench.Values("拾い転送_フレキ変換", "ﾌﾚｷ名称");
    Texts choices = bench.Values("仕様_名称", "ﾌﾚｷ種類2");
    for (Texts* names : {&ducts, &conversions}) {
      names->resize(16);
      (*names)[10] = "HH214";
      (*names)[11] = "HH24ACNN";
      (*names)[14] = "HH214端末なし";
      (*names)[15] = "HH24ACNN端末なし";
    }
    ducts.resize(count);
    choices[2] = "HH214";
    choices[3] = "HH24ACNN";
    ASSERT_EQ(bench.Run("Data_Up_16b"), 0) << count;
    EXPECT_EQ(bench.Values(kFlexible, "ﾌﾚｷ種類名"), ducts);
    EXPECT_EQ(bench.Values("仕様_名称", "ﾌﾚｷ種類2"), choices);
    EXPECT_EQ(bench.Values("拾い転送_フレキ変換", "ﾌﾚｷ名称"), conversions);
  }
}

TEST(DataStep17, AddsTheColumnEvenWhereItsTableIs) {
  StepBench bench(Kind::kData, 16);
  bench.Edit([](db::DbHandle& db) { MakeTable(db, "ZVT6設定"); });
  EXPECT_EQ(bench.Run("Data_Up_17"), 0);
  EXPECT_EQ(bench.Columns("Data_ﾒｲﾝ_設定").back(), "伝票番号 202 50!");
  EXPECT_THAT(bench.Columns("ZVT6設定"), ElementsAre());
}

// The English column is required: where it came too early, shapes that do not
// set it are refused from then on.
TEST(EngApply, SpoilsTheLadderBeforeStep18Only) {
  for (std::int16_t version : {std::int16_t{13}, std::int16_t{17}}) {
    StepBench bench(Kind::kData, version);
    EXPECT_EQ(bench.Run("Eng_Apply"), ado::kErrNoCurrentRow);
    EXPECT_EQ(bench.Value(kShapes, kEnglish, 145), "Gradient Closure FG");
    EXPECT_EQ(bench.Upgrade(27), ado::kErrIntegrity);
    EXPECT_EQ(bench.Count(kShapes), 146U);
    EXPECT_EQ(bench.Columns("Data_角_開口").back(), "開口基点 5 0!");
    EXPECT_EQ(bench.Run("Eng_Apply"), 0);
  }
  StepBench early(Kind::kData, 18), ladder(Kind::kData, 18);
  EXPECT_EQ(early.Run("Eng_Apply"), 0);
  EXPECT_EQ(early.Upgrade(27), 0);
  EXPECT_EQ(ladder.Upgrade(27), 0);
  EXPECT_EQ(early.Content(), ladder.Content());
}

TEST(EngApply, FillsThe153FirstRowsByPosition) {
  StepBench bench(Kind::kData, 18, [](Tables& tables) {
    auto& rows = TableNamed(tables, kShapes).rows;
    std::swap(rows[1], rows[3]);
  });
  bench.Edit([&](db::DbHandle&) {
    const std::int16_t zero = 0;
    bench.database().OpenTable(kShapes)->Insert(
        std::vector<jet::Value>{std::int32_t{900}, "x", zero, zero, zero});
  });
  ASSERT_EQ(bench.Run("Eng_Apply"), 0);
  const Texts names = bench.Values(kShapes, kEnglish);
  EXPECT_EQ(names[1], "Standard");
  EXPECT_EQ(Texts(names.begin() + 152, names.end()), (Texts{"Variety Short", kNull}));
}

TEST(DataStep19, AddsRowsThatNeedTheEnglishColumn) {
  StepBench bench(Kind::kData, 18);
  EXPECT_EQ(bench.Run("Data_Up_19"), ado::kErrItemNotFound);
}

TEST(EngApply, LooksForTheExactColumn) {
  const struct {
    const char* column;
    ado::ErrorNumber error;
    const char* behind;
  } cases[] = {{kEnglish, 0, nullptr},
               {kEnglish, 0, "備考"},
               {"形状名\uFF3F英語", ado::kErrColumnExists, nullptr}};
  for (const auto& test : cases) {
    StepBench bench(Kind::kData, 18);
    bench.Edit([&](db::DbHandle& db) {
      const db::Table shapes = db.GetTable(db.BindCatalog(), kShapes);
      db.AppendColumn(shapes, test.column, db::adInteger, 0);
      if (test.behind != nullptr) db.AppendColumn(shapes, test.behind, db::adInteger, 0);
    });
    const auto before = bench.Content();
    EXPECT_EQ(bench.Run("Eng_Apply"), test.error);
    EXPECT_EQ(bench.Content(), before);
  }
}

TEST(DataStep21, SkipsItsRestAtATableThatIsThere) {
  const struct {
    const char* there;
    std::size_t totals;
  } cases[] = {{"Data_丸副_集計", 0}, {"拾い転送_㎡別数量", 7}};
  for (const auto& test : cases) {
    StepBench bench(Kind::kData, 20);
    bench.Edit([&](db::DbHandle& db) { MakeTable(db, test.there); });
    const Texts settings = bench.Columns("拾い転送_設定"), names = bench.Rows(kReinforcements);
    EXPECT_EQ(bench.Run("Data_Up_21"), 0);
    EXPECT_EQ(bench.Columns("Data_丸副_集計").size(), test.totals);
    EXPECT_NE(bench.Columns("拾い転送_㎡別数量").size(), 4U);
    EXPECT_EQ(bench.Columns("拾い転送_設定"), settings);
    EXPECT_EQ(bench.Rows(kReinforcements), names);
  }
}

void WithoutReinforcementKey(Tables& tables) {
  TableNamed(tables, kReinforcements).columns[0].key = false;
}

// Step 21 changes the first match, step 23 every one; without a match nothing fails.
TEST(DataSteps21And23, ChangeTheFirstOrEveryMatch) {
  for (int matches : {0, 1, 2}) {
    StepBench bench(Kind::kData, 20, [&](Tables& tables) {
      WithoutReinforcementKey(tables);
      auto& rows = TableNamed(tables, kReinforcements).rows;
      if (matches == 0) rows[4][0] = jet::Null();
      if (matches == 2) rows[7][0] = 4;
    });
    bench.Edit([&](db::DbHandle& db) {
      db.OpenTable(kAccessoryConversion);
      for (int row = 1; row < 30; ++row) db.NextRow();
      if (matches == 0) db.SetField("形状名ID", std::int16_t{99});
      if (matches == 2) {
        db.NextRow();
        db.SetField("形状名ID", std::int16_t{30});
      }
      db.SaveRow();
    });
    Texts names = bench.Values(kReinforcements, "転送名称");
    ASSERT_EQ(bench.Run("Data_Up_21"), 0);
    EXPECT_EQ(bench.Value(kAccessoryConversion, "変更形状名", 29), matches == 0 ? "補強" : "ＦＧ");
    EXPECT_EQ(bench.Value(kAccessoryConversion, "変更形状名", 30), "-");
    if (matches > 0) names[4] = "ＦＧ";
    EXPECT_EQ(bench.Values(kReinforcements, "転送名称"), names);
    ASSERT_EQ(bench.Run({"Data_Up_22", "Data_Up_23"}), 0);
    if (matches > 0) names[4] = "相ＦＧ";
    if (matches == 2) names[7] = "相ＦＧ";
    EXPECT_EQ(bench.Values(kReinforcements, "転送名称"), names);
  }
}

// The query asks for the new column by another width, in the session that made it.
TEST(DataStep23, StoresAQueryThatRunsAtOnce) {
  StepBench bench(Kind::kData, 22);
  bench.Edit([&](db::DbHandle&) {
    std::ranges::find(bench.ladder().steps(), "Data_Up_23", &db::LadderStep::name)->run();
    EXPECT_EQ(bench.Fields("拾い転送_データ転記Add").back(), "相FGの合計");
  });
}

TEST(DataSteps24And25, NameOpeningsByStoredPosition) {
  StepBench bench(Kind::kData, 23, SetRows("Spec_開口形状", {{2, "丸"}, {1, "角"}}));
  EXPECT_EQ(bench.Run({"Data_Up_24", "Data_Up_25"}), 0);
  EXPECT_THAT(bench.Rows("Spec_開口形状"),
              ElementsAre("2|四角|", "1|角|", "3|ｵｰﾊﾞﾙ|", "4|ｵｰﾊﾞﾙ横指定|", "5|ｵｰﾊﾞﾙ縦指定|"));
}

TEST(DataStep27, PassesOverAShapeThatIsNotThere) {
  StepBench bench(Kind::kData, 26);
  bench.DeleteRows(kShapes, 158);
  ASSERT_EQ(bench.Run("Data_Up_27"), 0);
  EXPECT_EQ(bench.Count(kShapes), 159U);
  EXPECT_EQ(bench.Rows(kShapes).back(), "160|ｶﾞﾗﾘﾁｬﾝﾊﾞｰﾎﾞｯｸｽ型|0|0|1|Louver Box|");
}

}  // namespace
}  // namespace upgrade_test
