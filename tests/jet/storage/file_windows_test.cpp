#include <gmock/gmock.h>
#include <windows.h>

#include "jet/base/error.h"
#include "jet/base/wide_text.h"
#include "jet/storage/file.h"
#include "tests/support/temp_db.h"

namespace jet {
namespace {

using test_support::CodeOf;
using testing::HasSubstr;

// Another program's hold on a file.
class Held {
 public:
  Held(const std::string& path, DWORD share)
      : handle_(::CreateFileW(ToWide(path).c_str(), GENERIC_READ | GENERIC_WRITE, share, nullptr,
                              OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr)) {
    EXPECT_NE(handle_, INVALID_HANDLE_VALUE) << path;
  }
  ~Held() { ::CloseHandle(handle_); }
  Held(const Held&) = delete;
  Held& operator=(const Held&) = delete;

 private:
  HANDLE handle_;
};

class WindowsFileTest : public testing::Test {
 protected:
  WindowsFileTest() { test_support::WriteFileBytes(path_, std::string(kPageSize, 'x')); }
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

  test_support::TempFolder folder_;
  std::string path_ = folder_.File("展開Data.mdb");
  std::unique_ptr<FileSystem> files_ = MakeSystemFiles();
};

TEST_F(WindowsFileTest, AHeldLockFileIsNamedAndAnIdleOneIsNot) {
  constexpr DWORD kAll = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
  const std::string lock_file = folder_.File("展開data.LDB");
  for (const OpenMode mode : {OpenMode::kExclusive, OpenMode::kRead}) {
    {
      const Held held(lock_file, kAll);
      EXPECT_THAT(Refusal(mode), HasSubstr("展開Data.ldb"));
      EXPECT_EQ(files_->IdleLockFile(path_), std::nullopt);
    }
    EXPECT_EQ(Refusal(mode), "");
    EXPECT_THAT(files_->IdleLockFile(path_).value_or(""), HasSubstr("展開Data.ldb"));
  }
  const Held other(folder_.File("Data.ldb"), kAll);  // of another database
  EXPECT_EQ(Refusal(OpenMode::kExclusive), "");
}

TEST_F(WindowsFileTest, AProgramThatHasTheFileOpenToWriteKeepsUsOut) {
  for (const DWORD share : {DWORD{0}, DWORD{FILE_SHARE_READ | FILE_SHARE_WRITE}}) {
    const Held held(path_, share);
    EXPECT_THAT(Refusal(OpenMode::kExclusive), HasSubstr("展開Data.mdb"));
    EXPECT_THAT(Refusal(OpenMode::kRead), HasSubstr("展開Data.mdb"));
  }
}

TEST_F(WindowsFileTest, AReadOnlyFileIsReadAndNotOpenedToWrite) {
  ASSERT_NE(::SetFileAttributesW(ToWide(path_).c_str(), FILE_ATTRIBUTE_READONLY), 0);
  EXPECT_EQ(Refusal(OpenMode::kRead), "");
  const HANDLE written = ::CreateFileW(ToWide(path_).c_str(), GENERIC_WRITE, 0, nullptr,
                                       OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
  const bool may_write = written != INVALID_HANDLE_VALUE;
  if (may_write) {
    ::CloseHandle(written);
  } else {
    EXPECT_EQ(CodeOf([&] { files_->Open(path_, OpenMode::kExclusive); }), ErrorCode::kNoPermission);
  }
  ::SetFileAttributesW(ToWide(path_).c_str(), FILE_ATTRIBUTE_NORMAL);
  if (may_write) GTEST_SKIP() << "this user may write to what is read-only, as root under wine";
}

TEST_F(WindowsFileTest, PathsBeyondTheOldLimitAreOpened) {
  std::string folder = NormalisePath(folder_.path());
  for (int i = 0; i < 8; ++i) {
    folder += "\\とても長い名前のフォルダーとても長い名前のフォルダー";
    ASSERT_NE(::CreateDirectoryW(ToWide("\\\\?\\" + folder).c_str(), nullptr), 0) << folder;
  }
  const std::string path = folder + "\\\\Data.mdb";
  files_->Create(path)->Write(0, Bytes{1});
  EXPECT_EQ(files_->Open(path, OpenMode::kRead)->Size(), 1U);
  files_->Remove(path);
}

TEST_F(WindowsFileTest, LetterCaseLeadsToTheSameFile) {
  const auto held = files_->Open(path_, OpenMode::kExclusive);
  std::wstring upper = ToWide(path_);
  ::CharUpperW(upper.data());
  ASSERT_TRUE(held->Id());
  EXPECT_EQ(files_->Identify(FromWide(upper)), held->Id());
}

TEST(NormalisePathTest, KeepsDrivesAndServers) {
  EXPECT_EQ(NormalisePath("C:/tove\\\\x/../展開Data.mdb"), "C:\\tove\\展開Data.mdb");
  EXPECT_EQ(NormalisePath("//server/share\\\\Data.mdb"), "\\\\server\\share\\Data.mdb");
  EXPECT_EQ(NormalisePath("\\\\server\\share\\a\\..\\Data.mdb"), "\\\\server\\share\\Data.mdb");
  EXPECT_EQ(NormalisePath("\\\\?\\C:\\x\\Data.mdb"), "\\\\?\\C:\\x\\Data.mdb");
  EXPECT_EQ(NormalisePath("C:\\ﾃﾞｰﾀ　（新）\\Data.mdb"), "C:\\ﾃﾞｰﾀ　（新）\\Data.mdb");
}

}  // namespace
}  // namespace jet
