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

}  // namespace
}  // namespace sql_tests
