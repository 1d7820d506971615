// What `dump` gives to sqlite3, compared with what `rows` and `sql` print; and CSV.
#include <fmt/format.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <utility>

#include "sql/sql.h"
#include "tests/mdbadm/program.h"
#include "tests/support/sqlite.h"

namespace {

using namespace test_support;
using jet::ColumnType;
using nlohmann::json;
using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::Not;

// A table's rows in sqlite3: of each field its type and what it holds, unambiguously.
std::string RowsQuery(const std::string& table, const std::vector<std::string>& columns) {
  std::string query;
  for (const std::string& column : columns) {
    query += fmt::format(
        "{}typeof(\"{}\")||':'||CASE typeof(\"{}\") WHEN 'real' THEN printf('%!.20e',\"{}\") WHEN "
        "'integer' THEN \"{}\" WHEN 'null' THEN '' ELSE hex(\"{}\") END",
        query.empty() ? "" : "||','||", column, column, column, column, column);
  }
  return fmt::format("SELECT {} FROM \"{}\" ORDER BY rowid", query, table);
}

bool IsSame(const json& ours, const std::string& theirs) {
  const std::string type = theirs.substr(0, theirs.find(':'));
  const std::string content = theirs.substr(type.size() + 1);
  if (ours.is_null()) return type == "null";
  const bool is_number = type == "integer" || type == "real";
  if (ours.is_boolean()) return content == (ours.get<bool>() ? "1" : "0");
  if (ours.is_number()) {
    return is_number && std::strtod(content.c_str(), nullptr) == ours.get<double>();
  }
  const auto text = ours.get<std::string>();
  if (type == "blob") return text == content;
  if (type == "text") return Hex(text) == content;
  return is_number && std::strtod(content.c_str(), nullptr) == std::strtod(text.c_str(), nullptr);
}

// The column that sqlite3 makes the row's number, and so sorts by.
std::string RowNumber(const std::string& path, const std::string& password, const json& table,
                      const json& columns) {
  for (const json& index : MdbAdmJson({"indexes", path, table, "--password", password})) {
    if (index["primary"] == false) continue;
    for (const json& column : columns) {
      const std::string type = column["type"];
      const bool whole = type == "Long" || type == "Integer" || type == "Byte";
      if (whole && column["column"] == index["columns"]) return column["column"];
    }
  }
  return {};
}

std::vector<std::string> Split(const std::string& line) {
  std::vector<std::string> parts(1);
  for (const char c : line) {
    if (c == ',') {
      parts.emplace_back();
    } else {
      parts.back() += c;
    }
  }
  return parts;
}

// Every row of every table; how many.
std::size_t ExpectSameRows(const std::string& path, const std::string& password) {
  Sqlite sqlite;
  sqlite.Tell(MdbAdmOut({"dump", path, "--password", password}));
  std::vector<std::string> queries{"PRAGMA integrity_check", "PRAGMA foreign_key_check"};
  std::vector<json> all;
  for (const json& table : MdbAdmJson({"tables", path, "--password", password})) {
    if (table["kind"] != "table" || table["columns"] == 0) continue;
    const std::string name = table["table"];
    const json columns = MdbAdmJson({"columns", path, name, "--password", password});
    std::vector<std::string> names;
    for (const json& column : columns) names.push_back(column["column"]);
    json rows = MdbAdmJson({"rows", path, name, "--password", password});
    const std::string number = RowNumber(path, password, name, columns);
    if (!number.empty()) {
      std::sort(rows.begin(), rows.end(),
                [&](const json& a, const json& b) { return a[number] < b[number]; });
    }
    queries.push_back(RowsQuery(name, names));
    all.push_back({{"table", name}, {"columns", names}, {"rows", std::move(rows)}});
  }
  const auto answers = sqlite.Ask(queries, "NULL");
  EXPECT_THAT(answers[0], ElementsAre("ok"));
  EXPECT_THAT(answers[1], ElementsAre());
  std::size_t compared = 0;
  for (std::size_t t = 0; t < all.size(); ++t) {
    SCOPED_TRACE(all[t]["table"]);
    const json& rows = all[t]["rows"];
    if (rows.size() != answers[t + 2].size()) {
      ADD_FAILURE() << rows.size() << " rows here, " << answers[t + 2].size() << " there";
      continue;
    }
    for (std::size_t r = 0; r < rows.size(); ++r, ++compared) {
      const std::vector<std::string> fields = Split(answers[t + 2][r]);
      std::size_t c = 0;
      for (const json& column : all[t]["columns"]) {
        const json& ours = rows[r][column.get<std::string>()];
        if (!IsSame(ours, fields[c++])) {
          ADD_FAILURE() << "row " << r << " " << column << ": " << ours << " " << fields[c - 1];
          return compared;
        }
      }
    }
  }
  return compared;
}

// A field without line breaks; numbers in nine digits, as sums may differ in the last ones.
std::string Canonical(std::string text) {
  text = Replace(Replace(text, "\n", ""), "\r", "");
  char* end = nullptr;
  const double number = std::strtod(text.c_str(), &end);
  if (text.empty() || *end != 0) return text;
  return fmt::format("{:.9g}", number == 0 ? 0.0 : number);
}

// Every view gives the rows of the query; how many views.
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

#define SKIP_WITHOUT_SQLITE() \
  if (!Sqlite::Installed()) GTEST_SKIP() << "sqlite3 is not installed"

TEST(DumpTest, SamplesAreTheSameInSqlite) {
  SKIP_WITHOUT_SQLITE();
  const std::string password(db::kDatabasePassword);
  std::vector<std::string> all{"2 2", "14 10", "20 16", "27 22"};
  if (std::getenv("DUMP_ALL_VERSIONS") != nullptr) {
    all.clear();
    for (int n = 2; n <= 27; ++n) all.push_back(fmt::format("{} {}", n, std::min(n, 22)));
  }
  for (const std::string& both : all) {
    SCOPED_TRACE(both);
    const std::size_t blank = both.find(' ');
    const TempFolder folder;
    MdbAdmOut({"sample", folder.path(), "--jobs", "5", "--data", both.substr(0, blank), "--tenkai",
               both.substr(blank + 1)});
    EXPECT_GT(ExpectSameRows(folder.File("Data.mdb"), password), 500U);
    EXPECT_EQ(ExpectSameViews(folder.File("Data.mdb"), password) > 0,
              std::atoi(both.c_str()) >= 14);
    EXPECT_GT(ExpectSameRows(folder.File("展開Data.mdb"), password), 10U);
  }
}

TEST(DumpTest, RealFilesAreTheSameInSqlite) {
  SKIP_WITHOUT_SAMPLES();
  SKIP_WITHOUT_SQLITE();
  std::size_t rows = 0, views = 0;
  for (const std::string& name : SampleNames()) {
    SCOPED_TRACE(name);
    // The password of the one that has any.
    rows += ExpectSameRows(SamplePath(name), "ucanaccess");
    views += ExpectSameViews(SamplePath(name), "ucanaccess");
  }
  std::printf("%zu rows and %zu views compared\n", rows, views);
}

TEST(DumpTest, TheSchemaOfRealFilesIsThatOfMdbSchema) {
  SKIP_WITHOUT_SAMPLES();
  SKIP_WITHOUT_SQLITE();
  if (!HasProgram("mdb-schema")) GTEST_SKIP() << "mdbtools is not installed";
  // Theirs has no indexes for sqlite3, another order of columns, and REAL for decimals.
  const std::string query =
      "SELECT m.name, p.name, CASE lower(p.type) WHEN 'integer' THEN 'whole' WHEN 'real' THEN "
      "'number' WHEN '' THEN 'number' WHEN 'blob' THEN 'bytes' ELSE 'text' END FROM sqlite_master "
      "m, pragma_table_info(m.name) p WHERE m.type='table' ORDER BY m.name, p.name";
  for (const std::string& name : SampleNames()) {
    SCOPED_TRACE(name);
    Sqlite ours, theirs;
    ours.Tell(MdbAdmOut({"dump", SamplePath(name), "--password", "ucanaccess"}));
    const std::string schema =
        RunProcess("/bin/sh", {"-c", R"(exec mdb-schema --no-indexes --no-relations "$0" sqlite)",
                               SamplePath(name)})
            .out;
    ASSERT_FALSE(schema.empty());
    theirs.Tell(schema);
    auto found = ours.Ask({query}, "NULL")[0], expected = theirs.Ask({query}, "NULL")[0];
    // There a GUID is a number.
    for (const json& column :
         MdbAdmJson({"columns", SamplePath(name), "--password", "ucanaccess"})) {
      if (column["type"] != "GUID") continue;
      const std::string begin = fmt::format("{}|{}|", column["table"].get<std::string>(),
                                            column["column"].get<std::string>());
      for (auto* lines : {&found, &expected}) {
        std::erase_if(*lines, [&](const std::string& line) { return line.starts_with(begin); });
      }
    }
    EXPECT_EQ(found, expected);
  }
}

class DumpedValuesTest : public MadeFilesTest {
 protected:
  void SetUp() override { SKIP_WITHOUT_SQLITE(); }
  std::vector<std::vector<std::string>> Ask(const std::string& path,
                                            const std::vector<std::string>& queries) {
    Sqlite sqlite;
    sqlite.Tell(MdbAdmOut({"dump", path}));
    return sqlite.Ask(queries, "NULL");
  }
};

TEST_F(DumpedValuesTest, TextsComeThroughToTheByte) {
  std::vector<std::string> texts = {"",
                                    "O'Brien \"q\"",
                                    "a\r\nb\r\n",
                                    "a\nb",
                                    "a\rb",
                                    "\r",
                                    "a\r\r\nb",
                                    "\n.quit\n",
                                    "-- x\n;\n/",
                                    "表\\,\t|",
                                    std::string("a\0b", 3)};
  const std::string path = Make("t.mdb", [&](jet::Database& database) {
    const auto table =
        database.CreateTable({.name = "名\"前",
                              .columns = {{.name = "i"}, {.name = "m", .type = ColumnType::kMemo}},
                              .indexes = {}});
    for (int i = 0; const std::string& text : texts) {
      table->Insert(std::vector<jet::Value>{i++, text});
    }
    table->Insert(std::vector<jet::Value>{99, jet::Null{}});
  });
  const auto answers = Ask(path, {"SELECT typeof(m)||hex(m) FROM \"名\"\"前\" ORDER BY i"});
  std::vector<std::string> expected;
  for (const std::string& text : texts) expected.push_back("text" + Hex(text));
  expected.emplace_back("null");
  EXPECT_EQ(answers[0], expected);
}

TEST_F(DumpedValuesTest, NumbersAreExact) {
  using Limits = std::numeric_limits<double>;
  const std::vector<double> doubles = {0.1,
                                       1.0 / 3,
                                       -2.5,
                                       1e300 / 7,
                                       Limits::max(),
                                       Limits::min(),
                                       Limits::denorm_min(),
                                       -0.30000000000000004,
                                       9007199254740993.0,
                                       1e22,
                                       1e-300};
  const std::vector<std::int64_t> amounts = {0, 125'000, -1,
                                             std::numeric_limits<std::int64_t>::max(),
                                             std::numeric_limits<std::int64_t>::min()};
  const std::string path = Make("n.mdb", [&](jet::Database& database) {
    const auto table = database.CreateTable(
        {.name = "d", .columns = {{.name = "x", .type = ColumnType::kDouble}}, .indexes = {}});
    for (const double number : doubles) table->Insert(std::vector<jet::Value>{number});
    const auto money = database.CreateTable(
        {.name = "c", .columns = {{.name = "x", .type = ColumnType::kCurrency}}, .indexes = {}});
    for (const std::int64_t amount : amounts) {
      money->Insert(std::vector<jet::Value>{jet::Currency{amount}});
    }
    const auto times = database.CreateTable(
        {.name = "t", .columns = {{.name = "x", .type = ColumnType::kDateTime}}, .indexes = {}});
    for (const double days :
         {40000.5, -1.25, 0.0, 40000.0 + 1.5 / 86400, std::nextafter(40000.5, 0),
          40000.25 + 0.000125 / 86400, -2.5 - 0.000000007 / 86400, 1e-15, 1e9}) {
      times->Insert(std::vector<jet::Value>{jet::DateTime{days}});
    }
    const auto decimals = database.CreateTable(
        {.name = "n",
         .columns = {{.name = "x", .type = ColumnType::kNumeric, .precision = 28, .scale = 3},
                     {.name = "y", .type = ColumnType::kBoolean}},
         .indexes = {}});
    for (const char* number : {"1234567890123456789012345.678", "-0.5", "100"}) {
      decimals->Insert(std::vector<jet::Value>{*jet::ParseNumeric(number, 28, 3), true});
    }
  });
  const auto answers = Ask(path, {"SELECT printf('%!.25e',x) FROM d", "SELECT x FROM c",
                                  "SELECT x FROM t", "SELECT x, y, typeof(x) FROM n"});
  ASSERT_EQ(answers[0].size(), doubles.size());
  for (std::size_t i = 0; i < doubles.size(); ++i) {
    EXPECT_EQ(std::strtod(answers[0][i].c_str(), nullptr), doubles[i]) << answers[0][i];
  }
  EXPECT_THAT(answers[1],
              ElementsAre("0", "12.5", "-0.0001", "922337203685477.5807", "-922337203685477.5808"));
  EXPECT_THAT(
      answers[2],
      ElementsAre("2009-07-06 12:00:00", "1899-12-29 06:00:00", "1899-12-30 00:00:00",
                  "2009-07-06 00:00:01.500", "2009-07-06 12:00:00", "2009-07-06 06:00:00.000125",
                  "1899-12-28 12:00:00.000000007", "1899-12-30 00:00:00", "1000000000 days"));
  EXPECT_THAT(answers[3],
              ElementsAre("1234567890123456789012345.678|1|text", "-0.5|1|real", "100|1|integer"));
}

// What a dump says of a date: its comment, else its text, as days.
double DaysOf(const std::string& literal) {
  const std::size_t comment = literal.find("/* ");
  if (comment != std::string::npos) return std::strtod(literal.c_str() + comment + 3, nullptr);
  const std::string text = literal.substr(1);
  if (text.find(" days") != std::string::npos) return std::strtod(text.c_str(), nullptr);
  const double day = jet::ReadDateTime(text.substr(0, 10))->days;
  const double minutes = std::atoi(text.c_str() + 11) * 60 + std::atoi(text.c_str() + 14);
  const double time = minutes * 60e9 + std::round(std::strtod(text.c_str() + 17, nullptr) * 1e9);
  return day < 0 ? day - time / 86400e9 : day + time / 86400e9;
}

TEST_F(DumpedValuesTest, DatesLoseNothing) {
  const std::vector<std::pair<double, std::string>> told = {
      {40000 + 1.25 / 86400, "'2009-07-06 00:00:01.250'"},
      {40000 + 1.000125 / 86400, "'2009-07-06 00:00:01.000125'"},
      {-1 - 0.002 / 86400, "'1899-12-29 00:00:00.002'"},
      {-657434.5, "'0100-01-01 12:00:00'"},
      {-0.5, "'1899-12-30 12:00:00' /* -0.5 days */"},
      {-0.0, "'1899-12-30 00:00:00' /* -0 days */"},
      {-3000000.125, "'-3000000.125 days'"},
      {std::nextafter(40000.5, 0), "'2009-07-06 12:00:00' /* 40000.49999999999 days */"},
      {std::nextafter(40001.0, 0), "'2009-07-07 00:00:00' /* 40000.99999999999 days */"},
      {std::nextafter(-2.0, 0), "'1899-12-30 00:00:00' /* -1.9999999999999998 days */"},
      {std::nextafter(2958466.0, 0), "'9999-12-31 23:59:59' /* 2958465.9999999995 days */"},
      {1e-9, "'1899-12-30 00:00:00.000086400'"}};
  std::vector<double> all;
  for (const auto& [days, text] : told) all.push_back(days);
  // Many more, as programs compute them.
  for (int i = 1; i < 2000; ++i) {
    all.push_back((i - 700) * 31.00001157 + i * 1e-7);
    all.push_back(30000 + i / 24.0 + i / 1440.0);
  }
  const std::string path = Make("d.mdb", [&](jet::Database& database) {
    const auto table = database.CreateTable(
        {.name = "t", .columns = {{.name = "x", .type = ColumnType::kDateTime}}, .indexes = {}});
    for (const double days : all) table->Insert(std::vector<jet::Value>{jet::DateTime{days}});
  });
  const std::string dump = MdbAdmOut({"dump", path});
  std::size_t rows = 0;
  for (std::size_t at = dump.find("VALUES("); at != std::string::npos && rows < all.size();) {
    const std::size_t begin = at + 7, end = dump.find(");\n", begin);
    const std::string literal = dump.substr(begin, end - begin);
    if (rows < told.size()) {
      EXPECT_EQ(literal, told[rows].second);
    }
    const double days = DaysOf(literal);
    EXPECT_EQ(days, all[rows]) << literal;
    EXPECT_EQ(std::signbit(days), std::signbit(all[rows])) << literal;
    ++rows;
    at = dump.find("VALUES(", end);
  }
  EXPECT_EQ(rows, all.size());
}

TEST_F(DumpedValuesTest, RulesComeAlongAndWhatDoesNotIsSaid) {
  const std::string path = Make("r.mdb", [](jet::Database& database) {
    const auto table = database.CreateTable(
        {.name = "t",
         .columns = {{.name = "ID", .auto_number = true},
                     {.name = "a", .required = true, .default_expression = "5"},
                     {.name = "b",
                      .type = ColumnType::kText,
                      .max_size = 9,
                      .default_expression = "\"x'(\""},
                     {.name = "c", .type = ColumnType::kDateTime, .default_expression = "Now()"},
                     {.name = "d", .default_expression = "Len(\"abc\")"}},
         .indexes = {{.name = "K", .columns = {"ID"}, .primary = true, .unique = true},
                     {.name = "i", .columns = {"a", "b"}, .descending = {false, true}},
                     {.name = "u", .columns = {"b"}, .unique = true}}});
    table->Insert(std::vector<jet::Value>{jet::Null{}, 1, "p", jet::Null{}, jet::Null{}});
    database.CreateTable({.name = "s", .columns = {{.name = "a"}}, .indexes = {}});
    database.CreateQuery("良い", sql::Parse("SELECT a, b AS 名 FROM t WHERE b LIKE 'P*'"), "");
    database.CreateQuery("変", sql::Parse("SELECT a FROM t WHERE b LIKE '[P]*'"), "");
    database.CreateQuery("上", sql::Parse("SELECT a FROM 変"), "");
    database.CreateQuery("無", sql::Parse("SELECT a FROM t WHERE a > 何か"), "");
  });
  const std::string dump = MdbAdmOut({"dump", path});
  EXPECT_THAT(dump, HasSubstr("-- t: default of d has no counterpart: Len(\"abc\")\n"));
  EXPECT_THAT(dump, HasSubstr("-- query 変 is not a view: "));
  EXPECT_THAT(dump, HasSubstr("-- query 上 is not a view: its source 変 is not a view\n"));
  EXPECT_THAT(dump, HasSubstr("-- query 無 is not a view: "));
  const auto answers =
      Ask(path, {"SELECT a, 名 FROM 良い", "INSERT INTO t(b) VALUES('q')",
                 "SELECT ID, a, c LIKE '____-__-__ __:__:__', d FROM t WHERE b='q'",
                 "INSERT INTO t(d) VALUES(1); SELECT b FROM t WHERE d=1",
                 "INSERT OR IGNORE INTO t(b) VALUES('P'); SELECT count(*) FROM t",
                 "INSERT OR IGNORE INTO t(a) VALUES(NULL); SELECT count(*) FROM t",
                 "SELECT name FROM sqlite_master WHERE type='index' AND sql IS NOT NULL ORDER BY 1",
                 "SELECT count(*) FROM sqlite_master WHERE type='view'"});
  EXPECT_THAT(answers[0], ElementsAre("1|p"));
  EXPECT_THAT(answers[2], ElementsAre("2|5|1|NULL"));
  EXPECT_THAT(answers[3], ElementsAre("x'("));
  EXPECT_THAT(answers[4], ElementsAre("3"));
  EXPECT_THAT(answers[5], ElementsAre("3"));
  EXPECT_THAT(answers[6], ElementsAre("t.i", "t.u"));
  EXPECT_THAT(answers[7], ElementsAre("1"));
  EXPECT_THAT(MdbAdmOut({"dump", path, "s"}), Not(HasSubstr("CREATE VIEW")));
  EXPECT_EQ(MdbAdm({"dump", path, "s", "none"}).status, 1);
}

TEST_F(DumpedValuesTest, CsvIsQuotedAsRfc4180Says) {
  const std::string path = Make("c.mdb", [](jet::Database& database) {
    const auto table = database.CreateTable(
        {.name = "t",
         .columns = {{.name = "i"}, {.name = "m,n", .type = ColumnType::kMemo}},
         .indexes = {}});
    for (int i = 0; const char* text : {"a", "", "a,b", "say \"x\"", "a\r\nb", "表\t\\"}) {
      table->Insert(std::vector<jet::Value>{++i, text});
    }
    table->Insert(std::vector<jet::Value>{jet::Null{}, jet::Null{}});
  });
  const std::string csv =
      "i,\"m,n\"\r\n1,a\r\n2,\"\"\r\n3,\"a,b\"\r\n4,\"say \"\"x\"\"\"\r\n5,\"a\r\nb\"\r\n"
      "6,表\t\\\r\n,\r\n";
  EXPECT_EQ(MdbAdmOut({"rows", path, "t", "--csv"}), csv);
  EXPECT_EQ(MdbAdmOut({"sql", path, "SELECT * FROM t", "--csv", "--bom"}), "\xEF\xBB\xBF" + csv);
  EXPECT_EQ(MdbAdm({"rows", path, "t", "--bom"}).status, 2);
  EXPECT_EQ(MdbAdm({"rows", path, "t", "--csv", "--json"}).status, 2);
}

}  // namespace
