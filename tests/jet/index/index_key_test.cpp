#include "jet/index/index_key.h"

#include <gmock/gmock.h>

#include <limits>
#include <vector>

#include "jet/base/error.h"
#include "tests/support/temp_db.h"

namespace jet {
namespace {

using enum ColumnType;
using namespace test_support;

constexpr float kInfinity = std::numeric_limits<float>::infinity();

ColumnDef Column(ColumnType type, std::uint16_t id = 0) {
  ColumnDef column;
  column.name = "c" + std::to_string(id);
  column.type = type;
  column.id = {id};
  column.order = kJapanese;
  return column;
}

Bytes Part(ColumnType type, const Value& value, bool ascending = true) {
  Bytes key;
  AddKeyPart(Column(type), value, ascending, key);
  return key;
}

const Guid kSixteen{{1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16}};

TEST(AddKeyPart, WritesEachTypeInItsForm) {
  const struct {
    ColumnType type;
    Value value;
    Bytes key;
  } cases[] = {
      {kByte, std::uint8_t{200}, {0x7F, 200}},
      {kInteger, std::int16_t{-2}, {0x7F, 0x7F, 0xFE}},
      {kLong, 0x0F000001, {0x7F, 0x8F, 0x00, 0x00, 0x01}},
      {kCurrency, Currency{-1}, {0x7F, 0x7F, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}},
      {kSingle, 1.0F, {0x7F, 0xBF, 0x80, 0, 0}},
      {kSingle, -1.0F, {0x7F, 0x40, 0x7F, 0xFF, 0xFF}},
      {kDouble, 27.5, {0x7F, 0xC0, 0x3B, 0x80, 0, 0, 0, 0, 0}},
      {kDateTime, DateTime{0}, {0x7F, 0x80, 0, 0, 0, 0, 0, 0, 0}},
      {kBinary, Bytes{0, 0, 0, 1}, {0x7F, 0, 0, 0, 1, 0, 0, 0, 0, 4}},
      {kBinary, Bytes(9, 7), {0x7F, 7, 7, 7, 7, 7, 7, 7, 7, 9, 7, 0, 0, 0, 0, 0, 0, 0, 1}},
      {kGuid, kSixteen, {0x7F, 4, 3, 2, 1, 6, 5, 8, 7, 9, 9, 10, 11, 12, 13, 14, 15, 16, 8}},
      {kNumeric,
       Numeric{false, {0, 0, 1, 2}},
       {0x7F, 0xFF, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 2}},
      {kText, "A", {0x7F, 0x4A, 0x01, 0x00}},
      {kMemo, "A" + std::string(300, ' ') + "B", {0x7F, 0x4A, 0x01, 0x00}},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Part(c.type, c.value), c.key) << TypeName(c.type);
    EXPECT_EQ(Part(c.type, Null{}), Bytes{0x00});
    if (c.type == kNumeric) continue;
    EXPECT_EQ(Part(c.type, Null{}, false), Bytes{0xFF});
  }
  EXPECT_EQ(Part(kLong, 1, false), (Bytes{0x80, 0x7F, 0xFF, 0xFF, 0xFE}));
  EXPECT_EQ(Part(kText, "A", false), (Bytes{0x80, 0xB5, 0xFE, 0xFF, 0x00}));
  // Another chunk is announced by the same byte in both directions.
  EXPECT_EQ(Part(kBinary, Bytes(9, 7), false),
            (Bytes{0x80, 0xF8, 0xF8, 0xF8, 0xF8, 0xF8, 0xF8, 0xF8, 0xF8, 9, 0xF8, 0xFF, 0xFF, 0xFF,
                   0xFF, 0xFF, 0xFF, 0xFF, 0xFE}));
}

TEST(AddKeyPart, SortsAsTheValuesDo) {
  const std::vector<std::pair<ColumnType, std::vector<Value>>> sorted = {
      {kInteger,
       {Null{}, std::int16_t{-32768}, std::int16_t{-1}, std::int16_t{0}, std::int16_t{32767}}},
      {kCurrency, {Null{}, Currency{-20000}, Currency{-1}, Currency{0}, Currency{5}}},
      {kSingle, {Null{}, -kInfinity, -2.5F, -1e-30F, 0.0F, 1e-30F, kInfinity}},
      {kDouble, {Null{}, -1e300, -1.5, 0.0, 0.25, 1e300}},
      {kDateTime, {Null{}, DateTime{-1.25}, DateTime{0}, DateTime{40000.5}}},
      {kBinary, {Null{}, Bytes{1}, Bytes{1, 0}, Bytes{1, 1}, Bytes(8, 1), Bytes(9, 1), Bytes{2}}},
      {kNumeric,
       {Null{}, Numeric{true, {1, 0, 0, 0}}, Numeric{true, {0, 0, 0, 1}},
        Numeric{true, {0, 0, 0, 0}}, Numeric{false, {0, 0, 0, 1}}}},
  };
  for (const auto& [type, values] : sorted) {
    for (std::size_t i = 1; i < values.size(); ++i) {
      EXPECT_LT(Part(type, values[i - 1]), Part(type, values[i])) << TypeName(type) << " " << i;
      if (type == kNumeric) continue;
      EXPECT_GT(Part(type, values[i - 1], false), Part(type, values[i], false))
          << TypeName(type) << " " << i;
    }
  }
  EXPECT_EQ(Part(kNumeric, Numeric{true, {}}), Part(kNumeric, Numeric{}));
}

TEST(AddKeyPart, RefusesWhatIsNotIndexed) {
  const struct {
    ColumnType type;
    Value value;
    bool ascending;
    ErrorCode code;
  } cases[] = {
      {kBoolean, true, true, ErrorCode::kNotSupported},
      {kBoolean, Null{}, false, ErrorCode::kNotSupported},
      {kOle, Bytes{1}, true, ErrorCode::kNotSupported},
      {kRaw, Bytes{1}, true, ErrorCode::kNotSupported},
      {kBinary, Bytes{}, true, ErrorCode::kNotSupported},
      {kNumeric, Numeric{}, false, ErrorCode::kNotSupported},
      {kLong, std::int16_t{1}, true, ErrorCode::kWrongType},
      {kText, 1, true, ErrorCode::kWrongType},
      {kText, "\u3005", true, ErrorCode::kUnsortable},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(CodeOf([&] { Part(c.type, c.value, c.ascending); }), c.code) << TypeName(c.type);
  }
}

class BuildKeyTest : public testing::Test {
 protected:
  BuildKeyTest() {
    def_.page = PageNumber{7};
    def_.columns = {Column(kText, 3), Column(kLong, 5)};
    index_.columns = {{ColumnId{5}, false}, {ColumnId{3}, true}};
  }
  IndexKey Build(const Value& text, const Value& number) const {
    return BuildKey(def_, index_, [&](std::size_t ordinal) -> const Value& {
      return ordinal == 0 ? text : number;
    });
  }
  TableDef def_;
  RealIndex index_;
};

TEST_F(BuildKeyTest, JoinsThePartsInTheOrderOfTheIndex) {
  IndexKey key = Build("A", 1);
  EXPECT_EQ(key.bytes, (Bytes{0x80, 0x7F, 0xFF, 0xFF, 0xFE, 0x7F, 0x4A, 0x01, 0x00}));
  EXPECT_FALSE(key.all_null || key.some_null);
  key = Build(Null{}, 1);
  EXPECT_TRUE(key.some_null && !key.all_null);
  key = Build(Null{}, Null{});
  EXPECT_EQ(key.bytes, (Bytes{0xFF, 0x00}));
  EXPECT_TRUE(key.some_null && key.all_null);
}

TEST_F(BuildKeyTest, RefusesLongKeysAndNamesTheColumn) {
  std::string fits;
  for (int i = 0; i < 251; ++i) fits += "\u4E9C";
  EXPECT_EQ(Build(fits, 1).bytes.size(), kMaxIndexEntryBytes);
  EXPECT_EQ(CodeOf([&] { Build(fits + "\u4E9C", 1); }), ErrorCode::kKeyTooLong);
  try {
    Build("\u3005", 1);
    ADD_FAILURE() << "a repeat mark alone got a key";
  } catch (const Error& error) {
    EXPECT_EQ(error.code(), ErrorCode::kUnsortable);
    EXPECT_EQ(error.column(), "c3");
  }
  index_.columns[0].column = ColumnId{9};
  EXPECT_EQ(CodeOf([&] { Build(fits, 1); }), ErrorCode::kDamaged);
}

}  // namespace
}  // namespace jet
