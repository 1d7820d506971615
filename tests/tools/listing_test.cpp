// Upgraded samples, read by mdbtools, against listings that were not made by the ladder.
#include <gmock/gmock.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <sstream>

#include "tests/tools/program.h"

namespace {

using namespace test_support;
using Lines = std::vector<std::string>;

Lines Split(const std::string& text, char separator) {
  Lines parts;
  std::istringstream stream(text);
  for (std::string part; std::getline(stream, part, separator);) parts.push_back(part);
  if (text.ends_with(separator) && separator != '\n') parts.emplace_back();
  return parts;
}

Lines Sorted(Lines lines) {
  std::sort(lines.begin(), lines.end());
  return lines;
}

// The same rows with `change` applied to every field.
template <typename Change>
Lines ChangeFields(Lines rows, Change change) {
  for (std::string& row : rows) {
    std::string changed;
    for (const std::string& field : Split(row, '\t')) changed += change(field) + '\t';
    row = changed.substr(0, changed.size() - 1);
  }
  return rows;
}

// Empty if there is none.
std::string FirstDifference(const Lines& got, const Lines& wanted) {
  for (std::size_t i = 0; i < std::max(got.size(), wanted.size()); ++i) {
    const std::string is = i < got.size() ? got[i] : "(no line)";
    const std::string should = i < wanted.size() ? wanted[i] : "(no line)";
    if (is == should) continue;
    std::ostringstream difference;
    difference << "line " << i + 1 << ": " << is << "\nwanted: " << should;
    return difference.str();
  }
  return {};
}

// What a table is and holds: lines "table", "column" and "index", then a line a row.
struct Table {
  Lines head, rows;
};
using Tables = std::map<std::string, Table>;

struct Listing {
  Tables tables;
  Lines queries;  // name and text in turn
};

Listing ReadListing(const std::string& path) {
  Listing listing;
  Table* table = nullptr;
  for (const std::string& line : Split(ReadFileBytes(path), '\n')) {
    if (line.starts_with("table ")) table = &listing.tables[line.substr(6)];
    if (line.starts_with("query ")) {
      table = nullptr;
      listing.queries.push_back(line.substr(6));
    } else if (line.empty()) {
      continue;
    } else if (table == nullptr) {
      listing.queries.push_back(line);
    } else {
      const bool head =
          line.starts_with("table ") || line.starts_with("column ") || line.starts_with("index ");
      (head ? table->head : table->rows).push_back(line);
    }
  }
  return listing;
}

class ListingTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!HasProgram("mdb-schema") || !HasProgram("mdb-export")) {
      GTEST_SKIP() << "no mdbtools here";
    }
  }

  Lines Run(const std::string& command) const {
    const std::string out = folder_.File("lines");
    EXPECT_EQ(std::system((command + " >'" + out + "'").c_str()), 0) << command;
    return Split(ReadFileBytes(out), '\n');
  }

  // What mdbadm prints below its line of titles.
  static Lines OwnLines(const std::vector<std::string>& arguments) {
    Lines lines = Split(MdbAdmOut(arguments), '\n');
    if (!lines.empty()) lines.erase(lines.begin());
    return lines;
  }

  // The rows as mdb-export shows them; Booleans in our words.
  Lines Export(const std::string& path, const std::string& table) const {
    const Lines rows = Run("mdb-export -H -Q -e -B -d '\t' -0 '\\N' -T '%Y-%m-%d %H:%M:%S' '" +
                           path + "' '" + table + "'");
    return ChangeFields(rows, [](const std::string& field) {
      return field == "TRUE" ? "True" : field == "FALSE" ? "False" : field;
    });
  }

  Tables Read(const std::string& path) const {
    Tables tables;
    Table* table = nullptr;
    for (const std::string& line : Run("mdb-schema --no-default-values '" + path + "'")) {
      const std::size_t open = line.find('['), close = line.find(']');
      if (close == std::string::npos) continue;
      const std::string name = line.substr(open + 1, close - open - 1);
      if (line.starts_with("CREATE TABLE")) {
        table = &tables[name];
        table->head.push_back("table " + name);
        table->rows = Export(path, name);
      } else if (table != nullptr && line.starts_with("\t[")) {
        const std::string type = line.substr(close + 4);
        table->head.push_back("column " + name + "\t" +
                              type.substr(0, type.find_last_not_of(", ") + 1));
      }
    }
    for (const std::string& line : OwnLines({"indexes", path})) {
      const Lines fields = Split(line, '\t');
      std::string index = "index " + fields.at(1) + "\t" + fields.at(2);
      if (fields.at(3) == "yes") index += "\tprimary";
      if (fields.at(4) == "yes") index += "\tunique";
      tables[fields.at(0)].head.push_back(index);
    }
    return tables;
  }

  // mdb-export lists a row that was moved to another page where it lies now, and shows an empty
  // text as Null. So it must have the rows in some order; the order is then ours to show.
  static void ExpectRows(const std::string& path, const std::string& name, const Lines& exported,
                         const Lines& wanted) {
    if (exported == wanted) return;
    const Lines shown = ChangeFields(
        wanted, [](const std::string& field) { return field.empty() ? "\\N" : field; });
    EXPECT_EQ(FirstDifference(Sorted(exported), Sorted(shown)), "");
    EXPECT_EQ(FirstDifference(OwnLines({"rows", path, name}), wanted), "");
  }

  // The sample from version 2 to each of these versions.
  void ExpectListings(const std::string& file_name, const std::string& kind,
                      const std::vector<int>& versions) const {
    MdbAdmOut({"sample", folder_.path(), "--data", "2", "--tenkai", "2", "--jobs", "1"});
    const Tables before = Read(folder_.File(file_name));
    for (int version : versions) {
      SCOPED_TRACE(version);
      const TempFolder folder;
      const std::string path = folder.File(file_name);
      std::filesystem::copy_file(folder_.File(file_name), path);
      MdbAdmOut({"upgrade", path, "--to", std::to_string(version)});
      const std::string listing = LISTINGS "/" + kind + "_" + std::to_string(version) + ".txt";
      ExpectListing(path, before, ReadListing(listing));
    }
  }

  static void ExpectQueries(const std::string& path, const Lines& wanted) {
    Lines queries;
    for (const std::string& line : OwnLines({"queries", path})) {
      const Lines fields = Split(line, '\t');
      queries.push_back(fields.at(0));
      queries.push_back(fields.at(3));
    }
    EXPECT_EQ(FirstDifference(queries, wanted), "");
  }

  void ExpectListing(const std::string& path, const Tables& before, const Listing& wanted) const {
    Tables tables = Read(path);
    ASSERT_FALSE(wanted.tables.empty());
    for (const auto& [name, table] : wanted.tables) {
      SCOPED_TRACE(name);
      EXPECT_EQ(FirstDifference(tables[name].head, table.head), "");
      ExpectRows(path, name, tables[name].rows, table.rows);
    }
    // All the others are as they were.
    for (const auto& [name, table] : tables) {
      if (wanted.tables.contains(name)) continue;
      SCOPED_TRACE(name);
      ASSERT_TRUE(before.contains(name)) << "not in the listing";
      EXPECT_EQ(FirstDifference(table.head, before.at(name).head), "");
      EXPECT_EQ(FirstDifference(table.rows, before.at(name).rows), "");
    }
    ExpectQueries(path, wanted.queries);
  }

  TempFolder folder_;
};

TEST_F(ListingTest, OfDataIsWhatIndependentReadersFind) {
  ExpectListings("Data.mdb", "data", {8, 14, 20, 27});
}

TEST_F(ListingTest, OfTenkaiIsWhatIndependentReadersFind) {
  ExpectListings("展開Data.mdb", "tenkai", {10, 22});
}

}  // namespace
