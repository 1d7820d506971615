// What a table says of itself, and a row's fields, through the public headers alone.
#include <gmock/gmock.h>

#include <filesystem>

#include "jet/database/database.h"
#include "tests/support/files.h"
#include "tests/support/temp_db.h"

namespace jet {
namespace {

using namespace test_support;
using ::testing::ElementsAre;

class FaceTest : public ::testing::Test {
 protected:
  FaceTest() {
    database_ = Database::Create(*files_, folder_.File("Data.mdb"), {});
    TableSpec spec;
    spec.name = "表";
    spec.columns = {{.name = "番号", .type = ColumnType::kLong, .auto_number = true},
                    {.name = "名称",
                     .type = ColumnType::kText,
                     .max_size = 20,
                     .compressed = true,
                     .required = true,
                     .allow_zero_length = false},
                    {.name = "単価",
                     .type = ColumnType::kNumeric,
                     .precision = 9,
                     .scale = 2,
                     .default_expression = "0"},
                    {.name = "印", .type = ColumnType::kBoolean},
                    {.name = "備考", .type = ColumnType::kMemo}};
    spec.indexes = {
        {.name = "PK", .columns = {"番号"}, .primary = true, .unique = true, .required = true},
        {.name = "二つ", .columns = {"名称", "番号"}, .descending = {true, false}},
        {.name = "空なし", .columns = {"名称"}, .ignore_nulls = true}};
    table_ = database_->CreateTable(spec);
  }
  const IndexInfo& IndexOf(std::string_view name) const {
    const auto& indexes = table_->indexes();
    return *std::ranges::find(indexes, name, &IndexInfo::name);
  }
  template <class Action>
  static std::optional<ErrorCode> CodeOf(const Action& action) {
    try {
      action();
    } catch (const Error& error) {
      return error.code();
    }
    return std::nullopt;
  }

  TempFolder folder_;
  std::unique_ptr<FileSystem> files_ = MakeSystemFiles();
  std::unique_ptr<Database> database_;
  std::shared_ptr<Table> table_;
};

TEST_F(FaceTest, ColumnsAreWhatWasAskedFor) {
  ASSERT_EQ(table_->columns().size(), 5u);
  const ColumnInfo &number = table_->columns()[0], &name = table_->columns()[1],
                   &price = table_->columns()[2], &memo = table_->columns()[4];
  EXPECT_TRUE(number.auto_number);
  EXPECT_TRUE(number.fixed);
  EXPECT_FALSE(number.required);
  EXPECT_EQ(name.name, "名称");
  EXPECT_EQ(name.max_chars(), 20u);
  EXPECT_TRUE(name.compressed);
  EXPECT_TRUE(name.required);
  EXPECT_FALSE(name.allow_zero_length);
  EXPECT_FALSE(name.fixed);
  EXPECT_EQ(price.precision, 9);
  EXPECT_EQ(price.scale, 2);
  EXPECT_EQ(price.default_expression, "0");
  EXPECT_EQ(memo.size_bytes, 0u);
  EXPECT_TRUE(memo.allow_zero_length);
}

TEST_F(FaceTest, IndexesAreWhatWasAskedFor) {
  ASSERT_EQ(table_->indexes().size(), 3u);
  const IndexInfo &key = IndexOf("PK"), &two = IndexOf("二つ"), &filled = IndexOf("空なし");
  EXPECT_TRUE(key.primary && key.unique && key.required);
  EXPECT_FALSE(two.primary || two.unique || two.required || two.ignore_nulls || two.relation);
  ASSERT_EQ(two.columns.size(), 2u);
  EXPECT_EQ(two.columns[0].ordinal, 1u);
  EXPECT_TRUE(two.columns[0].descending);
  EXPECT_EQ(two.columns[1].ordinal, 0u);
  EXPECT_FALSE(two.columns[1].descending);
  EXPECT_TRUE(filled.ignore_nulls);
}

TEST_F(FaceTest, WhatATableSaysFollowsItsChanges) {
  database_->Commit();
  database_->AppendColumn("表", {.name = "追加", .type = ColumnType::kDouble});
  database_->AddIndex("表", {.name = "追加", .columns = {"追加"}, .unique = true});
  ASSERT_EQ(table_->columns().size(), 6u);
  EXPECT_EQ(table_->columns()[5].name, "追加");
  EXPECT_EQ(IndexOf("追加").columns[0].ordinal, 5u);
  EXPECT_EQ(table_->FindColumn("追加"), 5u);
  database_->Discard();
  EXPECT_EQ(table_->columns().size(), 5u);
  EXPECT_EQ(table_->indexes().size(), 3u);
  EXPECT_EQ(table_->FindColumn("追加"), std::nullopt);
}

// The properties of a table are rules that it follows at once.
TEST_F(FaceTest, WhatATableSaysFollowsItsProperties) {
  const ObjectInfo object = *database_->Find("表");
  Properties properties = database_->LoadProperties(object);
  properties.Remove(database_->order(), "名称", kRequiredProperty);
  database_->StoreProperties(object, properties);
  EXPECT_FALSE(table_->columns()[1].required);
  table_->Insert(table_->NewRow());
}

TEST_F(FaceTest, NamesOfColumnsAreFoundInAnyWidthAndCase) {
  database_->AppendColumn("表", {.name = "ﾊｲﾌ", .type = ColumnType::kLong});
  EXPECT_EQ(table_->FindColumn("ハイフ"), 5u);
  EXPECT_EQ(table_->OrdinalOf("ハイフ"), 5u);
  EXPECT_EQ(CodeOf([&] { table_->OrdinalOf("ない"); }), ErrorCode::kColumnMissing);
}

TEST_F(FaceTest, AFileSaysWhatItIs) {
  database_->SetPassword("鍵");
  EXPECT_TRUE(database_->AcceptsPassword("鍵"));
  EXPECT_FALSE(database_->AcceptsPassword("錠"));
  const FileInfo info = database_->info();
  EXPECT_TRUE(info.has_password);
  EXPECT_FALSE(info.encoded);
  EXPECT_EQ(info.order, kJapanese);
  EXPECT_EQ(info.code_page, 932);
  database_->Commit();
  EXPECT_EQ(info.page_count * kPageSize, std::filesystem::file_size(folder_.File("Data.mdb")));
}

struct NumberCase {
  const char* name;
  ColumnType type;
  Value value;
  double number;
};

class NumberTest : public ::testing::TestWithParam<NumberCase> {};

TEST_P(NumberTest, IsReadWithoutAValue) {
  const NumberCase& c = GetParam();
  TempFolder folder;
  const auto files = MakeSystemFiles();
  const auto database = Database::Create(*files, folder.File("Data.mdb"), {});
  const auto table =
      database->CreateTable({.name = "t", .columns = {{.name = "n", .type = c.type}}});
  const RowId filled = table->Insert({&c.value, 1});
  const Value none = Null{};
  const RowId empty = table->Insert({&none, 1});
  Table::Row row;
  double number = 77;
  ASSERT_TRUE(table->Read(filled, row));
  EXPECT_TRUE(row.GetNumber(0, number));
  EXPECT_EQ(number, c.number);
  ASSERT_TRUE(table->Read(empty, row));
  const bool boolean = c.type == ColumnType::kBoolean;  // which has no Null
  EXPECT_EQ(row.GetNumber(0, number), boolean);
  EXPECT_EQ(number, boolean ? 0 : c.number);
}

INSTANTIATE_TEST_SUITE_P(
    Types, NumberTest,
    ::testing::Values(NumberCase{"Boolean", ColumnType::kBoolean, true, -1},
                      NumberCase{"Byte", ColumnType::kByte, std::uint8_t{200}, 200},
                      NumberCase{"Integer", ColumnType::kInteger, std::int16_t{-300}, -300},
                      NumberCase{"Long", ColumnType::kLong, -2147483647, -2147483647.0},
                      NumberCase{"Single", ColumnType::kSingle, 0.5f, 0.5},
                      NumberCase{"Double", ColumnType::kDouble, 0.1, 0.1},
                      NumberCase{"DateTime", ColumnType::kDateTime, DateTime{40000.25}, 40000.25}),
    [](const auto& each) { return std::string(each.param.name); });

TEST_F(FaceTest, OtherFieldsAreNotNumbers) {
  const FieldChange fields[] = {{1, std::string("1")}, {2, *ParseNumeric("1.5", 9, 2)}};
  const RowId id = table_->Insert(table_->NewRow(fields));
  Table::Row row;
  ASSERT_TRUE(table_->Read(id, row));
  double number = 0;
  EXPECT_EQ(CodeOf([&] { row.GetNumber(1, number); }), ErrorCode::kWrongType);
  EXPECT_EQ(CodeOf([&] { row.GetNumber(2, number); }), ErrorCode::kWrongType);
}

// A row holds its page; where it goes, the hold goes along.
TEST_F(FaceTest, ARowMayMoveAndBeReadIntoAgain) {
  std::vector<RowId> ids;
  for (const char* name : {"一", "二", "三"}) {
    const FieldChange field{1, std::string(name)};
    ids.push_back(table_->Insert(table_->NewRow({&field, 1})));
  }
  std::vector<Table::Row> rows;
  for (const RowId id : ids) {
    Table::Row row;
    ASSERT_TRUE(table_->Read(id, row));
    rows.push_back(std::move(row));
  }
  ASSERT_TRUE(table_->Read(ids[0], rows[2]));
  rows.erase(rows.begin());
  std::vector<Value> names;
  for (const Table::Row& row : rows) names.push_back(row.Get(1));
  EXPECT_THAT(names, ElementsAre("二", "一"));
  EXPECT_FALSE(table_->Read({{2}, 250}, rows[0]));
}

}  // namespace
}  // namespace jet
