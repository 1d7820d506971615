// What upgraded samples hold, as we and mdbtools read them, against listings that were not
// made by the ladder.
#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <sstream>

#include "jet/table/internals.h"
#include "tests/support/process.h"
#include "tests/support/sqlite.h"
#include "tests/upgrade/step_bench.h"

namespace upgrade_test {
namespace {

using test_support::Replace;

// What a table is: a line a column, then one an index. What it holds: a line a row.
struct Table {
  Texts head, rows;
};

struct Listing {
  std::map<std::string, Table> tables;
  Texts queries;  // name and text in turn
};

Texts Lines(const std::string& text) {
  Texts lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

// In one, as a difference of long texts is shown line by line.
std::string Joined(const Texts& lines) { return fmt::format("{}\n", fmt::join(lines, "\n")); }

// A row of a listing as StepBench shows it.
std::string Row(const std::string& line) {
  return Replace(Replace(Replace(line, "\t", "|"), "\\N", kNull), R"(\\)", R"(\)") + "|";
}

Listing ReadListing(const std::string& path) {
  Listing listing;
  Table* table = nullptr;
  for (const std::string& line : Lines(test_support::ReadFileBytes(path))) {
    if (line.starts_with("table ")) {
      table = &listing.tables[line.substr(6)];
    } else if (line.starts_with("query ")) {
      table = nullptr;
      listing.queries.push_back(line.substr(6));
    } else if (line.starts_with("column ") || line.starts_with("index ")) {
      table->head.push_back(line);
    } else if (!line.empty() && table == nullptr) {
      listing.queries.push_back(Replace(line, "\\r", "\r"));
    } else if (!line.empty()) {
      table->rows.push_back(Row(line));
    }
  }
  return listing;
}

// In the words of mdb-schema, to which every Boolean is required.
std::string TypeOf(const jet::ColumnDef& column) {
  switch (column.type) {
    case jet::ColumnType::kBoolean:
      return "Boolean NOT NULL";
    case jet::ColumnType::kInteger:
      return "Integer";
    case jet::ColumnType::kLong:
      return "Long Integer";
    case jet::ColumnType::kDouble:
      return "Double";
    case jet::ColumnType::kDateTime:
      return "DateTime";
    case jet::ColumnType::kMemo:
      return "Memo/Hyperlink (255)";
    case jet::ColumnType::kText:
      return fmt::format("Text ({})", column.max_chars());
    default:
      return "?";
  }
}

Texts Head(const jet::Table& table) {
  Texts head;
  const jet::TableDef& def = DefOf(table);
  for (std::size_t i = 0; i < def.columns.size(); ++i) {
    head.push_back(fmt::format("column {}\t{}{}", def.columns[i].name, TypeOf(def.columns[i]),
                               table.columns()[i].required ? " NOT NULL" : ""));
  }
  for (const jet::LogicalIndex& index : def.logical_indexes) {
    const jet::RealIndex& real = def.real_indexes.at(index.real);
    Texts columns;
    for (const jet::IndexColumn& part : real.columns) {
      columns.push_back(def.columns[def.FindColumn(part.column).value()].name);
    }
    head.push_back(fmt::format("index {}\t{}{}{}", index.name, fmt::join(columns, ", "),
                               index.kind == jet::LogicalIndex::kPrimary ? "\tprimary" : "",
                               real.unique() ? "\tunique" : ""));
  }
  return head;
}

Listing ReadByUs(StepBench& bench) {
  Listing listing;
  for (const std::string& name : bench.Tables()) {
    listing.tables[name] = {Head(*bench.database().OpenTable(name)), bench.Rows(name)};
  }
  for (const std::string& query : bench.Queries()) {
    listing.queries.insert(listing.queries.end(), {query, bench.QueryText(query)});
  }
  return listing;
}

Listing ReadByMdbtools(const std::string& path) {
  const auto run = [](const std::vector<std::string>& words) {
    const test_support::Ending ending = test_support::RunProcess("/usr/bin/env", words);
    EXPECT_EQ(ending.status, 0) << ending.err;
    return Lines(ending.out);
  };
  Listing listing;
  Table* table = nullptr;
  for (const std::string& line : run({"mdb-schema", "--no-default-values", path})) {
    const std::size_t open = line.find('['), close = line.find(']');
    if (close == std::string::npos) continue;
    const std::string name = line.substr(open + 1, close - open - 1);
    if (line.starts_with("CREATE TABLE")) {
      table = &listing.tables[name];
      for (const std::string& row : run({"mdb-export", "-HQB", "-d", "|", "-0", kNull, "-T",
                                         "%Y-%m-%d %H:%M:%S", path, name})) {
        table->rows.push_back(Replace(Replace(row, "TRUE", "True"), "FALSE", "False") + "|");
      }
    } else if (table != nullptr && line.starts_with("\t[")) {
      const std::string type = line.substr(close + 4);
      table->head.push_back("column " + name + "\t" +
                            type.substr(0, type.find_last_not_of(", ") + 1));
    }
  }
  return listing;
}

// What mdbtools print of it: no queries, no indexes, an empty text as Null, and a row that was
// moved to another page where it lies now.
Listing ForMdbtools(Listing listing) {
  listing.queries.clear();
  for (auto& [name, table] : listing.tables) {
    std::erase_if(table.head, [](const std::string& line) { return line.starts_with("index "); });
    for (std::string& row : table.rows) row = Replace(row, kNull, "");
    std::ranges::sort(table.rows);
  }
  return listing;
}

// Tables that the listing leaves out are as they were.
void ExpectSame(const Listing& found, Listing wanted, const Listing& before) {
  ASSERT_FALSE(wanted.tables.empty());
  wanted.tables.insert(before.tables.begin(), before.tables.end());
  EXPECT_EQ(found.tables.size(), wanted.tables.size());
  for (const auto& [name, table] : wanted.tables) {
    SCOPED_TRACE(name);
    ASSERT_TRUE(found.tables.contains(name));
    EXPECT_EQ(Joined(found.tables.at(name).head), Joined(table.head));
    EXPECT_EQ(Joined(found.tables.at(name).rows), Joined(table.rows));
  }
  EXPECT_EQ(Joined(found.queries), Joined(wanted.queries));
}

// A sample of version 2, brought to the version of the listing.
class ListingTest : public testing::TestWithParam<std::pair<Kind, std::int16_t>> {
 protected:
  void SetUp() override { ASSERT_EQ(bench_.Upgrade(GetParam().second), 0); }

  StepBench bench_{GetParam().first, samples::kBaseVersion, {}, 1};
  const Listing before_ = ReadByUs(bench_);
  const Listing wanted_ = ReadListing(fmt::format(UPGRADE_TESTS "/listings/{}_{}.txt",
                                                  db::NameOf(GetParam().first), GetParam().second));
};

TEST_P(ListingTest, IsWhatWeRead) { ExpectSame(ReadByUs(bench_), wanted_, before_); }

TEST_P(ListingTest, IsWhatMdbtoolsRead) {
  if (!test_support::HasProgram("mdb-schema") || !test_support::HasProgram("mdb-export")) {
    GTEST_SKIP() << "no mdbtools here";
  }
  const test_support::TempFolder folder;
  const std::string path = folder.File("x.mdb");
  bench_.WriteTo(path);
  ExpectSame(ForMdbtools(ReadByMdbtools(path)), ForMdbtools(wanted_), ForMdbtools(before_));
}

INSTANTIATE_TEST_SUITE_P(Ladders, ListingTest,
                         testing::Values(std::pair(Kind::kData, 8), std::pair(Kind::kData, 14),
                                         std::pair(Kind::kData, 20), std::pair(Kind::kData, 27),
                                         std::pair(Kind::kTenkai, 10),
                                         std::pair(Kind::kTenkai, 22)),
                         [](const auto& info) {
                           return fmt::format("{}_{}", db::NameOf(info.param.first),
                                              info.param.second);
                         });

}  // namespace
}  // namespace upgrade_test
