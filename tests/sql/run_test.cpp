// Running queries: what the values mean, joins, groups, order.

#include "jet/table/internals.h"
#include "tests/sql/query_fixture.h"

namespace sql_tests {
namespace {

using jet::ColumnType;
using jet::Null;
using testing::ElementsAre;

class RunTest : public QueryTest {
 protected:
  // The tables of queries.txt.
  RunTest() {
    MakeTable("品目",
              {{"ID", ColumnType::kLong},
               {"名", ColumnType::kText},
               {"量", ColumnType::kDouble},
               {"済", ColumnType::kBoolean},
               {"日", ColumnType::kDateTime},
               {"選択", ColumnType::kText}},
              {{1, "ダクト", 0.5, true, jet::DateTime{40182}, "True"},
               {2, "ﾀﾞｸﾄ", Null{}, false, Null{}, "ｔｒｕｅ"},
               {3, "abc", 2.0, false, jet::DateTime{40182.5}, "-1"},
               {4, "ＡＢＣ", 3.0, true, jet::DateTime{40183}, "False"},
               {5, Null{}, -1.5, false, Null{}, "選択"},
               {6, "", 2.0, false, Null{}, Null{}}});
    // Keys are Long on one side and Double on the other.
    MakeTable("A", {{"i", ColumnType::kLong}, {"k", ColumnType::kLong}, {"t", ColumnType::kText}},
              {{1, 10, "あ"}, {2, 20, "い"}, {3, 20, "ｱ"}, {4, Null{}, "x"}, {5, 50, Null{}}});
    MakeTable("B", {{"k", ColumnType::kDouble}, {"n", ColumnType::kText}},
              {{10.0, "十"}, {20.0, "二十"}, {20.5, "半"}, {Null{}, "無"}, {20.0, "again"}});
    MakeTable("C", {{"t", ColumnType::kText}, {"b", ColumnType::kBoolean}},
              {{"ア", true}, {"X", false}, {"True", true}});
    MakeTable("三値", {{"a", ColumnType::kLong}, {"b", ColumnType::kLong}},
              {{-1, -1},
               {-1, 0},
               {-1, Null{}},
               {0, -1},
               {0, 0},
               {0, Null{}},
               {Null{}, -1},
               {Null{}, 0},
               {Null{}, Null{}}});
    // No key is another's beginning, nor do two that follow each other run together.
    using B = jet::Bytes;
    MakeTable("印", {{"a", ColumnType::kBinary}, {"b", ColumnType::kBinary}},
              {{B{1}, B{2, 0, 0, 3, 4}},
               {B{1, 0, 0, 3, 2}, B{4}},
               {B{1, 0}, B{}},
               {B{1}, B{0}},
               {B{1}, B{0, 0}},
               {B{1}, B{0}}});
    jet::Guid one, two;
    one.bytes[0] = 1;
    two.bytes[15] = 2;
    const auto numeric = [](const char* text) { return *jet::ParseNumeric(text, 18, 2); };
    MakeTable("型",
              {{"b", ColumnType::kByte},
               {"s", ColumnType::kInteger},
               {"c", ColumnType::kCurrency},
               {"f", ColumnType::kSingle},
               {"m", ColumnType::kMemo},
               {"g", ColumnType::kGuid},
               {"n", ColumnType::kNumeric},
               {"o", ColumnType::kOle}},
              {{std::uint8_t{7}, std::int16_t{-2}, jet::Currency{15000}, 0.5F, long_text_, one,
                numeric("2.50"), B{1, 2, 3}},
               {std::uint8_t{9}, std::int16_t{3}, jet::Currency{-1}, 2.0F, "M", two, numeric("-10"),
                Null{}}});
  }

  // A section says what its questions are, and stands before them if it is SQL.
  std::string Answer(const Case& each) {
    const bool begins = each.section.starts_with("SELECT");
    const std::string text = (begins ? each.section + ' ' : "") + Joined(each.question, " ");
    return AnswerOf([&] {
      return each.section == "columns of"          ? ColumnNames(text)
             : each.section.ends_with("any order") ? Sorted(text)
                                                   : Rows(text);
    });
  }

  const std::string long_text_ = std::string(5000, 'm');
};

TEST_F(RunTest, Queries) {
  for (const Case& each : ReadCases("queries.txt")) {
    SCOPED_TRACE(each.at + ": " + each.question[0]);
    if (each.section == "stored rows") {
      ExpectAnswer(AnswerOf([&] { return Rows(Definition(each.answer)); }), each.question[0]);
    } else {
      ExpectAnswer(Answer(each), Joined(each.answer, ", "));
    }
  }
}

TEST_F(RunTest, TypesOfOutputs) {
  const auto rows = sql::Run(*database_, sql::Parse("SELECT *, 名 AS n, ID & '', Sum FROM 品目, "
                                                    "(SELECT Sum(ID) AS Sum FROM 品目) AS s"));
  ASSERT_EQ(rows->columns().size(), 10u);
  EXPECT_EQ(rows->columns()[1].max_chars, 50u);
  EXPECT_EQ(rows->columns()[3].type, ColumnType::kBoolean);
  EXPECT_EQ(rows->columns()[7].name, "n");
  EXPECT_EQ(rows->columns()[8].name, "Expr1000");
  EXPECT_EQ(rows->columns()[9].type, ColumnType::kDouble);
  EXPECT_THAT(Rows("SELECT DISTINCT m FROM 型 ORDER BY m"), ElementsAre("M", long_text_));
}

// A saved query keeps the wildcards of the program that made it.
// Names in damaged files may begin with a zero, which would end a C string.
TEST_F(RunTest, AnErrorShowsANameWithAZero) {
  jet::QueryDefinition query = sql::Parse("SELECT i FROM A WHERE x = 1");
  for (jet::QueryRow& row : query.rows) {
    if (row.attribute == jet::QueryRow::kWhere) row.expression = std::string("[\0y].z = 1", 11);
  }
  EXPECT_THAT(AnswerOf([&] { return Rows(query); }), testing::HasSubstr("\xEF\xBF\xBDy"));
}

TEST_F(RunTest, WildcardsAreThoseOfTheMaker) {
  const std::string text = "SELECT i FROM A WHERE t LIKE '%' OR t LIKE '_'";
  EXPECT_THAT(Rows(sql::Parse(text, sql::Wildcards::kAnsi)), ElementsAre("1", "2", "3", "4"));
  EXPECT_THAT(Rows(sql::Parse(text, sql::Wildcards::kAsterisk)), ElementsAre());
  EXPECT_THAT(Rows(sql::Parse("SELECT i FROM A WHERE t LIKE '*' OR t LIKE '?'")), ElementsAre());
  EXPECT_THAT(Rows("SELECT 1 FROM A WHERE i = 1 AND 'a%' LIKE '?%' AND '5' LIKE '[0-9]'"),
              ElementsAre("1"));
  EXPECT_THAT(Rows(sql::Parse("SELECT 1 FROM A WHERE i = 1 AND 'a*' LIKE '_*' AND '5' LIKE '#'")),
              ElementsAre("1"));
}

TEST_F(RunTest, SavedQueryOfARealFile) {
  SKIP_WITHOUT_SAMPLES();
  database_ = jet::Database::Open(*files_, test_support::SamplePath("queryTestV2000.mdb"), {});
  const jet::QueryDefinition rows = database_->LoadQuery(*database_->Find("SelectQuery"));
  EXPECT_EQ(Rows(rows), Rows(sql::Format(rows)));
  EXPECT_THAT(sql::Run(*database_, rows)->columns().size(), testing::Ge(4u));
}

TEST_F(RunTest, ManyRowsHoldEitherSide) {
  std::vector<Row> rows, small;
  for (int i = 0; i < 6000; ++i) rows.push_back({i, i % 100});
  for (int i = 0; i < 5000; i += 10) small.push_back({static_cast<double>(i % 7), i});
  MakeTable("Big", {{"i", ColumnType::kLong}, {"k", ColumnType::kLong}}, rows);
  MakeTable("Other", {{"k", ColumnType::kDouble}, {"v", ColumnType::kLong}}, small);
  for (const char* text :
       {"SELECT Count(*), Sum(i), Sum(v) FROM Big INNER JOIN Other ON Big.k = Other.k",
        "SELECT Count(*), Sum(i), Sum(v) FROM Big LEFT JOIN Other ON Big.k = Other.k WHERE v >= 0",
        "SELECT Count(*), Sum(i), Sum(v) FROM Other, Big WHERE Big.k - Other.k = 0"}) {
    double count = 0, sum_i = 0, sum_v = 0;
    for (const Row& a : rows) {
      for (const Row& b : small) {
        if (std::get<int>(a[1]) != std::get<double>(b[0])) continue;
        ++count;
        sum_i += std::get<int>(a[0]);
        sum_v += std::get<int>(b[1]);
      }
    }
    EXPECT_THAT(Rows(text), ElementsAre(ToText(count) + "|" + ToText(sum_i) + "|" + ToText(sum_v)));
  }
  // So many keys that some of the last ones go where the hash table begins.
  for (const char* part : {"0.5", "0.25", "0.125", "0.3", "0.7", "0.9"}) {
    EXPECT_THAT(
        Rows(fmt::format("SELECT Count(*) FROM Other INNER JOIN Big ON v + {0} = i + {0}", part)),
        ElementsAre("500"));
  }
  EXPECT_THAT(Rows("SELECT Count(*), Sum(i) FROM Other LEFT JOIN Big ON Other.v = Big.i - 10000"),
              ElementsAre("500|-"));
}

// Few rows find theirs through an index, if there is one over the column.
TEST_F(RunTest, FewRowsBesideManyWithAnIndex) {
  std::vector<Row> rows;
  for (int i = 0; i < 6000; ++i)
    rows.push_back({i, i % 1500 == 7 ? jet::Value() : jet::Value(i % 1500), i / 2.0});
  const auto big = MakeTable(
      "Big", {{"i", ColumnType::kLong}, {"k", ColumnType::kLong}, {"h", ColumnType::kDouble}},
      rows);
  MakeTable("Few", {{"k", ColumnType::kDouble}, {"t", ColumnType::kText}},
            {{5.0, "5"}, {5.5, "7"}, {Null{}, Null{}}, {1e12, "x"}, {-3.0, "１１"}, {5.0, ""}});
  for (const std::string column : {"", "k down", "k", "h"}) {
    SCOPED_TRACE(column);
    if (!column.empty()) {
      jet::IndexSpec index{.name = column, .columns = {column.substr(0, 1)}};
      index.descending = {column.ends_with("down")};  // no way to search it forward
      database_->AddIndex("Big", index);
    }
    EXPECT_THAT(Sorted("SELECT i, t FROM Few INNER JOIN Big ON Few.k = Big.k WHERE i > 5"),
                ElementsAre("1505|''", "1505|5", "3005|''", "3005|5", "4505|''", "4505|5"));
    EXPECT_THAT(Sorted("SELECT i, t FROM Big INNER JOIN Few ON Big.h = Few.k AND t <> ''"),
                ElementsAre("10|5", "11|7"));
    EXPECT_THAT(Sorted("SELECT i FROM Big INNER JOIN Few ON (Big.h = Few.k) AND (Big.k = Few.t)"),
                ElementsAre());
    EXPECT_THAT(Sorted("SELECT i, t FROM Big INNER JOIN Few ON Big.k = Few.t WHERE i < 100"),
                ElementsAre("11|１１", "5|5"));
  }
}

// A damaged definition of an index: the rows are found without it.
TEST_F(RunTest, AnIndexWithoutItsColumnsIsNotAsked) {
  std::vector<Row> rows;
  for (int i = 0; i < 5000; ++i) rows.push_back({i});
  auto big = MakeTable("Big", {{"i", ColumnType::kLong}}, rows);
  database_->AddIndex("Big", {.name = "i", .columns = {"i"}});
  const std::string path = folder_.File("q.mdb"), text = "SELECT A.i FROM A, Big WHERE A.i = Big.i";
  const std::vector<std::string> found = Sorted(text);
  EXPECT_FALSE(found.empty());
  big = database_->OpenTable("Big");
  const auto parts = DefOf(*big).real_indexes.at(0).column_bytes;
  const std::size_t page = DefOf(*big).page.value * jet::kPageSize;
  big.reset();
  database_->Commit();
  database_.reset();
  for (const char* column : {"\xFF\xFF", "\x63\x01"}) {
    std::string bytes = test_support::ReadFileBytes(path);
    bytes.replace(bytes.find(std::string(parts.begin() + 2, parts.end()), page) - 2, 2, column);
    test_support::WriteFileBytes(path, bytes);
    database_ = jet::Database::Open(*files_, path, {});
    EXPECT_EQ(Sorted(text), found);
    database_.reset();
  }
}

TEST_F(RunTest, SavedQueriesAreSources) {
  const auto save = [&](std::string_view name, std::string_view text) {
    database_->CreateQuery(name, sql::Parse(text), text);
  };
  const auto answer = [&](std::string_view text) { return AnswerOf([&] { return Sorted(text); }); };
  save("内", "SELECT k, Count(*) AS 数 FROM A GROUP BY k");
  save("外", "SELECT B.n, 内.数 FROM B INNER JOIN 内 ON B.k = 内.k");
  EXPECT_EQ(answer("SELECT * FROM 外 WHERE 数 > 1"), "again|2, 二十|2");
  EXPECT_EQ(answer("SELECT Count(*) FROM 内 AS x INNER JOIN 内 AS y ON x.k = y.k"), "3");
  EXPECT_THAT(Rows(database_->LoadQuery(*database_->Find("外"))).size(), 3u);
  save("輪1", "SELECT * FROM 輪2");
  save("輪2", "SELECT * FROM 輪1");
  ExpectAnswer(answer("SELECT * FROM 輪1"), "! bad query: 輪1 reads itself");
  save("深0", "SELECT i FROM A");
  for (int i = 1; i <= 40; ++i) {
    save("深" + std::to_string(i), "SELECT i FROM 深" + std::to_string(i - 1));
  }
  EXPECT_EQ(answer("SELECT i FROM 深20"), "1, 2, 3, 4, 5");
  ExpectAnswer(answer("SELECT i FROM 深40"), "! not supported: nested too deeply");
  std::string beside = "SELECT 1 FROM 内 AS q0";
  for (int i = 1; i <= 40; ++i) beside += fmt::format(", (SELECT 1 AS a) AS q{}", i);
  EXPECT_EQ(answer(beside), "1, 1, 1, 1");
}

// The columns that a crosstab makes are no parameters, even where only those are asked for.
TEST_F(RunTest, SavedUnionsAndCrosstabsAreSources) {
  const auto save = [&](std::string_view name, std::string_view text) {
    database_->CreateQuery(name, sql::Parse(text), text);
  };
  sql::Inputs inputs;
  const auto rows = [&](std::string_view text) {
    return AnswerOf([&] {
      std::vector<std::string> lines;
      const auto set = sql::Run(*database_, sql::Parse(text), inputs);
      while (set->Next()) {
        std::string& line = lines.emplace_back();
        for (std::size_t i = 0; i < set->columns().size(); ++i) {
          line += (i == 0 ? "" : "|") + ToText(set->value(i));
        }
      }
      return lines;
    });
  };
  const auto asked = [&](std::string_view text) {
    return AnswerOf([&] {
      std::vector<std::string> names;
      for (const auto& each : sql::ParametersOf(*database_, sql::Parse(text), inputs)) {
        names.push_back(each.name + " " + sql::TypeOf(each));
      }
      return names;
    });
  };
  MakeTable("売上",
            {{"店", ColumnType::kText}, {"月", ColumnType::kLong}, {"額", ColumnType::kLong}},
            {{"東", 1, 10}, {"東", 2, 20}, {"西", 1, 5}, {"西", 1, 7}, {Null{}, 2, 1}});
  save("表", "TRANSFORM Sum(額) SELECT 店 FROM 売上 GROUP BY 店 PIVOT '月' & 月");
  save("計", "SELECT 店, 額 FROM 売上 UNION ALL SELECT '全', Sum(額) FROM 売上");
  save("上",
       "PARAMETERS 下限 Long; TRANSFORM Count(*) SELECT 店 FROM 売上 WHERE 額 >= Nz([下限], 0) "
       "GROUP BY 店 PIVOT CStr([下限]) & '_' & 月");

  const char* over =
      "SELECT x.月1, y.額 FROM 表 AS x INNER JOIN 計 AS y ON x.店 = y.店 "
      "WHERE y.額 > 6 ORDER BY y.額";
  EXPECT_EQ(rows(over), "12|7, 10|10, 10|20");
  EXPECT_EQ(asked(over), "");
  EXPECT_EQ(rows("SELECT 額 FROM 計 WHERE 店 IN (SELECT 店 FROM 表 WHERE 月2 IS NULL) ORDER BY 1"),
            "5, 7");
  EXPECT_EQ(asked("SELECT 額 FROM 計 WHERE 店 IN (SELECT 店 FROM 表 WHERE 月2 = q)"), "q Value");
  EXPECT_EQ(rows("SELECT * FROM 表 UNION SELECT 店, 0, 額 FROM 計 WHERE 店 = '全' ORDER BY 店"),
            "-|-|1, 西|12|-, 全|0|43, 東|10|20");
  EXPECT_EQ(asked("SELECT * FROM 表 UNION SELECT 店, 0, [最小] FROM 計"), "最小 Value");
  EXPECT_EQ(asked("SELECT 月3 FROM (SELECT * FROM 表) AS w"), "月3 Value");

  // Which columns there are depends on a value.
  EXPECT_EQ(asked("SELECT 店 FROM 上"), "下限 Long");
  ExpectAnswer(rows("SELECT 店 FROM 上"),
               "! unresolved: in the query 上: parameter 下限 has no value; it is a Long");
  inputs.parameters = {{"下限", std::string("7")}};
  EXPECT_EQ(asked("SELECT [7_1] FROM 上 WHERE 店 = [どこ]"), "下限 Long, どこ Value");
  EXPECT_EQ(rows("SELECT 店, [7_1] FROM 上 ORDER BY 店"), "西|1, 東|1");
  EXPECT_EQ(rows("SELECT Count(*) FROM 上 AS x INNER JOIN 上 AS y ON x.[7_1] = y.[7_1]"), "4");

  save("環", "SELECT 店 FROM 売上 UNION SELECT 店 FROM 環");
  ExpectAnswer(rows("SELECT * FROM 環"), "! bad query: 環 reads itself");
}

// What the rows of a query say is the query.
TEST_F(RunTest, RebuiltUnionsAndCrosstabsAnswerTheSame) {
  int saved = 0;
  for (const char* text :
       {"SELECT k, i FROM A UNION SELECT k, 0 FROM B UNION ALL (SELECT n, 7 FROM B) ORDER BY k "
        "DESC, 2",
        "TABLE B UNION ALL SELECT * FROM B WHERE k IS NOT NULL",
        "SELECT a.i FROM (SELECT i FROM A UNION ALL SELECT i * 2 FROM A) AS a WHERE a.i > 1",
        "TRANSFORM Sum(A.i) AS 計 SELECT A.k, Count(*) AS c FROM A GROUP BY A.k ORDER BY A.k DESC "
        "PIVOT A.i Mod 3",
        "TRANSFORM First(A.t) SELECT A.k FROM A WHERE A.i > 1 GROUP BY A.k PIVOT A.i IN (5, 9, "
        "2)"}) {
    SCOPED_TRACE(text);
    const jet::QueryDefinition made = sql::Parse(text), again = sql::Parse(sql::Format(made));
    EXPECT_EQ(again, made);
    const std::vector<std::string> found = Rows(made);
    EXPECT_FALSE(found.empty());
    EXPECT_EQ(Rows(again), found);
    // The rows of the file are the same ones.
    const std::string name = fmt::format("q{}", ++saved);
    database_->CreateQuery(name, made, text);
    EXPECT_EQ(Rows(database_->LoadQuery(*database_->Find(name))), found);
  }
}

TEST_F(RunTest, RowsOfOneTableCanBeWrittenThrough) {
  const auto table = database_->OpenTable("A");
  const auto rows =
      sql::Run(*database_, sql::Parse("SELECT t, i AS x FROM A WHERE i > 1 ORDER BY i DESC"));
  EXPECT_EQ(rows->base_table(), table);
  EXPECT_EQ(rows->base_ordinal(0), 2u);
  EXPECT_EQ(rows->base_row(), std::nullopt);
  // A row that moves away meanwhile is still read once, and in its place.
  std::vector<std::string> seen;
  while (rows->Next()) {
    seen.push_back(ToText(rows->value(1)) + ToText(rows->value(0)));
    table->Update(*rows->base_row(), {{{2, std::string(50, 'q')}}});
  }
  EXPECT_THAT(seen, ElementsAre("5-", "4x", "3ｱ", "2い"));
  EXPECT_EQ(Rows("SELECT i FROM A WHERE t = '" + std::string(50, 'Q') + "'").size(), 4u);
  for (const char* text : {"SELECT t & '' FROM A", "SELECT DISTINCT t FROM A",
                           "SELECT t FROM A GROUP BY t", "SELECT A.t FROM A, B"}) {
    EXPECT_EQ(sql::Run(*database_, sql::Parse(text))->base_table(), nullptr) << text;
  }
}

}  // namespace
}  // namespace sql_tests
