#include "jet/storage/pager.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <array>

#include "jet/base/error.h"
#include "tests/support/temp_db.h"

namespace jet {
namespace {

using namespace test_support;

class PagerTest : public ::testing::Test {
 protected:
  // `pages` pages, each filled with its number.
  void Make(std::uint32_t pages, PagerLimits limits = {}) {
    std::string bytes;
    for (std::uint32_t i = 0; i < pages; ++i) bytes.append(kPageSize, static_cast<char>(i));
    WriteFileBytes(path_, bytes);
    Reopen(limits);
  }
  void Reopen(PagerLimits limits = {}) {
    pager_.reset();
    pager_ = std::make_unique<Pager>(files_->Open(path_, OpenMode::kExclusive), true, limits);
  }
  std::uint8_t First(std::uint32_t page) { return pager_->Read({page}).bytes()[0]; }
  void Set(std::uint32_t page, std::uint8_t value) { pager_->Edit({page})[0] = value; }
  void SetAndCommit(std::uint32_t page, std::uint8_t value) {
    Scope scope(*pager_);
    Set(page, value);
    scope.Commit();
  }

  TempFolder folder_;
  std::string path_ = folder_.File("pages.bin");
  std::unique_ptr<FileSystem> files_ = MakeSystemFiles();
  std::unique_ptr<Pager> pager_;
};

TEST_F(PagerTest, AScopeThatIsNotCommittedPutsEveryPageBack) {
  Make(4);
  const std::uint64_t epoch = pager_->epoch();
  {
    Scope scope(*pager_);
    Set(1, 100);
    pager_->EditNew({6})[0] = 101;
    EXPECT_EQ(pager_->page_count(), 7u);
  }
  EXPECT_EQ(First(1), 1);
  EXPECT_EQ(pager_->page_count(), 4u);
  EXPECT_FALSE(pager_->changed());
  EXPECT_GT(pager_->epoch(), epoch);
  EXPECT_THROW(pager_->Read({6}), Error);
}

// Pages in order are read ahead and pass through the cache.
TEST_F(PagerTest, AWalkSeesEveryPageAsItIs) {
  Make(200, {.clean_bytes = 4 * kPageSize});
  const PageRef held = pager_->Read({3});
  const auto walk = [&](std::uint32_t from) {
    for (std::uint32_t page = from; page < 200; page += 1 + page % 3) {
      EXPECT_EQ(First(page), page == 20 ? 250 : page) << page;
    }
  };
  for (std::uint32_t page = 8; page < 20; ++page) First(page);
  SetAndCommit(20, 250);  // it was read ahead
  walk(21);
  pager_->Flush();
  walk(100);
  walk(18);
  walk(2);
  EXPECT_EQ(held.bytes()[0], 3);
}

TEST_F(PagerTest, WhatWasReadAheadEndsWithAFlush) {
  Make(200, {.clean_bytes = 4 * kPageSize});
  for (std::uint32_t page = 8; page < 20; ++page) First(page);  // and 20 ahead
  SetAndCommit(20, 250);
  pager_->Flush();
  for (std::uint32_t page = 40; page < 200; page += 20) First(page);
  EXPECT_EQ(First(20), 250);
}

TEST_F(PagerTest, ScopesNest) {
  Make(4);
  {
    Scope outer(*pager_);
    Set(1, 100);
    {
      Scope inner(*pager_);
      Set(1, 101);
      Set(2, 102);
    }
    EXPECT_EQ(First(1), 100) << "the inner undo keeps what the outer scope wrote";
    EXPECT_EQ(First(2), 2);
    {
      Scope whole(*pager_);
      SetAndCommit(3, 103);
      EXPECT_EQ(First(3), 103);
    }
    EXPECT_EQ(First(3), 3) << "a committed inner scope goes with the outer one";
    outer.Commit();
  }
  pager_->Flush();
  Reopen();
  EXPECT_EQ(First(1), 100);
}

// Parts and whole pages in any order, within scopes and beyond what is kept of parts.
TEST_F(PagerTest, PartsOfPagesGoBackAsWholePagesDo) {
  Make(6);
  const auto set = [&](std::uint32_t page, std::size_t at, std::size_t size, int value) {
    const std::array<PagePart, 2> parts{PagePart{at, size}, PagePart{0, 1}};
    const PageSpan bytes = pager_->Edit({page}, parts);
    std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(at), size,
                static_cast<std::uint8_t>(value));
    ++bytes[0];
  };
  const auto is_as_made = [&](std::uint32_t page) {
    return std::ranges::all_of(pager_->Read({page}).bytes(),
                               [&](std::uint8_t byte) { return byte == page; });
  };
  {
    Scope scope(*pager_);
    set(1, 100, 50, 200);
    set(1, 120, 4, 201);  // over the same bytes
    Set(1, 100);          // whole
    set(1, 4000, 96, 202);
    Set(2, 100);
    set(2, 10, 10, 203);
    {
      Scope inner(*pager_);
      set(1, 1000, 10, 204);
      set(3, 1000, 10, 205);
      inner.Commit();
    }
    set(3, 2000, 10, 206);
    for (int i = 0; i < 12; ++i) set(4, 8, 4000, 207 + i);  // more than is kept of parts
    set(5, 1, 0, 0);
  }
  for (std::uint32_t page = 1; page < 6; ++page) EXPECT_TRUE(is_as_made(page)) << page;
  EXPECT_FALSE(pager_->changed());
  {
    Scope scope(*pager_);
    set(1, 4095, 1, 220);
    scope.Commit();
  }
  EXPECT_TRUE(pager_->changed());
  {
    Scope scope(*pager_);
    set(1, 4095, 1, 221);
  }
  EXPECT_EQ(pager_->Read({1}).bytes()[4095], 220);
  pager_->Flush();
  Reopen();
  EXPECT_EQ(pager_->Read({1}).bytes()[4095], 220);
  EXPECT_EQ(First(1), 2);
}

TEST_F(PagerTest, ReferencesSurviveEvictionAndShowEdits) {
  Make(64, {.clean_bytes = 4 * kPageSize});
  const PageRef held = pager_->Read({7});
  for (std::uint32_t page = 0; page < 64; ++page) EXPECT_EQ(First(page), page);
  EXPECT_EQ(held.bytes()[0], 7);
  SetAndCommit(7, 200);
  EXPECT_EQ(held.bytes()[0], 200);
  for (std::uint32_t page = 0; page < 64; ++page) First(page);
  EXPECT_EQ(First(7), 200) << "a changed page never leaves the cache";
}

TEST_F(PagerTest, DiscardGoesBackToTheFile) {
  Make(3);
  const PageRef held = pager_->Read({2});
  {
    Scope scope(*pager_);
    Set(2, 50);
    pager_->EditNew({5});
    scope.Commit();
  }
  pager_->Discard();
  EXPECT_EQ(held.bytes()[0], 2);
  EXPECT_EQ(pager_->page_count(), 3u);
  EXPECT_FALSE(pager_->changed());
}

TEST_F(PagerTest, LeftoversAreCutBehindThePagesThatWereThere) {
  // A tail's head on page 6, written when the file had 4 pages, for 6; and what
  // looks like one on page 5.
  const auto head = [](std::uint8_t before) {
    return "DBU FLUSH HEAD1\n" + std::string{static_cast<char>(before), 0, 0, 0, 6, 0, 0, 0, 1};
  };
  for (const std::uint32_t highest : {2u, 4u}) {
    Make(9);
    pager_.reset();
    std::string bytes = ReadFileBytes(path_);
    bytes.replace(5 * kPageSize, head(5).size(), head(5));
    bytes.replace(6 * kPageSize, head(4).size(), head(4));
    WriteFileBytes(path_, bytes);
    Reopen();
    pager_->CutLeftovers({highest});
    const std::uint32_t left = std::max(4u, highest + 1);
    EXPECT_EQ(pager_->page_count(), left) << highest;
    EXPECT_THROW(pager_->Read({6}), Error);
    pager_.reset();  // it keeps the file from others
    EXPECT_EQ(ReadFileBytes(path_), bytes.substr(0, left * kPageSize));
  }
}

TEST_F(PagerTest, GrowsOverAGapOfZeroPages) {
  Make(2);
  {
    Scope scope(*pager_);
    pager_->EditNew({5})[0] = 9;
    scope.Commit();
  }
  EXPECT_EQ(First(4), 0);
  pager_->Flush();
  Reopen();
  EXPECT_EQ(pager_->page_count(), 6u);
  EXPECT_EQ(First(4), 0);
  EXPECT_EQ(First(5), 9);
}

TEST_F(PagerTest, APageThatIsTakenAnewIsEmpty) {
  Make(3);
  Scope scope(*pager_);
  Set(1, 100);
  for (const std::uint32_t page : {1u, 2u}) {
    EXPECT_THAT(pager_->EditNew({page}), testing::Each(0)) << page;
  }
}

TEST_F(PagerTest, EncodedPagesAreReadInClearAndWrittenEncoded) {
  Make(1);
  pager_->SetPageKey(0x12345678);
  {
    Scope scope(*pager_);
    for (const std::uint32_t page : {1u, 2u}) {
      std::ranges::fill(pager_->EditNew({page}), std::uint8_t{0xAB});
    }
    scope.Commit();
  }
  pager_->Flush();
  const std::string bytes = ReadFileBytes(path_);
  const std::string one = bytes.substr(kPageSize, kPageSize);
  EXPECT_NE(one, std::string(kPageSize, '\xAB'));
  EXPECT_NE(one, bytes.substr(2 * kPageSize)) << "each page has its own key";
  Reopen();
  pager_->SetPageKey(0x12345678);
  EXPECT_EQ(First(1), 0xAB);
  const PageRef held = pager_->Read({2});
  SetAndCommit(2, 1);
  pager_->Discard();
  EXPECT_THAT(held.bytes(), testing::Each(0xAB));
}

TEST_F(PagerTest, Limits) {
  Make(8, {.changed_bytes = 3 * kPageSize});
  // What a scope that changes pages from 1 on ends with.
  const auto change = [&](std::uint32_t pages) {
    return CodeOf([&] {
      Scope scope(*pager_);
      for (std::uint32_t page = 1; page <= pages; ++page) Set(page, 0);
      scope.Commit();
    });
  };
  EXPECT_EQ(change(4), ErrorCode::kFileTooLarge);
  EXPECT_EQ(First(1), 1);
  EXPECT_EQ(change(3), std::nullopt);
  EXPECT_EQ(change(4), ErrorCode::kFileTooLarge);
  pager_->Discard();
  EXPECT_EQ(change(3), std::nullopt) << "they count no more";
  EXPECT_EQ(CodeOf([&] {
              Scope scope(*pager_);
              pager_->EditNew({0x80000});
            }),
            ErrorCode::kFileTooLarge);
  pager_.reset();
  Pager reader(files_->Open(path_, OpenMode::kRead), false);
  EXPECT_EQ(CodeOf([&] {
              Scope scope(reader);
              reader.Edit({1});
            }),
            ErrorCode::kReadOnly);
}

}  // namespace
}  // namespace jet
