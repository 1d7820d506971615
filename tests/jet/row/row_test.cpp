#include "jet/row/row.h"

#include <gmock/gmock.h>

#include <map>
#include <random>

#include "jet/base/bytes.h"
#include "jet/check/rows.h"
#include "tests/support/temp_db.h"

namespace jet {
namespace {

using enum ColumnType;
using namespace test_support;
using Row = std::vector<Value>;

// A table that columns are appended to, as the schema does it.
class RowTest : public ::testing::Test {
 protected:
  ColumnDef& Add(ColumnType type, std::uint16_t length = 0) {
    ColumnDef column;
    column.name = "c" + std::to_string(def_.next_column_id);
    column.type = type;
    column.id = {def_.next_column_id++};
    column.variable_slot = def_.next_variable_slot;
    column.length = length;
    if (length != 0 || IsLongValue(type)) {
      ++def_.next_variable_slot;
    } else {
      column.flags = ColumnDef::kFixed;
      column.fixed_offset = static_cast<std::uint16_t>(def_.fixed_width());
    }
    return def_.columns.emplace_back(column);
  }
  void Drop(std::size_t ordinal) {
    def_.columns.erase(def_.columns.begin() + static_cast<std::ptrdiff_t>(ordinal));
  }
  Bytes Encode(const Row& values) {
    RowEncoder encoder;
    encoder.Begin(def_);
    for (std::size_t i = 0; i < values.size(); ++i) {
      if (!IsNull(values[i])) encoder.Set(i, values[i]);
    }
    return Copy(encoder.Finish());
  }
  static Bytes Copy(ByteView bytes) { return {bytes.begin(), bytes.end()}; }
  Row Decode(const Bytes& bytes) const {
    const RowView row(def_, bytes);
    Row values;
    for (const ColumnDef& column : def_.columns) {
      const auto raw = row.Raw(column);
      if (column.type == kBoolean) {
        values.emplace_back(row.Boolean(column));
      } else {
        values.push_back(raw ? DecodeField(column, *raw) : Value(Null{}));
      }
    }
    return values;
  }
  TableDef def_;
};

const std::string kAb = "ab";

TEST_F(RowTest, HasItsFieldsWhereTheFormatWantsThem) {
  Add(kLong);
  Add(kText, 20);
  Add(kBoolean);
  Add(kBinary, 9);
  Add(kByte);
  const Row full = {0x01020304, kAb, true, Bytes{7, 8}, std::uint8_t{9}};
  const Bytes row = {5, 0, 4, 3, 2, 1, 9, 'a', 0, 'b', 0, 7, 8, 13, 0, 11, 0, 7, 0, 2, 0, 0x1F};
  EXPECT_EQ(Encode(full), row);
  EXPECT_EQ(Decode(row), full);
  const Row none = {Null{}, Null{}, false, Null{}, Null{}};
  EXPECT_EQ(Encode(none), (Bytes{5, 0, 0, 0, 0, 0, 0, 7, 0, 7, 0, 7, 0, 2, 0, 0}));
  EXPECT_EQ(Decode(Encode(none)), none);
}

// A row knows the columns of the time when it was written.
TEST_F(RowTest, IsReadByYoungerDefinitions) {
  Add(kLong);
  const Bytes fixed_only = Encode({1});
  EXPECT_EQ(fixed_only, (Bytes{1, 0, 1, 0, 0, 0, 1}));
  Add(kText, 20);
  const Bytes with_text = Encode({2, kAb});
  for (int i = 0; i < 7; ++i) Add(kBoolean);  // the mask gets a second byte
  Add(kText, 20);
  Add(kDouble);
  const auto expected = [](Row old) {
    old.resize(9, false);
    old.resize(11);
    return old;
  };
  EXPECT_EQ(Decode(fixed_only), expected({1, Null{}}));
  EXPECT_EQ(Decode(with_text), expected({2, kAb}));
  // Written again it has all columns and the same values; an empty text is not Null.
  RowEncoder encoder;
  encoder.Begin(def_);
  encoder.SetFrom(RowView(def_, with_text));
  EXPECT_EQ(encoder.Take(1), (Bytes{'a', 0, 'b', 0}));
  EXPECT_EQ(encoder.Take(1), Bytes());
  encoder.Set(9, std::string());
  const ByteView bytes = encoder.Finish();
  Row again = expected({2, Null{}});
  again[9] = std::string();
  EXPECT_EQ(Decode(Copy(bytes)), again);
  EXPECT_EQ(GetU16(bytes, 0), 11);
}

TEST_F(RowTest, KeepsThePlacesOfDroppedColumns) {
  Add(kText, 20);
  Add(kLong);
  Add(kText, 20);
  Add(kLong);
  const Bytes before = Encode({kAb, 1, "z", 2});
  Drop(0);
  Drop(0);
  const Row left = {"z", 2};
  EXPECT_EQ(Decode(before), left);
  const Bytes after = Encode(left);
  EXPECT_EQ(Decode(after), left);
  EXPECT_EQ(after, (Bytes{4, 0, 0, 0, 0, 0, 2, 0, 0, 0, 'z', 0, 12, 0, 10, 0, 10, 0, 2, 0, 0x0F}))
      << "the bits of dropped columns stay set";
}

// Two slots of dropped columns go down and up again between live ones.
TEST_F(RowTest, SlotsOfDroppedColumnsMayGoDown) {
  for (int i = 0; i < 4; ++i) Add(kText, 20);
  Drop(1);
  Drop(1);
  Bytes row{4, 0, 'a', 0, 'b', 0, 'c', 0, 'd', 0, 10, 0, 6, 0, 2, 0, 6, 0, 2, 0, 4, 0, 0x0F};
  check::Fields fields;
  const check::RowSplitter splitter(def_);
  RowEncoder encoder;
  encoder.Begin(def_);
  encoder.SetFrom(RowView(def_, row));
  for (const Bytes& stored : {row, Copy(encoder.Finish())}) {
    EXPECT_EQ(splitter.Split(stored, fields, nullptr), "");
    EXPECT_EQ(Decode(stored), (Row{"ab", "cd"}));
  }
  row[12] = 4;  // of the second live column, into the first
  EXPECT_EQ(splitter.Split(row, fields, nullptr), "has column c3 out of order");
}

// Rows of every age, while columns come and go.
TEST_F(RowTest, AnyRowIsReadByAnyLaterDefinition) {
  const std::pair<ColumnType, std::uint16_t> types[] = {{kBoolean, 0}, {kByte, 0},  {kLong, 0},
                                                        {kDouble, 0},  {kText, 40}, {kBinary, 20}};
  std::mt19937 random(3);
  const auto below = [&](std::size_t n) { return random() % n; };
  const auto value_for = [&](ColumnType type) -> Value {
    if (type == kBoolean) return below(2) == 0;
    if (below(3) == 0) return Null{};
    if (type == kByte) return static_cast<std::uint8_t>(below(256));
    if (type == kLong) return static_cast<std::int32_t>(random());
    if (type == kDouble) return static_cast<double>(below(1000)) / 8;
    if (type == kText) return std::string(below(20), 'x');
    return Bytes(below(20), 7);
  };
  for (int round = 0; round < 100; ++round) {
    SCOPED_TRACE(round);
    def_ = {};
    std::vector<std::pair<Bytes, std::map<std::uint16_t, Value>>> rows;  // values by column id
    for (int step = 0; step < 30; ++step) {
      if (below(2) == 0) {
        const auto& [type, length] = types[below(std::size(types))];
        Add(type, length);
      } else if (below(3) == 0 && !def_.columns.empty()) {
        Drop(below(def_.columns.size()));
      } else {
        Row values;
        rows.emplace_back();
        for (const ColumnDef& column : def_.columns) {
          values.push_back(rows.back().second[column.id.value] = value_for(column.type));
        }
        rows.back().first = Encode(values);
      }
      const check::RowSplitter splitter(def_);
      check::Fields fields;
      for (auto& [bytes, values] : rows) {
        ASSERT_EQ(splitter.Split(bytes, fields, nullptr), "") << step;
        Row expected;
        for (const ColumnDef& column : def_.columns) {
          const auto found = values.find(column.id.value);
          const Value none = column.type == kBoolean ? Value(false) : Value(Null{});
          expected.push_back(found != values.end() ? found->second : none);
        }
        ASSERT_EQ(Decode(bytes), expected) << step;
        if (below(8) != 0) continue;
        RowEncoder encoder;
        encoder.Begin(def_);
        encoder.SetFrom(RowView(def_, bytes));
        bytes = Copy(encoder.Finish());
        ASSERT_EQ(Decode(bytes), expected) << step << ", written again";
      }
    }
  }
}

TEST_F(RowTest, NamesDamage) {
  Add(kLong);
  Add(kText, 20);
  Add(kText, 20);
  const Bytes row = Encode({1, kAb, kAb});  // offsets at 14, 16, 18; their number 20
  const struct {
    std::size_t at;
    std::uint8_t value;
  } cases[] = {{0, 4}, {20, 3}, {20, 1}, {14, 15}, {16, 1}, {18, 4}, {16, 15}};
  for (const auto& c : cases) {
    Bytes bent = row;
    bent[c.at] = c.value;
    EXPECT_EQ(CodeOf([&] { Decode(bent); }), ErrorCode::kDamaged) << c.at << ' ' << int{c.value};
  }
  for (std::size_t size = 0; size < 8; ++size) {
    EXPECT_EQ(CodeOf([&] { Decode(Copy(ByteView(row).first(size))); }), ErrorCode::kDamaged)
        << size;
  }
}

TEST_F(RowTest, HoldsFieldsToTheirLimits) {
  ColumnDef text = Add(kText, 4), binary = Add(kBinary, 3);
  EXPECT_EQ(Decode(Encode({kAb, Bytes(3, 1)})), (Row{kAb, Bytes(3, 1)}));
  const auto code = [&](const ColumnDef& column, const Value& value) {
    TableDef def;
    def.columns = {column};
    RowEncoder encoder;
    encoder.Begin(def);
    return CodeOf([&] { encoder.Set(0, value); });
  };
  EXPECT_EQ(code(text, std::string("abc")), ErrorCode::kTextTooLong);
  EXPECT_EQ(code(text, std::string("\U0001F600")), std::nullopt);
  EXPECT_EQ(code(binary, Bytes(4)), ErrorCode::kTextTooLong);
  EXPECT_EQ(code(binary, kAb), ErrorCode::kWrongType);
  // Fixed ones are filled up.
  text.flags = binary.flags = ColumnDef::kFixed;
  binary.fixed_offset = 4;
  TableDef fixed;
  fixed.columns = {text, binary};
  fixed.next_column_id = 2;
  RowEncoder encoder;
  encoder.Begin(fixed);
  encoder.Set(0, std::string("a"));
  encoder.Set(1, Bytes{5});
  const ByteView row = encoder.Finish();
  EXPECT_EQ(Bytes(row.begin(), row.end()), (Bytes{2, 0, 'a', 0, ' ', 0, 5, 0, 0, 3}));
  for (int i = 0; i < 8; ++i) Add(kBinary, 510);
  Row wide(10, Value(Bytes(510, 1)));
  wide[0] = wide[1] = Null{};
  const std::size_t offsets = 2 * 11 + 2, mask = 2;
  wide[9] = Bytes(kMaxRowBytes - 2 - 7 * 510 - offsets - mask, 1);
  EXPECT_EQ(Encode(wide).size(), kMaxRowBytes);
  std::get<Bytes>(wide[9]).push_back(1);
  EXPECT_EQ(CodeOf([&] { Encode(wide); }), ErrorCode::kRowTooLong);
}

}  // namespace
}  // namespace jet
