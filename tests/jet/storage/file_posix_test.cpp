#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>

#include "jet/base/error.h"
#include "jet/storage/file.h"
#include "tests/support/temp_db.h"

namespace jet {
namespace {

using namespace test_support;
namespace fs = std::filesystem;
using testing::HasSubstr;

// Another program's hold on a file.
class Held {
 public:
  enum class By { kNothing, kRange, kWholeFile, kShared };
  Held(const std::string& path, By by, bool may = true)
      : fd_(::open(path.c_str(), O_RDWR | O_CREAT, 0600)) {
    struct flock range {};
    range.l_type = F_WRLCK;
    range.l_whence = SEEK_SET;
    range.l_start = 0x10000001;
    range.l_len = 1;
    int failure = fd_ < 0 ? -1 : 0;
    if (by == By::kRange) failure = ::fcntl(fd_, F_OFD_SETLK, &range);
    if (by == By::kWholeFile) failure = ::flock(fd_, LOCK_EX | LOCK_NB);
    if (by == By::kShared) failure = ::flock(fd_, LOCK_SH | LOCK_NB);
    EXPECT_EQ(failure == 0, may) << path;
  }
  ~Held() { ::close(fd_); }

 private:
  int fd_;
};

class PosixFileTest : public testing::Test {
 protected:
  void SetUp() override { WriteFileBytes(path_, std::string(kPageSize, 'x')); }
  // What an opening ends with, in words; empty if it ends well.
  std::string Refusal(OpenMode mode) {
    try {
      files_->Open(path_, mode);
    } catch (const Error& error) {
      EXPECT_EQ(error.code(), ErrorCode::kInUse);
      return error.what();
    }
    return {};
  }

  TempFolder folder_;
  std::string path_ = folder_.File("展開Data.mdb");
  std::unique_ptr<FileSystem> files_ = MakeSystemFiles();
};

TEST_F(PosixFileTest, AWriteThatIsCutShortGoesOnWhereItEnded) {
  const auto file = files_->Open(path_, OpenMode::kExclusive);
  struct rlimit before {};
  ASSERT_EQ(::getrlimit(RLIMIT_FSIZE, &before), 0);
  struct rlimit limit = before;
  limit.rlim_cur = 6000;
  const auto handler = std::signal(SIGXFSZ, SIG_IGN);
  ::setrlimit(RLIMIT_FSIZE, &limit);
  const auto code = CodeOf([&] { file->Write(kPageSize, Bytes(kPageSize)); });
  ::setrlimit(RLIMIT_FSIZE, &before);
  std::signal(SIGXFSZ, handler);
  EXPECT_EQ(code, ErrorCode::kFileTooLarge);
  EXPECT_EQ(file->Size(), 6000U);
}

TEST_F(PosixFileTest, AHeldLockFileIsNamedAndAnIdleOneIsNot) {
  for (const char* name : {"展開Data.ldb", "展開Data.LDB", "展開DATA.Ldb"}) {
    SCOPED_TRACE(name);
    const std::string lock_file = folder_.File(name);
    for (const auto by : {Held::By::kNothing, Held::By::kRange, Held::By::kWholeFile}) {
      const Held held(lock_file, by);
      for (const OpenMode mode : {OpenMode::kExclusive, OpenMode::kRead}) {
        const std::string refusal = Refusal(mode);
        if (by == Held::By::kNothing) {
          EXPECT_EQ(refusal, "");
        } else {
          EXPECT_THAT(refusal, HasSubstr(lock_file));
        }
      }
    }
    fs::remove(lock_file);
  }
  // The lock file of another database.
  const Held other(folder_.File("Data.ldb"), Held::By::kRange);
  EXPECT_EQ(Refusal(OpenMode::kExclusive), "");
}

TEST_F(PosixFileTest, AProgramThatHoldsTheFileKeepsUsOutAndOneThatDiedDoesNot) {
  for (const auto by : {Held::By::kRange, Held::By::kWholeFile}) {
    const Held held(path_, by);
    EXPECT_THAT(Refusal(OpenMode::kExclusive), HasSubstr(path_));
    EXPECT_THAT(Refusal(OpenMode::kRead), HasSubstr(path_));
  }
  int ready[2];
  ASSERT_EQ(::pipe(ready), 0);
  const pid_t child = ::fork();
  if (child == 0) {
    const auto file = files_->Open(path_, OpenMode::kExclusive);
    if (::write(ready[1], "!", 1) == 1) ::pause();
    ::_exit(1);
  }
  char byte = 0;
  ASSERT_EQ(::read(ready[0], &byte, 1), 1);
  EXPECT_THAT(Refusal(OpenMode::kExclusive), HasSubstr(path_));
  ::kill(child, SIGKILL);
  ::waitpid(child, nullptr, 0);
  EXPECT_EQ(Refusal(OpenMode::kExclusive), "");
  ::close(ready[0]);
  ::close(ready[1]);
}

TEST_F(PosixFileTest, ReadersShareAFileThatIsReadOnly) {
  fs::permissions(path_, fs::perms::owner_read);
  fs::permissions(folder_.path(), fs::perms::owner_read | fs::perms::owner_exec);
  const auto one = files_->Open(path_, OpenMode::kRead);
  EXPECT_EQ(Refusal(OpenMode::kRead), "");
  if (::geteuid() != 0) {
    EXPECT_EQ(CodeOf([&] { files_->Open(path_, OpenMode::kExclusive); }), ErrorCode::kNoPermission);
  } else {
    EXPECT_THAT(Refusal(OpenMode::kExclusive), HasSubstr("in use"));
  }
  fs::permissions(folder_.path(), fs::perms::owner_all);
}

TEST_F(PosixFileTest, AReaderKeepsOutWritersAndNoOtherReader) {
  const std::string lock_file = folder_.File("展開Data.ldb");
  const Held look(lock_file, Held::By::kShared);  // as a reader takes at a lock file
  EXPECT_EQ(Refusal(OpenMode::kRead), "");
  EXPECT_THAT(Refusal(OpenMode::kExclusive), HasSubstr(lock_file));
  const auto reader = files_->Open(path_, OpenMode::kRead);
  for (const auto by : {Held::By::kRange, Held::By::kWholeFile}) Held(path_, by, false);
}

TEST_F(PosixFileTest, BackslashIsPartOfAName) {
  const std::string one = folder_.File("a\\b.mdb");
  fs::create_directory(folder_.File("a"));
  WriteFileBytes(folder_.File("a/b.mdb"), "xx");
  WriteFileBytes(one, "x");
  EXPECT_EQ(files_->Open(one, OpenMode::kRead)->Size(), 1U);
  EXPECT_NE(files_->Identify(one), files_->Identify(folder_.File("a/b.mdb")));
}

}  // namespace
}  // namespace jet
