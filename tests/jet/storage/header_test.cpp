#include "jet/storage/header.h"

#include <gtest/gtest.h>

#include <array>

#include "jet/base/bytes.h"
#include "jet/base/error.h"
#include "tests/support/temp_db.h"

namespace jet {
namespace {

using Page = std::array<std::uint8_t, kPageSize>;
constexpr std::size_t kCommitSlots = 0xE00;

Page NewPage(const std::string& password = {}) {
  Page page{};
  Header::Init(page, {.order = {1041, 7, 9},
                      .code_page = 1252,
                      .password = password,
                      .created = {40000.75},
                      .engine_build = 0x12345678});
  return page;
}

TEST(HeaderTest, ReadsBackWhatItWrote) {
  const Header header = Header::Parse(NewPage("ひみつ"));
  EXPECT_EQ(header.order(), (SortOrder{1041, 7, 9}));
  EXPECT_EQ(header.code_page(), 1252);
  EXPECT_EQ(header.page_key(), 0u);
  EXPECT_EQ(header.engine_build(), 0x12345678u);
  EXPECT_EQ(header.created(), DateTime{40000.75});
  EXPECT_EQ(header.mark(), CommitMark::kIdle);
  EXPECT_TRUE(header.has_password());
  EXPECT_TRUE(header.Accepts("ひみつ"));
  for (const char* wrong : {"", "ひみ", "ひみつ ", "ひみづ"}) EXPECT_FALSE(header.Accepts(wrong));
  EXPECT_TRUE(Header::Parse(NewPage()).Accepts("any"));
  const Bytes sid = {3, 1, 7};
  EXPECT_NE(header.MaskSid(sid), sid);
  EXPECT_EQ(header.MaskSid(header.MaskSid(sid)), sid);
  EXPECT_NE(header.MaskSid(sid), Header::Parse(NewPage()).MaskSid(sid)) << "the password counts";
}

TEST(HeaderTest, APasswordHasAtMostTwentyCharacters) {
  Page page = NewPage();
  const std::string twenty = "1234567890123456789あ";
  Header::PutPassword(page, twenty);
  const Page kept = page;
  EXPECT_TRUE(Header::Parse(page).Accepts(twenty));
  EXPECT_FALSE(Header::Parse(page).Accepts(twenty.substr(0, 19)));
  EXPECT_EQ(Header::Parse(page).order(), (SortOrder{1041, 7, 9})) << "what follows is untouched";
  for (const std::string& bad : {twenty + "1", std::string("a\0b", 3)}) {
    EXPECT_EQ(test_support::CodeOf([&] { Header::PutPassword(page, bad); }),
              ErrorCode::kOutOfRange);
  }
  EXPECT_EQ(page, kept);
  Header::PutPassword(page, {});
  EXPECT_FALSE(Header::Parse(page).has_password());
  EXPECT_EQ(page, NewPage());
}

TEST(HeaderTest, TheWorstCommitSlotCounts) {
  constexpr std::uint16_t kWriting = 0x0000, kSuspect = 0x0001, kIdle = 0x0100, kCounted = 0x0137;
  const struct {
    std::uint16_t first, last;
    CommitMark mark;
  } cases[] = {
      {kCounted, kIdle, CommitMark::kIdle},       {kSuspect, kCounted, CommitMark::kSuspect},
      {kIdle, kSuspect, CommitMark::kSuspect},    {kWriting, kIdle, CommitMark::kWriting},
      {kSuspect, kWriting, CommitMark::kWriting}, {kWriting, kSuspect, CommitMark::kWriting}};
  for (const auto& c : cases) {
    Page page = NewPage();
    PutU16(page, kCommitSlots, c.first);
    PutU16(page, kPageSize - 2, c.last);
    EXPECT_EQ(Header::Parse(page).mark(), c.mark) << c.first << ' ' << c.last;
  }
}

}  // namespace
}  // namespace jet
