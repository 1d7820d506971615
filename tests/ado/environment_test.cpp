#include "ado/environment.h"

#include <gmock/gmock.h>

#include <filesystem>
#include <optional>

#include "tests/support/ado_fixture.h"
#include "tests/support/fault_file.h"
#include "tests/support/own_file.h"

namespace test_support {
namespace {

using jet::ColumnType;

class EnvironmentTest : public AdoTest {
 protected:
  void SetUp() override {
    path_ = MakeFile("Data.mdb",
                     {{{.name = "番号", .columns = {Col("n", ColumnType::kLong)}, .indexes = {}},
                       {{std::int32_t{1}}}}},
                     "secret");
  }
  std::string ConnectionTo(const std::string& path) {
    return AdoTest::ConnectionTo(path, "secret");
  }
  std::string OnDisk() { return AdoTest::OnDisk(path_, "番号", "secret"); }

  void AddRow(ado::Connection& connection, std::int32_t n) {
    ado::Recordset rows;
    OpenTable(rows, connection, "番号");
    AdoTest::AddRow(rows, {{"n", n}});
    rows.Close();
  }

  ado::ErrorNumber OpenElsewhere() {
    ado::Environment other(*files_);
    ado::Connection connection(other);
    try {
      connection.Open(ConnectionTo(path_));
      return 0;
    } catch (const ado::Error& error) {
      return error.number();
    }
  }

  std::string path_;
};

TEST_F(EnvironmentTest, OutsideAnActionEveryOperationCommitsItself) {
  ado::Environment environment(*files_);
  ado::Connection connection(environment);
  connection.Open(ConnectionTo(path_));
  AddRow(connection, 2);
  EXPECT_EQ(OnDisk(), "1|2");
  EXPECT_EQ(OpenElsewhere(), ado::kErrFail);
  connection.Close();
  EXPECT_EQ(OpenElsewhere(), 0);
}

TEST_F(EnvironmentTest, ActionKeepsLockAndChangesWhileEveryConnectionIsClosed) {
  ado::Environment environment(*files_);
  {
    ado::Environment::Action action(environment);
    ado::Connection connection(environment);
    connection.Open(ConnectionTo(path_));
    const jet::Database* database = connection.database().get();
    AddRow(connection, 2);
    connection.Close();
    EXPECT_EQ(OpenElsewhere(), ado::kErrFail);
    EXPECT_EQ(OnDisk(), "1");
    connection.Open(ConnectionTo(path_));
    EXPECT_EQ(connection.database().get(), database);
    EXPECT_EQ(RowsOf(connection, "番号"), "1|2");
    action.Commit();
    EXPECT_EQ(OnDisk(), "1|2");
    AddRow(connection, 3);
  }
  // What came after the commit is gone, and so is the lock.
  EXPECT_EQ(OnDisk(), "1|2");
  EXPECT_EQ(OpenElsewhere(), 0);
  ExpectSound(path_);
}

TEST_F(EnvironmentTest, DroppedActionLeavesOpenConnectionsUsable) {
  ado::Environment environment(*files_);
  ado::Connection connection(environment);
  connection.Open(ConnectionTo(path_));
  ado::Recordset stays;
  OpenTable(stays, connection, "番号");
  {
    ado::Environment::Action action(environment);
    AdoTest::AddRow(stays, {{"n", std::int32_t{2}}});
  }
  EXPECT_RAISES(ado::kErrNoCurrentRow, stays.Get("n"));  // its row is not there any more
  EXPECT_EQ(RowsOf(connection, "番号"), "1");
  AddRow(connection, 3);
  EXPECT_EQ(OnDisk(), "1|3");
}

TEST_F(EnvironmentTest, OneFileIsOneDatabaseHoweverItsPathIsSpelt) {
  ado::Environment environment(*files_);
  ado::Connection plain(environment), doubled(environment), mixed(environment);
  plain.Open(ConnectionTo(path_));
  doubled.Open(ConnectionTo(folder_.path() + "/\\Data.mdb"));
  mixed.Open(ConnectionTo(folder_.path() + "\\Data.mdb"));
  EXPECT_EQ(plain.database(), doubled.database());
  EXPECT_EQ(plain.database(), mixed.database());
  ado::Catalog catalog(environment);
  catalog.SetActiveConnection(ConnectionTo(path_));
  EXPECT_EQ(catalog.GetTable("番号").name, "番号");
}

TEST_F(EnvironmentTest, OneFileIsOneDatabaseWhateverPathLeadsToIt) {
  namespace fs = std::filesystem;
  const std::string link = folder_.File("link.mdb"), folder = folder_.File("folder");
  fs::create_hard_link(PathOf(path_), PathOf(link));
  std::error_code no_links;  // as where only administrators may make them
  fs::create_directory_symlink(PathOf(folder_.path()), PathOf(folder), no_links);
  std::vector<std::string> paths = {path_, link};
  if (!no_links) paths.push_back(folder + "/Data.mdb");
  ado::Environment environment(*files_);
  ado::Environment::Action action(environment);
  ado::Connection first(environment);
  first.Open(ConnectionTo(path_));
  const jet::Database* const database = first.database().get();
  first.Close();  // inside an action it stays held
  for (const std::string& path : paths) {
    ado::Connection connection(environment);
    connection.Open(ConnectionTo(path));
    EXPECT_EQ(connection.database().get(), database) << path;
  }
}

TEST_F(EnvironmentTest, AnotherFileInItsPlaceIsAnotherDatabase) {
  ado::Environment environment(*files_);
  ado::Environment::Action action(environment);
  ado::Connection first(environment), second(environment);
  const std::string copy = folder_.File("copy.mdb");
  WriteFileBytes(copy, ReadFileBytes(path_));
  first.Open(ConnectionTo(path_));
  if (!ReadOwnFile(path_)) {  // where a file that is open may be replaced
    files_->Rename(copy, path_);
    second.Open(ConnectionTo(path_));
    EXPECT_NE(second.database(), first.database());
  }
}

TEST_F(EnvironmentTest, PasswordIsAskedOfEveryConnection) {
  ado::Environment environment(*files_);
  ado::Connection first(environment), second(environment);
  const ado::Error error = ErrorOf([&] { first.Open(AdoTest::ConnectionTo(path_, "Secret")); });
  EXPECT_EQ(error.number(), ado::kErrWrongPassword);
  EXPECT_THAT(error.text(), ::testing::HasSubstr("Data.mdb"));
  first.Open(ConnectionTo(path_));
  EXPECT_RAISES(ado::kErrWrongPassword, second.Open(AdoTest::ConnectionTo(path_)));
  EXPECT_RAISES(ado::kErrOpen, first.Open(ConnectionTo(path_)));
  EXPECT_RAISES(ado::kErrClosed, second.Close());
  EXPECT_RAISES(ado::kErrClosed, second.database());
  EXPECT_RAISES(ado::kErrFail, second.Open(ConnectionTo(folder_.File("none.mdb"))));
}

TEST_F(EnvironmentTest, OperationWhoseFlushFailsHasNotHappened) {
  FaultFiles files;
  files.bytes(path_) = ReadFileBytes(path_);
  {
    ado::Environment environment(files);
    ado::Connection connection(environment);
    connection.Open(ConnectionTo(path_));
    ado::Recordset rows;
    OpenTable(rows, connection, "番号");
    files.SetFault({.kind = Fault::Kind::kFull, .at = 1});
    EXPECT_RAISES(ado::kErrFail, AdoTest::AddRow(rows, {{"n", std::int32_t{2}}}));
    files.ClearFault();
    EXPECT_EQ(rows.Get("n"), ado::Value(std::int32_t{1}));
    EXPECT_EQ(RowsOf(connection, "番号"), "1");
    rows.Close();
    AddRow(connection, 3);
  }
  WriteFileBytes(path_, files.bytes(path_));
  EXPECT_EQ(OnDisk(), "1|3");
}

TEST_F(EnvironmentTest, ChangesThatCannotBeDroppedAreNeverFlushed) {
  FaultFiles files;
  const std::string before = files.bytes(path_) = ReadFileBytes(path_);
  ado::Environment environment(files);
  ado::Connection connection(environment), again(environment);
  connection.Open(ConnectionTo(path_));
  {
    const auto table = connection.database()->OpenTable("番号");
    jet::Table::Row pinned;  // its page must be read again
    ASSERT_TRUE(table->Read(*table->First(), pinned));
    ado::Environment::Action action(environment);
    AddRow(connection, 2);
    files.SetFault({.kind = Fault::Kind::kFailForEver});
  }
  files.ClearFault();
  EXPECT_ANY_THROW(AddRow(connection, 3));
  connection.Close();
  EXPECT_EQ(files.bytes(path_), before);
  again.Open(ConnectionTo(path_));
  AddRow(again, 3);
  EXPECT_EQ(RowsOf(again, "番号"), "1|3");
}

// Its own backslash always parts names; another only where the system takes it for one.
TEST(ConnectionStrings, SourceIsSpeltAsTheSystemDoes) {
  const auto path = [](const std::string& source) {
    return ado::ConnectionString::Parse("Data Source=" + source + ";").Path();
  };
  EXPECT_EQ(path("'/a\\b\\Data.mdb'"), "/a\\b\\Data.mdb") << "in quotes, as it is";
  if (jet::PathSeparators() != "/") {
    EXPECT_EQ(path("C:\\W/\\Data.mdb"), "C:\\W/\\Data.mdb");
    return;
  }
  EXPECT_EQ(path("/a\\b\\Data.mdb"), "/a\\b/Data.mdb");
  EXPECT_EQ(path("/a\\b/\\Data.mdb"), "/a\\b//Data.mdb");
  EXPECT_EQ(path("/a\\b\\\\Data.mdb"), "/a\\b//Data.mdb");
  EXPECT_EQ(path("/a\\b/Data.mdb"), "/a\\b/Data.mdb");
  EXPECT_EQ(path("\\Data.mdb"), "/Data.mdb");
  EXPECT_EQ(path("C:\\W\\Data.mdb"), "C:/W/Data.mdb");
  EXPECT_EQ(path("Data.mdb"), "Data.mdb");
}

TEST_F(EnvironmentTest, ThereAreNoUsers) {
  ado::Environment environment(*files_);
  ado::Connection connection(environment);
  EXPECT_RAISES(ado::kErrInvalidCall, connection.Open(ConnectionTo(path_), "Admin"));
  EXPECT_RAISES(ado::kErrInvalidCall, connection.Open(ConnectionTo(path_), "", "x"));
}

TEST(ConnectionStrings, AreReadAsWritten) {
  using ado::ConnectionString;
  struct Case {
    const char *text, *source, *password;
  };
  const Case cases[] = {
      {"Provider=P;Data Source=C:\\W\\\\Data.mdb;Jet OLEDB:Database Password=Pw;",
       "C:\\W\\\\Data.mdb", "Pw"},
      {"data source = a=b ;;JET OLEDB:DATABASE PASSWORD=", "a=b", ""},
      {"Data Source=\"a;b\"\"c\";Jet OLEDB:Database Password='p\"w'", "a;b\"c", "p\"w"},
      {"Data Source=C:\\O'Neil\\Data.mdb;Mode=3", "C:\\O'Neil\\Data.mdb", ""},
      {"Data Source=\"a\"  ; Jet OLEDB:Database Password='p' ", "a", "p"},
      {"", "", ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    const ConnectionString parsed = ConnectionString::Parse(c.text);
    EXPECT_EQ(parsed.data_source, c.source);
    EXPECT_EQ(parsed.password, c.password);
  }
  for (const char* bad : {"Data Source", "a;b=c", "a=\"b", "a=\"b\"c;d=e"}) {
    EXPECT_RAISES(ado::kErrFail, ConnectionString::Parse(bad)) << bad;
  }
}

}  // namespace
}  // namespace test_support
