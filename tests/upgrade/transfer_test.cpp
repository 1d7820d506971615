// Data step 14: the pickup transfer.
#include <map>
#include <set>

#include "jet/text.h"
#include "tests/upgrade/step_bench.h"

namespace upgrade_test {
namespace {

using testing::Contains;
using testing::Each;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsSupersetOf;

constexpr const char* kBase = "拾い転送_Base";
constexpr const char* kShapeConversion = "拾い転送_形状名称変換";
constexpr const char* kAccessoryConversion = "拾い転送_形状名称変換_副資材";

// The eleven tables in the order in which they come, with their columns and rows.
const struct {
  const char* name;
  std::size_t columns, rows;
} kTables[] = {
    {kBase, 66, 0},
    {"拾い転送_キャンバス変換", 3, 6},
    {"拾い転送_フレキ変換", 3, 16},
    {kShapeConversion, 6, 146},
    {kAccessoryConversion, 8, 59},
    {"拾い転送_系統変換", 4, 6},
    {"拾い転送_工法変換", 3, 21},
    {"拾い転送_材質変換", 3, 11},
    {"拾い転送_選択形状", 1, 0},
    {"拾い転送_選択物件", 2, 0},
    {"Data_拾いＩＤ", 1, 0},
};

TEST(DataStep14, CreatesAndFillsItsTables) {
  StepBench bench(Kind::kData, 13);
  const Texts before = bench.Tables();
  ASSERT_EQ(bench.Run("Data_Up_14"), 0);
  Texts names;
  for (const auto& table : kTables) {
    names.push_back(table.name);
    EXPECT_EQ(bench.Columns(table.name).size(), table.columns) << table.name;
    EXPECT_EQ(bench.Count(table.name), table.rows) << table.name;
    if (std::string_view(table.name) != kBase) {
      EXPECT_THAT(bench.Columns(table.name), Each(EndsWith("!"))) << table.name;
    }
  }
  EXPECT_EQ(bench.Tables(), before + names);
  EXPECT_EQ(bench.Columns(kReinforcements).back(), "転送名称 202 50!");
}

TEST(DataStep14, KeepsTheMixedWidthsOfTheWorkTable) {
  StepBench bench(Kind::kData, 14);
  const Texts columns = bench.Columns(kBase);
  Texts required, plasma;
  for (const std::string& column : columns) {
    if (column.ends_with('!')) required.push_back(column);
    if (column.find("プラズマ\uFF09") != std::string::npos) plasma.push_back(column);
  }
  EXPECT_THAT(required, ElementsAre("日付 7 0!"));
  EXPECT_EQ(plasma.size(), 5U);
  EXPECT_EQ(columns[2], "入力\uFF29\uFF24 5 0");
  EXPECT_EQ(columns[8], "複数登録 3 0");
  EXPECT_EQ(columns[38], "タイロット 5 0");
  EXPECT_EQ(columns[45], "排煙ダクトシール㎡(プラズマ) 5 0");
  EXPECT_EQ(columns[65], "工法分類_表示 202 50");
  EXPECT_EQ(bench.Columns("拾い転送_選択形状")[0], "入力ID 5 0!");
}

TEST(DataStep14, MakesTheSerialNumberAUniqueKey) {
  StepBench bench(Kind::kData, 14);
  const auto add = [&](const db::Value& number, bool dated) {
    return bench.Edit([&](db::DbHandle& db) {
      db.OpenTable(kBase);
      db.AddRow();
      db.SetField("通し番号", number);
      if (dated) db.SetField("日付", ado::DateTime{40000});
      db.SaveRow();
    });
  };
  EXPECT_EQ(add(1.0, true), 0);
  EXPECT_EQ(add(1.0, true), ado::kErrIntegrity);
  EXPECT_EQ(add(2.0, false), ado::kErrIntegrity);
  EXPECT_EQ(add(jet::Null{}, true), ado::kErrIntegrity);
  EXPECT_EQ(bench.Count(kBase), 1U);
}

// Any of the tables in the way ends the step, quietly.
TEST(DataStep14, EndsAtATableThatIsThere) {
  const struct {
    const char* there;
    void (*make)(db::DbHandle&, std::string_view);
    std::size_t created;
  } cases[] = {
      {kBase, MakeTable, 0},
      {"拾い転送_BASE", MakeTable, 0},
      {"拾い転送_ﾌﾚｷ変換", MakeTable, 2},
      {"拾い転送_系統変換", MakeTable, 5},
      {"拾い転送_系統変換", MakeQuery, 5},
      {"Data_拾いID", MakeTable, 10},
  };
  for (const auto& test : cases) {
    StepBench bench(Kind::kData, 13);
    ASSERT_EQ(bench.Edit([&](db::DbHandle& db) { test.make(db, test.there); }), 0);
    const Texts before = bench.Tables(), queries = bench.QueryNames();
    EXPECT_EQ(bench.Run("Data_Up_14"), 0) << test.there;
    Texts created;
    for (std::size_t i = 0; i < test.created; ++i) {
      created.push_back(kTables[i].name);
      EXPECT_EQ(bench.Columns(created.back()).size(), kTables[i].columns) << created.back();
      EXPECT_EQ(bench.Count(created.back()), 0U) << created.back();
    }
    EXPECT_EQ(bench.Tables(), before + created) << test.there;
    EXPECT_EQ(bench.QueryNames(), queries);
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
  for (const auto& table : kTables) EXPECT_EQ(bench.Count(table.name), 0U);
  EXPECT_EQ(bench.Upgrade(27), 0);
  EXPECT_EQ(bench.Values(kVersions, "Ver_No"), Texts{"27"});
  EXPECT_EQ(bench.Values(kShapeConversion, "形状名ＩＤ"), Numbers(147, 160));
  EXPECT_EQ(bench.Count(kAccessoryConversion), 0U);
  EXPECT_THAT(bench.QueryNames(), ElementsAre("拾い転送_データ転記Add"));
}

// The error of the early end is gone when step 16 has created its table.
TEST(DataStep14, LeavesNoErrorToTheNextStep) {
  StepBench bench(Kind::kData, 13, WithTransferName);
  bench.Edit([](db::DbHandle& db) { MakeTable(db, kBase); });
  EXPECT_EQ(bench.Upgrade(27), ado::kErrNoTable);  // no conversion table for 16b
  EXPECT_EQ(bench.Columns("拾い転送_共板FG").size(), 7U);
  EXPECT_EQ(bench.Count("拾い転送_設定"), 1U);
}

TEST(DataStep14, DerivesTheConversionRows) {
  StepBench bench(Kind::kData, 14);
  EXPECT_EQ(bench.Values(kShapeConversion, "形状名ＩＤ"), Numbers(0, 44) + Numbers(46, 146));
  EXPECT_EQ(bench.Values(kShapeConversion, "形状名"), bench.Values(kShapes, "形状名"));
  EXPECT_THAT(
      bench.Rows(kShapeConversion),
      IsSupersetOf({"0|なし|なし|-|-|-|", "26|BL5面ﾎﾞｯｸｽ|５面ボックス|角ダクト|W1_L1_H1|個数|",
                    "32|変形ﾎﾞｯｸｽ_山|-|-|-|-|", "33|角丸|角丸|角ダクト|W1_H1_L1_R1|個数|",
                    "46|T管両R|角ダクト㎡|角ダクト|特殊|ダクト㎡|",
                    "61|消音ｴﾙﾎﾞ内Ｒ|消音エルボ|角ダクト|W1_-_H1_F1F2|個数|",
                    "103|消音ｴﾙﾎﾞ_ﾎﾞｯｸｽ型|消音エルボ|角ダクト|消音エルボボックス|個数|",
                    "107|丸異径ｴﾙﾎﾞ|-|-|-|-|", "108|短管_管末勾配|角ダクト㎡|丸ダクト|W1|ダクト㎡|",
                    "120|丸ｴﾙﾎﾞ_分割|９０°エルボ|丸ダクト|W1|個数|", "127|丸WRTB管|-|-|-|-|",
                    "128|額縁|角ダクト㎡|角ダクト|W1|ダクト㎡|", "129|丸FG|ＦＧ|丸ダクト|W1|個数|",
                    "140|切板_三角|角ダクト㎡|角ダクト|特殊|ダクト㎡|"}));

  EXPECT_EQ(bench.Values(kAccessoryConversion, "形状名ＩＤ"), Numbers(1, 59));
  EXPECT_THAT(
      bench.Rows(kAccessoryConversion),
      IsSupersetOf({"3|丸_ｽﾘｰﾌﾞ|-|-|1|False|-|-|", "21|丸_WY|-|-|1|False|-|-|",
                    "1|丸_直|直管|丸ダクト|0|False|C1|L1×数量|",
                    "8|丸_90ﾌﾟﾚｽ|90°エルボ|丸ダクト|1|False|C1|個数|",
                    "14|丸_Y|Ｙ管|丸ダクト|3|False|C1_-_C3|個数|",
                    "20|丸_Rｸﾛｽ|Ｒクロス管|丸ダクト|1|False|C1_C2_C3C4|個数|",
                    "26|丸_ﾋﾟﾝｷｰ|ピンキー|丸ダクト|1|False|C1|個数|",
                    "27|ﾌﾚｷ一般|フレキ|フレキ|1|True|C1|フレキ数量|",
                    "28|ﾌﾚｷ消音|消音フレキ|フレキ|0|True|C1|フレキ数量|",
                    "30|FG_穴無|補強|角ダクト|1|True|-|計Kg数|", "31|共板ﾌﾗﾝｼﾞ|-|-|1|False|-|-|",
                    "37|合丸FG_穴無|ＦＧ|丸ダクト|1|True|W1|個数|",
                    "48|ｳﾏ_4本足|支持金物|支持金物|1|True|-|計Kg数|",
                    "51|金網_防鳥|ＳＵＳ金網|金網|1|False|W1_H1|個数|",
                    "57|ﾌｰﾄﾞ二重_側面ｽﾛｯﾄﾙ|２重フード|フード|1|True|W1_L1_H1|個数|",
                    "59|ﾌﾞﾗｹｯﾄ4|支持金物|支持金物|1|True|-|計Kg数|"}));
}

// How often each value comes, if more than once: a range that is one off shows.
TEST(DataStep14, DividesTheShapesAmongItsRules) {
  StepBench bench(Kind::kData, 14);
  const struct {
    const char* table;
    const char* field;
    const char* counts;
  } cases[] = {
      {kShapeConversion, "変更形状名",
       "13 -, 2 ピンキー, 4 消音エルボ, 97 角ダクト㎡, 2 ５面ボックス, 6 ６面ボックス, 5 "
       "９０°エルボ, 3 Ｓ管, "},
      {kShapeConversion, "形状分類名", "14 -, 19 丸ダクト, 113 角ダクト, "},
      {kShapeConversion, "サイズ表示",
       "14 -, 12 W1, 3 W1_-_F1_L1, 2 W1_-_H1, 2 W1_-_W2, 10 W1_L1_H1, 97 特殊, "},
      {kShapeConversion, "数量表示", "14 -, 97 ダクト㎡, 2 ㎡数, 33 個数, "},
      {kAccessoryConversion, "変更形状名",
       "4 -, 2 45°エルボ, 2 90°エルボ, 3 フード, 12 支持金物, 2 直管, 2 ２重フード, 7 ＦＧ, 4 "
       "ＳＵＳ金網, "},
      {kAccessoryConversion, "形状分類名",
       "4 -, 2 フレキ, 5 フード, 25 丸ダクト, 12 支持金物, 6 角ダクト, 4 金網, "},
      {kAccessoryConversion, "複数登録", "3 0, 51 1, 4 2, "},
      {kAccessoryConversion, "材質分岐", "31 False, 28 True, "},
      {kAccessoryConversion, "サイズ表示",
       "22 -, 13 C1, 4 C1_-_C3, 2 C1_-_C3C4, 3 C1_C2_C3, 2 W1, 4 W1_H1, 6 W1_L1_H1, "},
      {kAccessoryConversion, "数量表示", "4 -, 2 L1×数量, 2 フレキ数量, 33 個数, 18 計Kg数, "},
  };
  for (const auto& test : cases) {
    std::map<std::string, int> counts;
    for (const std::string& value : bench.Values(test.table, test.field)) ++counts[value];
    std::string text;
    for (const auto& [value, count] : counts) {
      if (count > 1) text += std::to_string(count) + " " + value + ", ";
    }
    EXPECT_EQ(text, test.counts) << test.field;
  }
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
  EXPECT_THAT(bench.QueryNames(), ElementsAre());
  EXPECT_EQ(bench.Run("Data_Up_15"), ado::kErrOverflow);
  EXPECT_EQ(bench.Value(kReinforcements, "転送名称", 32767), "補強");
  EXPECT_EQ(bench.Run("Data_Up_16b"), ado::kErrOverflow);
  EXPECT_EQ(bench.Value("Spec_ﾌﾚｷ種類名", "ﾌﾚｷ種類名", 15), "HH24ACNN端末なし");

  bench.DeleteRows(kReinforcements, 32767);
  bench.DeleteRows("Spec_ﾌﾚｷ種類名", 32766);
  EXPECT_EQ(bench.Run({"Data_Up_15", "Data_Up_16b"}), 0);
}

TEST(DataStep14, StoresItsQueriesCharacterForCharacter) {
  StepBench bench(Kind::kData, 23);
  const std::vector<ado::View> queries = bench.Queries();
  const struct {
    const char* name;
    std::size_t units;
    std::ptrdiff_t returns;
    const char* part;
  } expected[] = {
      {"拾い転送_クエリー", 1922, 3, "FROM (拾い転送_選択物件 INNER JOIN"},
      {"拾い転送_副資材", 1216, 1, ", 拾い転送_形状名称変換_副資材.数量表示\rFROM ("},
      {"拾い転送_データ転記", 664, 2, "\rWHERE (((拾い転送_Base.見積選択)=True));"},
      {"拾い転送_データ転記_追加", 1002, 2, "AS 特殊ダクトシール㎡の合計,Sum("},
      {"拾い転送_データ転記Add", 1065, 0, "AS 特殊ダクトシール㎡の合計, Sum("},
  };
  ASSERT_EQ(queries.size(), std::size(expected));
  for (std::size_t i = 0; i < queries.size(); ++i) {
    const std::string& text = queries[i].command_text;
    EXPECT_EQ(queries[i].name, expected[i].name);
    EXPECT_EQ(jet::Utf16Length(text), expected[i].units) << queries[i].name;
    EXPECT_EQ(std::ranges::count(text, '\r'), expected[i].returns) << queries[i].name;
    EXPECT_EQ(std::ranges::count(text, '\n'), 0) << queries[i].name;
    EXPECT_NE(text.find(expected[i].part), std::string::npos) << queries[i].name;
    EXPECT_EQ(text.back(), ';');
  }
  // The name in brackets ends at the bracket, whatever its parentheses.
  EXPECT_NE(queries[0].command_text.find("[Spec_形状名(角\uFF09].形状名"), std::string::npos);
}

TEST(DataStep14, KeepsTheQueriesBeforeANameInUse) {
  StepBench bench(Kind::kData, 13);
  bench.Edit([](db::DbHandle& db) { MakeTable(db, "拾い転送_データ転記"); });
  EXPECT_EQ(bench.Run("Data_Up_14"), ado::kErrObjectExists);
  EXPECT_THAT(bench.QueryNames(), ElementsAre("拾い転送_クエリー", "拾い転送_副資材"));
}

// Twenty pieces and eight accessories a job.
TEST(TransferQueries, FindThePiecesOfTheChosenJobs) {
  StepBench bench(Kind::kData, 27);
  EXPECT_EQ(bench.Count("拾い転送_クエリー"), 0U);
  const auto choose = [&](std::int32_t job) {
    bench.Edit([&](db::DbHandle& db) {
      db.OpenTable("拾い転送_選択物件");
      db.AddRow();
      db.SetField("選択物件ID", job);
      db.SetField("順番", job);
      db.SaveRow();
    });
  };
  choose(2);
  EXPECT_EQ(bench.Count("拾い転送_クエリー"), 20U);
  EXPECT_EQ(bench.Count("拾い転送_副資材"), 8U);
  choose(1);
  EXPECT_EQ(bench.Count("拾い転送_クエリー"), 40U);
  // One table four times over, and all fields that a table has when it is asked.
  const Texts fields = bench.Fields("拾い転送_クエリー");
  EXPECT_EQ(std::ranges::count_if(
                fields, [](const std::string& name) { return name.ends_with("拾い工法名"); }),
            4);
  EXPECT_EQ(std::set<std::string>(fields.begin(), fields.end()).size(), fields.size());
  bench.Edit([](db::DbHandle& db) {
    db.AppendColumn(db.GetTable(db.BindCatalog(), "Data_角_ｻｲｽﾞ"), "R9", db::adDouble, 0);
  });
  EXPECT_EQ(bench.Fields("拾い転送_クエリー").size(), fields.size() + 1);
  // A job of no system has no partner in the join.
  bench.Edit([](db::DbHandle& db) {
    db.OpenTable("Data_ﾒｲﾝ_設定");
    db.SetField("系統ＩＤ", std::int16_t{0});
    db.SaveRow();
  });
  EXPECT_EQ(bench.Count("拾い転送_クエリー"), 20U);
  EXPECT_EQ(bench.Count("拾い転送_副資材"), 8U);
}

TEST(TransferQueries, SelectAndSumTheWorkTable) {
  StepBench bench(Kind::kData, 27);
  const struct {
    db::Value chosen;
    const char* site;
    db::Value flange, mating;
  } rows[] = {
      {std::string("True"), "Ａビル", 1.25, 0.5},
      {std::string("ﾄﾙｰ"), "B", 1.0, 1.0},
      {std::string("ＴＲＵＥ"), "Aﾋﾞﾙ", 2.5, 0.25},
      {std::string("-1"), "C", jet::Null{}, 1.0},
      {std::string("-1"), "C", jet::Null{}, 2.0},
      {std::string("0"), "D", 1.0, 1.0},
      {std::string(), "D", 1.0, 1.0},
      {jet::Null{}, "D", 1.0, 1.0},
      {std::string("False"), "D", 1.0, 1.0},
  };
  bench.Edit([&](db::DbHandle& db) {
    db.OpenTable(kBase);
    std::int32_t number = 0;
    for (const auto& row : rows) {
      db.AddRow();
      db.SetField("通し番号", ++number);
      db.SetField("日付", ado::DateTime{40000});
      db.SetField("見積選択", row.chosen);
      db.SetField("現場名", row.site);
      db.SetField("FG", row.flange);
      db.SetField("相ＦＧ", row.mating);
      db.SaveRow();
    }
  });
  EXPECT_THAT(bench.Values("拾い転送_データ転記", "見積選択"),
              ElementsAre("True", "ＴＲＵＥ", "-1", "-1"));
  // Width and kana type make no group of their own; Null does.
  EXPECT_EQ(bench.Count("拾い転送_データ転記_追加"), 7U);
  const Texts sites = bench.Values("拾い転送_データ転記Add", "現場名");
  const Texts flanges = bench.Values("拾い転送_データ転記Add", "FGの合計");
  const Texts matings = bench.Values("拾い転送_データ転記Add", "相FGの合計");
  ASSERT_EQ(sites.size(), 7U);
  for (std::size_t i = 0; i < sites.size(); ++i) {
    if (sites[i] == "Ａビル") {
      EXPECT_EQ(flanges[i] + " " + matings[i], "3.75 0.75");
    }
    if (sites[i] == "C") {
      EXPECT_EQ(flanges[i] + " " + matings[i], std::string(kNull) + " 3");
    }
  }
  EXPECT_THAT(sites, Contains("Ａビル"));
}

}  // namespace
}  // namespace upgrade_test
