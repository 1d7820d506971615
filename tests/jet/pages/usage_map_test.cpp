// Usage maps, from their bytes to tables that outgrow the bitmap in their row.
#include <gmock/gmock.h>

#include <array>
#include <cstdlib>
#include <optional>
#include <random>
#include <set>
#include <utility>

#include "jet/base/bytes.h"
#include "jet/table/internals.h"
#include "tests/support/fault_file.h"
#include "tests/support/jet_fixture.h"

namespace jet {
namespace {

using namespace test_support;
using testing::ElementsAre;
using testing::ElementsAreArray;

// Maps of their own in a file in memory, which belong to no table.
class MapTest : public ::testing::Test {
 protected:
  static constexpr char kPath[] = "/maps.mdb";
  // Of a bitmap page, so that few pages reach every limit.
  static constexpr std::uint32_t kTiny = 64;
  static constexpr std::uint32_t kTinyFile = 17 * kTiny;

  void Create(std::uint32_t pages_per_bitmap) {
    scope_.reset();
    database_.reset();
    maps_ = {};
    database_ = Internals::Create(files_, kPath, {}, {.pages_per_bitmap = pages_per_bitmap});
    database_->Commit();
    allocator().TakeCensus();
    scope_.emplace(pager());
  }
  Pager& pager() { return Internals(*database_).pager(); }
  PageAllocator& allocator() { return Internals(*database_).allocator(); }
  UsageMap NewMap() { return {pager(), allocator().NewMap(maps_)}; }
  // "start+bytes", or "list".
  std::string FormOf(const UsageMap& map) {
    const Bytes row = RowBytes(pager(), map.at());
    if (row[0] == 1) return row.size() == 69 ? "list" : "odd list";
    return std::to_string(GetU32(row, 1)) + "+" + std::to_string(row.size());
  }
  FaultFiles files_;
  std::unique_ptr<Database> database_;
  std::optional<Scope> scope_;
  PageNumber maps_;
};

TEST_F(MapTest, APageThatIsNotCoveredMovesGrowsOrChangesTheMap) {
  Create(kPagesPerBitmap);
  // Negative: the page is taken out again.
  for (const auto& [marks, form] : std::vector<std::pair<std::vector<int>, const char*>>{
           {{0}, "0+69"},
           {{511}, "0+69"},
           {{512}, "512+69"},
           {{1003}, "1000+69"},
           {{1003, 1000, 1511}, "1000+69"},
           {{1003, 1512}, "1000+73"},
           {{1003, 1543}, "1000+73"},
           {{1003, 1544}, "1000+77"},
           {{1003, 999}, "list"},
           {{600, 599, 20, 40000}, "list"},
           {{5, 20000}, "0+2509"},
           {{600, 20000}, "600+2433"},
           {{1003, -1003, 17}, "16+69"},
           {{17, -17, 1003}, "1000+69"},
           {{5, 5000, -5000, 800}, "0+633"},
           {{5, 5000, -5, -5000, 4}, "0+633"},
           {{5, 5000, -5, -5000, 6001}, "6000+633"},
           {{5, 5000, -5, -5000, 6001, 5999}, "list"},
       }) {
    SCOPED_TRACE(testing::PrintToString(marks));
    maps_ = {};  // a page with room
    UsageMap map = NewMap();
    std::set<std::uint32_t> marked;
    for (const int mark : marks) {
      const PageNumber page{static_cast<std::uint32_t>(std::abs(mark))};
      if (mark < 0) {
        map.Remove(page);
        marked.erase(page.value);
      } else {
        map.Add(page, allocator());
        marked.insert(page.value);
      }
    }
    EXPECT_EQ(FormOf(map), form);
    EXPECT_THAT(PagesOf(map), ElementsAreArray(marked));
    for (const PageNumber page : map.BitmapPages()) EXPECT_FALSE(allocator().IsFree(page));
  }
}

TEST_F(MapTest, AMarkThatMovesIsClearedFirst) {
  Create(kPagesPerBitmap);
  UsageMap map = NewMap();
  const auto form_for = [&](std::uint32_t page) {
    map.MarkOnly({page}, allocator());
    EXPECT_THAT(PagesOf(map), ElementsAre(page));
    return FormOf(map);
  };
  EXPECT_EQ(form_for(511), "0+69");
  EXPECT_EQ(form_for(703), "696+69");
  EXPECT_EQ(form_for(1207), "696+69");
  EXPECT_EQ(form_for(1208), "1208+69");
  EXPECT_EQ(form_for(695), "688+69");
  map.Add({3}, allocator());
  EXPECT_EQ(form_for(90000), "list");
  EXPECT_EQ(form_for(4), "list");
}

TEST_F(MapTest, AMapThatCannotGrowOnItsPageBecomesAList) {
  Create(kPagesPerBitmap);
  std::vector<UsageMap> maps;
  for (UsageMap map = NewMap(); maps.empty() || map.at().page == maps[0].at().page;
       map = NewMap()) {
    map.Add({5}, allocator());
    maps.push_back(map);
  }
  // A page has some bytes over, for 256 more pages.
  maps[3].Add({512 + 255}, allocator());
  EXPECT_EQ(FormOf(maps[3]), "0+101");
  maps[3].Add({512 + 256}, allocator());
  EXPECT_EQ(FormOf(maps[3]), "list");
  EXPECT_THAT(PagesOf(maps[3]), ElementsAre(5, 767, 768));
  maps[4].Add({512}, allocator());
  EXPECT_EQ(FormOf(maps[4]), "0+73") << "the list left room";
  for (std::size_t i = 5; i < maps.size(); ++i) {
    EXPECT_EQ(FormOf(maps[i]), "0+69");
    EXPECT_THAT(PagesOf(maps[i]), ElementsAre(5));
  }
}

TEST_F(MapTest, TheNearestMarkIsFoundFromEveryPage) {
  Create(kTiny);
  const std::set<std::uint32_t> marked{800, 807, 808, 830, 863, 864, 1000};
  UsageMap inline_map = NewMap(), list = NewMap();
  list.Add({900}, allocator());
  for (const std::uint32_t page : marked) inline_map.Add({page}, allocator());
  for (const std::uint32_t page : marked) list.Add({page}, allocator());
  list.Remove({900});
  ASSERT_EQ(FormOf(inline_map), "800+69");
  ASSERT_EQ(FormOf(list), "list");
  for (const UsageMap& map : {inline_map, list}) {
    for (std::uint32_t n = 0; n < kTinyFile + 300; ++n) {
      const auto above = marked.upper_bound(n);
      std::optional<PageNumber> last, first;
      if (above != marked.begin()) last = PageNumber{*std::prev(above)};
      if (const auto at = marked.lower_bound(n); at != marked.end()) first = PageNumber{*at};
      ASSERT_EQ(map.LastUpTo({n}), last) << n;
      ASSERT_EQ(map.FirstFrom({n}), first) << n;
      ASSERT_EQ(map.Contains({n}), marked.contains(n)) << n;
    }
  }
}

// Marks at random, operations that are undone, and pages taken and given back, against
// plain sets.
class MapModelTest : public MapTest {
 protected:
  static constexpr std::size_t kMaps = 6;
  struct Model {
    std::array<std::set<std::uint32_t>, kMaps> marked;
    std::set<std::uint32_t> taken;
  };

  std::uint32_t Below(std::uint32_t n) { return static_cast<std::uint32_t>(random_() % n); }
  void Change() {
    const std::size_t i = Below(kMaps);
    UsageMap& map = mapped_[i];
    std::set<std::uint32_t>& marked = model_.marked[i];
    // Some maps lie high, some move about.
    const PageNumber page{i % 2 == 0 ? 600 + Below(40 * (1 + Below(10))) : Below(kTinyFile)};
    switch (Below(8)) {
      case 0:
        for (const std::uint32_t old : std::exchange(marked, {})) map.Remove({old});
        break;
      case 1:
        map.MarkOnly(page, allocator());
        marked = {page.value};
        break;
      case 2:
        map.Remove(page);
        marked.erase(page.value);
        break;
      case 3:
        if (model_.taken.size() < 500) model_.taken.insert(allocator().Allocate().value);
        break;
      case 4:
        if (model_.taken.empty()) break;
        allocator().Free({*model_.taken.begin()});
        model_.taken.erase(model_.taken.begin());
        break;
      default:
        map.Add(page, allocator());
        marked.insert(page.value);
    }
  }
  void Compare() {
    std::set<std::uint32_t> bitmaps;
    for (std::size_t i = 0; i < kMaps; ++i) {
      ASSERT_THAT(PagesOf(mapped_[i]), ElementsAreArray(model_.marked[i]));
      for (const PageNumber page : mapped_[i].BitmapPages()) {
        ASSERT_TRUE(bitmaps.insert(page.value).second) << page.value;
        ASSERT_FALSE(model_.taken.contains(page.value)) << page.value;
        ASSERT_FALSE(allocator().IsFree(page)) << page.value;
      }
    }
    for (const std::uint32_t page : model_.taken) ASSERT_FALSE(allocator().IsFree({page}));
  }

  std::mt19937 random_{15};
  Model model_;
  std::vector<UsageMap> mapped_;
};

TEST_F(MapModelTest, MapsHoldWhatSetsHold) {
  for (int file = 0; file < 20; ++file) {
    Create(kTiny);
    model_ = {};
    mapped_.clear();
    while (mapped_.size() < kMaps) mapped_.push_back(NewMap());
    for (int round = 0; round < 60; ++round) {
      SCOPED_TRACE(testing::Message() << file << ", " << round);
      const bool undone = Below(3) == 0;
      const Model kept = model_;
      {
        Scope scope(pager());
        for (std::uint32_t n = 1 + Below(10); n > 0; --n) Change();
        if (!undone) scope.Commit();
      }
      if (undone) model_ = kept;
      ASSERT_NO_FATAL_FAILURE(Compare());
    }
  }
}

TEST_F(MapTest, TheMapOfFreePagesBecomesAListAndEndsWithTheFile) {
  Create(kTiny);
  const UsageMap global(pager(), kGlobalMap);
  const std::uint32_t used = pager().page_count();
  std::set<std::uint32_t> taken;
  while (pager().page_count() < 512) taken.insert(allocator().Allocate().value);
  EXPECT_EQ(FormOf(global), "0+69");
  {
    Scope undone(pager());
    allocator().Allocate();
    EXPECT_EQ(FormOf(global), "list");
  }
  EXPECT_EQ(FormOf(global), "0+69");
  EXPECT_EQ(pager().page_count(), 512u);
  const auto code = CodeOf([&] {
    for (;;) ASSERT_TRUE(taken.insert(allocator().Allocate().value).second);
  });
  EXPECT_EQ(code, ErrorCode::kFileTooLarge);
  EXPECT_EQ(FormOf(global), "list");
  EXPECT_EQ(global.BitmapPages().size(), 17u);
  for (const PageNumber page : global.BitmapPages()) EXPECT_FALSE(taken.contains(page.value));
  EXPECT_EQ(used + taken.size() + 17, kTinyFile) << "every page has an owner";
  for (const std::uint32_t page : {777u, 200u, 900u}) allocator().Free({page});
  for (const std::uint32_t page : {777u, 0u, kGlobalMap.page.value, kTinyFile}) {
    EXPECT_EQ(CodeOf([&] { allocator().Free({page}); }), ErrorCode::kDamaged) << page;
  }
  EXPECT_EQ(allocator().AllocateAbove({300}).value, 777u);
  EXPECT_EQ(allocator().Allocate().value, 200u);
  EXPECT_EQ(allocator().HighestTaken().value, kTinyFile - 1);
  scope_->Commit();
  database_->Commit();
  database_.reset();
  database_ =
      Internals::Open(files_, kPath, {.mode = OpenMode::kExclusive}, {.pages_per_bitmap = kTiny});
  EXPECT_THAT(PagesOf(UsageMap(pager(), kGlobalMap)), ElementsAre(900));
}

// Other programs note down in the second row of page 1 what they are at.
TEST_F(MapTest, TheMapOfFreePagesBecomesAListWherePageOneIsFull) {
  Create(kPagesPerBitmap);
  const Bytes notes(4000, 0x5A);
  ASSERT_TRUE(ReplaceRow(kSecondMap.page, pager().Edit(kSecondMap.page), kSecondMap.row, notes,
                         SlotKind::kLive));
  std::set<std::uint32_t> taken;
  while (pager().page_count() < 700) {
    ASSERT_TRUE(taken.insert(allocator().Allocate().value).second);
  }
  const UsageMap global(pager(), kGlobalMap);
  EXPECT_EQ(FormOf(global), "list");
  EXPECT_EQ(RowBytes(pager(), kSecondMap), notes);
  EXPECT_THAT(global.BitmapPages(), ElementsAre(PageNumber{512 + 64}));
  for (const std::uint32_t page : taken) EXPECT_FALSE(allocator().IsFree({page}));
}

class UsageMapTest : public EngineTest {
 protected:
  std::size_t BitmapPages(const Table& table) {
    return UsageMap(pager(), DefOf(table).owned_map).BitmapPages().size();
  }
};

TEST_F(UsageMapTest, ATableThatLiesFarApartKeepsItsPagesInAList) {
  constexpr int kWideRows = 1600;
  // Texts that fill a page, and maps that fill the page of the table's own, which
  // can then not grow.
  std::vector<ColumnSpec> columns{{"ＩＤ"}};
  for (int i = 1; i <= 35; ++i) {
    columns.push_back(
        {"列" + std::to_string(i), i <= 8 ? ColumnType::kText : ColumnType::kMemo, 255});
  }
  const auto wide = Create().CreateTable({"広い", columns, {}});
  const auto narrow = database_->CreateTable({"狭い", {{"ＩＤ"}}, {}});
  const auto insert = [](Table& table, int from, int to) {
    std::vector<Value> row(table.columns().size());
    if (row.size() > 1) std::fill_n(row.begin() + 1, 8, Value(std::string(200, 'x')));
    for (int id = from; id < to; ++id) {
      row[0] = id;
      table.Insert(row);
    }
  };
  insert(*wide, 0, 1);
  insert(*narrow, 0, 3000);
  ASSERT_EQ(BitmapPages(*wide), 0u);
  insert(*wide, 1, kWideRows);
  EXPECT_EQ(BitmapPages(*wide), 1u);
  insert(*narrow, 3000, 6000);
  EXPECT_EQ(BitmapPages(*narrow), 0u) << "a row with room about it grows";

  std::vector<Value> in_wide, in_narrow;  // in the order of insertion
  const std::vector<RowId> ids = RowIds(*wide);
  for (int i = 0; i < kWideRows; ++i) {
    if (i % 2 == 0) wide->Delete(ids[static_cast<std::size_t>(i)]);
    if (i % 2 != 0) in_wide.emplace_back(i);
  }
  insert(*wide, kWideRows, 2 * kWideRows);
  for (int i = kWideRows; i < 2 * kWideRows; ++i) in_wide.emplace_back(i);
  for (int i = 0; i < 6000; ++i) in_narrow.emplace_back(i);
  EXPECT_EQ(FieldsOf(*wide, "ＩＤ"), in_wide);
  EXPECT_EQ(FieldsOf(*narrow, "ＩＤ"), in_narrow);
  ExpectSoundAfterCommit();
}

}  // namespace
}  // namespace jet
