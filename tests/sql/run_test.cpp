// Running queries: what the values mean, joins, groups, order.

#include "tests/sql/query_fixture.h"

namespace sql_tests {
namespace {

using jet::ColumnType;
using jet::Null;
using testing::ElementsAre;
using testing::IsEmpty;

class RunTest : public QueryTest {
 protected:
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
  }

  // The identifiers of the rows for which `condition` holds.
  std::string Where(const std::string& condition) {
    std::string ids;
    for (const std::string& id : Rows("SELECT ID FROM 品目 WHERE " + condition)) ids += id;
    return ids;
  }
};

TEST_F(RunTest, Conditions) {
  struct Case {
    const char* condition;
    const char* ids;
  };
  constexpr Case kCases[] = {
      // Texts compare by the sort order: case, width and kana type do not matter.
      {"名 = 'ダクト'", "12"},
      {"名 = \"ABC\"", "34"},
      {"名 <> 'abc'", "126"},
      {"名 < 'b'", "346"},
      {"名 = ''", "6"},
      // A text equals True when it reads so or is the number -1; others just differ.
      {"選択 = True", "123"},
      {"((品目.選択)=True)", "123"},
      {"True = 選択", "123"},
      {"選択 <> True", "45"},
      {"選択 = False", "4"},
      {"選択 = -1", "3"},
      {"済 = True", "14"},
      {"済", "14"},
      {"済 = -1", "14"},
      {"済 = 'true'", "14"},
      {"Not 済", "2356"},
      // Null is neither equal nor different.
      {"量 = Null", ""},
      {"Not (量 = 2)", "145"},
      {"量 Is Null", "2"},
      {"名 is not null", "12346"},
      {"量 = 2 Or 名 Is Null", "356"},
      {"量 > 0 And 名 = 'abc'", "34"},
      {"(量 = 2) Xor 済", "1346"},
      {"(量 = 2) Eqv 済", "5"},
      {"(量 = 2) Imp 済", "145"},
      {"量 Between 0.5 And 2", "136"},
      {"量 Not Between 0.5 And 2", "45"},
      {"量 In (2, '3', Null)", "346"},
      {"ID Not In (1, 2)", "3456"},
      {"量 Not In (2, Null)", ""},
      // Patterns.
      {"名 Like 'ﾀﾞ*'", "12"},
      {"名 Like '?b[a-c]'", "34"},
      {"名 Like '[!a]*'", "12"},
      {"名 Not Like '*c'", "126"},
      {"名 Like ''", "6"},
      {"量 Like '#'", "346"},
      {"名 Like '*bc'", "34"},
      {"名 Like 'a[]bc'", "34"},
      {"'!' Like '[!a]' And ID = 1", "1"},
      {"'0' Like '#' And '9' Like '#' And Not 'a' Like '#' And ID = 1", "1"},
      {"ID & '' Like '[1-35]'", "1235"},
      {"ID & '' Like '[1-]'", "1"},
      {"ID & '' Like '[-2]'", "2"},
      {"ID & '' Like '[!1-]'", "23456"},
      {"'-' Like '[a-]' And '-' Like '[-a]' And Not 'b' Like '[a-]' And ID = 3", "3"},
      // Dates, numbers, texts that are numbers.
      {"日 = #2010-01-04#", "1"},
      {"日 >= #1/4/2010 12:00 PM# And 日 < #1/5/2010#", "3"},
      {"ID = '２'", "2"},
      {"ID = 'x'", ""},
      {"ID + 1 = 3", "2"},
      {"-量 = 1.5", "5"},
      {"ID Mod 4 = 1 And ID \\ 4 = 1", "5"},
      {"2 ^ ID = 8", "3"},
      {"名 & ID = 'abc4'", "4"},
      {"選択 = yes And On", "123"},
      {"選択 = Off Or No", "4"},
      {"1.5 \\ 1 + 2 * 3 - 7 Mod 4 = 5", "123456"},
      {"-7 \\ 2 + ID = -2", "1"},
      {"ID * 1e1 = 20 Or　ID = 3e+0", "23"},
      {"ID = '+2'", "2"},
      {"ID & '''' = \"1'\"", "1"},
      {"Not (量 = Null And ID = 9)", "123456"},
      {"#99-1-2# + 0 * ID = #1/2/1999# And #2/29/2000# > #2/28/2000# And ID = 1", "1"},
      {"2 ^ -1 * ID = .5", "1"},
      {"-2147483647 - 1 + ID = -2147483647", "1"},
      {"#1/1/29# = #1/1/2029# And #1/1/30# = #1/1/1930# And ID = 1", "1"},
  };
  for (const Case& each : kCases) EXPECT_EQ(Where(each.condition), each.ids) << each.condition;
}

TEST_F(RunTest, ValuesAndTheirTypes) {
  EXPECT_THAT(
      Rows("SELECT 1 + 1, 1 / 2, 7 Mod 4, 'a' & Null & 1.5, 'a' + 'b', 1 = 1, Null & Null, "
           "#2010-01-04# + 1, #2010-01-04# - #2010-01-01#, -ID, 量 * 2 FROM 品目 WHERE ID = 1"),
      ElementsAre("2|0.5|3|a1.5|ab|-1s|-|2010-01-05 00:00:00|3|-1|1"));
  const auto rows = sql::Run(*database_, sql::Parse("SELECT *, 名 AS n, ID & '', Sum FROM 品目, "
                                                    "(SELECT Sum(ID) AS Sum FROM 品目) AS s"));
  ASSERT_EQ(rows->columns().size(), 10u);
  EXPECT_EQ(rows->columns()[1].max_chars, 50u);
  EXPECT_EQ(rows->columns()[3].type, ColumnType::kBoolean);
  EXPECT_EQ(rows->columns()[7].name, "n");
  EXPECT_EQ(rows->columns()[8].name, "Expr1000");
  EXPECT_EQ(rows->columns()[9].type, ColumnType::kDouble);
  for (const char* date :
       {"#1:60#", "#1:00:60#", "#13:00 PM#", "#24:00#", "#2/29/1900#", "#13/1/2000#"}) {
    ExpectError(std::string("SELECT ") + date, sql::ErrorCode::kSyntax, "not a date");
  }
  ExpectError("SELECT 1 / 0", sql::ErrorCode::kBadValue, "division by zero");
  ExpectError("SELECT 2147483647 + ID FROM 品目", sql::ErrorCode::kBadValue, "out of range");
  ExpectError("SELECT -名 FROM 品目", sql::ErrorCode::kBadValue, "is no number");
  ExpectError("SELECT ID FROM 品目 WHERE 選択", sql::ErrorCode::kBadValue,
              "neither true nor false");
}

TEST_F(RunTest, Groups) {
  // Grouped by the sort order, shown as it came first; Null is a group of its
  // own; a sum leaves Null out, and is Null where nothing else is there.
  EXPECT_THAT(Rows("SELECT 名, Sum(量) AS 計, Count(*), Count(量), Min(ID), Max(ID), Avg(量), "
                   "First(選択), Last(選択) FROM 品目 GROUP BY 名"),
              ElementsAre("ダクト|0.5|2|1|1|2|0.5|True|ｔｒｕｅ", "abc|5|2|2|3|4|2.5|-1|False",
                          "-|-1.5|1|1|5|5|-1.5|選択|選択", "|2|1|1|6|6|2|-|-"));
  EXPECT_THAT(Rows("SELECT Sum(量), Avg(量), Min(量) FROM 品目 WHERE ID = 2 GROUP BY 名"),
              ElementsAre("-|-|-"));
  EXPECT_THAT(Sorted("SELECT Count(*) FROM 品目 GROUP BY 量 * 0"),
              ElementsAre("1", "5"));  // -0 is 0
  EXPECT_THAT(Rows("SELECT Sum(ID), Count(*), Max(名), Max(済) FROM 品目"),
              ElementsAre("21|6|ダクト|0s"));
  EXPECT_THAT(Rows("SELECT Sum(ID), Count(*), Min(名) FROM 品目 WHERE ID > 9"),
              ElementsAre("-|0|-"));
  EXPECT_THAT(Rows("SELECT Sum(ID) FROM 品目 WHERE ID > 9 GROUP BY 名"), IsEmpty());
  EXPECT_THAT(Rows("SELECT ID Mod 2 AS 奇, Sum(ID) * 2 FROM 品目 GROUP BY 品目.[ID] Mod 2 "
                   "HAVING Sum(量) > 0 ORDER BY Sum(ID) DESC, 奇"),
              ElementsAre("0|24", "1|18"));
  ExpectError("SELECT 名, Sum(量) FROM 品目", sql::ErrorCode::kBadQuery, "名 is neither grouped");
  ExpectError("SELECT * FROM 品目 GROUP BY 名", sql::ErrorCode::kBadQuery, "* cannot stand");
  ExpectError("SELECT 名 FROM 品目 WHERE Sum(量) > 1", sql::ErrorCode::kBadQuery, "cannot stand");
  ExpectError("SELECT Sum(Sum(量)) FROM 品目", sql::ErrorCode::kBadQuery, "cannot stand");
  ExpectError("SELECT Sum(名) FROM 品目", sql::ErrorCode::kBadValue, "is no number");
}

TEST_F(RunTest, OrderTopDistinct) {
  EXPECT_THAT(Rows("SELECT 名, ID FROM 品目 ORDER BY 名, ID DESC"),
              ElementsAre("-|5", "|6", "ＡＢＣ|4", "abc|3", "ﾀﾞｸﾄ|2", "ダクト|1"));
  EXPECT_THAT(Rows("SELECT 量 * 2 AS d FROM 品目 ORDER BY d"),
              ElementsAre("-", "-3", "1", "4", "4", "6"));
  EXPECT_THAT(Rows("SELECT TOP 1 ID FROM 品目 ORDER BY ID ASC"), ElementsAre("1"));
  ExpectError("SELECT *, ID FROM 品目 ORDER BY 1", sql::ErrorCode::kBadQuery, "no output 1");
  ExpectError("SELECT ID FROM 品目 ORDER BY 2", sql::ErrorCode::kBadQuery, "no output 2");
  EXPECT_THAT(Rows("SELECT ID FROM 品目 ORDER BY 1 DESC"),
              ElementsAre("6", "5", "4", "3", "2", "1"));
  // What equals the last of the first n comes along.
  EXPECT_THAT(Rows("SELECT TOP 2 ID FROM 品目 ORDER BY 量 DESC"), ElementsAre("4", "3", "6"));
  EXPECT_THAT(Rows("SELECT TOP 2 ID FROM 品目"), ElementsAre("1", "2"));
  EXPECT_THAT(Rows("SELECT TOP 20 PERCENT ID FROM 品目"), ElementsAre("1", "2"));
  EXPECT_EQ(Rows("SELECT TOP 123456789 ID FROM 品目").size(), 6u);
  EXPECT_THAT(Rows("SELECT DISTINCT 名 FROM 品目"), ElementsAre("ダクト", "abc", "-", ""));
  EXPECT_THAT(Rows("SELECT DISTINCT TOP 1 名, 済 FROM 品目 ORDER BY 名 DESC"),
              ElementsAre("ダクト|True", "ﾀﾞｸﾄ|False"));
}

TEST_F(RunTest, EveryColumnType) {
  jet::Guid one, two;
  one.bytes[0] = 1;
  two.bytes[15] = 2;
  const auto numeric = [](const char* text) { return *jet::ParseNumeric(text, 18, 2); };
  jet::TableSpec spec;
  spec.name = "型";
  for (const auto& [name, type] :
       std::vector<std::pair<const char*, ColumnType>>{{"b", ColumnType::kByte},
                                                       {"s", ColumnType::kInteger},
                                                       {"c", ColumnType::kCurrency},
                                                       {"f", ColumnType::kSingle},
                                                       {"m", ColumnType::kMemo},
                                                       {"g", ColumnType::kGuid},
                                                       {"n", ColumnType::kNumeric},
                                                       {"o", ColumnType::kOle}}) {
    jet::ColumnSpec& column = spec.columns.emplace_back();
    column.name = name;
    column.type = type;
    if (type == ColumnType::kNumeric) column.scale = 2;
  }
  const std::string text(5000, 'm');
  const auto table = database_->CreateTable(spec);
  table->Insert(Row{std::uint8_t{7}, std::int16_t{-2}, jet::Currency{15000}, 0.5F, text, one,
                    numeric("2.50"), jet::Bytes{1, 2, 3}});
  table->Insert(Row{std::uint8_t{9}, std::int16_t{3}, jet::Currency{-1}, 2.0F, "M", two,
                    numeric("-10"), Null{}});
  EXPECT_THAT(Rows("SELECT b, s, c, f, g, o FROM 型"),
              ElementsAre("7b|-2s|15000c|0.5|" + jet::FormatGuid(one) + "|3 bytes",
                          "9b|3s|-1c|2|" + jet::FormatGuid(two) + "|-"));
  EXPECT_THAT(Rows("SELECT Max(c), Min(b), Min(n), Max(g), Sum(n), b + s FROM 型 GROUP BY b + s"),
              ElementsAre("15000c|7b|2.5|" + jet::FormatGuid(one) + "|2.5|5",
                          "-1c|9b|-10|" + jet::FormatGuid(two) + "|-10|12"));
  // Stored forms differ, values meet.
  const auto joined = [&](const std::string& condition) {
    return Sorted("SELECT x.b FROM 型 AS x INNER JOIN 型 AS y ON " + condition);
  };
  for (const char* condition : {"x.f = y.f", "x.m = y.m", "x.g = y.g", "x.n = y.n", "x.b = y.b"}) {
    EXPECT_THAT(joined(condition), ElementsAre("7b", "9b")) << condition;
  }
  EXPECT_THAT(joined("x.c + 1 = y.n"), ElementsAre("7b"));
  EXPECT_THAT(joined("x.o = y.o"), ElementsAre("7b"));
  EXPECT_THAT(Rows("SELECT b FROM 型 WHERE m LIKE 'mm*' AND m > 'M'"), ElementsAre("7b"));
  EXPECT_THAT(Rows("SELECT DISTINCT m FROM 型 ORDER BY m"), ElementsAre("M", text));
  ExpectError("SELECT Sum(o) FROM 型", sql::ErrorCode::kBadValue, "binary data");
}

// No key is another's beginning, nor do two that follow each other run together.
TEST_F(RunTest, ZeroBytesKeepGroupsOfBinariesApart) {
  jet::TableSpec spec;
  spec.name = "印";
  for (const char* name : {"a", "b"}) {
    jet::ColumnSpec& column = spec.columns.emplace_back();
    column.name = name;
    column.type = ColumnType::kBinary;
    column.max_size = 20;
  }
  const auto table = database_->CreateTable(spec);
  using B = jet::Bytes;
  for (const Row& row : {Row{B{1}, B{2, 0, 0, 3, 4}}, Row{B{1, 0, 0, 3, 2}, B{4}},
                         Row{B{1, 0}, B{}}, Row{B{1}, B{0}}, Row{B{1}, B{0, 0}}, Row{B{1}, B{0}}}) {
    table->Insert(row);
  }
  EXPECT_THAT(Sorted("SELECT Count(*) FROM 印 GROUP BY a, b"),
              ElementsAre("1", "1", "1", "1", "2"));
  EXPECT_EQ(Rows("SELECT DISTINCT a, b FROM 印").size(), 5u);
}

TEST_F(RunTest, RowsOfOtherProgramsRunOrSayWhyNot) {
  using R = jet::QueryRow;
  const auto rows = [](std::vector<R> more) {
    more.insert(more.begin(), {{.attribute = R::kStart, .flag = std::int16_t{0}},
                               {.attribute = R::kEnd},
                               {.attribute = R::kSource, .name1 = "品目"}});
    return jet::QueryDefinition{std::move(more)};
  };
  const R id{.attribute = R::kOutput, .flag = std::int16_t{0}, .expression = "品目.ID"};
  const auto options = [](std::int16_t flag, const char* count) {
    return R{.attribute = R::kOptions, .flag = flag, .name1 = count};
  };
  EXPECT_EQ(Rows(rows({})).size(), 6u);  // no output at all is `*`
  EXPECT_THAT(Rows(rows({id, options(16, "2")})), ElementsAre("1", "2"));
  EXPECT_EQ(Rows(rows({id, options(8, "")})).size(), 6u);
  struct Case {
    jet::QueryDefinition rows;
    sql::ErrorCode code;
  };
  const Case cases[] = {
      {rows({{.attribute = R::kKind, .flag = std::int16_t{4}}}), sql::ErrorCode::kNotSupported},
      {rows({{.attribute = R::kKind, .flag = std::int16_t{9}}}), sql::ErrorCode::kNotSupported},
      {rows({id, options(16, "x")}), sql::ErrorCode::kBadQuery},
      {rows({id, options(16, "-1")}), sql::ErrorCode::kBadQuery},
      {rows({id, {.attribute = R::kWhere, .expression = "品目.ID ="}}), sql::ErrorCode::kBadQuery},
      {rows({{.attribute = R::kOutput, .expression = "ID, 名"}}), sql::ErrorCode::kBadQuery},
  };
  for (const Case& each : cases) {
    try {
      sql::Run(*database_, each.rows);
      ADD_FAILURE() << "no error";
    } catch (const sql::Error& error) {
      EXPECT_EQ(error.code(), each.code) << error.what();
    }
  }
}

TEST_F(RunTest, SavedQueryOfARealFile) {
  SKIP_WITHOUT_SAMPLES();
  database_ = jet::Database::Open(*files_, test_support::SamplePath("queryTestV2000.mdb"), {});
  const jet::QueryDefinition rows = database_->LoadQuery(*database_->Find("SelectQuery"));
  EXPECT_EQ(Rows(rows), Rows(sql::Format(rows)));
  EXPECT_THAT(sql::Run(*database_, rows)->columns().size(), testing::Ge(4u));
}

class JoinTest : public QueryTest {
 protected:
  JoinTest() {
    // Keys are Long on one side and Double on the other.
    MakeTable("A", {{"i", ColumnType::kLong}, {"k", ColumnType::kLong}, {"t", ColumnType::kText}},
              {{1, 10, "あ"}, {2, 20, "い"}, {3, 20, "ｱ"}, {4, Null{}, "x"}, {5, 50, Null{}}});
    MakeTable("B", {{"k", ColumnType::kDouble}, {"n", ColumnType::kText}},
              {{10.0, "十"}, {20.0, "二十"}, {20.5, "半"}, {Null{}, "無"}, {20.0, "again"}});
    MakeTable("C", {{"t", ColumnType::kText}, {"b", ColumnType::kBoolean}},
              {{"ア", true}, {"X", false}, {"True", true}});
  }
};

TEST_F(JoinTest, InnerJoins) {
  EXPECT_THAT(Sorted("SELECT i, n FROM A INNER JOIN B ON A.k = B.k"),
              ElementsAre("1|十", "2|again", "2|二十", "3|again", "3|二十"));
  EXPECT_THAT(Sorted("SELECT i, n FROM B INNER JOIN A ON (A.k = B.k) AND (B.n = '十' OR i = 3)"),
              ElementsAre("1|十", "3|again", "3|二十"));
  EXPECT_THAT(Sorted("SELECT i, n FROM A, B WHERE A.k = B.k AND n LIKE '二*' AND i < 3"),
              ElementsAre("2|二十"));
  EXPECT_THAT(Sorted("SELECT i, C.t FROM A INNER JOIN C ON A.t = C.t"),
              ElementsAre("1|ア", "3|ア", "4|X"));
  EXPECT_THAT(Sorted("SELECT x.i, y.i FROM A AS x INNER JOIN A AS y ON x.k = y.k AND x.i < y.i"),
              ElementsAre("2|3"));
  EXPECT_THAT(Sorted("SELECT x.t, y.t FROM C AS x INNER JOIN C AS y ON x.t = y.b"),
              ElementsAre("True|True", "True|ア"));
  EXPECT_THAT(Rows("SELECT Count(*) FROM A, B, C"), ElementsAre("75"));
  EXPECT_THAT(Rows("SELECT A.i FROM A INNER JOIN B ON A.k < B.k WHERE n = '半'"),
              ElementsAre("1", "2", "3"));
}

TEST_F(JoinTest, OuterJoins) {
  EXPECT_THAT(Sorted("SELECT i, n FROM A LEFT JOIN B ON A.k = B.k AND B.n <> 'again'"),
              ElementsAre("1|十", "2|二十", "3|二十", "4|-", "5|-"));
  EXPECT_THAT(Sorted("SELECT i, n FROM A RIGHT JOIN B ON A.k = B.k AND A.i > 2"),
              ElementsAre("-|十", "-|半", "-|無", "3|again", "3|二十"));
  // A condition on the kept side does not drop its rows; WHERE does.
  EXPECT_THAT(Sorted("SELECT i, n FROM A LEFT OUTER JOIN B ON A.k = B.k AND A.i = 1"),
              ElementsAre("1|十", "2|-", "3|-", "4|-", "5|-"));
  EXPECT_THAT(Sorted("SELECT i FROM A LEFT JOIN B ON A.k = B.k WHERE B.n Is Null"),
              ElementsAre("4", "5"));
  // The nesting decides whether the row of Nulls survives.
  EXPECT_THAT(
      Sorted("SELECT i, n, C.b FROM (A LEFT JOIN B ON A.k = B.k) INNER JOIN C ON A.t = C.t"),
      ElementsAre("1|十|True", "3|again|True", "3|二十|True", "4|-|False"));
  EXPECT_THAT(Sorted("SELECT i, n FROM A LEFT JOIN (B INNER JOIN C ON B.n = C.t) ON A.k = B.k"),
              ElementsAre("1|-", "2|-", "3|-", "4|-", "5|-"));
}

TEST_F(JoinTest, ManyRowsHoldEitherSide) {
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
  EXPECT_THAT(Rows("SELECT Count(*), Sum(i) FROM Other LEFT JOIN Big ON Other.v = Big.i - 10000"),
              ElementsAre("500|-"));
}

// Few rows find theirs through an index, if there is one over the column.
TEST_F(JoinTest, FewRowsBesideManyWithAnIndex) {
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
                ElementsAre("1505|", "1505|5", "3005|", "3005|5", "4505|", "4505|5"));
    EXPECT_THAT(Sorted("SELECT i, t FROM Big INNER JOIN Few ON Big.h = Few.k AND t <> ''"),
                ElementsAre("10|5", "11|7"));
    EXPECT_THAT(Sorted("SELECT i FROM Big INNER JOIN Few ON (Big.h = Few.k) AND (Big.k = Few.t)"),
                ElementsAre());
    EXPECT_THAT(Sorted("SELECT i, t FROM Big INNER JOIN Few ON Big.k = Few.t WHERE i < 100"),
                ElementsAre("11|１１", "5|5"));
  }
}

// A damaged definition of an index: the rows are found without it.
TEST_F(JoinTest, AnIndexWithoutItsColumnsIsNotAsked) {
  std::vector<Row> rows;
  for (int i = 0; i < 5000; ++i) rows.push_back({i});
  auto big = MakeTable("Big", {{"i", ColumnType::kLong}}, rows);
  database_->AddIndex("Big", {.name = "i", .columns = {"i"}});
  const std::string path = folder_.File("q.mdb"), text = "SELECT A.i FROM A, Big WHERE A.i = Big.i";
  const std::vector<std::string> found = Sorted(text);
  EXPECT_FALSE(found.empty());
  big = database_->OpenTable("Big");
  const auto parts = big->def().real_indexes.at(0).column_bytes;
  const std::size_t page = big->def().page.value * jet::kPageSize;
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

TEST_F(JoinTest, NamesOfOutputs) {
  EXPECT_THAT(ColumnNames("SELECT A.k, y.k, i, y.*, n AS i2, Count FROM A, B AS y, "
                          "(SELECT Count(*) AS [Count] FROM C) AS c"),
              ElementsAre("A.k", "y.k", "i", "y.k", "n", "i2", "Count"));
  EXPECT_THAT(ColumnNames("SELECT i AS k, A.k FROM A"), ElementsAre("k", "A.k"));
  EXPECT_THAT(ColumnNames("SELECT 1 AS a, 2, 3"), ElementsAre("a", "Expr1000", "Expr1001"));
  EXPECT_THAT(ColumnNames("SELECT * FROM A, C"), ElementsAre("i", "k", "A.t", "C.t", "b"));
  EXPECT_THAT(Rows("SELECT [A.t] FROM (SELECT * FROM A, C WHERE i = 1 AND C.b = False) AS q"),
              ElementsAre("あ"));
}

TEST_F(JoinTest, DistinctRowLooksAtTheTablesThatAreShown) {
  EXPECT_THAT(Sorted("SELECT DISTINCTROW A.k FROM A INNER JOIN B ON A.k = B.k"),
              ElementsAre("10", "20", "20"));
  EXPECT_THAT(Sorted("SELECT DISTINCT A.k FROM A INNER JOIN B ON A.k = B.k"),
              ElementsAre("10", "20"));
}

TEST_F(JoinTest, SavedQueriesAreSources) {
  const auto save = [&](std::string_view name, std::string_view text) {
    database_->CreateQuery(name, sql::Parse(text), text);
  };
  save("内", "SELECT k, Count(*) AS 数 FROM A GROUP BY k");
  save("外", "SELECT B.n, 内.数 FROM B INNER JOIN 内 ON B.k = 内.k");
  EXPECT_THAT(Sorted("SELECT * FROM 外 WHERE 数 > 1"), ElementsAre("again|2", "二十|2"));
  EXPECT_THAT(Rows("SELECT Count(*) FROM 内 AS x INNER JOIN 内 AS y ON x.k = y.k"),
              ElementsAre("3"));
  EXPECT_THAT(Rows(database_->LoadQuery(*database_->Find("外"))).size(), 3u);
  save("輪1", "SELECT * FROM 輪2");
  save("輪2", "SELECT * FROM 輪1");
  ExpectError("SELECT * FROM 輪1", sql::ErrorCode::kBadQuery, "輪1 reads itself");
  save("深0", "SELECT i FROM A");
  for (int i = 1; i <= 40; ++i) {
    save("深" + std::to_string(i), "SELECT i FROM 深" + std::to_string(i - 1));
  }
  EXPECT_EQ(Rows("SELECT i FROM 深20").size(), 5u);
  ExpectError("SELECT i FROM 深40", sql::ErrorCode::kNotSupported, "nested too deeply");
}

TEST_F(JoinTest, NamesAreResolvedWhenRun) {
  using sql::ErrorCode;
  EXPECT_THAT(Rows("SELECT ａ.Ｉ FROM ａ WHERE [A].[i] = 1"), ElementsAre("1"));
  ExpectError("SELECT x FROM Z", ErrorCode::kNoTable, "no table or query Z");
  ExpectError("SELECT x FROM A", ErrorCode::kUnresolved, "no column x");
  ExpectError("SELECT A.x FROM A", ErrorCode::kUnresolved, "no column A.x");
  ExpectError("SELECT B.k FROM A", ErrorCode::kUnresolved, "B is no source");
  ExpectError("SELECT A.k FROM A AS q", ErrorCode::kUnresolved, "A is no source");
  ExpectError("SELECT k FROM A, B", ErrorCode::kUnresolved, "k is a column of A and of B");
  ExpectError("SELECT B.* FROM A", ErrorCode::kUnresolved, "B is no source");
  // Read, but not run.
  ExpectError("SELECT i FROM A UNION SELECT k FROM B", ErrorCode::kNotSupported, "UNION");
  ExpectError("SELECT i FROM A WHERE i IN (SELECT k FROM B)", ErrorCode::kNotSupported, "inside");
  ExpectError("SELECT Left(t, 1) FROM A", ErrorCode::kNotSupported, "function Left");
  // What nobody gives a value.
  ExpectError("SELECT i FROM A WHERE i = ?", ErrorCode::kUnresolved, "parameter ? has no value");
  ExpectError("SELECT i FROM A WHERE i = [Forms]! x . [y z]", ErrorCode::kUnresolved,
              "parameter [Forms]![x]![y z] has no value");
  for (const char* name : {"p", "[Forms]![x]![y]"}) {
    ExpectError(fmt::format("PARAMETERS {} Long; SELECT i FROM A", name), ErrorCode::kUnresolved,
                fmt::format("parameter {} has no value", name));
  }
}

TEST_F(JoinTest, RowsOfOneTableCanBeWrittenThrough) {
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
