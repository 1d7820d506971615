// What the verbs print and refuse, on files made or damaged for it.
#include <fmt/format.h>
#include <gmock/gmock.h>

#include <filesystem>
#include <functional>
#include <map>
#include <utility>

#include "db/version_record.h"
#include "jet/database/database.h"
#include "mdbadm/arguments.h"
#include "mdbadm/backup.h"
#include "samples/columns.h"
#include "samples/sample.h"
#include "sql/sql.h"
#include "tests/mdbadm/program.h"
#include "upgrade/ladders.h"

namespace {

using namespace test_support;
using jet::ColumnType;
using ::testing::AllOf;
using ::testing::ElementsAre;
using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

class VerbsTest : public MadeFilesTest {
 protected:
  std::string MakeSample(const samples::SampleOptions& options) {
    std::string path = folder_.File("Data.mdb");
    samples::MakeSample(*files_, path, samples::Kind::kData, options);
    return path;
  }
};

// ---- what was asked for

TEST_F(VerbsTest, WhatIsUnknownIsNamedWithTheNearestThatThereIs) {
  struct Case {
    std::vector<std::string> arguments;
    const char* told;
  };
  const Case cases[] = {
      {{}, "a verb is missing; see `mdbadm help verbs`"},
      {{"frobnicate"}, "unknown verb \"frobnicate\"; see `mdbadm help verbs`"},
      {{"upgarde", "x"}, "unknown verb \"upgarde\"; nearest: upgrade; see `mdbadm help verbs`"},
      {{"nifo", "x"}, "unknown verb \"nifo\"; nearest: info; see"},
      {{"rops", "x"}, "unknown verb \"rops\"; nearest: props; see"},  // the first of two
      {{"quer", "x"}, "unknown verb \"quer\"; nearest: queries; see"},
      {{"referenc"}, "unknown verb \"referenc\"; see"},  // in no list
      {{"--jsn", "info", "x"}, "unknown option \"--jsn\"; see `mdbadm --help`"},
      {{"upgrade", "--dryrun=1"},
       "upgrade: unknown option \"--dryrun\"; nearest: --dry-run; see `mdbadm upgrade --help`"},
      {{"sql", "--limt", "5", "x", "y"}, "sql: unknown option \"--limt\"; nearest: --limit; see"},
      {{"info", "x", "--zzz"}, "info: unknown option \"--zzz\"; see"},
      {{"info", "x", "y"}, "info: \"y\" is one argument too many; see `mdbadm info --help`"},
      {{"info"}, "info: file is required; see `mdbadm info --help`"},
  };
  for (const Case& each : cases) {
    const Outcome outcome = MdbAdm(each.arguments);
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(outcome.err, StartsWith(std::string("mdbadm: ") + each.told));
    EXPECT_EQ(outcome.out, "");
  }
  const Outcome json = MdbAdm({"inf", "x", "--json"});
  EXPECT_EQ(nlohmann::json::parse(json.err)["text"],
            "unknown verb \"inf\"; nearest: info; see `mdbadm help verbs`");
}

// ---- damage

// Whatever page is spoilt: what was printed until then is JSON, and so is the error.
TEST_F(VerbsTest, AnErrorInTheMiddleLeavesJsonThatCloses) {
  samples::SampleOptions options;
  options.version = 26;
  options.jobs = 3;
  const std::string path = MakeSample(options), good = ReadFileBytes(path);
  const std::vector<std::vector<std::string>> verbs = {{"rows", path, "Spec_形状名（角）"},
                                                       {"tables", path, "--system"},
                                                       {"sql", path, "SELECT * FROM Data_角_ｻｲｽﾞ"},
                                                       {"queries", path},
                                                       {"columns", path},
                                                       {"props", path},
                                                       {"indexes", path},
                                                       {"plan", path},
                                                       {"upgrade", path, "--dry-run"},
                                                       {"diff", path, folder_.File("good.mdb")}};
  WriteFileBytes(folder_.File("good.mdb"), good);
  int failed = 0;
  for (std::size_t page = 2; page < good.size() / jet::kPageSize; page += 3) {
    std::string bytes = good;
    bytes.replace(page * jet::kPageSize, 64, 64, '\x07');
    WriteFileBytes(path, bytes);
    std::vector<std::string> arguments = verbs[page / 3 % verbs.size()];
    arguments.emplace_back("--json");
    const Outcome outcome = MdbAdm(arguments);
    SCOPED_TRACE(fmt::format("page {}, {}: {}", page, arguments[0], outcome.out));
    if (outcome.status != 0) ++failed;
    if (!outcome.err.empty()) {
      EXPECT_TRUE(nlohmann::json::accept(outcome.err.substr(0, outcome.err.find('\n'))));
    }
    if (!outcome.out.empty() || outcome.status == 0) {
      EXPECT_TRUE(nlohmann::json::accept(outcome.out));
    }
  }
  EXPECT_GT(failed, 10);
}

TEST_F(VerbsTest, RowsBeforeTheDamageArePrintedWhole) {
  const std::string path = Make("x.mdb", [](jet::Database& database) {
    const auto table = database.CreateTable(
        {.name = "t",
         .columns = {{.name = "ID"}, {.name = "m", .type = ColumnType::kMemo}, {.name = "z"}},
         .indexes = {}});
    for (int i = 1; i <= 5; ++i) {
      table->Insert(std::vector<jet::Value>{i, std::string(40'000, static_cast<char>('a' + i)), i});
    }
  });
  std::string bytes = ReadFileBytes(path);
  const std::size_t page = bytes.find(std::string("d\0d\0d\0d\0", 8)) / jet::kPageSize;  // of row 3
  bytes[page * jet::kPageSize] = '\x07';
  WriteFileBytes(path, bytes);
  for (const auto& [verb, source] : {std::pair("rows", "t"), std::pair("sql", "SELECT * FROM t")}) {
    const Outcome text = MdbAdm({verb, path, source}),
                  json = MdbAdm({verb, path, source, "--json"});
    EXPECT_EQ(text.status, 1);
    EXPECT_EQ(text.out, fmt::format("ID\tm\tz\n1\t{}\t1\n2\t{}\t2\n", std::string(40'000, 'b'),
                                    std::string(40'000, 'c')));
    EXPECT_THAT(text.err, HasSubstr(fmt::format("page {}", page)));
    EXPECT_EQ(json.status, 1);
    const auto rows = nlohmann::json::parse(json.out);
    ASSERT_EQ(rows.size(), 2U);
    EXPECT_EQ(rows[1]["z"], 2);
    EXPECT_EQ(nlohmann::json::parse(json.err)["error"], "damaged");
  }
}

// ---- saved queries

TEST_F(VerbsTest, QueriesShowKindAndText) {
  using R = jet::QueryRow;
  const std::string path = Make("q.mdb", [](jet::Database& database) {
    const auto add = [&](std::string_view name, std::vector<R> rows) {
      database.CreateQuery(name, {std::move(rows)}, "");
    };
    add("one", {{.attribute = R::kParameter, .flag = 8, .name1 = "[Beginning Date]"},
                {.attribute = R::kSource, .name1 = "t"},
                {.attribute = R::kOutput, .flag = 0, .expression = "t.a"}});
    add("two", {{.attribute = R::kKind, .flag = 7, .expression = "DROP TABLE t"}});
    add("broken", {{.attribute = R::kKind, .flag = 6}});
    add("unheard of", {{.attribute = R::kKind, .flag = 33}});
  });
  const Outcome outcome = MdbAdm({"queries", path, "--json"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.err, AllOf(HasSubstr("broken: a crosstab"), HasSubstr("unknown kind 33")));
  std::vector<std::string> told;
  for (const auto& query : nlohmann::json::parse(outcome.out)) {
    told.push_back(query["query"].dump() + query["kind"].dump() + query["text"].dump());
  }
  EXPECT_THAT(told, ElementsAre(R"("one""select""PARAMETERS [Beginning Date] DateTime;\r\n)"
                                R"(SELECT t.a\r\nFROM t;")",
                                R"("two""data definition""DROP TABLE t")",
                                R"("broken""crosstab"null)", R"("unheard of"nullnull)"));
  EXPECT_EQ(MdbAdmJson({"queries", path, "ＯＮＥ"}).size(), 1U);
  // What is broken in the same way is the same; in another way, not.
  const std::string other = Make("r.mdb", [](jet::Database& database) {
    database.CreateQuery("broken", {{{.attribute = R::kKind, .flag = 33}}}, "");
  });
  EXPECT_EQ(MdbAdm({"diff", path, path}).status, 0);
  EXPECT_THAT(MdbAdm({"diff", path, other}).out, HasSubstr("broken\ttext\t(a crosstab has"));
}

TEST_F(VerbsTest, ParametersAreSetByNameOrNamedAsMissing) {
  const std::string path = Make("p.mdb", [](jet::Database& database) {
    const auto table = database.CreateTable(
        {.name = "t",
         .columns = {{.name = "id", .type = jet::ColumnType::kLong},
                     {.name = "d", .type = jet::ColumnType::kDateTime},
                     {.name = "s", .type = jet::ColumnType::kText, .max_size = 20}}});
    for (const int id : {1, 2}) {
      const std::string text = id == 1 ? "a=b" : "c";
      table->Insert(std::vector<jet::Value>{
          id, jet::ToDateTime({.year = 2019 + id, .month = 2, .day = 3}), text});
    }
    database.CreateQuery(
        "q",
        sql::Parse("PARAMETERS [start] DateTime; SELECT id FROM t WHERE d >= start AND (s = "
                   "[Forms]![f]![text] OR [Forms]![f]![text] IS NULL)"),
        "");
    database.CreateQuery("x",
                         sql::Parse("PARAMETERS p Text; TRANSFORM Count(*) SELECT id FROM t "
                                    "GROUP BY id PIVOT [p] & id"),
                         "");
  });
  const Outcome none = MdbAdm({"sql", path, "q", "--json"});
  EXPECT_EQ(none.status, 1);
  EXPECT_THAT(none.err, AllOf(HasSubstr("q: no value for start (DateTime), [Forms]![f]![text];"),
                              HasSubstr(R"("error":"sql")")));
  EXPECT_THAT(MdbAdm({"sql", path, "q", "--set", "START=2020-1-1"}).err,
              HasSubstr("no value for [Forms]![f]![text];"));
  const auto rows = [&](const std::string& start, const std::string& text) {
    return MdbAdmOut({"sql", path, "q", "--set", "start=" + start, "--set", text});
  };
  EXPECT_EQ(rows("2020-01-01", "Forms.f.text=a=b"), "id\n1\n");
  EXPECT_EQ(rows("2020-06-01", "[Forms]![f]![text]="), "id\n2\n");  // empty: Null
  EXPECT_EQ(rows("", "[Forms]![f]![text]="), "id\n");
  const Outcome wrong = MdbAdm({"sql", path, "q", "--set", "start=soon", "--set", "Forms.f.text="});
  EXPECT_EQ(wrong.status, 1);
  EXPECT_THAT(wrong.err, HasSubstr("the value of the parameter start is not a DateTime"));
  const Outcome unknown = MdbAdm({"sql", path, "q", "--set", "form=1"});
  EXPECT_EQ(unknown.status, 2);
  EXPECT_THAT(unknown.err, HasSubstr("has no parameter form; it has start (DateTime), [Forms]"));
  EXPECT_EQ(MdbAdm({"sql", path, "SELECT 1", "--set", "a=1"}).status, 2);
  EXPECT_EQ(MdbAdm({"sql", path, "q", "--set", "=1"}).status, 2);
  // A value decides which columns there are; the others are parameters.
  EXPECT_EQ(MdbAdmOut({"sql", path, "SELECT id, v2 FROM x WHERE id > [least] ORDER BY id", "--set",
                       "p=v", "--set", "least=0"}),
            "id\tv2\n1\t\\N\n2\t1\n");
  // A person may answer, where there is a terminal.
  if (!test_support::HasProgram("script")) return;
  const Outcome asked =
      MdbAdm({"sql", path, "q", "--set", "Forms.f.text="},
             R"(f() { printf '2020-06-01\n' | script -qec "$*" /dev/null; }; f )");
  EXPECT_EQ(asked.status, 0) << asked.err;
  EXPECT_THAT(asked.out, AllOf(HasSubstr("start (DateTime): "), HasSubstr("id\r\n2\r\n")));
}

TEST_F(VerbsTest, QueriesThatChangeSomethingAreShownNotRun) {
  SKIP_WITHOUT_SAMPLES();
  const std::string path = CopySample(folder_, "queryTestV2000.mdb");
  const std::string before = ReadFileBytes(path);
  const std::pair<const char*, const char*> cases[] = {
      {"UpdateQuery", "(update). It would change rows of Table1: PARAMETERS [User Name] Text; UPD"},
      {"AppendQuery", "(append). It would add rows to Table3: INSERT INTO Table3 ( col2, col2, c"},
      {"DeleteQuery", "(delete). It would delete rows of Table1: DELETE Table1.col1, Table1.col2"},
      {"MakeTableQuery", "(make-table). It would make the table Table4: SELECT Max(Table2.col1) "},
      {"DataDefinitionQuery", "It would change how tables are made: CREATE TABLE Table5 (col1"},
      {"PassthroughQuery", "It would send its text to another program: ALTER TABLE Table4 DROP"}};
  for (const auto& [name, says] : cases) {
    const Outcome outcome = MdbAdm({"sql", path, name});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr(says));
  }
  EXPECT_EQ(ReadFileBytes(path), before);
}

// Attachments, as programs of later formats keep them.
TEST_F(VerbsTest, AColumnOfAnUnknownTypeIsRefusedAndTheOthersWork) {
  const std::string path = Make("c.mdb", [](jet::Database& database) {
    const auto table = database.CreateTable(
        {.name = "t",
         .columns = {{.name = "id", .type = jet::ColumnType::kLong},
                     {.name = "files", .type = jet::ColumnType::kText, .max_size = 20}}});
    table->Insert(std::vector<jet::Value>{7, std::string("x")});
  });
  std::string bytes = ReadFileBytes(path);
  const std::string name("f\0i\0l\0e\0s\0", 10);
  const std::size_t page = bytes.find(name) / 4096 * 4096;
  ASSERT_EQ(bytes.substr(page, 2), "\x02\x01");
  bytes[page + 0x3F + 25] = 18;
  WriteFileBytes(path, bytes);
  EXPECT_EQ(MdbAdmOut({"sql", path, "SELECT id FROM t"}), "id\n7\n");
  for (const std::vector<std::string>& command :
       {std::vector<std::string>{"rows", path, "t"}, {"sql", path, "SELECT * FROM t"}}) {
    const Outcome outcome = MdbAdm(command);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("table t: column files: not supported: a field of type 18 "
                                       "(attachments or several values)"));
  }
  EXPECT_THAT(MdbAdmOut({"dump", path}),
              AllOf(HasSubstr("-- t: files is of type 18 (attachments or several values), which is "
                              "not read: it is NULL here"),
                    HasSubstr("VALUES(7,NULL)")));
}

// Every kind of query, from the rows that its own program wrote.
TEST_F(VerbsTest, QueriesOfRealFilesAllHaveTexts) {
  SKIP_WITHOUT_SAMPLES();
  std::map<std::string, int> kinds;
  for (const std::string& name : SampleNames()) {
    const std::string path = CopySample(folder_, name);
    const std::string password = name == "password.mdb" ? "ucanaccess" : "";
    for (const auto& query : MdbAdmJson({"queries", path, "--password", password})) {
      ++kinds[query["kind"]];
      EXPECT_THAT(query["text"], Not(AnyOf(::testing::IsEmpty(), HasSubstr("[["))));
    }
    EXPECT_THAT(MdbAdmOut({"props", path, "--password", password}), Not(HasSubstr("\nMSys")));
    std::filesystem::remove(path);
  }
  EXPECT_EQ(kinds["crosstab"], 3);
  EXPECT_EQ(kinds.size(), 9U);
}

// ---- comparing

TEST_F(VerbsTest, DiffSeesDirectionAndUniquenessOfAnIndexAndCountsRows) {
  const auto make = [&](const char* name, bool unique, bool descending, int from) {
    return Make(name, [=](jet::Database& database) {
      const auto table = database.CreateTable(
          {.name = "t",
           .columns = {{.name = "ID"}},
           .indexes = {
               {.name = "i", .columns = {"ID"}, .descending = {descending}, .unique = unique}}});
      for (int i = from; i < from + 3; ++i) table->Insert(std::vector<jet::Value>{i});
    });
  };
  const std::string plain = make("a.mdb", false, false, 0);
  struct Case {
    bool unique, descending;
    const char* told;
  };
  for (const Case& each : {Case{false, true, "t\tindex i\tflags 80: ID\tflags 80: ID desc\n"},
                           Case{true, false, "t\tindex i\tflags 80: ID\tflags 81: ID\n"}}) {
    const Outcome diff = MdbAdm({"diff", plain, make("b.mdb", each.unique, each.descending, 0)});
    EXPECT_EQ(diff.status, 1);
    EXPECT_EQ(diff.out, std::string("object\twhat\ta\tb\n") + each.told);
  }
  const std::string shifted = make("c.mdb", false, false, 1);
  EXPECT_THAT(MdbAdm({"diff", plain, shifted, "--rows", "3"}).out, EndsWith("row 3 ID\t2\t3\n"));
  EXPECT_THAT(
      MdbAdm({"diff", plain, shifted, "--rows", "2"}).out,
      AllOf(Not(HasSubstr("row 3")), EndsWith("row 2 ID\t1\t2\nt\tmore rows that differ\t1\t1\n")));
}

// ---- upgrading

TEST_F(VerbsTest, UpgradeToTheVersionThatTheFileHasIsDone) {
  samples::SampleOptions options;
  options.version = 8;
  options.jobs = 0;
  const std::string path = MakeSample(options);
  EXPECT_THAT(MdbAdmOut({"upgrade", path, "--to", "8"}),
              AllOf(HasSubstr("\tdone\t8\t"), Not(HasSubstr("outcome"))));
  const Outcome below = MdbAdm({"upgrade", path, "--to", "7"});
  EXPECT_EQ(below.status, 1);
  EXPECT_THAT(below.err, HasSubstr("version 8 is above 7"));
}

// Only one digit fits: the steps go well, their version cannot be stored.
TEST_F(VerbsTest, AFailureBehindTheLastStepNamesNone) {
  samples::SampleOptions options;
  options.jobs = 0;
  options.change = [](std::vector<samples::BaseTable>& tables) {
    samples::BaseTable& version = samples::TableNamed(tables, std::string(db::kVersionTable));
    version.columns[0].spec.type = ColumnType::kText;
    version.columns[0].spec.max_size = 1;
    version.rows[0][0] = "2";
  };
  const std::string path = MakeSample(options), before = ReadFileBytes(path);
  const Outcome outcome = MdbAdm({"upgrade", path, "--to", "10"});
  EXPECT_EQ(outcome.status, 1);
  EXPECT_THAT(outcome.out, AllOf(HasSubstr("\tData_Up_10\t10\t"), HasSubstr("\tfailed\t2\t")));
  EXPECT_THAT(outcome.err, StartsWith("mdbadm: " + path + ": -2147"));
  EXPECT_EQ(ReadFileBytes(path), before);
}

// The files of this machine, and what is done to them, in order.
class WatchedFiles : public jet::FileSystem {
 public:
  explicit WatchedFiles(jet::FileSystem& files) : files_(files) {}
  std::unique_ptr<jet::File> Open(const std::string& path, jet::OpenMode mode) override {
    if (then) then("open");
    return files_.Open(path, mode);
  }
  std::unique_ptr<jet::File> Create(const std::string& path) override {
    return std::make_unique<WatchedFile>(*this, files_.Create(path));
  }
  void Rename(const std::string& from, const std::string& to) override {
    files_.Rename(from, to);
    Done("rename");
  }
  void Remove(const std::string& path) override { files_.Remove(path); }
  bool Exists(const std::string& path) override { return files_.Exists(path); }
  std::optional<jet::FileId> Identify(const std::string& path) override {
    return files_.Identify(path);
  }

  std::vector<std::string> done;
  std::function<void(const std::string&)> then;

 private:
  void Done(const std::string& what) {
    if (done.empty() || done.back() != what) done.push_back(what);
    if (then) then(what);
  }

  class WatchedFile : public jet::File {
   public:
    WatchedFile(WatchedFiles& owner, std::unique_ptr<jet::File> file)
        : owner_(owner), file_(std::move(file)) {}
    std::uint64_t Size() override { return file_->Size(); }
    void Read(std::uint64_t at, std::span<std::uint8_t> into) override { file_->Read(at, into); }
    void Write(std::uint64_t at, jet::ByteView bytes) override {
      file_->Write(at, bytes);
      owner_.Done("write");
    }
    void Reserve(std::uint64_t size) override { file_->Reserve(size); }
    void Truncate(std::uint64_t size) override { file_->Truncate(size); }
    void Sync() override {
      file_->Sync();
      owner_.Done("sync");
    }
    const std::string& path() const override { return file_->path(); }
    std::optional<jet::FileId> Id() override { return file_->Id(); }

   private:
    WatchedFiles& owner_;
    std::unique_ptr<jet::File> file_;
  };

  jet::FileSystem& files_;
};

TEST_F(VerbsTest, ABackupIsOnTheDiskBeforeItHasItsName) {
  const std::string path = folder_.File("Data.mdb");
  WriteFileBytes(path, std::string((1 << 20) + 5, 'x'));
  WatchedFiles files(*files_);
  const jet::DateTime now = jet::ToDateTime({2024, 1, 31, 23, 59, 58});
  const std::string copy = mdbadm::BackUp(files, path, folder_.File("b"), now);
  EXPECT_THAT(files.done, ElementsAre("write", "sync", "rename"));
  EXPECT_THAT(copy, EndsWith("Data-20240131-235958.mdb"));
  EXPECT_EQ(ReadFileBytes(copy), ReadFileBytes(path));
  EXPECT_THAT(mdbadm::BackUp(files, path, folder_.File("b"), now), EndsWith("-235958-2.mdb"));
}

// Another program that writes as soon as the backup has let go of the file.
TEST_F(VerbsTest, AFileThatChangedAfterItsBackupIsNotUpgraded) {
  samples::SampleOptions options;
  options.jobs = 0;
  const std::string path = MakeSample(options);
  for (const bool longer : {false, true}) {
    WatchedFiles files(*files_);
    bool backed_up = false;
    std::string written;
    files.then = [&](const std::string& what) {
      if (what == "rename") backed_up = true;
      if (what != "open" || !std::exchange(backed_up, false)) return;
      const auto time = std::filesystem::last_write_time(PathOf(path));
      written = ReadFileBytes(path) + std::string(longer ? jet::kPageSize : 0, '\0');
      WriteFileBytes(path, written);
      std::filesystem::last_write_time(PathOf(path),
                                       longer ? time : time + std::chrono::seconds(5));
    };
    mdbadm::Program program{files};
    std::vector<std::string> words{"mdbadm", "upgrade", path, "--backup", folder_.File("b")};
    std::vector<char*> arguments;
    for (std::string& word : words) arguments.push_back(word.data());
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const auto code =
        mdbadm::RunVerb(program, static_cast<int>(arguments.size()), arguments.data());
    std::fflush(stdout);
    EXPECT_THAT(testing::internal::GetCapturedStderr(),
                HasSubstr("another program wrote to the file since its backup began"));
    EXPECT_THAT(testing::internal::GetCapturedStdout(), HasSubstr("\tfailed\t"));
    EXPECT_EQ(code, mdbadm::ExitCode::kFailed);
    EXPECT_EQ(ReadFileBytes(path), written);
  }
}

}  // namespace
