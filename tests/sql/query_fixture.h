// A small database, and what a query answers as text.
#pragma once

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "jet/database/database.h"
#include "sql/sql.h"
#include "tests/sql/cases.h"
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

  // Each row as "a|b|c"; Null as "-", an empty text as "''".
  std::vector<std::string> Rows(const jet::QueryDefinition& definition);
  std::vector<std::string> Rows(std::string_view text) {
    return Rows(sql::Parse(text, sql::Wildcards::kAsterisk));
  }
  std::vector<std::string> Sorted(std::string_view text);
  std::vector<std::string> ColumnNames(std::string_view text);
  // What `ask` lists in one line, or "! code: message".
  template <typename Ask>
  static std::string AnswerOf(Ask&& ask);
  // `expected` may be "! code: " and a part of the message.
  static void ExpectAnswer(const std::string& answer, const std::string& expected);

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
    if (type == jet::ColumnType::kText || type == jet::ColumnType::kBinary) each.max_size = 50;
    if (type == jet::ColumnType::kNumeric) each.scale = 2;
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
    std::string operator()(const std::string& v) const { return v.empty() ? "''" : v; }
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

template <typename Ask>
std::string QueryTest::AnswerOf(Ask&& ask) {
  constexpr const char* kCodes[] = {"syntax",     "not supported", "no table",
                                    "unresolved", "bad value",     "bad query"};
  try {
    return Joined(ask(), ", ");
  } catch (const sql::Error& error) {
    return fmt::format("! {}: {}", kCodes[static_cast<int>(error.code())], error.what());
  }
}

inline void QueryTest::ExpectAnswer(const std::string& answer, const std::string& expected) {
  if (!expected.starts_with("! ")) {
    EXPECT_EQ(answer, expected);
    return;
  }
  const std::size_t text = expected.find(": ") + 2;
  EXPECT_THAT(answer, testing::StartsWith(expected.substr(0, text)));
  EXPECT_THAT(answer, testing::HasSubstr(expected.substr(text)));
}

}  // namespace sql_tests
