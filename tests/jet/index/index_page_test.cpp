#include "jet/index/index_page.h"

#include <gmock/gmock.h>

#include <array>

#include "jet/base/bytes.h"
#include "tests/support/temp_db.h"

namespace jet {
namespace {

constexpr PageNumber kPage{3}, kOwner{4};
constexpr std::size_t kPrefixAt = 0x18, kMaskAt = 0x1B, kAreaAt = 0x1E0;

class IndexPageTest : public ::testing::Test {
 protected:
  // `alike` bytes that all entries share, then a number, then a row.
  static Bytes Entry(std::uint8_t n, std::size_t alike = 20) {
    Bytes entry(alike, 0x7F);
    AddBytes(entry, Bytes{n, 1, 0, 0, 9, n});
    return entry;
  }
  IndexPageEditor Page() { return IndexPageEditor(kPage, page_, kOwner); }
  bool Insert(const Bytes& entry) {
    IndexPageEditor page = Page();
    return page.Insert(page.LowerBound(entry), entry);
  }
  std::vector<Bytes> Entries() {
    const IndexPage page(kPage, page_, kOwner);
    std::vector<Bytes> entries;
    Bytes buffer;
    for (IndexSlot at = page.First(); !at.at_end(); at = page.After(at)) {
      const ByteView entry = page.Entry(at, buffer);
      entries.emplace_back(entry.begin(), entry.end());
    }
    return entries;
  }
  std::array<std::uint8_t, kPageSize> page_{};
};

TEST_F(IndexPageTest, TakesAPrefixWhereItIsFullAndKeepsItsEntries) {
  IndexPageEditor::Format(kPage, page_, kOwner, 0);
  const std::size_t length = Entry(0).size(), plain = kIndexArea / length;  // 139
  std::vector<Bytes> expected;
  for (std::size_t i = 0; i < plain; ++i) {
    expected.push_back(Entry(static_cast<std::uint8_t>(i)));
    ASSERT_TRUE(Insert(expected.back()));
  }
  EXPECT_EQ(Page().prefix(), 0u);
  EXPECT_EQ(GetU16(page_, 2), kIndexArea - plain * length);
  expected.push_back(Entry(200));
  ASSERT_TRUE(Insert(expected.back()));
  EXPECT_EQ(Page().prefix(), 20u);
  EXPECT_EQ(GetU16(page_, kPrefixAt), 20);
  EXPECT_EQ(Page().used(), 20 + (plain + 1) * (length - 20));
  EXPECT_EQ(GetU16(page_, 2), kIndexArea - Page().used());
  EXPECT_EQ(Entries(), expected);
  // The first entry stands whole, the mask marks every end.
  EXPECT_TRUE(std::equal(expected[0].begin(), expected[0].end(), page_.begin() + kAreaAt));
  EXPECT_EQ(page_[kMaskAt + length / 8] >> length % 8 & 1, 1);
  // An entry that does not share it spoils it, and goes where it fits.
  const Bytes other = {0x10, 0, 0, 0, 9, 1};
  EXPECT_FALSE(Insert(other)) << "without the prefix they do not all fit";
  EXPECT_EQ(Entries(), expected);
  while (Entries().size() > 100) {
    IndexPageEditor page = Page();
    page.Erase(page.Last());
  }
  expected.resize(100);
  EXPECT_TRUE(Insert(other));
  expected.insert(expected.begin(), other);
  EXPECT_EQ(Page().prefix(), 0u);
  EXPECT_EQ(Entries(), expected);
}

TEST_F(IndexPageTest, FindsEntriesWithAndWithoutAPrefix) {
  for (const std::size_t count : {std::size_t{5}, std::size_t{145}}) {
    IndexPageEditor::Format(kPage, page_, kOwner, 0);
    for (std::size_t i = 0; i < count; ++i) Insert(Entry(static_cast<std::uint8_t>(i)));
    const IndexPage page(kPage, page_, kOwner);
    ASSERT_EQ(page.prefix(), count == 5 ? 0u : 20u);
    EXPECT_TRUE(page.LowerBound(Bytes(30, 0x80)).at_end());
    EXPECT_EQ(page.LowerBound({}).start, page.First().start);
    EXPECT_EQ(page.LowerBound(Bytes(10, 0x7F)).start, page.First().start);
    IndexSlot at = page.First();
    for (std::size_t i = 0; i < count; ++i, at = page.After(at)) {
      const Bytes entry = Entry(static_cast<std::uint8_t>(i));
      EXPECT_EQ(page.LowerBound(entry).start, at.start);
      EXPECT_TRUE(page.Equals(at, entry));
      EXPECT_TRUE(page.HasKey(at, ByteView(entry).first(entry.size() - 4)));
      EXPECT_FALSE(page.HasKey(at, ByteView(entry).first(entry.size() - 5)));
      EXPECT_FALSE(page.Equals(at, Entry(static_cast<std::uint8_t>(i + 1))));
      Bytes greater = entry;
      greater.push_back(0);
      EXPECT_EQ(page.LowerBound(greater).start, page.After(at).start);
      if (i != 0) {
        EXPECT_EQ(page.After(page.Before(at)).start, at.start);
      }
    }
    EXPECT_TRUE(at.at_end());
    EXPECT_EQ(page.Before(page.End()).start, page.Last().start);
    EXPECT_EQ(page.Before(page.First()).start, page.First().start);
  }
}

TEST_F(IndexPageTest, DividesAndEmpties) {
  IndexPageEditor::Format(kPage, page_, kOwner, 0);
  std::vector<Bytes> all;
  for (std::uint8_t i = 0; i < 150; ++i) {
    all.push_back(Entry(i));
    Insert(all.back());
  }
  std::array<std::uint8_t, kPageSize> right_page{};
  IndexPageEditor left = Page();
  left.MoveUpperPart(left.Middle(), {8}, right_page);
  std::vector<Bytes> both = Entries();
  EXPECT_EQ(both.size(), 75u);
  page_.swap(right_page);
  const std::vector<Bytes> upper = Entries();
  both.insert(both.end(), upper.begin(), upper.end());
  EXPECT_EQ(both, all);
  while (!Page().empty()) {
    IndexPageEditor page = Page();
    page.Erase(page.First());
    if (page.First().end == page.used()) {
      EXPECT_EQ(page.prefix(), 0u);
    }
  }
  EXPECT_EQ(Page().prefix(), 0u);
  EXPECT_EQ(GetU16(page_, 2), kIndexArea);
  EXPECT_TRUE(
      std::all_of(page_.begin() + kMaskAt, page_.end(), [](int byte) { return byte == 0; }));
}

TEST_F(IndexPageTest, ANodeKnowsItsChildren) {
  IndexPageEditor page = IndexPageEditor::Format(kPage, page_, kOwner, 1);
  for (std::uint8_t i = 1; i <= 3; ++i) {
    Bytes entry = Entry(i);
    AddBytes(entry, Bytes{0, 0x12, 0x34, i});
    page.Insert(page.End(), entry);
  }
  page.SetTail({77});
  EXPECT_EQ(page.Child(page.First()).value, 0x123401u);
  page.SetChild(page.Last(), {0x010203});
  EXPECT_EQ(page.Child(page.LowerBound(Entry(3))).value, 0x010203u);
  EXPECT_EQ(page.Child(page.LowerBound(Entry(2))).value, 0x123402u);
  EXPECT_EQ(page.Child(page.LowerBound(Entry(4))).value, 77u);
  EXPECT_EQ(Entries(), (std::vector{Entry(1), Entry(2), Entry(3)}));
  for (const PageNumber bad : {PageNumber{0}, kPage}) {
    page.SetTail(bad);
    EXPECT_EQ(test_support::CodeOf([&] { page.Child(page.End()); }), ErrorCode::kDamaged);
  }
  EXPECT_EQ(test_support::CodeOf([&] { IndexPage(kPage, page_, {5}); }), ErrorCode::kDamaged);
}

}  // namespace
}  // namespace jet
