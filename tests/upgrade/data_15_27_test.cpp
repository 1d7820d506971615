// Data steps 15 to 27, and the English names.
#include "tests/upgrade/step_bench.h"

namespace upgrade_test {
namespace {

using testing::ElementsAre;
using testing::ElementsAreArray;

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

TEST(DataStep16, ToleratesItsSecondTableOnly) {
  {
    StepBench bench(Kind::kData, 15);
    bench.Edit([](db::DbHandle& db) { MakeTable(db, "拾い転送_共板FG"); });
    EXPECT_EQ(bench.Run("Data_Up_16a"), ado::kErrObjectExists);
    EXPECT_EQ(bench.Value(kReinforcements, "転送名称", 4), "なし");
    EXPECT_FALSE(bench.HasTable("拾い転送_設定"));
  }
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

// As a button, before there is a conversion table: the first two walks stay.
TEST(DataStep16, KeepsTheWalksBeforeAMissingTable) {
  StepBench bench(Kind::kData, 13);
  EXPECT_EQ(bench.Run("Data_Up_16b"), ado::kErrNoTable);
  EXPECT_EQ(bench.Value(kFlexible, "ﾌﾚｷ種類名", 10), "HH214");
  EXPECT_EQ(bench.Value("仕様_名称", "ﾌﾚｷ種類2", 3), "HH24ACNN");
}

TEST(DataStep17, AddsTheColumnEvenWhereItsTableIs) {
  StepBench bench(Kind::kData, 16);
  bench.Edit([](db::DbHandle& db) { MakeTable(db, "ZVT6設定"); });
  EXPECT_EQ(bench.Run("Data_Up_17"), 0);
  EXPECT_EQ(bench.Columns("Data_ﾒｲﾝ_設定").back(), "伝票番号 202 50!");
  EXPECT_THAT(bench.Columns("ZVT6設定"), ElementsAre());
  EXPECT_EQ(bench.Run("Data_Up_17"), ado::kErrColumnExists);
}

TEST(DataStep18, AddsSeamColumnsAndShapes) {
  StepBench bench(Kind::kData, 18);
  const Texts seams = bench.Columns("Data_角_展開設定");
  EXPECT_EQ(Texts(seams.end() - 4, seams.end()),
            (Texts{"ﾎﾞｯｸｽﾊｾﾞｼﾛ_S_2 5 0!", "ﾎﾞｯｸｽﾊｾﾞｼﾛ_W_2 5 0!", "繋ぎﾊｾﾞｼﾛ_S_2 5 0!",
                   "繋ぎﾊｾﾞｼﾛ_W_2 5 0!"}));
  EXPECT_EQ(bench.Columns("Data_角_開口").back(), "開口基点 5 0!");
  EXPECT_EQ(bench.Values(kShapes, "形状名ID"), Numbers(0, 44) + Numbers(46, 153));
  EXPECT_EQ(bench.Values("Data_角_展開設定", "繋ぎﾊｾﾞｼﾛ_W_2"), Repeat(40, kNull));
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

TEST(EngApply, FillsByPosition) {
  StepBench bench(Kind::kData, 18, [](Tables& tables) {
    // The order of two rows does not matter to the names.
    auto& rows = TableNamed(tables, kShapes).rows;
    std::swap(rows[1], rows[2]);
  });
  ASSERT_EQ(bench.Run({"Data_Up_19", "Eng_Apply"}), ado::kErrItemNotFound);
  bench.DeleteRows(kShapes, 153);
  ASSERT_EQ(bench.Run("Eng_Apply"), 0);
  const Texts names = bench.Values(kShapes, kEnglish);
  ASSERT_EQ(names.size(), 153U);
  EXPECT_EQ(names[0], "");
  EXPECT_EQ(names[1], "Standard");
  EXPECT_EQ(names[4], "Elbow In T\u3000");
  EXPECT_EQ(names[39], "Sleeb Have");
  EXPECT_EQ(names[44], "Hago");
  EXPECT_EQ(names[45], "T RR");
  EXPECT_EQ(names[55], "Gradient Straight");
  EXPECT_EQ(names[56], "Gradient Straight");
  EXPECT_EQ(names[132], "");
  EXPECT_EQ(names[152], "Variety Short");
  EXPECT_EQ(bench.Columns(kShapes).back(), "形状名_英語 202 50!");
}

TEST(EngApply, LeavesTheRowsBehindThe153rd) {
  StepBench bench(Kind::kData, 18, [](Tables& tables) {
    auto& rows = TableNamed(tables, kShapes).rows;
    rows.push_back({900, "x"});
    rows.push_back({901, "x"});
  });
  ASSERT_EQ(bench.Run("Eng_Apply"), 0);
  const Texts names = bench.Values(kShapes, kEnglish);
  EXPECT_EQ(Texts(names.begin() + 152, names.end()),
            (Texts{"Variety Short"} + Repeat(names.size() - 153, kNull)));
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

TEST(DataSteps19And20, BringTheirEnglishNames) {
  StepBench bench(Kind::kData, 20);
  const Texts rows = bench.Rows(kShapes);
  EXPECT_EQ(Texts(rows.end() - 4, rows.end()),
            (Texts{"154|丸TY管|0|0|1|SP TY|", "155|丸RTY管|0|0|1|SP RTY|",
                   "156|丸両角度短管|0|0|1|SP Short Angle|", "157|丸H管|0|0|1|SP H|"}));
  EXPECT_EQ(bench.Run("Data_Up_19"), ado::kErrIntegrity);
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

// Step 21 changes the first match, step 23 every one; none is no error.
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

// The reinforcement with identifier 4 from version to version.
TEST(DataSteps14To23, TellTheStoryOfOneReinforcement) {
  StepBench bench(Kind::kData, 13);
  Texts names;
  for (std::int16_t version = 14; version <= 23; ++version) {
    ASSERT_EQ(bench.Upgrade(version), 0);
    names.push_back(bench.Value(kReinforcements, "転送名称", 4));
  }
  EXPECT_THAT(names, ElementsAreArray(Repeat(2, "FG") + Repeat(5, "なし") +
                                      Repeat(2, "\uFF26\uFF27") + Texts{"相\uFF26\uFF27"}));
  // Step 15 as a button turns the wheel back, whatever the version.
  ASSERT_EQ(bench.Run("Data_Up_15"), 0);
  EXPECT_EQ(bench.Value(kReinforcements, "転送名称", 4), "FG");
  EXPECT_EQ(bench.Values(kVersions, "Ver_No"), Texts{"23"});
}

TEST(DataStep23, ClassesTheAccessories) {
  StepBench bench(Kind::kData, 22);
  Texts expected = bench.Values(kAccessoryConversion, "変更形状名");
  EXPECT_EQ(expected[29], "\uFF26\uFF27");
  const auto set = [&](std::initializer_list<std::size_t> ids, const char* name) {
    for (std::size_t id : ids) expected[id - 1] = name;
  };
  set({29, 30, 32, 33, 34, 35, 36, 37}, "F\uFF27\uFF08副資材\uFF09 ");
  set({38, 39, 40, 41, 42, 43, 47, 48, 59}, "その他");
  set({44}, "加工品");
  set({45, 46}, "アングル");
  ASSERT_EQ(bench.Run("Data_Up_23"), 0);
  EXPECT_EQ(bench.Values(kAccessoryConversion, "変更形状名"), expected);
  EXPECT_EQ(expected[30], "-");
  EXPECT_EQ(bench.Columns("拾い転送_Base").back(), "相ＦＧ 5 0!");
}

// A setting goes into the first row, unseen whether there is one. The column
// stays behind, and the next run fails on it.
TEST(DataSteps21To23, FailOnAnEmptySettingsTable) {
  const struct {
    std::int16_t version;
    const char* step;
    const char* table;
    const char* column;
  } cases[] = {
      {20, "Data_Up_21", "拾い転送_設定", "1㎡以下の追加 5 0!"},
      {21, "Data_Up_22", "仕様_その他設定", "鋼板重量 5 0!"},
      {22, "Data_Up_23", "仕様_その他設定", "ＦＧ補正値 5 0!"},
  };
  for (const auto& test : cases) {
    StepBench bench(Kind::kData, test.version);
    bench.DeleteRows(test.table, 0);
    EXPECT_EQ(bench.Run(test.step), ado::kErrNoCurrentRow) << test.step;
    EXPECT_EQ(bench.Columns(test.table).back(), test.column);
    // Step 21 does not come so far again: it ends at its first table.
    EXPECT_EQ(bench.Run(test.step), test.version == 20 ? 0 : ado::kErrColumnExists) << test.step;
  }
}

TEST(DataSteps21To23, ConvertTextToNumbers) {
  StepBench bench(Kind::kData, 23);
  EXPECT_EQ(bench.Rows("仕様_その他設定"), Texts{"1|0|1.25|35.32|0|"});
  EXPECT_EQ(bench.Rows("拾い転送_設定"), Texts{"1|1|0|"});
}

TEST(DataStep23, FailsOnAQueryOfItsName) {
  StepBench bench(Kind::kData, 22);
  bench.Edit([](db::DbHandle& db) { MakeQuery(db, "拾い転送_データ転記ADD"); });
  EXPECT_EQ(bench.Run("Data_Up_23"), ado::kErrObjectExists);
  EXPECT_EQ(bench.Columns("拾い転送_Base").back(), "相ＦＧ 5 0!");
}

// Sums of 相FG, though the column is 相ＦＧ; one line.
constexpr const char* kClassSums =
    "SELECT 拾い転送_Base.見積選択, 拾い転送_Base.入力分類, 拾い転送_Base.現場名, "
    "拾い転送_Base.階, 拾い転送_Base.系統, Sum(拾い転送_Base.FG) AS FGの合計, "
    "Sum(拾い転送_Base.SUSFG) AS SUSFGの合計, Sum(拾い転送_Base.亜鉛FG) AS 亜鉛FGの合計, "
    "Sum(拾い転送_Base.補強) AS 補強の合計, Sum(拾い転送_Base.SUS補強) AS SUS補強の合計, "
    "Sum(拾い転送_Base.亜鉛補強) AS 亜鉛補強の合計, Sum(拾い転送_Base.[ボックスペンキ㎡]) AS "
    "ボックスペンキ㎡の合計, Sum(拾い転送_Base.[ボックスペンキ㎡（プラズマ）]) AS "
    "ボックスペンキ㎡（プラズマ）の合計, Sum(拾い転送_Base.開口数) AS 開口数の合計, "
    "Sum(拾い転送_Base.排煙ダクトシール㎡) AS 排煙ダクトシール㎡の合計, "
    "Sum(拾い転送_Base.[排煙ダクトシール㎡(プラズマ)]) AS "
    "[排煙ダクトシール㎡(プラズマ)の合計], Sum(拾い転送_Base.[ダクトシール㎡]) AS "
    "ダクトシール㎡の合計, Sum(拾い転送_Base.[ダクトシール㎡（プラズマ）]) AS "
    "ダクトシール㎡（プラズマ）の合計, Sum(拾い転送_Base.特殊ダクトシール㎡) AS "
    "特殊ダクトシール㎡の合計, Sum(拾い転送_Base.特殊ダクトシール㎡（プラズマ）) AS "
    "特殊ダクトシール㎡（プラズマ）の合計, Sum(拾い転送_Base.三井ハゼ㎡) AS "
    "三井ハゼ㎡の合計, Sum(拾い転送_Base.三井ハゼ㎡（プラズマ）) AS "
    "三井ハゼ㎡（プラズマ）の合計, Sum(拾い転送_Base.[リブ㎡]) AS リブ㎡の合計, "
    "Sum(拾い転送_Base.[リブ㎡（プラズマ）]) AS リブ㎡（プラズマ）の合計, "
    "Sum(拾い転送_Base.縦補強) AS 縦補強の合計, Sum(拾い転送_Base.SUS縦補強) AS "
    "SUS縦補強の合計, Sum(拾い転送_Base.亜鉛縦補強) AS 亜鉛縦補強の合計, "
    "Sum(拾い転送_Base.相FG) AS 相FGの合計 From 拾い転送_Base GROUP BY "
    "拾い転送_Base.見積選択, 拾い転送_Base.入力分類, 拾い転送_Base.現場名, 拾い転送_Base.階, "
    "拾い転送_Base.系統;";

TEST(DataStep23, StoresItsQueryCharacterForCharacter) {
  StepBench bench(Kind::kData, 23);
  EXPECT_EQ(bench.Queries().back().command_text, kClassSums);
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
  const struct {
    std::vector<samples::Row> base;
    ado::ErrorNumber error;
    Texts rows;
  } cases[] = {
      {{{1, "角"}, {2, "丸"}},
       0,
       {"1|四角|", "2|丸|", "3|ｵｰﾊﾞﾙ|", "4|ｵｰﾊﾞﾙ横指定|", "5|ｵｰﾊﾞﾙ縦指定|"}},
      {{{2, "丸"}, {1, "角"}},
       0,
       {"2|四角|", "1|角|", "3|ｵｰﾊﾞﾙ|", "4|ｵｰﾊﾞﾙ横指定|", "5|ｵｰﾊﾞﾙ縦指定|"}},
      {{{1, "角"}},
       ado::kErrNoCurrentRow,
       {"1|四角|", "3|ｵｰﾊﾞﾙ|", "4|ｵｰﾊﾞﾙφ横|", "5|ｵｰﾊﾞﾙ横指定|"}},
  };
  for (const auto& test : cases) {
    StepBench bench(Kind::kData, 23, SetRows("Spec_開口形状", test.base));
    EXPECT_EQ(bench.Run({"Data_Up_24", "Data_Up_25"}), test.error);
    EXPECT_EQ(bench.Rows("Spec_開口形状"), test.rows);
  }
}

TEST(DataStep27, RenamesOneShapeAndAddsTheLast) {
  for (bool there : {true, false}) {
    StepBench bench(Kind::kData, 26);
    if (!there) bench.DeleteRows(kShapes, 158);
    ASSERT_EQ(bench.Run("Data_Up_27"), 0);
    const Texts rows = bench.Rows(kShapes);
    EXPECT_EQ(rows.back(), "160|ｶﾞﾗﾘﾁｬﾝﾊﾞｰﾎﾞｯｸｽ型|0|0|1|Louver Box|");
    EXPECT_EQ(rows.size(), there ? 160U : 159U);
    if (there) {
      EXPECT_EQ(rows[158], "159|丸ｴﾙﾎﾞ_横繋ぎ|0|0|1|SP Elbow\u3000Side|");
    }
    const Texts conversions = bench.Rows("拾い転送_形状名称変換");
    ASSERT_EQ(conversions.size(), 160U);
    EXPECT_THAT(
        Texts(conversions.begin() + 146, conversions.end()),
        ElementsAre("147|丸WRTYB管|-|-|-|-|", "148|丸RB管|-|-|-|-|", "149|丸WOT|-|-|-|-|",
                    "150|丸Oﾋﾟﾝｷｰ|-|-|-|-|", "151|丸Oｶﾗｰ|-|-|-|-|",
                    "152|S90|角ダクト㎡|角ダクト|特殊|ダクト㎡|",
                    "153|変形短管|短管|角ダクト|特殊|㎡数|", "154|丸TY管|-|-|-|-|",
                    "155|丸RTY管|-|-|-|-|", "156|丸両角度短管|直管|丸ダクト|W1|個数|",
                    "157|丸H管|-|-|-|-|", "158|BL6面ﾎﾞｯｸｽ分離|６面ボックス|角ダクト|W1_L1_H1|個数|",
                    "159|丸ｴﾙﾎﾞ_横繋ぎ|９０°エルボ|丸ダクト|W1|個数|",
                    "160|ｶﾞﾗﾘﾁｬﾝﾊﾞｰﾎﾞｯｸｽ型|ガラリ|角ダクト|W1_L1_H1|個数|"));
  }
}

}  // namespace
}  // namespace upgrade_test
