// Saved queries as views of sqlite3: the rows that they have here.
#include <fmt/format.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <cstdlib>
#include <utility>

#include "sql/sql.h"
#include "tests/mdbadm/dumped.h"
#include "tests/mdbadm/program.h"

using jet::ColumnType;
using nlohmann::json;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

namespace test_support {
namespace {

// A field without line breaks; numbers in nine digits, as sums may differ in the last ones.
std::string Canonical(std::string text) {
  text = Replace(Replace(text, "\n", ""), "\r", "");
  char* end = nullptr;
  const double number = std::strtod(text.c_str(), &end);
  if (text.empty() || *end != 0) return text;
  return fmt::format("{:.9g}", number == 0 ? 0.0 : number);
}

}  // namespace

std::size_t ExpectSameViews(const std::string& path, const std::string& password) {
  Sqlite sqlite;
  sqlite.Tell(MdbAdmOut({"dump", path, "--password", password}));
  const auto views = sqlite.Ask({"SELECT name FROM sqlite_master WHERE type='view'"}, "NULL")[0];
  for (const std::string& view : views) {
    SCOPED_TRACE(view);
    std::vector<std::string> ours, theirs;
    std::string query;
    const json rows = MdbAdmJson({"sql", path, view, "--password", password});
    for (const json& row : rows) {
      std::string line;
      for (const json& field : row) {
        line += field.is_null()      ? "NULL"
                : field.is_boolean() ? (field.get<bool>() ? "1" : "0")
                : field.is_string()  ? Canonical(field)
                                     : Canonical(field.dump());
        line += '\x1f';
      }
      ours.push_back(line);
    }
    if (rows.empty()) {
      EXPECT_THAT(sqlite.Ask({"SELECT * FROM \"" + view + '"'}, "NULL")[0], ElementsAre());
      continue;
    }
    for (const auto& [column, field] : rows[0].items()) {
      query += fmt::format(
          "{}replace(replace(CASE typeof(\"{}\") WHEN 'null' THEN 'NULL' WHEN 'real' THEN "
          "printf('%.17g',\"{}\") ELSE \"{}\" END,char(10),''),char(13),'')||char(31)",
          query.empty() ? "SELECT " : "||", column, column, column);
    }
    const auto answers = sqlite.Ask({query + " FROM \"" + view + '"'}, "?");
    for (const std::string& line : answers[0]) {
      theirs.emplace_back();
      std::string field;
      for (const char c : line) {
        if (c == '\x1f') {
          theirs.back() += Canonical(std::exchange(field, {})) + c;
        } else {
          field += c;
        }
      }
    }
    std::sort(ours.begin(), ours.end());
    std::sort(theirs.begin(), theirs.end());
    EXPECT_TRUE(ours == theirs) << ours.size() << " " << theirs.size() << "\n"
                                << ours[0] << "\n"
                                << (theirs.empty() ? "" : theirs[0]);
  }
  return views.size();
}

}  // namespace test_support

namespace {

using namespace test_support;

class DumpedViewsTest : public MadeFilesTest {
 protected:
  void SetUp() override { SKIP_WITHOUT_SQLITE(); }
  // Two tables with Nulls, ties and rows that have no other; and queries q1, q2 ...
  std::string MakeQueries(const std::vector<std::string>& queries,
                          sql::Wildcards wildcards = sql::Wildcards::kAsterisk) {
    return Make("q.mdb", [&](jet::Database& database) {
      const auto a = database.CreateTable(
          {.name = "甲",
           .columns = {{.name = "i"},
                       {.name = "n"},
                       {.name = "t", .type = ColumnType::kText, .max_size = 40},
                       {.name = "f", .type = ColumnType::kBoolean},
                       {.name = "d", .type = ColumnType::kDateTime},
                       {.name = "x", .type = ColumnType::kDouble},
                       {.name = "c", .type = ColumnType::kCurrency},
                       {.name = "s", .type = ColumnType::kSingle}},
           .indexes = {}});
      const char* const texts[] = {"Alpha", "beta", "ALPHA", "", " a b ", "Gamma", "表示%"};
      for (int i = 1; i <= 40; ++i) {
        const jet::Value none;
        a->Insert(std::vector<jet::Value>{
            i, i % 7 == 0 ? none : jet::Value{i % 9 - 3},
            i % 5 == 0 ? none : jet::Value{std::string(texts[i % 7])}, i % 3 == 0,
            i % 8 == 0 ? none : jet::Value{jet::DateTime{38000.25 + i * 17}},
            i % 6 == 0 ? none : jet::Value{i * 0.75 - 9},
            i % 11 == 0 ? none : jet::Value{jet::Currency{i * 12'345}},
            static_cast<float>(i) / 10});
      }
      const auto b = database.CreateTable(
          {.name = "b",
           .columns = {{.name = "i"}, {.name = "u", .type = ColumnType::kText, .max_size = 40}},
           .indexes = {}});
      for (int i = 30; i <= 50; i += 2) {
        b->Insert(std::vector<jet::Value>{i, std::string(i % 4 == 0 ? "beta" : "delta")});
      }
      b->Insert(std::vector<jet::Value>{jet::Null{}, jet::Null{}});
      for (int n = 1; const std::string& query : queries) {
        database.CreateQuery(fmt::format("q{}", n++), sql::Parse(query, wildcards), "");
      }
    });
  }
};

TEST_F(DumpedViewsTest, ViewsGiveTheRowsOfTheQueries) {
  const std::vector<std::string> queries = {
      "SELECT i, n FROM 甲 WHERE n Between 3 And 1 OR n Not Between -1 And Null",
      "SELECT i FROM 甲 WHERE t Between 'c' And 'A'",
      "SELECT i, t & '-' & n AS a, t & n AS b, t + '!' AS c, Null & t AS e FROM 甲",
      "SELECT i, n / 2 AS a, i \\ 7 AS b, n Mod 2 AS c, i ^ 2 AS e, -n AS g, x * 2 - n AS h FROM "
      "甲",
      "SELECT c * 3 AS a, c + c AS b, c * x AS e, c * c AS g FROM 甲",
      "SELECT TOP 5 i, n FROM 甲 ORDER BY n DESC",
      "SELECT TOP 10 PERCENT i, n FROM 甲 WHERE n > 0 ORDER BY 2",
      "SELECT TOP 2 t, Count(*) AS c FROM 甲 GROUP BY t ORDER BY Count(*) DESC",
      "SELECT 甲.i, b.i AS j, u FROM 甲 RIGHT JOIN b ON 甲.i = b.i",
      "SELECT 甲.i, b.*, o.t FROM (甲 INNER JOIN b ON 甲.i = b.i) RIGHT JOIN 甲 AS o ON o.i = b.i "
      "+ 1",
      "SELECT * FROM b RIGHT JOIN 甲 ON 甲.i = b.i",
      "SELECT i, IIf(n > 2, 'many', t) AS a, IIf(f, 1, 2) AS b, IIf(n, f, n > 3) AS c FROM 甲",
      "SELECT i, IsNull(n) AS a, Nz(n, 0) AS b, Nz(t, '-') AS c FROM 甲",
      "SELECT i, Left(t, 2) AS a, Right(t, 3) AS b, Right(t, 0) AS c, Mid(t, 2) AS e, Mid(t, 2, 2) "
      "AS g, Len(t) AS h, Trim(t) AS k, LTrim(t) AS l, RTrim(t) AS m, UCase(t) AS o, LCase(t) AS p "
      "FROM 甲",
      "SELECT i, Year(d) AS a, Month(d) AS b, Day(d) AS c, Hour(d) AS e, DatePart('q', d) AS g, "
      "Weekday(d) AS h, DatePart('y', d) AS k FROM 甲",
      "SELECT i, Abs(n) AS a, Int(x) AS b, Fix(x) AS c, Sgn(x) AS e, Abs(x) AS g, Int(c) AS h FROM "
      "甲",
      "SELECT i FROM 甲 WHERE t = 'alpha' OR t <> 'BETA' AND t Like 'g*'",
      "SELECT i FROM 甲 WHERE f Xor n > 1",
      "SELECT i FROM 甲 WHERE (f Eqv n > 1) And (n > 0 Imp f)",
      "SELECT i FROM 甲 WHERE Not (n > 1) And f = True And f <> False",
      "SELECT i, f + 1 AS a, f = -1 AS b, n > f AS c FROM 甲 ORDER BY f, i",
      "SELECT Sum(f) AS a, Max(f) AS b, Avg(n) AS c, Sum(c) AS e, Min(d) AS g, Max(t) AS h FROM 甲",
      "SELECT n, Sum(x) AS a FROM 甲 GROUP BY n HAVING Sum(x) > 0",
      "SELECT t AS a FROM 甲 UNION SELECT u FROM b",
      "SELECT i, t AS a FROM 甲 UNION ALL SELECT i, u FROM b ORDER BY 1 DESC",
      "SELECT z.k, z.j FROM (SELECT i + 1 AS k, n AS j FROM 甲 WHERE n > 0) AS z WHERE z.j < 4",
      "SELECT i FROM 甲 WHERE i IN (SELECT i FROM b) AND t NOT IN ('beta', 'x')",
      "SELECT i FROM 甲 WHERE EXISTS (SELECT * FROM b WHERE b.i = 甲.i + 1)",
      "SELECT i, (SELECT Count(*) FROM b WHERE b.i > 甲.i) AS c FROM 甲",
      "SELECT i, n FROM 甲 WHERE n = (SELECT Max(n) FROM 甲)",
      "SELECT i, x + 1 AS y, y * 2 AS z FROM 甲",
      "SELECT i, d FROM 甲 WHERE d > #2005-06-01# AND d Between #2007-01-01# And #2004-01-01#",
      "SELECT DISTINCT t, n FROM 甲",
      "SELECT i, s FROM 甲 WHERE s IS NOT NULL",
      "SELECT a, j FROM q26, q24 WHERE j = 3 AND a = 'BETA'"};
  std::vector<std::string> all = queries;
  all.back() = Replace(all.back(), "a, j FROM q26", "a, z.j FROM q26 AS z");
  all.back() = Replace(all.back(), "WHERE j", "WHERE z.j");
  const std::string path = MakeQueries(all);
  EXPECT_THAT(MdbAdmOut({"dump", path}), Not(HasSubstr("is not a view")));
  EXPECT_EQ(ExpectSameViews(path, ""), all.size());
}

TEST_F(DumpedViewsTest, WhatSqliteRunsInAnotherWayIsAComment) {
  const std::pair<std::string, std::string> refused[] = {
      {"SELECT TOP 3 i FROM 甲", "TOP 3"},
      {"SELECT TOP 3 i FROM 甲 ORDER BY t", "TOP by texts"},
      {"SELECT DISTINCT TOP 3 n FROM 甲 ORDER BY n", "TOP 3"},
      {"SELECT i FROM 甲 WHERE s = 0.1", "values of several types in one place"},
      {"SELECT i, s * 2 AS a FROM 甲", "what it computes from [甲].[s]"},
      {"SELECT i, d + 1 AS a FROM 甲", "what it computes from [甲].[d]"},
      {"SELECT i, x & '' AS a FROM 甲", "the text of [甲].[x]"},
      {"SELECT i FROM 甲 WHERE x Mod 2 = 0", "\\ and Mod of what is not whole"},
      {"SELECT i FROM 甲 WHERE t Like '[a-c]*'", "pattern [a-c]*"},
      {"SELECT i FROM 甲 WHERE t Like '100%'", "pattern 100%"},
      {"SELECT i FROM 甲 WHERE i = ANY (SELECT i FROM b)", "ANY and ALL"},
      {"SELECT i FROM 甲 WHERE i = (SELECT i FROM b WHERE i = 30)", "a query as a value"},
      {"SELECT i, n AS a FROM 甲 UNION SELECT i, u FROM b", "a UNION of values of several types"},
      {"SELECT First(i) AS a FROM 甲", "function First"},
      {"SELECT Left(t, i) AS a FROM 甲", "function Left"},
      {"SELECT Format(d, 'yyyy') AS a FROM 甲", "function Format"},
      {"SELECT DISTINCTROW b.i FROM 甲 INNER JOIN b ON 甲.i = b.i", "DISTINCTROW"}};
  std::vector<std::string> queries;
  for (const auto& [query, why] : refused) queries.push_back(query);
  const std::string dump = MdbAdmOut({"dump", MakeQueries(queries)});
  for (int n = 1; const auto& [query, why] : refused) {
    EXPECT_THAT(dump,
                HasSubstr(fmt::format(
                    "-- query q{} is not a view: sqlite3 would not run it alike: {}", n++, why)));
  }
}

TEST_F(DumpedViewsTest, PatternsAreOfTheQuerysDialect) {
  const std::string path =
      MakeQueries({"SELECT i FROM 甲 WHERE t Like 'a%'", "SELECT i FROM 甲 WHERE t Like 'a*'",
                   "SELECT i FROM 甲 WHERE t Not Like '_eta'"},
                  sql::Wildcards::kAnsi);
  EXPECT_EQ(ExpectSameViews(path, ""), 3U);
  EXPECT_THAT(MdbAdmOut({"sql", path, "q1", "--csv"}), HasSubstr("\r\n2"));
}

}  // namespace
