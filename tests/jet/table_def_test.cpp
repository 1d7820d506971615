#include "jet/table_def.h"

#include <gmock/gmock.h>

#include "jet/bytes.h"
#include "jet/database.h"
#include "tests/support/temp_db.h"

namespace jet {
namespace {

class TableDefTest : public ::testing::Test {
 protected:
  // Stored, and what the page then says.
  TableDef StoredAndLoaded(TableDef& def) {
    Scope scope(database_->pager());
    def.Store(database_->pager(), database_->allocator());
    scope.Commit();
    return TableDef::Load(database_->pager(), def.page);
  }
  test_support::TempFolder folder_;
  std::unique_ptr<FileSystem> files_ = MakeSystemFiles();
  std::unique_ptr<Database> database_ = Database::Create(*files_, folder_.File("d.mdb"), {});
};

// Every field of every structure, each with a value of its own.
TEST_F(TableDefTest, KeepsEveryField) {
  const auto table = database_->CreateTable(
      {.name = "t",
       .columns = {{.name = "数", .type = ColumnType::kNumeric, .precision = 17, .scale = 3},
                   {.name = "文", .type = ColumnType::kMemo},
                   {.name = "c", .type = ColumnType::kText, .max_size = 7, .compressed = true}},
       .indexes = {{.name = "索", .columns = {"c", "数"}, .descending = {true, false}},
                   {.name = "P", .columns = {"数"}, .primary = true}}});
  TableDef def = table->def();
  std::uint32_t n = 0x01020304;
  const auto next = [&] { return n += 0x01010101; };
  def.row_count = next();
  def.last_autonumber = next();
  def.autonumber_step = next();
  def.unknown1C = next();
  def.unknown20 = std::uint64_t{next()} << 32 | next();
  def.kind = TableDef::kSystem;
  def.stray_maps = {{{99}, {{8}, 1}, {{8}, 2}}};
  for (ColumnDef& column : def.columns) {
    column.unknown17 = next();
    column.position = static_cast<std::uint16_t>(next());
    if (!column.fixed()) column.unknown21 = static_cast<std::uint16_t>(next());
    if (column.type != ColumnType::kNumeric) column.order = {1033, 5, 6};
  }
  for (RealIndex& index : def.real_indexes) {
    index.rows_at_compact = next();
    index.distinct_keys = next();
    index.statistic8 = next();
    index.unknown42 = next();
    index.page_map = {{7}, 3};
  }
  for (LogicalIndex& index : def.logical_indexes) {
    index.number = next();
    index.relation_side = 3;
    index.related_index = next();
    index.related_table = next();
    index.cascade_update = 5;
    index.cascade_delete = 6;
    index.unknown24 = next();
  }
  const Bytes written = def.Serialize();
  const TableDef read = StoredAndLoaded(def);
  EXPECT_EQ(read.Serialize(), written);
  EXPECT_EQ(read.row_count, def.row_count);
  EXPECT_EQ(read.autonumber_step, def.autonumber_step);
  EXPECT_EQ(read.unknown20, def.unknown20);
  EXPECT_EQ(read.columns[0].name, "数");
  EXPECT_EQ(read.columns[0].precision, 17);
  EXPECT_EQ(read.columns[0].scale, 3);
  EXPECT_EQ(read.columns[1].free_map, def.columns[1].free_map);
  EXPECT_EQ(read.columns[2].unknown21, def.columns[2].unknown21);
  EXPECT_EQ(read.columns[2].order, (SortOrder{1033, 5, 6}));
  EXPECT_EQ(read.columns[2].max_chars(), 7u);
  EXPECT_TRUE(read.columns[2].compressed());
  EXPECT_EQ(read.stray_maps[0].free_map, (RowId{{8}, 2}));
  ASSERT_EQ(read.real_indexes[0].columns.size(), 2u);
  EXPECT_FALSE(read.real_indexes[0].columns[0].ascending);
  EXPECT_TRUE(read.real_indexes[0].columns[1].ascending);
  EXPECT_EQ(read.real_indexes[1].root, def.real_indexes[1].root);
  EXPECT_EQ(read.real_indexes[1].flags, RealIndex::kPrimaryKey);
  EXPECT_EQ(read.real_indexes[1].statistic8, def.real_indexes[1].statistic8);
  EXPECT_EQ(read.logical_indexes[0].related_table, def.logical_indexes[0].related_table);
  EXPECT_EQ(read.logical_indexes[1].cascade_delete, 6);

  // The counters alone.
  def.row_count = 1;
  def.last_autonumber = 2;
  def.real_indexes[1].distinct_keys = 3;
  Scope scope(database_->pager());
  def.StoreCounters(database_->pager());
  EXPECT_EQ(TableDef::Load(database_->pager(), def.page).Serialize(), def.Serialize());
}

TEST_F(TableDefTest, GrowsAndShrinksItsChain) {
  TableDef def = database_->CreateTable({.name = "t"})->def();
  std::size_t bytes = 0;
  for (std::uint16_t i = 0; i < 100; ++i) {  // one page after the other, over each edge
    ColumnDef column;
    column.name = std::string(60, 'a') + std::to_string(i);
    column.type = ColumnType::kBoolean;
    column.id = {def.next_column_id++};
    column.flags = ColumnDef::kFixed;
    def.columns.push_back(column);
    const TableDef read = StoredAndLoaded(def);
    bytes = def.Serialize().size() + 8;
    ASSERT_EQ(read.Serialize(), def.Serialize()) << i;
    ASSERT_EQ(read.pages, def.pages);
    ASSERT_EQ(read.pages.size(), bytes <= 4096 ? 1 : 1 + (bytes - 4096 + 4087) / 4088) << bytes;
    ASSERT_EQ(TableDef::Chain(database_->pager(), def.page), def.pages);
    const PageRef last = database_->pager().Read(def.pages.back());
    ASSERT_EQ(GetU16(last.bytes(), 2), 8 + 4088 * def.pages.size() - bytes) << "free bytes";
  }
  ASSERT_EQ(def.pages.size(), 4u);
  def.columns.resize(1);
  EXPECT_EQ(StoredAndLoaded(def).pages, std::vector{def.page});
  const std::uint32_t pages = database_->pager().page_count();
  database_->CreateTable({.name = "u", .columns = {{.name = "m", .type = ColumnType::kMemo}}});
  EXPECT_EQ(database_->pager().page_count(), pages) << "the pages are free again";
}

TEST_F(TableDefTest, FindsColumnsByExactNameFirst) {
  TableDef def;
  for (const char* name : {"ハゼ", "ﾊｾﾞ", "b"}) {
    def.columns.emplace_back().name = name;
    def.columns.back().id = {static_cast<std::uint16_t>(10 * def.columns.size())};
  }
  EXPECT_EQ(def.FindColumn("ﾊｾﾞ", kJapanese), 1u);
  EXPECT_EQ(def.FindColumn("はぜ", kJapanese), 0u);
  EXPECT_EQ(def.FindColumn("Ｂ", kJapanese), 2u);
  EXPECT_EQ(def.FindColumn("c", kJapanese), std::nullopt);
  EXPECT_EQ(def.FindColumn(ColumnId{20}), 1u);
  EXPECT_EQ(def.FindColumn(ColumnId{2}), std::nullopt);
}

TEST(TableDefs, OfRealFilesComeBackByteForByte) {
  SKIP_WITHOUT_SAMPLES();
  const auto files = MakeSystemFiles();
  std::size_t definitions = 0, chains = 0;
  for (const std::string& name : test_support::SampleNames()) {
    const auto database =
        Database::Open(*files, test_support::SamplePath(name), {.password = "ucanaccess"});
    for (const ObjectInfo& object : database->Objects()) {
      if (object.type != 1 || object.kind == ObjectKind::kOther) continue;
      const PageNumber page{static_cast<std::uint32_t>(object.id)};
      const TableDef def = TableDef::Load(database->pager(), page);
      Bytes stored;
      for (const PageNumber part : def.pages) {
        const PageRef ref = database->pager().Read(part);
        const PageView bytes = ref.bytes();
        AddBytes(stored, part == page ? ByteView(bytes) : bytes.subspan(8));
      }
      const Bytes ours = def.Serialize();
      ASSERT_EQ(GetU32(ours, 8), GetU32(stored, 8)) << name << ' ' << object.name;
      // Behind the content stands what the writer's memory held.
      EXPECT_TRUE(std::equal(ours.begin() + 8, ours.end(), stored.begin() + 8))
          << name << ' ' << object.name;
      ++definitions;
      chains += def.pages.size() > 1 ? 1 : 0;
    }
  }
  EXPECT_GT(definitions, 200u);
  EXPECT_GT(chains, 0u);
}

}  // namespace
}  // namespace jet
