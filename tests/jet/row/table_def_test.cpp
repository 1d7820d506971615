#include "jet/row/table_def.h"

#include <gmock/gmock.h>

#include "jet/base/bytes.h"
#include "jet/row/table_def_bytes.h"
#include "jet/row/table_def_chain.h"
#include "jet/table/internals.h"
#include "tests/support/definition_check.h"
#include "tests/support/jet_fixture.h"

namespace jet {
namespace {

using enum ColumnType;
using namespace test_support;

class TableDefTest : public EngineTest {
 protected:
  TableDefTest() { Create(); }
  // Stored, and what the page then says.
  TableDef StoredAndLoaded(TableDef& def) {
    Scope scope(pager());
    StoreTableDef(def, pager(), allocator());
    scope.Commit();
    return LoadTableDef(pager(), def.page);
  }
};

// Every field of every structure, each with a value of its own.
TEST_F(TableDefTest, KeepsEveryField) {
  const auto table =
      database_->CreateTable({"t",
                              {{.name = "数", .type = kNumeric, .precision = 17, .scale = 3},
                               {"文", kMemo},
                               {.name = "c", .type = kText, .max_size = 7, .compressed = true}},
                              {{.name = "索", .columns = {"c", "数"}, .descending = {true, false}},
                               {.name = "P", .columns = {"数"}, .primary = true}}});
  TableDef def = DefOf(*table);
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
    if (column.type != kNumeric) column.order = {1033, 5, 6};
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
  const Bytes written = WriteDefinition(def);
  const TableDef read = StoredAndLoaded(def);
  EXPECT_EQ(WriteDefinition(read), written);
  // What could stand in the wrong fields and be written from there again.
  const auto some_of = [](const TableDef& d) {
    const ColumnDef &numeric = d.columns[0], &memo = d.columns[1], &text = d.columns[2];
    const RealIndex &first = d.real_indexes[0], &second = d.real_indexes[1];
    return std::tuple(d.row_count, d.autonumber_step, d.unknown20, numeric.name, numeric.precision,
                      numeric.scale, memo.free_map, text.unknown21, text.order, text.max_chars(),
                      text.compressed(), d.stray_maps[0].free_map, first.columns.size(),
                      first.columns[0].ascending, first.columns[1].ascending, second.root,
                      second.flags, second.statistic8, d.logical_indexes[0].related_table,
                      d.logical_indexes[1].cascade_delete);
  };
  EXPECT_EQ(some_of(read), some_of(def));

  // The counters alone.
  def.row_count = 1;
  def.last_autonumber = 2;
  def.real_indexes[1].distinct_keys = 3;
  Scope scope(pager());
  StoreCounters(def, pager());
  EXPECT_EQ(WriteDefinition(LoadTableDef(pager(), def.page)), WriteDefinition(def));
}

TEST_F(TableDefTest, GrowsAndShrinksItsChain) {
  TableDef def = DefOf(*database_->CreateTable({.name = "t"}));
  std::size_t bytes = 0;
  for (std::uint16_t i = 0; i < 100; ++i) {  // one page after the other, over each edge
    ColumnDef column;
    column.name = std::string(60, 'a') + std::to_string(i);
    column.type = kBoolean;
    column.id = {def.next_column_id++};
    column.flags = ColumnDef::kFixed;
    def.columns.push_back(column);
    const TableDef read = StoredAndLoaded(def);
    bytes = WriteDefinition(def).size() + 8;
    ASSERT_EQ(WriteDefinition(read), WriteDefinition(def)) << i;
    ASSERT_EQ(read.pages, def.pages);
    ASSERT_EQ(read.pages.size(), bytes <= 4096 ? 1 : 1 + (bytes - 4096 + 4087) / 4088) << bytes;
    ASSERT_EQ(PagesOfTableDef(pager(), def.page), def.pages);
    const PageRef last = pager().Read(def.pages.back());
    ASSERT_EQ(GetU16(last.bytes(), 2), 8 + 4088 * def.pages.size() - bytes) << "free bytes";
  }
  ASSERT_EQ(def.pages.size(), 4u);
  def.columns.resize(1);
  EXPECT_EQ(StoredAndLoaded(def).pages, std::vector{def.page});
  const std::uint32_t pages = database_->info().page_count;
  database_->CreateTable({.name = "u", .columns = {{.name = "m", .type = kMemo}}});
  EXPECT_EQ(database_->info().page_count, pages) << "the pages are free again";
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
  std::size_t definitions = 0, chains = 0;
  ForEachSample([&](const std::string&, Database& database) {
    const DefinitionCheck check = RewriteDefinitions(database);
    EXPECT_THAT(check.changed, testing::IsEmpty());
    definitions += check.definitions;
    chains += check.chains;
  });
  EXPECT_GT(definitions, 200u);
  EXPECT_GT(chains, 0u);
}

}  // namespace
}  // namespace jet
