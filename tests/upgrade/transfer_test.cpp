// Data step 14: the pickup transfer.
#include <set>
#include <span>

#include "tests/upgrade/step_bench.h"

namespace upgrade_test {
namespace {

using testing::ElementsAre;

constexpr const char* kTransferBase = "拾い転送_Base";
constexpr const char* kShapeConversion = "拾い転送_形状名称変換";
constexpr const char* kAccessoryConversion = "拾い転送_形状名称変換_副資材";

// The eleven tables in the order in which they come, with the number of their columns.
const std::pair<const char*, std::size_t> kTables[] = {
    {kTransferBase, 66},      {"拾い転送_キャンバス変換", 3}, {"拾い転送_フレキ変換", 3},
    {kShapeConversion, 6},    {kAccessoryConversion, 8},      {"拾い転送_系統変換", 4},
    {"拾い転送_工法変換", 3}, {"拾い転送_材質変換", 3},       {"拾い転送_選択形状", 1},
    {"拾い転送_選択物件", 2}, {"Data_拾いＩＤ", 1},
};

// Any of the tables in the way ends the step, quietly.
TEST(DataStep14, EndsAtATableThatIsThere) {
  const struct {
    const char* there;
    void (*make)(db::DbHandle&, std::string_view);
    std::size_t created;
  } cases[] = {
      {kTransferBase, MakeTable, 0},       {"拾い転送_BASE", MakeTable, 0},
      {"拾い転送_ﾌﾚｷ変換", MakeTable, 2},  {"拾い転送_系統変換", MakeTable, 5},
      {"拾い転送_系統変換", MakeQuery, 5}, {"Data_拾いID", MakeTable, 10},
  };
  for (const auto& test : cases) {
    StepBench bench(Kind::kData, 13);
    ASSERT_EQ(bench.Edit([&](db::DbHandle& db) { test.make(db, test.there); }), 0);
    const Texts before = bench.Tables(), queries = bench.Queries();
    EXPECT_EQ(bench.Run("Data_Up_14"), 0) << test.there;
    Texts created;
    for (const auto& [name, columns] : std::span(kTables).first(test.created)) {
      created.emplace_back(name);
      EXPECT_EQ(bench.Columns(name).size(), columns) << name;
      EXPECT_EQ(bench.Count(name), 0U) << name;
    }
    EXPECT_EQ(bench.Tables(), before + created) << test.there;
    EXPECT_EQ(bench.Queries(), queries);
    // Nothing gave the reinforcements their column, which the ladder misses next.
    EXPECT_EQ(bench.Upgrade(27), ado::kErrItemNotFound) << test.there;
    EXPECT_EQ(bench.Values(kVersions, "Ver_No"), Texts{"13"});
  }
}

void WithTransferName(Tables& tables) {
  TableNamed(tables, kReinforcements).AddColumn(samples::Text("転送名称", 50));
}

// The step fails behind its tables. The next run ends quietly at the first of
// them and goes on to the latest version, without rows and without queries.
TEST(DataStep14, IsNotMadeUpForAfterAFailure) {
  StepBench bench(Kind::kData, 13, WithTransferName);
  EXPECT_EQ(bench.Upgrade(27), ado::kErrColumnExists);
  for (const auto& table : kTables) EXPECT_EQ(bench.Count(table.first), 0U);
  EXPECT_EQ(bench.Upgrade(27), 0);
  EXPECT_EQ(bench.Values(kVersions, "Ver_No"), Texts{"27"});
  EXPECT_EQ(bench.Values(kShapeConversion, "形状名ＩＤ"), Numbers(147, 160));
  EXPECT_EQ(bench.Count(kAccessoryConversion), 0U);
  EXPECT_THAT(bench.Queries(), ElementsAre("拾い転送_データ転記Add"));
}

// The error of the early end is gone when step 16 has created its table.
TEST(DataStep14, LeavesNoErrorToTheNextStep) {
  StepBench bench(Kind::kData, 13, WithTransferName);
  bench.Edit([](db::DbHandle& db) { MakeTable(db, kTransferBase); });
  EXPECT_EQ(bench.Upgrade(27), ado::kErrNoTable);  // no conversion table for 16b
  EXPECT_EQ(bench.Columns("拾い転送_共板FG").size(), 7U);
  EXPECT_EQ(bench.Count("拾い転送_設定"), 1U);
}

// By position, whatever the row says.
TEST(DataSteps14And15, NameTheReinforcements) {
  const Texts names = Texts{"なし"} + Repeat(4, "FG") + Repeat(5, "補強") + Texts{"縦補強", "補強"};
  for (std::size_t count : {0U, 1U, 5U, 11U, 12U}) {
    StepBench bench(Kind::kData, 13, ResizeRows(kReinforcements, count));
    const Texts expected(names.begin(), names.begin() + static_cast<std::ptrdiff_t>(count));
    EXPECT_EQ(bench.Run("Data_Up_14"), 0);
    EXPECT_EQ(bench.Values(kReinforcements, "転送名称"), expected);
    EXPECT_EQ(bench.Run("Data_Up_15"), 0);
    EXPECT_EQ(bench.Values(kReinforcements, "転送名称"), expected);
  }
}

// The counters are 16 bits wide. Step 14 counts before it saves a row, step 15
// after it, step 16 from 1.
TEST(DataSteps14To16, OverflowBehindTheLastCounter) {
  StepBench bench(Kind::kData, 13, [](Tables& tables) {
    ResizeRows(kReinforcements, 32768)(tables);
    ResizeRows("Spec_ﾌﾚｷ種類名", 32767)(tables);
  });
  EXPECT_EQ(bench.Run("Data_Up_14"), ado::kErrOverflow);
  EXPECT_EQ(bench.Value(kReinforcements, "転送名称", 32766), "補強");
  EXPECT_EQ(bench.Value(kReinforcements, "転送名称", 32767), kNull);
  EXPECT_THAT(bench.Queries(), ElementsAre());
  EXPECT_EQ(bench.Run("Data_Up_15"), ado::kErrOverflow);
  EXPECT_EQ(bench.Value(kReinforcements, "転送名称", 32767), "補強");
  EXPECT_EQ(bench.Run("Data_Up_16b"), ado::kErrOverflow);
  EXPECT_EQ(bench.Value("Spec_ﾌﾚｷ種類名", "ﾌﾚｷ種類名", 15), "HH24ACNN端末なし");

  bench.DeleteRows(kReinforcements, 32767);
  bench.DeleteRows("Spec_ﾌﾚｷ種類名", 32766);
  EXPECT_EQ(bench.Run({"Data_Up_15", "Data_Up_16b"}), 0);
}

// One table four times over, and all fields that a table has when it is asked.
TEST(TransferQueries, GiveEveryFieldANameOfItsOwn) {
  StepBench bench(Kind::kData, 27);
  const Texts fields = bench.Fields("拾い転送_クエリー");
  EXPECT_EQ(std::ranges::count_if(
                fields, [](const std::string& name) { return name.ends_with("拾い工法名"); }),
            4);
  EXPECT_EQ(std::set<std::string>(fields.begin(), fields.end()).size(), fields.size());
  bench.Edit([](db::DbHandle& db) {
    db.AppendColumn(db.GetTable(db.BindCatalog(), "Data_角_ｻｲｽﾞ"), "R9", db::adDouble, 0);
  });
  EXPECT_EQ(bench.Fields("拾い転送_クエリー").size(), fields.size() + 1);
}

}  // namespace
}  // namespace upgrade_test
