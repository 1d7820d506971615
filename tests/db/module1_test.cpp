#include "db/module1.h"

#include <gmock/gmock.h>

#include <optional>

#include "tests/support/ado_fixture.h"

namespace test_support {
namespace {

using ado::Null;
using ado::Value;
using jet::ColumnType;
using Text = std::string;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;

struct RecordingView : db::SessionView {
  void SetVersionCaption(int element, const std::string& caption) override {
    events.push_back(std::to_string(element) + caption);
  }
  void ShowReinforcementRepair(bool visible) override {
    events.emplace_back(visible ? "show" : "hide");
  }
  void ClearList() override { list.clear(); }
  void AddListItem(const std::string& text) override { list.push_back(text); }
  std::vector<std::string> events, list{"of the file before"};
};

class Module1Test : public AdoTest {
 protected:
  Module1Test() {
    module_.SetView(&view_);
    module_.DataDB_Path = folder_.path();
    module_.TenkaiDB_Path = folder_.path() + "\\";  // the separator stays on it
  }

  void MakeVersionFile(const char* name, ColumnType type, const std::vector<Value>& versions,
                       const std::vector<TestTable>& others = {}) {
    TestTable table{{.name = "ﾊﾞｰｼﾞｮﾝ番号",
                     .columns = {Col("Ver_No", type, type == ColumnType::kText ? 20 : 0)},
                     .indexes = {}},
                    {}};
    for (const Value& version : versions) table.rows.push_back({version});
    std::vector<TestTable> tables{table};
    tables.insert(tables.end(), others.begin(), others.end());
    MakeFile(name, tables, std::string(db::kDatabasePassword));
  }
  std::string Versions(const std::unique_ptr<ado::Connection>& connection) {
    return RowsOf(*connection, "ﾊﾞｰｼﾞｮﾝ番号");
  }

  ado::Environment environment_{*files_, [] { return kTestNow; }};
  RecordingView view_;
  db::Module1 module_{environment_};
};

TEST_F(Module1Test, ConnectionStringsJoinFolderAndFile) {
  MakeVersionFile("Data.mdb", ColumnType::kDouble, {13.0});
  MakeVersionFile("展開Data.mdb", ColumnType::kDouble, {5.0});
  module_.DataDB_Access("Open");
  EXPECT_EQ(module_.DataDB_ConStr,
            "Provider=Microsoft.jet.OLEDB.4.0;Data Source=" + folder_.path() +
                "\\Data.mdb;Jet OLEDB:Database Password=TovaMDB;");
  module_.TenkaiDB_Access("Open");
  EXPECT_EQ(module_.TenkaiDB_ConStr,
            "Provider=Microsoft.jet.OLEDB.4.0;Data Source=" + folder_.path() +
                "\\\\展開Data.mdb;Jet OLEDB:Database Password=TovaMDB;");
  module_.Get_TenkaiVer();
  module_.Get_DataVer();
  EXPECT_THAT(view_.events, ElementsAre("1 Ver 5", "0 Ver 13"));
  EXPECT_EQ(module_.TenkaiDB_Ver, 5);
  EXPECT_EQ(module_.DataDB_Ver, 13);
}

TEST_F(Module1Test, ModesAreExactAndASessionIsClosedOnce) {
  MakeVersionFile("Data.mdb", ColumnType::kDouble, {13.0});
  for (const char* mode : {"open", "OPEN", "close", "", "Open "}) module_.DataDB_Access(mode);
  EXPECT_EQ(module_.DataDB_Con, nullptr);
  EXPECT_RAISES(ado::kErrClosed, module_.DataDB_Access("Close"));
  module_.DataDB_Access("Open");
  module_.DataDB_Access("close");
  ASSERT_NE(module_.DataDB_Con, nullptr);
  EXPECT_TRUE(module_.DataDB_Con->is_open());
  module_.DataDB_Access("Close");
  EXPECT_EQ(module_.DataDB_Con, nullptr);
  module_.DataDB_Path = folder_.File("elsewhere");
  EXPECT_RAISES(ado::kErrFail, module_.DataDB_Access("Open"));
  EXPECT_RAISES(ado::kErrClosed, module_.DataDB_Access("Close"));
}

TEST_F(Module1Test, FolderWithASemicolonIsNamedInTheError) {
  for (const char* name : {"a;b", "a;Data Source=x", "a;Mode=1"}) {
    module_.DataDB_Path = module_.TenkaiDB_Path = folder_.File(name);
    for (const auto access : {&db::Module1::DataDB_Access, &db::Module1::TenkaiDB_Access}) {
      const ado::Error error = ErrorOf([&] { (module_.*access)("Open"); });
      EXPECT_EQ(error.number(), ado::kErrFail);
      EXPECT_THAT(error.text(), AllOf(HasSubstr(folder_.File(name)), HasSubstr("';'")));
    }
  }
}

TEST_F(Module1Test, WithoutASessionEveryOperationRaisesNoConnection) {
  EXPECT_RAISES(ado::kErrNoConnection, module_.Get_DataVer());
  EXPECT_RAISES(ado::kErrNoConnection, module_.DataDB.handle().OpenTable("x"));
  EXPECT_RAISES(ado::kErrNoConnection, module_.DataDB.handle().BindCatalog());
  module_.DataDB_Ver = 15;
  EXPECT_RAISES(ado::kErrNoConnection, module_.Show_HokyoList());
}

TEST_F(Module1Test, VersionIsTheNumberAtTheStartOfTheText) {
  struct Case {
    ColumnType type;
    std::vector<Value> versions;
    ado::ErrorNumber error;
    double version;
    const char* caption;
  };
  const Case cases[] = {
      {ColumnType::kDouble, {13.0}, 0, 13, "0 Ver 13"},
      {ColumnType::kDouble, {13.5}, 0, 13.5, "0 Ver 13.5"},
      {ColumnType::kDouble, {40000.0}, 0, 40000, "0 Ver 40000"},
      {ColumnType::kDouble, {2.0, 3.0}, 0, 2, "0 Ver 2"},
      {ColumnType::kLong, {std::int32_t{-1}}, 0, -1, "0 Ver -1"},
      {ColumnType::kText, {Text("27abc")}, 0, 27, "0 Ver 27"},
      {ColumnType::kText, {Text("  13.5e0x")}, 0, 13.5, "0 Ver 13.5"},
      {ColumnType::kText, {Text("abc")}, 0, 0, "0 Ver 0"},
      {ColumnType::kText, {Text("")}, 0, 0, "0 Ver 0"},
      {ColumnType::kDouble, {Null()}, ado::kErrInvalidNull, 0, ""},
      {ColumnType::kDouble, {}, ado::kErrNoCurrentRow, 0, ""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.caption);
    MakeVersionFile("Data.mdb", c.type, c.versions);
    module_.DataDB_Access("Open");
    view_.events.clear();
    module_.DataDB_Ver = 99;
    if (c.error != 0) {
      EXPECT_RAISES(c.error, module_.Get_DataVer());
      EXPECT_THAT(view_.events, IsEmpty());
      EXPECT_EQ(module_.DataDB_Ver, 99);
    } else {
      module_.Get_DataVer();
      EXPECT_THAT(view_.events, ElementsAre(c.caption));
      EXPECT_EQ(module_.DataDB_Ver, c.version);
    }
    module_.DataDB_Access("Close");
  }
  MakeFile("Data.mdb", {}, std::string(db::kDatabasePassword));
  module_.DataDB_Access("Open");
  EXPECT_THAT(ErrorOf([&] { module_.Get_DataVer(); }).text(), HasSubstr("ﾊﾞｰｼﾞｮﾝ番号"));
}

TEST_F(Module1Test, LadderEndsByStoringTheLatestVersionInTheFirstRow) {
  MakeVersionFile("Data.mdb", ColumnType::kDouble, {28.0, 1.0});
  MakeVersionFile("展開Data.mdb", ColumnType::kText, {Text("2")});
  std::vector<std::string> ran;
  const auto step = [&](std::int16_t produces, db::DbHandle& db, const char* name) {
    return db::LadderStep{.threshold = static_cast<std::int16_t>(produces - 1),
                          .produces = produces,
                          .name = name,
                          .run = [&ran, &db, name] {
                            db.ReopenDb();
                            ran.emplace_back(name);
                          }};
  };
  db::DbHandle& tenkai = module_.TenkaiDB.handle();
  const db::Ladder tenkai_ladder(4, {step(3, tenkai, "tenkai 3"), step(4, tenkai, "tenkai 4")});
  module_.SetLadders(db::Ladder(27, {step(27, module_.DataDB.handle(), "data 27")}), tenkai_ladder);
  module_.DataDB_Access("Open");
  module_.TenkaiDB_Access("Open");
  {
    ado::Environment::Action action(environment_);
    module_.Data_Up(28);
    module_.TenkaiDB.Run(tenkai_ladder, 2, 3);
    action.Commit();
  }
  EXPECT_THAT(ran, ElementsAre("tenkai 3"));
  EXPECT_EQ(OnDisk(folder_.File("Data.mdb"), "ﾊﾞｰｼﾞｮﾝ番号", "TovaMDB"), "27|1");
  EXPECT_EQ(Versions(module_.TenkaiDB_Con), "3");
  module_.Tenkai_Up(3);
  EXPECT_THAT(ran, ElementsAre("tenkai 3", "tenkai 4"));
  EXPECT_EQ(Versions(module_.TenkaiDB_Con), "4");
}

TEST_F(Module1Test, FailedStepLeavesTheVersionAndWhatWasDone) {
  MakeVersionFile("Data.mdb", ColumnType::kDouble, {26.0});
  db::DbHandle& db = module_.DataDB.handle();
  module_.SetLadders(db::Ladder(27, {{.threshold = 26,
                                      .produces = 27,
                                      .name = "fails",
                                      .run =
                                          [&] {
                                            db::Catalog catalog = db.BindCatalog();
                                            db::Table table = db.CreateTable("途中");
                                            db.AppendTable(catalog, table);
                                            db.AppendTable(catalog, table);
                                          }}}),
                     {});
  module_.DataDB_Access("Open");
  {
    ado::Environment::Action action(environment_);
    EXPECT_RAISES(ado::kErrObjectExists, module_.Data_Up(26));
    action.Commit();
  }
  EXPECT_EQ(Versions(module_.DataDB_Con), "26");
  EXPECT_EQ(module_.DataDB.handle().GetTable(module_.DataDB.handle().BindCatalog(), "途中")->name,
            "途中");
}

class HokyoList : public Module1Test {
 protected:
  void Open(const std::vector<std::vector<Value>>& rows) {
    TestTable table{
        {.name = "Spec_補強名称",
         .columns = {Col("補強名", ColumnType::kText, 50), Col("転送名称", ColumnType::kText, 50)},
         .indexes = {}},
        rows};
    MakeVersionFile("Data.mdb", ColumnType::kDouble, {27.0}, {table});
    module_.DataDB_Access("Open");
  }
};

TEST_F(HokyoList, PadsNamesAndPassesOverRowsThatFail) {
  Open({{Text("なし"), Text("なし")},
        {Text("123456789012345"), Text("x")},
        {Text("1234567890123456"), Text("too long")},
        {Null(), Text("no name")},
        {Text("12345678901234"), Text("y")},
        {Text("山形鋼"), Null()}});
  module_.DataDB_Ver = 15;
  module_.Show_HokyoList();
  EXPECT_THAT(view_.events, ElementsAre("show"));
  EXPECT_THAT(view_.list, ElementsAre("なし             \tなし", "123456789012345\tx",
                                      "12345678901234 \ty", "山形鋼            \t"));
}

TEST_F(HokyoList, ShowsNothingUpToVersion14AndFailsWithoutTheTable) {
  MakeVersionFile("Data.mdb", ColumnType::kDouble, {14.0});
  module_.DataDB_Access("Open");
  module_.DataDB_Ver = 14;
  module_.Show_HokyoList();
  EXPECT_THAT(view_.events, ElementsAre("hide"));
  EXPECT_THAT(view_.list, ElementsAre("of the file before"));
  module_.DataDB_Ver = 14.5;
  EXPECT_RAISES(ado::kErrNoTable, module_.Show_HokyoList());
  EXPECT_THAT(view_.events, ElementsAre("hide", "show"));
  EXPECT_THAT(view_.list, ElementsAre("of the file before"));
}

}  // namespace
}  // namespace test_support
