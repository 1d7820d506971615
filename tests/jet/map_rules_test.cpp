// Changes to files of over 512 pages: every usage map stays one that the engine of the
// format could have made.
#include <gmock/gmock.h>

#include <set>

#include "jet/database.h"
#include "tests/support/map_check.h"
#include "tests/support/temp_db.h"

namespace jet {
namespace {

using testing::IsEmpty;

constexpr int kWide = 300;  // bytes that make rows of some 10 a page

// Tables, columns and indexes in a file that is there, and rows in turn, so that the
// pages of all maps lie in between each other.
void ChangeMuch(Database& database) {
  std::vector<std::shared_ptr<Table>> tables;
  for (const char* name : {"追加１", "追加２"}) {
    tables.push_back(database.CreateTable(
        {.name = name,
         .columns = {{.name = "ＩＤ", .auto_number = true},
                     {.name = "文", .type = ColumnType::kText, .max_size = 255},
                     {.name = "覚", .type = ColumnType::kMemo}},
         .indexes = {{.name = "PrimaryKey", .columns = {"ＩＤ"}, .primary = true},
                     {.name = "文", .columns = {"文"}}}}));
  }
  for (int i = 0; i < 2500; ++i) {
    const std::string text = std::to_string(i * 7919 % 10007) + std::string(kWide / 2, 'x');
    const std::string memo(i % 10 == 0 ? 9000 : 40, 'm');
    const std::vector<Value> row{Null{}, text, memo};
    tables[i % 7 == 0 ? 1 : 0]->Insert(row);
  }
  tables.clear();
  database.AppendColumn("追加１", {.name = "新", .type = ColumnType::kMemo});
  database.AddIndex("追加１", {.name = "新索引", .columns = {"文", "ＩＤ"}});
  const auto table = database.OpenTable("追加１");
  for (int i = 0; i < 500; ++i) {
    const std::string memo(static_cast<std::size_t>(i % 4) * 1000, 'n');
    const std::vector<Value> row{Null{}, std::to_string(i), Null{}, memo};
    table->Insert(row);
  }
}

// Pages that belong to the user's tables, their maps included.
std::set<std::uint32_t> PagesOfTables(Database& database, const test_support::MapFile& file) {
  std::set<std::uint32_t> pages;
  const auto add_map = [&](RowId at) {
    if (!at) return;
    pages.insert(at.page.value);
    const test_support::MapState& map = file.maps.at(at.packed());
    pages.insert(map.pages.begin(), map.pages.end());
    pages.insert(map.bitmaps.begin(), map.bitmaps.end());
  };
  for (const ObjectInfo& object : database.Objects()) {
    if (object.kind != ObjectKind::kTable) continue;
    const TableDef& def = database.OpenTable(object)->def();
    for (const PageNumber page : TableDef::Chain(database.pager(), def.page)) {
      pages.insert(page.value);
    }
    add_map(def.owned_map);
    add_map(def.free_map);
    for (const ColumnDef& column : def.columns) {
      add_map(column.owned_map);
      add_map(column.free_map);
    }
    for (const RealIndex& index : def.real_indexes) add_map(index.page_map);
  }
  return pages;
}

void ExpectMapsOfTheFormat(const std::string& path) {
  const std::string before = test_support::ReadFileBytes(path);
  const auto files = MakeSystemFiles();
  auto database = Database::Open(*files, path, {.mode = OpenMode::kExclusive});
  const std::set<std::uint32_t> others = PagesOfTables(*database, test_support::ReadMaps(before));
  ChangeMuch(*database);
  database->Commit();
  database.reset();
  const std::string after = test_support::ReadFileBytes(path);
  EXPECT_THAT(test_support::MapFaults(before, after), IsEmpty());
  EXPECT_GT(others.size(), 15u);
  for (const std::uint32_t page : others) {
    const std::size_t at = page * kPageSize;
    EXPECT_EQ(after.compare(at, kPageSize, before, at, kPageSize), 0) << "page " << page;
  }
}

TEST(MapRules, HoldInRealFiles) {
  SKIP_WITHOUT_SAMPLES();
  const test_support::TempFolder folder;
  std::vector<std::string> paths;
  for (const char* name : {"Reels.mdb", "testV2000.mdb", "longform.mdb"}) {
    SCOPED_TRACE(name);
    paths.push_back(folder.CopySample(name));
    ExpectMapsOfTheFormat(paths.back());
  }
  if (const auto found = test_support::VerifierFinds(paths, false)) {
    EXPECT_THAT(*found, testing::Each(IsEmpty()));
  }
}

}  // namespace
}  // namespace jet
