// A small database, and the rows of a query as lines of text.
#pragma once

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "jet/database.h"
#include "sql/sql.h"
#include "tests/support/temp_db.h"

namespace sql_tests {

std::string ToText(const jet::Value& value);

class QueryTest : public testing::Test {
 protected:
  QueryTest() : database_(jet::Database::Create(*files_, folder_.File("q.mdb"), {})) {}

  using Row = std::vector<jet::Value>;
  std::shared_ptr<jet::Table> MakeTable(
      std::string_view name, const std::vector<std::pair<std::string, jet::ColumnType>>& columns,
      const std::vector<Row>& rows);

  // Each row as "a|b|c", Null as "-".
  std::vector<std::string> Rows(const jet::QueryDefinition& definition);
  std::vector<std::string> Rows(std::string_view text) { return Rows(sql::Parse(text)); }
  std::vector<std::string> Sorted(std::string_view text);
  std::vector<std::string> ColumnNames(std::string_view text);
  void ExpectError(std::string_view text, sql::ErrorCode code, std::string_view message);

  std::unique_ptr<jet::FileSystem> files_ = jet::MakeSystemFiles();
  test_support::TempFolder folder_;
  std::unique_ptr<jet::Database> database_;
};

inline std::shared_ptr<jet::Table> QueryTest::MakeTable(
    std::string_view name, const std::vector<std::pair<std::string, jet::ColumnType>>& columns,
    const std::vector<Row>& rows) {
  jet::TableSpec spec;
  spec.name = name;
  for (const auto& [column, type] : columns) {
    jet::ColumnSpec each;
    each.name = column;
    each.type = type;
    if (type == jet::ColumnType::kText) each.max_size = 50;
    spec.columns.push_back(std::move(each));
  }
  auto table = database_->CreateTable(spec);
  for (const Row& row : rows) table->Insert(row);
  return table;
}

inline std::string ToText(const jet::Value& value) {
  struct Visitor {
    std::string operator()(jet::Null) const { return "-"; }
    std::string operator()(bool v) const { return v ? "True" : "False"; }
    std::string operator()(const std::string& v) const { return v; }
    std::string operator()(jet::DateTime v) const { return jet::FormatDateTime(v); }
    std::string operator()(jet::Currency v) const { return fmt::format("{}c", v.ten_thousandths); }
    std::string operator()(const jet::Bytes& v) const { return fmt::format("{} bytes", v.size()); }
    std::string operator()(const jet::Guid& v) const { return jet::FormatGuid(v); }
    std::string operator()(const jet::Numeric& v) const { return jet::FormatNumeric(v, 0); }
    std::string operator()(double v) const { return fmt::format("{}", v); }
    std::string operator()(float v) const { return fmt::format("{}", v); }
    std::string operator()(std::int32_t v) const { return fmt::format("{}", v); }
    std::string operator()(std::int16_t v) const { return fmt::format("{}s", v); }
    std::string operator()(std::uint8_t v) const { return fmt::format("{}b", v); }
  };
  return std::visit(Visitor{}, value);
}

inline std::vector<std::string> QueryTest::Rows(const jet::QueryDefinition& definition) {
  std::vector<std::string> lines;
  const auto rows = sql::Run(*database_, definition);
  while (rows->Next()) {
    std::string line;
    for (std::size_t i = 0; i < rows->columns().size(); ++i) {
      line += (i == 0 ? "" : "|") + ToText(rows->value(i));
    }
    lines.push_back(std::move(line));
  }
  EXPECT_FALSE(rows->Next());
  return lines;
}

inline std::vector<std::string> QueryTest::Sorted(std::string_view text) {
  std::vector<std::string> lines = Rows(text);
  std::sort(lines.begin(), lines.end());
  return lines;
}

inline std::vector<std::string> QueryTest::ColumnNames(std::string_view text) {
  std::vector<std::string> names;
  const auto rows = sql::Run(*database_, sql::Parse(text));
  for (const auto& column : rows->columns()) {
    names.push_back(column.name);
  }
  return names;
}

inline void QueryTest::ExpectError(std::string_view text, sql::ErrorCode code,
                                   std::string_view message) {
  SCOPED_TRACE(text);
  try {
    Rows(text);
    ADD_FAILURE() << "no error";
  } catch (const sql::Error& error) {
    EXPECT_EQ(error.code(), code);
    EXPECT_THAT(error.what(), testing::HasSubstr(std::string(message)));
  }
}

}  // namespace sql_tests
