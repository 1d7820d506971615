#include "jet/default_value.h"

#include <gtest/gtest.h>

#include <limits>

#include "jet/error.h"

namespace jet {
namespace {

const DateTime kNow = ToDateTime({2010, 1, 4, 18, 30, 15});

ColumnDef Column(ColumnType type, std::uint16_t length = 0) {
  ColumnDef column;
  column.name = "c";
  column.type = type;
  column.length = length;
  column.precision = 10;
  column.scale = 2;
  return column;
}

struct Case {
  ColumnType type;
  const char* expression;
  Value expected;
};

TEST(DefaultValue, EvaluatesLiteralsIntoTheColumnsOwnAlternative) {
  const DateTime new_year = ToDateTime({2024, 1, 2});
  const Case cases[] = {
      {ColumnType::kLong, "0", std::int32_t{0}},
      {ColumnType::kLong, " = -12 ", std::int32_t{-12}},
      {ColumnType::kLong, "", Null{}},
      {ColumnType::kText, "=", Null{}},
      {ColumnType::kLong, "Null", Null{}},
      {ColumnType::kLong, "True", std::int32_t{-1}},
      {ColumnType::kLong, "\"15\"", std::int32_t{15}},
      {ColumnType::kInteger, "2.5", std::int16_t{2}},
      {ColumnType::kInteger, "3.5", std::int16_t{4}},
      {ColumnType::kByte, "255", std::uint8_t{255}},
      {ColumnType::kDouble, "0.5", 0.5},
      {ColumnType::kDouble, "1.5E3", 1500.0},
      {ColumnType::kSingle, ".25", 0.25f},
      {ColumnType::kCurrency, "922337203685477.5807",
       Currency{std::numeric_limits<std::int64_t>::max()}},
      {ColumnType::kNumeric, "-12.34", Numeric{true, {0, 0, 0, 1234}}},
      {ColumnType::kBoolean, "Yes", true},
      {ColumnType::kBoolean, "=No", false},
      {ColumnType::kBoolean, "1", true},
      {ColumnType::kBoolean, "null", false},
      {ColumnType::kText, "\"\"", std::string()},
      {ColumnType::kText, "\"a\"\"ﾊｾﾞ\"", std::string("a\"ﾊｾﾞ")},
      {ColumnType::kText, "'it''s'", std::string("it's")},
      {ColumnType::kText, "15", std::string("15")},
      {ColumnType::kMemo, "False", std::string("False")},
      {ColumnType::kDateTime, "Date()", ToDateTime({2010, 1, 4})},
      {ColumnType::kDateTime, "=NOW()", kNow},
      {ColumnType::kDateTime, "#1/2/2024#", new_year},
      {ColumnType::kDateTime, "#2024-01-02#", new_year},
      {ColumnType::kDateTime, "#1/2/24 1:02:03 PM#", ToDateTime({2024, 1, 2, 13, 2, 3})},
      {ColumnType::kDateTime, "#1/2/29#", ToDateTime({2029, 1, 2})},
      {ColumnType::kDateTime, "#1/2/30#", ToDateTime({1930, 1, 2})},
      {ColumnType::kDateTime, "#12:30 PM#", ToDateTime({1899, 12, 30, 12, 30, 0})},
      {ColumnType::kDateTime, "#12:30 AM#", ToDateTime({1899, 12, 30, 0, 30, 0})},
      {ColumnType::kDateTime, "2", DateTime{2}},
      {ColumnType::kBinary, "Null", Null{}},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(EvaluateDefault(Column(c.type, 20), c.expression, kNow), c.expected) << c.expression;
  }
  const Value time = EvaluateDefault(Column(ColumnType::kDateTime), "Time()", kNow);
  EXPECT_EQ(ToCivilTime(std::get<DateTime>(time)).hour, 18);
  EXPECT_LT(std::get<DateTime>(time).days, 1);
}

TEST(DefaultValue, RefusesWhatItCannotEvaluateOrTheColumnCannotHold) {
  const struct {
    ColumnType type;
    const char* expression;
    ErrorCode code;
  } cases[] = {
      {ColumnType::kLong, "GenUniqueID()", ErrorCode::kNotSupported},
      {ColumnType::kLong, "1+1", ErrorCode::kNotSupported},
      {ColumnType::kLong, "1 2", ErrorCode::kNotSupported},
      {ColumnType::kLong, "nan", ErrorCode::kNotSupported},
      {ColumnType::kText, "\"open", ErrorCode::kNotSupported},
      {ColumnType::kText, "\"a\"b\"", ErrorCode::kNotSupported},
      {ColumnType::kDateTime, "#13/32/2024#", ErrorCode::kNotSupported},
      {ColumnType::kDateTime, "#2/29/2023#", ErrorCode::kNotSupported},
      {ColumnType::kGuid, "\"{0}\"", ErrorCode::kNotSupported},
      {ColumnType::kLong, "\"abc\"", ErrorCode::kWrongType},
      {ColumnType::kBoolean, "\"abc\"", ErrorCode::kWrongType},
      {ColumnType::kInteger, "32768", ErrorCode::kOutOfRange},
      {ColumnType::kByte, "True", ErrorCode::kOutOfRange},
      {ColumnType::kSingle, "1e39", ErrorCode::kOutOfRange},
      {ColumnType::kNumeric, "123456789.12", ErrorCode::kOutOfRange},
      {ColumnType::kText, "\"ABCDEFGHIJK\"", ErrorCode::kTextTooLong},
  };
  for (const auto& c : cases) {
    try {
      EvaluateDefault(Column(c.type, 20), c.expression, kNow);
      ADD_FAILURE() << c.expression << " was taken";
    } catch (const Error& error) {
      EXPECT_EQ(error.code(), c.code) << c.expression;
      EXPECT_EQ(error.column(), "c");
      EXPECT_NE(error.detail().find(c.expression), std::string::npos);
    }
  }
}

}  // namespace
}  // namespace jet
