// Data steps 3 to 13: process flags, joint methods, shapes.
#include "tests/upgrade/step_bench.h"

namespace upgrade_test {
namespace {

using samples::OfType;
using testing::ElementsAreArray;

// `仕様_名称` with a joint method in every row.
Change WithMethod(std::size_t rows, const jet::Value& method) {
  return [=](Tables& tables) {
    ResizeRows("仕様_名称", rows)(tables);
    TableNamed(tables, "仕様_名称").AddColumn(samples::Text("工法", 50), method);
  };
}

struct Choices {
  const char* name;
  Change change;
  ado::ErrorNumber error3;
  Texts methods3;
  ado::ErrorNumber error4;
  Texts methods4;
};

class Steps3And4 : public testing::TestWithParam<Choices> {};

TEST_P(Steps3And4, FillTheJointMethodOfTheFirstRows) {
  const Choices& choices = GetParam();
  StepBench bench(Kind::kData, 2, choices.change);
  EXPECT_EQ(bench.Run("Data_Up_3"), choices.error3);
  EXPECT_EQ(bench.Values("仕様_名称", "工法"), choices.methods3);
  EXPECT_EQ(bench.Run("Data_Up_4"), choices.error4);
  EXPECT_EQ(bench.Values("仕様_名称", "工法"), choices.methods4);
  EXPECT_EQ(bench.Values("Data_角_単体設定", "取り付けフラグ").size(), 40U);
}

const Texts kFilled = Texts{"共板", "FG"} + Repeat(4, kNull);

INSTANTIATE_TEST_SUITE_P(
    Choices, Steps3And4,
    testing::Values(
        Choices{"Absent", {}, 0, kFilled, 0, kFilled},
        Choices{"None", WithMethod(6, "なし"), 0, Repeat(6, "なし"), 0,
                Texts{"共板", "FG", " "} + Repeat(3, "なし")},
        Choices{"Other", WithMethod(6, "共板"), 0, Repeat(6, "共板"), 0, Repeat(6, "共板")},
        Choices{"Null", WithMethod(6, {}), 0, Repeat(6, kNull), 0, Repeat(6, kNull)},
        Choices{"NoneByKeyOnly", WithMethod(6, "ﾅｼ"), 0, Repeat(6, "ﾅｼ"), 0, Repeat(6, "ﾅｼ")},
        Choices{"TwoRowsOfNone",
                WithMethod(2, "なし"),
                0,
                Repeat(2, "なし"),
                ado::kErrNoCurrentRow,
                {"共板", "FG"}},
        Choices{"OneRow", ResizeRows("仕様_名称", 1), 0, {"共板"}, 0, {"共板"}},
        Choices{"NoRow", ResizeRows("仕様_名称", 0), 0, {}, ado::kErrNoCurrentRow, {}},
        Choices{"NoTable",
                [](Tables& tables) {
                  std::erase_if(tables,
                                [](const auto& table) { return table.name == "仕様_名称"; });
                },
                0,
                {"!-2147217865"},
                ado::kErrNoTable,
                {"!-2147217865"}},
        Choices{"FlagThere",
                [](Tables& tables) {
                  auto& table = TableNamed(tables, "Data_角_単体設定");
                  for (const char* flag : {"切断フラグ", "取り付けフラグ"}) {
                    table.AddColumn(OfType(flag, jet::ColumnType::kBoolean));
                  }
                },
                ado::kErrColumnExists,
                {"!3265"},
                ado::kErrItemNotFound,
                {"!3265"}}),
    [](const auto& info) { return info.param.name; });

TEST(DataStep3, AddsFlagsThatAreFalseInOldRows) {
  StepBench bench(Kind::kData);
  const Texts before = bench.Columns("Data_角_単体設定");
  ASSERT_EQ(bench.Run("Data_Up_3"), 0);
  // A Boolean column is never required.
  EXPECT_THAT(bench.Columns("Data_角_単体設定"),
              ElementsAreArray(before + Texts{"ネスティングフラグ 11 0", "切断フラグ 11 0",
                                              "組み立てフラグ 11 0", "取り付けフラグ 11 0"}));
  EXPECT_EQ(bench.Values("Data_角_単体設定", "ネスティングフラグ"), Repeat(40, "False"));
  EXPECT_EQ(bench.Columns("仕様_名称").back(), "工法 202 50!");
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

TEST(DataStep3, LeavesAnOpenTableThatStep4CanOpenAgain) {
  StepBench bench(Kind::kData, 2, WithMethod(6, "なし"));
  EXPECT_EQ(bench.Run({"Data_Up_3", "Data_Up_4"}), 0);
  EXPECT_EQ(bench.Value("仕様_名称", "工法", 2), " ");
}

// A row is saved by the AddRow of the next; a duplicate shows there.
TEST(DataSteps4And11, KeepTheRowsBeforeADuplicate) {
  const struct {
    std::int32_t there;
    std::int16_t version;
    const char* step;
    Texts ids;
  } cases[] = {
      {16, 3, "Data_Up_4", {"16", "15"}},
      {19, 10, "Data_Up_11", {"19", "15", "16", "17", "18"}},
      {20, 10, "Data_Up_11", {"20", "15", "16", "17", "18", "19"}},
  };
  for (const auto& test : cases) {
    StepBench bench(Kind::kData, test.version, [&](Tables& tables) {
      TableNamed(tables, "Spec_工法").rows.push_back({test.there, "x"});
    });
    EXPECT_EQ(bench.Run(test.step), ado::kErrIntegrity) << test.there;
    EXPECT_EQ(bench.Values("Spec_工法", "工法ID"), Numbers(0, 14) + test.ids);
  }
}

TEST(DataSteps5To13, AddShapesInOrder) {
  StepBench bench(Kind::kData, 13);
  EXPECT_EQ(bench.Values(kShapes, "形状名ID"), Numbers(0, 44) + Numbers(46, 146));
  EXPECT_EQ(bench.Values("Spec_工法", "工法ID"), Numbers(0, 20));
  const Texts rows = bench.Rows(kShapes);
  EXPECT_EQ(rows[118], "119|丸ｴﾙﾎﾞ_外繋ぎ|0|0|1|");
  EXPECT_EQ(rows[145], "146|勾配閉止板_FG|0|0|1|");
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

// A default that we cannot evaluate is no matter to a step that sets the field.
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
      jet::Table& table = *bench.database().OpenTable(kShapes);
      jet::TableDef def = table.def();
      EXPECT_EQ(def.row_count, rows);
      def.row_count = rows == 144 ? 143 : 144;
      jet::Scope scope(table.allocator().pager());
      def.StoreCounters(table.allocator().pager());
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
