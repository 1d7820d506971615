#include "jet/storage/flush.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>

#include "jet/base/bytes.h"
#include "jet/base/error.h"
#include "jet/storage/header.h"
#include "tests/support/content.h"
#include "tests/support/fault_rounds.h"
#include "tests/support/jet_fixture.h"

namespace jet {
namespace {

using namespace test_support;

constexpr std::string_view kPassword = "geheim";
const std::string kPath = FaultRounds::kPath;

std::unique_ptr<Database> Open(FileSystem& files, const std::string& path = kPath,
                               OpenMode mode = OpenMode::kExclusive) {
  const auto clock = [] { return kMoment; };
  return Database::Open(files, path,
                        {.mode = mode, .password = std::string(kPassword), .clock = clock});
}

// A file in memory.
struct FilesWith : FaultFiles {
  explicit FilesWith(const std::string& image) {
    bytes() = image;
    ClearFault();
  }
  std::string& bytes() { return FaultFiles::bytes(kPath); }
};

void Fill(Table& table, int from, int to) {
  for (int i = from; i < to; ++i) {
    table.Insert(std::vector<Value>{std::int32_t{i}, fmt::format("行 {}", i),
                                    std::string(static_cast<std::size_t>(i % 7) * 900, 'x')});
  }
}

TableSpec Spec(const char* name) {
  return {name, {{"Nr"}, {"Name", ColumnType::kText, 50}, {"Text", ColumnType::kMemo}}, {}};
}

// A small database without a password.
std::string Base() {
  FaultFiles files;
  const auto database = Database::Create(files, kPath, {.clock = [] { return kMoment; }});
  TableSpec spec = Spec("Orte");
  spec.indexes.push_back({.name = "PK", .columns = {"Nr"}, .primary = true});
  Fill(*database->CreateTable(spec), 0, 40);
  database->Commit();
  return files.bytes(kPath);
}

// Touches page 0, the maps, definitions, rows, keys and long values, and grows
// the file.
void Change(FileSystem& files) {
  const auto database = Open(files);
  database->SetPassword(kPassword);
  database->AppendColumn("Orte", {"Zahl", ColumnType::kDouble});
  const auto table = database->OpenTable("Orte");
  table->Delete(*table->First());
  Set(*table, *table->First(), 1, "anders");
  Fill(*database->CreateTable(Spec("Neu")), 0, 20);
  database->Commit();
}

// As a program would leave it that encodes its pages.
std::string Encoded(std::string bytes, std::uint32_t key) {
  for (int i = 0; i < 4; ++i) bytes[0x3E + i] ^= static_cast<char>(key >> 8 * i);  // masked
  for (std::uint32_t i = 1; i < bytes.size() / kPageSize; ++i) {
    Bytes page_key;
    AddU32(page_key, key ^ i);
    Rc4(page_key).Apply({reinterpret_cast<std::uint8_t*>(bytes.data()) + i * kPageSize, kPageSize});
  }
  return bytes;
}

// The operations up to the `nth` sync.
std::size_t ThroughSync(const OperationLog& log, int nth) {
  for (std::size_t i = 0; i < log.size(); ++i) {
    if (log[i].kind == FileOperation::Kind::kSync && --nth == 0) return i + 1;
  }
  return log.size();
}
constexpr int kTailSync = 1, kMarkSync = 2;
constexpr std::size_t kSlots = 0xE00;  // of page 0

std::string Content(const std::string& bytes, OpenMode mode = OpenMode::kRead) {
  FilesWith files(bytes);
  return ContentOf(*Open(files, kPath, mode));
}

TEST(Flush, AFaultAnywhereLeavesTheStateBeforeOrAfter) {
  for (const bool encoded : {false, true}) {
    FaultRounds::Plan plan;
    plan.name = encoded ? "small change, encoded" : "small change";
    plan.before = encoded ? Encoded(Base(), 0x12345678) : Base();
    plan.password = kPassword;
    plan.action = Change;
    plan.stride = FaultStride(encoded ? 13 : 5);
    FaultRounds(plan).RunAll();
  }
}

// A change that went well.
class FlushTest : public testing::Test {
 protected:
  FlushTest() {
    FilesWith files(before_);
    Change(files);
    after_ = files.bytes();
    log_ = files.log();
    tail_at_ = std::ranges::find(log_, FileOperation::Kind::kWrite, &FileOperation::kind)->at;
  }
  // Killed that many operations behind a sync.
  std::string Killed(int syncs, std::size_t more = 0) const {
    return AfterKill(before_, log_, ThroughSync(log_, syncs) + more);
  }
  const std::string before_ = Base();
  std::string after_;
  OperationLog log_;
  std::size_t tail_at_ = 0;
};

TEST_F(FlushTest, AFlushThatWasRefusedCanBeRepeated) {
  int repeated = 0;
  for (std::uint64_t n = 1; n <= ThroughSync(log_, kTailSync); ++n) {
    for (const std::uint64_t times : {1, 2, 4}) {
      FilesWith files(before_);
      auto database = Open(files);
      database->SetPassword(kPassword);
      database->AppendColumn("Orte", {"Zahl", ColumnType::kDouble});
      files.SetFault({Fault::Kind::kFail, n, 0, times});
      try {
        database->Commit();
        continue;  // had fewer operations
      } catch (const Error& error) {
        if (error.code() == ErrorCode::kUnfinished) continue;
      }
      ++repeated;
      files.ClearFault();
      if (times == 1) {  // what was begun could be taken back
        EXPECT_TRUE(files.bytes() == before_) << "operation " << n;
      }
      // The second flush is smaller or larger than what the first left behind.
      if (times == 2) {
        database->Discard();
        database->AppendColumn("Orte", {"Z", ColumnType::kDouble});
      }
      if (times == 4) Fill(*database->CreateTable(Spec("Neu")), 0, 20);
      const std::string left_behind = files.bytes();
      files.ClearFault();
      database->Commit();
      const std::string expected = ContentOf(*database);
      database.reset();
      EXPECT_EQ(Content(files.bytes(), OpenMode::kExclusive), expected) << n << ' ' << times;
      // A kill in the middle of it is finished, whatever the first one left there.
      const OperationLog log = files.log();
      const std::string killed = AfterKill(left_behind, log, ThroughSync(log, kMarkSync) + 2);
      EXPECT_EQ(Content(killed, OpenMode::kExclusive), expected) << n << ' ' << times;
    }
  }
  EXPECT_GT(repeated, 8);
}

TEST_F(FlushTest, AMarkWithoutATailAllowsReadingOnly) {
  std::string image = Killed(kMarkSync);
  image.resize(before_.size());
  FilesWith files(image);
  EXPECT_EQ(ContentOf(*Open(files, kPath, OpenMode::kRead)), Content(before_));
  EXPECT_EQ(CodeOf([&] { Open(files); }), ErrorCode::kNeedsRepair);
  EXPECT_EQ(files.bytes(), image) << "not touched";
}

TEST_F(FlushTest, WorkOfAnotherProgramSinceTheKillStays) {
  // A page that the flush would change: the first one behind the header.
  const auto mark = log_.begin() + static_cast<std::ptrdiff_t>(ThroughSync(log_, kMarkSync));
  const auto page = std::find_if(mark, log_.end(), [](const auto& op) {
    return op.kind == FileOperation::Kind::kWrite && op.at >= 2 * kPageSize;
  });
  struct Case {
    const char* name;
    int syncs;
    std::size_t foreign_at;  // one byte that the other program writes
    std::optional<ErrorCode> refused;
  };
  const Case cases[] = {
      {"a page of the flush, before the mark", kTailSync, page->at + 4090, std::nullopt},
      {"a page of the flush, after the mark", kMarkSync, page->at + 4090, ErrorCode::kNeedsRepair},
      {"inside the tail, before the mark", kTailSync, tail_at_ + 2 * kPageSize + 7, std::nullopt},
      {"inside the tail, after the mark", kMarkSync, tail_at_ + 2 * kPageSize + 7,
       ErrorCode::kNeedsRepair},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    std::string image = Killed(c.syncs);
    image[c.foreign_at] = static_cast<char>(image[c.foreign_at] ^ 0x5A);
    FilesWith files(image);
    EXPECT_EQ(CodeOf([&] { Open(files); }), c.refused);
    const std::string& now = files.bytes();
    if (c.refused) {
      EXPECT_EQ(now, image);
    } else {
      EXPECT_GE(now.size(), before_.size());
      EXPECT_LE(now.size(), tail_at_);
      EXPECT_EQ(now, image.substr(0, now.size())) << "cut, and nothing else";
    }
  }
}

TEST_F(FlushTest, APageThatAnotherProgramTookInsideTheTailIsNotCutOff) {
  std::string image = Killed(kTailSync);
  // What the other program does, which knows nothing of a tail.
  FaultFiles other;
  std::string padded = before_;
  padded.resize(image.size());
  other.bytes(kPath) = padded;
  PageNumber taken;
  {
    Pager pager(other.Open(kPath, OpenMode::kExclusive), true, {}, FlushMode::kPlain);
    Scope scope(pager);
    taken = PageAllocator(pager).AllocateAbove({static_cast<std::uint32_t>(tail_at_ / kPageSize)});
    std::ranges::fill(pager.Edit(taken), std::uint8_t{0xEE});
    scope.Commit();
    pager.Flush();
  }
  for (std::size_t at = 0; at < image.size(); at += kPageSize) {
    const std::string page = other.bytes(kPath).substr(at, kPageSize);
    if (page != padded.substr(at, kPageSize)) image.replace(at, kPageSize, page);
  }
  FilesWith files(image);
  const auto database = Open(files);
  const std::string& now = files.bytes();
  EXPECT_EQ(now.size(), (taken.value + std::size_t{1}) * kPageSize);
  EXPECT_EQ(now, image.substr(0, now.size()));
  EXPECT_EQ(ContentOf(*database), Content(before_));
}

TEST_F(FlushTest, CommitSlotsThatAnotherProgramCountedUpStay) {
  std::string image = Killed(kTailSync);
  image[kSlots] = 0x24;
  image[kSlots + 2] = 0x25;
  FilesWith files(image);
  EXPECT_EQ(ContentOf(*Open(files)), Content(after_));
  EXPECT_EQ(files.bytes()[kSlots], 0x24);
  EXPECT_EQ(files.bytes()[kSlots + 2], 0x25);
}

TEST_F(FlushTest, ATailOnAReadOnlyFileIsLaidOverThePages) {
  const TempFolder folder;
  const std::string path = folder.File("only.mdb");
  const auto system_files = MakeSystemFiles();
  for (const int syncs : {kTailSync, kMarkSync}) {
    const std::string image = Killed(syncs, 3);
    WriteFileBytes(path, image);
    namespace fs = std::filesystem;
    fs::permissions(path, fs::perms::owner_read);
    fs::permissions(folder.path(), fs::perms::owner_read | fs::perms::owner_exec);
    EXPECT_EQ(ContentOf(*Open(*system_files, path, OpenMode::kRead)), Content(after_));
    EXPECT_EQ(ReadFileBytes(path), image);
    fs::permissions(folder.path(), fs::perms::owner_all);
    fs::permissions(path, fs::perms::owner_all);
  }
}

TEST_F(FlushTest, TheSizeLimitLeavesTheOldFile) {
  const std::string base = Base();
  const TempFolder folder;
  const std::string path = folder.File("large.mdb");
  const auto files = MakeSystemFiles();
  WriteFileBytes(path, base);
  const std::uint64_t size = kMaxFileSize - 4 * kPageSize;
  std::filesystem::resize_file(path, size);  // a hole
  {
    const auto database = Open(*files, path);
    database->AppendColumn("Orte", {"Zahl", ColumnType::kDouble});
    EXPECT_EQ(CodeOf([&] { database->Commit(); }), ErrorCode::kFileTooLarge);
  }
  EXPECT_EQ(std::filesystem::file_size(path), size);
  std::filesystem::resize_file(path, base.size());
  EXPECT_EQ(ReadFileBytes(path), base);
}

TEST_F(FlushTest, AFullDiskLeavesTheOldFileByteForByte) {
  for (std::uint64_t n = 1; n <= log_.size(); ++n) {
    FilesWith files(before_);
    files.SetFault({Fault::Kind::kFull, n});
    const auto code = CodeOf([&] { Change(files); });
    if (n == 1) {
      EXPECT_EQ(code, ErrorCode::kDiskFull);
      EXPECT_EQ(files.bytes(), before_);
    } else {
      EXPECT_EQ(code, std::nullopt) << "all room was made sure of by the first operation: " << n;
    }
  }
}

}  // namespace
}  // namespace jet
