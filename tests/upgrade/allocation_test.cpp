// Memory that runs out at any moment of a ladder, and how much of it a ladder takes.
#include <gmock/gmock.h>
#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <new>

#include "ado/environment.h"
#include "jet/check/check.h"
#include "samples/sample.h"
#include "tests/support/fault_rounds.h"
#include "tests/support/temp_db.h"
#include "upgrade/ladders.h"

namespace {

// Allocations until one fails, or all from then on do; negative: none.
struct AllocationLimit {
  std::int64_t left = -1;
  bool lasting = false;
};
thread_local AllocationLimit limit;

// Bytes in use, of this thread.
thread_local std::int64_t in_use = 0, most_in_use = 0;

std::int64_t SizeOf(void* memory) noexcept {
  if (memory == nullptr) return 0;
#ifdef _WIN32
  return static_cast<std::int64_t>(::_msize(memory));
#else
  return static_cast<std::int64_t>(::malloc_usable_size(memory));
#endif
}

void* Allocate(std::size_t size) noexcept {
  if (limit.left == 0) {
    if (!limit.lasting) limit.left = -1;
    return nullptr;
  }
  if (limit.left > 0) --limit.left;
  void* memory = std::malloc(size != 0 ? size : 1);
  in_use += SizeOf(memory);
  most_in_use = std::max(most_in_use, in_use);
  return memory;
}

void Free(void* memory) noexcept {
  in_use -= SizeOf(memory);
  std::free(memory);
}

}  // namespace

// Not inlined: the compiler would see malloc() meet delete. Every form, as a
// sanitizer brings its own of those that are missing.
[[gnu::noinline]] void* operator new(std::size_t size) {
  if (void* memory = Allocate(size)) return memory;
  throw std::bad_alloc();
}
[[gnu::noinline]] void* operator new[](std::size_t size) { return operator new(size); }
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return Allocate(size);
}
[[gnu::noinline]] void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
  return Allocate(size);
}
[[gnu::noinline]] void operator delete(void* memory) noexcept { Free(memory); }
[[gnu::noinline]] void operator delete[](void* memory) noexcept { Free(memory); }
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept { Free(memory); }
[[gnu::noinline]] void operator delete[](void* memory, std::size_t) noexcept { Free(memory); }

namespace {

using db::Kind;
using test_support::FaultFiles;
using test_support::FaultRounds;

// How a ladder ended.
struct Ending {
  bool saving = false, done = false;
  std::int64_t allocations = 0, before_saving = 0;
};

// Allocation number `fails_at` fails, and all after it if `lasting`.
Ending RunLadder(jet::FileSystem& files, Kind kind, std::int64_t fails_at, bool lasting) {
  Ending ending;
  limit = {fails_at, lasting};
  try {
    ado::Environment environment(files, [] { return jet::ToDateTime({2012, 2, 3}); });
    ado::Environment::Action action(environment);
    db::FileSession session(environment, kind, FaultRounds::kPath, db::kDatabasePassword);
    session.Open();
    upgrade::RunLadder(session, upgrade::LatestVersion(kind));
    ending.saving = true;
    ending.before_saving = fails_at - limit.left;
    action.Commit();
    ending.done = true;
  } catch (const std::bad_alloc&) {
  }
  ending.allocations = fails_at - limit.left;
  limit = {};
  return ending;
}
constexpr std::int64_t kNever = std::numeric_limits<std::int64_t>::max();

class AllocationTest : public testing::TestWithParam<Kind> {};

TEST_P(AllocationTest, AFailureLeavesTheStateBeforeOrAfter) {
  const Kind kind = GetParam();
  FaultFiles made;
  samples::SampleOptions options;
  options.jobs = 1;
  samples::MakeSample(made, FaultRounds::kPath, kind, options);

  FaultRounds::Plan plan;
  plan.name = std::string(db::NameOf(kind));
  plan.before = made.bytes(FaultRounds::kPath);
  plan.password = db::kDatabasePassword;
  plan.action = [&](jet::FileSystem& files) { RunLadder(files, kind, kNever, false); };
  plan.recovery_stride = 10'000;
  FaultRounds rounds(plan);

  FaultFiles counted;
  counted.bytes(FaultRounds::kPath) = plan.before;
  const Ending whole = RunLadder(counted, kind, kNever, false);
  ASSERT_TRUE(whole.done);

  constexpr std::int64_t kEach = 2000, kLongStep = 997;
  const auto stride = static_cast<std::int64_t>(test_support::FaultStride(3));
  std::int64_t while_saving = 0, done = 0;
  for (std::int64_t n = 0; n < whole.allocations;) {
    for (const bool lasting : {false, true}) {
      FaultFiles files;
      files.bytes(FaultRounds::kPath) = plan.before;
      const Ending ending = RunLadder(files, kind, n, lasting);
      const std::string what = "allocation " + std::to_string(n) + (lasting ? " and on" : "");
      if (!ending.saving) {
        EXPECT_TRUE(files.bytes(FaultRounds::kPath) == plan.before)
            << what << ": internal faults never commit";
      }
      files.ClearFault();
      const auto state = rounds.Judge(files.bytes(FaultRounds::kPath), what);
      if (ending.done) {
        EXPECT_EQ(state, FaultRounds::State::kAfter) << what;
      }
      while_saving += ending.saving ? 1 : 0;
      done += ending.done ? 1 : 0;
    }
    const bool each = n < kEach || n >= whole.before_saving;
    n = each ? n + stride : std::min(n + stride * kLongStep, whole.before_saving);
  }
  EXPECT_GT(while_saving, 0);
  std::printf("%s ladder: %lld allocations, %llu rounds, %lld of them while saving, %lld done\n",
              plan.name.c_str(), static_cast<long long>(whole.allocations),
              static_cast<unsigned long long>(rounds.rounds()),
              static_cast<long long>(while_saving), static_cast<long long>(done));
}

// The most bytes that `action` had in use at a time.
template <typename Action>
std::int64_t MostBytes(Action&& action) {
  const std::int64_t before = most_in_use = in_use;
  action();
  return most_in_use - before;
}

constexpr std::size_t kSmallCache = std::size_t{512} << 10;

// A sample with `rows` rows of job data in a table of their own, two on a page.
void MakeLargeSample(jet::FileSystem& files, const std::string& path, Kind kind, int rows) {
  samples::SampleOptions options;
  options.jobs = 1;
  samples::MakeSample(files, path, kind, options);
  jet::OpenOptions open{.mode = jet::OpenMode::kExclusive, .password = options.password};
  const auto database = jet::Database::Open(files, path, open);
  jet::TableSpec jobs{"工事台帳", {{"Nr"}}, {}};
  std::vector<jet::Value> row{std::int32_t{0}};
  for (const char* name : {"A", "B", "C"}) {
    jobs.columns.push_back({name, jet::ColumnType::kText, 255});
    row.emplace_back(std::string(250, 'x'));
  }
  jobs.indexes.push_back({"PK", {"Nr"}, {}, true, true});
  const auto table = database->CreateTable(jobs);
  for (int i = 0; i < rows; ++i) {
    row[0] = std::int32_t{i};
    table->Insert(row);
    if (i % 1000 == 999) database->Commit();
  }
  database->Commit();
}

struct Most {
  std::int64_t pages = 0, ladder = 0, check = 0;
};

Most MeasureLargeSample(Kind kind, int rows) {
  const auto files = jet::MakeSystemFiles();
  const test_support::TempFolder folder;
  const std::string path = folder.File("Data.mdb");
  const std::string password(db::kDatabasePassword);
  MakeLargeSample(*files, path, kind, rows);
  Most most;
  most.pages = static_cast<std::int64_t>(std::filesystem::file_size(path) / jet::kPageSize);
  most.ladder = MostBytes([&] {
    ado::Environment environment(*files, {}, kSmallCache);
    ado::Environment::Action action(environment);
    db::FileSession session(environment, kind, path, password);
    session.Open();
    upgrade::RunLadder(session, upgrade::LatestVersion(kind));
    action.Commit();
  });
  most.check = MostBytes([&] {
    jet::CheckFile(*files, path, {.password = password, .limits = {.clean_bytes = kSmallCache}});
  });
  std::printf("%d rows of job data: %lld pages; at most %lld bytes in the ladder, %lld in check\n",
              rows, static_cast<long long>(most.pages), static_cast<long long>(most.ladder),
              static_cast<long long>(most.check));
  return most;
}

TEST_P(AllocationTest, JobDataTakeNoMemory) {
  const char* rows = std::getenv("MEMORY_ROWS");
  const Most few = MeasureLargeSample(GetParam(), 400);
  const Most many = MeasureLargeSample(GetParam(), rows != nullptr ? std::atoi(rows) : 6000);
  const std::int64_t more_pages = many.pages - few.pages;
  ASSERT_GT(more_pages * static_cast<std::int64_t>(jet::kPageSize),
            16 * static_cast<std::int64_t>(kSmallCache));
  // The checker notes the owner of each page.
  EXPECT_LT(many.ladder - few.ladder, more_pages * 8);
  EXPECT_LT(many.check - few.check, more_pages * 32);
}

INSTANTIATE_TEST_SUITE_P(Ladders, AllocationTest, testing::Values(Kind::kData, Kind::kTenkai),
                         [](const auto& info) { return std::string(db::NameOf(info.param)); });

}  // namespace
