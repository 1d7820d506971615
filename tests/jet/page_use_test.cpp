// Files that contradict themselves about whose a page is: nothing new is put
// where something stands already.
#include <gmock/gmock.h>

#include <functional>

#include "jet/bytes.h"
#include "jet/catalog.h"
#include "jet/database.h"
#include "jet/error.h"
#include "tests/support/fault_file.h"

namespace jet {
namespace {

using test_support::FaultFiles;

constexpr char kPath[] = "/page_use.mdb";

class PageUseTest : public ::testing::Test {
 protected:
  void SetUp() override {
    const auto database = Database::Create(files_, kPath, {});
    for (const char* name : {"甲", "乙"}) {
      const auto table = database->CreateTable(
          {.name = name,
           .columns = {{.name = "番号", .auto_number = true},
                       {.name = "数"},
                       {.name = "文", .type = ColumnType::kMemo}},
           .indexes = {{.name = "PrimaryKey", .columns = {"番号"}, .primary = true}}});
      for (int i = 0; i < kRows; ++i) table->Insert(Row(i));
    }
    database->Commit();
  }

  static std::vector<Value> Row(int i) {
    return {Null{}, i, std::string(i % 40 == 0 ? 9000 : 90, 'm')};
  }
  std::unique_ptr<Database> Open() {
    OpenOptions options;
    options.mode = OpenMode::kExclusive;
    return Database::Open(files_, kPath, options);
  }
  void Damage(const std::function<void(Database&)>& how) {
    const auto database = Open();
    Scope scope(database->pager());
    how(*database);
    scope.Commit();
    database->Commit();
  }
  static TableDef DefOf(Database& database, std::string_view table) {
    return database.OpenTable(table)->def();
  }
  static void MarkFree(Database& database, PageNumber page) {
    UsageMap(database.pager(), kGlobalMap).Add(page, database.allocator());
  }

  // The page that `change` calls damaged. The file must not change.
  std::optional<PageNumber> PageOfRefusal(const std::function<void(Database&)>& change) {
    const std::string before = files_.bytes(kPath);
    std::optional<PageNumber> page;
    std::unique_ptr<Database> database;
    try {
      database = Open();
      change(*database);
      ADD_FAILURE() << "not refused";
    } catch (const Error& error) {
      EXPECT_EQ(error.code(), ErrorCode::kDamaged) << error.what();
      page = error.page();
    }
    if (database) database->Commit();
    EXPECT_EQ(files_.bytes(kPath), before);
    return page;
  }
  static void NewTable(Database& database) {
    database.CreateTable({.name = "新", .columns = {{.name = "番号"}}});
  }
  static void NewColumn(Database& database) { database.AppendColumn("乙", {.name = "新"}); }

  static constexpr int kRows = 200;
  FaultFiles files_;
};

TEST_F(PageUseTest, NoPageInUseIsTakenWhateverTheMapOfFreePagesSays) {
  const std::string sound = files_.bytes(kPath);
  const auto pages = static_cast<std::uint32_t>(sound.size() / kPageSize);
  ASSERT_GT(pages, 40u);
  for (PageNumber page{0}; page.value < pages; ++page.value) {
    SCOPED_TRACE(page.value);
    files_.bytes(kPath) = sound;
    bool free = false;
    Damage([&](Database& database) {
      free = database.allocator().IsFree(page);
      MarkFree(database, page);
    });
    if (free) continue;
    EXPECT_EQ(PageOfRefusal(NewTable), page);
  }
}

TEST_F(PageUseTest, AFileThatWasCutOffDoesNotGrowOverWhatIsMissing) {
  std::string& image = files_.bytes(kPath);
  const auto last = static_cast<std::uint32_t>(image.size() / kPageSize) - 1;
  ASSERT_FALSE(Open()->allocator().IsFree({last - 1}));
  image.resize(std::size_t{last - 1} * kPageSize);
  EXPECT_EQ(PageOfRefusal(NewTable), PageNumber{last - 1});
}

// A file of some pages must not become one of a gigabyte.
TEST_F(PageUseTest, AMapThatBeginsFarBehindTheEndLeavesNoGap) {
  Damage([&](Database& database) {
    const PageSpan page = database.pager().Edit(kGlobalMap.page);
    const std::size_t map = GetU16(page, 14) & 0x1FFFu;
    PutU32(page, map + 1, 0x40000);  // its first page
  });
  const std::size_t before = files_.bytes(kPath).size();
  auto database = Open();
  NewTable(*database);
  database->Commit();
  database.reset();
  EXPECT_LE(files_.bytes(kPath).size(), before + 4 * kPageSize);
  EXPECT_EQ(Open()->OpenTable("新")->def().columns.size(), 1u);
}

// The numbers of its pages would begin at 0 again.
TEST_F(PageUseTest, AMapThatBeginsBehindAllPagesIsNotRead) {
  PageNumber maps;
  Damage([&](Database& database) {
    const RowId at = DefOf(database, "乙").owned_map;
    maps = at.page;
    const PageSpan page = database.pager().Edit(at.page);
    PutU32(page, (GetU16(page, std::size_t{14} + 2u * at.row) & 0x1FFFu) + 1u, 0xFFFFFFFF);
  });
  EXPECT_EQ(PageOfRefusal([](Database& database) { database.OpenTable("乙")->First(); }), maps);
}

TEST_F(PageUseTest, AMapOfTwoTablesIsChangedForNeither) {
  RowId shared;
  Damage([&](Database& database) {
    shared = DefOf(database, "甲").owned_map;
    TableDef other = DefOf(database, "乙");
    other.owned_map = shared;
    other.Store(database.pager(), database.allocator());
  });
  EXPECT_EQ(PageOfRefusal(NewColumn), shared.page);
  EXPECT_EQ(PageOfRefusal(NewTable), shared.page);
}

TEST_F(PageUseTest, APageOfTwoMapsStaysTaken) {
  PageNumber page;
  Damage([&](Database& database) {
    page = *UsageMap(database.pager(), DefOf(database, "甲").columns[2].owned_map).FirstFrom({});
    UsageMap(database.pager(), DefOf(database, "乙").real_indexes[0].page_map)
        .Add(page, database.allocator());
  });
  const auto database = Open();
  const auto table = database->OpenTable("甲");
  for (auto row = table->First(); row; row = table->First()) table->Delete(*row);
  EXPECT_FALSE(UsageMap(database->pager(), table->def().columns[2].owned_map).FirstFrom({}));
  EXPECT_FALSE(database->allocator().IsFree(page));
}

// A map that began high and had to go down.
TEST_F(PageUseTest, TheBitmapPagesOfListsAreInUse) {
  constexpr PageNumber kHigh{600};
  std::vector<PageNumber> bitmaps;
  Damage([&](Database& database) {
    for (const char* name : {"甲", "乙"}) {
      UsageMap map(database.pager(), DefOf(database, name).owned_map);
      std::vector<PageNumber> pages;
      for (auto page = map.FirstFrom({}); page; page = map.FirstFrom({})) {
        pages.push_back(*page);
        map.Remove(*page);
      }
      map.Add(kHigh, database.allocator());
      for (const PageNumber page : pages) map.Add(page, database.allocator());
      map.Remove(kHigh);
      ASSERT_EQ(map.BitmapPages().size(), 1u);
      bitmaps.push_back(map.BitmapPages()[0]);
    }
  });
  {
    const auto database = Open();
    database->OpenTable("甲")->Insert(Row(1));
    NewTable(*database);
  }
  Damage([&](Database& database) { MarkFree(database, bitmaps[0]); });
  EXPECT_EQ(PageOfRefusal(NewTable), bitmaps[0]);

  Damage([&](Database& database) {
    UsageMap(database.pager(), kGlobalMap).Remove(bitmaps[0]);
    const RowId at = DefOf(database, "甲").owned_map;
    const PageSpan page = database.pager().Edit(at.page);
    PutU32(page, (GetU16(page, std::size_t{14} + 2u * at.row) & 0x1FFFu) + 1u, bitmaps[1].value);
  });
  EXPECT_EQ(PageOfRefusal(NewTable), bitmaps[1]) << "it serves two maps";
  EXPECT_EQ(PageOfRefusal(NewColumn), bitmaps[1]);
}

// The second row of page 1 may be a list; other programs leave it behind.
TEST_F(PageUseTest, ABitmapPageBesideTheMapOfFreePagesIsInUse) {
  Bytes row(69);
  PageNumber bitmap;
  Damage([&](Database& database) {
    bitmap = database.allocator().Allocate();
    PutU32(database.pager().Edit(bitmap), 0, 0x0105);
    row[0] = 1;
    PutU32(row, 1, bitmap.value);
    PutU32(row, 5, 0x7FFFFFFF);  // not there
    const PageSpan page = database.pager().Edit(kSecondMap.page);
    PutBytes(page, GetU16(page, 16) & 0x1FFFu, row);
  });
  {
    const auto database = Open();
    NewTable(*database);
    const PageRef page = database->pager().Read(kSecondMap.page);
    EXPECT_THAT(page.bytes().subspan(GetU16(page.bytes(), 16) & 0x1FFFu, row.size()),
                testing::ElementsAreArray(row));
  }
  Damage([&](Database& database) { MarkFree(database, bitmap); });
  EXPECT_EQ(PageOfRefusal(NewTable), bitmap);
}

// A column of another number has no maps; its pages are in use all the same.
TEST_F(PageUseTest, PagesOfAColumnThatIsNotThereAreNotTaken) {
  PageNumber page;
  RowId maps;
  Damage([&](Database& database) {
    TableDef def = DefOf(database, "乙");
    maps = def.columns[2].owned_map;
    page = *UsageMap(database.pager(), maps).FirstFrom({});
    def.stray_maps.push_back({ColumnId{77}, maps, def.columns[2].free_map});
    def.columns[2].owned_map = def.columns[2].free_map = {};
    def.Store(database.pager(), database.allocator());
    MarkFree(database, page);
  });
  EXPECT_EQ(PageOfRefusal(NewTable), page);
  Damage([&](Database& database) { UsageMap(database.pager(), kGlobalMap).Remove(page); });
  const auto database = Open();
  NewColumn(*database);
  EXPECT_EQ(DefOf(*database, "乙").stray_maps.at(0).owned_map, maps);
}

// Nobody knows which pages are its own.
TEST_F(PageUseTest, BesideATableThatCannotBeReadOnlyTheEndGrows) {
  PageNumber page;
  Damage([&](Database& database) {
    const TableDef def = DefOf(database, "乙");
    page = *UsageMap(database.pager(), def.owned_map).FirstFrom({});
    MarkFree(database, page);
    database.pager().Edit(def.page)[0x2D] = 0xFF;  // the count of columns
  });
  const std::string before = files_.bytes(kPath);
  auto database = Open();
  NewTable(*database);
  database->Commit();
  database.reset();
  const std::size_t at = std::size_t{page.value} * kPageSize;
  EXPECT_EQ(files_.bytes(kPath).substr(at, kPageSize), before.substr(at, kPageSize));
  EXPECT_GT(files_.bytes(kPath).size(), before.size());
}

TEST_F(PageUseTest, ADefinitionOfTwoTablesStaysAsItIs) {
  PageNumber shared;
  Damage([&](Database& database) {
    shared = DefOf(database, "甲").page;
    const auto objects = database.OpenTable("MSysObjects");
    for (TableScan scan(*objects); scan.Next();) {
      if (scan.row().Get(objects->OrdinalOf("Name")) != Value(std::string("乙"))) continue;
      const RowId at = scan.row().id();
      const PageSpan page = database.pager().Edit(at.page);
      const std::size_t row = GetU16(page, std::size_t{14} + 2u * at.row) & 0x1FFFu;
      PutU32(page, row + 2, shared.value);  // Id, the first field
      break;
    }
  });
  EXPECT_EQ(PageOfRefusal(NewTable), shared);
  EXPECT_EQ(PageOfRefusal([](Database& database) { database.AppendColumn("甲", {.name = "新"}); }),
            shared);
}

TEST_F(PageUseTest, ADefinitionThatRunsIntoAnotherStaysAsItIs) {
  PageNumber first;
  Damage([&](Database& database) {
    first = DefOf(database, "甲").page;
    const PageSpan page = database.pager().Edit(DefOf(database, "乙").page);
    page[4] = static_cast<std::uint8_t>(first.value);  // the next page
  });
  const auto page = PageOfRefusal(NewColumn);
  EXPECT_THAT(page, testing::Optional(testing::Ge(first)));
  EXPECT_EQ(Open()->OpenTable("甲")->def().row_count, std::uint32_t{kRows});
}

TEST_F(PageUseTest, ColumnsInOnePlaceAreNotRead) {
  PageNumber definition;
  Damage([&](Database& database) {
    TableDef def = DefOf(database, "乙");
    definition = def.page;
    def.columns[1].fixed_offset = def.columns[0].fixed_offset + 2;
    def.Store(database.pager(), database.allocator());
  });
  EXPECT_EQ(PageOfRefusal([](Database& database) { database.OpenTable("乙"); }), definition);
}

TEST_F(PageUseTest, AnIndexOfNoColumnsTakesNoRows) {
  PageNumber definition;
  Damage([&](Database& database) {
    TableDef def = DefOf(database, "乙");
    definition = def.page;
    def.real_indexes[0].columns.clear();
    def.Store(database.pager(), database.allocator());
  });
  EXPECT_EQ(PageOfRefusal([](Database& database) { database.OpenTable("乙")->Insert(Row(1)); }),
            definition);
}

// Flags that cannot be read would show the list of objects as a table of the user's.
TEST_F(PageUseTest, ASystemTableOfOtherColumnsIsNotRead) {
  constexpr std::size_t kFlags = 0x3F + 2 * 12 + 4 * 25;  // the fifth column's type
  files_.bytes(kPath)[kObjectsPage.value * kPageSize + kFlags] ^= 2;
  EXPECT_EQ(PageOfRefusal([](Database& database) { database.Objects(); }), kObjectsPage);
}

TEST_F(PageUseTest, PagesGivenBackAreTakenAgain) {
  const auto database = Open();
  const std::uint32_t pages = database->pager().page_count();
  const auto table = database->OpenTable("甲");
  for (int round = 0; round < 3; ++round) {
    std::vector<RowId> rows;
    for (auto id = table->First(); id; id = table->Next(*id)) rows.push_back(*id);
    for (const RowId id : rows) table->Delete(id);
    for (int i = 0; i < kRows; ++i) table->Insert(Row(i));
  }
  EXPECT_LE(database->pager().page_count(), pages + 2);
}

TEST_F(PageUseTest, ANumberThatAnUpdateGaveIsNotGivenAgain) {
  const auto database = Open();
  const auto table = database->OpenTable("甲");
  const FieldChange change{0, Value{std::int32_t{kRows + 1}}};
  table->Update(*table->First(), std::span(&change, 1));
  const RowId id = table->Insert(Row(1));
  Table::Row row;
  ASSERT_TRUE(table->Read(id, row));
  EXPECT_EQ(row.Get(0), Value{std::int32_t{kRows + 2}});
}

}  // namespace
}  // namespace jet
