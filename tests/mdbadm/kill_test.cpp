// The real program, killed at random moments of an upgrade and of a compaction.
#include <gmock/gmock.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <functional>
#include <random>
#include <set>

#include "db/kind.h"
#include "jet/check/check.h"
#include "tests/mdbadm/program.h"
#include "tests/support/content.h"
#include "tests/support/process.h"
#include "tests/support/temp_db.h"

namespace {

using Microseconds = std::chrono::microseconds;

std::uint64_t Setting(const char* variable, std::uint64_t otherwise) {
  const char* text = std::getenv(variable);
  return text != nullptr ? std::strtoull(text, nullptr, 10) : otherwise;
}

// The exit status; nothing if it was killed.
std::optional<int> RunProgram(const std::vector<std::string>& arguments, Microseconds limit) {
  return test_support::RunProcess(PROGRAM_FOLDER "/mdbadm", arguments, limit).status;
}

constexpr Microseconds kLong = std::chrono::minutes(10);

// To its end; how long that took.
Microseconds TimeOf(const std::vector<std::string>& arguments) {
  const auto began = std::chrono::steady_clock::now();
  EXPECT_EQ(RunProgram(arguments, kLong), 0);
  return std::chrono::duration_cast<Microseconds>(std::chrono::steady_clock::now() - began);
}

enum class State { kBefore, kAfter, kNeither };

class KillTest : public testing::Test {
 protected:
  std::unique_ptr<jet::Database> Open(jet::OpenMode mode) {
    return jet::Database::Open(*files_, path_,
                               {.mode = mode, .password = std::string(db::kDatabasePassword)});
  }
  std::string Content() { return test_support::ContentOf(*Open(jet::OpenMode::kRead)); }
  void ExpectSound() {
    const jet::CheckResult result = jet::CheckFile(*files_, path_, {});
    for (const jet::Finding& finding : result.findings) {
      if (finding.severity == jet::Finding::Severity::kProblem) {
        ADD_FAILURE() << jet::FormatFinding(finding);
      }
    }
  }

  // Looks into the file unless its bytes are known but for the dates of objects,
  // which say when an upgrade ran.
  State StateOfFile() {
    if (IsUntouched()) return State::kBefore;
    const auto differences = Differences(after_bytes_);
    const auto is_date = [&](std::size_t at) { return dates_.contains(at); };
    if (differences && std::ranges::all_of(*differences, is_date)) return State::kAfter;
    ++looked_into_;
    ExpectSound();
    const std::string content = Content();
    if (content == before_) return State::kBefore;
    if (content != after_) return State::kNeither;
    if (differences) LearnDates(*differences);
    return State::kAfter;
  }
  // Where every byte is known.
  State ExactState() {
    if (IsUntouched()) return State::kBefore;
    const auto differences = Differences(after_bytes_);
    return differences && differences->empty() ? State::kAfter : State::kNeither;
  }
  bool IsUntouched() {
    const auto differences = Differences(before_bytes_);
    return differences && differences->empty();
  }
  void LearnDates(const std::vector<std::size_t>& differences) {
    for (const std::size_t at : differences) {
      for (std::size_t near = at - std::min<std::size_t>(at, 7); near < at + 8; ++near) {
        dates_.insert(near);
      }
    }
  }

  // Where the file is not as `bytes`; nothing if their lengths differ, or too much
  // else does.
  std::optional<std::vector<std::size_t>> Differences(const std::string& bytes) {
    constexpr std::size_t kMany = 10'000;
    const auto file = files_->Open(path_, jet::OpenMode::kRead);
    if (file->Size() != bytes.size()) return std::nullopt;
    std::vector<std::size_t> found;
    EachDifferentBlock(*file, bytes, [&](std::size_t at, std::string_view block) {
      for (std::size_t i = 0; i < block.size() && found.size() <= kMany; ++i) {
        if (block[i] != bytes[at + i]) found.push_back(at + i);
      }
    });
    if (found.size() > kMany) return std::nullopt;
    return found;
  }
  void PutBack() {
    const auto file = files_->Open(path_, jet::OpenMode::kExclusive);
    file->Truncate(before_bytes_.size());
    EachDifferentBlock(*file, before_bytes_, [&](std::size_t at, std::string_view block) {
      file->Write(at,
                  {reinterpret_cast<const std::uint8_t*>(before_bytes_.data()) + at, block.size()});
    });
  }
  // The file is as long as `bytes`.
  template <typename Visit>
  static void EachDifferentBlock(jet::File& file, const std::string& bytes, Visit visit) {
    std::string block(std::size_t{64} << 10, '\0');
    for (std::size_t at = 0; at < bytes.size(); at += block.size()) {
      block.resize(std::min(block.size(), bytes.size() - at));
      file.Read(at, {reinterpret_cast<std::uint8_t*>(block.data()), block.size()});
      if (bytes.compare(at, block.size(), block) != 0) visit(at, block);
    }
  }

  // The command again and again, killed at some moment, and then to its end.
  // `whole`: how long it takes. `state` looks into what is left of the file.
  void KillAgainAndAgain(const std::vector<std::string>& command, Microseconds whole,
                         const std::function<State()>& state) {
    std::mt19937_64 random(seed_);
    std::uint64_t rounds = 0, killed = 0, left_before = 0, other_bytes = 0;
    // Some end before their moment comes.
    for (; killed < kills_ && rounds < 10 * kills_ && !HasFailure(); ++rounds) {
      SCOPED_TRACE("seed " + std::to_string(seed_) + ", round " + std::to_string(rounds));
      PutBack();
      const Microseconds moment(
          static_cast<std::int64_t>(random() % static_cast<std::uint64_t>(whole.count() * 5 / 4)));
      if (!RunProgram(command, moment)) ++killed;
      other_bytes += IsUntouched() ? 0 : 1;
      const State left = state();
      EXPECT_NE(left, State::kNeither);
      left_before += left == State::kBefore ? 1 : 0;
      EXPECT_EQ(RunProgram(command, kLong), 0) << "the next one";
      EXPECT_EQ(state(), State::kAfter);
    }
    EXPECT_EQ(killed, kills_);
    std::printf(
        "%llu rounds of %s jobs, seed %llu: %llu killed, %llu found as before, %llu with other "
        "bytes; %llu files looked into\n",
        static_cast<unsigned long long>(rounds), jobs_.c_str(),
        static_cast<unsigned long long>(seed_), static_cast<unsigned long long>(killed),
        static_cast<unsigned long long>(left_before), static_cast<unsigned long long>(other_bytes),
        static_cast<unsigned long long>(looked_into_));
  }

  std::uint64_t kills_ = Setting("KILL_ROUNDS", 12);
  std::string jobs_ = std::to_string(Setting("KILL_JOBS", 100));
  std::uint64_t seed_ = Setting("KILL_SEED", std::random_device()());

  test_support::TempFolder folder_;
  std::string path_ = folder_.File("Data.mdb");
  std::unique_ptr<jet::FileSystem> files_ = jet::MakeSystemFiles();
  std::string before_, after_, before_bytes_, after_bytes_;
  std::set<std::size_t> dates_;  // places of bytes
  std::uint64_t looked_into_ = 0;
};

TEST_F(KillTest, AnUpgradeThatIsKilledHasHappenedOrNotAndTheNextOneFinishes) {
  ASSERT_EQ(RunProgram({"sample", folder_.path(), "--data", "2", "--jobs", jobs_}, kLong), 0);
  before_bytes_ = test_support::ReadFileBytes(path_);
  before_ = Content();
  const Microseconds whole = TimeOf({"upgrade", path_});
  after_bytes_ = test_support::ReadFileBytes(path_);
  after_ = Content();
  ExpectSound();
  ASSERT_NE(before_, after_);
  KillAgainAndAgain({"upgrade", path_}, whole, [this] { return StateOfFile(); });
}

TEST_F(KillTest, ACompactionInPlaceThatIsKilledHasHappenedOrNotAndTheNextOneFinishes) {
  ASSERT_EQ(RunProgram({"sample", folder_.path(), "--data", "2", "--jobs", jobs_}, kLong), 0);
  test_support::MakeHoles(path_);
  before_bytes_ = test_support::ReadFileBytes(path_);
  before_ = Content();
  const std::vector<std::string> command{"compact", path_, "--in-place"};
  const Microseconds whole = TimeOf(command);
  after_bytes_ = test_support::ReadFileBytes(path_);
  ExpectSound();
  ASSERT_LT(after_bytes_.size(), before_bytes_.size());
  ASSERT_EQ(Content(), before_);
  KillAgainAndAgain(command, whole, [this] { return ExactState(); });
}

}  // namespace
