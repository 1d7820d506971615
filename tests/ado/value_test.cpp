#include "ado/value.h"

#include <gtest/gtest.h>

#include <clocale>
#include <cmath>
#include <limits>
#include <locale>
#include <optional>

#include "ado/error.h"
#include "jet/base/number.h"
#include "tests/support/ado_fixture.h"

namespace {

using jet::ColumnType;

// A locale as much of the world has it: "1.234,5".
struct CommaPunctuation : std::numpunct<char> {
  char do_decimal_point() const override { return ','; }
  char do_thousands_sep() const override { return '.'; }
  std::string do_grouping() const override { return "\3"; }
};

// Every case runs under the plain locale and under a comma locale.
class Values : public ::testing::TestWithParam<bool> {
 protected:
  void SetUp() override {
    if (!GetParam()) return;
    before_ = std::locale::global(std::locale(std::locale::classic(), new CommaPunctuation));
    std::setlocale(LC_NUMERIC, "de_DE.UTF-8");  // where it is installed
  }
  void TearDown() override {
    std::locale::global(before_);
    std::setlocale(LC_NUMERIC, "C");
  }
  std::locale before_ = std::locale::classic();
};
INSTANTIATE_TEST_SUITE_P(Locale, Values, ::testing::Bool(),
                         [](const auto& info) { return info.param ? "Comma" : "Point"; });

TEST_P(Values, WriteEveryTypeAsText) {
  const std::pair<ado::Value, const char*> cases[] = {
      {true, "True"},
      {false, "False"},
      {std::uint8_t{200}, "200"},
      {std::int16_t{-5}, "-5"},
      {std::int32_t{99999}, "99999"},
      {27.0, "27"},
      {13.5, "13.5"},
      {-0.0, "0"},
      {0.1, "0.1"},
      {0.1F, "0.1"},
      {100000.0, "100000"},
      {1234567.25, "1234567.25"},
      {1e20, "1E+20"},
      {ado::Currency{125000}, "12.5"},
      {ado::Currency{-1}, "-0.0001"},
      {ado::Currency{std::numeric_limits<std::int64_t>::min()}, "-922337203685477.5808"},
      {ado::DateTime{40182.0}, "2010-01-04 00:00:00"},
      {std::string(" 27abc"), " 27abc"},
  };
  for (const auto& [value, text] : cases) EXPECT_EQ(ado::ToText(value), text);
  EXPECT_RAISES(ado::kErrInvalidNull, ado::ToText(ado::Null()));
}

TEST_P(Values, ReadNumbersFromTextWholeOrAtItsStart) {
  struct Case {
    const char* text;
    std::optional<double> whole;
    double leading;
  };
  const Case cases[] = {
      {"0.5", 0.5, 0.5}, {"35.32", 35.32, 35.32},
      {"15", 15, 15},    {"-5", -5, -5},
      {" 7", 7, 7},      {"7 \t", 7, 7},
      {"+3", 3, 3},      {".5", .5, .5},
      {"5.", 5, 5},      {"1e2", 100, 100},
      {"1E-1", .1, .1},  {"27abc", {}, 27},
      {"27e", {}, 27},   {"1.5.2", {}, 1.5},
      {"1,5", {}, 1},    {"abc", {}, 0},
      {"", {}, 0},       {" ", {}, 0},
      {"-", {}, 0},      {".", {}, 0},
      {"- 5", {}, 0},    {"&H10", {}, 0},
      {"inf", {}, 0},    {"nan", {}, 0},
      {"0x10", {}, 0},   {"1e-999", 0, 0},
      {"１５", {}, 0},   {"2 7", {}, 2},
      {"+-3", {}, 0},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.text);
    EXPECT_EQ(jet::ReadNumber(c.text), c.whole);
    EXPECT_EQ(ado::LeadingNumber(c.text), c.leading);
  }
  EXPECT_EQ(jet::ReadNumber("1e999"), std::nullopt);
  EXPECT_RAISES(ado::kErrOverflow, ado::LeadingNumber("1e999"));
}

TEST_P(Values, RoundToIntegersHalfToEven) {
  const std::pair<double, std::int16_t> cases[] = {
      {2.5, 2}, {3.5, 4}, {26.5, 26}, {27.5, 28}, {2.6, 3}, {3.4, 3}, {-2.5, -2}, {32767.4, 32767},
  };
  for (const auto& [number, rounded] : cases) EXPECT_EQ(ado::ToInt16(number), rounded) << number;
  for (double number : {40000.0, 32767.5, -32768.6, 1e300, std::nan("")}) {
    EXPECT_RAISES(ado::kErrOverflow, ado::ToInt16(number));
  }
}

jet::ColumnInfo ColumnOf(ColumnType type, std::size_t size_bytes = 0) {
  jet::ColumnInfo column;
  column.name = "幅";
  column.type = type;
  column.size_bytes = size_bytes;
  column.precision = 18;
  column.scale = 2;
  return column;
}

TEST_P(Values, ConvertToTheTypeOfTheColumn) {
  struct Case {
    ColumnType type;
    ado::Value given;
    std::optional<ado::Value> stored;  // nothing: refused
  };
  const std::string wide50 = [] {
    std::string text;
    for (int i = 0; i < 50; ++i) text += "幅";
    return text;
  }();
  using S = std::string;
  constexpr float kMostSingle = std::numeric_limits<float>::max();
  const Case cases[] = {
      {ColumnType::kDouble, S("0.5"), 0.5},
      {ColumnType::kDouble, S(" 7"), 7.0},
      {ColumnType::kDouble, std::int16_t{3}, 3.0},
      {ColumnType::kDouble, S("なし"), {}},
      {ColumnType::kDouble, S(""), {}},
      {ColumnType::kDouble, true, -1.0},
      {ColumnType::kSingle, S("0.1"), 0.1F},
      {ColumnType::kSingle, 1e39, {}},
      {ColumnType::kLong, std::int32_t{99999}, std::int32_t{99999}},
      {ColumnType::kLong, 2.5, std::int32_t{2}},
      {ColumnType::kLong, 3e9, {}},
      {ColumnType::kLong, -2147483648.0, std::numeric_limits<std::int32_t>::min()},
      {ColumnType::kLong, -2147483649.0, {}},
      {ColumnType::kInteger, S("-32768"), std::numeric_limits<std::int16_t>::min()},
      {ColumnType::kInteger, std::int32_t{-32769}, {}},
      {ColumnType::kByte, 0.0, std::uint8_t{0}},
      {ColumnType::kByte, std::int16_t{-1}, {}},
      {ColumnType::kSingle, double{-kMostSingle}, -kMostSingle},
      {ColumnType::kSingle, -1e39, {}},
      {ColumnType::kCurrency, S("-900000000000000"), ado::Currency{-9'000'000'000'000'000'000}},
      {ColumnType::kCurrency, -1e15, {}},
      {ColumnType::kInteger, std::int32_t{99999}, {}},
      {ColumnType::kInteger, S("32767"), std::int16_t{32767}},
      {ColumnType::kInteger, S("True"), std::int16_t{-1}},
      {ColumnType::kByte, std::int16_t{255}, std::uint8_t{255}},
      {ColumnType::kByte, std::int16_t{256}, {}},
      {ColumnType::kByte, true, std::uint8_t{255}},
      {ColumnType::kBoolean, std::int16_t{1}, true},
      {ColumnType::kBoolean, S("False"), false},
      {ColumnType::kBoolean, S("true"), true},
      {ColumnType::kBoolean, S("0"), false},
      {ColumnType::kBoolean, S("はい"), {}},
      {ColumnType::kBoolean, ado::Null(), false},
      {ColumnType::kCurrency, S("12.34565"), ado::Currency{123456}},
      {ColumnType::kCurrency, 1e15, {}},
      {ColumnType::kText, true, S("True")},
      {ColumnType::kText, 35.32, S("35.32")},
      {ColumnType::kText, S(""), S("")},
      {ColumnType::kText, S(" ﾊ　"), S(" ﾊ　")},
      {ColumnType::kText, wide50, wide50},
      {ColumnType::kText, wide50 + "1", {}},
      {ColumnType::kText, S("\xff"), {}},
      {ColumnType::kText, jet::Bytes{1}, {}},
      {ColumnType::kMemo, wide50 + "1", wide50 + "1"},
      {ColumnType::kDateTime, S("2010-01-04 12:00:00"), ado::DateTime{40182.5}},
      {ColumnType::kDateTime, S("2010/1/4"), ado::DateTime{40182}},
      {ColumnType::kDateTime, S("18:00"), ado::DateTime{0.75}},
      {ColumnType::kDateTime, S("24:00"), {}},
      {ColumnType::kDateTime, S("2010-02-29"), {}},
      {ColumnType::kDateTime, S("1900-02-29"), {}},
      {ColumnType::kDateTime, S("2000-02-29"), ado::DateTime{36585}},
      {ColumnType::kDateTime, S("2000-02-30"), {}},
      {ColumnType::kDateTime, S("2008-02-29"), ado::DateTime{39507}},
      {ColumnType::kDateTime, S("9999-12-31 23:59"), ado::DateTime{2958465 + 1439 / 1440.0}},
      {ColumnType::kDateTime, 2958465.5, ado::DateTime{2958465.5}},
      {ColumnType::kDateTime, 2958466.0, {}},
      {ColumnType::kDateTime, S("0100-01-01"), ado::DateTime{-657434}},
      {ColumnType::kDateTime, -657434.0, ado::DateTime{-657434}},
      {ColumnType::kDateTime, -657435.0, {}},
      {ColumnType::kDateTime, S("2010-01-04 "), ado::DateTime{40182}},
      {ColumnType::kDateTime, S("1/4/2010"), {}},
      {ColumnType::kDateTime, 2.5, ado::DateTime{2.5}},
      {ColumnType::kDateTime, 1e9, {}},
      {ColumnType::kNumeric, S("1.25"), jet::ParseNumeric("1.25", 18, 2)},
      {ColumnType::kNumeric, std::int32_t{7}, jet::ParseNumeric("7.00", 18, 2)},
      {ColumnType::kBinary, jet::Bytes(100, 7), jet::Bytes(100, 7)},
      {ColumnType::kBinary, jet::Bytes(101, 7), {}},
      {ColumnType::kBinary, S("x"), {}},
      {ColumnType::kRaw, S("x"), {}},
      {ColumnType::kLong, ado::Null(), ado::Null()},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(jet::TypeName(c.type) + " case " + std::to_string(&c - cases));
    const jet::ColumnInfo column = ColumnOf(c.type, 100);
    if (c.stored) {
      EXPECT_EQ(ado::ConvertTo(column, c.given), *c.stored);
    } else {
      const ado::Error error = test_support::ErrorOf([&] { ado::ConvertTo(column, c.given); });
      EXPECT_EQ(error.number(), ado::kErrIntegrity);
      EXPECT_NE(error.text().find("'幅'"), std::string::npos) << error.text();
    }
  }
}

TEST(WithoutLast, CutsUnitsOfUtf16AndNoMoreThanThereAre) {
  EXPECT_EQ(ado::WithoutLast("C:\\W\\展開Data.mdb", 10), "C:\\W\\");
  EXPECT_EQ(ado::WithoutLast("𠮷x", 1), "𠮷");
  EXPECT_EQ(ado::WithoutLast("ab", 2), "");
  EXPECT_EQ(ado::WithoutLast("ab", 3), "");
}

TEST(GuidText, SurvivesTheWayThroughTheColumn) {
  const std::string text = "{00112233-4455-6677-8899-AABBCCDDEEFF}";
  const ado::Value guid = ado::ConvertTo(ColumnOf(ColumnType::kGuid), text);
  EXPECT_EQ(ado::ToText(guid), text);
  EXPECT_RAISES(ado::kErrIntegrity,
                ado::ConvertTo(ColumnOf(ColumnType::kGuid), std::string("{0011}")));
}

}  // namespace
