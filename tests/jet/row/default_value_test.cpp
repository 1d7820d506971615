#include "jet/row/default_value.h"

#include <gtest/gtest.h>

#include <limits>

#include "jet/base/error.h"

namespace jet {
namespace {

using enum ColumnType;

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

TEST(DefaultValue, EvaluatesLiteralsIntoTheColumnsOwnAlternative) {
  const DateTime new_year = ToDateTime({2024, 1, 2});
  const struct {
    ColumnType type;
    const char* expression;
    Value expected;
  } cases[] = {
      {kLong, "0", 0},
      {kLong, " = -12 ", -12},
      {kLong, "", Null{}},
      {kText, "=", Null{}},
      {kLong, "Null", Null{}},
      {kLong, "True", -1},
      {kLong, "\"15\"", 15},
      {kInteger, "2.5", std::int16_t{2}},
      {kInteger, "3.5", std::int16_t{4}},
      {kByte, "255", std::uint8_t{255}},
      {kDouble, "0.5", 0.5},
      {kDouble, "1.5E3", 1500.0},
      {kSingle, ".25", 0.25f},
      {kCurrency, "922337203685477.5807", Currency{std::numeric_limits<std::int64_t>::max()}},
      {kNumeric, "-12.34", Numeric{true, {0, 0, 0, 1234}}},
      {kBoolean, "Yes", true},
      {kBoolean, "=No", false},
      {kBoolean, "1", true},
      {kBoolean, "null", false},
      {kText, "\"\"", ""},
      {kText, "\"a\"\"ﾊｾﾞ\"", "a\"ﾊｾﾞ"},
      {kText, "'it''s'", "it's"},
      {kText, "15", "15"},
      {kMemo, "False", "False"},
      {kDateTime, "Date()", ToDateTime({2010, 1, 4})},
      {kDateTime, "=NOW()", kNow},
      {kDateTime, "#1/2/2024#", new_year},
      {kDateTime, "#2024-01-02#", new_year},
      {kDateTime, "#1/2/24 1:02:03 PM#", ToDateTime({2024, 1, 2, 13, 2, 3})},
      {kDateTime, "#1/2/29#", ToDateTime({2029, 1, 2})},
      {kDateTime, "#1/2/30#", ToDateTime({1930, 1, 2})},
      {kDateTime, "#12:30 PM#", ToDateTime({1899, 12, 30, 12, 30, 0})},
      {kDateTime, "#12:30 AM#", ToDateTime({1899, 12, 30, 0, 30, 0})},
      {kDateTime, "2", DateTime{2}},
      {kBinary, "Null", Null{}},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(EvaluateDefault(Column(c.type, 20), c.expression, kNow), c.expected) << c.expression;
  }
  const Value time = EvaluateDefault(Column(kDateTime), "Time()", kNow);
  EXPECT_EQ(ToCivilTime(std::get<DateTime>(time)).hour, 18);
  EXPECT_LT(std::get<DateTime>(time).days, 1);
}

TEST(DefaultValue, RefusesWhatItCannotEvaluateOrTheColumnCannotHold) {
  const struct {
    ColumnType type;
    const char* expression;
    ErrorCode code;
  } cases[] = {
      {kLong, "GenUniqueID()", ErrorCode::kNotSupported},
      {kLong, "1+1", ErrorCode::kNotSupported},
      {kLong, "1 2", ErrorCode::kNotSupported},
      {kLong, "nan", ErrorCode::kNotSupported},
      {kText, "\"open", ErrorCode::kNotSupported},
      {kText, "\"a\"b\"", ErrorCode::kNotSupported},
      {kDateTime, "#13/32/2024#", ErrorCode::kNotSupported},
      {kDateTime, "#2/29/2023#", ErrorCode::kNotSupported},
      {kGuid, "\"{0}\"", ErrorCode::kNotSupported},
      {kLong, "\"abc\"", ErrorCode::kWrongType},
      {kBoolean, "\"abc\"", ErrorCode::kWrongType},
      {kInteger, "32768", ErrorCode::kOutOfRange},
      {kByte, "True", ErrorCode::kOutOfRange},
      {kSingle, "1e39", ErrorCode::kOutOfRange},
      {kNumeric, "123456789.12", ErrorCode::kOutOfRange},
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
