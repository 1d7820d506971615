// Random operations on a table with several indexes, compared with a plain map.
#include <gmock/gmock.h>

#include <cstdlib>
#include <map>
#include <random>

#include "jet/base/error.h"
#include "tests/support/jet_fixture.h"

namespace jet {
namespace {

using enum ColumnType;
using namespace test_support;

enum Column : std::size_t { kId, kName, kCode, kAmount, kNote, kFlag, kWhen, kColumns };
constexpr Column kUnique[] = {kId, kCode};

// The length of the run: enough for every kind of page to split, merge and be
// given back. A sanitizer build does fewer.
std::size_t Operations() {
  const char* wanted = std::getenv("MODEL_OPERATIONS");
  if (wanted != nullptr) return static_cast<std::size_t>(std::atoll(wanted));
#ifdef __SANITIZE_ADDRESS__
  return 100'000;
#else
  return 1'000'000;
#endif
}

class TableModel : public EngineTest {
 protected:
  static constexpr std::uint64_t kSeed = 20261124;

  void SetUp() override {
    std::printf("seed %llu, %zu operations\n", static_cast<unsigned long long>(kSeed),
                Operations());
    table_ = Create().CreateTable(
        {"品目",
         {{"ＩＤ"},
          {.name = "名称", .type = kText, .max_size = 50, .compressed = true},
          {"ｺｰﾄﾞ", kText, 20},
          {"数量", kDouble},
          {.name = "備考", .type = kMemo, .compressed = true},
          {"済", kBoolean},
          {"日付", kDateTime}},
         {{.name = "PrimaryKey", .columns = {"ＩＤ"}, .primary = true},
          {.name = "名称", .columns = {"名称"}},
          {.name = "ｺｰﾄﾞ", .columns = {"ｺｰﾄﾞ"}, .unique = true, .ignore_nulls = true},
          {.name = "数量", .columns = {"数量", "ＩＤ"}, .descending = {true, false}}}});
    database_->Commit();
  }

  std::uint64_t Below(std::uint64_t bound) { return random_() % bound; }

  std::string Word(std::size_t max) {
    static constexpr const char* kLetters[] = {"a",  "B", "ﾀﾞ", "ダ", "角",
                                               "０", "7", "ー", " ",  "Ｆ"};
    std::string word = "a";  // a prolonged mark needs something before it
    for (std::size_t n = Below(max); n-- > 0;) word += kLetters[Below(std::size(kLetters))];
    return word;
  }

  Value RandomField(Column column) {
    switch (column) {
      case kId:
        return static_cast<std::int32_t>(Below(1'000'000));
      case kName:
        return Below(8) == 0 ? Value{} : Value{Word(20)};
      case kCode:
        return Below(3) == 0 ? Value{} : Value{"C" + std::to_string(Below(50'000))};
      case kAmount:
        return Below(5) == 0 ? Value{} : Value{static_cast<double>(Below(400)) / 4 - 50};
      case kNote: {
        const std::size_t length = Below(20) == 0 ? Below(6000) : Below(60);
        return Below(4) == 0 ? Value{} : Value{std::string(length, Below(2) == 0 ? 'x' : 'y')};
      }
      case kFlag:
        return Below(2) == 0;
      default:
        return Below(4) == 0 ? Value{} : Value{DateTime{static_cast<double>(Below(50'000))}};
    }
  }

  bool Collides(const std::vector<Value>& row, RowId self) const {
    return std::ranges::any_of(kUnique, [&](Column column) {
      const auto at = owners_.find({column, row[column]});
      return at != owners_.end() && at->second != self;
    });
  }
  void Remember(RowId id, const std::vector<Value>& row) {
    for (const Column column : kUnique) {
      if (!IsNull(row[column])) owners_[{column, row[column]}] = id;
    }
    rows_[id] = row;
  }
  void Forget(RowId id) {
    for (const Column column : kUnique) owners_.erase({column, rows_.at(id)[column]});
    rows_.erase(id);
  }

  RowId AnyRow() {
    auto at = rows_.lower_bound(RowId::FromPacked(
        static_cast<std::uint32_t>(Below(rows_.rbegin()->first.packed() + std::uint64_t{1}))));
    return at == rows_.end() ? rows_.begin()->first : at->first;
  }

  void Insert() {
    std::vector<Value> row(kColumns);
    for (std::size_t i = 0; i < kColumns; ++i) row[i] = RandomField(static_cast<Column>(i));
    if (Collides(row, {})) {
      EXPECT_THROW(table_->Insert(row), Error);
      return;
    }
    const RowId id = table_->Insert(row);
    const RowId last = rows_.empty() ? RowId{} : rows_.rbegin()->first;
    EXPECT_GT(id, last) << "new rows come behind all others";
    Remember(id, row);
  }

  void Update() {
    const RowId id = AnyRow();
    std::vector<Value> row = rows_.at(id);
    std::vector<FieldChange> changes;
    for (std::size_t n = 1 + Below(3); n-- > 0;) {
      const auto column = static_cast<Column>(Below(kColumns));
      row[column] = RandomField(column);
      std::erase_if(changes, [&](const FieldChange& c) { return c.ordinal == column; });
      changes.push_back({column, row[column]});
    }
    if (Collides(row, id)) {
      EXPECT_THROW(table_->Update(id, changes), Error);
      return;
    }
    table_->Update(id, changes);
    Forget(id);
    Remember(id, row);
  }

  void Delete() {
    const RowId id = AnyRow();
    table_->Delete(id);
    Forget(id);
  }

  // Every row, in order, with every value; every index, in order.
  void Compare() {
    ASSERT_EQ(table_->row_count(), rows_.size());
    auto expected = rows_.begin();
    TableScan scan(*table_);
    while (scan.Next()) {
      ASSERT_NE(expected, rows_.end());
      ASSERT_EQ(scan.row().id(), expected->first);
      for (std::size_t i = 0; i < kColumns; ++i) {
        ASSERT_EQ(scan.row().Get(i), expected->second[i]);
        ASSERT_EQ(scan.row().IsNull(i), IsNull(expected->second[i]));
      }
      ++expected;
    }
    ASSERT_EQ(expected, rows_.end());
    const auto with_code =
        std::ranges::count_if(rows_, [](const auto& row) { return !IsNull(row.second[kCode]); });
    const std::size_t entries[] = {rows_.size(), rows_.size(), static_cast<std::size_t>(with_code),
                                   rows_.size()};
    for (std::size_t real = 0; real < 4; ++real) {
      std::size_t count = 0;
      Bytes last;
      const Index index = Internals(*database_).OpenIndex(*table_, real);
      for (Index::Cursor at = index.First(); at.valid(); at.Next(), ++count) {
        const Bytes key(at.key().begin(), at.key().end());
        ASSERT_LE(last, key);
        ASSERT_TRUE(rows_.contains(at.row()));
        last = key;
      }
      ASSERT_EQ(count, entries[real]) << "index " << real;
    }
    for (int n = 0; n < 50 && !rows_.empty(); ++n) {
      const RowId id = AnyRow();
      ASSERT_EQ(FindBy(*table_, kId, rows_.at(id)[kId]), id);
    }
  }

  void CheckFile() {
    database_->Commit();
    ExpectSound(path_);
    table_ = Open().OpenTable("品目");
  }

  std::shared_ptr<Table> table_;
  std::mt19937_64 random_{kSeed};
  std::map<RowId, std::vector<Value>> rows_;
  std::map<std::pair<Column, Value>, RowId> owners_;  // of values in unique columns
};

TEST_F(TableModel, RowsAndIndexesAgreeWithAMap) {
  const std::size_t operations = Operations();
  bool growing = true;
  for (std::size_t n = 1; n <= operations; ++n) {
    if (rows_.size() > 3000) growing = false;
    if (rows_.size() < 200) growing = true;
    const std::uint64_t dice = Below(100);
    if (rows_.empty() || dice < (growing ? 45u : 20u)) {
      Insert();
    } else if (dice < 70) {
      Update();
    } else {
      Delete();
    }
    if (n % 10'000 == 0) {
      ASSERT_NO_FATAL_FAILURE(Compare());
    }
    if (n % 3'000 == 0) database_->Commit();
    if (n % 200'000 == 0 || n == operations) CheckFile();
  }
  ASSERT_NO_FATAL_FAILURE(Compare());
}

}  // namespace
}  // namespace jet
