// What can go wrong in the steps, tried through the program on real files: an
// upgrade that fails leaves the file alone, or what its completed operations did.
#include <fmt/format.h>
#include <gmock/gmock.h>

#include <filesystem>
#include <functional>

#include "ado/error.h"
#include "jet/database.h"
#include "tests/tools/program.h"
#include "tools/samples/columns.h"
#include "tools/samples/sample.h"

namespace {

using namespace test_support;
using samples::Kind;
using Tables = std::vector<samples::BaseTable>;
using ::testing::HasSubstr;
using ::testing::Not;

using Change = std::function<void(Tables&)>;
using Obstacle = std::function<void(jet::Database&)>;

constexpr const char* kShapes = "Spec_形状名（角）";
constexpr const char* kRound = "丸ダクト設定";
constexpr Kind kData = Kind::kData, kTenkai = Kind::kTenkai;
constexpr const char* kMain = "Data_ﾒｲﾝ_設定";

Change WithoutTable(const char* name) {
  return [=](Tables& tables) {
    std::erase_if(tables, [&](const auto& table) { return table.name == name; });
  };
}
Change WithoutField(const char* table_name, const char* field) {
  return [=](Tables& tables) {
    samples::BaseTable& table = samples::TableNamed(tables, table_name);
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
void TwoRowsOfNoMethod(Tables& tables) {
  samples::BaseTable& table = samples::TableNamed(tables, "仕様_名称");
  table.rows.resize(2);
  table.AddColumn(samples::Text("工法", 50), "なし");
}

Obstacle MakeTable(const char* name) {
  return [=](jet::Database& database) {
    jet::TableSpec spec;
    spec.name = name;
    database.CreateTable(spec);
  };
}
Obstacle AddColumn(const char* table, const char* column) {
  return [=](jet::Database& database) {
    database.AppendColumn(table, samples::Text(column, 50).spec);
  };
}
// A row with this in its first field, and something wherever it must be.
Obstacle AddRow(const char* name, std::int32_t id) {
  return [=](jet::Database& database) {
    const auto table = database.OpenTable(name);
    std::vector<jet::Value> row = table->NewRow();
    row[0] = id;
    for (std::size_t i = 1; i < row.size(); ++i) {
      if (table->rules()[i].required) row[i] = "x";
    }
    table->Insert(row);
  };
}
Obstacle KeepRows(const char* name, std::size_t count) {
  return [=](jet::Database& database) {
    const auto table = database.OpenTable(name);
    std::vector<jet::RowId> gone;
    for (auto row = table->First(); row; row = table->Next(*row)) gone.push_back(*row);
    ASSERT_GT(gone.size(), count) << name;
    for (std::size_t i = count; i < gone.size(); ++i) table->Delete(gone[i]);
  };
}
Obstacle UniqueIds(const char* name) {
  return [=](jet::Database& database) {
    jet::IndexSpec index;
    index.name = "一意";
    index.columns = {"ID"};
    index.unique = true;
    database.AddIndex(name, index);
  };
}
Obstacle Both(const Obstacle& a, const Obstacle& b) {
  return [=](jet::Database& database) {
    a(database);
    b(database);
  };
}

struct Failure {
  Kind kind;
  int version;  // at which the obstacle is put in the way
  Change base;
  Obstacle obstacle;
  const char* step;
  ado::ErrorNumber error;
  // What the table tells, columns and rows, by what was done before; nullptr:
  // nothing was.
  const char* table;
  const char* kept;
};

Failure At(Kind kind, int version, Change base, Obstacle obstacle, const char* step,
           ado::ErrorNumber error, const char* table = nullptr, const char* kept = nullptr) {
  return {kind, version, std::move(base), std::move(obstacle), step, error, table, kept};
}

const Failure kFailures[] = {
    At(
        kData, 2,
        [](Tables& tables) {
          samples::TableNamed(tables, "Data_角_単体設定")
              .AddColumn(samples::OfType("切断フラグ", jet::ColumnType::kBoolean));
        },
        {}, "Data_Up_3", ado::kErrColumnExists, "Data_角_単体設定", "ネスティングフラグ"),
    At(kData, 3, WithoutTable("仕様_名称"), {}, "Data_Up_4", ado::kErrNoTable, "Spec_工法",
       "\n16\t"),
    At(kData, 3, TwoRowsOfNoMethod, {}, "Data_Up_4", ado::kErrNoCurrentRow, "仕様_名称",
       "\t共板\n"),
    At(kData, 3, {}, AddRow("Spec_工法", 16), "Data_Up_4", ado::kErrIntegrity, "Spec_工法",
       "\n15\t"),
    At(kData, 4, {}, AddRow(kShapes, 120), "Data_Up_5", ado::kErrIntegrity, kShapes, "\n119\t"),
    At(kData, 8, WithoutTable("Spec_形状名（丸副）"), {}, "Data_Up_12", ado::kErrNoTable,
       "Spec_工法", "\n20\t"),
    At(kData, 10, {}, AddRow("Spec_工法", 20), "Data_Up_11", ado::kErrIntegrity, "Spec_工法",
       "\n19\t"),
    At(kData, 13, {}, AddColumn("Spec_補強名称", "転送名称"), "Data_Up_14", ado::kErrColumnExists,
       "拾い転送_Base", "通し番号"),
    At(kData, 13, WithoutTable("Spec_補強名称"), {}, "Data_Up_14", ado::kErrItemNotFound,
       "Data_拾いＩＤ", "ＩＤ"),
    At(kData, 13, {}, MakeTable("拾い転送_データ転記"), "Data_Up_14", ado::kErrObjectExists,
       "拾い転送_形状名称変換_副資材", "\n59\t"),
    At(kData, 13, {}, MakeTable("拾い転送_Base"), "Data_Up_15", ado::kErrItemNotFound),
    At(kData, 13, {}, Both(MakeTable("拾い転送_Base"), AddColumn("Spec_補強名称", "転送名称")),
       "Data_Up_16b", ado::kErrNoTable, "仕様_名称", "HH24ACNN"),
    At(kData, 15, {}, MakeTable("拾い転送_共板FG"), "Data_Up_16a", ado::kErrObjectExists,
       "Spec_補強名称", "4\t相FG\tなし"),
    At(kData, 16, {}, AddColumn(kMain, "伝票番号"), "Data_Up_17", ado::kErrColumnExists),
    At(kData, 17, {}, AddColumn("Data_角_展開設定", "繋ぎﾊｾﾞｼﾛ_S_2"), "Data_Up_18",
       ado::kErrColumnExists, "Data_角_展開設定", "ﾎﾞｯｸｽﾊｾﾞｼﾛ_W_2"),
    At(kData, 17, {}, AddRow(kShapes, 150), "Data_Up_18", ado::kErrIntegrity, kShapes, "\n149\t"),
    At(kData, 18, {}, KeepRows(kShapes, 152), "Eng_Apply", ado::kErrNoCurrentRow, kShapes,
       "形状名_英語"),
    At(kData, 19, {}, AddRow(kShapes, 157), "Data_Up_20", ado::kErrIntegrity, kShapes, "\n156\t"),
    At(kData, 20, {}, KeepRows("拾い転送_設定", 0), "Data_Up_21", ado::kErrNoCurrentRow,
       "拾い転送_設定", "1㎡以下の追加"),
    At(kData, 21, {}, AddColumn("仕様_その他設定", "鋼板重量"), "Data_Up_22",
       ado::kErrColumnExists),
    At(kData, 21, {}, KeepRows("仕様_その他設定", 0), "Data_Up_22", ado::kErrNoCurrentRow,
       "仕様_その他設定", "鋼板重量"),
    At(kData, 22, {}, MakeTable("拾い転送_データ転記ADD"), "Data_Up_23", ado::kErrObjectExists,
       "拾い転送_Base", "相ＦＧ"),
    At(kData, 23, {}, AddRow("Spec_開口形状", 4), "Data_Up_24", ado::kErrIntegrity, "Spec_開口形状",
       "\n3\t"),
    At(kData, 24, {}, KeepRows("Spec_開口形状", 4), "Data_Up_25", ado::kErrNoCurrentRow,
       "Spec_開口形状", "四角"),
    At(kData, 25, {}, AddRow(kShapes, 159), "Data_Up_26", ado::kErrIntegrity, kShapes, "\n158\t"),
    At(kData, 26, {}, AddRow(kShapes, 160), "Data_Up_27", ado::kErrIntegrity, kShapes,
       "\n159\t丸ｴﾙﾎﾞ_横繋ぎ"),
    At(kTenkai, 2, {}, {}, "Data_Up_3", ado::kErrItemNotFound),  // the wrong kind of file
    At(kTenkai, 2, WithoutTable("ｼﾛ_ｱﾝｸﾞﾙ別設定_塩ﾋﾞ"), {}, "Tenkai_Up_3", ado::kErrNoTable,
       "ｼﾛ_ｱﾝｸﾞﾙ別設定_SUS", "ﾒｯﾂ\t返しｼﾛ\t-5"),
    At(kTenkai, 2, WithoutField("ｼﾛ_ｱﾝｸﾞﾙ別設定_SUS", "25"), {}, "Tenkai_Up_3",
       ado::kErrItemNotFound, "ｼﾛ_ｱﾝｸﾞﾙ別設定_亜鉛鉄板", "ﾒｯﾂ\t返しｼﾛ\t-5"),
    At(kTenkai, 4, WithoutTable("ｼﾛ_接合種類別設定_鋼板"), {}, "Tenkai_Up_5", ado::kErrNoTable,
       "ｼﾛ_接合種類別設定_塩ﾋﾞ", "ﾐﾐ付共板\t返しｼﾛ\t45"),
    At(kTenkai, 5, {}, AddColumn(kRound, "重ねシロ線"), "Tenkai_Up_6", ado::kErrColumnExists,
       kRound, "切幅16t"),
    At(kTenkai, 5, {}, KeepRows(kRound, 15), "Tenkai_Up_6", ado::kErrNoCurrentRow, kRound,
       "0.5\t0.5\t0.5"),
    At(kTenkai, 7, {}, KeepRows("接続口基本設定", 0), "Tenkai_Up_8", ado::kErrNoCurrentRow,
       "接続口基本設定", "差込ｶｯﾄ_Ha2"),
    At(kTenkai, 8, {}, KeepRows(kRound, 0), "Tenkai_Up_9", ado::kErrNoCurrentRow, kRound,
       "T管開口補正ｻｲｽﾞ"),
    At(kTenkai, 9, WithoutTable("設定_NEST"), {}, "Tenkai_Up_10", ado::kErrItemNotFound,
       "板取設定_角丸", "折線印字設定"),
    At(kTenkai, 11, {}, KeepRows("設定_材質板厚ｺｰﾄﾞ", 5), "Tenkai_Up_12", ado::kErrNoCurrentRow,
       "設定_材質板厚ｺｰﾄﾞ", "\t58\n"),
    At(kTenkai, 13, WithoutField("ﾂﾏ板設定", "Boxハゼ抜きパターン"), {}, "Tenkai_Up_14",
       ado::kErrItemNotFound, "ﾂﾏ板設定", "5面Boxﾊｾﾞ抜きミミ"),
    At(kTenkai, 14, WithoutField("形状別設定", "直管・短管接続サイズ（その他）"), {},
       "Tenkai_Up_15", ado::kErrItemNotFound, "形状別設定", "接合部カットH_0"),
    At(kTenkai, 15, {}, KeepRows("設定_円弧分割数", 9), "Tenkai_Up_16", ado::kErrNoCurrentRow,
       "設定_円弧分割数", "\t100\n"),
    At(kTenkai, 17, {},
       Both(UniqueIds("ﾀﾞｸﾄｻｲｽﾞの寸法補正値_三井ﾊｾﾞ"), AddRow("ﾀﾞｸﾄｻｲｽﾞの寸法補正値_三井ﾊｾﾞ", 30)),
       "Tenkai_Up_18", ado::kErrIntegrity, "ﾀﾞｸﾄｻｲｽﾞの寸法補正値_三井ﾊｾﾞ", "\n29\t"),
    At(kTenkai, 18, {}, KeepRows("設定_材質別ｺｰﾄﾞ", 8), "Tenkai_Up_19", ado::kErrNoCurrentRow),
    At(kTenkai, 18, {}, AddRow("設定_材質板厚ｺｰﾄﾞ", 7), "Tenkai_Up_19", ado::kErrIntegrity,
       "設定_材質別ｺｰﾄﾞ", "\t7\n"),
    At(kTenkai, 19, {}, KeepRows("ﾂﾏ板設定", 0), "Tenkai_Up_20", ado::kErrNoCurrentRow,
       "丸ダクトカット設定", "99999"),
    At(kTenkai, 20, {}, KeepRows("丸ダクトカット設定", 1), "Tenkai_Up_21", ado::kErrNoCurrentRow,
       "丸ダクトカット設定", "オーバル開口補正"),
    At(kTenkai, 21, {}, KeepRows("設定_Box板取形状", 5), "Tenkai_Up_22", ado::kErrNoCurrentRow,
       kRound, "丸ﾀﾞｸﾄﾏｰｷﾝｸﾞ設定"),
};

TEST(FailureTest, EveryFailureOfAStepLeavesARealFileAsItShould) {
  SKIP_WITHOUT_SAMPLES();
  const TempFolder folder;
  const auto files = jet::MakeSystemFiles();
  std::vector<std::string> paths;
  for (const Failure& failure : kFailures) {
    constexpr const char* kFiles[] = {"ja/schedule.mdb", "ja/seikyu2.mdb", "ja/exampledb.mdb"};
    const std::string path = folder.File(fmt::format("{}.mdb", paths.size()));
    SCOPED_TRACE(fmt::format("case {}: {} {}", paths.size(), failure.version, failure.step));
    std::filesystem::copy_file(SamplePath(kFiles[paths.size() % 3]), path);
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
    paths.push_back(path);
    const auto edit = [&](const Obstacle& body) {
      const auto database = jet::Database::Open(*files, path, {jet::OpenMode::kExclusive});
      body(*database);
      database->Commit();
    };
    samples::SampleOptions options;
    options.jobs = 0;
    options.change = failure.base;
    edit([&](jet::Database& database) { samples::AddSample(database, failure.kind, options); });
    const std::string kind =
        std::string_view(failure.step).starts_with("Tenkai") ? "tenkai" : "data";
    if (failure.version > 2) {
      MdbAdmOut({"upgrade", path, "--kind", kind, "--to", std::to_string(failure.version)});
    }
    if (failure.obstacle) edit(failure.obstacle);

    const std::string before = ReadFileBytes(path);
    const auto told = [&] { return MdbAdm({"rows", path, failure.table}).out; };
    if (failure.table != nullptr) {
      EXPECT_THAT(told(), Not(HasSubstr(failure.kept)));
    }
    const Outcome outcome = MdbAdm({"upgrade", path, "--kind", kind});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr(fmt::format("{}: {}", failure.step, failure.error)));
    EXPECT_TRUE(ReadFileBytes(path) == before);

    EXPECT_EQ(MdbAdm({"upgrade", path, "--kind", kind, "--keep-partial"}).status, 1);
    EXPECT_EQ(MdbAdmJson({"info", path})["version"], failure.version);
    if (failure.table != nullptr) {
      EXPECT_THAT(told(), HasSubstr(failure.kept));
    } else {
      const std::string old = folder.File("before.mdb");
      WriteFileBytes(old, before);
      EXPECT_EQ(MdbAdm({"diff", old, path}).status, 0);
    }
    ExpectSoundByOurs(path);
  }
  if (const auto findings = VerifierFinds(paths, false)) {
    for (std::size_t i = 0; i < paths.size(); ++i) EXPECT_EQ(findings->at(i), "") << i;
  }
}

}  // namespace
