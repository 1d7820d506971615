// What several threads find is what one finds, in the same order.
#include "jet/base/threads.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <random>

#include "jet/check/check.h"
#include "jet/compact/compact.h"
#include "tests/support/jet_fixture.h"

namespace jet {
namespace {

using enum ColumnType;
using namespace test_support;

class ThreadsTest : public EngineTest {
 protected:
  // Tables that are each worth a thread, filled in turns so that their pages mix.
  ThreadsTest() {
    Database& database = Create();
    std::vector<std::shared_ptr<Table>> tables;
    for (const std::string name : {"物件", "部屋", "管"}) {
      tables.push_back(
          database.CreateTable({name,
                                {{.name = "ID", .auto_number = true},
                                 {"名称", kText, 50},
                                 {"数量", kDouble},
                                 {"備考", kMemo}},
                                {{.name = "PrimaryKey", .columns = {"ID"}, .primary = true},
                                 {.name = "ByName", .columns = {"名称"}}}}));
    }
    for (int i = 0; i < 3000; ++i) {
      for (const auto& table : tables) {
        const std::string memo(i % 200 == 0 ? 9000 : i % 70 == 0 ? 300 : 0, 'm');
        table->Insert(std::vector<Value>{Null{}, "ﾀﾞｸﾄ " + std::to_string(i * 7919 % 3000), i / 4.0,
                                         memo.empty() ? Value(Null{}) : Value(memo)});
      }
    }
    database.Commit();
    database_.reset();
    bytes_ = ReadFileBytes(path_);
  }

  std::string Found(unsigned jobs) {
    const CheckResult result = CheckFile(*files_, path_, {.jobs = jobs});
    std::string text = fmt::format("{} {} {} {} {} {} {} {}\n", result.problems, result.warnings,
                                   result.unusual, result.not_checked, result.pages, result.tables,
                                   result.rows, result.index_entries);
    for (const Finding& finding : result.findings) text += FormatFinding(finding) + '\n';
    return text;
  }
  std::string_view Page(std::size_t page) const {
    return std::string_view(bytes_).substr(page * kPageSize, kPageSize);
  }

  std::string bytes_;
};

TEST_F(ThreadsTest, FindInDamagedFilesWhatOneFinds) {
  EXPECT_EQ(Found(1).substr(0, 8), "0 0 0 0 ");
  EXPECT_EQ(Found(1), Found(4));
  std::mt19937 random(20261126);
  const std::size_t pages = bytes_.size() / kPageSize;
  int with_findings = 0;
  for (int round = 0; round < 60; ++round) {
    std::string damaged = bytes_;
    for (unsigned times = 0; times <= random() % 4; ++times) {
      const std::size_t page = 2 + random() % (pages - 2), other = 2 + random() % (pages - 2);
      switch (round % 3) {
        case 0:  // a byte
          damaged[page * kPageSize + random() % kPageSize] ^= static_cast<char>(1 + random() % 255);
          break;
        case 1:  // a page of somebody else
          damaged.replace(page * kPageSize, kPageSize, Page(other));
          break;
        default:  // nothing any more
          damaged.replace(page * kPageSize, kPageSize, std::string(kPageSize, '\0'));
      }
    }
    WriteFileBytes(path_, damaged);
    const std::string alone = Found(1);
    if (!alone.starts_with("0 0 0 0 ")) ++with_findings;
    ASSERT_EQ(alone, Found(4)) << "round " << round;
  }
  EXPECT_GT(with_findings, 40);
}

TEST_F(ThreadsTest, AFileIsCompactedToTheSameBytes) {
  for (const unsigned jobs : {1U, 4U}) {
    CompactFile(*files_, path_, folder_.File("new" + std::to_string(jobs)), {.jobs = jobs});
  }
  EXPECT_TRUE(ReadFileBytes(folder_.File("new1")) == ReadFileBytes(folder_.File("new4")));
}

TEST(Threads, EachPieceOfWorkIsDoneOnce) {
  for (const unsigned threads : {1U, 2U, 7U}) {
    std::vector<std::atomic<int>> done(1000);
    RunOnThreads(threads, done.size(), [&](std::size_t i) { ++done[i]; });
    EXPECT_TRUE(std::ranges::all_of(done, [](int times) { return times == 1; })) << threads;
  }
  EXPECT_EQ(ThreadsFor(1), 1U);
  EXPECT_GE(ThreadsFor(0), 1U);
}

}  // namespace
}  // namespace jet
