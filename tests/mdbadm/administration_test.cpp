// Many files at once, what scripts rely on, and what the program says about itself.
#include <gmock/gmock.h>

#include <filesystem>
#include <regex>

#include "jet/storage/file.h"
#include "tests/mdbadm/program.h"
#include "upgrade/ladders.h"

namespace {

using namespace test_support;
using ::testing::AllOf;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

const std::string kLatest = std::to_string(upgrade::kDataLatest);

// Three sites: one with a good file, one with a damaged one, one with a good one.
class ManyFilesTest : public ::testing::Test {
 protected:
  ManyFilesTest() {
    for (const char* site : {"a", "b", "c"}) {
      const std::string folder = folder_.File(site);
      MdbAdmOut({"sample", folder, "--data", "26", "--jobs", "1"});
      files_.push_back(folder + "/Data.mdb");
    }
    bad_ = "no database at all";
    WriteFileBytes(files_[1], bad_);
  }
  std::vector<std::string> Upgrade(std::vector<std::string> options = {}) const {
    options.insert(options.begin(), files_.begin(), files_.end());
    options.insert(options.begin(), "upgrade");
    return options;
  }
  // As it stands in a table.
  std::string Shown(std::size_t i) const {
    std::string shown;
    for (const char c : files_[i]) shown.append(c == '\\' ? 2 : 1, c);
    return shown;
  }
  static nlohmann::json Version(const std::string& file) {
    return MdbAdmJson({"info", file})["version"];
  }

  TempFolder folder_;
  std::vector<std::string> files_;
  std::string bad_;
};

TEST_F(ManyFilesTest, OneThatFailsDoesNotStopTheOthersAndTheSummarySaysSo) {
  const Outcome run = MdbAdm(Upgrade());
  EXPECT_EQ(run.status, 3);
  EXPECT_THAT(run.err, AllOf(StartsWith("mdbadm: " + files_[1] + ": -2147467259 (80004005) "),
                             HasSubstr("Jet 4.0")));
  EXPECT_THAT(run.out, AllOf(HasSubstr(Shown(0) + "\tData_Up_27\t27\t"),
                             HasSubstr(Shown(0) + "\tdone\t" + kLatest + "\t"),
                             HasSubstr(Shown(1) + "\tfailed\t\\N\t"),
                             HasSubstr(Shown(2) + "\tdone\t" + kLatest + "\t")));
  const std::string summary = run.out.substr(run.out.find("\n\n") + 2);
  EXPECT_THAT(summary, StartsWith("file\tkind\tfrom\tto\toutcome\tms\tbackup\terror\n" + Shown(0) +
                                  "\tdata\t26\t" + kLatest + "\tdone\t"));
  EXPECT_THAT(summary, HasSubstr("\n" + Shown(1) + "\tdata\t\\N\t" + kLatest + "\tfailed\t"));
  EXPECT_EQ(Version(files_[2]), upgrade::kDataLatest);
  EXPECT_EQ(ReadFileBytes(files_[1]), bad_);
}

TEST_F(ManyFilesTest, StopsWhereItIsAskedTo) {
  const Outcome run =
      MdbAdm(Upgrade({"--stop-on-error", "--summary", "--json", "--backup", folder_.File("bak")}));
  EXPECT_EQ(run.status, 3);
  const nlohmann::json summary = nlohmann::json::parse(run.out);
  ASSERT_EQ(summary.size(), 3U);
  const char* outcomes[] = {"done", "failed", "not tried"};
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_EQ(summary[i]["file"], files_[i]);
    EXPECT_EQ(summary[i]["outcome"], outcomes[i]);
    EXPECT_EQ(summary[i]["to"], upgrade::kDataLatest);
  }
  EXPECT_EQ(summary[0]["from"], 26);
  EXPECT_TRUE(std::filesystem::exists(summary[0]["backup"].get<std::string>()));
  EXPECT_EQ(summary[1]["error"]["error"], "not_jet4");
  EXPECT_EQ(nlohmann::json::parse(run.err), summary[1]["error"]);
  EXPECT_EQ(Version(files_[2]), 26);
  EXPECT_EQ(MdbAdm({"upgrade", files_[1], files_[2], "--stop-on-error"}).status, 1);
  const Outcome plan = MdbAdm({"plan", files_[1], files_[2], "--to", "27", "--no-check", "--json"});
  EXPECT_EQ(plan.status, 3);
  EXPECT_EQ(nlohmann::json::parse(plan.err)["file"], files_[1]);
  EXPECT_EQ(
      nlohmann::json::parse(plan.out),
      nlohmann::json::array(
          {{{"file", files_[2]}, {"step", "Data_Up_27"}, {"version", 27}, {"outcome", "ok"}}}));
}

TEST_F(ManyFilesTest, CodesDistinguishAFileInUseFromAFailure) {
  const auto system = jet::MakeSystemFiles();
  std::unique_ptr<jet::File> held = system->Open(files_[0], jet::OpenMode::kExclusive);
  const Outcome busy = MdbAdm({"upgrade", files_[0], "--json"});
  EXPECT_EQ(busy.status, 4);
  EXPECT_EQ(nlohmann::json::parse(busy.err)["error"], "in_use");
  EXPECT_EQ(nlohmann::json::parse(busy.out)[0]["step"], "failed");
  EXPECT_EQ(MdbAdm({"info", files_[0]}).status, 4);
  EXPECT_EQ(MdbAdm({"upgrade", files_[0], files_[1]}).status, 1) << "failures of two kinds";
  EXPECT_EQ(MdbAdm({"upgrade", files_[1], files_[0]}).status, 1);
  EXPECT_EQ(MdbAdm({"upgrade", files_[0], files_[2]}).status, 3);
  held.reset();
  EXPECT_EQ(MdbAdm({"upgrade", files_[0], files_[2]}).status, 0);
  const Outcome usage = MdbAdm({"upgrade", files_[0], folder_.File("x.mdb"), "--json"});
  EXPECT_EQ(usage.status, 2);
  EXPECT_EQ(nlohmann::json::parse(usage.err)["error"], "usage");
}

TEST(AdministrationTest, EveryVerbPrintsJson) {
  const TempFolder folder;
  const std::string data = folder.File("Data.mdb"), fresh = folder.File("new.mdb");
  const auto parsed = [](const char* text) { return nlohmann::json::parse(text); };
  EXPECT_EQ(MdbAdmJson({"sample", folder.path(), "--data", "18", "--jobs", "1"})[0]["version"], 18);
  EXPECT_EQ(MdbAdmJson({"new", fresh})["password"], true);
  EXPECT_EQ(MdbAdmJson({"password", fresh, "--new", ""})["password"], false);
  EXPECT_EQ(MdbAdmJson({"sample", "--into", fresh, "--kind", "data", "--jobs", "0"})["version"], 2);
  EXPECT_EQ(MdbAdmJson({"set-version", fresh, "2.5"})["version"], 2.5);
  for (const char* repair : {"repair-reinforcements", "repair-flex", "english"}) {
    EXPECT_EQ(MdbAdmJson({repair, data})["outcome"], "done") << repair;
  }
  EXPECT_EQ(MdbAdmJson({"rows", data, "ﾊﾞｰｼﾞｮﾝ番号"}), parsed(R"([{"Ver_No": 18.0}])"));
}

TEST(AdministrationTest, NewFilesAreAsTheOptionsSay) {
  const TempFolder folder;
  const std::string data = folder.File("Data.mdb"), general = folder.File("general.mdb");
  MdbAdmOut({"sample", folder.path(), "--data", "2", "--jobs", "0", "--now", "--password", "x"});
  EXPECT_FALSE(std::filesystem::exists(PathOf(folder.File("展開Data.mdb"))));
  EXPECT_EQ(MdbAdm({"info", data}).status, 1) << "another password";
  EXPECT_NE(MdbAdmJson({"info", data, "--password", "x"})["created"], "2010-04-01 09:00:00");
  MdbAdmOut({"new", general, "--general"});
  EXPECT_EQ(MdbAdmJson({"info", general})["sort_order"], "1033/0/0 General");
  EXPECT_EQ(MdbAdmJson({"info", general})["code_page"], 1252);
}

TEST(HelpTest, EveryTopicAndVerbHasHelp) {
  EXPECT_TRUE(std::regex_match(MdbAdmOut({"--version"}), std::regex("mdbadm (\\d+\\.){2}\\d+\n")));
  const std::string verbs = MdbAdmOut({"help", "verbs"}), topics = MdbAdmOut({"help"});
  EXPECT_THAT(verbs, AllOf(HasSubstr("  upgrade "), HasSubstr("  sample "), HasSubstr("  help "),
                           Not(HasSubstr("reference"))));
  for (const char* topic : {"verbs", "output", "exit-codes", "errors", "kinds", "passwords",
                            "locks", "recovery", "scripts"}) {
    EXPECT_THAT(topics, HasSubstr(std::string("  ") + topic + " "));
    const std::string text = MdbAdmOut({"help", topic});
    EXPECT_GT(text.size(), 100U) << topic;
    for (std::size_t at = 0, end; (end = text.find('\n', at)) != std::string::npos; at = end + 1) {
      EXPECT_LE(end - at, 79U) << text.substr(at, end - at);
    }
  }
  EXPECT_THAT(MdbAdmOut({"help", "exit-codes"}),
              AllOf(StartsWith("Exit codes\n\n  0  done\n"), HasSubstr("\n\nThese numbers do")));
  EXPECT_EQ(MdbAdmOut({"help", "upgrade"}), MdbAdmOut({"upgrade", "--help"}));
  EXPECT_EQ(MdbAdm({"help", "frobnication"}).status, 2);
}

// The manual page says what --help says, and the typesetter has nothing to add.
TEST(HelpTest, ManualPageHoldsEveryVerbOptionAndTopic) {
  const TempFolder folder;
  const std::string source = folder.File("mdbadm.1"), page = folder.File("page");
  const std::string manual = MdbAdmOut({"reference", "man"});
  EXPECT_THAT(manual, HasSubstr(".fi\n.PP\nA file that fails")) << "behind a verbatim text";
  EXPECT_THAT(manual, Not(HasSubstr("\t")));
  bool verbatim = false;
  for (std::size_t at = 0; (at = manual.find("\n.", at)) != std::string::npos; ++at) {
    const std::string request = manual.substr(at + 1, 4);
    if (request != ".nf\n" && request != ".fi\n") continue;
    EXPECT_EQ(request == ".fi\n", verbatim) << at;
    verbatim = !verbatim;
  }
  EXPECT_FALSE(verbatim);
  WriteFileBytes(source, manual);
  if (!test_support::HasProgram("groff")) GTEST_SKIP() << "no groff here";
  const std::string groff = "groff -K utf8 -man -Tutf8 -P-cbou -rLL=200n -ww '" + source + "' >'" +
                            page + "' 2>'" + folder.File("complaints") + "'";
  ASSERT_EQ(std::system(groff.c_str()), 0);
  EXPECT_EQ(ReadFileBytes(folder.File("complaints")), "");
  const std::string text = ReadFileBytes(page);
  EXPECT_THAT(text, AllOf(HasSubstr("'mdbadm VERB --help' explains"), HasSubstr("--stop-on-error"),
                          HasSubstr("EXIT CODES"), HasSubstr("\\N"), HasSubstr("展開Data.mdb"),
                          HasSubstr("upgrade [options] files ...")));
}

TEST(HelpTest, ShellCompletesVerbsOptionsAndValues) {
  if (!test_support::HasProgram("bash")) GTEST_SKIP() << "no bash here";
  const TempFolder folder;
  const std::string script = folder.File("completion");
  WriteFileBytes(script, MdbAdmOut({"reference", "bash"}));
  WriteFileBytes(folder.File("Data.mdb"), "");
  std::filesystem::create_directory(folder.File("Folder"));
  struct Case {
    const char* typed;
    const char* offered;
  };
  const Case cases[] = {
      {"mdbadm up", "upgrade\n"},
      {"mdbadm upgrade --s", "--summary\n--stop-on-error\n"},
      {"mdbadm --json upgrade --kind ''", "data\ntenkai\n"},
      {"mdbadm upgrade D", "Data.mdb\n"},
      {"mdbadm upgrade --backup ''", "Folder\n"},
      {"mdbadm upgrade --to ''", ""},
      {"mdbadm help exit", "exit-codes\n"},
  };
  for (const Case& each : cases) {
    WriteFileBytes(folder.File("ask"),
                   std::string("source ./completion\nCOMP_WORDS=(") + each.typed +
                       ")\nCOMP_CWORD=$((${#COMP_WORDS[@]} - 1))\n_mdbadm\n"
                       "for word in \"${COMPREPLY[@]}\"; do echo \"$word\"; done\n");
    ASSERT_EQ(std::system(("cd '" + folder.path() + "' && bash ask >offered").c_str()), 0);
    EXPECT_EQ(ReadFileBytes(folder.File("offered")), each.offered) << each.typed;
  }
}

}  // namespace
