// The real program, killed at random moments of an upgrade.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <random>

#include "db/module1.h"
#include "jet/check.h"
#include "tests/support/content.h"
#include "tests/support/temp_db.h"

namespace {

using Microseconds = std::chrono::microseconds;

std::uint64_t Setting(const char* variable, std::uint64_t otherwise) {
  const char* text = std::getenv(variable);
  return text != nullptr ? std::strtoull(text, nullptr, 10) : otherwise;
}

// Runs the program and kills it if it takes longer than `limit`. The exit
// status; nothing if it was killed.
std::optional<int> RunProgram(std::vector<std::string> arguments, Microseconds limit) {
  int alive[2];  // the read end sees the end of the child
  if (::pipe2(alive, O_CLOEXEC) != 0) throw std::runtime_error("no pipe");
  arguments.insert(arguments.begin(), PROGRAM_FOLDER "/mdbadm");
  std::vector<char*> argv;
  for (std::string& argument : arguments) argv.push_back(argument.data());
  argv.push_back(nullptr);
  const pid_t child = ::fork();
  if (child == 0) {
    const int nowhere = ::open("/dev/null", O_WRONLY);
    ::dup2(nowhere, STDOUT_FILENO);
    ::fcntl(alive[1], F_SETFD, 0);
    ::execv(argv[0], argv.data());
    ::_exit(127);
  }
  ::close(alive[1]);
  pollfd end{alive[0], POLLIN, 0};
  const timespec wait{static_cast<time_t>(limit.count() / 1'000'000),
                      static_cast<long>(limit.count() % 1'000'000 * 1000)};
  if (::ppoll(&end, 1, &wait, nullptr) == 0) ::kill(child, SIGKILL);
  int status = 0;
  ::waitpid(child, &status, 0);
  ::close(alive[0]);
  if (WIFSIGNALED(status)) return std::nullopt;
  return WEXITSTATUS(status);
}

constexpr Microseconds kLong = std::chrono::minutes(10);

class KillTest : public testing::Test {
 protected:
  std::unique_ptr<jet::Database> Open(jet::OpenMode mode) {
    return jet::Database::Open(*files_, path_,
                               {.mode = mode, .password = std::string(db::kDatabasePassword)});
  }
  std::string Content() { return test_support::ContentOf(*Open(jet::OpenMode::kRead)); }
  void ExpectSound() {
    const auto database = Open(jet::OpenMode::kRead);
    for (const jet::Finding& finding : jet::Check(*database).findings) {
      if (finding.severity == jet::Finding::Severity::kProblem) {
        ADD_FAILURE() << jet::FormatFinding(finding);
      }
    }
  }

  test_support::TempFolder folder_;
  std::string path_ = folder_.File("Data.mdb");
  std::unique_ptr<jet::FileSystem> files_ = jet::MakeSystemFiles();
};

TEST_F(KillTest, AnUpgradeThatIsKilledHasHappenedOrNotAndTheNextOneFinishes) {
  const std::uint64_t rounds = Setting("KILL_ROUNDS", 12);
  const std::uint64_t seed = Setting("KILL_SEED", std::random_device()());
  const std::string jobs = std::to_string(Setting("KILL_JOBS", 100));
  ASSERT_EQ(RunProgram({"sample", folder_.path(), "--data", "2", "--jobs", jobs}, kLong), 0);
  const std::string bytes = test_support::ReadFileBytes(path_);
  const std::string before = Content();
  const auto began = std::chrono::steady_clock::now();
  ASSERT_EQ(RunProgram({"upgrade", path_}, kLong), 0);
  const auto whole =
      std::chrono::duration_cast<Microseconds>(std::chrono::steady_clock::now() - began);
  const std::string after = Content();
  ASSERT_NE(before, after);

  std::mt19937_64 random(seed);
  std::uint64_t killed = 0, left_before = 0, with_tail = 0;
  for (std::uint64_t round = 0; round < rounds; ++round) {
    SCOPED_TRACE("seed " + std::to_string(seed) + ", round " + std::to_string(round));
    test_support::WriteFileBytes(path_, bytes);
    const Microseconds moment(
        static_cast<std::int64_t>(random() % static_cast<std::uint64_t>(whole.count() * 5 / 4)));
    if (!RunProgram({"upgrade", path_}, moment)) ++killed;
    with_tail += test_support::ReadFileBytes(path_) != bytes ? 1 : 0;
    const std::string content = Content();
    EXPECT_TRUE(content == before || content == after);
    left_before += content == before ? 1 : 0;
    ExpectSound();
    EXPECT_EQ(RunProgram({"upgrade", path_}, kLong), 0) << "the next one";
    EXPECT_TRUE(Content() == after);
    ExpectSound();
  }
  std::printf(
      "%llu rounds of %s jobs, seed %llu: %llu killed, %llu found as before, %llu with other "
      "bytes\n",
      static_cast<unsigned long long>(rounds), jobs.c_str(), static_cast<unsigned long long>(seed),
      static_cast<unsigned long long>(killed), static_cast<unsigned long long>(left_before),
      static_cast<unsigned long long>(with_tail));
}

}  // namespace
