// Columns appended to tables that already hold rows.
#include <gmock/gmock.h>

#include "jet/database.h"
#include "jet/error.h"
#include "tests/support/temp_db.h"

namespace jet {
namespace {

class AppendColumnTest : public ::testing::Test {
 protected:
  void SetUp() override {
    database_ = Database::Create(*files_, path_, {});
    TableSpec spec{.name = "設定"};
    spec.columns = {{.name = "ＩＤ", .type = ColumnType::kLong},
                    {.name = "長さ", .type = ColumnType::kDouble}};
    table_ = database_->CreateTable(spec);
    for (std::int32_t i = 0; i < 400; ++i) ids_.push_back(table_->Insert(Row(i)));
    database_->Commit();
  }
  static std::vector<Value> Row(std::int32_t i) { return {i, i / 4.0}; }

  test_support::TempFolder folder_;
  std::string path_ = folder_.File("columns.mdb");
  std::unique_ptr<FileSystem> files_ = MakeSystemFiles();
  std::unique_ptr<Database> database_;
  std::shared_ptr<Table> table_;
  std::vector<RowId> ids_;
};

TEST_F(AppendColumnTest, TouchesNoRow) {
  const std::uint64_t before = database_->pager().counters().pages_written;
  database_->AppendColumn("設定", {.name = "幅", .type = ColumnType::kDouble});
  database_->AppendColumn("設定", {.name = "済", .type = ColumnType::kBoolean});
  database_->Commit();
  EXPECT_LT(database_->pager().counters().pages_written - before, 8u);
  Table::Row row;
  ASSERT_TRUE(table_->Read(ids_[7], row));
  EXPECT_TRUE(row.IsNull(2));
  EXPECT_EQ(row.Get(3), Value{false});
}

// A row of a table without variable columns has no offsets; other readers look
// for them as soon as the table has such a column.
TEST_F(AppendColumnTest, TheFirstVariableColumnGivesEveryRowItsOffsets) {
  database_->AppendColumn("設定", {.name = "名称", .type = ColumnType::kText, .max_size = 50});
  EXPECT_EQ(table_->First(), ids_[0]) << "rows keep their places";
  for (std::size_t i = 0; i < ids_.size(); ++i) {
    Table::Row row;
    ASSERT_TRUE(table_->Read(ids_[i], row));
    ASSERT_EQ(row.Get(0), Value{static_cast<std::int32_t>(i)});
    ASSERT_EQ(row.Get(1), Value{static_cast<double>(i) / 4});
    ASSERT_TRUE(row.IsNull(2));
  }
  table_->Update(ids_[3], std::vector<FieldChange>{{2, std::string("名")}});
  database_->Commit();
  table_.reset();
  database_.reset();
  test_support::ExpectSound(path_, true);
}

TEST_F(AppendColumnTest, ARefusedColumnLeavesTheTable) {
  const auto code = [&](const ColumnSpec& column) {
    try {
      database_->AppendColumn("設定", column);
    } catch (const Error& error) {
      EXPECT_EQ(error.table(), "設定");
      return error.code();
    }
    return ErrorCode::kIo;
  };
  EXPECT_EQ(code({.name = "ID"}), ErrorCode::kColumnExists) << "found without regard to width";
  EXPECT_EQ(code({.name = "a.b"}), ErrorCode::kBadName);
  EXPECT_EQ(code({.name = std::string(65, 'x')}), ErrorCode::kBadName);
  EXPECT_EQ(code({.name = "名", .type = ColumnType::kText, .max_size = 256}),
            ErrorCode::kOutOfRange);
  for (int i = 2; i < 255; ++i) {
    database_->AppendColumn("設定", {.name = "c" + std::to_string(i), .type = ColumnType::kByte});
  }
  EXPECT_EQ(code({.name = "c256"}), ErrorCode::kTooManyColumns);
  EXPECT_EQ(table_->def().columns.size(), 255u);
  EXPECT_GT(table_->def().pages.size(), 1u) << "the definition has outgrown its page";
  database_->Commit();
  table_.reset();
  database_.reset();
  test_support::ExpectSound(path_, true);
}

}  // namespace
}  // namespace jet
