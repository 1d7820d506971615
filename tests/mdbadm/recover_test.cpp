// What `recover` makes of damaged files of both kinds, and how it reports it.
#include <gmock/gmock.h>

#include <filesystem>

#include "jet/base/bytes.h"
#include "samples/sample.h"
#include "tests/mdbadm/program.h"
#include "upgrade/ladders.h"

namespace {

using namespace test_support;
using ::testing::HasSubstr;
using ::testing::StartsWith;

class RecoverVerbTest : public MadeFilesTest {
 protected:
  void MakeSample(samples::Kind kind, std::int16_t version) {
    samples::SampleOptions options;
    options.version = version;
    options.jobs = 3;
    samples::MakeSample(*files_, old_, kind, options);
    good_ = ReadFileBytes(old_);
  }
  // Clears every page of this type and owner, but for one in `one_in`.
  void ClearPages(std::uint16_t type, std::optional<std::uint32_t> owner,
                  std::size_t spare_one_in) {
    std::string bytes = ReadFileBytes(old_);
    std::size_t met = 0;
    for (std::size_t at = jet::kPageSize; at < bytes.size(); at += jet::kPageSize) {
      const jet::Bytes head(bytes.begin() + static_cast<std::ptrdiff_t>(at),
                            bytes.begin() + static_cast<std::ptrdiff_t>(at + 8));
      if (jet::GetU16(head, 0) != type || (owner && jet::GetU32(head, 4) != *owner)) continue;
      if (++met % spare_one_in == 0) continue;
      bytes.replace(at, jet::kPageSize, jet::kPageSize, '\0');
    }
    WriteFileBytes(old_, bytes);
  }
  Outcome Recover(const std::vector<std::string>& more) {
    std::filesystem::remove(PathOf(new_));
    std::vector<std::string> arguments{"recover", old_, new_};
    arguments.insert(arguments.end(), more.begin(), more.end());
    return MdbAdm(arguments);
  }

  std::string old_ = folder_.File("old.mdb"), new_ = folder_.File("new.mdb"), good_;
};

TEST_F(RecoverVerbTest, TheStatusTellsWhetherAnythingIsMissing) {
  MakeSample(samples::Kind::kData, 20);
  const std::string report = folder_.File("report");
  Outcome outcome = Recover({"--report", report});
  EXPECT_EQ(outcome.status, 0) << outcome.out;
  EXPECT_THAT(outcome.out, HasSubstr("\nData_ﾒｲﾝ_設定\t3\t0\t0\t0\t0\tfile\tfile\t\n"));
  EXPECT_EQ(ReadFileBytes(report), outcome.out);
  EXPECT_EQ(MdbAdmOut({"diff", old_, new_}), "object\twhat\ta\tb\n");

  EXPECT_EQ(MdbAdm({"recover", old_, new_}).status, 1);  // it is there
  outcome = Recover({"--dry-run"});
  EXPECT_EQ(outcome.status, 0);
  EXPECT_FALSE(files_->Exists(new_));

  WriteFileBytes(old_, good_.substr(0, good_.size() / 2));
  outcome = Recover({"--json"});
  EXPECT_EQ(outcome.status, 5);
  const auto json = nlohmann::json::parse(outcome.out);
  EXPECT_EQ(json["complete"], false);
  EXPECT_GT(json["tables"].size(), 20U);
  ExpectSound(new_);

  WriteFileBytes(old_, std::string(10'000, 'x'));
  outcome = Recover({});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.err, HasSubstr("damaged"));
  EXPECT_FALSE(files_->Exists(new_));
}

// With the kind, lost definitions and names come from the version that the rest shows;
// the ladder then runs as on the sound file.
TEST_F(RecoverVerbTest, WhatTheKindHasStandsInAndTheLadderRuns) {
  struct Case {
    samples::Kind kind;
    std::int16_t version;
    bool catalog;  // its rows are lost, else most definitions
  };
  const Case cases[] = {{samples::Kind::kData, 12, true},
                        {samples::Kind::kData, 12, false},
                        {samples::Kind::kTenkai, 9, false},
                        {samples::Kind::kTenkai, 9, true}};
  for (const Case& each : cases) {
    MakeSample(each.kind, each.version);
    if (each.catalog) {
      ClearPages(0x0101, 2, 1000);
    } else {
      ClearPages(0x0102, std::nullopt, 4);
    }
    const std::string kind(db::NameOf(each.kind));
    SCOPED_TRACE(kind + (each.catalog ? ", no catalog" : ", few definitions"));
    const Outcome outcome = Recover({"--kind", kind});
    EXPECT_EQ(outcome.status, 5) << outcome.err;
    EXPECT_THAT(outcome.out, HasSubstr("\tknown\t"));
    EXPECT_EQ(outcome.out.find("\n復旧_"), std::string::npos) << outcome.out;
    ExpectSound(new_);
    WriteFileBytes(old_, good_);
    for (const std::string& file : {old_, new_}) {
      EXPECT_EQ(MdbAdm({"upgrade", file, "--kind", kind}).status, 0);
    }
    const std::string difference = MdbAdm({"diff", old_, new_}).out;
    EXPECT_EQ(difference.find("\trow"), std::string::npos) << difference;
    EXPECT_EQ(difference.find("\tcolumn"), std::string::npos) << difference;
  }
}

}  // namespace
