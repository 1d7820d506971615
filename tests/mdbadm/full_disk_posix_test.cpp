// A disk that is really full, and a system that gives no more memory.
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <sys/mount.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "tests/mdbadm/program.h"

namespace {

namespace fs = std::filesystem;
using test_support::MdbAdm;
using test_support::MdbAdmOut;
using test_support::Outcome;
using testing::HasSubstr;

// A small disk of its own, with a file on it that takes room away.
class SmallDisk {
 public:
  explicit SmallDisk(std::uint64_t bytes) {
    const std::string size = fmt::format("size={}", bytes);
    failure_ = ::mount("tmpfs", folder_.path().c_str(), "tmpfs", 0, size.c_str()) == 0 ? 0 : errno;
  }
  ~SmallDisk() {
    if (failure_ == 0) ::umount2(folder_.path().c_str(), MNT_DETACH);
  }
  SmallDisk(const SmallDisk&) = delete;
  SmallDisk& operator=(const SmallDisk&) = delete;

  int failure() const { return failure_; }  // of the mount
  std::string File(const std::string& name) const { return folder_.File(name); }
  void LeaveRoom(std::uint64_t bytes) const {
    const std::string filler = File("filler");
    fs::remove(filler);
    const std::uint64_t free = fs::space(folder_.path()).available;
    test_support::WriteFileBytes(filler, std::string(free - std::min(bytes, free), 'x'));
  }

 private:
  test_support::TempFolder folder_;
  int failure_ = 0;
};

TEST(FullDiskTest, AnUpgradeThatFindsNoRoomSaysSoAndLeavesTheFile) {
  const SmallDisk disk(std::uint64_t{16} << 20);
  if (disk.failure() != 0) {
    GTEST_SKIP() << "no disk can be mounted here: " << std::strerror(disk.failure());
  }
  const test_support::TempFolder folder;
  MdbAdmOut({"sample", folder.path(), "--data", "2", "--tenkai", "2", "--jobs", "20"});
  int full = 0, done = 0;
  for (const char* name : {"Data.mdb", "展開Data.mdb"}) {
    const std::string before = test_support::ReadFileBytes(folder.File(name));
    const std::string path = disk.File(name);
    for (std::uint64_t room = 0;; room = room * 2 + 4096) {
      SCOPED_TRACE(fmt::format("{}, {} bytes of room", name, room));
      fs::remove(disk.File("filler"));
      test_support::WriteFileBytes(path, before);
      disk.LeaveRoom(room);
      const Outcome outcome = MdbAdm({"upgrade", path});
      if (outcome.status == 0) break;
      ++full;
      EXPECT_EQ(outcome.status, 1);
      EXPECT_THAT(outcome.err, HasSubstr(path));
      EXPECT_THAT(outcome.err, HasSubstr("空き領域が足りません"));
      EXPECT_TRUE(test_support::ReadFileBytes(path) == before);
      ASSERT_LT(room, std::uint64_t{12} << 20) << "there was room enough";
    }
    ++done;
    EXPECT_EQ(MdbAdm({"check", path}).status, 0);
    // A copy needs as much room as the file; none is left behind half.
    disk.LeaveRoom(before.size() / 2);
    const Outcome outcome = MdbAdm({"upgrade", path, "--backup", disk.File("backup")});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("disk full"));
    EXPECT_TRUE(fs::is_empty(disk.File("backup")));
    fs::remove(path);
  }
  EXPECT_GT(full, 4);
  EXPECT_EQ(done, 2);
}

TEST(FullDiskTest, ACompactionThatFindsNoRoomSaysSoAndLeavesTheFile) {
  const SmallDisk disk(std::uint64_t{16} << 20);
  if (disk.failure() != 0) {
    GTEST_SKIP() << "no disk can be mounted here: " << std::strerror(disk.failure());
  }
  const test_support::TempFolder folder;
  MdbAdmOut({"sample", folder.path(), "--data", "2", "--jobs", "20"});
  test_support::MakeHoles(folder.File("Data.mdb"));
  const std::string before = test_support::ReadFileBytes(folder.File("Data.mdb"));
  const std::string path = disk.File("Data.mdb"), backup = disk.File("backup");
  std::vector<std::string> command{"compact", path, "--in-place"};
  test_support::WriteFileBytes(path, before);
  int full = 0;
  for (const bool copied : {true, false}) {
    if (copied) command.insert(command.end(), {"--backup", backup});
    for (std::uint64_t room = 0;; room += before.size() / 3) {
      SCOPED_TRACE(fmt::format("{} bytes of room, {}", room, copied ? "a copy, too" : "no copy"));
      disk.LeaveRoom(room);
      const Outcome outcome = MdbAdm(command);
      if (outcome.status == 0) break;
      ++full;
      EXPECT_EQ(outcome.status, 1);
      EXPECT_THAT(outcome.err, HasSubstr("disk full"));
      EXPECT_TRUE(test_support::ReadFileBytes(path) == before);
      EXPECT_FALSE(fs::exists(path + ".compacting"));
      EXPECT_TRUE(!fs::exists(backup) || fs::is_empty(backup));
      ASSERT_LT(room, std::uint64_t{12} << 20) << "there was room enough";
    }
    EXPECT_LT(fs::file_size(path), before.size());
    EXPECT_EQ(MdbAdm({"check", path}).status, 0);
    fs::remove_all(backup);
    fs::remove(disk.File("filler"));
    test_support::WriteFileBytes(path, before);
    command.resize(3);
  }
  EXPECT_GT(full, 4);
}

TEST(FullOutputTest, IsAFailure) {
  const Outcome outcome = MdbAdm({"help"}, "exec >/dev/full; ");
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.err, HasSubstr("standard output cannot be written"));
}

TEST(LittleMemoryTest, AnUpgradeThatGetsNoMemorySaysSoAndLeavesTheFile) {
#ifdef __SANITIZE_ADDRESS__
  GTEST_SKIP() << "the sanitizer reserves more than any limit";
#endif
  const test_support::TempFolder folder;
  MdbAdmOut({"sample", folder.path(), "--data", "2", "--jobs", "20"});
  const std::string path = folder.File("Data.mdb");
  const std::string before = test_support::ReadFileBytes(path);
  int told = 0;
  for (int kilobytes = 4'000; kilobytes < 200'000; kilobytes += 500) {
    SCOPED_TRACE(fmt::format("{} KB", kilobytes));
    const Outcome outcome =
        MdbAdm({"upgrade", path}, fmt::format("ulimit -v {}; exec ", kilobytes));
    if (outcome.status == 0) break;
    EXPECT_TRUE(test_support::ReadFileBytes(path) == before);
    EXPECT_THAT(outcome.err, testing::Not(HasSubstr("terminate")));
    const bool loaded = outcome.status != 126 && outcome.status != 127 && outcome.status != -1;
    if (told == 0 && !loaded) continue;
    EXPECT_EQ(outcome.status, 1) << outcome.err;
    EXPECT_THAT(outcome.err, HasSubstr("not enough memory"));
    ++told;
  }
  EXPECT_GT(told, 0);
  EXPECT_TRUE(test_support::ReadFileBytes(path) != before);
}

}  // namespace
