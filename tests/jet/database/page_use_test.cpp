// Files that contradict themselves about whose a page is: nothing new is put
// where something stands already.
#include <gmock/gmock.h>

#include <functional>

#include "jet/base/bytes.h"
#include "jet/database/catalog.h"
#include "jet/row/table_def_chain.h"
#include "jet/table/internals.h"
#include "tests/support/fault_file.h"
#include "tests/support/jet_fixture.h"

namespace jet {
namespace {

using enum ColumnType;
using namespace test_support;

constexpr char kPath[] = "/page_use.mdb";
constexpr int kRows = 200;

std::vector<Value> NewRow(int i, const std::string& name = "") {
  return {Null{}, i, std::string(i % 40 == 0 ? 9000 : 90, 'm'), name};
}
Pager& PagerOf(Database& database) { return Internals(database).pager(); }
TableDef DefOf(Database& database, std::string_view table) {
  return DefOf(*database.OpenTable(table));
}
void Store(Database& database, TableDef def) {
  StoreTableDef(def, PagerOf(database), Internals(database).allocator());
}
PageNumber MarkFree(Database& database, PageNumber page) {
  UsageMap(PagerOf(database), kGlobalMap).Add(page, Internals(database).allocator());
  return page;
}
PageNumber FirstOf(Database& database, RowId map) {
  return {PagesOf(UsageMap(PagerOf(database), map)).at(0)};
}

void TakePages(Database& database) { database.CreateTable({"新", {{"番号"}}, {}}); }
void NewColumn(Database& database) { database.AppendColumn("乙", {"新"}); }

// Two tables; the second has a tree of two levels.
class PageUseTest : public ::testing::Test {
 protected:
  PageUseTest() {
    const auto database = Database::Create(files_, kPath, {});
    for (const char* name : {"甲", "乙"}) {
      const auto table = database->CreateTable(
          {name,
           {{.name = "番号", .auto_number = true}, {"数"}, {"文", kMemo}, {"名", kText, 200}},
           {{.name = "PrimaryKey", .columns = {"番号"}, .primary = true},
            {.name = "名", .columns = {"名"}}}});
      for (int i = 0; i < kRows; ++i) {
        table->Insert(
            NewRow(i, table->name() == "乙" ? std::to_string(i) + std::string(150, 'x') : ""));
      }
    }
    database->Commit();
  }
  // Keeps the damage so far.
  void Close() {
    if (scope_) {
      scope_->Commit();
      scope_.reset();
      database_->Commit();
    }
    database_.reset();
  }
  Database& Open() {
    Close();
    database_ = Database::Open(files_, kPath, {.mode = OpenMode::kExclusive});
    return *database_;
  }
  // To be damaged, until it is closed.
  Database& Edit() {
    Open();
    scope_.emplace(pager());
    return *database_;
  }
  Pager& pager() { return Internals(*database_).pager(); }
  PageAllocator& allocator() { return Internals(*database_).allocator(); }
  std::string& image() { return files_.bytes(kPath); }
  // The page that `change` calls damaged. The file must not change.
  std::optional<PageNumber> PageOfRefusal(const std::function<void(Database&)>& change) {
    Close();
    const std::string before = image();
    std::optional<PageNumber> page;
    try {
      change(Open());
      ADD_FAILURE() << "not refused";
    } catch (const Error& error) {
      EXPECT_EQ(error.code(), ErrorCode::kDamaged) << error.what();
      page = error.page();
    }
    if (database_ != nullptr) database_->Commit();
    EXPECT_EQ(image(), before);
    return page;
  }

  FaultFiles files_;
  std::unique_ptr<Database> database_;
  std::optional<Scope> scope_;
};

TEST_F(PageUseTest, NoPageInUseIsTakenWhateverTheMapOfFreePagesSays) {
  // Some writers give their indexes no maps: the tree alone shows its pages.
  TableDef def = DefOf(Edit(), "乙");
  def.real_indexes[1].page_map = {};
  Store(*database_, def);
  Close();
  const std::string sound = image();
  const auto pages = static_cast<std::uint32_t>(sound.size() / kPageSize);
  ASSERT_GT(pages, 40u);
  for (PageNumber page{0}; page.value < pages; ++page.value) {
    SCOPED_TRACE(page.value);
    if (Internals(Edit()).allocator().IsFree(page)) continue;
    MarkFree(*database_, page);
    EXPECT_EQ(PageOfRefusal(TakePages), page);
    Close();
    image() = sound;
  }
}

TEST_F(PageUseTest, AFileThatWasCutOffDoesNotGrowOverWhatIsMissing) {
  const auto last = static_cast<std::uint32_t>(image().size() / kPageSize) - 1;
  ASSERT_FALSE(Internals(Open()).allocator().IsFree({last - 1}));
  Close();
  image().resize(std::size_t{last - 1} * kPageSize);
  EXPECT_EQ(PageOfRefusal(TakePages), PageNumber{last - 1});
}

// A file of some pages must not become one of a gigabyte.
TEST_F(PageUseTest, AMapThatBeginsFarBehindTheEndLeavesNoGap) {
  const std::size_t before = image().size();
  PutU32(EditRow(PagerOf(Edit()), kGlobalMap), 1, 0x40000);  // its first page
  TakePages(Open());
  database_->Commit();
  EXPECT_LE(image().size(), before + 4 * kPageSize);
  EXPECT_EQ(Open().OpenTable("新")->columns().size(), 1u);
}

// A damage, and what is then refused because of the page that it returns.
struct Refusal {
  const char* name;
  PageNumber (*damage)(Database&);
  std::vector<void (*)(Database&)> changes;
};

class RefusalTest : public PageUseTest, public testing::WithParamInterface<Refusal> {};

TEST_P(RefusalTest, NamesThePageAndLeavesTheFile) {
  const PageNumber page = GetParam().damage(Edit());
  for (const auto change : GetParam().changes) EXPECT_EQ(PageOfRefusal(change), page);
}

const Refusal kRefusals[] = {
    {"MapThatBeginsBehindAllPages",
     [](Database& database) {
       const RowId map = DefOf(database, "乙").owned_map;
       PutU32(EditRow(PagerOf(database), map), 1, 0xFFFFFFFF);  // its pages would begin at 0 again
       return map.page;
     },
     {[](Database& database) { database.OpenTable("乙")->First(); }}},
    {"MapOfTwoTables",
     [](Database& database) {
       TableDef def = DefOf(database, "乙");
       def.owned_map = DefOf(database, "甲").owned_map;
       Store(database, def);
       return def.owned_map.page;
     },
     {NewColumn, TakePages}},
    {"DefinitionOfTwoTables",
     [](Database& database) {
       const auto objects = database.OpenTable("MSysObjects");
       const PageNumber shared = DefOf(database, "甲").page;
       for (const RowId id : RowIds(*objects)) {
         if (Get(*objects, id, objects->OrdinalOf("Name")) != Value("乙")) continue;
         PutU32(EditRow(PagerOf(database), id), 2, shared.value);  // Id, the first field
       }
       return shared;
     },
     {TakePages, [](Database& database) { database.AppendColumn("甲", {"新"}); }}},
    {"DefinitionThatRunsIntoAnother",
     [](Database& database) {
       const PageNumber other = DefOf(database, "甲").page;
       PutU32(PagerOf(database).Edit(DefOf(database, "乙").page), 4, other.value);  // the next page
       return other;
     },
     {TakePages, NewColumn}},
    {"ColumnsInOnePlace",
     [](Database& database) {
       TableDef def = DefOf(database, "乙");
       def.columns[1].fixed_offset = def.columns[0].fixed_offset + 2;
       Store(database, def);
       return def.page;
     },
     {[](Database& database) { database.OpenTable("乙"); }}},
    {"IndexOfNoColumns",
     [](Database& database) {
       TableDef def = DefOf(database, "乙");
       def.real_indexes[0].columns.clear();
       Store(database, def);
       return def.page;
     },
     {[](Database& database) { database.OpenTable("乙")->Insert(NewRow(1)); }}},
    // Flags that cannot be read would show the list of objects as a table of the user's;
    // found by `fuzz_run --target change --seed 5 --percent 10 --only 842`.
    {"SystemTableOfOtherColumns",
     [](Database& database) {
       PagerOf(database).Edit(kObjectsPage)[0x3F + 2 * 12 + 4 * 25] ^=
           2;  // the fifth column's type
       return kObjectsPage;
     },
     {[](Database& database) { database.Objects(); }}},
};

INSTANTIATE_TEST_SUITE_P(Of, RefusalTest, testing::ValuesIn(kRefusals),
                         [](const auto& info) { return info.param.name; });

TEST_F(PageUseTest, APageOfTwoMapsStaysTaken) {
  const RowId of_memos = DefOf(Edit(), "甲").columns[2].owned_map;
  const PageNumber page = FirstOf(*database_, of_memos);
  UsageMap(pager(), DefOf(*database_, "乙").real_indexes[0].page_map).Add(page, allocator());
  const auto table = Open().OpenTable("甲");
  for (const RowId row : RowIds(*table)) table->Delete(row);
  EXPECT_THAT(PagesOf(UsageMap(pager(), of_memos)), testing::IsEmpty());
  EXPECT_FALSE(allocator().IsFree(page));
}

// A map that began high and had to go down.
TEST_F(PageUseTest, TheBitmapPagesOfListsAreInUse) {
  std::vector<PageNumber> bitmaps;
  Edit();
  for (const char* name : {"甲", "乙"}) {
    UsageMap map(pager(), DefOf(*database_, name).owned_map);
    const std::vector<std::uint32_t> pages = PagesOf(map);
    for (const std::uint32_t page : pages) map.Remove({page});
    map.Add({600}, allocator());
    for (const std::uint32_t page : pages) map.Add({page}, allocator());
    map.Remove({600});
    bitmaps.push_back(map.BitmapPages().at(0));
  }
  Open().OpenTable("甲")->Insert(NewRow(1));
  TakePages(*database_);
  MarkFree(Edit(), bitmaps[0]);
  EXPECT_EQ(PageOfRefusal(TakePages), bitmaps[0]);

  UsageMap(PagerOf(Edit()), kGlobalMap).Remove(bitmaps[0]);
  PutU32(EditRow(pager(), DefOf(*database_, "甲").owned_map), 1, bitmaps[1].value);
  EXPECT_EQ(PageOfRefusal(TakePages), bitmaps[1]) << "it serves two maps";
  EXPECT_EQ(PageOfRefusal(NewColumn), bitmaps[1]);
}

// The second row of page 1 may be a list; other programs leave it behind.
TEST_F(PageUseTest, ABitmapPageBesideTheMapOfFreePagesIsInUse) {
  const PageNumber bitmap = Internals(Edit()).allocator().Allocate();
  PutU32(pager().Edit(bitmap), 0, 0x0105);
  Bytes row(69);
  row[0] = 1;
  PutU32(row, 1, bitmap.value);
  PutU32(row, 5, 0x7FFFFFFF);  // not there
  PutBytes(EditRow(pager(), kSecondMap), 0, row);
  TakePages(Open());
  EXPECT_EQ(RowBytes(pager(), kSecondMap), row);
  MarkFree(Edit(), bitmap);
  EXPECT_EQ(PageOfRefusal(TakePages), bitmap);
}

// A column of another number has no maps; its pages are in use all the same.
TEST_F(PageUseTest, PagesOfAColumnThatIsNotThereAreNotTaken) {
  TableDef def = DefOf(Edit(), "乙");
  const RowId maps = def.columns[2].owned_map;
  def.stray_maps.push_back({ColumnId{77}, maps, def.columns[2].free_map});
  def.columns[2].owned_map = def.columns[2].free_map = {};
  Store(*database_, def);
  const PageNumber page = MarkFree(*database_, FirstOf(*database_, maps));
  EXPECT_EQ(PageOfRefusal(TakePages), page);
  UsageMap(PagerOf(Edit()), kGlobalMap).Remove(page);
  NewColumn(Open());
  EXPECT_EQ(DefOf(*database_, "乙").stray_maps.at(0).owned_map, maps);
}

// Nothing shows which pages are its own.
TEST_F(PageUseTest, BesideATableThatCannotBeReadOnlyTheEndGrows) {
  const TableDef def = DefOf(Edit(), "乙");
  const PageNumber page = MarkFree(*database_, FirstOf(*database_, def.owned_map));
  pager().Edit(def.page)[0x2D] = 0xFF;  // the count of columns
  Open();
  const std::string before = image();
  TakePages(*database_);
  database_->Commit();
  const std::size_t at = std::size_t{page.value} * kPageSize;
  EXPECT_EQ(image().substr(at, kPageSize), before.substr(at, kPageSize));
  EXPECT_GT(image().size(), before.size());
}

TEST_F(PageUseTest, PagesGivenBackAreTakenAgain) {
  const auto table = Open().OpenTable("甲");
  const std::uint32_t pages = database_->info().page_count;
  for (int round = 0; round < 3; ++round) {
    for (const RowId id : RowIds(*table)) table->Delete(id);
    for (int i = 0; i < kRows; ++i) table->Insert(NewRow(i));
  }
  EXPECT_LE(database_->info().page_count, pages + 2);
}

TEST_F(PageUseTest, ANumberThatAnUpdateGaveIsNotGivenAgain) {
  const auto table = Open().OpenTable("甲");
  Set(*table, *table->First(), 0, kRows + 1);
  EXPECT_EQ(Get(*table, table->Insert(NewRow(1)), 0), Value(kRows + 2));
}

}  // namespace
}  // namespace jet
