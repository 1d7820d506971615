// Changes to files of over 512 pages: every usage map stays one that the engine of the
// format could have made.
#include <gmock/gmock.h>

#include <set>

#include "jet/row/table_def_chain.h"
#include "jet/table/internals.h"
#include "tests/support/jet_fixture.h"
#include "tests/support/map_check.h"

namespace jet {
namespace {

using enum ColumnType;
using namespace test_support;
using testing::IsEmpty;

// Tables, columns and indexes in a file that is there, and rows in turn, so that the
// pages of all maps lie in between each other.
void ChangeMuch(Database& database) {
  std::vector<std::shared_ptr<Table>> tables;
  for (const char* name : {"追加１", "追加２"}) {
    tables.push_back(database.CreateTable(
        {name,
         {{.name = "ＩＤ", .auto_number = true}, {"文", kText, 255}, {"覚", kMemo}},
         {{.name = "PrimaryKey", .columns = {"ＩＤ"}, .primary = true},
          {.name = "文", .columns = {"文"}}}}));
  }
  for (int i = 0; i < 2500; ++i) {
    const std::string text =
        std::to_string(i * 7919 % 10007) + std::string(150, 'x');  // some 10 rows a page
    const std::string memo(i % 10 == 0 ? 9000 : 40, 'm');
    tables[i % 7 == 0 ? 1 : 0]->Insert(std::vector<Value>{Null{}, text, memo});
  }
  tables.clear();
  database.AppendColumn("追加１", {"新", kMemo});
  database.AddIndex("追加１", {.name = "新索引", .columns = {"文", "ＩＤ"}});
  const auto table = database.OpenTable("追加１");
  for (int i = 0; i < 500; ++i) {
    const std::string memo(static_cast<std::size_t>(i % 4) * 1000, 'n');
    table->Insert(std::vector<Value>{Null{}, std::to_string(i), Null{}, memo});
  }
}

// Pages that belong to the user's tables, their maps included.
std::set<std::uint32_t> PagesOfTables(Database& database, const MapFile& file) {
  std::set<std::uint32_t> pages;
  const auto add_map = [&](RowId at) {
    if (!at) return;
    pages.insert(at.page.value);
    const MapState& map = file.maps.at(at.packed());
    pages.insert(map.pages.begin(), map.pages.end());
    pages.insert(map.bitmaps.begin(), map.bitmaps.end());
  };
  for (const ObjectInfo& object : database.Objects()) {
    if (object.kind != ObjectKind::kTable) continue;
    const TableDef& def = DefOf(*database.OpenTable(object));
    for (const PageNumber page : PagesOfTableDef(Internals(database).pager(), def.page)) {
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

class MapRules : public EngineTest {};

TEST_F(MapRules, HoldInRealFiles) {
  SKIP_WITHOUT_SAMPLES();
  std::vector<std::string> paths;
  for (const char* name : {"Reels.mdb", "testV2000.mdb", "longform.mdb"}) {
    SCOPED_TRACE(name);
    path_ = CopySample(folder_, name);
    paths.push_back(path_);
    const std::string before = ReadFileBytes(path_);
    const std::set<std::uint32_t> others = PagesOfTables(Open(), ReadMaps(before));
    ChangeMuch(*database_);
    database_->Commit();
    const std::string after = ReadFileBytes(path_);
    EXPECT_THAT(MapFaults(before, after), IsEmpty());
    EXPECT_GT(others.size(), 15u);
    for (const std::uint32_t page : others) {
      const std::size_t at = page * kPageSize;
      EXPECT_EQ(after.compare(at, kPageSize, before, at, kPageSize), 0) << "page " << page;
    }
  }
  if (const auto found = VerifierFinds(paths, false)) {
    EXPECT_THAT(*found, testing::Each(IsEmpty()));
  }
}

}  // namespace
}  // namespace jet
