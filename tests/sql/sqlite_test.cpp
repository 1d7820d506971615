// The same questions to sqlite3, over the same rows. Texts are compared by the
// sort key, which sqlite3 gets as a column of its own.

#include "tests/support/sqlite.h"

#include <random>

#include "jet/sort/name.h"
#include "tests/sql/query_fixture.h"

namespace sql_tests {
namespace {

using jet::ColumnType;
using jet::Null;
using test_support::Hex;
using test_support::Replace;
using test_support::Sqlite;

class SqliteTest : public QueryTest {
 protected:
  // Three tables of random rows, few values each, so that they meet often.
  void Fill(unsigned seed) {
    std::mt19937 random(seed);
    sqlite_ = {};
    const auto pick = [&](int count) {
      return static_cast<int>(random() % static_cast<unsigned>(count));
    };
    for (const char* name : {"A", "B", "C"}) {
      std::vector<Row> rows;
      const bool whole = *name != 'B';
      for (int i = 0, count = 1 + pick(*name == 'C' ? 8 : 90); i < count; ++i) {
        static const char* const kTexts[] = {"FG", "ＦＧ", "fg", "相ＦＧ", "ｱ",
                                             "ア", "あ",   "",   "10",     "x'y"};
        Row row{i, whole ? jet::Value(pick(12)) : jet::Value(pick(24) / 2.0), kTexts[pick(10)],
                pick(40) / 4.0};
        for (std::size_t k = 1; k < row.size(); ++k) {
          if (pick(8) == 0) row[k] = Null{};
        }
        rows.push_back(std::move(row));
      }
      MakeTable(name,
                {{"i", ColumnType::kLong},
                 {"k", whole ? ColumnType::kLong : ColumnType::kDouble},
                 {"t", ColumnType::kText},
                 {"x", ColumnType::kDouble}},
                rows);
      sqlite_.Tell(fmt::format("CREATE TABLE {}(i, k, t, t_key, x);\n", name));
      for (const Row& row : rows) {
        const auto number = [](const jet::Value& v) { return jet::IsNull(v) ? "NULL" : ToText(v); };
        const auto* text = std::get_if<std::string>(&row[2]);
        sqlite_.Tell(fmt::format(
            "INSERT INTO {} VALUES({},{},{},{},{});\n", name, number(row[0]), number(row[1]),
            text ? Sqlite::Quoted(*text) : "NULL",
            text ? Sqlite::Quoted(Hex(jet::NameKey(database_->order(), *text))) : "NULL",
            number(row[3])));
      }
    }
    if (seed % 2 == 0) database_->AddIndex("A", Index("A_k"));
    if (seed % 2 == 0) database_->AddIndex("B", Index("B_k"));
  }

  static jet::IndexSpec Index(const char* name) {
    jet::IndexSpec index;
    index.name = name;
    index.columns = {"k"};
    return index;
  }

  Sqlite sqlite_;
};

// `~t` is the text here and its key there.
constexpr const char* kQueries[] = {
    "SELECT A.i, B.i FROM A INNER JOIN B ON A.k = B.k",
    "SELECT A.i, C.i FROM A LEFT JOIN C ON A.~t = C.~t",
    "SELECT A.i, B.i, C.i FROM (A INNER JOIN B ON A.k = B.k) INNER JOIN C ON B.~t = C.~t",
    "SELECT A.i, B.i, C.i FROM C LEFT JOIN (A INNER JOIN B ON A.k = B.k AND A.x <= B.x) ON C.k = "
    "A.k",
    "SELECT A.i, B.i, C.i FROM (A LEFT JOIN B ON A.k = B.k AND A.~t = B.~t) INNER JOIN C ON C.k = "
    "A.k",
    "SELECT A.i, B.i, C.i FROM A, B, C WHERE A.k = B.k AND B.k = C.k AND A.x + B.x > C.x",
    "SELECT A.i, C.i FROM A, C WHERE A.x < C.x AND (A.~t = C.~t OR A.k = 3)",
    "SELECT A.i, B.i FROM A LEFT JOIN B ON A.k = B.k WHERE B.x IS NULL OR B.x > 5",
    "SELECT i FROM B WHERE k BETWEEN 2 AND 4.5 AND NOT (x IN (1, 2.5, 3) OR ~t IS NULL)",
    "SELECT Count(*), Count(x), Sum(x), Min(x), Max(k) FROM B WHERE k > 3",
    "SELECT Min(i), Count(*), Sum(x), Max(x) FROM A GROUP BY ~t",
    "SELECT k, Min(i), Sum(x) FROM A GROUP BY k, ~t HAVING Count(*) > 1",
    "SELECT C.i, Count(B.i), Sum(B.x) FROM (C LEFT JOIN A ON C.k = A.k) LEFT JOIN B ON A.k = B.k "
    "GROUP BY C.i",
    "SELECT DISTINCT A.k, B.k FROM A INNER JOIN B ON A.~t = B.~t",
    "SELECT x - k * 2, -x, k / 4.0 FROM B",
};

TEST_F(SqliteTest, SameAnswers) {
  if (!Sqlite::Installed()) GTEST_SKIP() << "no sqlite3 here";
  std::size_t rows = 0;
  for (unsigned seed = 1; seed <= 6; ++seed) {
    database_ = jet::Database::Create(*files_, folder_.File(fmt::format("{}.mdb", seed)), {});
    Fill(seed);
    std::vector<std::string> queries;
    for (const char* query : kQueries) queries.push_back(Replace(query, "~t", "t_key"));
    const std::vector<std::vector<std::string>> answers = sqlite_.Ask(queries, "-");
    for (std::size_t i = 0; i < queries.size(); ++i) {
      std::vector<std::string> expected, found;
      // A whole number of a real column has no ".0" with us.
      for (const std::string& line : answers[i]) {
        expected.push_back(Replace(Replace(line + "|", ".0|", "|"), "-0|", "0|"));
      }
      for (const std::string& line : Sorted(Replace(kQueries[i], "~t", "t"))) {
        found.push_back(Replace(line + "|", "-0|", "0|"));
      }
      std::sort(expected.begin(), expected.end());
      std::sort(found.begin(), found.end());
      EXPECT_EQ(found, expected) << "seed " << seed << ": " << kQueries[i];
      rows += expected.size();
    }
  }
  EXPECT_GT(rows, 1000u);
}

}  // namespace
}  // namespace sql_tests
