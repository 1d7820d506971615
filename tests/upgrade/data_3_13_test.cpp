// Data steps 3 to 13: process flags, joint methods, shapes.
#include "jet/database/internals.h"
#include "jet/row/table_def_chain.h"
#include "tests/upgrade/step_bench.h"

namespace upgrade_test {
namespace {

// `仕様_名称` with a joint method in every row.
Change WithMethod(std::size_t rows, const jet::Value& method) {
  return [=](Tables& tables) {
    ResizeRows("仕様_名称", rows)(tables);
    TableNamed(tables, "仕様_名称").AddColumn(samples::Text("工法", 50), method);
  };
}

// What is there decides; step 4 looks at the first row alone.
TEST(DataSteps3And4, FillTheJointMethodOfTheFirstRows) {
  const struct {
    const char* name;
    Change change;
    Texts after_3, after_4;
  } cases[] = {
      {"none", WithMethod(6, "なし"), Repeat(6, "なし"),
       Texts{"共板", "FG", " "} + Repeat(3, "なし")},
      {"other", WithMethod(6, "共板"), Repeat(6, "共板"), Repeat(6, "共板")},
      {"Null", WithMethod(6, {}), Repeat(6, kNull), Repeat(6, kNull)},
      {"none by key only", WithMethod(6, "ﾅｼ"), Repeat(6, "ﾅｼ"), Repeat(6, "ﾅｼ")},
      {"one row", ResizeRows("仕様_名称", 1), {"共板"}, {"共板"}},
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.name);
    StepBench bench(Kind::kData, 2, test.change), at_once(Kind::kData, 2, test.change);
    EXPECT_EQ(bench.Run("Data_Up_3"), 0);
    EXPECT_EQ(bench.Values("仕様_名称", "工法"), test.after_3);
    EXPECT_EQ(bench.Run("Data_Up_4"), 0);
    EXPECT_EQ(bench.Values("仕様_名称", "工法"), test.after_4);
    // Step 3 leaves a table open that step 4 can open again.
    EXPECT_EQ(at_once.Run({"Data_Up_3", "Data_Up_4"}), 0);
    EXPECT_EQ(at_once.Values("仕様_名称", "工法"), test.after_4);
  }
}

// Rows that held nothing before the column came may be changed elsewhere.
TEST(DataStep3, RequiresTheMethodOfNewValuesOnly) {
  StepBench bench(Kind::kData, 3);
  const auto set_third = [&](const char* field, const db::Value& value) {
    return bench.Edit([&](db::DbHandle& db) {
      db.OpenTable("仕様_名称");
      db.NextRow();
      db.NextRow();
      db.SetField(field, value);
      db.SaveRow();
    });
  };
  EXPECT_EQ(set_third("ﾌﾚｷ種類2", "HH214"), 0);
  EXPECT_EQ(set_third("工法", std::string("FG")), 0);
  EXPECT_EQ(set_third("工法", jet::Null{}), ado::kErrIntegrity);
  EXPECT_EQ(bench.Value("仕様_名称", "工法", 2), "FG");
}

TEST(DataStep12, LeavesTheFlagToTheDefaultOfItsColumn) {
  for (const char* expression : {"1", "7", ""}) {
    StepBench bench(Kind::kData, 11, [&](Tables& tables) {
      TableNamed(tables, "Spec_形状名（丸副）").columns.back().spec.default_expression = expression;
    });
    ASSERT_EQ(bench.Run("Data_Up_12"), 0);
    EXPECT_EQ(bench.Rows("Spec_形状名（丸副）").back(),
              std::string("59|ﾌﾞﾗｹｯﾄ4|0|0|") + (*expression == 0 ? kNull : expression) + "|");
  }
}

// The blank slot 45, which no sound table holds.
void WithBlankShape(Tables& tables) {
  auto& rows = TableNamed(tables, kShapes).rows;
  rows.insert(rows.begin() + 45, {45, "空欄", 0, 0, 1});
}

// A default that we cannot evaluate does not matter to a step that sets the field.
TEST(DataStep5, LeavesDefaultsOfTheFieldsItSets) {
  const auto with_default = [](const char* column) {
    return [=](Tables& tables) {
      for (samples::BaseColumn& each : TableNamed(tables, kShapes).columns) {
        if (each.spec.name == column) each.spec.default_expression = "=\"x\" & \"y\"";
      }
    };
  };
  for (const char* column : {"形状名", "ﾘｽﾄID"}) {
    StepBench bench(Kind::kData, 4, with_default(column));
    EXPECT_EQ(bench.Run("Data_Up_5"), 0) << column;
    EXPECT_EQ(bench.Rows(kShapes).back(), "120|丸ｴﾙﾎﾞ_分割|0|0|1|");
  }
}

TEST(DataStep13, AddsItsRowsToExactly144) {
  const struct {
    const char* name;
    Change change;
    std::size_t deleted;
    std::size_t before, after;
  } cases[] = {
      {"standard", {}, 0, 144, 146},
      {"one less", ResizeRows(kShapes, 117), 0, 143, 143},
      {"one more", WithBlankShape, 0, 145, 145},
      {"one more, deleted", WithBlankShape, 1, 144, 146},
  };
  for (const auto& test : cases) {
    StepBench bench(Kind::kData, 12, test.change);
    bench.DeleteRows(kShapes, 45, test.deleted);
    EXPECT_EQ(bench.Count(kShapes), test.before) << test.name;
    EXPECT_EQ(bench.Run("Data_Up_13"), 0) << test.name;
    EXPECT_EQ(bench.Count(kShapes), test.after) << test.name;
  }
}

// Rows that are there count, not what the definition says of them.
TEST(DataStep13, CountsTheRowsItself) {
  for (const std::size_t rows : {std::size_t{144}, std::size_t{143}}) {
    StepBench bench(Kind::kData, 12, ResizeRows(kShapes, rows - 26));
    bench.Edit([&](db::DbHandle&) {
      jet::Pager& pager = jet::Internals(bench.database()).pager();
      jet::TableDef def = DefOf(*bench.database().OpenTable(kShapes));
      EXPECT_EQ(def.row_count, rows);
      def.row_count = rows == 144 ? 143 : 144;
      jet::Scope scope(pager);
      jet::StoreCounters(def, pager);
      scope.Commit();
    });
    EXPECT_NE(bench.database().OpenTable(kShapes)->row_count(), rows);
    ASSERT_EQ(bench.Run("Data_Up_13"), 0);
    EXPECT_EQ(bench.Count(kShapes), rows == 144 ? 146U : 143U);
  }
}

// With the blank row the counts never meet again: the English names are one row
// short, and the whole ladder ends there.
TEST(DataStep13, DecidesWhetherTheEnglishNamesFit) {
  StepBench bench(Kind::kData, 2, WithBlankShape);
  EXPECT_EQ(bench.Upgrade(27), ado::kErrNoCurrentRow);
  EXPECT_EQ(bench.Values(kVersions, "Ver_No"), Texts{"2"});
  EXPECT_EQ(bench.Count(kShapes), 152U);
  EXPECT_EQ(bench.Value(kShapes, "形状名_英語", 151), "SP S90");
  // The next run begins at the stored version, on its own columns.
  EXPECT_EQ(bench.Upgrade(27), ado::kErrColumnExists);
}

}  // namespace
}  // namespace upgrade_test
