// The language: functions, operators, grammar, as the cases have it.

#include "tests/sql/query_fixture.h"

namespace sql_tests {
namespace {

using jet::ColumnType;
using jet::Null;

// Whatever the type of a column, a number is a number.
std::string Plain(const jet::Value& value) {
  std::string text = ToText(value);
  if (const auto* currency = std::get_if<jet::Currency>(&value)) {
    return fmt::format("{}", static_cast<double>(currency->ten_thousandths) / 10000);
  }
  const bool small =
      std::holds_alternative<std::int16_t>(value) || std::holds_alternative<std::uint8_t>(value);
  if (small) text.pop_back();
  return text;
}

class LanguageTest : public QueryTest {
 protected:
  LanguageTest() {
    const auto day = [](int year, int month, int of_month) {
      return jet::ToDateTime({.year = year, .month = month, .day = of_month, .hour = 0});
    };
    inputs_.now =
        jet::ToDateTime({.year = 2020, .month = 2, .day = 3, .hour = 4, .minute = 5, .second = 6});
    MakeTable("t",
              {{"id", ColumnType::kLong},
               {"s", ColumnType::kText},
               {"k", ColumnType::kText},
               {"n", ColumnType::kLong},
               {"d", ColumnType::kDateTime}},
              {{1, "Apple", "A", 10, day(2020, 1, 15)},
               {2, "apple", "A", 20, day(2020, 4, 1)},
               {3, "Berry", "B", 20, day(2020, 12, 31)},
               {4, Null{}, "B", Null{}, day(2021, 1, 1)},
               {5, "cherry", Null{}, 5, Null{}}});
    MakeTable("u",
              {{"id", ColumnType::kLong}, {"tid", ColumnType::kLong}, {"q", ColumnType::kLong}},
              {{1, 1, 3}, {2, 1, 4}, {3, 3, 5}, {4, 9, 6}});
    std::vector<Row> values;
    for (const int x : {2, 4, 4, 4, 5, 5, 7, 9}) values.push_back({x});
    MakeTable("v", {{"x", ColumnType::kLong}}, values);
  }

  std::string Answer(std::string_view text) {
    std::string lines;
    try {
      const auto rows = sql::Run(*database_, sql::Parse(text, sql::Wildcards::kAsterisk), inputs_);
      for (bool first = true; rows->Next(); first = false) {
        if (!first) lines += ", ";
        for (std::size_t i = 0; i < rows->columns().size(); ++i) {
          lines += (i == 0 ? "" : "|") + Plain(rows->value(i));
        }
      }
    } catch (const sql::Error& error) {
      return fmt::format("! {}", error.what());
    }
    return lines;
  }

  sql::Inputs inputs_;
};

TEST_F(LanguageTest, Cases) {
  std::size_t count = 0;
  for (const Case& each : ReadCases("language.txt")) {
    SCOPED_TRACE(each.at + ": " + each.question[0]);
    ++count;
    const std::string answer = Answer(Joined(each.question, "\n")),
                      expected = Joined(each.answer, ", ");
    if (expected.starts_with("! ")) {
      EXPECT_THAT(answer, testing::StartsWith("! "));
      EXPECT_THAT(answer, testing::HasSubstr(expected.substr(2)));
    } else {
      EXPECT_EQ(answer, expected);
    }
  }
  EXPECT_GT(count, 100u);
}

// The columns that values make: in their order, or as they are listed.
TEST_F(LanguageTest, NamesOfCrosstabColumns) {
  const std::string head = "TRANSFORM Sum(n) AS v SELECT k AS key FROM t GROUP BY k PIVOT ";
  const auto names = [&](const std::string& pivot) {
    return Joined(ColumnNames(head + pivot), "|");
  };
  EXPECT_EQ(names("s"), "key|<>|Apple|Berry|cherry");
  EXPECT_EQ(names("s IN ('pear', 'APPLE')"), "key|pear|APPLE");
  EXPECT_EQ(names("id * 5 - 10"), "key|-5|0|5|10|15");
  EXPECT_EQ(names("id / 2"), "key|0_5|1|1_5|2|2_5");
  EXPECT_EQ(names("id > 2"), "key|-1|0");
  EXPECT_EQ(names("d IN (#1/15/2020#, -1)"), "key|2020/01/15|-1");
  EXPECT_EQ(names("d"), "key|<>|2020/01/15|2020/04/01|2020/12/31|2021/01/01");
}

// Each part of a union, and each query in parentheses, reads LIKE as the whole does, and
// knows what the whole declares.
TEST_F(LanguageTest, PartsBelongToTheWhole) {
  const std::string part = "SELECT id FROM t WHERE s LIKE 'a*' AND id >= p";
  inputs_.parameters = {{"p", std::string("2")}};
  EXPECT_EQ(Answer("PARAMETERS p Long; " + part + " UNION ALL " + part), "2, 2");
  EXPECT_EQ(Answer("PARAMETERS p Long; SELECT id FROM (" + part + ") AS w"), "2");
  const auto asked = sql::ParametersOf(
      *database_, sql::Parse("PARAMETERS p Long; SELECT k, q1 FROM t UNION SELECT s, 2 FROM t"));
  ASSERT_EQ(asked.size(), 2u);
  EXPECT_EQ(asked[0].name + " " + sql::TypeOf(asked[0]) + ", " + asked[1].name, "p Long, q1");
}

// The digits behind the point stay where they are.
TEST_F(LanguageTest, DecimalsThroughQueries) {
  MakeTable("decimals", {{"m", ColumnType::kNumeric}}, {{*jet::ParseNumeric("12.34", 18, 2)}});
  EXPECT_EQ(Answer("SELECT m + 1 FROM (SELECT m FROM decimals) AS w"), "13.34");
  EXPECT_EQ(Answer("SELECT m FROM decimals UNION ALL SELECT id FROM t WHERE id = 1"), "12.34, 1");
  const auto rows = sql::Run(*database_, sql::Parse("SELECT m FROM decimals UNION SELECT m FROM "
                                                    "decimals"));
  EXPECT_EQ(rows->columns()[0].scale, 2);
  ASSERT_TRUE(rows->Next());
  EXPECT_EQ(jet::FormatNumeric(std::get<jet::Numeric>(rows->value(0)), 2), "12.34");
}

}  // namespace
}  // namespace sql_tests
