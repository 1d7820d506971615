// Rows and the pages they stand on.
#include "jet/table/table.h"

#include <gmock/gmock.h>

#include "jet/table/internals.h"
#include "tests/support/jet_fixture.h"

namespace jet {
namespace {

using namespace test_support;
using ::testing::ElementsAre;
using Row = std::vector<Value>;

Row RowOf(int i) { return {i, Bytes(500, 7)}; }  // seven a page

class TableTest : public EngineTest {
 protected:
  TableTest() { Create(); }
  std::shared_ptr<Table> Make(const std::string& name) {
    return database_->CreateTable({name, {{"n"}, {"b", ColumnType::kBinary, 500}}, {}});
  }
  static std::vector<RowId> Fill(Table& table, int from, int to) {
    std::vector<RowId> ids;
    for (; from < to; ++from) ids.push_back(table.Insert(RowOf(from)));
    return ids;
  }
  static std::vector<Value> Numbers(const Table& table) { return FieldsOf(table, "n"); }
  ~TableTest() override {
    database_->Commit();
    ExpectSoundByOurs(path_, true);
  }
};

// The page that took new rows may belong to another table after an undo.
TEST_F(TableTest, AnUndoForgetsThePageThatTakesNewRows) {
  const auto one = Make("one"), other = Make("other");
  Fill(*one, 0, 7);
  database_->Commit();
  const RowId opened = one->Insert(RowOf(7));
  ASSERT_NE(opened.page, one->First()->page);
  database_->Discard();
  EXPECT_EQ(other->Insert(RowOf(100)).page, opened.page);
  EXPECT_NE(one->Insert(RowOf(8)).page, opened.page);
  EXPECT_THAT(Numbers(*one), ElementsAre(0, 1, 2, 3, 4, 5, 6, 8));
  EXPECT_THAT(Numbers(*other), ElementsAre(100));
}

TEST_F(TableTest, TakesNewRowsAfterThoseOfItsLastPageAreDeleted) {
  const auto table = Make("t");
  const std::vector<RowId> ids = Fill(*table, 0, 16);
  for (std::size_t i = 14; i < 16; ++i) table->Delete(ids[i]);
  EXPECT_EQ(table->Last(), ids[13]);
  const RowId again = table->Insert(RowOf(16));
  EXPECT_EQ(table->Last(), again);
  table->Delete(again);
  for (std::size_t i = 7; i < 14; ++i) table->Delete(ids[i]);
  const RowId behind = table->Insert(RowOf(17));
  EXPECT_EQ(table->Last(), behind);
  EXPECT_THAT(Numbers(*table), ElementsAre(0, 1, 2, 3, 4, 5, 6, 17));
  for (std::size_t i = 0; i < 7; ++i) table->Delete(ids[i]);
  const PageNumber kept = table->Last()->page;
  table->Delete(*table->Last());
  EXPECT_EQ(table->First(), std::nullopt);
  EXPECT_EQ(Fill(*table, 18, 20)[1].page, kept) << "the last page stays with its table";
  EXPECT_THAT(Numbers(*table), ElementsAre(18, 19));
  EXPECT_EQ(table->row_count(), 2u);
}

TEST_F(TableTest, AMovedRowKeepsItsPlaceAndLeavesNothingBehind) {
  const auto table = Make("t");
  std::vector<RowId> ids;
  Row numbers;
  for (int i = 0; i < 255; ++i) {  // the first page is full
    ids.push_back(table->Insert(Row{i, Bytes(1)}));
    numbers.emplace_back(i);
  }
  ASSERT_EQ(ids[254].page, ids[0].page);
  const auto set = [&](std::size_t i, std::size_t length) {
    Set(*table, ids[i], 1, Bytes(length, 9));
    EXPECT_EQ(Get(*table, ids[i], 1), Value(Bytes(length, 9)));
  };
  for (std::size_t i = 3; i < 10; ++i) set(i, 500);  // seven bodies fill a page
  set(3, 100);                                       // in place
  set(10, 500);
  const PageNumber next{database_->info().page_count};
  set(3, 500);  // moves again
  EXPECT_EQ(Numbers(*table), numbers);
  EXPECT_EQ(table->Next(ids[2]), ids[3]);
  EXPECT_FALSE(allocator().IsFree(next));
  table->Delete(ids[3]);
  EXPECT_TRUE(allocator().IsFree(next)) << "with its body";
  EXPECT_EQ(table->Next(ids[2]), ids[4]);
}

TEST_F(TableTest, AnUpdateToTheSameKeyIsNotANewKey) {
  const auto table = Make("t");
  const std::vector<RowId> ids = Fill(*table, 0, 3);
  database_->AddIndex("t", {.name = "i", .columns = {"n"}, .unique = true});
  const auto update = [&](int n) {
    Set(*table, ids[1], 0, n);
    database_->Commit();
    database_->Discard();  // what is stored counts
    return DefOf(*table).real_indexes[0].distinct_keys;
  };
  EXPECT_EQ(update(1), 3u);
  EXPECT_EQ(CodeOf([&] { update(2); }), ErrorCode::kDuplicateKey);
  EXPECT_EQ(update(7), 4u);
  EXPECT_EQ(FindBy(*table, 0, 7), ids[1]);
  EXPECT_EQ(FindBy(*table, 0, 1), std::nullopt);
}

}  // namespace
}  // namespace jet
