#include "jet/base/value.h"

#include <gmock/gmock.h>

#include "jet/base/error.h"

namespace jet {
namespace {

// The fraction counts forward from midnight, before the first day as well.
TEST(DateTimeTest, CountsDaysFromTheEndOf1899) {
  const struct {
    CivilTime civil;
    double days;
    const char* text;
  } cases[] = {
      {{1899, 12, 30}, 0, "1899-12-30 00:00:00"},
      {{1899, 12, 30, 6}, 0.25, "1899-12-30 06:00:00"},
      {{1899, 12, 29, 6}, -1.25, "1899-12-29 06:00:00"},
      {{1900, 2, 28}, 60, "1900-02-28 00:00:00"},
      {{1900, 3, 1}, 61, "1900-03-01 00:00:00"},
      {{2000, 2, 29, 23, 59, 59}, 36585 + 86399 / 86400.0, "2000-02-29 23:59:59"},
      {{2000, 12, 31}, 36891, "2000-12-31 00:00:00"},
      {{100, 1, 1}, -657434, "0100-01-01 00:00:00"},
      {{9999, 12, 31}, 2958465, "9999-12-31 00:00:00"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(ToDateTime(c.civil).days, c.days) << c.text;
    EXPECT_EQ(FormatDateTime({c.days}), c.text);
  }
  EXPECT_EQ(FormatDateTime({40000 - 1e-7}), "2009-07-06 00:00:00") << "rounded to the second";
  EXPECT_EQ(FormatDateTime({40000 - 1e-5}), "2009-07-05 23:59:59");
  for (const double far : {1e10, -1e10}) {
    EXPECT_EQ(FormatDateTime({far}), "1899-12-30 00:00:00");
  }
  for (int day = -800; day < 800; ++day) {  // through the ends of years, one after the other
    const CivilTime civil = ToCivilTime({day * 366.0});
    EXPECT_EQ(ToDateTime(civil).days, day * 366.0);
  }
}

TEST(NumericTest, IsReadAndWrittenExactly) {
  const struct {
    const char* text;
    int precision, scale;
    const char* written;  // null: refused
  } cases[] = {
      {"0", 1, 0, "0"},
      {"-0.00", 3, 2, "0.00"},
      {"7", 3, 2, "7.00"},
      {"-7.1", 3, 2, "-7.10"},
      {"+.5", 3, 2, "0.50"},
      {"9.99", 3, 2, "9.99"},
      {"10", 3, 2, nullptr},
      {"10", 4, 2, "10.00"},
      {"0.001", 3, 2, nullptr},
      {"0.010", 3, 2, "0.01"},
      {"0001.5", 2, 1, "1.5"},
      {"9999999999999999999999999999", 28, 0, "9999999999999999999999999999"},
      {"-4294967296.4294967296", 20, 10, "-4294967296.4294967296"},
      {"1.2.3", 9, 2, nullptr},
      {"1e3", 9, 2, nullptr},
      {".", 9, 2, nullptr},
      {"-", 9, 2, nullptr},
  };
  for (const auto& c : cases) {
    const auto number = ParseNumeric(c.text, c.precision, c.scale);
    ASSERT_EQ(number.has_value(), c.written != nullptr) << c.text;
    if (number) {
      EXPECT_EQ(FormatNumeric(*number, c.scale), c.written);
    }
  }
  EXPECT_EQ(ParseNumeric("-4294967297", 10, 0), (Numeric{true, {0, 0, 1, 1}}));
}

TEST(GuidTest, IsPrintedInTheUsualOrder) {
  Guid guid;
  for (std::size_t i = 0; i < 16; ++i) guid.bytes[i] = static_cast<std::uint8_t>(0xA0 + i);
  EXPECT_EQ(FormatGuid(guid), "{A3A2A1A0-A5A4-A7A6-A8A9-AAABACADAEAF}");
}

TEST(ErrorTest, SaysWhereAndKeepsTheInnermostName) {
  Error error = Error::Damaged({7}, "why");
  error.OfColumn("c").OfTable("t").In("f").OfColumn("x").OfTable("y").In("z");
  EXPECT_STREQ(error.what(), "f: table t: column c: damaged (page 7): why");
  EXPECT_EQ(error.column(), "c");
  EXPECT_STREQ(Error(ErrorCode::kDiskFull).what(), "disk full");
}

}  // namespace
}  // namespace jet
