// What a compaction in place keeps of the file beside its contents.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "tests/mdbadm/program.h"

namespace {

namespace fs = std::filesystem;
using namespace test_support;

TEST(CompactInPlaceTest, TheFileKeepsItsRightsAndALinkToItStaysOne) {
  const TempFolder folder;
  MdbAdmOut({"sample", folder.File("real"), "--data", "2", "--jobs", "20"});
  const std::string real = folder.File("real/Data.mdb"), link = folder.File("Data.mdb");
  MakeHoles(real);
  const std::uintmax_t before = fs::file_size(real);
  fs::create_symlink(real, link);
  ASSERT_EQ(::chmod(real.c_str(), 0640), 0);
  MdbAdmOut({"compact", link, "--in-place"});
  EXPECT_TRUE(fs::is_symlink(link));
  EXPECT_LT(fs::file_size(real), before);
  struct stat status {};
  ASSERT_EQ(::stat(real.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777U, 0640U);
  EXPECT_FALSE(fs::exists(real + ".compacting"));
  EXPECT_FALSE(fs::exists(link + ".compacting"));
}

}  // namespace
