// What `compact` makes of sound files, and which files it refuses.
#include "jet/compact/compact.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <sstream>

#include "samples/sample.h"
#include "tests/mdbadm/program.h"
#include "tests/support/fault_file.h"

namespace {

using namespace test_support;
using ::testing::AllOf;
using ::testing::HasSubstr;

class CompactVerbTest : public ::testing::Test {
 protected:
  CompactVerbTest() {
    MdbAdmOut({"sample", folder_.path(), "--data", "2", "--jobs", "20"});
    MakeHoles(path_);
    before_ = ReadFileBytes(path_);
  }
  // Every file of the folder that is not one of these.
  std::vector<std::string> Others(const std::vector<std::string>& known) const {
    std::vector<std::string> others;
    for (const auto& entry : std::filesystem::directory_iterator(PathOf(folder_.path()))) {
      const std::u8string name = entry.path().filename().u8string();
      if (std::ranges::find(known, std::string(name.begin(), name.end())) == known.end()) {
        others.emplace_back(name.begin(), name.end());
      }
    }
    return others;
  }

  TempFolder folder_;
  std::string path_ = folder_.File("Data.mdb"), new_ = folder_.File("new.mdb"), before_;
};

TEST_F(CompactVerbTest, TheNewFileSaysTheSameAndIsSmaller) {
  const auto report = MdbAdmJson({"compact", path_, new_});
  EXPECT_EQ(report["file"], path_);
  EXPECT_EQ(report["new"], new_);
  EXPECT_EQ(report["backup"], nullptr);
  EXPECT_EQ(report["bytes_before"], before_.size());
  EXPECT_EQ(report["bytes_after"], std::filesystem::file_size(PathOf(new_)));
  EXPECT_LT(report["bytes_after"], report["bytes_before"]);
  EXPECT_GT(report["rows"], report["tables"]);
  EXPECT_TRUE(ReadFileBytes(path_) == before_);
  EXPECT_EQ(MdbAdmOut({"diff", path_, new_}), "object\twhat\ta\tb\n");
  EXPECT_EQ(MdbAdm({"check", new_}).status, 0);
  EXPECT_TRUE(Others({"Data.mdb", "new.mdb"}).empty());

  const std::string made = ReadFileBytes(new_);
  const Outcome again = MdbAdm({"compact", path_, new_});
  EXPECT_EQ(again.status, 1);
  EXPECT_THAT(again.err, HasSubstr("exists already"));
  EXPECT_TRUE(ReadFileBytes(new_) == made);
}

TEST_F(CompactVerbTest, InPlaceTheOldFileIsReplacedAndItsCopyIsKept) {
  MdbAdmOut({"compact", path_, new_});
  const auto report =
      MdbAdmJson({"compact", path_, "--in-place", "--backup", folder_.File("backup")});
  EXPECT_EQ(report["new"], path_);
  EXPECT_TRUE(ReadFileBytes(path_) == ReadFileBytes(new_));
  EXPECT_TRUE(ReadFileBytes(report["backup"]) == before_);
  EXPECT_TRUE(Others({"Data.mdb", "new.mdb", "backup"}).empty());
  // Once more there is nothing to gain.
  EXPECT_THAT(MdbAdmOut({"compact", path_, "--in-place"}), HasSubstr("\nbackup\t\\N\n"));
  EXPECT_TRUE(ReadFileBytes(path_) == ReadFileBytes(new_));
}

TEST_F(CompactVerbTest, WhereTheCopyCannotBeMadeTheFileStays) {
  WriteFileBytes(folder_.File("backup"), "not a folder");
  const Outcome outcome =
      MdbAdm({"compact", path_, "--in-place", "--backup", folder_.File("backup")});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_TRUE(ReadFileBytes(path_) == before_);
  EXPECT_TRUE(Others({"Data.mdb", "backup"}).empty());
}

TEST_F(CompactVerbTest, ADamagedFileIsLeftToRecover) {
  std::string bytes = before_;
  bytes.replace(bytes.size() - 4096, 4096, 4096, '\0');
  WriteFileBytes(path_, bytes);
  for (const std::string& where : {std::string("--in-place"), new_}) {
    const Outcome outcome = MdbAdm({"compact", path_, where, "--json"});
    EXPECT_EQ(outcome.status, 1);
    const auto failure = nlohmann::json::parse(outcome.err);
    EXPECT_EQ(failure["error"], "damaged");
    EXPECT_THAT(std::string(failure["text"]),
                AllOf(HasSubstr(path_), HasSubstr("the first: "), HasSubstr("`mdbadm recover`")));
    EXPECT_TRUE(ReadFileBytes(path_) == bytes);
    EXPECT_TRUE(Others({"Data.mdb"}).empty());
  }
}

TEST_F(CompactVerbTest, AFileThatIsInUseOrHasAnotherPasswordIsLeftAlone) {
  EXPECT_EQ(MdbAdm({"compact", path_, "--in-place", "--password", "other"}).status, 1);
  {
    const auto files = jet::MakeSystemFiles();
    const auto held = files->Open(path_, jet::OpenMode::kRead);
    EXPECT_EQ(MdbAdm({"compact", path_, "--in-place"}).status, 4);
    EXPECT_EQ(MdbAdm({"compact", path_, new_}).status, 0);  // reads along
  }
  EXPECT_TRUE(ReadFileBytes(path_) == before_);
  EXPECT_EQ(MdbAdm({"compact", folder_.File("none.mdb"), folder_.File("x.mdb")}).status, 1);
  EXPECT_TRUE(Others({"Data.mdb", "new.mdb"}).empty());
}

TEST_F(CompactVerbTest, EitherANewFileOrInPlace) {
  const std::vector<std::vector<std::string>> wrong{
      {"compact", path_},
      {"compact", path_, new_, "--in-place"},
      {"compact", path_, new_, "--backup", folder_.path()}};
  for (const auto& arguments : wrong) EXPECT_EQ(MdbAdm(arguments).status, 2);
  EXPECT_TRUE(ReadFileBytes(path_) == before_);
}

// What an upgrade and a compaction do, they do in either order.
TEST_F(CompactVerbTest, AnUpgradeAfterItIsLikeOneBeforeIt) {
  const std::string other = folder_.File("other.mdb");
  WriteFileBytes(other, before_);
  MdbAdmOut({"upgrade", path_});
  MdbAdmOut({"compact", path_, "--in-place"});
  MdbAdmOut({"compact", other, "--in-place"});
  MdbAdmOut({"upgrade", other, "--kind", "data"});
  EXPECT_EQ(MdbAdmOut({"diff", path_, other}), "object\twhat\ta\tb\n");
  EXPECT_EQ(MdbAdm({"check", other}).status, 0);
}

std::vector<std::string> SortedLines(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  std::ranges::sort(lines);
  return lines;
}

// What mdbtools shows of a file: its tables and their rows. Sorted, as it shows a row
// that was moved where the body lies, and no row is moved in a compacted file.
std::vector<std::string> AsOthersReadIt(const std::string& path) {
  std::vector<std::string> all =
      SortedLines(RunProcess("mdb-tables", {"-1", "-t", "table", path}).out);
  for (const std::string& name : std::vector<std::string>(all)) {
    const auto rows = SortedLines(RunProcess("mdb-export", {"-b", "hex", path, name}).out);
    all.insert(all.end(), rows.begin(), rows.end());
  }
  return all;
}

// A site's file in memory, where each write and sync fails, finds the disk full, or is
// the last that happens.
TEST(CompactFaultTest, ASampleIsCompactedInPlaceWholeOrNotAtAll) {
  constexpr char kPath[] = "/faults/Data.mdb";
  jet::CompactOptions options;
  options.password = db::kDatabasePassword;
  FaultFiles files;
  samples::SampleOptions sample;
  sample.version = 14;
  sample.jobs = 3;
  samples::MakeSample(files, kPath, samples::Kind::kData, sample);
  {
    const auto database = jet::Database::Open(
        files, kPath,
        {.mode = jet::OpenMode::kExclusive, .password = std::string(db::kDatabasePassword)});
    const auto table = database->OpenTable("Spec_形状名（角）");
    for (const jet::RowId id : RowIds(*table)) table->Delete(id);
    database->Commit();
  }
  const std::string before = files.bytes(kPath);
  files.ClearFault();
  jet::CompactInPlace(files, kPath, options);
  const std::uint64_t operations = files.operations();
  const std::string after = files.bytes(kPath);
  ASSERT_LT(after.size(), before.size());
  std::uint64_t rounds = 0;
  for (std::uint64_t at = 1; at <= operations; ++at) {
    for (const auto kind : {Fault::Kind::kFail, Fault::Kind::kFull, Fault::Kind::kStop}) {
      SCOPED_TRACE(fmt::format("{} kind {}", at, static_cast<int>(kind)));
      ++rounds;
      files.bytes(kPath) = before;
      files.SetFault({.kind = kind, .at = at, .sectors = 3});
      bool done = false;
      try {
        jet::CompactInPlace(files, kPath, options);
        done = true;
      } catch (const jet::Error&) {
      } catch (const Stopped&) {
      }
      ASSERT_TRUE(files.bytes(kPath) == (done ? after : before));
      // What has room is written on a full disk.
      EXPECT_TRUE(!done || kind == Fault::Kind::kFull);
    }
  }
  std::printf("%zu rounds, %zu operations\n", static_cast<std::size_t>(rounds),
              static_cast<std::size_t>(operations));
}

TEST(CompactedRealFilesTest, SayTheSameToDiffAndToMdbtools) {
  SKIP_WITHOUT_SAMPLES();
  const bool ask_others = HasProgram("mdb-tables") && HasProgram("mdb-export");
  if (!ask_others) std::printf("without mdbtools\n");
  const TempFolder folder;
  std::uint64_t before = 0, after = 0, lines = 0;
  for (const std::string& name : SampleNames()) {
    SCOPED_TRACE(name);
    const std::string old = SamplePath(name), made = folder.File("new.mdb");
    std::filesystem::remove(PathOf(made));
    // The password of the one that has any.
    MdbAdmOut({"compact", old, made, "--password", "ucanaccess"});
    EXPECT_EQ(MdbAdmOut({"diff", old, made, "--password", "ucanaccess"}), "object\twhat\ta\tb\n");
    before += std::filesystem::file_size(PathOf(old));
    after += std::filesystem::file_size(PathOf(made));
    if (ask_others) {
      const std::vector<std::string> shown = AsOthersReadIt(old);
      EXPECT_EQ(shown, AsOthersReadIt(made));
      lines += shown.size();
    }
  }
  EXPECT_TRUE(!ask_others || lines > 1000) << lines;
  std::printf("%llu bytes before, %llu after\n", static_cast<unsigned long long>(before),
              static_cast<unsigned long long>(after));
}

}  // namespace
