#include "samples/sample.h"

#include <gmock/gmock.h>

#include "ado/recordset.h"
#include "db/version_record.h"
#include "jet/base/text.h"
#include "jet/check/check.h"
#include "jet/sort/name.h"
#include "samples/jobs.h"
#include "tests/support/temp_db.h"

namespace samples {
namespace {

using test_support::ReadFileBytes;
using test_support::TempFolder;
using ::testing::ElementsAre;

class SampleTest : public ::testing::Test {
 protected:
  std::string Make(Kind kind, const SampleOptions& options = {}) {
    std::string path = folder_.File(std::string(db::FileNameOf(kind)));
    MakeSample(*files_, path, kind, options);
    return path;
  }
  std::unique_ptr<jet::Database> Open(const std::string& path) {
    jet::OpenOptions options;
    options.password = std::string(db::kDatabasePassword);
    return jet::Database::Open(*files_, path, options);
  }
  static std::uint32_t Rows(jet::Database& database, std::string_view table) {
    return database.OpenTable(table)->row_count();
  }
  // A column of a table, in stored order.
  static std::vector<jet::Value> Column(jet::Database& database, std::string_view table,
                                        std::string_view column) {
    const auto stored = database.OpenTable(table);
    const std::size_t ordinal = stored->OrdinalOf(column);
    std::vector<jet::Value> values;
    for (jet::TableScan scan(*stored); scan.Next();) values.push_back(scan.row().Get(ordinal));
    return values;
  }

  TempFolder folder_;
  std::unique_ptr<jet::FileSystem> files_ = jet::MakeSystemFiles();
};

TEST_F(SampleTest, BaseHoldsEveryTableWithItsRowsAndIsSound) {
  for (Kind kind : {Kind::kData, Kind::kTenkai}) {
    const std::string path = Make(kind);
    const auto database = Open(path);
    for (const BaseTable& table : kind == Kind::kData ? DataTables() : TenkaiTables()) {
      SCOPED_TRACE(table.name);
      const auto stored = database->OpenTable(table.name);
      EXPECT_EQ(stored->name(), table.name);
      ASSERT_EQ(stored->columns().size(), table.columns.size());
      for (std::size_t i = 0; i < table.columns.size(); ++i) {
        EXPECT_EQ(stored->columns()[i].name, table.columns[i].spec.name);
        EXPECT_EQ(stored->columns()[i].required, table.columns[i].spec.required);
        EXPECT_EQ(stored->columns()[i].compressed, table.columns[i].spec.compressed);
      }
      if (table.rows.empty()) continue;
      EXPECT_EQ(stored->row_count(), table.rows.size());
    }
    test_support::ExpectSound(path, true);
  }
}

TEST_F(SampleTest, SameOptionsGiveTheSameBytes) {
  SampleOptions options;
  options.jobs = 7;
  options.version = 14;
  const std::string first = ReadFileBytes(Make(Kind::kData, options));
  EXPECT_EQ(first, ReadFileBytes(Make(Kind::kData, options)));
  options.jobs = 8;
  EXPECT_NE(first, ReadFileBytes(Make(Kind::kData, options)));
}

TEST_F(SampleTest, JobsHaveTheirRows) {
  SampleOptions options;
  options.jobs = 101;
  const auto database = Open(Make(Kind::kData, options));
  for (const JobTable& table : JobTables(options.jobs)) {
    EXPECT_EQ(Rows(*database, table.name), table.count) << table.name;
  }
  const auto remarks = Column(*database, "Data_ﾒｲﾝ_設定", "備考");
  EXPECT_TRUE(jet::IsNull(remarks[0]));
  EXPECT_EQ(jet::Utf16Length(std::get<std::string>(remarks[9])), 300U);
  EXPECT_EQ(jet::Utf16Length(std::get<std::string>(remarks[99])), 6000U);
  // A site's twin differs by width only: one name to the sort order.
  const auto sites = Column(*database, "Spec_現場名", "現場名");
  EXPECT_NE(sites[5], sites[6]);
  EXPECT_TRUE(jet::SameName(jet::kJapanese, std::get<std::string>(sites[5]),
                            std::get<std::string>(sites[6])));
}

TEST_F(SampleTest, LaddersBringSamplesToEveryVersion) {
  struct Case {
    Kind kind;
    std::int16_t version;
    const char* table;
    std::uint32_t rows;
  };
  const Case cases[] = {
      {Kind::kData, 4, "Spec_工法", 19},
      {Kind::kData, 13, "Spec_形状名（角）", 146},
      {Kind::kData, 18, "Spec_形状名（角）", 153},
      {Kind::kData, 27, "Spec_形状名（角）", 160},
      {Kind::kData, 27, "拾い転送_形状名称変換", 160},
      {Kind::kTenkai, 4, "丸ダクト設定", 24},
      {Kind::kTenkai, 22, "丸ダクト設定", 32},
      {Kind::kTenkai, 18, "ﾀﾞｸﾄｻｲｽﾞの寸法補正値_BP", 47},
  };
  for (const Case& sample : cases) {
    SampleOptions options;
    options.version = sample.version;
    options.jobs = 2;
    const std::string path = Make(sample.kind, options);
    const auto database = Open(path);
    SCOPED_TRACE(sample.table + std::to_string(sample.version));
    EXPECT_EQ(Rows(*database, sample.table), sample.rows);
    EXPECT_THAT(Column(*database, db::kVersionTable, db::kVersionField),
                ElementsAre(jet::Value(static_cast<double>(sample.version))));
    test_support::ExpectSound(path, true);
  }
}

TEST_F(SampleTest, BaseCanBeChangedBeforeItIsWritten) {
  SampleOptions options;
  options.change = [](std::vector<BaseTable>& base) {
    TableNamed(base, "仕様_名称").rows.resize(1);
    TableNamed(base, db::kVersionTable).rows.clear();
  };
  const auto database = Open(Make(Kind::kData, options));
  EXPECT_EQ(Rows(*database, "仕様_名称"), 1U);
  EXPECT_EQ(Rows(*database, db::kVersionTable), 0U);
}

TEST_F(SampleTest, FailureLeavesNoFile) {
  SampleOptions options;
  options.change = [](std::vector<BaseTable>& base) {
    TableNamed(base, "Spec_工法").rows.push_back({1, "duplicate"});
  };
  EXPECT_THROW(Make(Kind::kData, options), jet::Error);
  EXPECT_FALSE(files_->Exists(folder_.File("Data.mdb")));
  EXPECT_FALSE(files_->Exists(folder_.File("Data.mdb.new")));
}

}  // namespace
}  // namespace samples
