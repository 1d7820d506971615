// What can go wrong in the steps: the error, the step under way, and what its completed
// operations leave behind.
#include <fmt/format.h>

#include "tests/upgrade/step_bench.h"

namespace upgrade_test {
namespace {

using testing::HasSubstr;
using testing::Not;

using Obstacle = std::function<void(StepBench&)>;

constexpr Kind kData = Kind::kData, kTenkai = Kind::kTenkai;
constexpr const char* kMain = "Data_ﾒｲﾝ_設定";
constexpr const char* kRound = "丸ダクト設定";
constexpr const char* kEndPlate = "ﾂﾏ板設定";
constexpr const char* kCorrections = "ﾀﾞｸﾄｻｲｽﾞの寸法補正値_三井ﾊｾﾞ";

Change WithoutTable(const char* name) {
  return [=](Tables& tables) {
    std::erase_if(tables, [&](const auto& table) { return table.name == name; });
  };
}
Change WithoutField(const char* table_name, const char* field) {
  return [=](Tables& tables) {
    BaseTable& table = TableNamed(tables, table_name);
    for (std::size_t i = 0; i < table.columns.size(); ++i) {
      if (table.columns[i].spec.name != field) continue;
      const auto at = static_cast<std::ptrdiff_t>(i);
      table.columns.erase(table.columns.begin() + at);
      for (samples::Row& row : table.rows) {
        if (row.size() > i) row.erase(row.begin() + at);
      }
      return;
    }
    ADD_FAILURE() << "no field " << field;
  };
}
Change WithFlag(const char* flag) {
  return [=](Tables& tables) {
    TableNamed(tables, "Data_角_単体設定")
        .AddColumn(samples::OfType(flag, jet::ColumnType::kBoolean));
  };
}
void TwoRowsOfNoMethod(Tables& tables) {
  ResizeRows("仕様_名称", 2)(tables);
  TableNamed(tables, "仕様_名称").AddColumn(samples::Text("工法", 50), "なし");
}
void NullPattern(Tables& tables) {
  BaseTable& table = TableNamed(tables, kEndPlate);
  for (samples::BaseColumn& column : table.columns) column.spec.required = false;
  table.At(0, "Boxハゼ抜きパターン") = jet::Null{};
}

Obstacle MakeTable(const char* name) {
  return [=](StepBench& bench) {
    bench.Edit([=](db::DbHandle& db) { upgrade_test::MakeTable(db, name); });
  };
}
Obstacle MakeQuery(const char* name) {
  return [=](StepBench& bench) {
    bench.Edit([=](db::DbHandle& db) { upgrade_test::MakeQuery(db, name); });
  };
}
Obstacle AddColumn(const char* table, const char* column) {
  return [=](StepBench& bench) {
    bench.Edit([=](db::DbHandle& db) {
      db.AppendColumn(db.GetTable(db.BindCatalog(), table), column, db::adWChar, 50);
    });
  };
}
// A row with this in its first field, and something wherever it must be.
Obstacle AddRow(const char* name, std::int32_t id) {
  return [=](StepBench& bench) {
    bench.Edit([&](db::DbHandle&) {
      const auto table = bench.database().OpenTable(name);
      std::vector<jet::Value> row = table->NewRow();
      row[0] = id;
      for (std::size_t i = 1; i < row.size(); ++i) {
        if (table->columns()[i].required) row[i] = "x";
      }
      table->Insert(row);
    });
  };
}
Obstacle KeepRows(const char* table, std::size_t count) {
  return [=](StepBench& bench) { bench.DeleteRows(table, count); };
}
Obstacle UniqueIds(const char* table) {
  return [=](StepBench& bench) {
    bench.Edit([&](db::DbHandle&) {
      bench.database().AddIndex(table, {.name = "一意", .columns = {"ID"}, .unique = true});
    });
  };
}
Obstacle Both(const Obstacle& a, const Obstacle& b) {
  return [=](StepBench& bench) {
    a(bench);
    b(bench);
  };
}

struct Failure {
  Kind kind;
  std::int16_t version;  // at which the obstacle is put in the way
  Change base;
  Obstacle obstacle;
  const char* step;
  ado::ErrorNumber error;
  // What the table holds, columns and rows, by what was done before; nullptr:
  // nothing was. "" for the table: the names of the queries.
  const char* table;
  const char* kept;
  Obstacle enough;  // what the step just copes with; none: nothing to be tried
};

Failure At(Kind kind, std::int16_t version, Change base, Obstacle obstacle, const char* step,
           ado::ErrorNumber error, const char* table = nullptr, const char* kept = nullptr) {
  return {kind, version, std::move(base), std::move(obstacle), step, error, table, kept, {}};
}

// A step that counts on so many rows, and finds one fewer.
Failure Short(Kind kind, std::int16_t version, const char* step, const char* rows_of,
              std::size_t rows, const char* table = nullptr, const char* kept = nullptr) {
  Failure failure =
      At(kind, version, {}, KeepRows(rows_of, rows - 1), step, ado::kErrNoCurrentRow, table, kept);
  failure.enough = KeepRows(rows_of, rows);
  return failure;
}

const Failure kFailures[] = {
    // The wrong kind of file.
    At(kData, 2, WithoutTable("Data_角_単体設定"), {}, "Data_Up_3", ado::kErrItemNotFound),
    At(kData, 2, WithFlag("切断フラグ"), {}, "Data_Up_3", ado::kErrColumnExists, "Data_角_単体設定",
       "ネスティングフラグ"),
    At(kData, 3, WithoutTable("仕様_名称"), {}, "Data_Up_4", ado::kErrNoTable, "Spec_工法",
       "\n16|"),
    At(kData, 3, TwoRowsOfNoMethod, {}, "Data_Up_4", ado::kErrNoCurrentRow, "仕様_名称",
       "|共板|\n"),
    At(kData, 3, ResizeRows("仕様_名称", 0), {}, "Data_Up_4", ado::kErrNoCurrentRow, "Spec_工法",
       "\n16|"),
    At(kData, 3, SetRows(kVersions, {{3.0}}), {}, "Data_Up_4", ado::kErrItemNotFound, "Spec_工法",
       "\n16|"),
    At(kData, 3, {}, AddRow("Spec_工法", 16), "Data_Up_4", ado::kErrIntegrity, "Spec_工法",
       "\n15|"),
    At(kData, 4, {}, AddRow(kShapes, 120), "Data_Up_5", ado::kErrIntegrity, kShapes, "\n119|"),
    At(kData, 8, WithoutTable("Spec_形状名（丸副）"), {}, "Data_Up_12", ado::kErrNoTable,
       "Spec_工法", "\n20|"),
    At(kData, 10, {}, AddRow("Spec_工法", 19), "Data_Up_11", ado::kErrIntegrity),
    At(kData, 10, {}, AddRow("Spec_工法", 20), "Data_Up_11", ado::kErrIntegrity, "Spec_工法",
       "\n19|"),
    At(kData, 13, {}, AddColumn(kReinforcements, "転送名称"), "Data_Up_14", ado::kErrColumnExists,
       "拾い転送_Base", "通し番号"),
    At(kData, 13, WithoutTable(kReinforcements), {}, "Data_Up_14", ado::kErrItemNotFound,
       "Data_拾いＩＤ", "ＩＤ"),
    At(kData, 13, {}, MakeTable("拾い転送_データ転記"), "Data_Up_14", ado::kErrObjectExists,
       "拾い転送_形状名称変換_副資材", "\n59|"),
    At(kData, 13, {}, MakeTable("拾い転送_データ転記"), "Data_Up_14", ado::kErrObjectExists, "",
       "拾い転送_クエリー\n拾い転送_副資材\n"),
    At(kData, 13, {}, MakeTable("拾い転送_Base"), "Data_Up_15", ado::kErrItemNotFound),
    At(kData, 13, {}, Both(MakeTable("拾い転送_Base"), AddColumn(kReinforcements, "転送名称")),
       "Data_Up_16b", ado::kErrNoTable, "仕様_名称", "HH24ACNN"),
    At(kData, 15, {}, MakeTable("拾い転送_共板FG"), "Data_Up_16a", ado::kErrObjectExists,
       kReinforcements, "\n4|相FG|なし|"),
    At(kData, 16, {}, AddColumn(kMain, "伝票番号"), "Data_Up_17", ado::kErrColumnExists),
    At(kData, 17, {}, AddColumn("Data_角_展開設定", "繋ぎﾊｾﾞｼﾛ_S_2"), "Data_Up_18",
       ado::kErrColumnExists, "Data_角_展開設定", "ﾎﾞｯｸｽﾊｾﾞｼﾛ_W_2"),
    At(kData, 17, {}, AddRow(kShapes, 150), "Data_Up_18", ado::kErrIntegrity, kShapes, "\n149|"),
    Short(kData, 18, "Eng_Apply", kShapes, 153, kShapes, "|SP S90|\n"),
    At(kData, 19, {}, AddRow(kShapes, 157), "Data_Up_20", ado::kErrIntegrity, kShapes, "\n156|"),
    Short(kData, 20, "Data_Up_21", "拾い転送_設定", 1, "拾い転送_設定", "1㎡以下の追加"),
    At(kData, 21, {}, AddColumn("仕様_その他設定", "鋼板重量"), "Data_Up_22",
       ado::kErrColumnExists),
    Short(kData, 21, "Data_Up_22", "仕様_その他設定", 1, "仕様_その他設定", "鋼板重量"),
    Short(kData, 22, "Data_Up_23", "仕様_その他設定", 1, "仕様_その他設定", "ＦＧ補正値"),
    At(kData, 22, {}, MakeTable("拾い転送_データ転記ADD"), "Data_Up_23", ado::kErrObjectExists,
       "拾い転送_Base", "相ＦＧ"),
    At(kData, 22, {}, MakeQuery("拾い転送_データ転記ADD"), "Data_Up_23", ado::kErrObjectExists,
       "拾い転送_Base", "相ＦＧ"),
    At(kData, 23, {}, AddRow("Spec_開口形状", 4), "Data_Up_24", ado::kErrIntegrity, "Spec_開口形状",
       "\n3|"),
    Short(kData, 24, "Data_Up_25", "Spec_開口形状", 5, "Spec_開口形状", "四角"),
    At(kData, 25, {}, AddRow(kShapes, 159), "Data_Up_26", ado::kErrIntegrity, kShapes, "\n158|"),
    At(kData, 26, {}, AddRow(kShapes, 160), "Data_Up_27", ado::kErrIntegrity, kShapes,
       "\n159|丸ｴﾙﾎﾞ_横繋ぎ"),
    At(kTenkai, 2, WithoutTable("ｼﾛ_ｱﾝｸﾞﾙ別設定_塩ﾋﾞ"), {}, "Tenkai_Up_3", ado::kErrNoTable,
       "ｼﾛ_ｱﾝｸﾞﾙ別設定_SUS", "ﾒｯﾂ|返しｼﾛ|-5"),
    At(kTenkai, 2, WithoutField("ｼﾛ_ｱﾝｸﾞﾙ別設定_SUS", "25"), {}, "Tenkai_Up_3",
       ado::kErrItemNotFound, "ｼﾛ_ｱﾝｸﾞﾙ別設定_亜鉛鉄板", "ﾒｯﾂ|返しｼﾛ|-5"),
    At(kTenkai, 4, WithoutTable("ｼﾛ_接合種類別設定_鋼板"), {}, "Tenkai_Up_5", ado::kErrNoTable,
       "ｼﾛ_接合種類別設定_塩ﾋﾞ", "ﾐﾐ付共板|返しｼﾛ|45"),
    At(kTenkai, 5, {}, AddColumn(kRound, "重ねシロ線"), "Tenkai_Up_6", ado::kErrColumnExists,
       kRound, "切幅16t"),
    Short(kTenkai, 5, "Tenkai_Up_6", kRound, 16, kRound, "0.5|0.5|0.5"),
    Short(kTenkai, 6, "Tenkai_Up_7", kRound, 1),
    Short(kTenkai, 7, "Tenkai_Up_8", "接続口基本設定", 1, "接続口基本設定", "差込ｶｯﾄ_Ha2"),
    Short(kTenkai, 8, "Tenkai_Up_9", kRound, 1, kRound, "T管開口補正ｻｲｽﾞ"),
    At(kTenkai, 9, WithoutTable("設定_NEST"), {}, "Tenkai_Up_10", ado::kErrItemNotFound,
       "板取設定_角丸", "折線印字設定"),
    Short(kTenkai, 11, "Tenkai_Up_12", "設定_材質板厚ｺｰﾄﾞ", 6, "設定_材質板厚ｺｰﾄﾞ", "|58|\n"),
    Short(kTenkai, 12, "Tenkai_Up_13", "設定_材質板厚ｺｰﾄﾞ", 6),
    Short(kTenkai, 13, "Tenkai_Up_14", kEndPlate, 1, kEndPlate, "5面Boxﾊｾﾞ抜きミミ"),
    At(kTenkai, 13, NullPattern, {}, "Tenkai_Up_14", ado::kErrIntegrity, kEndPlate,
       "5面Boxﾊｾﾞ抜きミミ"),
    At(kTenkai, 13, WithoutField(kEndPlate, "Boxハゼ抜きパターン"), {}, "Tenkai_Up_14",
       ado::kErrItemNotFound, kEndPlate, "5面Boxﾊｾﾞ抜きミミ"),
    At(kTenkai, 14, WithoutField("形状別設定", "直管・短管接続サイズ（その他）"), {},
       "Tenkai_Up_15", ado::kErrItemNotFound, "形状別設定", "接合部カットH_0"),
    At(kTenkai, 14, {}, AddColumn("接続口基本設定", "ドン付キザミHb"), "Tenkai_Up_15",
       ado::kErrColumnExists, "形状別設定", "\n1|20|35.5|35.5|0|0|0|"),
    At(kTenkai, 15, {}, AddColumn("印刷初期値", "表示㎡"), "Tenkai_Up_16", ado::kErrColumnExists,
       "設定_NEST", "\n1|10|0|1|1|"),
    Short(kTenkai, 15, "Tenkai_Up_16", "設定_円弧分割数", 10, "設定_円弧分割数", "|100|\n"),
    Short(kTenkai, 17, "Tenkai_Up_18", "ﾀﾞｸﾄｻｲｽﾞの寸法補正値_BP", 1),
    At(kTenkai, 17, {}, Both(UniqueIds(kCorrections), AddRow(kCorrections, 30)), "Tenkai_Up_18",
       ado::kErrIntegrity, kCorrections, "\n29|"),
    Short(kTenkai, 18, "Tenkai_Up_19", "設定_材質別ｺｰﾄﾞ", 9),
    At(kTenkai, 18, {}, AddRow("設定_材質板厚ｺｰﾄﾞ", 7), "Tenkai_Up_19", ado::kErrIntegrity,
       "設定_材質別ｺｰﾄﾞ", "|7|\n"),
    Short(kTenkai, 19, "Tenkai_Up_20", kEndPlate, 1, "丸ダクトカット設定", "99999"),
    Short(kTenkai, 20, "Tenkai_Up_21", "丸ダクトカット設定", 2, "丸ダクトカット設定",
          "オーバル開口補正"),
    Short(kTenkai, 21, "Tenkai_Up_22", kRound, 1, kRound, "丸ﾀﾞｸﾄﾏｰｷﾝｸﾞ設定"),
    Short(kTenkai, 21, "Tenkai_Up_22", "設定_Box板取形状", 6, kRound, "丸ﾀﾞｸﾄﾏｰｷﾝｸﾞ設定"),
};

std::string Told(StepBench& bench, std::string_view table) {
  Texts lines;
  if (table.empty()) {
    lines = bench.Queries();
  } else if (bench.HasTable(table)) {
    lines = bench.Fields(table) + bench.Rows(table);
  }
  return fmt::format("\n{}\n", fmt::join(lines, "\n"));
}

// A base at version 2, beside what a real file holds where there is one.
StepBench MakeBench(const Failure& failure, std::size_t number) {
  constexpr const char* kFiles[] = {"ja/schedule.mdb", "ja/seikyu2.mdb", "ja/exampledb.mdb"};
  const std::string real =
      test_support::SamplesFolder().empty()
          ? ""
          : test_support::ReadFileBytes(test_support::SamplePath(kFiles[number % 3]));
  return StepBench(failure.kind, [&](jet::FileSystem& files, const std::string& path) {
    samples::SampleOptions options;
    options.jobs = 0;
    options.change = failure.base;
    if (real.empty()) return samples::MakeSample(files, path, failure.kind, options);
    files.Create(path)->Write(0, {reinterpret_cast<const std::uint8_t*>(real.data()), real.size()});
    const auto database = jet::Database::Open(files, path, {jet::OpenMode::kExclusive});
    samples::AddSample(*database, failure.kind, options);
    database->Commit();
  });
}

TEST(FailureTest, LeavesWhatWasDoneBeforeIt) {
  const test_support::TempFolder folder;
  std::vector<std::string> paths;
  for (const Failure& failure : kFailures) {
    SCOPED_TRACE(fmt::format("case {}: {} {}", paths.size(), failure.version, failure.step));
    StepBench bench = MakeBench(failure, paths.size());
    ASSERT_EQ(bench.Upgrade(failure.version), 0);
    if (failure.obstacle) failure.obstacle(bench);
    const std::string before = bench.Content();
    if (failure.table != nullptr) {
      EXPECT_THAT(Told(bench, failure.table), Not(HasSubstr(failure.kept)));
    }
    StepNames names;
    EXPECT_EQ(bench.Upgrade(bench.ladder().latest(), &names), failure.error);
    ASSERT_EQ(names.begun.size(), names.ended.size() + 1);
    EXPECT_EQ(names.begun.back(), failure.step);
    EXPECT_EQ(bench.Values(kVersions, "Ver_No"), Texts{std::to_string(failure.version)});
    if (failure.table != nullptr) {
      EXPECT_THAT(Told(bench, failure.table), HasSubstr(failure.kept));
    } else {
      EXPECT_EQ(bench.Content(), before);
    }
    paths.push_back(folder.File(fmt::format("{}.mdb", paths.size())));
    bench.WriteTo(paths.back());
    test_support::ExpectSoundByOurs(paths.back());
  }
  if (const auto findings = test_support::VerifierFinds(paths, false)) {
    for (std::size_t i = 0; i < paths.size(); ++i) EXPECT_EQ(findings->at(i), "") << i;
  }
}

TEST(FailureTest, OfTooFewRowsDoesNotComeWithEnough) {
  for (const Failure& failure : kFailures) {
    if (!failure.enough) continue;
    StepBench bench(failure.kind, failure.version);
    failure.enough(bench);
    EXPECT_EQ(bench.Run(failure.step), 0) << failure.step;
  }
}

}  // namespace
}  // namespace upgrade_test
