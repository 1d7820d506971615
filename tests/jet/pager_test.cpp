#include "jet/pager.h"

#include <gmock/gmock.h>

#include <algorithm>

#include "jet/error.h"
#include "tests/support/temp_db.h"

namespace jet {
namespace {

using test_support::TempFolder;

class PagerTest : public ::testing::Test {
 protected:
  // `pages` pages, each filled with its number.
  std::unique_ptr<Pager> Make(std::uint32_t pages, PagerLimits limits = {}) {
    std::string bytes;
    for (std::uint32_t i = 0; i < pages; ++i) bytes.append(kPageSize, static_cast<char>(i));
    test_support::WriteFileBytes(path_, bytes);
    return Reopen(limits);
  }
  std::unique_ptr<Pager> Reopen(PagerLimits limits = {}) {
    return std::make_unique<Pager>(files_->Open(path_, OpenMode::kExclusive), true, limits);
  }
  static std::uint8_t First(Pager& pager, std::uint32_t page) {
    return pager.Read({page}).bytes()[0];
  }
  static void Set(Pager& pager, std::uint32_t page, std::uint8_t value) {
    pager.Edit({page})[0] = value;
  }

  TempFolder folder_;
  std::string path_ = folder_.File("pages.bin");
  std::unique_ptr<FileSystem> files_ = MakeSystemFiles();
};

TEST_F(PagerTest, AScopeThatIsNotCommittedPutsEveryPageBack) {
  auto pager = Make(4);
  const std::uint64_t epoch = pager->epoch();
  {
    Scope scope(*pager);
    Set(*pager, 1, 100);
    pager->EditNew({6})[0] = 101;
    EXPECT_EQ(pager->page_count(), 7u);
  }
  EXPECT_EQ(First(*pager, 1), 1);
  EXPECT_EQ(pager->page_count(), 4u);
  EXPECT_FALSE(pager->changed());
  EXPECT_GT(pager->epoch(), epoch);
  EXPECT_THROW(pager->Read({6}), Error);
}

// Pages in order are read ahead and pass through the cache.
TEST_F(PagerTest, AWalkSeesEveryPageAsItIs) {
  PagerLimits limits;
  limits.clean_bytes = 4 * kPageSize;
  auto pager = Make(200, limits);
  const PageRef held = pager->Read({3});
  const auto walk = [&](std::uint32_t from) {
    for (std::uint32_t page = from; page < 200; page += 1 + page % 3) {
      EXPECT_EQ(First(*pager, page), page == 20 ? 250 : page) << page;
    }
  };
  {
    Scope scope(*pager);
    for (std::uint32_t page = 8; page < 20; ++page) pager->Read({page});
    Set(*pager, 20, 250);  // it was read ahead
    scope.Commit();
  }
  walk(21);
  pager->Flush();
  walk(100);
  walk(18);
  walk(2);
  EXPECT_EQ(held.bytes()[0], 3);
}

TEST_F(PagerTest, WhatWasReadAheadEndsWithAFlush) {
  auto pager = Make(200, {.clean_bytes = 4 * kPageSize});
  for (std::uint32_t page = 8; page < 20; ++page) First(*pager, page);  // and 20 ahead
  {
    Scope scope(*pager);
    Set(*pager, 20, 250);
    scope.Commit();
  }
  pager->Flush();
  for (std::uint32_t page = 40; page < 200; page += 20) First(*pager, page);
  EXPECT_EQ(First(*pager, 20), 250);
}

TEST_F(PagerTest, ScopesNest) {
  auto pager = Make(4);
  Scope outer(*pager);
  Set(*pager, 1, 100);
  {
    Scope inner(*pager);
    Set(*pager, 1, 101);
    Set(*pager, 2, 102);
  }
  EXPECT_EQ(First(*pager, 1), 100) << "the inner undo keeps what the outer scope wrote";
  EXPECT_EQ(First(*pager, 2), 2);
  {
    Scope whole(*pager);
    {
      Scope inner(*pager);
      Set(*pager, 3, 103);
      inner.Commit();
    }
    EXPECT_EQ(First(*pager, 3), 103);
  }
  EXPECT_EQ(First(*pager, 3), 3) << "a committed inner scope goes with the outer one";
  outer.Commit();
  pager->Flush();
  pager.reset();
  EXPECT_EQ(First(*Reopen(), 1), 100);
}

TEST_F(PagerTest, ReferencesSurviveEvictionAndShowEdits) {
  auto pager = Make(64, {.clean_bytes = 4 * kPageSize});
  const PageRef held = pager->Read({7});
  for (std::uint32_t page = 0; page < 64; ++page) EXPECT_EQ(First(*pager, page), page);
  EXPECT_EQ(held.bytes()[0], 7);
  Scope scope(*pager);
  Set(*pager, 7, 200);
  EXPECT_EQ(held.bytes()[0], 200);
  for (std::uint32_t page = 0; page < 64; ++page) First(*pager, page);
  EXPECT_EQ(First(*pager, 7), 200) << "a changed page never leaves the cache";
  scope.Commit();
}

TEST_F(PagerTest, DiscardGoesBackToTheFile) {
  auto pager = Make(3);
  const PageRef held = pager->Read({2});
  Scope scope(*pager);
  Set(*pager, 2, 50);
  pager->EditNew({5});
  scope.Commit();
  pager->Discard();
  EXPECT_EQ(held.bytes()[0], 2);
  EXPECT_EQ(pager->page_count(), 3u);
  EXPECT_FALSE(pager->changed());
}

TEST_F(PagerTest, LeftoversAreCutBehindThePagesThatWereThere) {
  // A tail's head on page 6, written when the file had 4 pages, for 6; and what
  // looks like one on page 5.
  const auto head = [](std::uint8_t before) {
    return "DBU FLUSH HEAD1\n" + std::string{static_cast<char>(before), 0, 0, 0, 6, 0, 0, 0, 1};
  };
  for (const std::uint32_t highest : {2u, 4u}) {
    Make(9).reset();
    std::string bytes = test_support::ReadFileBytes(path_);
    bytes.replace(5 * kPageSize, head(5).size(), head(5));
    bytes.replace(6 * kPageSize, head(4).size(), head(4));
    test_support::WriteFileBytes(path_, bytes);
    auto pager = Reopen();
    pager->CutLeftovers({highest});
    EXPECT_EQ(pager->page_count(), std::max(4u, highest + 1)) << highest;
    EXPECT_THROW(pager->Read({6}), Error);
    pager.reset();
    EXPECT_EQ(test_support::ReadFileBytes(path_),
              bytes.substr(0, std::max(4u, highest + 1) * kPageSize));
  }
}

TEST_F(PagerTest, GrowsOverAGapOfZeroPages) {
  auto pager = Make(2);
  Scope scope(*pager);
  pager->EditNew({5})[0] = 9;
  scope.Commit();
  EXPECT_EQ(First(*pager, 4), 0);
  pager->Flush();
  pager.reset();
  auto again = Reopen();
  EXPECT_EQ(again->page_count(), 6u);
  EXPECT_EQ(First(*again, 4), 0);
  EXPECT_EQ(First(*again, 5), 9);
}

TEST_F(PagerTest, EncodedPagesAreReadInClearAndWrittenEncoded) {
  {
    auto pager = Make(1);
    pager->SetPageKey(0x12345678);
    Scope scope(*pager);
    std::ranges::fill(pager->EditNew({1}), std::uint8_t{0xAB});
    std::ranges::fill(pager->EditNew({2}), std::uint8_t{0xAB});
    scope.Commit();
    pager->Flush();
  }
  const std::string bytes = test_support::ReadFileBytes(path_);
  const std::string one = bytes.substr(kPageSize, kPageSize);
  EXPECT_NE(one, std::string(kPageSize, '\xAB'));
  EXPECT_NE(one, bytes.substr(2 * kPageSize)) << "each page has its own key";
  auto pager = Reopen();
  pager->SetPageKey(0x12345678);
  EXPECT_EQ(First(*pager, 1), 0xAB);
  const PageRef held = pager->Read({2});
  {
    Scope scope(*pager);
    Set(*pager, 2, 1);
    scope.Commit();
  }
  pager->Discard();
  EXPECT_EQ(std::ranges::count(held.bytes(), 0xAB), static_cast<std::ptrdiff_t>(kPageSize));
}

TEST_F(PagerTest, Limits) {
  auto pager = Make(8, {.changed_bytes = 3 * kPageSize});
  const auto code_of = [](auto&& body) {
    try {
      body();
    } catch (const Error& error) {
      return error.code();
    }
    return ErrorCode::kNotSupported;
  };
  EXPECT_EQ(code_of([&] {
              Scope scope(*pager);
              for (std::uint32_t page = 1; page < 8; ++page) Set(*pager, page, 0);
            }),
            ErrorCode::kFileTooLarge);
  EXPECT_EQ(First(*pager, 1), 1);
  EXPECT_EQ(code_of([&] {
              Scope scope(*pager);
              pager->EditNew({0x80000});
            }),
            ErrorCode::kFileTooLarge);
  pager.reset();
  Pager reader(files_->Open(path_, OpenMode::kRead), false);
  EXPECT_EQ(code_of([&] {
              Scope scope(reader);
              reader.Edit({1});
            }),
            ErrorCode::kReadOnly);
}

TEST_F(PagerTest, OneWriterManyReaders) {
  auto pager = Make(1);
  const auto in_use = [&](OpenMode mode) {
    try {
      files_->Open(path_, mode);
    } catch (const Error& error) {
      return error.code() == ErrorCode::kInUse && error.file() == path_;
    }
    return false;
  };
  EXPECT_TRUE(in_use(OpenMode::kExclusive));
  EXPECT_TRUE(in_use(OpenMode::kRead));
  pager.reset();
  const auto one = files_->Open(path_, OpenMode::kRead);
  EXPECT_NO_THROW(files_->Open(path_, OpenMode::kRead));
  EXPECT_TRUE(in_use(OpenMode::kExclusive));
}

}  // namespace
}  // namespace jet
