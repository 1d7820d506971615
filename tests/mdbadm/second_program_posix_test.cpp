// Two programs and one file: the second is refused at once.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/file.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <stdexcept>

#include "tests/mdbadm/program.h"

namespace {

using test_support::MdbAdm;
using test_support::MdbAdmOut;
using test_support::Outcome;
using testing::HasSubstr;

// The maintenance program, stopped while it holds the file of an upgrade.
class StoppedUpgrade {
 public:
  explicit StoppedUpgrade(const std::string& path) {
    // An upgrade may end before it could be stopped: the file is put back then.
    const std::string bytes = test_support::ReadFileBytes(path);
    while (child_ == 0) {
      test_support::WriteFileBytes(path, bytes);
      Start(path);
      if (StopOnceLocked(path)) return;
      child_ = 0;
    }
  }
  ~StoppedUpgrade() { Kill(); }
  StoppedUpgrade(const StoppedUpgrade&) = delete;
  StoppedUpgrade& operator=(const StoppedUpgrade&) = delete;

  void Kill() {
    if (child_ == 0) return;
    ::kill(child_, SIGKILL);
    ::waitpid(child_, nullptr, 0);
    child_ = 0;
  }

 private:
  void Start(const std::string& path) {
    child_ = ::fork();
    if (child_ < 0) throw std::runtime_error("no process");
    if (child_ != 0) return;
    ::dup2(::open("/dev/null", O_WRONLY), STDOUT_FILENO);
    ::execl(PROGRAM_FOLDER "/mdbadm", "mdbadm", "upgrade", path.c_str(), nullptr);
    ::_exit(127);
  }

  bool StopOnceLocked(const std::string& path) {
    const int fd = ::open(path.c_str(), O_RDWR | O_CLOEXEC);
    bool stopped = false;
    while (!stopped && ::waitpid(child_, nullptr, WNOHANG) == 0) {
      if (!IsLocked(fd)) continue;
      ::kill(child_, SIGSTOP);
      int status = 0;
      ::waitpid(child_, &status, WUNTRACED);
      if (!WIFSTOPPED(status)) break;  // it had ended
      stopped = IsLocked(fd);
      if (!stopped) Kill();
    }
    ::close(fd);
    return stopped;
  }

  static bool IsLocked(int fd) {
    struct flock range {};
    range.l_type = F_WRLCK;
    range.l_whence = SEEK_SET;
    return ::fcntl(fd, F_OFD_GETLK, &range) == 0 && range.l_type != F_UNLCK;
  }

  pid_t child_ = 0;
};

class SecondProgramTest : public testing::Test {
 protected:
  void SetUp() override { MdbAdmOut({"sample", folder_.path(), "--data", "2", "--jobs", "50"}); }

  void ExpectInUse(const std::string& named) {
    for (const char* verb : {"upgrade", "info", "check", "english"}) {
      const Outcome outcome = MdbAdm({verb, path_});
      EXPECT_EQ(outcome.status, 4) << verb;
      EXPECT_THAT(outcome.err, HasSubstr(named)) << verb;
      EXPECT_THAT(outcome.err, testing::AnyOf(HasSubstr("in use"), HasSubstr("使用中"))) << verb;
    }
  }

  test_support::TempFolder folder_;
  std::string path_ = folder_.File("Data.mdb");
};

TEST_F(SecondProgramTest, TheMiddleOfAnUpgradeKeepsOthersOutAndAKilledOneDoesNot) {
  const std::string before = test_support::ReadFileBytes(path_);
  {
    StoppedUpgrade first(path_);
    ExpectInUse(path_);
    first.Kill();
  }
  EXPECT_EQ(MdbAdm({"info", path_}).status, 0);
  EXPECT_EQ(MdbAdm({"upgrade", path_}).status, 0);
  EXPECT_EQ(MdbAdm({"check", path_}).status, 0);
  EXPECT_NE(test_support::ReadFileBytes(path_), before);
}

TEST_F(SecondProgramTest, ALockFileKeepsUsOutWhileItIsHeldAndIsMentionedAfterwards) {
  const std::string lock_file = folder_.File("Data.LDB");
  const int fd = ::open(lock_file.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
  struct flock user {};  // the bytes that the first user of a database locks
  user.l_type = F_WRLCK;
  user.l_whence = SEEK_SET;
  user.l_start = 0x10000001;
  user.l_len = 1;
  ASSERT_EQ(::fcntl(fd, F_OFD_SETLK, &user), 0);
  const std::string before = test_support::ReadFileBytes(path_);
  ExpectInUse(lock_file);
  EXPECT_EQ(test_support::ReadFileBytes(path_), before);
  ::close(fd);
  for (const char* verb : {"info", "upgrade"}) {
    const Outcome outcome = MdbAdm({verb, path_});
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    EXPECT_THAT(outcome.err, HasSubstr("warning: " + lock_file)) << verb;
  }
  const Outcome json = MdbAdm({"info", path_, "--json"});
  EXPECT_EQ(nlohmann::json::parse(json.err)["file"], lock_file);
  std::filesystem::remove(lock_file);
  EXPECT_EQ(MdbAdm({"info", path_}).err, "");
}

}  // namespace
