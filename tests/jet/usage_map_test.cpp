// A table whose pages lie too far apart for the bitmap in its row.
#include <gmock/gmock.h>

#include "jet/database.h"
#include "tests/support/temp_db.h"

namespace jet {
namespace {

class UsageMapTest : public ::testing::Test {
 protected:
  static constexpr std::int32_t kWideRows = 1600;  // one a page

  void SetUp() override {
    database_ = Database::Create(*files_, path_, {});
    TableSpec spec{.name = "広い"};
    spec.columns = {{.name = "ＩＤ", .type = ColumnType::kLong}};
    for (int i = 1; i <= 8; ++i) {
      spec.columns.push_back(
          {.name = "文" + std::to_string(i), .type = ColumnType::kText, .max_size = 255});
    }
    // Their maps fill the page of the table's own, which can then not grow.
    for (int i = 1; i <= 27; ++i) {
      spec.columns.push_back({.name = "メモ" + std::to_string(i), .type = ColumnType::kMemo});
    }
    wide_ = database_->CreateTable(spec);
    narrow_ = database_->CreateTable(
        {.name = "狭い", .columns = {{.name = "ＩＤ", .type = ColumnType::kLong}}});
  }
  static std::vector<Value> WideRow(std::int32_t id) {
    std::string text;
    for (int i = 0; i < 140; ++i) text += "鋼";
    std::vector<Value> row(9, Value{text});
    row[0] = id;
    row.resize(36);
    return row;
  }
  std::size_t BitmapPages(const Table& table) {
    return UsageMap(database_->pager(), table.def().owned_map).BitmapPages().size();
  }

  test_support::TempFolder folder_;
  std::string path_ = folder_.File("maps.mdb");
  std::unique_ptr<FileSystem> files_ = MakeSystemFiles();
  std::unique_ptr<Database> database_;
  std::shared_ptr<Table> wide_, narrow_;
};

TEST_F(UsageMapTest, ATableThatLiesFarApartKeepsItsPagesInAList) {
  std::vector<RowId> wide;
  wide.push_back(wide_->Insert(WideRow(0)));
  for (std::int32_t id = 0; id < 3000; ++id) narrow_->Insert({{id}});
  ASSERT_EQ(BitmapPages(*wide_), 0u);
  for (std::int32_t id = 1; id < kWideRows; ++id) wide.push_back(wide_->Insert(WideRow(id)));
  EXPECT_EQ(BitmapPages(*wide_), 1u);
  for (std::int32_t id = 3000; id < 6000; ++id) narrow_->Insert({{id}});
  EXPECT_EQ(BitmapPages(*narrow_), 0u) << "a row with room about it grows";

  for (std::size_t i = 0; i < wide.size(); i += 2) wide_->Delete(wide[i]);
  for (std::int32_t i = 0; i < kWideRows / 2; ++i) wide_->Insert(WideRow(kWideRows + i));
  database_->Commit();

  std::vector<std::int32_t> ids;
  for (auto at = wide_->First(); at; at = wide_->Next(*at)) {
    Table::Row row;
    ASSERT_TRUE(wide_->Read(*at, row));
    ids.push_back(std::get<std::int32_t>(row.Get(0)));
  }
  std::vector<std::int32_t> expected;
  for (std::int32_t i = 1; i < kWideRows; i += 2) expected.push_back(i);
  for (std::int32_t i = 0; i < kWideRows / 2; ++i) expected.push_back(kWideRows + i);
  EXPECT_EQ(ids, expected) << "in the order of insertion";
  std::int32_t next = 0;
  for (auto at = narrow_->First(); at; at = narrow_->Next(*at)) {
    Table::Row row;
    ASSERT_TRUE(narrow_->Read(*at, row));
    ASSERT_EQ(row.Get(0), Value{next++});
  }
  EXPECT_EQ(next, 6000);
  wide_.reset();
  narrow_.reset();
  database_.reset();
  test_support::ExpectSound(path_);
}

}  // namespace
}  // namespace jet
