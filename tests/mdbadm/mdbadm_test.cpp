#include <gmock/gmock.h>

#include <filesystem>

#include "db/module1.h"
#include "tests/mdbadm/program.h"
#include "upgrade/ladders.h"

namespace {

using namespace test_support;
using ::testing::AllOf;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Not;

class MdbAdmTest : public ::testing::Test {
 protected:
  // The pair at these versions, in the folder of the test.
  void MakePair(int data_version, int tenkai_version, int jobs = 3) {
    MdbAdmOut({"sample", folder_.path(), "--data", std::to_string(data_version), "--tenkai",
               std::to_string(tenkai_version), "--jobs", std::to_string(jobs)});
  }
  static nlohmann::json Rows(const std::string& file, const std::string& table) {
    return MdbAdmJson({"rows", file, table});
  }

  TempFolder folder_;
  const std::string data_ = folder_.File("Data.mdb");
  const std::string tenkai_ = folder_.File("展開Data.mdb");
};

TEST_F(MdbAdmTest, DistinguishesUsageFromFailure) {
  MakePair(2, 2);
  const std::string none = folder_.File("none.mdb");
  const std::string other = folder_.File("other.mdb");
  std::filesystem::copy_file(data_, other);
  struct Case {
    std::vector<std::string> arguments;
    int status;
  };
  const Case cases[] = {
      {{"--help"}, 0},
      {{"upgrade", "--help"}, 0},
      {{"info", none}, 1},
      {{"info", "/no/such/Data.mdb"}, 1},
      {{"info", data_, "--password", "wrong"}, 1},
      {{"rows", data_, "none"}, 1},
      {{"sample", folder_.path()}, 1},
      {{"sample", folder_.File("new"), "--data", "99"}, 2},
      {{"sample", folder_.File("new"), "--tenkai", "1"}, 2},
      {{"sample", "--into", data_}, 2},
      {{"sample", "--into", data_, "--kind", "data"}, 1},
      {{"new", data_}, 1},
      {{"upgrade", other}, 2},
      {{"upgrade", data_, "--to", "99"}, 2},
      {{"upgrade", data_, "--to", "1"}, 1},
      {{"upgrade", data_, "--to=-1"}, 2},
      {{"upgrade", data_, "--dry-run", "--keep-partial"}, 2},
      {{"plan", data_, "--kind", "tenkai"}, 0},  // the name says which
      {{"upgrade", other, "--kind", "tenkai"}, 1},
  };
  const std::string before = ReadFileBytes(data_);
  for (const Case& call : cases) {
    const Outcome outcome = MdbAdm(call.arguments);
    EXPECT_EQ(outcome.status, call.status) << ::testing::PrintToString(call.arguments);
    EXPECT_EQ(outcome.err.empty(), call.status == 0) << outcome.err;
  }
  EXPECT_EQ(ReadFileBytes(data_), before);
  EXPECT_EQ(ReadFileBytes(other), before);
  EXPECT_FALSE(std::filesystem::exists(folder_.File("new")));
}

TEST_F(MdbAdmTest, InfoSaysWhatAFileIs) {
  MakePair(2, 7);
  nlohmann::json info = MdbAdmJson({"info", tenkai_});
  EXPECT_EQ(info["format"], "Jet 4.0");
  EXPECT_EQ(info["sort_order"], "1041/0/0 Japanese");
  EXPECT_EQ(info["code_page"], 932);
  EXPECT_EQ(info["password"], true);
  EXPECT_EQ(info["encoded"], false);
  EXPECT_EQ(info["version"], 7);
  EXPECT_THAT(MdbAdmOut({"info", tenkai_}), HasSubstr("version\t7\n"));
  EXPECT_THAT(MdbAdmOut({"info", tenkai_, "--json"}), EndsWith("\"version\":7}\n"));

  MdbAdmOut({"set-version", data_, "13.5"});
  EXPECT_EQ(MdbAdmJson({"info", data_})["version"], 13.5);
  MdbAdmOut({"password", data_, "--new", ""});
  EXPECT_EQ(MdbAdmJson({"info", data_, "--password", "any"})["password"], false);

  const std::string fresh = folder_.File("fresh.mdb");
  MdbAdmOut({"new", fresh, "--password", "合言葉"});
  EXPECT_EQ(MdbAdm({"info", fresh}).status, 1);
  info = MdbAdmJson({"info", fresh, "--password", "合言葉"});
  EXPECT_EQ(info["tables"], 0);
  EXPECT_FALSE(info.contains("version"));
  ExpectSound(fresh, true);
}

TEST_F(MdbAdmTest, ListsSayWhatTheFileHolds) {
  MakePair(27, 4);
  EXPECT_THAT(MdbAdmOut({"tables", data_}), AllOf(HasSubstr("Spec_形状名（角）\ttable\t160\t"),
                                                  HasSubstr("Data_ﾒｲﾝ_設定\ttable\t3\t")));
  EXPECT_THAT(MdbAdmOut({"columns", data_, "Spec_形状名（丸副）"}),
              HasSubstr("Spec_形状名（丸副）\t展開ﾌﾗｸﾞ\tInteger\t2\tno\tyes\t1\tno\tno\n"));
  EXPECT_THAT(MdbAdmOut({"indexes", data_, "Data_角_開口"}),
              HasSubstr("PrimaryKey\t入力ＩＤ, 開口番号\tyes\tyes\tyes\tno\n"));
  EXPECT_THAT(MdbAdmOut({"props", data_, "Data_角_開口"}),
              HasSubstr("Data_角_開口\t開口形状ID\tRequired\tBoolean\tyes\n"));
  EXPECT_THAT(MdbAdmOut({"rows", data_, "Spec_補強名称", "--limit", "5"}),
              EndsWith("4\t相FG\t相ＦＧ\n"));
  EXPECT_THAT(MdbAdmOut({"check", data_}), IsEmpty());
}

TEST_F(MdbAdmTest, CheckJudgesWhatIsNotReadByOthers) {
  MakePair(2, 2);
  const std::string bytes = test_support::ReadFileBytes(data_);
  const auto check = [&](const std::string& damaged, const char* code) {
    test_support::WriteFileBytes(data_, damaged);
    const Outcome outcome = MdbAdm({"check", data_, "--json"});
    EXPECT_EQ(outcome.status, 1) << code;
    const nlohmann::json report = nlohmann::json::parse(outcome.out);
    EXPECT_EQ(report["sound"], false) << code;
    EXPECT_EQ(report["findings"][0]["severity"], "problem") << code;
    EXPECT_EQ(report["findings"][0]["code"], code);
  };
  check(bytes + std::string(500, '\0'), "file-size");
  std::string no_list = bytes;
  no_list[2 * 4096] = 4;
  check(no_list, "page-kind");
  check(bytes.substr(0, 9000), "beyond-end");
}

TEST_F(MdbAdmTest, RowsDistinguishNullFromEmptyAndKeepLinesWhole) {
  MakePair(27, 4);
  EXPECT_EQ(Rows(data_, "Spec_形状名（角）")[0]["形状名_英語"], "");
  EXPECT_THAT(MdbAdmOut({"rows", data_, "Spec_形状名（角）"}), HasSubstr("\n0\tなし\t0\t0\t0\t\n"));
  EXPECT_EQ(Rows(data_, "仕様_名称")[5]["工法"], nullptr);
  EXPECT_THAT(MdbAdmOut({"rows", data_, "仕様_名称"}), EndsWith("\n6\tSUSﾌﾚｷ\t\\N\t\\N\n"));
  // Texts of queries hold lone carriage returns.
  EXPECT_THAT(MdbAdmOut({"queries", data_, "拾い転送_データ転記"}),
              AllOf(HasSubstr("\\r"), Not(HasSubstr("\r"))));
}

TEST_F(MdbAdmTest, UpgradeNamesEveryStepAndStoresTheVersion) {
  MakePair(2, 2);
  const nlohmann::json steps = MdbAdmJson({"upgrade", data_, tenkai_, "--to", "8"});
  ASSERT_EQ(steps.size(), 14U);
  EXPECT_EQ(steps[0]["step"], "Data_Up_3");
  EXPECT_EQ(steps[6]["step"], "done");
  EXPECT_EQ(steps[12]["step"], "Tenkai_Up_8");
  EXPECT_EQ(MdbAdmJson({"info", data_})["version"], 8);
  const std::string renamed = folder_.File("copy of data.mdb");
  std::filesystem::rename(data_, renamed);
  EXPECT_THAT(MdbAdmOut({"upgrade", renamed, "--kind", "data"}), HasSubstr("\tEng_Apply\t19\t"));
  EXPECT_EQ(MdbAdmJson({"info", renamed})["version"], upgrade::kDataLatest);
  ExpectSound(renamed, true);
  ExpectSound(tenkai_, true);
}

TEST_F(MdbAdmTest, PartialResultsStayOnlyWhenAskedFor) {
  MakePair(27, 2);
  MdbAdmOut({"set-version", data_, "13"});  // step 14 leaves early, 15 works, 16a fails
  const std::string before = ReadFileBytes(data_);
  const Outcome outcome = MdbAdm({"upgrade", data_});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.err, AllOf(HasSubstr("Data_Up_16a: -2147217857 (80040E3F) "),
                                 HasSubstr("拾い転送_共板FG")));
  EXPECT_EQ(ReadFileBytes(data_), before);
  const Outcome json = MdbAdm({"upgrade", data_, "--json"});
  EXPECT_EQ(nlohmann::json::parse(json.err)["step"], "Data_Up_16a");
  EXPECT_EQ(MdbAdm({"upgrade", data_, "--keep-partial"}).status, 1);
  EXPECT_NE(ReadFileBytes(data_), before);
  EXPECT_EQ(MdbAdmJson({"info", data_})["version"], 13);
  ExpectSound(data_, true);
}

TEST_F(MdbAdmTest, DryRunAndPlanKeepNothing) {
  MakePair(2, 3);
  const std::string data = ReadFileBytes(data_), tenkai = ReadFileBytes(tenkai_);
  EXPECT_THAT(MdbAdmOut({"upgrade", data_, "--dry-run"}), HasSubstr("\tData_Up_27\t27\t"));
  const nlohmann::json plan = MdbAdmJson({"plan", tenkai_});
  // The check, and the steps from 4 on, without 7.
  ASSERT_EQ(plan.size(), 1 + upgrade::kTenkaiLatest - 4U);
  EXPECT_EQ(plan[0]["outcome"], "sound");
  for (std::size_t i = 1; i < plan.size(); ++i) EXPECT_EQ(plan[i]["outcome"], "ok") << plan[i];
  EXPECT_EQ(ReadFileBytes(data_), data);
  EXPECT_EQ(ReadFileBytes(tenkai_), tenkai);
}

TEST_F(MdbAdmTest, PlanNamesWhatStandsInTheWay) {
  MakePair(27, 2);
  MdbAdmOut({"repair-reinforcements", data_});
  EXPECT_THAT(MdbAdmOut({"plan", data_}), HasSubstr("not 相ＦＧ"));
  MdbAdmOut({"set-version", data_, "12.6"});
  const Outcome plan = MdbAdm({"plan", data_});
  EXPECT_EQ(plan.status, 1);
  EXPECT_THAT(plan.out,
              AllOf(HasSubstr("12.6 counts as 13"), HasSubstr("拾い転送_Base is there"),
                    HasSubstr("形状名_英語 is there"), HasSubstr("Data_Up_15\t15\tok"),
                    HasSubstr("Data_Up_16a\t16\t-2147217857"),
                    HasSubstr("Data_Up_27\t27\tnot reached\n"), EndsWith("not reached\n")));
}

TEST_F(MdbAdmTest, PlanWarnsOfNothingAtTheVersionsThatBringIt) {
  MakePair(14, 22);
  EXPECT_THAT(MdbAdmOut({"plan", tenkai_, "--no-check"}), EndsWith("\toutcome\n"));
  for (const char* version : {"14", "19", "23"}) {
    MdbAdmOut({"upgrade", data_, "--to", version});
    EXPECT_THAT(MdbAdmOut({"plan", data_}), Not(HasSubstr("warning"))) << version;
  }
  MdbAdmOut({"repair-reinforcements", data_});
  EXPECT_THAT(MdbAdmOut({"plan", data_}), HasSubstr("reinforcement 4 transfers as FG"));
}

// A page of memos that no step looks at: a ladder runs past its damage.
TEST_F(MdbAdmTest, AFileThatIsNotSoundIsRefusedWhereThatIsAsked) {
  MakePair(26, 22, 50);
  std::string bytes = ReadFileBytes(data_);
  const std::size_t owner = bytes.rfind("LVAL");
  ASSERT_EQ(owner % jet::kPageSize, 4U);
  bytes.replace(owner - 4, jet::kPageSize, jet::kPageSize, '\0');
  WriteFileBytes(data_, bytes);
  const Outcome plan = MdbAdm({"plan", data_});
  EXPECT_EQ(plan.status, 1);
  EXPECT_THAT(plan.out, AllOf(HasSubstr("\tcheck\t\\N\tthe file is not sound: "),
                              EndsWith("\tData_Up_27\t27\tok\n")));
  EXPECT_EQ(MdbAdm({"plan", data_, "--no-check"}).status, 0);
  const Outcome refused = MdbAdm({"upgrade", data_, "--check", "--json"});
  EXPECT_EQ(refused.status, 1);
  EXPECT_EQ(nlohmann::json::parse(refused.err)["error"], "damaged");
  EXPECT_TRUE(ReadFileBytes(data_) == bytes);
  EXPECT_EQ(MdbAdm({"upgrade", data_}).status, 0);
}

// Step 14 gets no further than its tables.
TEST_F(MdbAdmTest, PlanWarnsOfAHalfTransfer) {
  MakePair(13, 2);
  {
    const auto database = jet::Database::Open(
        *jet::MakeSystemFiles(), data_,
        {.mode = jet::OpenMode::kExclusive, .password = std::string(db::kDatabasePassword)});
    database->AppendColumn("Spec_補強名称", {.name = "転送名称"});
    database->Commit();
  }
  EXPECT_EQ(MdbAdm({"upgrade", data_, "--keep-partial"}).status, 1);
  MdbAdmOut({"set-version", data_, "14"});
  EXPECT_THAT(MdbAdm({"plan", data_}).out, AllOf(HasSubstr("query 拾い転送_クエリー is missing"),
                                                 HasSubstr("拾い転送_形状名称変換 has no rows")));
}

TEST_F(MdbAdmTest, BackupHoldsTheFileAsItWas) {
  MakePair(2, 2);
  const std::string before = ReadFileBytes(data_);
  MdbAdmOut({"upgrade", data_, "--backup", folder_.File("控え")});
  std::vector<std::string> copies;
  for (const auto& copy :
       std::filesystem::directory_iterator(test_support::PathOf(folder_.File("控え")))) {
    copies.push_back(copy.path().string());
  }
  ASSERT_EQ(copies.size(), 1U);
  EXPECT_EQ(ReadFileBytes(copies[0]), before);
  EXPECT_EQ(MdbAdmJson({"info", data_})["version"], upgrade::kDataLatest);
}

// The window's three repairs work alone, and the version stays.
TEST_F(MdbAdmTest, RepairsDoWhatTheirStepsDo) {
  MakePair(18, 2);
  MdbAdmOut({"repair-reinforcements", data_});
  EXPECT_EQ(Rows(data_, "Spec_補強名称")[4]["転送名称"], "FG");
  MdbAdmOut({"repair-flex", data_});
  MdbAdmOut({"english", data_});
  EXPECT_EQ(Rows(data_, "Spec_形状名（角）")[45]["形状名_英語"], "T RR");
  EXPECT_EQ(MdbAdmJson({"info", data_})["version"], 18);
  EXPECT_EQ(MdbAdm({"repair-reinforcements", tenkai_}).status, 1);
  ExpectSound(data_, true);
}

TEST_F(MdbAdmTest, SavedQueriesReadBackAndRun) {
  MakePair(27, 2);
  const nlohmann::json queries = MdbAdmJson({"queries", data_});
  ASSERT_EQ(queries.size(), 5U);
  for (const nlohmann::json& query : queries) {
    EXPECT_EQ(MdbAdmJson({"sql", data_, query["query"]}), nlohmann::json::array());
    EXPECT_EQ(MdbAdmJson({"sql", data_, query["text"]}), nlohmann::json::array());
  }
  EXPECT_EQ(MdbAdmOut({"sql", data_, "SELECT 形状 FROM Spec_開口形状 WHERE 開口形状ID = 2"}),
            "形状\n丸\n");
}

TEST_F(MdbAdmTest, RefusesAFileOfAnotherFormat) {
  SKIP_WITHOUT_SAMPLES();
  const std::string old = CopySample(folder_, "jet3.mdb");
  const std::string before = ReadFileBytes(old);
  for (const char* verb : {"info", "check", "upgrade"}) {
    std::vector<std::string> arguments{verb, old};
    if (*verb == 'u') arguments.insert(arguments.end(), {"--kind", "data"});
    const Outcome outcome = MdbAdm(arguments);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("Jet 4.0"));
  }
  EXPECT_EQ(ReadFileBytes(old), before);
}

// Every real file takes the base tables and the ladder beside its own content.
class RealFileTest : public ::testing::TestWithParam<std::string> {
 protected:
  // What a file holds, of the named tables.
  nlohmann::json ContentOf(const nlohmann::json& tables) {
    nlohmann::json content;
    for (const nlohmann::json& table : tables) {
      const std::string name = table["table"];
      content[name]["rows"] = Read({"rows", file_, name});
    }
    for (const char* verb : {"columns", "indexes", "props"}) {
      for (const nlohmann::json& fact : Read({verb, file_})) {
        const std::string name = fact[*verb == 'p' ? "object" : "table"];
        if (content.contains(name)) content[name][verb].push_back(fact);
      }
    }
    return content;
  }
  nlohmann::json Read(std::vector<std::string> arguments) {
    arguments.insert(arguments.end(), {"--password", password_});
    return MdbAdmJson(arguments);
  }

  TempFolder folder_;
  std::string file_;
  const std::string password_ = GetParam() == "password.mdb" ? "ucanaccess" : "";
};

TEST_P(RealFileTest, KeepsItsOwnContentThroughALadder) {
  SKIP_WITHOUT_SAMPLES();
  for (const auto& [kind, latest] :
       {std::pair("data", upgrade::kDataLatest), std::pair("tenkai", upgrade::kTenkaiLatest)}) {
    SCOPED_TRACE(kind);
    file_ = CopySample(folder_, GetParam());
    const nlohmann::json tables = Read({"tables", file_}), info = Read({"info", file_});
    const nlohmann::json content = ContentOf(tables), queries = Read({"queries", file_});
    MdbAdmOut({"sample", "--into", file_, "--kind", kind, "--jobs", "2", "--password", password_});
    MdbAdmOut({"upgrade", file_, "--kind", kind, "--password", password_});
    EXPECT_EQ(ContentOf(tables), content);
    nlohmann::json queries_now = Read({"queries", file_});
    queries_now.get_ref<nlohmann::json::array_t&>().resize(queries.size());
    EXPECT_EQ(queries_now, queries);
    const nlohmann::json now = Read({"info", file_});
    EXPECT_EQ(now["version"], latest);
    for (const char* kept : {"sort_order", "code_page", "password", "encoded", "created"}) {
      EXPECT_EQ(now[kept], info[kept]) << kept;
    }
    EXPECT_EQ(MdbAdm({"check", file_, "--password", password_}).status, 0);
    ExpectSound(file_);
  }
}

INSTANTIATE_TEST_SUITE_P(All, RealFileTest, ::testing::ValuesIn(SampleNames()),
                         [](const auto& test) {
                           std::string name;
                           for (char c : test.param) name += std::isalnum(c) != 0 ? c : '_';
                           return name;
                         });
GTEST_ALLOW_UNINSTANTIATED_PARAMETERIZED_TEST(RealFileTest);

}  // namespace
