#include "jet/pages/slotted_page.h"

#include <gmock/gmock.h>

#include "jet/base/bytes.h"
#include "jet/row/row.h"
#include "tests/support/temp_db.h"

namespace jet {
namespace {

using namespace test_support;
constexpr PageNumber kPage{9};
constexpr std::size_t kHead = 14;

class SlottedPageTest : public ::testing::Test {
 protected:
  SlottedPageTest() { InitRowPage(page_, 77); }
  std::uint8_t Add(std::size_t length, std::uint8_t fill, SlotKind kind = SlotKind::kLive) {
    return AddRow(kPage, page_, Bytes(length, fill), kind);
  }
  // Every row as it should be, packed from the end, and what is free.
  void Expect(const std::vector<Bytes>& rows) {
    const RowPage read(kPage, page_);
    ASSERT_EQ(read.row_count(), rows.size());
    std::size_t end = kPageSize;
    for (std::size_t i = 0; i < rows.size(); ++i) {
      EXPECT_EQ(Bytes(read.row(i).begin(), read.row(i).end()), rows[i]) << i;
      EXPECT_EQ(FindRow(kPage, page_, i)->bytes.data(), read.row(i).data());
      end -= rows[i].size();
      EXPECT_EQ(GetU16(page_, kHead + 2 * i) & 0x1FFF, end) << i;
    }
    EXPECT_EQ(read.free_bytes(), end - kHead - 2 * rows.size());
    EXPECT_EQ(read.owner(), 77u);
    EXPECT_FALSE(FindRow(kPage, page_, rows.size()));
  }
  std::array<std::uint8_t, kPageSize> page_{};
};

TEST_F(SlottedPageTest, SlidesRowsWhenOneChanges) {
  EXPECT_EQ(Add(10, 1), 0);
  EXPECT_EQ(Add(20, 2, SlotKind::kBody), 1);
  EXPECT_EQ(Add(30, 3), 2);
  Expect({Bytes(10, 1), Bytes(20, 2), Bytes(30, 3)});
  EXPECT_TRUE(ReplaceRow(kPage, page_, 1, Bytes(4, 9), SlotKind::kMoved));
  Expect({Bytes(10, 1), Bytes(4, 9), Bytes(30, 3)});
  EXPECT_TRUE(ReplaceRow(kPage, page_, 0, Bytes(50, 8), SlotKind::kLive));
  Expect({Bytes(50, 8), Bytes(4, 9), Bytes(30, 3)});
  const RowPage read(kPage, page_);
  EXPECT_EQ(read.kind(0), SlotKind::kLive);
  EXPECT_EQ(read.kind(1), SlotKind::kMoved);
  EXPECT_EQ(GetU16(page_, kHead + 2) & 0xC000, 0x4000);
  DeleteRow(kPage, page_, 0);
  Expect({{}, Bytes(4, 9), Bytes(30, 3)});
  EXPECT_EQ(GetU16(page_, kHead), 0xC000 | kPageSize);
  EXPECT_EQ(FindRow(kPage, page_, 0)->kind, SlotKind::kDeleted);
  EXPECT_EQ(FindRow(kPage, page_, 1)->kind, SlotKind::kMoved);
  EXPECT_EQ(Add(1, 7, SlotKind::kBody), 3) << "a slot is not used again";
  EXPECT_EQ(GetU16(page_, kHead + 6) & 0xC000, 0x8000);
}

TEST_F(SlottedPageTest, IsFullAtTheLastByte) {
  const std::size_t room = kPageSize - kHead;
  EXPECT_TRUE(FitsNewRow(kPage, page_, room - 2));
  EXPECT_FALSE(FitsNewRow(kPage, page_, room - 1));
  EXPECT_GE(room - 2, kMaxRowBytes);
  Add(kMaxRowBytes, 1);
  const std::size_t left = room - 2 - kMaxRowBytes;
  EXPECT_FALSE(ReplaceRow(kPage, page_, 0, Bytes(kMaxRowBytes + left + 1, 2), SlotKind::kLive));
  Expect({Bytes(kMaxRowBytes, 1)});
  Add(left - 2, 3);
  EXPECT_EQ(RowPage(kPage, page_).free_bytes(), 0);
  EXPECT_FALSE(FitsNewRow(kPage, page_, 0));
  EXPECT_EQ(CodeOf([&] { Add(0, 4); }), ErrorCode::kDamaged);
  EXPECT_TRUE(ReplaceRow(kPage, page_, 0, Bytes(kMaxRowBytes - 1, 5), SlotKind::kLive));
  EXPECT_FALSE(ReplaceRow(kPage, page_, 1, Bytes(left, 6), SlotKind::kLive));
  EXPECT_TRUE(ReplaceRow(kPage, page_, 1, Bytes(left - 1, 6), SlotKind::kLive));
  Expect({Bytes(kMaxRowBytes - 1, 5), Bytes(left - 1, 6)});
}

TEST_F(SlottedPageTest, HoldsAtMost255Rows) {
  for (std::size_t i = 0; i < 255; ++i) {
    ASSERT_TRUE(FitsNewRow(kPage, page_, 1)) << i;
    ASSERT_EQ(Add(1, static_cast<std::uint8_t>(i)), i);
  }
  EXPECT_FALSE(FitsNewRow(kPage, page_, 1));
  EXPECT_EQ(FindRow(kPage, page_, 254)->bytes[0], 254);
  PutU16(page_, 0x0C, 257);
  EXPECT_EQ(CodeOf([&] { RowPage(kPage, page_); }), ErrorCode::kDamaged);
}

TEST_F(SlottedPageTest, RowsOfAnotherPageGoOverAsOneByOne) {
  std::array<std::uint8_t, kPageSize> other{};
  InitRowPage(other, 78);
  for (const std::size_t length : {300, 0, 500, 40, 700, 60, 900}) {
    AddRow(kPage, other, Bytes(length, static_cast<std::uint8_t>(length / 10)), SlotKind::kLive);
  }
  DeleteRow(kPage, other, 3);
  const RowPage rows(kPage, other);
  for (const std::size_t filled : {0, 10, 2500, 3300, 3800}) {
    for (std::size_t first = 0; first < rows.row_count(); ++first) {
      SCOPED_TRACE(std::to_string(filled) + " bytes, from row " + std::to_string(first));
      InitRowPage(page_, 77);
      Add(filled, 9);
      auto one_by_one = page_;
      std::size_t count = 0;
      for (std::size_t i = first; i < rows.row_count() && rows.kind(i) == SlotKind::kLive; ++i) {
        if (!FitsNewRow(kPage, one_by_one, rows.row(i).size())) break;
        AddRow(kPage, one_by_one, rows.row(i), SlotKind::kLive);
        ++count;
      }
      EXPECT_EQ(AddRows(kPage, page_, rows, first), count);
      EXPECT_EQ(page_, one_by_one);
    }
  }
  InitRowPage(page_, 77);
  for (std::size_t i = 0; i < kMaxRowsOnPage - 2; ++i) Add(1, 1);
  EXPECT_EQ(AddRows(kPage, page_, rows, 0), 2u);
}

TEST_F(SlottedPageTest, NamesDamage) {
  Add(10, 1);
  Add(20, 2);
  const auto kept = page_;
  const struct {
    std::size_t at;
    std::uint16_t value;
  } cases[] = {
      {0x00, 0x0109},          // not a page of rows
      {kHead, 4097},           // behind the end of the page
      {kHead + 2, 4090},       // above the row before it
      {kHead + 2, kHead + 3},  // among the slots
      {0x0C, 3},               // a slot that was never written
  };
  for (const auto& c : cases) {
    page_ = kept;
    PutU16(page_, c.at, c.value);
    EXPECT_EQ(CodeOf([&] { RowPage(kPage, page_); }), ErrorCode::kDamaged) << c.at;
    if (c.at != 0) {
      EXPECT_EQ(CodeOf([&] {
                  FindRow(kPage, page_, 1);
                  FindRow(kPage, page_, 2);
                }),
                ErrorCode::kDamaged)
          << c.at << ' ' << c.value;
    }
  }
  page_ = kept;
  const RowPage read(kPage, page_);
  EXPECT_EQ(CodeOf([&] { read.row(2); }), ErrorCode::kDamaged);
  EXPECT_EQ(CodeOf([&] { read.kind(2); }), ErrorCode::kDamaged);
  EXPECT_EQ(CodeOf([&] { DeleteRow(kPage, page_, 2); }), ErrorCode::kDamaged);
  PutStamp(page_, 0x01020304);
  EXPECT_EQ(GetU32(page_, 8), 0x01020304u);
  MarkReleased(page_);
  EXPECT_FALSE(RowPage::IsRowPage(page_));
  EXPECT_EQ(CodeOf([&] { FitsNewRow(kPage, page_, 1); }), ErrorCode::kDamaged);
}

}  // namespace
}  // namespace jet
