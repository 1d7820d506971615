#include "jet/index.h"

#include <fmt/format.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <map>
#include <random>
#include <set>

#include "jet/bytes.h"
#include "jet/index_key.h"
#include "jet/slotted_page.h"
#include "tests/support/temp_db.h"
#include "tests/support/tree_check.h"

namespace jet {
namespace {

using test_support::CheckTree;
using test_support::TreeReport;
using ::testing::IsEmpty;

// The least file that a tree can live in: maps of pages and an empty root.
class TreeFile {
 public:
  TreeFile() {
    auto files = MakeSystemFiles();
    pager_ = std::make_unique<Pager>(files->Create(folder_.File("tree.mdb")), true);
    allocator_ = std::make_unique<PageAllocator>(*pager_);
    def_.page = {4};
    def_.real_indexes.resize(1);
    def_.real_indexes[0].page_map = {{2}, 0};
    def_.real_indexes[0].root = {3};
    Scope scope(*pager_);
    pager_->EditNew({0});
    Bytes free(kNewMapBytes, 0xFF);
    std::fill_n(free.begin(), 5, std::uint8_t{0});
    free[5] = 0xE0;  // pages 0 to 4 are taken
    PageSpan page = pager_->EditNew({1});
    InitRowPage(page, 1);
    AddRow({1}, page, free, SlotKind::kLive);
    page = pager_->EditNew({2});
    InitRowPage(page, 0);
    Bytes pages(kNewMapBytes);
    pages[5] = 1 << 3;
    AddRow({2}, page, pages, SlotKind::kLive);
    Index::InitRoot(pager_->EditNew({3}), def_.page);
    pager_->EditNew({4});
    scope.Commit();
  }

  Index index() { return Index(*pager_, def_, 0); }
  Pager& pager() { return *pager_; }
  PageAllocator& allocator() { return *allocator_; }
  TreeReport Check() { return CheckTree(*allocator_, def_); }

  bool Insert(ByteView key, RowId row) {
    Scope scope(*pager_);
    const bool is_new = index().Insert(*allocator_, key, row);
    scope.Commit();
    return is_new;
  }
  bool Erase(ByteView key, RowId row) {
    Scope scope(*pager_);
    const bool found = index().Erase(*allocator_, key, row);
    scope.Commit();
    return found;
  }
  void Poke(PageNumber page, std::size_t at, std::uint8_t value) {
    Scope scope(*pager_);
    pager_->Edit(page)[at] = value;
    scope.Commit();
  }
  std::vector<Bytes> Image() {
    std::vector<Bytes> pages;
    for (std::uint32_t i = 0; i < pager_->page_count(); ++i) {
      const PageRef page = pager_->Read({i});
      pages.emplace_back(page.bytes().begin(), page.bytes().end());
    }
    return pages;
  }

 private:
  test_support::TempFolder folder_;
  std::unique_ptr<Pager> pager_;
  std::unique_ptr<PageAllocator> allocator_;
  TableDef def_;
};

Bytes LongKey(std::uint32_t value) {
  return {0x7F, static_cast<std::uint8_t>(value >> 24 ^ 0x80),
          static_cast<std::uint8_t>(value >> 16), static_cast<std::uint8_t>(value >> 8),
          static_cast<std::uint8_t>(value)};
}
RowId Row(std::uint32_t number) {
  return {{100 + number / 50}, static_cast<std::uint8_t>(number % 50)};
}

// ---- against a model

struct Distribution {
  const char* name;
  Bytes (*key)(std::uint32_t n);
  std::size_t operations;
  std::size_t least_height;
};

// A key of `length` bytes that no other key is the beginning of.
Bytes Padded(std::uint32_t n, std::size_t length, std::uint8_t fill) {
  Bytes key{0x7F};
  key.resize(length - 5, fill);
  const Bytes number = LongKey(n);
  key.insert(key.end(), number.begin() + 1, number.end());
  key.push_back(0);
  return key;
}

const Distribution kDistributions[] = {
    {"Longs", [](std::uint32_t n) { return LongKey(n); }, 6000, 2},
    {"FewKeysManyRows", [](std::uint32_t n) { return LongKey(n % 7); }, 4000, 2},
    {"Texts",
     [](std::uint32_t n) {
       Bytes key{0x7F};
       for (std::uint32_t rest = n * 2654435761u, i = 0; i < 3 + n % 50; ++i, rest = rest * 5 + 3) {
         key.push_back(static_cast<std::uint8_t>(0x4A + (rest >> 24) % 40));
       }
       key.insert(key.end(), {0x01, 0x00});
       return key;
     },
     5000, 2},
    {"LongestKeys",
     [](std::uint32_t n) {
       Bytes key = LongKey(n * 2654435761u);
       key.resize(510, static_cast<std::uint8_t>(n));
       return key;
     },
     2500, 4},
    {"LongestKeysAlike", [](std::uint32_t n) { return Padded(n, 509, 0x60); }, 2500, 2},
    {"AllLengths",
     [](std::uint32_t n) {
       Bytes key = LongKey(n);
       key.resize(5 + (n * 2654435761u >> 8) % 500, 0x55);
       return key;
     },
     3000, 3},
};

class IndexModelTest : public ::testing::TestWithParam<Distribution> {
 protected:
  using Model = std::map<Bytes, std::set<RowId>>;

  void Insert(std::uint32_t n) {
    const Bytes key = GetParam().key(n);
    const RowId row = Row(n);
    if (model_[key].contains(row)) return;
    const bool is_new = model_[key].empty();
    model_[key].insert(row);
    ASSERT_EQ(tree_.Insert(key, row), is_new);
  }
  void Erase(const Bytes& key, RowId row) {
    ASSERT_TRUE(tree_.Erase(key, row));
    model_[key].erase(row);
    if (model_[key].empty()) model_.erase(key);
  }
  void EraseNear(const Bytes& key) {
    auto at = model_.lower_bound(key);
    if (at == model_.end()) at = model_.begin();
    if (at != model_.end()) Erase(Bytes(at->first), *at->second.begin());
  }

  void ExpectSame() {
    std::erase_if(model_, [](const auto& item) { return item.second.empty(); });
    const TreeReport report = tree_.Check();
    ASSERT_THAT(report.faults, IsEmpty());
    Index::Cursor at = tree_.index().First();
    for (const auto& [key, rows] : model_) {
      for (const RowId row : rows) {
        ASSERT_TRUE(at.valid());
        ASSERT_EQ(Bytes(at.key().begin(), at.key().end()), key);
        ASSERT_EQ(at.row(), row);
        at.Next();
      }
    }
    ASSERT_FALSE(at.valid());
    for (int i = 0; i < 300; ++i) {
      const Bytes key = GetParam().key(Random(kRange));
      const auto found = model_.find(key);
      const auto row = tree_.index().Find(key);
      ASSERT_EQ(row.has_value(), found != model_.end());
      ASSERT_EQ(tree_.index().HasKey(key), row.has_value());
      if (row) {
        ASSERT_EQ(*row, *found->second.begin());
        ASSERT_EQ(tree_.index().HasKey(key, *row), found->second.size() > 1);
      }
      const auto bound = model_.lower_bound(key);
      const Index::Cursor lower = tree_.index().LowerBound(key);
      ASSERT_EQ(lower.valid(), bound != model_.end());
      if (!lower.valid()) continue;
      ASSERT_EQ(Bytes(lower.key().begin(), lower.key().end()), bound->first);
    }
  }

  std::uint32_t Random(std::uint32_t below) {
    return static_cast<std::uint32_t>(random_()) % below;
  }

  static constexpr std::uint32_t kRange = 12000;
  static constexpr std::uint32_t kSeed = 20240607;
  std::mt19937 random_{kSeed};
  TreeFile tree_;
  Model model_;
};

TEST_P(IndexModelTest, AgreesWithASortedMap) {
  SCOPED_TRACE(fmt::format("seed {}", kSeed));
  const std::size_t operations = GetParam().operations;
  for (std::uint32_t i = 0; i < operations / 4; ++i) Insert(4000 + i);  // rising
  ExpectSame();
  for (std::uint32_t i = 0; i < operations / 4; ++i) Insert(3999 - i);  // falling
  ExpectSame();
  for (const unsigned erase_share : {2u, 5u, 8u, 3u}) {  // of ten
    for (std::size_t i = 0; i < operations / 4; ++i) {
      const std::uint32_t n = Random(kRange);
      if (Random(10) >= erase_share) {
        Insert(n);
      } else {
        EraseNear(GetParam().key(n));
      }
    }
    ExpectSame();
    if (HasFatalFailure()) return;
  }
  EXPECT_GE(tree_.Check().height, GetParam().least_height);
  // Emptied from the front, the back and the middle by turns.
  for (std::size_t i = 0; !model_.empty(); ++i) {
    const auto last = std::prev(model_.end());
    if (i % 3 == 0) Erase(Bytes(model_.begin()->first), *model_.begin()->second.begin());
    if (i % 3 == 1) Erase(Bytes(last->first), *last->second.rbegin());
    if (i % 3 == 2) EraseNear(GetParam().key(Random(kRange)));
    if (i % 500 == 0) ExpectSame();
    if (HasFatalFailure()) return;
  }
  const TreeReport report = tree_.Check();
  EXPECT_THAT(report.faults, IsEmpty());
  EXPECT_EQ(report.pages, 1u) << "all but the root are given back";
  EXPECT_TRUE(tree_.Insert(LongKey(1), Row(1)));
}

INSTANTIATE_TEST_SUITE_P(Keys, IndexModelTest, ::testing::ValuesIn(kDistributions),
                         [](const auto& info) { return info.param.name; });

}  // namespace
}  // namespace jet
