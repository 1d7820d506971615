// Random queries over random tables, asked of sqlite3 as well.
#include "fuzz/random_select.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "jet/sort/name.h"
#include "sql/sql.h"
#include "tests/sql/query_fixture.h"
#include "tests/support/sqlite.h"

namespace fuzz {
namespace {

using jet::ColumnType;
using test_support::Hex;
using test_support::Sqlite;

// Fields as both print them: numbers without ".0", without the sign of a zero, with the
// digits that sqlite3 shows; an empty text as ''.
std::string Plain(const std::string& line) {
  std::string plain;
  for (std::size_t begin = 0; begin <= line.size();) {
    const std::size_t end = std::min(line.find('|', begin), line.size());
    const std::string field = line.substr(begin, end - begin);
    char* stop = nullptr;
    const double number = std::strtod(field.c_str(), &stop);
    // "1s" is a Short.
    const bool is_number = !field.empty() && (*stop == 0 || std::string_view(stop) == "s");
    plain += (is_number       ? fmt::format("{:.12g}", number == 0 ? 0 : number)
              : field.empty() ? "''"
                              : field) +
             "|";
    begin = end + 1;
  }
  return plain;
}

class RandomSelectTest : public sql_tests::QueryTest {
 protected:
  // Few values each, so that they meet often; some tables are empty.
  void Fill(Random& random) {
    static constexpr const char* kTexts[] = {"FG", "ＦＧ", "fg",  "相ＦＧ", "ｱ",
                                             "ア", "あ",   "abc", "x'y",    "b c"};
    for (QueryTable& table : tables_) {
      const bool big = table.name == "A";
      const std::size_t count = random.OneIn(12) ? 0 : 1 + random.Below(big ? 25 : 12);
      std::vector<std::pair<std::string, ColumnType>> columns;
      std::string names;
      const auto add = [&](const std::string& name, ColumnType type) {
        columns.emplace_back(name, type);
        names += (names.empty() ? "" : ",") + name;
      };
      for (const std::string& each : table.wholes) add(each, ColumnType::kLong);
      for (const std::string& each : table.numbers) add(each, ColumnType::kDouble);
      for (const std::string& each : table.texts) add(each, ColumnType::kText);
      for (const std::string& each : table.texts) names += "," + each + "_key";
      sqlite_.Tell(fmt::format("CREATE TABLE {}({});\n", table.name, names));
      std::vector<Row> rows;
      for (std::size_t i = 0; i < count; ++i) {
        Row row;
        std::string values, keys;
        for (const auto& [name, type] : columns) {
          const bool null = !row.empty() && random.OneIn(6);
          if (null) {
            row.push_back(jet::Null{});
          } else if (type == ColumnType::kText) {
            row.emplace_back(std::string(random.Pick(kTexts)));
          } else if (type == ColumnType::kDouble) {
            row.emplace_back(static_cast<double>(random.Below(40)) / 4 - 2);
          } else {
            row.emplace_back(static_cast<std::int32_t>(row.empty() ? i : random.Below(12)));
          }
          if (row.size() > 1) values += ",";
          const auto* text = std::get_if<std::string>(&row.back());
          values += null ? "NULL" : text ? Sqlite::Quoted(*text) : sql_tests::ToText(row.back());
          if (type != ColumnType::kText) continue;
          keys +=
              null ? ",NULL" : "," + Sqlite::Quoted(Hex(jet::NameKey(database_->order(), *text)));
        }
        sqlite_.Tell(fmt::format("INSERT INTO {} VALUES({}{});\n", table.name, values, keys));
        rows.push_back(std::move(row));
      }
      MakeTable(table.name, columns, rows);
      for (const std::string& each : {table.wholes.back(), table.wholes.front()}) {
        if (random.OneIn(2)) continue;
        jet::IndexSpec index;
        index.name = "by_" + each;
        index.columns = {each};
        if (index.name != "by_i" || table.wholes.size() > 1) database_->AddIndex(table.name, index);
      }
    }
  }

  std::vector<QueryTable> tables_ = {{"A", {"i", "k"}, {"x"}, {"t"}},
                                     {"B", {"i"}, {"k", "x"}, {"t"}},
                                     {"C", {"i", "k", "m"}, {"x"}}};
  Sqlite sqlite_;
};

TEST_F(RandomSelectTest, AnswersAsSqliteDoes) {
  if (!Sqlite::Installed()) GTEST_SKIP() << "no sqlite3 here";
  constexpr std::size_t kDatabases = 20, kQueries = 100;
  Random random(20'261);
  std::size_t ran = 0, rows = 0, empty = 0;
  for (std::size_t i = 0; i < kDatabases; ++i) {
    database_ = jet::Database::Create(*files_, folder_.File(fmt::format("{}.mdb", i)), {});
    sqlite_ = {};
    Fill(random);
    std::vector<Question> questions;
    std::vector<std::string> theirs;
    for (std::size_t k = 0; k < kQueries; ++k) {
      questions.push_back(RandomSelect(tables_, random));
      theirs.push_back(questions.back().theirs);
    }
    const std::vector<std::vector<std::string>> answers = sqlite_.Ask(theirs, "-");
    for (std::size_t k = 0; k < kQueries; ++k) {
      std::vector<std::string> expected, found;
      for (const std::string& line : answers[k]) expected.push_back(Plain(line));
      ASSERT_NO_THROW({
        for (const std::string& line : Rows(questions[k].ours)) found.push_back(Plain(line));
      }) << questions[k].ours;
      if (!questions[k].ordered) {
        std::sort(expected.begin(), expected.end());
        std::sort(found.begin(), found.end());
      }
      EXPECT_EQ(found, expected) << "database " << i << "\n"
                                 << questions[k].ours << "\n"
                                 << questions[k].theirs;
      ++ran;
      rows += found.size();
      empty += found.empty() ? 1 : 0;
    }
    if (HasFailure()) return;
  }
  std::printf("%zu queries ran, %zu rows, %zu queries without a row\n", ran, rows, empty);
  EXPECT_EQ(ran, kDatabases * kQueries);
  EXPECT_LT(empty, ran / 2);
}

}  // namespace
}  // namespace fuzz
