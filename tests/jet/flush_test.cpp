#include "jet/flush.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>

#include "jet/bytes.h"
#include "jet/database.h"
#include "jet/error.h"
#include "jet/header.h"
#include "tests/support/content.h"
#include "tests/support/fault_rounds.h"
#include "tests/support/temp_db.h"

namespace jet {
namespace {

using test_support::AfterKill;
using test_support::CodeOf;
using test_support::ContentOf;
using test_support::Fault;
using test_support::FaultFiles;
using test_support::FaultRounds;
using test_support::FaultStride;
using test_support::FileOperation;
using test_support::OperationLog;
using test_support::TempFolder;

constexpr std::string_view kPassword = "geheim";
const std::string kPath = FaultRounds::kPath;

DateTime Now() { return ToDateTime({2011, 5, 6, 7, 8, 9}); }

std::unique_ptr<Database> Open(FileSystem& files, const std::string& path = kPath,
                               OpenMode mode = OpenMode::kExclusive) {
  OpenOptions options;
  options.mode = mode;
  options.password = kPassword;
  options.clock = Now;
  return Database::Open(files, path, options);
}

void Fill(Table& table, int from, int to) {
  for (int i = from; i < to; ++i) {
    table.Insert(std::vector<Value>{std::int32_t{i}, fmt::format("行 {}", i),
                                    std::string(static_cast<std::size_t>(i % 7) * 900, 'x')});
  }
}

// A small database without a password.
std::string Base() {
  FaultFiles files;
  CreateOptions options;
  options.clock = Now;
  const auto database = Database::Create(files, kPath, options);
  TableSpec spec{
      "Orte", {{"Nr"}, {"Name", ColumnType::kText, 50}, {"Text", ColumnType::kMemo}}, {}};
  spec.indexes.push_back({"PK", {"Nr"}, {}, true, true});
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
  table->Update(*table->First(), std::vector<FieldChange>{{1, std::string("anders")}});
  TableSpec spec{"Neu", {{"Nr"}, {"Name", ColumnType::kText, 50}, {"Text", ColumnType::kMemo}}, {}};
  Fill(*database->CreateTable(spec), 0, 20);
  database->Commit();
}

// As a program would leave it that encodes its pages.
std::string Encoded(std::string bytes, std::uint32_t key) {
  const auto apply = [&](std::size_t at, std::size_t length, ByteView rc4_key) {
    Rc4(rc4_key).Apply({reinterpret_cast<std::uint8_t*>(bytes.data()) + at, length});
  };
  constexpr std::uint8_t kHeaderKey[] = {0xC7, 0xDA, 0x39, 0x6B};
  apply(0x18, 0x80, kHeaderKey);
  const auto put = [](std::uint32_t number) {
    Bytes out;
    AddU32(out, number);
    return out;
  };
  std::ranges::copy(put(key), bytes.begin() + 0x3E);
  apply(0x18, 0x80, kHeaderKey);
  for (std::uint32_t i = 1; i < bytes.size() / kPageSize; ++i) {
    apply(i * kPageSize, kPageSize, put(key ^ i));
  }
  return bytes;
}

struct Made {
  std::string before, after;
  OperationLog log;
};
Made MakeChange(const std::string& before) {
  FaultFiles files;
  files.bytes(kPath) = before;
  files.ClearFault();
  Change(files);
  return {before, files.bytes(kPath), files.log()};
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
  FaultFiles files;
  files.bytes(kPath) = bytes;
  return ContentOf(*Open(files, kPath, mode));
}

TEST(FlushTest, AFaultAnywhereLeavesTheStateBeforeOrAfter) {
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

TEST(FlushTest, AFlushThatWasRefusedCanBeRepeated) {
  const Made made = MakeChange(Base());
  int repeated = 0;
  for (std::uint64_t n = 1; n <= ThroughSync(made.log, kTailSync); ++n) {
    for (const std::uint64_t times : {1, 2, 4}) {
      FaultFiles files;
      files.bytes(kPath) = made.before;
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
        EXPECT_TRUE(files.bytes(kPath) == made.before) << "operation " << n;
      }
      // The second flush is smaller or larger than what the first left behind.
      if (times == 2) {
        database->Discard();
        database->AppendColumn("Orte", {"Z", ColumnType::kDouble});
      }
      if (times == 4)
        Fill(*database->CreateTable(
                 {"Neu",
                  {{"Nr"}, {"Name", ColumnType::kText, 50}, {"Text", ColumnType::kMemo}},
                  {}}),
             0, 20);
      const std::string left_behind = files.bytes(kPath);
      files.ClearFault();
      database->Commit();
      const std::string expected = ContentOf(*database);
      database.reset();
      EXPECT_EQ(Content(files.bytes(kPath), OpenMode::kExclusive), expected) << n << ' ' << times;
      // A kill in the middle of it is finished, whatever the first one left there.
      const OperationLog log = files.log();
      const std::string killed = AfterKill(left_behind, log, ThroughSync(log, kMarkSync) + 2);
      EXPECT_EQ(Content(killed, OpenMode::kExclusive), expected) << n << ' ' << times;
    }
  }
  EXPECT_GT(repeated, 20);
}

TEST(FlushTest, AMarkWithoutATailAllowsReadingOnly) {
  const Made made = MakeChange(Base());
  std::string image = AfterKill(made.before, made.log, ThroughSync(made.log, kMarkSync));
  image.resize(made.before.size());
  FaultFiles files;
  files.bytes(kPath) = image;
  EXPECT_EQ(ContentOf(*Open(files, kPath, OpenMode::kRead)), Content(made.before));
  EXPECT_EQ(CodeOf([&] { Open(files); }), ErrorCode::kNeedsRepair);
  EXPECT_EQ(files.bytes(kPath), image) << "not touched";
}

TEST(FlushTest, WorkOfAnotherProgramSinceTheKillStays) {
  const Made made = MakeChange(Base());
  const auto head = std::ranges::find(made.log, FileOperation::Kind::kWrite, &FileOperation::kind);
  const std::size_t tail_at = head->at;
  // A page that the flush would change: the first one behind the header.
  const auto mark =
      made.log.begin() + static_cast<std::ptrdiff_t>(ThroughSync(made.log, kMarkSync));
  const auto page = std::find_if(mark, made.log.end(), [](const auto& op) {
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
      {"inside the tail, before the mark", kTailSync, tail_at + 2 * kPageSize + 7, std::nullopt},
      {"inside the tail, after the mark", kMarkSync, tail_at + 2 * kPageSize + 7,
       ErrorCode::kNeedsRepair},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    std::string image = AfterKill(made.before, made.log, ThroughSync(made.log, c.syncs));
    image[c.foreign_at] = static_cast<char>(image[c.foreign_at] ^ 0x5A);
    FaultFiles files;
    files.bytes(kPath) = image;
    EXPECT_EQ(CodeOf([&] { Open(files); }), c.refused);
    const std::string& now = files.bytes(kPath);
    if (c.refused) {
      EXPECT_EQ(now, image);
    } else {
      EXPECT_GE(now.size(), made.before.size());
      EXPECT_LE(now.size(), tail_at);
      EXPECT_EQ(now, image.substr(0, now.size())) << "cut, and nothing else";
    }
  }
}

TEST(FlushTest, APageThatAnotherProgramTookInsideTheTailIsNotCutOff) {
  const Made made = MakeChange(Base());
  std::string image = AfterKill(made.before, made.log, ThroughSync(made.log, kTailSync));
  const auto head = std::ranges::find(made.log, FileOperation::Kind::kWrite, &FileOperation::kind);
  // What the other program does, which knows nothing of a tail.
  FaultFiles other;
  std::string padded = made.before;
  padded.resize(image.size());
  other.bytes(kPath) = padded;
  PageNumber taken;
  {
    Pager pager(other.Open(kPath, OpenMode::kExclusive), true, {}, FlushMode::kPlain);
    Scope scope(pager);
    taken = PageAllocator(pager).AllocateAbove({static_cast<std::uint32_t>(head->at / kPageSize)});
    std::ranges::fill(pager.Edit(taken), std::uint8_t{0xEE});
    scope.Commit();
    pager.Flush();
  }
  for (std::size_t at = 0; at < image.size(); at += kPageSize) {
    const std::string page = other.bytes(kPath).substr(at, kPageSize);
    if (page != padded.substr(at, kPageSize)) image.replace(at, kPageSize, page);
  }
  FaultFiles files;
  files.bytes(kPath) = image;
  const auto database = Open(files);
  const std::string& now = files.bytes(kPath);
  EXPECT_EQ(now.size(), (taken.value + std::size_t{1}) * kPageSize);
  EXPECT_EQ(now, image.substr(0, now.size()));
  EXPECT_EQ(ContentOf(*database), Content(made.before));
}

TEST(FlushTest, CommitSlotsThatAnotherProgramCountedUpStay) {
  const Made made = MakeChange(Base());
  std::string image = AfterKill(made.before, made.log, ThroughSync(made.log, kTailSync));
  image[kSlots] = 0x24;
  image[kSlots + 2] = 0x25;
  FaultFiles files;
  files.bytes(kPath) = image;
  EXPECT_EQ(ContentOf(*Open(files)), Content(made.after));
  EXPECT_EQ(files.bytes(kPath)[kSlots], 0x24);
  EXPECT_EQ(files.bytes(kPath)[kSlots + 2], 0x25);
}

TEST(FlushTest, ATailOnAReadOnlyFileIsLaidOverThePages) {
  const Made made = MakeChange(Base());
  const TempFolder folder;
  const std::string path = folder.File("only.mdb");
  const auto system_files = MakeSystemFiles();
  for (const int syncs : {kTailSync, kMarkSync}) {
    const std::string image = AfterKill(made.before, made.log, ThroughSync(made.log, syncs) + 3);
    test_support::WriteFileBytes(path, image);
    namespace fs = std::filesystem;
    fs::permissions(path, fs::perms::owner_read);
    fs::permissions(folder.path(), fs::perms::owner_read | fs::perms::owner_exec);
    EXPECT_EQ(ContentOf(*Open(*system_files, path, OpenMode::kRead)), Content(made.after));
    EXPECT_EQ(test_support::ReadFileBytes(path), image);
    fs::permissions(folder.path(), fs::perms::owner_all);
    fs::permissions(path, fs::perms::owner_all);
  }
}

TEST(FlushTest, TheSizeLimitLeavesTheOldFile) {
  const std::string base = Base();
  const TempFolder folder;
  const std::string path = folder.File("large.mdb");
  const auto files = MakeSystemFiles();
  test_support::WriteFileBytes(path, base);
  const std::uint64_t size = kMaxFileSize - 4 * kPageSize;
  std::filesystem::resize_file(path, size);  // a hole
  {
    const auto database = Open(*files, path);
    database->AppendColumn("Orte", {"Zahl", ColumnType::kDouble});
    EXPECT_EQ(CodeOf([&] { database->Commit(); }), ErrorCode::kFileTooLarge);
  }
  EXPECT_EQ(std::filesystem::file_size(path), size);
  std::filesystem::resize_file(path, base.size());
  EXPECT_EQ(test_support::ReadFileBytes(path), base);
}

TEST(FlushTest, AFullDiskLeavesTheOldFileByteForByte) {
  const Made made = MakeChange(Base());
  for (std::uint64_t n = 1; n <= made.log.size(); ++n) {
    FaultFiles files;
    files.bytes(kPath) = made.before;
    files.SetFault({Fault::Kind::kFull, n});
    const auto code = CodeOf([&] { Change(files); });
    if (n == 1) {
      EXPECT_EQ(code, ErrorCode::kDiskFull);
      EXPECT_EQ(files.bytes(kPath), made.before);
    } else {
      EXPECT_EQ(code, std::nullopt) << "all room was made sure of by the first operation: " << n;
    }
  }
}

}  // namespace
}  // namespace jet
