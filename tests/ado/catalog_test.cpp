#include "ado/catalog.h"

#include <gmock/gmock.h>

#include "jet/table/internals.h"
#include "sql/sql.h"
#include "tests/support/ado_fixture.h"

namespace test_support {
namespace {

using ado::Null;
using ado::Value;
using jet::ColumnType;
using ::testing::ElementsAre;
using Long = std::int32_t;
using Text = std::string;

class CatalogTest : public AdoTest {
 protected:
  void SetUp() override {
    path_ = MakeFile(
        "Data.mdb", {{{.name = "設定",
                       .columns = {Col("幅", ColumnType::kLong), Col("記号", ColumnType::kText, 9)},
                       .indexes = {}},
                      {{Long{1}}, {Long{2}}}}});
    catalog_.SetActiveConnection(ConnectionTo(path_));
    connection_.Open(ConnectionTo(path_));
  }
  std::string TextOf(std::string_view query) {
    return ado::QueryText(*connection_.database(), *connection_.database()->Find(query));
  }

  std::string path_;
  ado::Environment environment_{*files_, [] { return kTestNow; }};
  ado::Catalog catalog_{environment_};
  ado::Connection connection_{environment_};
};

TEST_F(CatalogTest, AppendedColumnIsRequiredButOldRowsStayUpdatable) {
  ado::Table table = catalog_.GetTable("設定");
  table.AppendColumn("名称", ado::adWChar, 50);
  table.AppendColumn("有効", ado::adBoolean, 0);
  EXPECT_RAISES(ado::kErrColumnExists, table.AppendColumn("名称", ado::adWChar, 50));
  EXPECT_EQ(OnDisk(path_, "設定"), "1,Null,Null,False|2,Null,Null,False");

  ado::Recordset rows;
  OpenTable(rows, connection_, "設定");
  rows.Set("幅", Long{5});  // another field of a row that holds Null
  rows.Update();
  rows.Set("名称", Null());
  EXPECT_RAISES(ado::kErrIntegrity, rows.Update());
  rows.Set("名称", Text(""));  // no text is not Null
  rows.MoveNext();
  const ado::Error error = ErrorOf([&] { AddRow(rows, {{"幅", Long{6}}}); });
  EXPECT_EQ(error.number(), ado::kErrIntegrity);
  EXPECT_THAT(error.text(), ::testing::HasSubstr("'名称'"));
  AddRow(rows, {{"名称", Text("x")}});
  EXPECT_EQ(OnDisk(path_, "設定"), "5,Null,,False|2,Null,Null,False|Null,Null,x,False");
  ExpectSound(path_);
}

TEST_F(CatalogTest, NewTableIsStoredWholeWithItsKey) {
  ado::Table table;
  table.name = "作業";
  const std::pair<const char*, ado::DataType> columns[] = {
      {"通し番号", ado::adInteger},  {"日付", ado::adDate},     {"階", ado::adWChar},
      {"数量", ado::adDouble},       {"金額", ado::adCurrency}, {"区分", ado::adSmallInt},
      {"率", ado::adSingle},         {"有無", ado::adBoolean},  {"段", ado::adUnsignedTinyInt},
      {"備考", ado::adLongVarWChar},
  };
  for (const auto& [name, type] : columns) {
    table.AppendColumn(name, type, type == ado::adWChar ? 50 : 0);
    if (type != ado::adDate) table.SetColumnAttributes(name, ado::adColNullable);
  }
  EXPECT_RAISES(ado::kErrColumnExists, table.AppendColumn("区分", ado::adDouble, 0));
  EXPECT_RAISES(ado::kErrItemNotFound, table.SetColumnAttributes("無い", 0));
  table.AppendKey({"PrimaryKey", ado::adKeyPrimary, {"通し番号"}});
  EXPECT_RAISES(ado::kErrItemNotFound, catalog_.GetTable("作業"));
  catalog_.AppendTable(table);
  EXPECT_RAISES(ado::kErrObjectExists, catalog_.AppendTable(table));

  const std::vector<ado::Column> stored = catalog_.GetTable("作業").Columns();
  ASSERT_EQ(stored.size(), std::size(columns));
  for (std::size_t i = 0; i < stored.size(); ++i) {
    SCOPED_TRACE(stored[i].name);
    EXPECT_EQ(stored[i].name, columns[i].first);
    EXPECT_EQ(stored[i].type,
              columns[i].second == ado::adWChar ? ado::adVarWChar : columns[i].second);
    EXPECT_EQ(stored[i].defined_size, columns[i].second == ado::adWChar ? 50U : 0U);
    EXPECT_EQ((stored[i].attributes & ado::adColNullable) == 0, i == 1);
  }
  const auto inner = connection_.database()->OpenTable("作業");
  EXPECT_FALSE(inner->columns()[2].compressed);
  EXPECT_FALSE(inner->columns()[2].fixed);

  ado::Recordset rows;
  OpenTable(rows, connection_, "作業");
  for (const auto& [key, date, good] :
       std::initializer_list<std::tuple<Value, Value, bool>>{{Long{1}, kTestNow, true},
                                                             {Long{1}, kTestNow, false},
                                                             {Null(), kTestNow, false},
                                                             {Long{2}, Null(), false},
                                                             {Long{3}, kTestNow, true}}) {
    const auto add = [&, k = key, d = date] { AddRow(rows, {{"通し番号", k}, {"日付", d}}); };
    if (good) {
      add();
    } else {
      EXPECT_RAISES(ado::kErrIntegrity, add());
    }
  }
  EXPECT_EQ(rows.RecordCount(), 2);
  ExpectSound(path_);
}

TEST_F(CatalogTest, SizeOfABinaryColumnIsItsOwn) {
  ado::Table table;
  table.name = "記号";
  table.AppendColumn("印", ado::adVarBinary, 20);
  table.AppendColumn("絵", ado::adLongVarBinary, 0);
  table.AppendColumn("名", ado::adVarWChar, 0);  // the provider's size where none is given
  table.AppendKey({"", ado::adKeyPrimary, {"名"}});
  catalog_.AppendTable(table);
  EXPECT_EQ(DefOf(*connection_.database()->OpenTable("記号")).logical_indexes[0].name,
            "PrimaryKey");
  const std::vector<ado::Column> stored = table.Columns();
  EXPECT_EQ(stored[0].defined_size, 20U);
  EXPECT_EQ(stored[1].defined_size, 0U);
  EXPECT_EQ(stored[2].defined_size, 255U);
  EXPECT_EQ(catalog_.GetTable("設定").Columns()[0].attributes,
            ado::adColFixed | ado::adColNullable);
  EXPECT_EQ(catalog_.GetTable("設定").Columns()[1].attributes, ado::adColNullable);
}

TEST_F(CatalogTest, ColumnlessTableGetsItsColumnsAfterwards) {
  ado::Table table;
  table.name = "拾い";
  catalog_.AppendTable(table);
  ExpectSound(path_);
  EXPECT_TRUE(catalog_.GetTable("拾い").Columns().empty());
  table.AppendColumn("転送㎡", ado::adDouble, 0);  // the same object, stored by now
  catalog_.GetTable("拾い").AppendColumn("㎡制限", ado::adDouble, 0);
  EXPECT_EQ(table.Columns().size(), 2U);
  ado::Recordset rows;
  OpenTable(rows, connection_, "拾い");
  AddRow(rows, {{"転送㎡", std::int16_t{1}}, {"㎡制限", Text("0.5")}});
  EXPECT_EQ(OnDisk(path_, "拾い"), "1,0.5");
  ExpectSound(path_);
}

TEST_F(CatalogTest, NamesAreFoundAndTakenWithoutRegardToWidth) {
  ado::Table table;
  table.name = "設定";
  EXPECT_RAISES(ado::kErrObjectExists, catalog_.AppendTable(table));
  table.name = "ﾌﾚｷ変換";
  catalog_.AppendTable(table);
  EXPECT_EQ(catalog_.GetTable("フレキ変換").name, "ﾌﾚｷ変換");
  EXPECT_RAISES(ado::kErrItemNotFound, catalog_.GetTable("フレキ"));
  EXPECT_RAISES(ado::kErrObjectExists,
                catalog_.AppendView("フレキ変換", {"SELECT 設定.幅 FROM 設定;"}));
  ado::Catalog unbound(environment_);
  EXPECT_RAISES(ado::kErrNoConnection, unbound.GetTable("設定"));
  EXPECT_RAISES(ado::kErrNoConnection, unbound.SetActiveConnection(""));
}

TEST_F(CatalogTest, ViewKeepsItsTextAndRuns) {
  const std::string text = "SELECT 設定.幅, Sum(設定.幅) AS 計\rFROM 設定\rGROUP BY 設定.幅";
  EXPECT_RAISES(ado::kErrSql, catalog_.AppendView("集計", {"SELECT FROM 設定"}));
  EXPECT_FALSE(connection_.database()->Find("集計"));
  catalog_.AppendView("集計", {text});
  EXPECT_EQ(TextOf("集計"), text);
  EXPECT_EQ(RowsOf(connection_, "集計"), "1,1|2,2");
  EXPECT_EQ(RowsOf(connection_, "集計", ado::adCmdUnspecified), "1,1|2,2");

  // Rows that another program changed are shown as they are.
  jet::Database& database = *connection_.database();
  const auto query = database.Find("集計");
  ASSERT_TRUE(query);
  jet::Properties properties = database.LoadProperties(*query);
  properties.SetText(database.order(), {}, jet::kCommandTextProperty, ColumnType::kMemo, 0,
                     "SELECT 設定.幅 FROM 設定");
  database.StoreProperties(*query, properties);
  EXPECT_THAT(TextOf("集計"), ::testing::HasSubstr("Sum("));
}

// Another program writes the same query in other rows; one that means something
// else is shown by its rows.
TEST_F(CatalogTest, VerbatimTextStaysWithAQueryThatMeansTheSame) {
  jet::Database& database = *connection_.database();
  const std::string text = "SELECT 設定.幅 FROM 設定\rWHERE 設定.幅 > 1";
  jet::QueryDefinition designed = sql::Parse(text);
  auto& rows = designed.rows;
  rows[0].flag = std::int16_t{0};
  rows.insert(rows.begin() + 2, {{.attribute = jet::QueryRow::kKind, .flag = std::int16_t{1}},
                                 {.attribute = jet::QueryRow::kOptions, .flag = std::int16_t{0}}});
  ASSERT_NE(designed, sql::Parse(text));
  database.CreateQuery("同じ", designed, text);
  rows.back().expression = "設定.幅 > 2";
  database.CreateQuery("違う", designed, text);
  EXPECT_EQ(TextOf("同じ"), text);
  EXPECT_THAT(TextOf("違う"), ::testing::HasSubstr("設定.幅 > 2"));
}

// An error with its name when it is run; the others do not suffer.
TEST_F(CatalogTest, BrokenQueryIsAnErrorOfItsOwn) {
  jet::Database& database = *connection_.database();
  catalog_.AppendView("前", {"SELECT 幅 FROM 設定"});
  using R = jet::QueryRow;
  const R source{.attribute = R::kSource, .name1 = "設定"};
  const std::vector<R> broken[] = {
      {{.attribute = R::kKind, .flag = std::int16_t{77}}},
      {source, {.attribute = R::kOutput, .expression = "設定.幅 +"}},
      {source, {.attribute = R::kJoin, .flag = std::int16_t{1}, .name1 = "設定", .name2 = "無"}},
      {source, {.attribute = 99}},  // turned into no attribute at all below
  };
  for (std::size_t i = 0; i < std::size(broken); ++i) {
    jet::QueryDefinition rows{{{.attribute = R::kStart}, {.attribute = R::kEnd}}};
    rows.rows.insert(rows.rows.end(), broken[i].begin(), broken[i].end());
    database.CreateQuery("壊れ" + std::to_string(i), rows, {});
  }
  const auto table = database.OpenTable("MSysQueries");
  const std::size_t attribute = table->OrdinalOf("Attribute");
  for (auto row = table->First(); row; row = table->Next(*row)) {
    jet::Table::Row read;
    const jet::FieldChange change{attribute, Null()};
    if (table->Read(*row, read) && read.Get(attribute) == Value(std::uint8_t{99})) {
      table->Update(*row, {&change, 1});
    }
  }
  catalog_.AppendView("後", {"SELECT 記号, 幅 FROM 設定"});
  for (std::size_t i = 0; i < std::size(broken); ++i) {
    const std::string name = "壊れ" + std::to_string(i);
    if (i == 1) {
      EXPECT_THAT(TextOf(name), ::testing::HasSubstr("設定.幅 +"));
    } else {
      EXPECT_ANY_THROW(TextOf(name)) << name;
    }
    for (const std::string& source : {name, "SELECT * FROM " + name}) {
      const ado::Error error = ErrorOf([&] { RowsOf(connection_, source, ado::adCmdUnspecified); });
      EXPECT_THAT(error.text(), ::testing::HasSubstr(name)) << source;
    }
  }
  EXPECT_EQ(RowsOf(connection_, "前"), "1|2");
  EXPECT_EQ(RowsOf(connection_, "後"), "Null,1|Null,2");
}

TEST_F(CatalogTest, AttributesOfAStoredColumnDecideWhetherItIsRequired) {
  ado::Table table = catalog_.GetTable("設定");
  table.AppendColumn("有効", ado::adBoolean, 0);
  table.SetColumnAttributes("有効", 0);  // means nothing for Yes/No
  EXPECT_EQ(table.Columns()[2].attributes & ado::adColNullable, ado::adColNullable);
  table.SetColumnAttributes("幅", 0);
  EXPECT_EQ(table.Columns()[0].attributes & ado::adColNullable, 0);
  ado::Recordset rows;
  OpenTable(rows, connection_, "設定");
  EXPECT_RAISES(ado::kErrIntegrity, AddRow(rows, {}));
  table.SetColumnAttributes("幅", ado::adColNullable);
  AddRow(rows, {});
  EXPECT_EQ(OnDisk(path_, "設定"), "1,Null,False|2,Null,False|Null,Null,False");
}

}  // namespace
}  // namespace test_support
