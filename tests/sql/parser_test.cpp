// Text -> rows -> text.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>

#include "jet/database.h"
#include "sql/sql.h"
#include "tests/sql/saved_queries.h"
#include "tests/support/temp_db.h"

namespace {

using jet::QueryDefinition;
using jet::QueryRow;
using sql_tests::kSavedQueries;
using testing::ElementsAre;
using testing::HasSubstr;

// "attribute|flag|name1|name2|expression", with "-" for Null.
std::string Line(const QueryRow& row) {
  const auto text = [](const std::optional<std::string>& each) { return each.value_or("-"); };
  return std::to_string(row.attribute) + "|" + (row.flag ? std::to_string(*row.flag) : "-") + "|" +
         text(row.name1) + "|" + text(row.name2) + "|" + text(row.expression);
}

std::vector<std::string> Lines(const QueryDefinition& definition, int attribute = -1) {
  std::vector<std::string> lines;
  for (const QueryRow& row : definition.rows) {
    if (attribute < 0 || row.attribute == attribute) lines.push_back(Line(row));
  }
  return lines;
}

QueryDefinition Rows(std::vector<QueryRow> rows, std::int16_t start = 0) {
  rows.insert(rows.begin(),
              {{.attribute = QueryRow::kStart, .flag = start}, {.attribute = QueryRow::kEnd}});
  return {std::move(rows)};
}

TEST(ParserTest, ViewIsStoredAsTheProviderStoresIt) {
  const QueryDefinition rows = sql::Parse(
      "SELECT [商品マスタ].[商品コード], [商品分類マスタ].[名称] AS 分類名 "
      "FROM (商品マスタ LEFT JOIN 商品分類マスタ ON "
      "[商品マスタ].[商品分類]=[商品分類マスタ].[商品分類]) LEFT JOIN コード名称マスタ AS K ON "
      "[商品マスタ].[商品区分]=[K].[コード] WHERE [K].[区分] = 3 and [商品マスタ].[削除] is NULL");
  EXPECT_THAT(Lines(rows), ElementsAre("0|1|-|-|-", "255|-|-|-|-", "5|-|商品マスタ|-|-",
                                       "5|-|商品分類マスタ|-|-", "5|-|コード名称マスタ|K|-",
                                       "6|0|-|-|[商品マスタ].[商品コード]",
                                       "6|0|分類名|-|[商品分類マスタ].[名称]",
                                       "7|2|商品マスタ|商品分類マスタ|"
                                       "[商品マスタ].[商品分類]=[商品分類マスタ].[商品分類]",
                                       "7|2|商品マスタ|K|[商品マスタ].[商品区分]=[K].[コード]",
                                       "8|-|-|-|[K].[区分] = 3 and [商品マスタ].[削除] is NULL"));
}

TEST(ParserTest, JoinsAreFlatWithTheInnermostFirst) {
  EXPECT_THAT(Lines(sql::Parse("SELECT Bill.* FROM Customers INNER JOIN (Bill INNER JOIN "
                               "BillCondition ON Bill.SeikyuNo = BillCondition.SeikyuNo) ON "
                               "Customers.CustomerID = Bill.CustomerID"),
                    QueryRow::kJoin),
              ElementsAre("7|1|Bill|BillCondition|Bill.SeikyuNo = BillCondition.SeikyuNo",
                          "7|1|Customers|Bill|Customers.CustomerID = Bill.CustomerID"));
  // Terms are split at AND, BETWEEN keeps its own; one-sided terms stay with their join.
  EXPECT_THAT(Lines(sql::Parse("SELECT a.x FROM (a LEFT JOIN b ON ((a.x = b.x) AND (b.y BETWEEN 1 "
                               "AND 2))) RIGHT JOIN c ON (c.x = b.x OR c.x = a.x) AND c.z = 1"),
                    QueryRow::kJoin),
              ElementsAre("7|2|a|b|a.x = b.x", "7|2|a|b|b.y BETWEEN 1 AND 2",
                          "7|3|b|c|c.x = b.x OR c.x = a.x", "7|3|b|c|c.z = 1"));
}

TEST(ParserTest, OptionsGroupsAndOrder) {
  EXPECT_THAT(Lines(sql::Parse("select distinct top 5 percent T.a, Sum(T.b) as s, * from T, U t2 "
                               "group by T.a having Sum(T.b) > 1 order by T.a, T.b desc;")),
              ElementsAre("0|1|-|-|-", "255|-|-|-|-", "3|51|5|-|-", "5|-|T|-|-", "5|-|U|t2|-",
                          "6|0|-|-|T.a", "6|0|s|-|Sum(T.b)", "9|0|-|-|T.a", "10|-|-|-|Sum(T.b) > 1",
                          "11|-|-|-|T.a", "11|-|D|-|T.b"));
  EXPECT_THAT(Lines(sql::Parse("PARAMETERS [あ い] Text (20), p Value; SELECT *, a FROM "
                               "(SELECT x FROM y) AS z WITH OWNERACCESS OPTION")),
              ElementsAre("0|1|-|-|-", "255|-|-|-|-", "2|10|あ い|-|-", "2|0|p|-|-", "3|4|-|-|-",
                          "5|-|-|z|SELECT x FROM y", "6|0|-|-|*", "6|0|-|-|a"));
}

TEST(ParserTest, TheFiveSavedQueries) {
  struct Expected {
    std::size_t carriage_returns, sources, outputs, joins, wheres, groups;
  };
  constexpr Expected kExpected[] = {
      {3, 20, 32, 20, 0, 0}, {1, 10, 31, 9, 0, 0}, {2, 1, 37, 0, 1, 0},
      {2, 1, 26, 0, 0, 4},   {0, 1, 28, 0, 0, 5},
  };
  for (std::size_t i = 0; i < kSavedQueries.size(); ++i) {
    const auto& [name, text] = kSavedQueries[i];
    SCOPED_TRACE(name);
    EXPECT_EQ(std::count(text.begin(), text.end(), '\r'), kExpected[i].carriage_returns);
    EXPECT_EQ(text.find('\n'), text.npos);
    const QueryDefinition rows = sql::Parse(text);
    EXPECT_EQ(Lines(rows, QueryRow::kOptions).size(), 0u);
    EXPECT_EQ(Lines(rows, QueryRow::kSource).size(), kExpected[i].sources);
    EXPECT_EQ(Lines(rows, QueryRow::kOutput).size(), kExpected[i].outputs);
    EXPECT_EQ(Lines(rows, QueryRow::kJoin).size(), kExpected[i].joins);
    EXPECT_EQ(Lines(rows, QueryRow::kWhere).size(), kExpected[i].wheres);
    EXPECT_EQ(Lines(rows, QueryRow::kGroupBy).size(), kExpected[i].groups);
    EXPECT_EQ(sql::Parse(sql::Format(rows)), rows);
  }
  const QueryDefinition first = sql::Parse(kSavedQueries[0].text);
  EXPECT_EQ(Lines(first, QueryRow::kSource)[3], "5|-|拾い転送_工法変換|拾い転送_工法変換_1|-");
  EXPECT_THAT(Lines(first, QueryRow::kJoin)[0],
              "7|1|Spec_形状名(角）|Data_角_単体設定|"
              "[Spec_形状名(角）].形状名ＩＤ = Data_角_単体設定.形状名ID");
  EXPECT_THAT(Lines(sql::Parse(kSavedQueries[3].text), QueryRow::kOutput),
              testing::Contains("6|0|ボックスペンキ㎡（プラズマ）の合計|-|"
                                "Sum(拾い転送_Base.[ボックスペンキ㎡（プラズマ）])"));
}

TEST(ParserTest, FormattedTextReadsBackAsTheSameRows) {
  for (const char* text : {
           "SELECT 1",
           "SELECT 1 AS [a\u3000b]",
           "SELECT * FROM [a b] AS [select], b",
           "SELECT a.* FROM a WHERE a.x LIKE 'q*' AND NOT a.y IN (1, \"2\"\"\", #2010-01-04#)",
           "SELECT a.x FROM (a LEFT JOIN (b INNER JOIN c ON b.x = c.x) ON a.x = b.x AND a.y = c.y) "
           "INNER JOIN d ON (c.x = d.x OR c.y = d.y) AND d.z = 1, e",
           "SELECT x FROM a INNER JOIN (b RIGHT JOIN c ON b.i = c.i) ON x = y AND z = 1",
           "SELECT DISTINCTROW TOP 3 x & \"\" AS q FROM (SELECT y AS x FROM t) AS u ORDER BY x "
           "DESC",
           "SELECT a FROM t UNION ALL SELECT b FROM u UNION SELECT c FROM v",
           "PARAMETERS p Text; SELECT x FROM t WHERE x = p GROUP BY x HAVING Count(*) > 1",
       }) {
    SCOPED_TRACE(text);
    const QueryDefinition rows = sql::Parse(text);
    EXPECT_EQ(Lines(sql::Parse(sql::Format(rows))), Lines(rows)) << sql::Format(rows);
  }
}

TEST(ParserTest, RowsOfOtherProgramsBecomeText) {
  using R = QueryRow;
  struct Case {
    QueryDefinition rows;
    const char* text;
  };
  const Case cases[] = {
      {Rows({{.attribute = R::kKind, .flag = 1},
             {.attribute = R::kOptions, .flag = 2},
             {.attribute = R::kSource, .name1 = "T1"},
             {.attribute = R::kSource, .name1 = "T2"},
             {.attribute = R::kSource, .name1 = "T3"},
             {.attribute = R::kOutput, .flag = 0, .expression = "T1.*"},
             {.attribute = R::kJoin,
              .flag = 2,
              .name1 = "T1",
              .name2 = "T3",
              .expression = "T1.a = T3.a"},
             {.attribute = R::kJoin,
              .flag = 1,
              .name1 = "T3",
              .name2 = "T2",
              .expression = "T3.a = T2.a"},
             {.attribute = R::kJoin,
              .flag = 1,
              .name1 = "t3",
              .name2 = "Ｔ２",
              .expression = "T3.a = T2.b"},
             {.attribute = R::kOrderBy, .expression = "T2.a"}}),
       "SELECT DISTINCT T1.*\r\nFROM (T1 LEFT JOIN T3 ON T1.a = T3.a) INNER JOIN T2 ON "
       "(T3.a = T2.a) AND (T3.a = T2.b)\r\nORDER BY T2.a;"},
      {Rows({{.attribute = R::kKind, .flag = 4},
             {.attribute = R::kSource, .name1 = "T1"},
             {.attribute = R::kOutput, .flag = 0, .name2 = "T1.a", .expression = "\"foo\""},
             {.attribute = R::kWhere, .expression = "T1.b Is Null"}}),
       "UPDATE T1\r\nSET T1.a = \"foo\"\r\nWHERE T1.b Is Null;"},
      {Rows({{.attribute = R::kKind, .flag = 3, .name1 = "T3"},
             {.attribute = R::kSource, .name1 = "T1"},
             {.attribute = R::kOutput, .flag = 0, .name2 = "a b", .expression = "T1.c"}}),
       "INSERT INTO T3 ( [a b] )\r\nSELECT T1.c\r\nFROM T1;"},
      {Rows({{.attribute = R::kKind, .flag = 5},
             {.attribute = R::kSource, .name1 = "T1"},
             {.attribute = R::kOutput, .flag = 0, .expression = "T1.*"}}),
       "DELETE T1.*\r\nFROM T1;"},
      {Rows({{.attribute = R::kKind, .flag = 2, .name1 = "T4"},
             {.attribute = R::kSource, .name1 = "T1"},
             {.attribute = R::kOutput, .flag = 0, .expression = "T1.c"}}),
       "SELECT T1.c INTO T4\r\nFROM T1;"},
      {Rows({{.attribute = R::kKind, .flag = 7, .expression = "DROP TABLE x"}}), "DROP TABLE x"},
      // The heading keeps its list, and is grouped by without being said to be.
      {Rows({{.attribute = R::kKind, .flag = 6},
             {.attribute = R::kParameter, .flag = 8, .name1 = "[Beginning Date]"},
             {.attribute = R::kParameter, .flag = 8, .name1 = "[Forms]![x]![y]"},
             {.attribute = R::kSource, .name1 = "T1"},
             {.attribute = R::kOutput, .flag = 2, .expression = "T1.a"},
             {.attribute = R::kOutput, .flag = 2, .name1 = "No", .expression = "Sum(T1.b)"},
             {.attribute = R::kOutput, .flag = 1, .expression = "T1.q In (\"1\",\"2\")"},
             {.attribute = R::kOutput, .flag = 0, .name1 = "x y", .expression = "Sum(T1.b)"},
             {.attribute = R::kGroupBy, .flag = 2, .expression = "T1.a"},
             {.attribute = R::kGroupBy, .flag = 1, .expression = "T1.q"},
             {.attribute = R::kOrderBy, .name1 = "d", .expression = "T1.a"}}),
       "PARAMETERS [Beginning Date] DateTime, [Forms]![x]![y] DateTime;\r\nTRANSFORM Sum(T1.b) AS "
       "[x y]\r\nSELECT T1.a, Sum(T1.b) AS [No]\r\nFROM T1\r\nGROUP BY T1.a\r\nORDER BY T1.a "
       "DESC\r\nPIVOT T1.q In (\"1\",\"2\");"},
      // Rows that go where their names say, values without a source, another file.
      {Rows({{.attribute = R::kKind, .flag = 3, .name1 = "T3", .name2 = "x.mdb"},
             {.attribute = R::kOptions, .flag = 9},
             {.attribute = R::kConnect, .flag = 2, .name1 = "y.xls", .expression = "Excel;"},
             {.attribute = R::kSource, .name1 = "T1"},
             {.attribute = R::kOutput, .flag = 0, .expression = "T2.*"},
             {.attribute = R::kOutput, .flag = 0, .name2 = "b", .expression = "T1.c"}}),
       "INSERT INTO T3 IN 'x.mdb' ( b )\r\nSELECT DISTINCTROW T2.*, T1.c, *\r\nFROM T1 IN 'y.xls' "
       "'Excel;';"},
      {Rows({{.attribute = R::kKind, .flag = 3, .name1 = "T3"},
             {.attribute = R::kOutput, .flag = -32768, .name2 = "a", .expression = "1"},
             {.attribute = R::kOutput, .flag = -32768, .name2 = "b", .expression = "'x'"}}),
       "INSERT INTO T3 ( a, b )\r\nVALUES (1, 'x');"},
      {Rows({{.attribute = R::kKind, .flag = 5},
             {.attribute = R::kOptions, .flag = 9},
             {.attribute = R::kSource, .name1 = "T1"}}),
       "DELETE DISTINCTROW *\r\nFROM T1;"},
      {Rows({{.attribute = R::kKind, .flag = 8, .name1 = "ODBC;", .expression = "VACUUM;"}}),
       "VACUUM;"},
      // Who comes first among the sources comes first, wherever its join names it.
      {Rows({{.attribute = R::kSource, .name1 = "a"},
             {.attribute = R::kSource, .name1 = "b"},
             {.attribute = R::kSource, .name1 = "c"},
             {.attribute = R::kOutput, .expression = "1"},
             {.attribute = R::kJoin,
              .flag = 1,
              .name1 = "c",
              .name2 = "a",
              .expression = "c.x = a.x"}}),
       "SELECT 1\r\nFROM c INNER JOIN a ON c.x = a.x, b;"},
      {Rows({{.attribute = R::kKind, .flag = 9},
             {.attribute = R::kSource, .name2 = "1", .expression = "SELECT a FROM T1;\r\n"},
             {.attribute = R::kSource, .name2 = "2", .expression = "SELECT b FROM T2 "}}),
       "SELECT a FROM T1\r\nUNION ALL SELECT b FROM T2;"},
  };
  for (const Case& each : cases) EXPECT_EQ(sql::Format(each.rows), each.text);

  EXPECT_TRUE(sql::SameQuery(sql::Parse(cases[0].text), cases[0].rows));
  EXPECT_TRUE(sql::SameQuery(
      sql::Parse("PARAMETERS p Long, Forms!x!y Long; SELECT a FROM T WHERE b = [Forms]![x]![y] "
                 "ORDER BY a DESC"),
      Rows({{.attribute = R::kParameter, .flag = 4, .name1 = "[p]"},
            {.attribute = R::kParameter, .flag = 4, .name1 = "[Forms]![x]![y]"},
            {.attribute = R::kSource, .name1 = "T"},
            {.attribute = R::kOutput, .expression = "a"},
            {.attribute = R::kWhere, .expression = "b = [Forms]![x]![y]"},
            {.attribute = R::kOrderBy, .name1 = "d", .expression = "a"}})));
  EXPECT_FALSE(sql::SameQuery(sql::Parse("SELECT T1.* FROM T1, T2, T3"), cases[0].rows));
}

TEST(ParserTest, SavedQueriesOfARealFile) {
  SKIP_WITHOUT_SAMPLES();
  const auto files = jet::MakeSystemFiles();
  const auto database =
      jet::Database::Open(*files, test_support::SamplePath("queryTestV2000.mdb"), {});
  std::map<std::string, std::string> texts;
  for (const jet::ObjectInfo& object : database->Objects()) {
    if (object.kind != jet::ObjectKind::kQuery) continue;
    const QueryDefinition rows = database->LoadQuery(object);
    try {
      texts[object.name] = sql::Format(rows);
    } catch (const sql::Error& error) {
      texts[object.name] = error.what();
      continue;
    }
    if (object.name == "SelectQuery" || object.name == "UnionQuery") {
      EXPECT_TRUE(sql::SameQuery(sql::Parse(texts[object.name]), rows)) << object.name;
    }
  }
  EXPECT_EQ(texts["SelectQuery"],
            "SELECT DISTINCT Table1.*, Table2.col1, Table2.col2, Table3.col3\r\nFROM (Table1 LEFT "
            "JOIN Table3 ON Table1.col1 = Table3.col1) INNER JOIN Table2 ON (Table3.col1 = "
            "Table2.col1) AND (Table3.col1 = Table2.col2)\r\nWHERE (((Table2.col2)=\"foo\" Or "
            "(Table2.col2) In (\"buzz\",\"bazz\")))\r\nORDER BY Table2.col1;");
  EXPECT_EQ(
      texts["UpdateQuery"],
      "PARAMETERS [User Name] Text;\r\nUPDATE Table1\r\nSET Table1.col1 = \"foo\", Table1.col2 "
      "= [Table2].[col3], [Table2].[col1] = [User Name]\r\nWHERE ((([Table2].[col1]) Is Not "
      "Null));");
  EXPECT_EQ(texts["CrosstabQuery"],
            "TRANSFORM Count([Table2].[col2]) AS CountOfcol2\r\nSELECT Table2_1.col1, "
            "[Table2].[col3], Avg(Table2_1.col2) AS AvgOfcol2\r\nFROM (Table1 INNER JOIN Table2 ON "
            "[Table1].[col1]=[Table2].[col1]) INNER JOIN Table2 AS Table2_1 ON "
            "[Table2].[col1]=Table2_1.col3\r\nWHERE ((([Table1].[col1])>\"10\") And "
            "((Table2_1.col1) Is Not Null) And ((Avg(Table2_1.col2))>\"10\"))\r\nGROUP BY "
            "Table2_1.col1, [Table2].[col3]\r\nORDER BY [Table2].[col3]\r\nPIVOT "
            "[Table1].[col1];");
  EXPECT_EQ(texts["DataDefinitionQuery"], "CREATE TABLE Table5 (col1 CHAR, col2 CHAR);");
  EXPECT_EQ(texts.size(), 9u);
}

TEST(ParserTest, RowsThatMakeNoSenseAreRefused) {
  using R = QueryRow;
  struct Case {
    QueryDefinition rows;
    sql::ErrorCode code;
    const char* text;
  };
  const QueryRow t1{.attribute = R::kSource, .name1 = "T1"},
      t2{.attribute = R::kSource, .name1 = "T2"};
  const Case cases[] = {
      {Rows({{.attribute = R::kKind, .flag = 6}}), sql::ErrorCode::kBadQuery, "crosstab"},
      {Rows({{.attribute = R::kKind, .flag = 6},
             {.attribute = R::kOutput, .flag = 1, .expression = "a"},
             {.attribute = R::kOutput, .flag = 1, .expression = "b"}}),
       sql::ErrorCode::kBadQuery, "two headings"},
      {Rows({{.attribute = R::kKind, .flag = 12}}), sql::ErrorCode::kBadQuery, "unknown kind 12"},
      {Rows({{.attribute = R::kSource}}), sql::ErrorCode::kBadQuery, "name of a source"},
      {Rows({{.attribute = R::kOutput, .flag = 0}}), sql::ErrorCode::kBadQuery, "output column"},
      {Rows({t1,
             t2,
             {.attribute = R::kJoin, .flag = 1, .name1 = "T1", .name2 = "T9", .expression = "x"}}),
       sql::ErrorCode::kBadQuery, "T9, which is no source"},
      {Rows({t1,
             t2,
             {.attribute = R::kJoin, .flag = 4, .name1 = "T1", .name2 = "T2", .expression = "x"}}),
       sql::ErrorCode::kBadQuery, "unknown kind 4"},
      {Rows({t1,
             t2,
             {.attribute = R::kJoin, .flag = 1, .name1 = "T1", .name2 = "T2", .expression = "x"},
             {.attribute = R::kJoin, .flag = 2, .name1 = "T1", .name2 = "T2", .expression = "y"}}),
       sql::ErrorCode::kBadQuery, "joined in two ways"},
      {Rows({t1, t2, t1}), sql::ErrorCode::kBadQuery, "two sources are called T1"},
      {Rows({t1,
             {.attribute = R::kWhere, .expression = "x"},
             {.attribute = R::kWhere, .expression = "y"}}),
       sql::ErrorCode::kBadQuery, "WHERE condition is there twice"},
      {Rows({t1,
             {.attribute = R::kHaving, .expression = "x"},
             {.attribute = R::kHaving, .expression = "y"}}),
       sql::ErrorCode::kBadQuery, "HAVING condition is there twice"},
      {Rows({t1, {.attribute = R::kOptions, .flag = 2}, {.attribute = R::kOptions, .flag = 4}}),
       sql::ErrorCode::kBadQuery, "options is there twice"},
      {Rows({{.attribute = R::kKind, .flag = 9},
             {.attribute = R::kSource, .name2 = "X", .expression = "SELECT 1"}}),
       sql::ErrorCode::kBadQuery, "less than two"},
  };
  for (const Case& each : cases) {
    SCOPED_TRACE(each.text);
    try {
      sql::Format(each.rows);
      ADD_FAILURE() << "no error";
    } catch (const sql::Error& error) {
      EXPECT_EQ(error.code(), each.code);
      EXPECT_THAT(error.what(), HasSubstr(each.text));
    }
  }
}

TEST(ParserTest, SyntaxErrorsNameThePlaceAndWhatWasExpected) {
  struct Case {
    std::string text;
    std::size_t line, column;
    const char* message;
  };
  std::string deep(5000, '('), chain = "SELECT 1";
  for (int i = 0; i < 5000; ++i) chain += " OR 1";
  const Case cases[] = {
      {"", 1, 1, "expected SELECT"},
      {"DELETE FROM t", 1, 1, "expected SELECT, found DELETE"},
      {"SELECT", 1, 7, "expected an expression, found the end"},
      {"SELECT a,\rFROM t", 2, 1, "expected an expression, found FROM"},
      {"SELECT a\r\nFROM\nWHERE x", 3, 1, "expected a table name, found WHERE"},
      {"SELECT あい, う FROM 表 WHERE (a = 1", 1, 33, "expected \")\""},
      {"SELECT a FROM t INNER JOIN u", 1, 29, "expected ON"},
      {"SELECT a FROM t LEFT u ON x = y", 1, 22, "expected JOIN"},
      {"SELECT a FROM t;\r;", 2, 1, "expected the end of the query"},
      {"SELECT [a FROM t", 1, 8, "expected a closing ]"},
      {"SELECT 'a", 1, 8, "expected a closing quote"},
      {"SELECT 1工法 FROM t", 1, 8, "needs brackets"},
      {"SELECT #2010-02-30#", 1, 8, "not a date"},
      {"SELECT a FROM t WHERE x NOT 5", 1, 25, "expected the end of the query, found NOT"},
      {"SELECT TOP x a FROM t", 1, 12, "expected a count of rows"},
      {"SELECT a FROM (SELECT b FROM t)", 1, 32, "expected an alias"},
      {"SELECT 1 FROM b, (a INNER JOIN ｂ ON x = y)", 1, 32, "two sources are called ｂ"},
      {"SELECT a FROM t GROUP a", 1, 23, "expected BY"},
      {"SELECT {a}", 1, 8, "no meaning"},
      {"SELECT " + deep, 1, 107, "nested too deeply"},
      {"SELECT a FROM " + deep, 1, 114, "nested too deeply"},
      {chain, 1, 8, "nested too deeply"},
  };
  for (const Case& each : cases) {
    SCOPED_TRACE(each.text.substr(0, 60));
    try {
      sql::Parse(each.text);
      ADD_FAILURE() << "no error";
    } catch (const sql::Error& error) {
      EXPECT_EQ(error.code(), sql::ErrorCode::kSyntax);
      EXPECT_EQ(error.line(), each.line);
      EXPECT_EQ(error.column(), each.column);
      EXPECT_THAT(error.what(), HasSubstr(each.message));
    }
  }
}

// Whatever is done to a text: it is refused with a place in it, or its rows give
// a text that reads back as the same rows.
TEST(ParserTest, MangledTexts) {
  std::vector<std::string> seeds(
      {"SELECT DISTINCT TOP 5 PERCENT a.*, -b.x ^ 2 & 'q''r' AS [z z] FROM (a LEFT JOIN [b c] AS b "
       "ON (a.x = b.x) AND NOT b.y BETWEEN #1/2/2003# AND 4) RIGHT JOIN c ON a.i = c.i, "
       "(SELECT y FROM t) AS d WHERE a.s LIKE \"[a-c]*\" OR b.u IN (1, 2.5e3, Null) GROUP BY a.x "
       "HAVING Count(*) > 1 ORDER BY 1, a.x DESC WITH OWNERACCESS OPTION;",
       "PARAMETERS [p q] Text (20), r Long; SELECT x FROM t UNION ALL SELECT y FROM u"});
  for (const auto& query : kSavedQueries) seeds.emplace_back(query.text);
  std::mt19937 random(7);
  const auto below = [&](std::size_t count) { return count == 0 ? 0 : random() % count; };
  // Whole characters and parts of some.
  constexpr std::string_view kMarks = "()[],.'\"#*&=- \r\n;Aア1";
  int accepted = 0;
  for (int round = 0; round < 4000; ++round) {
    std::string text = seeds[below(seeds.size())];
    for (std::size_t changes = 1 + below(3); changes > 0; --changes) {
      const std::size_t at = below(text.size()), length = below(12);
      switch (below(4)) {
        case 0:
          text.erase(at, length);
          break;
        case 1:
          text.insert(at, text.substr(below(text.size()), length));
          break;
        case 2:
          text[at] = kMarks[below(kMarks.size())];
          break;
        default:
          text.insert(at, seeds[0].substr(below(seeds[0].size()), length));
      }
    }
    SCOPED_TRACE(text);
    QueryDefinition rows;
    try {
      rows = sql::Parse(text);
    } catch (const sql::Error& error) {
      ASSERT_EQ(error.code(), sql::ErrorCode::kSyntax) << error.what();
      ASSERT_GE(error.line(), 1u);
      continue;
    }
    ++accepted;
    ASSERT_EQ(Lines(sql::Parse(sql::Format(rows))), Lines(rows)) << sql::Format(rows);
  }
  EXPECT_GT(accepted, 200);
}

}  // namespace
