// Base tables and ladders in files of over 512 pages, as those of sites are: the usage
// maps stay such as the engine of the format makes.
#include <gmock/gmock.h>

#include "ado/environment.h"
#include "samples/sample.h"
#include "tests/support/fault_file.h"
#include "tests/support/map_check.h"
#include "tests/support/temp_db.h"
#include "upgrade/ladders.h"

namespace {

using db::Kind;
using testing::IsEmpty;

constexpr char kPath[] = "/maps.mdb";
constexpr std::size_t kManyPages = 520;

class MapsTest : public testing::Test {
 protected:
  std::string& image() { return files_.bytes(kPath); }
  std::size_t pages() { return image().size() / jet::kPageSize; }

  // Rows of another table, one a page or so.
  void Fill(jet::Database& database) {
    jet::TableSpec spec{.name = "工事台帳", .columns = {{.name = "番号"}}};
    std::vector<jet::Value> row{std::int32_t{0}};
    for (const char* name : {"Ａ", "Ｂ", "Ｃ", "Ｄ"}) {
      spec.columns.push_back({.name = name, .type = jet::ColumnType::kText, .max_size = 255});
      row.emplace_back(std::string(255, 'x'));
    }
    const auto table = database.CreateTable(spec);
    while (database.info().page_count < kManyPages) table->Insert(row);
  }
  void Upgrade(Kind kind) {
    ado::Environment environment(files_, [] { return jet::ToDateTime({2012, 2, 3}); });
    ado::Environment::Action action(environment);
    db::FileSession session(environment, kind, kPath, db::kDatabasePassword);
    session.Open();
    upgrade::RunLadder(session, upgrade::LatestVersion(kind));
    action.Commit();
  }
  // A step of the file's life.
  void ExpectGoodMaps(const std::function<void()>& change) {
    const std::string before = image();
    change();
    EXPECT_THAT(test_support::MapFaults(before, image()), IsEmpty());
    ASSERT_GT(pages(), kManyPages);
  }

  test_support::FaultFiles files_;
  test_support::TempFolder folder_;
};

TEST_F(MapsTest, AreThoseOfTheFormatInALargeFile) {
  for (const Kind kind : {Kind::kData, Kind::kTenkai}) {
    SCOPED_TRACE(db::FileNameOf(kind));
    {
      jet::CreateOptions options;
      options.password = std::string(db::kDatabasePassword);
      const auto database = jet::Database::Create(files_, kPath, options);
      database->Commit();
      ASSERT_NO_FATAL_FAILURE(ExpectGoodMaps([&] {
        Fill(*database);
        samples::SampleOptions sample;
        sample.jobs = 20;
        samples::AddSample(*database, kind, sample);
        database->Commit();
      }));
    }
    ASSERT_NO_FATAL_FAILURE(ExpectGoodMaps([&] { Upgrade(kind); }));
    const std::string path = folder_.File("maps.mdb");
    test_support::WriteFileBytes(path, image());
    test_support::ExpectSound(path, true);
    files_.Remove(kPath);
  }
}

TEST_F(MapsTest, AreThoseOfTheFormatWithManyJobs) {
  samples::SampleOptions sample;
  sample.jobs = 300;
  samples::MakeSample(files_, kPath, Kind::kData, sample);
  ASSERT_NO_FATAL_FAILURE(ExpectGoodMaps([&] { Upgrade(Kind::kData); }));
}

}  // namespace
