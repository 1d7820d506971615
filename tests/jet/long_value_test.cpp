#include "jet/long_value.h"

#include <gtest/gtest.h>

#include "jet/bytes.h"
#include "jet/database.h"
#include "jet/slotted_page.h"
#include "jet/text.h"
#include "tests/support/temp_db.h"

namespace jet {
namespace {

// A new database with a table of one OLE and one Memo column, a scope open.
class LongValue : public testing::Test {
 protected:
  LongValue()
      : files_(MakeSystemFiles()),
        database_(Database::Create(*files_, folder_.File("a.mdb"), {})),
        table_(database_->CreateTable(
            {"t",
             {{.name = "o", .type = ColumnType::kOle}, {.name = "m", .type = ColumnType::kMemo}},
             {}})),
        scope_(pager()) {}

  Pager& pager() { return database_->pager(); }
  PageAllocator& allocator() { return database_->allocator(); }
  const ColumnDef& ole() { return table_->def().columns[0]; }
  const ColumnDef& memo() { return table_->def().columns[1]; }
  std::size_t OwnedPages(const ColumnDef& column) {
    std::size_t pages = 0;
    const UsageMap map(pager(), column.owned_map);
    for (auto page = map.FirstFrom({}); page; page = map.FirstFrom({page->value + 1})) ++pages;
    return pages;
  }
  static Bytes Pattern(std::size_t size) {
    Bytes bytes(size);
    for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::uint8_t>(i * 7 + i / 251);
    return bytes;
  }

  test_support::TempFolder folder_;
  std::unique_ptr<FileSystem> files_;
  std::unique_ptr<Database> database_;
  std::shared_ptr<Table> table_;
  Scope scope_;
};

TEST_F(LongValue, ChangesItsKindAtTheBoundariesAndLeavesNothingBehind) {
  const struct {
    std::size_t size;
    LongValueKind kind;
    std::size_t pages;
  } cases[] = {
      {0, LongValueKind::kInline, 0},   {64, LongValueKind::kInline, 0},
      {65, LongValueKind::kSingle, 1},  {3816, LongValueKind::kSingle, 1},
      {3817, LongValueKind::kChain, 1}, {4072, LongValueKind::kChain, 1},
      {4073, LongValueKind::kChain, 2}, {8144, LongValueKind::kChain, 2},
      {8145, LongValueKind::kChain, 3}, {100'000, LongValueKind::kChain, 25},
  };
  for (const auto& c : cases) {
    const Bytes value = Pattern(c.size);
    const Bytes stored = WriteLongValue(allocator(), ole(), value);
    const LongValueDescriptor descriptor = ParseLongValue(stored);
    EXPECT_EQ(descriptor.kind, c.kind) << c.size;
    EXPECT_EQ(descriptor.length, c.size);
    EXPECT_EQ(OwnedPages(ole()), c.pages) << c.size;
    EXPECT_EQ(ReadLongValue(pager(), stored), value) << c.size;
    if (c.kind == LongValueKind::kChain) {
      EXPECT_NE(descriptor.stamp, 0u);
      EXPECT_EQ(GetU32(pager().Read(descriptor.at.page).bytes(), 8), descriptor.stamp);
    } else {
      EXPECT_EQ(descriptor.stamp, 0u);
    }
    FreeLongValue(allocator(), ole(), stored);
    EXPECT_EQ(OwnedPages(ole()), 0u) << c.size;
    EXPECT_FALSE(UsageMap(pager(), ole().free_map).FirstFrom({})) << c.size;
    EXPECT_TRUE(!descriptor.at || allocator().IsFree(descriptor.at.page)) << c.size;
  }
}

TEST_F(LongValue, SharesPagesAndMarksThoseWithRoom) {
  const Bytes first = WriteLongValue(allocator(), ole(), Pattern(1500));
  const Bytes second = WriteLongValue(allocator(), ole(), Pattern(1600));
  const PageNumber page = ParseLongValue(first).at.page;
  EXPECT_EQ(ParseLongValue(second).at.page, page);
  EXPECT_TRUE(UsageMap(pager(), ole().free_map).Contains(page));
  WriteLongValue(allocator(), ole(), Pattern(800));  // leaves fewer than 257 bytes
  EXPECT_FALSE(UsageMap(pager(), ole().free_map).Contains(page));
  const Bytes elsewhere = WriteLongValue(allocator(), ole(), Pattern(100));
  EXPECT_NE(ParseLongValue(elsewhere).at.page, page);
  FreeLongValue(allocator(), ole(), first);
  EXPECT_TRUE(UsageMap(pager(), ole().free_map).Contains(page));
  EXPECT_EQ(ReadLongValue(pager(), second), Pattern(1600));
  // Another column's page, if the map of pages with room names it.
  UsageMap(pager(), memo().free_map).Add(page, allocator());
  const Bytes other = WriteLongValue(allocator(), memo(), Pattern(100));
  EXPECT_NE(ParseLongValue(other).at.page, page);
}

TEST_F(LongValue, StoresMemosInTheFormTheirLengthAsksFor) {
  ColumnDef compressed = memo();
  compressed.text_flags = ColumnDef::kCompressed;
  std::string latin(1908, 'a'), wide;
  for (int i = 0; i < 33; ++i) wide += "共";
  const struct {
    const ColumnDef& column;
    std::string text;
    LongValueKind kind;
    std::size_t length;
  } cases[] = {
      {memo(), "", LongValueKind::kInline, 0},
      {memo(), "ab", LongValueKind::kInline, 4},
      {memo(), "abc", LongValueKind::kInline, 5},  // compressed whatever the column says
      {memo(), std::string(32, 'a'), LongValueKind::kInline, 34},
      {memo(), std::string(33, 'a'), LongValueKind::kSingle, 66},
      {compressed, std::string(33, 'a'), LongValueKind::kSingle, 35},
      {memo(), wide, LongValueKind::kSingle, 66},
      {compressed, latin, LongValueKind::kSingle, 1910},
      {compressed, latin + "a", LongValueKind::kChain, 3818},
  };
  for (const auto& c : cases) {
    const Bytes stored = WriteMemo(allocator(), c.column, c.text);
    EXPECT_EQ(ParseLongValue(stored).kind, c.kind) << c.text.size();
    EXPECT_EQ(ParseLongValue(stored).length, c.length) << c.text.size();
    EXPECT_EQ(DecodeText(ReadLongValue(pager(), stored)), c.text);
    FreeLongValue(allocator(), c.column, stored);
  }
}

TEST_F(LongValue, RefusesDamageWithoutEndOrHarm) {
  const auto expect_damage = [&](const Bytes& stored, const char* what) {
    for (const bool freeing : {false, true}) {
      try {
        if (freeing) {
          FreeLongValue(allocator(), ole(), stored);
        } else {
          ReadLongValue(pager(), stored);
        }
        ADD_FAILURE() << what;
      } catch (const Error& error) {
        EXPECT_EQ(error.code(), ErrorCode::kDamaged) << what;
      }
    }
  };
  const Bytes chain = WriteLongValue(allocator(), ole(), Pattern(9000));
  const RowId first = ParseLongValue(chain).at;
  Bytes bent = chain;
  PutU32(bent, 0, 9001);
  expect_damage(bent, "length beyond the chain");
  PutU32(bent, 0, 0x3FFFFFFF);
  expect_damage(bent, "length beyond the file");
  bent = chain;
  PutU32(bent, 0, 0xC0000010);
  EXPECT_THROW(ReadLongValue(pager(), bent), Error);
  bent = chain;
  PutU32(bent, 4, RowId{PageNumber{2}, 0}.packed());
  expect_damage(bent, "not a page of long values");
  PutU32(bent, 4, RowId{first.page, 9}.packed());
  expect_damage(bent, "no such row");
  PutU32(bent, 4, 0xFFFFFF00);
  expect_damage(bent, "outside the file");
  bent.resize(11);
  EXPECT_THROW(ReadLongValue(pager(), bent), Error);

  Bytes longer = chain;
  PutU32(longer, 0, 0x3FFFFFFF);
  const RowPage page(first.page, pager().Read(first.page).bytes());
  const auto at =
      static_cast<std::size_t>(page.row(0).data() - pager().Read(first.page).bytes().data());
  PutU32(pager().Edit(first.page), at, first.packed());
  expect_damage(longer, "circle");
  const Bytes cut{5, 0, 0, 0x80, 0, 0, 0, 0, 0, 0, 0, 0, 1, 2};
  EXPECT_THROW(ReadLongValue(pager(), cut), Error);
}

TEST(LongValues, OfRealFilesCanAllBeRead) {
  SKIP_WITHOUT_SAMPLES();
  const auto files = MakeSystemFiles();
  std::array<std::size_t, 3> kinds{};
  for (const std::string& name : test_support::SampleNames()) {
    const auto database =
        Database::Open(*files, test_support::SamplePath(name), {.password = "ucanaccess"});
    for (const ObjectInfo& object : database->Objects()) {
      if (object.kind != ObjectKind::kTable && object.kind != ObjectKind::kSystemTable) continue;
      const auto table = database->OpenTable(object);
      for (TableScan scan(*table); scan.Next();) {
        for (const ColumnDef& column : table->def().columns) {
          if (!IsLongValue(column.type)) continue;
          const auto raw = scan.row().view().Raw(column);
          if (!raw) continue;
          const LongValueDescriptor descriptor = ParseLongValue(*raw);
          EXPECT_EQ(ReadLongValue(database->pager(), *raw).size(), descriptor.length) << name;
          ++kinds[static_cast<std::size_t>(descriptor.kind)];
        }
      }
    }
  }
  for (const std::size_t count : kinds) EXPECT_GT(count, 0u);
}

}  // namespace
}  // namespace jet
