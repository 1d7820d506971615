#include "jet/base/date_time.h"

#include <gtest/gtest.h>

namespace jet {
namespace {

TEST(ReadDateTime, TakesTheMonthFirstUnlessTheYearOrTheDayMustBe) {
  const struct {
    const char* text;
    const char* read;  // null: refused
    bool year_first = false;
  } cases[] = {
      {"1/4/2010", "2010-01-04 00:00:00"},
      {"13/1/1995", "1995-01-13 00:00:00"},
      {"13/13/1995", nullptr},
      {"0/1/1995", nullptr},
      {"99/1/4", "1999-01-04 00:00:00", true},
      {"31/1/4", "2004-01-31 00:00:00"},
      {"2010-1-04", "2010-01-04 00:00:00", true},
      {"0030-01-02", nullptr},
      {"1/2/030", nullptr},
      {"1/2-2003", nullptr},
      {"1/2/29", "2029-01-02 00:00:00"},
      {"1/2/30", "1930-01-02 00:00:00"},
      {"1/2/99", "1999-01-02 00:00:00"},
      {"2/29/2000", "2000-02-29 00:00:00"},
      {"2/29/1900", nullptr},
      {"1/2/2003/4", nullptr},
      {"-1/2/2003", nullptr},
      {"9999-12-31 23:59:59", "9999-12-31 23:59:59", true},
      {" 1 / 2 / 2003  1 : 02:03 pm\t", "2003-01-02 13:02:03"},
      {"12:30 AM", "1899-12-30 00:30:00", true},
      {"12:30PM", "1899-12-30 12:30:00", true},
      {"13:00 PM", nullptr},
      {"0:00 AM", nullptr},
      {"24:00", nullptr},
      {"1:60", nullptr},
      {"1:00:60", nullptr},
      {"1:00:00:00", nullptr},
      {"1/2/2003 1", nullptr},
      {"12", nullptr},
      {"", nullptr},
      {"99999999999/1/1", nullptr},
  };
  for (const auto& c : cases) {
    const auto date = ReadDateTime(c.text);
    EXPECT_EQ(date ? FormatDateTime(*date) : "refused", c.read != nullptr ? c.read : "refused")
        << c.text;
    EXPECT_EQ(ReadDateTimeByYear(c.text).has_value(), c.year_first) << c.text;
  }
}

}  // namespace
}  // namespace jet
