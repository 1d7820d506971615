#include "ado/recordset.h"

#include <gmock/gmock.h>

#include <array>

#include "jet/database/internals.h"
#include "jet/row/table_def_chain.h"
#include "tests/support/ado_fixture.h"

namespace test_support {
namespace {

using ado::Null;
using ado::Value;
using jet::ColumnType;
using Long = std::int32_t;
using Text = std::string;

class RecordsetTest : public AdoTest {
 protected:
  // Rows in another order than their key's, with a default, a required and a
  // Yes/No column.
  void SetUp() override {
    jet::TableSpec spec;
    spec.name = "形状";
    spec.columns = {Col("番号", ColumnType::kLong), Col("名称", ColumnType::kText, 5),
                    Col("ﾌﾗｸﾞ", ColumnType::kInteger), Col("有効", ColumnType::kBoolean)};
    spec.columns[2].default_expression = "7";
    spec.indexes = {{.name = "PrimaryKey", .columns = {"番号"}, .descending = {}, .primary = true}};
    path_ = MakeFile("Data.mdb", {{spec,
                                   {{Long{3}, Text("c"), std::int16_t{0}, true},
                                    {Long{1}, Text("a"), std::int16_t{0}, false},
                                    {Long{2}, Null(), std::int16_t{0}, true}}}});
    connection_.Open(ConnectionTo(path_));
  }

  void OpenTable(ado::Recordset& rows, int lock = ado::adLockOptimistic) {
    AdoTest::OpenTable(rows, connection_, "形状", lock);
  }
  std::string Content() { return RowsOf(connection_, "形状"); }
  static constexpr const char* kInitial = "3,c,0,True|1,a,0,False|2,Null,0,True";

  std::string path_;
  jet::DateTime now_ = kTestNow;
  ado::Environment environment_{*files_, [this] { return now_; }};
  ado::Connection connection_{environment_};
};

TEST_F(RecordsetTest, WalksInStoredOrderFromFirstToEnd) {
  EXPECT_EQ(Content(), kInitial);
  ado::Recordset rows;
  OpenTable(rows);
  EXPECT_EQ(rows.RecordCount(), 3);
  EXPECT_EQ(rows.Get("番号"), Value(Long{3}));
  rows.MoveLast();
  EXPECT_EQ(rows.Get("番号"), Value(Long{2}));
  EXPECT_FALSE(rows.eof());
  rows.MoveNext();
  EXPECT_TRUE(rows.eof());
  EXPECT_RAISES(ado::kErrNoCurrentRow, rows.MoveNext());
  EXPECT_RAISES(ado::kErrNoCurrentRow, rows.Get("番号"));
  EXPECT_RAISES(ado::kErrNoCurrentRow, rows.Set("番号", Long{1}));
  EXPECT_RAISES(ado::kErrItemNotFound, rows.Get("無い"));
  rows.MoveFirst();
  EXPECT_EQ(rows.Get("フラグ"), Value(std::int16_t{0}));  // names compare without width
  EXPECT_EQ(rows.field_name(1), "名称");
  EXPECT_RAISES(ado::kErrItemNotFound, rows.Get(4));
}

TEST_F(RecordsetTest, AddNewAndMovesSaveWhatIsPending) {
  ado::Recordset rows;
  OpenTable(rows);
  rows.AddNew();
  rows.Set("番号", Text("10"));
  EXPECT_EQ(rows.Get("番号"), Value(Long{10}));
  EXPECT_EQ(rows.Get("ﾌﾗｸﾞ"), Value(std::int16_t{7}));  // the default stands at once
  rows.AddNew();
  rows.Set("番号", Long{11});
  rows.Set("ﾌﾗｸﾞ", true);
  EXPECT_EQ(rows.RecordCount(), 4);
  rows.Update();
  EXPECT_EQ(rows.Get("番号"), Value(Long{11}));  // it stands on the new row, the last one
  rows.MoveNext();
  EXPECT_TRUE(rows.eof());
  rows.MoveFirst();
  rows.Set("名称", Text("x"));
  rows.MoveNext();
  rows.Set("名称", Text(""));
  rows.Set("名称", true);
  rows.Update();
  rows.Update();
  EXPECT_EQ(Content(), "3,x,0,True|1,True,0,False|2,Null,0,True|10,Null,7,False|11,Null,-1,False");
  rows.Close();
  EXPECT_EQ(OnDisk(path_, "形状"), Content());
}

TEST_F(RecordsetTest, CloseWithSomethingPendingIsAnErrorAndReleaseDropsIt) {
  for (const bool added : {true, false}) {
    ado::Recordset rows;
    OpenTable(rows);
    if (added) rows.AddNew();
    rows.Set("名称", Text("x"));
    EXPECT_RAISES(ado::kErrPendingEdit, rows.Close());
    EXPECT_TRUE(rows.is_open());
  }
  EXPECT_EQ(Content(), kInitial);
}

TEST_F(RecordsetTest, FailedSaveDropsTheRowAndRaisesFromItsCause) {
  const std::pair<const char*, void (ado::Recordset::*)()> causes[] = {
      {"AddNew", &ado::Recordset::AddNew},       {"MoveNext", &ado::Recordset::MoveNext},
      {"MoveFirst", &ado::Recordset::MoveFirst}, {"MoveLast", &ado::Recordset::MoveLast},
      {"Update", &ado::Recordset::Update},
  };
  for (const auto& cause : causes) {
    SCOPED_TRACE(cause.first);
    ado::Recordset rows;
    OpenTable(rows);
    rows.MoveNext();
    rows.AddNew();
    rows.Set("番号", Long{3});  // there already
    EXPECT_RAISES(ado::kErrIntegrity, (rows.*cause.second)());
    EXPECT_EQ(rows.Get("番号"), Value(Long{1}));
    rows.Set("番号", Long{3});
    EXPECT_RAISES(ado::kErrIntegrity, (rows.*cause.second)());
    rows.Close();
    EXPECT_EQ(Content(), kInitial);
  }
}

TEST_F(RecordsetTest, BadValuesAreRefusedAndNothingIsCutOff) {
  ado::Recordset rows;
  OpenTable(rows);
  for (const auto& [field, value] :
       std::initializer_list<std::pair<const char*, Value>>{{"名称", Text("あいうえおか")},
                                                            {"ﾌﾗｸﾞ", Long{99999}},
                                                            {"番号", Text("なし")},
                                                            {"有効", Text("なし")}}) {
    const ado::Error error = ErrorOf([&, f = field, v = value] { rows.Set(f, v); });
    EXPECT_EQ(error.number(), ado::kErrIntegrity);
    EXPECT_THAT(error.text(), ::testing::HasSubstr(field));
  }
  rows.Set("名称", Text("あいうえお"));
  rows.Update();
  EXPECT_EQ(rows.Get("名称"), Value(Text("あいうえお")));
}

TEST_F(RecordsetTest, ReadOnlyAndClosedOnesRefuse) {
  ado::Recordset rows;
  EXPECT_RAISES(ado::kErrClosed, rows.eof());
  EXPECT_RAISES(ado::kErrClosed, rows.Close());
  for (int lock : {ado::adLockUnspecified, ado::adLockReadOnly}) {
    OpenTable(rows, lock);
    EXPECT_RAISES(ado::kErrReadOnly, rows.Set("名称", Text("x")));
    EXPECT_RAISES(ado::kErrReadOnly, rows.AddNew());
    EXPECT_RAISES(ado::kErrOpen, OpenTable(rows));
    rows.Update();
    rows.Close();
  }
  EXPECT_RAISES(ado::kErrNoTable, rows.Open("無い", connection_, 1, 3, ado::adCmdTable));
  EXPECT_RAISES(ado::kErrNoTable, rows.Open("無い", connection_, -1, -1, -1));
  EXPECT_RAISES(ado::kErrSql, rows.Open("SELEC 番号 FROM 形状", connection_, -1, -1, -1));
  using Modes = std::array<int, 3>;
  for (const Modes& modes : {Modes{1, 3, 512}, Modes{4, 3, 2}, Modes{-2, 3, 2}, Modes{1, 4, 2}}) {
    EXPECT_RAISES(ado::kErrInvalidCall,
                  rows.Open("形状", connection_, modes[0], modes[1], modes[2]));
  }
  OpenTable(rows);
  rows.Set("名称", Text("x"));
  connection_.Close();  // takes its recordsets along
  EXPECT_FALSE(rows.is_open());
  EXPECT_RAISES(ado::kErrClosed, rows.Update());
  EXPECT_RAISES(ado::kErrNoConnection, OpenTable(rows));
  connection_.Open(ConnectionTo(path_));
  EXPECT_EQ(Content(), kInitial);
}

TEST_F(RecordsetTest, SelectOverOneTableIsWrittenThroughWhenLocked) {
  ado::Recordset rows;
  const char* select = "SELECT 形状.名称 FROM 形状;";
  rows.Open(select, connection_, -1, -1, -1);
  EXPECT_EQ(rows.RecordCount(), 3);
  EXPECT_RAISES(ado::kErrReadOnly, rows.Set("名称", Text("x")));
  rows.MoveLast();
  EXPECT_EQ(rows.Get(0), Value(Null()));
  rows.Close();
  rows.Open(select, connection_, -1, ado::adLockOptimistic, -1);
  EXPECT_EQ(rows.field_count(), 1U);
  rows.Set("名称", Text("x"));
  rows.MoveNext();
  EXPECT_EQ(rows.Get("名称"), Value(Text("a")));
  EXPECT_EQ(rows.RecordCount(), 3);
  EXPECT_EQ(Content(), "3,x,0,True|1,a,0,False|2,Null,0,True");
  rows.MoveLast();
  EXPECT_EQ(rows.Get("名称"), Value(Null()));
  // Closed, it is of no connection, and goes down with none.
  rows.Close();
  ado::Connection other(environment_);
  other.Open(ConnectionTo(path_));
  rows.Open(select, other, -1, -1, -1);
  connection_.Close();
  EXPECT_TRUE(rows.is_open());
}

// The number in the definition is another program's word.
TEST_F(RecordsetTest, RecordCountCountsTheRows) {
  jet::Pager& pager = jet::Internals(*connection_.database()).pager();
  jet::TableDef def = DefOf(*connection_.database()->OpenTable("形状"));
  def.row_count = 9;
  jet::Scope scope(pager);
  jet::StoreCounters(def, pager);
  scope.Commit();
  connection_.database()->Commit();
  connection_.Close();
  connection_.Open(ConnectionTo(path_));
  jet::Table& table = *connection_.database()->OpenTable("形状");
  ASSERT_EQ(table.row_count(), 9U);
  ado::Recordset rows;
  OpenTable(rows);
  EXPECT_EQ(rows.RecordCount(), 3);
  table.Delete(*table.Next(*table.First()));
  EXPECT_EQ(rows.RecordCount(), 2);
}

TEST_F(RecordsetTest, DefaultsAreEvaluatedForWhatIsNotSet) {
  jet::TableSpec spec;
  spec.name = "記録";
  spec.columns = {Col("年", ColumnType::kText, 10), Col("番号", ColumnType::kLong),
                  Col("時", ColumnType::kDateTime), Col("有効", ColumnType::kBoolean),
                  Col("期", ColumnType::kText, 20)};
  spec.columns[0].default_expression = "=DLookup(\"年\",\"記録\")";
  spec.columns[4].default_expression = "= Format(Date(), \"yyyy\") & \"年\" & 1+1";
  spec.columns[1].default_expression = "5";
  spec.columns[2].default_expression = "=Now()";
  connection_.database()->CreateTable(spec);
  ado::Recordset rows;
  AdoTest::OpenTable(rows, connection_, "記録");
  rows.AddNew();
  EXPECT_EQ(rows.Get("番号"), Value(Long{5}));
  EXPECT_RAISES(ado::kErrFail, rows.Get("年"));
  rows.Set("年", Null());  // set to nothing is set
  now_.days += 1;
  AddRow(rows, {{"年", Text("2010")}, {"番号", Null()}});
  EXPECT_EQ(RowsOf(connection_, "記録"),
            "Null,5,2010-01-05 12:00:00,False,2010年2|2010,Null,2010-01-05 12:00:00,False,2010年2");
  const ado::Error error = ErrorOf([&] { AddRow(rows, {{"番号", Long{1}}}); });
  EXPECT_EQ(error.cause(), jet::ErrorCode::kNotSupported);
  for (const char* part : {"'記録'", "'年'", "=DLookup(\"年\",\"記録\")"}) {
    EXPECT_THAT(error.text(), ::testing::HasSubstr(part));
  }
  EXPECT_EQ(rows.RecordCount(), 2);
}

TEST_F(RecordsetTest, ColumnsThatComeWhileARowIsAddedGetTheirDefaults) {
  ado::Recordset rows;
  OpenTable(rows);
  rows.AddNew();
  rows.Set("番号", Long{4});
  jet::ColumnSpec late = Col("色", ColumnType::kText, 5);
  late.default_expression = "\"赤\"";
  connection_.database()->AppendColumn("形状", late);
  rows.Update();
  EXPECT_THAT(Content(), ::testing::EndsWith("|4,Null,7,False,赤"));
}

TEST_F(RecordsetTest, SystemTablesAreReadOnly) {
  ado::Recordset rows;
  AdoTest::OpenTable(rows, connection_, "MSysObjects");
  EXPECT_RAISES(ado::kErrReadOnly, rows.Set("Name", Text("x")));
  EXPECT_RAISES(ado::kErrReadOnly, rows.AddNew());
}

TEST_F(RecordsetTest, EmptyTableStandsAtItsEnd) {
  const std::string path = MakeFile(
      "Empty.mdb", {{{.name = "空", .columns = {Col("n", ColumnType::kLong)}, .indexes = {}}, {}}});
  ado::Connection connection(environment_);
  connection.Open(ConnectionTo(path));
  ado::Recordset rows;
  AdoTest::OpenTable(rows, connection, "空");
  EXPECT_TRUE(rows.eof());
  EXPECT_EQ(rows.RecordCount(), 0);
  EXPECT_RAISES(ado::kErrNoCurrentRow, rows.MoveFirst());
  EXPECT_RAISES(ado::kErrNoCurrentRow, rows.MoveLast());
  EXPECT_RAISES(ado::kErrNoCurrentRow, rows.Set("n", Long{1}));
  EXPECT_RAISES(ado::kErrItemNotFound, rows.Get("m"));
  rows.AddNew();
  EXPECT_FALSE(rows.eof());
  rows.MoveNext();  // saves the row of nothing but defaults, and leaves it
  EXPECT_TRUE(rows.eof());
  EXPECT_EQ(rows.RecordCount(), 1);
}

TEST_F(RecordsetTest, UpdateWithoutChangesDirtiesNothing) {
  ado::Environment::Action action(environment_);
  ado::Recordset rows;
  OpenTable(rows);
  for (; !rows.eof(); rows.MoveNext()) rows.Update();
  rows.Close();
  EXPECT_FALSE(connection_.database()->changed());
}

}  // namespace
}  // namespace test_support
