#include "jet/storage/file.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "jet/base/error.h"
#include "tests/support/temp_db.h"

namespace jet {
namespace {

using namespace test_support;
namespace fs = std::filesystem;

class FileTest : public testing::Test {
 protected:
  FileTest() { WriteFileBytes(path_, std::string(kPageSize, 'x')); }
  std::optional<ErrorCode> Opening(const std::string& path, OpenMode mode) {
    return CodeOf([&] { files_->Open(path, mode); });
  }

  TempFolder folder_;
  std::string path_ = folder_.File("展開Data.mdb");
  std::unique_ptr<FileSystem> files_ = MakeSystemFiles();
};

TEST_F(FileTest, WhatIsNotAFileHasItsOwnError) {
  EXPECT_EQ(Opening(folder_.File("none.mdb"), OpenMode::kRead), ErrorCode::kFileNotFound);
  EXPECT_EQ(Opening(folder_.File("none/none.mdb"), OpenMode::kRead), ErrorCode::kFileNotFound);
  EXPECT_EQ(Opening(path_ + "/Data.mdb", OpenMode::kRead), ErrorCode::kFileNotFound);
  EXPECT_EQ(Opening(folder_.path(), OpenMode::kRead), ErrorCode::kNotJet4);
  EXPECT_EQ(CodeOf([&] { files_->Create(folder_.File("none/new.mdb")); }),
            ErrorCode::kFileNotFound);
  EXPECT_EQ(CodeOf([&] { files_->Remove(folder_.File("none.mdb")); }), ErrorCode::kFileNotFound);
}

TEST_F(FileTest, OneWriterOrManyReaders) {
  {
    const auto reader = files_->Open(path_, OpenMode::kRead);
    EXPECT_EQ(Opening(path_, OpenMode::kRead), std::nullopt);
    EXPECT_EQ(Opening(path_, OpenMode::kExclusive), ErrorCode::kInUse);
  }
  const auto writer = files_->Open(path_, OpenMode::kExclusive);
  EXPECT_EQ(Opening(path_, OpenMode::kRead), ErrorCode::kInUse);
  EXPECT_EQ(Opening(path_, OpenMode::kExclusive), ErrorCode::kInUse);
}

TEST_F(FileTest, SeparatorsMixedAndDoubledNameOneFile) {
  for (std::string name : {"/展開Data.mdb", "//展開Data.mdb", "/./x/..//展開Data.mdb"}) {
    if (PathSeparators().size() > 1) std::ranges::replace(name, '/', PathSeparators()[1]);
    EXPECT_EQ(Opening(folder_.path() + name, OpenMode::kExclusive), std::nullopt) << name;
    EXPECT_EQ(NormalisePath(folder_.path() + name), NormalisePath(path_)) << name;
  }
}

TEST_F(FileTest, IdentityIsThatOfTheFileNotOfThePath) {
  const std::string other = folder_.File("other.mdb"), link = folder_.File("link.mdb");
  WriteFileBytes(other, std::string(kPageSize, 'x'));
  fs::create_hard_link(PathOf(path_), PathOf(link));
  const auto held = files_->Open(path_, OpenMode::kExclusive);
  ASSERT_TRUE(held->Id());
  EXPECT_EQ(files_->Identify(path_), held->Id()) << "while it is held";
  EXPECT_EQ(files_->Identify(link), held->Id());
  EXPECT_NE(files_->Identify(other), held->Id());
  EXPECT_EQ(files_->Identify(folder_.File("none.mdb")), std::nullopt);
}

TEST_F(FileTest, SizesAndOffsetsGoBeyondFourGigabytes) {
  constexpr std::uint64_t kFar = (std::uint64_t{1} << 32) + 123;
  const auto file = files_->Open(path_, OpenMode::kExclusive);
  const Bytes written = {1, 2, 3};
  file->Write(5, written);
  file->Truncate(kFar);  // a hole
  EXPECT_EQ(file->Size(), kFar);
  Bytes read(4);
  file->Read(4, read);
  EXPECT_EQ(read, (Bytes{'x', 1, 2, 3}));
  file->Read(kFar - 4, read);
  EXPECT_EQ(read, Bytes(4));
  EXPECT_EQ(CodeOf([&] { file->Read(kFar - 3, read); }), ErrorCode::kIo) << "beyond the end";
  file->Truncate(kPageSize);
  file->Reserve(2 * kPageSize);
  file->Reserve(kPageSize);
  file->Sync();
  EXPECT_EQ(file->Size(), 2 * kPageSize);
  file->Read(2 * kPageSize - 4, read);
  EXPECT_EQ(read, Bytes(4));
}

TEST_F(FileTest, AFileIsMadeEmptiedRenamedAndRemoved) {
  const std::string made = folder_.File("ﾃﾞｰﾀ（新）.mdb");
  EXPECT_FALSE(files_->Exists(made));
  files_->Create(made)->Write(0, Bytes{7});
  EXPECT_TRUE(files_->Exists(made));
  files_->Rename(made, path_);
  EXPECT_FALSE(files_->Exists(made));
  EXPECT_EQ(ReadFileBytes(path_), "\x07");
  EXPECT_EQ(files_->Create(path_)->Size(), 0U);
  files_->Remove(path_);
  EXPECT_FALSE(files_->Exists(path_));
}

}  // namespace
}  // namespace jet
