#include "jet/row/long_value.h"

#include <gmock/gmock.h>

#include "jet/base/bytes.h"
#include "jet/base/text.h"
#include "jet/table/internals.h"
#include "tests/support/jet_fixture.h"

namespace jet {
namespace {

using namespace test_support;

// A new database with a table of one OLE and one Memo column, a scope open.
class LongValue : public EngineTest {
 protected:
  const ColumnDef& ole() { return DefOf(*table_).columns[0]; }
  const ColumnDef& memo() { return DefOf(*table_).columns[1]; }
  std::size_t OwnedPages(const ColumnDef& column) {
    return PagesOf(UsageMap(pager(), column.owned_map)).size();
  }
  static Bytes Pattern(std::size_t size) {
    Bytes bytes(size);
    for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<std::uint8_t>(i * 7 + i / 251);
    return bytes;
  }

  std::shared_ptr<Table> table_ =
      Create().CreateTable({"t", {{"o", ColumnType::kOle}, {"m", ColumnType::kMemo}}, {}});
  Scope scope_{pager()};
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
    const Bytes stored = WriteMemo(allocator(), c.column, ToUtf16(c.text));
    EXPECT_EQ(ParseLongValue(stored).kind, c.kind) << c.text.size();
    EXPECT_EQ(ParseLongValue(stored).length, c.length) << c.text.size();
    EXPECT_EQ(DecodeText(ReadLongValue(pager(), stored)), c.text);
    FreeLongValue(allocator(), c.column, stored);
  }
}

TEST_F(LongValue, RefusesDamageWithoutEndOrHarm) {
  const auto expect_damage = [&](const Bytes& stored, const char* what) {
    EXPECT_EQ(CodeOf([&] { ReadLongValue(pager(), stored); }), ErrorCode::kDamaged) << what;
    EXPECT_EQ(CodeOf([&] { FreeLongValue(allocator(), ole(), stored); }), ErrorCode::kDamaged)
        << what;
  };
  const Bytes chain = WriteLongValue(allocator(), ole(), Pattern(9000));
  const RowId first = ParseLongValue(chain).at;
  const struct {
    const char* what;
    std::size_t at;
    std::uint32_t value;
  } cases[] = {{"length beyond the chain", 0, 9001},
               {"length beyond the file", 0, 0x3FFFFFFF},
               {"not a page of long values", 4, RowId{PageNumber{2}, 0}.packed()},
               {"no such row", 4, RowId{first.page, 9}.packed()},
               {"outside the file", 4, 0xFFFFFF00}};
  Bytes bent;
  for (const auto& c : cases) {
    bent = chain;
    PutU32(bent, c.at, c.value);
    expect_damage(bent, c.what);
  }
  bent = chain;
  PutU32(bent, 0, 0xC0000010);
  EXPECT_THROW(ReadLongValue(pager(), bent), Error) << "no such kind";
  EXPECT_THROW(ReadLongValue(pager(), ByteView(chain).first(11)), Error);
  const Bytes cut{5, 0, 0, 0x80, 0, 0, 0, 0, 0, 0, 0, 0, 1, 2};
  EXPECT_THROW(ReadLongValue(pager(), cut), Error);
  PutU32(bent, 0, 0x3FFFFFFF);
  PutU32(EditRow(pager(), first), 0, first.packed());
  expect_damage(bent, "circle");
}

}  // namespace
}  // namespace jet
