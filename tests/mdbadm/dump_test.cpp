// What `dump` gives to sqlite3, compared with what `rows` and `sql` print; and CSV.
#include <fmt/format.h>
#include <gmock/gmock.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <map>
#include <regex>
#include <set>
#include <sstream>

#include "sql/sql.h"
#include "tests/mdbadm/dumped.h"
#include "tests/mdbadm/program.h"
#include "tests/support/sqlite.h"

namespace {

using namespace test_support;
using jet::ColumnType;
using nlohmann::json;
using ::testing::Contains;
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

// What `columns` and `indexes` say, by table.
std::map<std::string, json> ByTable(const std::string& verb, const std::string& path,
                                    const std::string& password) {
  std::map<std::string, json> tables;
  for (const json& line : MdbAdmJson({verb, path, "--password", password})) {
    tables[line["table"]].push_back(line);
  }
  return tables;
}

// The column that sqlite3 makes the row's number, and so sorts by.
std::string RowNumber(const json& indexes, const json& columns) {
  for (const json& index : indexes) {
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
  auto table_columns = ByTable("columns", path, password),
       table_indexes = ByTable("indexes", path, password);
  for (const json& table : MdbAdmJson({"tables", path, "--password", password})) {
    if (table["kind"] != "table" || table["columns"] == 0) continue;
    const std::string name = table["table"];
    const json& columns = table_columns[name];
    std::vector<std::string> names;
    for (const json& column : columns) names.push_back(column["column"]);
    json rows = MdbAdmJson({"rows", path, name, "--password", password});
    const std::string number = RowNumber(table_indexes[name], columns);
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

TEST(DumpTest, SamplesAreTheSameInSqlite) {
  SKIP_WITHOUT_SQLITE();
  const std::string password(db::kDatabasePassword);
  // Some versions; each of them, with few rows, where DUMP_ALL_VERSIONS says so.
  const bool all = std::getenv("DUMP_ALL_VERSIONS") != nullptr;
  for (int data = 2; data <= 27; ++data) {
    if (!all && data % 6 != 2 && data != 27) continue;
    const int jobs = data == 2 || data == 14 || data == 27 ? 5 : 1;
    SCOPED_TRACE(data);
    const TempFolder folder;
    MdbAdmOut({"sample", folder.path(), "--jobs", std::to_string(jobs), "--data",
               std::to_string(data), "--tenkai", std::to_string(std::min(data, 22))});
    EXPECT_GT(ExpectSameRows(folder.File("Data.mdb"), password), 300U);
    if (data <= 22) {
      EXPECT_GT(ExpectSameRows(folder.File("展開Data.mdb"), password), 0U);
    }
    if (jobs > 1) {
      EXPECT_EQ(ExpectSameViews(folder.File("Data.mdb"), password) > 0, data >= 14);
    }
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

// What mdb-schema says of keys, indexes, values that must be there, and defaults.
struct Rules {
  std::set<std::string> keys, indexes, required, defaults;
};

Rules RulesOfMdbSchema(const std::string& path) {
  // Of its dialects the one that has all of them and keeps names as they are.
  const std::string schema =
      RunProcess("/bin/sh",
                 {"-c", R"(exec mdb-schema --no-relations --default-values "$0" mysql)", path})
          .out;
  const std::regex table("CREATE TABLE `(.*)`"),
      column("\\t`(.*)`\\t+([^,]*?)( NOT NULL)?( DEFAULT (.*?))?(, )?"),
      key("ALTER TABLE `(.*)` ADD PRIMARY KEY \\((.*)\\);"),
      index("ALTER TABLE `(.*)` ADD (UNIQUE )?INDEX `.*` \\((.*)\\);");
  Rules rules;
  std::istringstream lines(schema);
  std::smatch found;
  const auto columns = [](const std::string& list) {
    return Replace(Replace(list, "`", ""), ", ", ",");
  };
  for (std::string line, name; std::getline(lines, line);) {
    if (std::regex_match(line, found, table)) {
      name = found[1];
    } else if (std::regex_match(line, found, key)) {
      rules.keys.insert(found.str(1) + '|' + columns(found[2]));
    } else if (std::regex_match(line, found, index)) {
      rules.indexes.insert(
          fmt::format("{}|{}|{}", found.str(1), found.length(2) > 0 ? 1 : 0, columns(found[3])));
    } else if (std::regex_match(line, found, column)) {
      const std::string of = name + '|' + found.str(1);
      if (found.length(3) > 0) rules.required.insert(of);
      if (found.length(4) > 0) rules.defaults.insert(of + '|' + found.str(5));
    }
  }
  return rules;
}

Rules RulesInSqlite(const Sqlite& sqlite) {
  const std::string tables =
      " FROM sqlite_master m, pragma_table_info(m.name) p WHERE m.type='table' ";
  const auto answers = sqlite.Ask(
      {"SELECT m.name, (SELECT group_concat(n) FROM (SELECT name n FROM pragma_table_info(m.name) "
       "WHERE pk>0 ORDER BY pk)) k FROM sqlite_master m WHERE m.type='table' AND k IS NOT NULL",
       "SELECT m.name, l.\"unique\", (SELECT group_concat(n) FROM (SELECT name || CASE \"desc\" "
       "WHEN 1 "
       "THEN ' DESC' ELSE '' END n FROM pragma_index_xinfo(l.name) WHERE key ORDER BY seqno)) FROM "
       "sqlite_master m, pragma_index_list(m.name) l WHERE m.type='table'",
       "SELECT m.name, p.name" + tables + "AND p.\"notnull\"",
       "SELECT m.name, p.name, CASE WHEN p.dflt_value LIKE '%.0%' THEN "
       "CAST(trim(p.dflt_value, '()') AS INTEGER) ELSE trim(p.dflt_value, '()') END" +
           tables + "AND p.dflt_value IS NOT NULL"},
      "NULL");
  const auto all = [&](std::size_t i) {
    return std::set<std::string>(answers[i].begin(), answers[i].end());
  };
  return {all(0), all(1), all(2), all(3)};
}

TEST(DumpTest, TheRulesOfRealFilesAreThoseOfMdbSchema) {
  SKIP_WITHOUT_SAMPLES();
  SKIP_WITHOUT_SQLITE();
  if (!HasProgram("mdb-schema")) GTEST_SKIP() << "mdbtools is not installed";
  std::size_t compared = 0;
  for (const std::string& name : SampleNames()) {
    SCOPED_TRACE(name);
    Sqlite sqlite;
    const std::string dump = MdbAdmOut({"dump", SamplePath(name), "--password", "ucanaccess"});
    sqlite.Tell(dump);
    Rules ours = RulesInSqlite(sqlite), theirs = RulesOfMdbSchema(SamplePath(name));
    // Where columns were deleted, it does not find those of an index.
    const auto is_lost = [](const std::string& rule) { return rule.ends_with('|'); };
    for (const std::string& key : theirs.keys) {
      if (is_lost(key)) {
        std::erase_if(ours.keys, [&](const std::string& own) { return own.starts_with(key); });
      }
    }
    std::erase_if(theirs.keys, is_lost);
    std::erase_if(theirs.indexes, is_lost);
    EXPECT_EQ(ours.keys, theirs.keys);
    // There the indexes of relationships are left out.
    for (const std::string& index : theirs.indexes) EXPECT_THAT(ours.indexes, Contains(index));
    for (const std::string& column : theirs.required) {
      const std::string remark =
          Replace(column, "|", ": ") + " must have a value, but a row has none";
      if (dump.find(remark) == std::string::npos) {
        EXPECT_THAT(ours.required, Contains(column));
      }
    }
    // Ours has those of indexes as well.
    std::set<std::string> indexed;
    for (const json& index :
         MdbAdmJson({"indexes", SamplePath(name), "--password", "ucanaccess"})) {
      if (index["primary"] == false && index["required"] == false) continue;
      for (const std::string& column : Split(Replace(index["columns"], ", ", ","))) {
        indexed.insert(fmt::format("{}|{}", index["table"].get<std::string>(), column));
      }
    }
    for (const std::string& column : ours.required) {
      if (!theirs.required.contains(column)) {
        EXPECT_THAT(indexed, Contains(column));
      }
    }
    for (std::string value : theirs.defaults) {
      if (value.ends_with("()")) continue;
      if (value.ends_with("|FALSE")) value = Replace(value, "|FALSE", "|0");
      EXPECT_THAT(ours.defaults, Contains(value));
    }
    compared += theirs.keys.size() + theirs.indexes.size() + theirs.defaults.size();
  }
  EXPECT_GT(compared, 300U);
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
    database.CreateQuery("良い", sql::Parse("SELECT a, b AS 名 FROM t WHERE b LIKE 'P%'"), "");
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
