#include "jet/index/index.h"

#include <fmt/format.h>
#include <gmock/gmock.h>

#include <map>
#include <random>
#include <set>

#include "jet/base/bytes.h"
#include "jet/index/index_entries.h"
#include "jet/index/index_key.h"
#include "jet/table/internals.h"
#include "tests/support/fault_file.h"
#include "tests/support/jet_fixture.h"
#include "tests/support/tree_check.h"

namespace jet {
namespace {

using namespace test_support;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

struct KeyOfRow {
  Bytes key;
  RowId row;
};

// An empty tree.
class TreeFile {
 public:
  Index index() { return Index(pager(), def(), 0); }
  Pager& pager() { return Internals(*database_).pager(); }
  PageAllocator& allocator() { return Internals(*database_).allocator(); }
  const TableDef& def() const { return DefOf(*table_); }
  PageNumber root() const { return def().real_indexes[0].root; }
  TreeReport Check() { return CheckTree(allocator(), def()); }

  bool Insert(ByteView key, RowId row) {
    Scope scope(pager());
    const bool is_new = index().Insert(allocator(), key, row);
    scope.Commit();
    return is_new;
  }
  std::uint32_t Build(const IndexEntries& sorted) {
    Scope scope(pager());
    const std::uint32_t distinct = index().Build(allocator(), sorted);
    scope.Commit();
    return distinct;
  }
  bool Erase(ByteView key, RowId row) {
    Scope scope(pager());
    const bool found = index().Erase(allocator(), key, row);
    scope.Commit();
    return found;
  }
  // Past the rules of a change.
  void EraseLast(PageNumber leaf) {
    Scope scope(pager());
    IndexPageEditor page(leaf, pager().Edit(leaf), def().page);
    page.Erase(page.Last());
    scope.Commit();
  }
  std::vector<Bytes> Image() {
    std::vector<Bytes> pages;
    for (std::uint32_t i = 0; i < pager().page_count(); ++i) {
      const PageRef page = pager().Read({i});
      pages.emplace_back(page.bytes().begin(), page.bytes().end());
    }
    return pages;
  }
  // Those of the table's indexes, by number. Other pages hold dates.
  std::map<std::uint32_t, Bytes> TreePages() {
    std::map<std::uint32_t, Bytes> pages;
    for (std::uint32_t i = 0; const Bytes& page : Image()) {
      const bool in_index = page[0] == 0x03 || page[0] == 0x04;
      if (in_index && GetU32(page, 4) == def().page.value) pages.emplace(i, page);
      ++i;
    }
    return pages;
  }

 private:
  FaultFiles files_;
  std::unique_ptr<Database> database_ = Database::Create(files_, "/tree.mdb", {});
  std::shared_ptr<Table> table_ =
      database_->CreateTable({"t", {{"a"}}, {{.name = "i", .columns = {"a"}}}});
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
  using Entry = std::pair<Bytes, RowId>;
  using Model = std::set<Entry>;

  // At the first entry whose key is not less.
  Model::iterator From(const Bytes& key) const { return model_.lower_bound({key, {}}); }
  bool IsAt(Model::iterator at, const Bytes& key) const {
    return at != model_.end() && at->first == key;
  }
  void Insert(std::uint32_t n) {
    const Entry entry{GetParam().key(n), Row(n)};
    const bool is_new = !IsAt(From(entry.first), entry.first);
    if (!model_.insert(entry).second) return;
    ASSERT_EQ(tree_.Insert(entry.first, entry.second), is_new);
  }
  void Erase(Model::iterator at) {
    ASSERT_TRUE(tree_.Erase(at->first, at->second));
    model_.erase(at);
  }
  void EraseNear(const Bytes& key) {
    const auto at = From(key);
    if (!model_.empty()) Erase(at == model_.end() ? model_.begin() : at);
  }

  void ExpectSame() {
    ASSERT_THAT(tree_.Check().faults, IsEmpty());
    std::vector<Entry> entries;
    for (Index::Cursor at = tree_.index().First(); at.valid(); at.Next()) {
      entries.emplace_back(Bytes(at.key().begin(), at.key().end()), at.row());
    }
    ASSERT_TRUE(std::ranges::equal(entries, model_));
    for (int i = 0; i < 300; ++i) {
      const Bytes key = GetParam().key(Random(kRange));
      const auto at = From(key);
      const auto row = tree_.index().Find(key);
      ASSERT_EQ(row.has_value(), IsAt(at, key));
      ASSERT_EQ(tree_.index().HasKey(key), row.has_value());
      if (row) {
        ASSERT_EQ(*row, at->second);
        ASSERT_EQ(tree_.index().HasKey(key, *row), IsAt(std::next(at), key));
      }
      const Index::Cursor lower = tree_.index().LowerBound(key);
      ASSERT_EQ(lower.valid(), at != model_.end());
      ASSERT_TRUE(!lower.valid() || std::ranges::equal(lower.key(), at->first));
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

TEST_P(IndexModelTest, BuildsAtOnceTheTreeThatEntriesInOrderMake) {
  constexpr std::uint32_t kEntries = 2000;
  IndexEntries entries;
  for (std::uint32_t n = 0; n < kEntries; ++n) {
    entries.Add(GetParam().key(n * 7919 % kEntries), false, Row(n));
  }
  entries.Sort();
  std::uint32_t distinct = 0;
  for (std::size_t i = 0; i < entries.size(); ++i) {
    distinct += tree_.Insert(entries.key(i), entries.row(i)) ? 1 : 0;
  }
  TreeFile built;
  EXPECT_EQ(built.Build(entries), distinct);
  EXPECT_GT(tree_.TreePages().size(), 1u);
  EXPECT_EQ(built.TreePages(), tree_.TreePages());
  EXPECT_THAT(built.Check().faults, IsEmpty());
}

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
    if (i % 3 == 0) Erase(model_.begin());
    if (i % 3 == 1) Erase(std::prev(model_.end()));
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

// ---- what others wrote

// Entries of 510 bytes that share all but the last few.
void FillAlike(TreeFile& tree, std::uint32_t count) {
  for (std::uint32_t n = 0; n < count; ++n) tree.Insert(Padded(n, 509, 0x60), Row(n));
}

TEST(IndexTest, KeepsPagesWithAPrefixReadable) {
  TreeFile tree;
  FillAlike(tree, 300);
  ASSERT_EQ(tree.Check().pages, 1u) << "on a page that cannot stand without its prefix";
  // Keys that spoil the prefix, on both sides.
  for (std::uint32_t n = 0; n < 40; ++n) {
    EXPECT_TRUE(tree.Insert({{0x7F, 0x10, static_cast<std::uint8_t>(n), 0}}, Row(1000 + n)));
    EXPECT_TRUE(tree.Insert({{0x7F, 0x90, static_cast<std::uint8_t>(n), 0}}, Row(2000 + n)));
  }
  const TreeReport report = tree.Check();
  EXPECT_THAT(report.faults, IsEmpty());
  EXPECT_EQ(report.entries.size(), 380u);
  EXPECT_EQ(tree.index().Find(Padded(299, 509, 0x60)), Row(299));
}

// Rewrites a node so that its entries share `prefix` bytes.
void CompressNode(TreeFile& tree, PageNumber number, std::size_t prefix) {
  Scope scope(tree.pager());
  const PageSpan page = tree.pager().Edit(number);
  const IndexPage old(number, page, tree.def().page);
  Bytes area, mask(453), buffer;
  for (IndexSlot slot = old.First(); !slot.at_end(); slot = old.After(slot)) {
    Bytes own(page.begin() + 0x1E0 +
                  static_cast<std::ptrdiff_t>(slot.start + (area.empty() ? 0 : prefix)),
              page.begin() + 0x1E0 + static_cast<std::ptrdiff_t>(slot.end));
    AddBytes(area, own);
    mask[area.size() / 8] = static_cast<std::uint8_t>(mask[area.size() / 8] | 1 << area.size() % 8);
  }
  PutU16(page, 2, 3616 - area.size());
  PutU16(page, 0x18, prefix);
  PutBytes(page, 0x1B, mask);
  PutBytes(page, 0x1E0, area);
  scope.Commit();
}

TEST(IndexTest, ChangesNodesWithAPrefix) {
  TreeFile tree;
  FillAlike(tree, 1500);
  ASSERT_EQ(tree.Check().height, 2u);
  CompressNode(tree, tree.root(), 400);
  ASSERT_THAT(tree.Check().faults, IsEmpty());
  for (std::uint32_t n = 0; n < 900; ++n) {
    Bytes key = Padded(n, 509, n % 2 == 0 ? 0x5F : 0x61);
    key[n % 450 + 1] = 0x5E;
    EXPECT_TRUE(tree.Insert(key, Row(5000 + n)));
  }
  EXPECT_THAT(tree.Check().faults, IsEmpty());
  for (std::uint32_t n = 0; n < 1500; ++n) EXPECT_TRUE(tree.Erase(Padded(n, 509, 0x60), Row(n)));
  const TreeReport report = tree.Check();
  EXPECT_THAT(report.faults, IsEmpty());
  EXPECT_EQ(report.entries.size(), 900u);
}

class TreesOfTables : public EngineTest {};

TEST_F(TreesOfTables, OfRealFilesAreReadAndRewritten) {
  SKIP_WITHOUT_SAMPLES();
  std::size_t trees = 0, tall = 0, compressed = 0;
  const auto rewrite = [&](const Table& table, std::size_t i) {
    PageAllocator& allocator = this->allocator();
    Index index = Internals(*database_).OpenIndex(table, i);
    const TreeReport before = CheckTree(allocator, DefOf(table), i);
    EXPECT_THAT(before.faults, IsEmpty());
    const std::vector<RowId> rows = RowIds(table);
    std::vector<KeyOfRow> entries;
    for (Index::Cursor at = index.First(); at.valid(); at.Next()) {
      entries.push_back({Bytes(at.key().begin(), at.key().end()), at.row()});
      EXPECT_TRUE(std::ranges::binary_search(rows, at.row()));
      EXPECT_TRUE(index.HasKey(at.key()));
    }
    EXPECT_EQ(entries.size(), before.entries.size());
    EXPECT_TRUE(entries.size() == rows.size() || DefOf(table).real_indexes[i].ignore_nulls());

    Scope scope(allocator.pager());
    std::erase_if(entries, [](const KeyOfRow& e) { return e.key.size() > kMaxIndexEntryBytes; });
    std::shuffle(entries.begin(), entries.end(), std::mt19937(7));
    entries.resize(entries.size() * 3 / 4);
    for (const KeyOfRow& e : entries) EXPECT_TRUE(index.Erase(allocator, e.key, e.row));
    EXPECT_THAT(CheckTree(allocator, DefOf(table), i).faults, IsEmpty());
    for (const KeyOfRow& e : entries) index.Insert(allocator, e.key, e.row);
    const TreeReport after = CheckTree(allocator, DefOf(table), i);
    EXPECT_THAT(after.faults, IsEmpty());
    EXPECT_EQ(after.entries, before.entries);
    ++trees;
    tall += before.height > 1;
    compressed += before.compressed_leaves;
  };
  for (const std::string& name : SampleNames()) {
    SCOPED_TRACE(name);
    path_ = CopySample(folder_, name);
    ForEachTable(Open(OpenMode::kExclusive, "ucanaccess"), [&](const Table& table) {
      for (std::size_t i = 0; i < DefOf(table).real_indexes.size(); ++i) rewrite(table, i);
    });
  }
  EXPECT_GT(trees, 100u);
  EXPECT_GT(tall, 0u);
  EXPECT_GT(compressed, 0u);
}

TEST_F(TreesOfTables, AreSoundAfterManyChanges) {
  const auto table = Create().CreateTable(
      {"T",
       {{"Id"}, {"Name", ColumnType::kText, 120}},
       {{.name = "PrimaryKey", .columns = {"Id"}, .primary = true},
        {.name = "Name", .columns = {"Name", "Id"}, .descending = {true, false}}}});
  std::mt19937 random(99);
  for (int n = 0; n < 3000; ++n) {
    std::string name(1 + random() % 100, 'a');
    for (char& c : name) c = static_cast<char>('a' + random() % 26);
    table->Insert(std::vector<Value>{n * 7919 % 3001, name});
  }
  std::vector<RowId> rows = RowIds(*table);
  std::shuffle(rows.begin(), rows.end(), random);
  rows.resize(2500);
  for (const RowId row : rows) table->Delete(row);
  ExpectSoundAfterCommit();
}

// A key may begin another: only a whole key is found.
TEST(IndexTest, DistinguishesAKeyFromOneThatBeginsWithIt) {
  TreeFile tree;
  const Bytes shorter{0x7F, 1};
  EXPECT_TRUE(tree.Insert({{0x7F, 1, 0, 0}}, Row(1)));
  EXPECT_TRUE(tree.Insert({{0x7F, 1, 2}}, Row(2)));
  EXPECT_FALSE(tree.index().HasKey(shorter));
  EXPECT_EQ(tree.index().Find(shorter), std::nullopt);
  EXPECT_TRUE(tree.Insert(shorter, Row(3)));
  EXPECT_EQ(tree.index().Find(shorter), Row(3));
  EXPECT_FALSE(tree.index().HasKey(shorter, Row(3)));
}

// Seven entries fill a leaf: keys of 500 bytes that have nothing in common.
Bytes BigKey(std::uint32_t first) {
  Bytes key(500, static_cast<std::uint8_t>(first));
  key.back() = 0;
  return key;
}

// A rising sequence fills its leaves; elsewhere a full one is halved.
TEST(IndexTest, DividesAFullLeaf) {
  // Of eight rising keys, the last one of the first leaf erased or not, and then more.
  const auto sizes_with = [](bool erased, const std::vector<std::uint32_t>& more) {
    TreeFile tree;
    for (std::uint32_t n = 10; n <= 80; n += 10) tree.Insert(BigKey(n), Row(n));
    if (erased) tree.EraseLast(tree.index().First().page());
    for (const std::uint32_t n : more) tree.Insert(BigKey(n), Row(n));
    std::vector<int> sizes;
    PageNumber leaf;
    for (Index::Cursor at = tree.index().First(); at.valid(); at.Next()) {
      if (std::exchange(leaf, at.page()) != at.page()) sizes.push_back(0);
      ++sizes.back();
    }
    return sizes;
  };
  EXPECT_THAT(sizes_with(false, {}), ElementsAre(7, 1));
  EXPECT_THAT(sizes_with(false, {5}), ElementsAre(4, 4, 1));
  EXPECT_THAT(sizes_with(false, {35}), ElementsAre(4, 4, 1)) << "in the middle: the smaller half";
  EXPECT_THAT(sizes_with(false, {45}), ElementsAre(3, 5, 1));
  EXPECT_THAT(sizes_with(true, {65, 67}), ElementsAre(3, 5, 1)) << "at the end, but not the last";
}

// The leaf on the left ends below its separator; the same key stands behind it.
TEST(IndexTest, FindsAnEqualKeyBehindAStaleSeparator) {
  TreeFile tree;
  for (std::uint32_t i = 1; i <= 6; ++i) tree.Insert(BigKey(i), Row(i));
  tree.Insert(BigKey(7), Row(7));
  tree.Insert(BigKey(7), Row(8));
  ASSERT_EQ(tree.Check().pages, 3u);
  tree.EraseLast(tree.index().First().page());
  ASSERT_EQ(tree.Check().stale_separators, 1u);
  EXPECT_FALSE(tree.Insert(BigKey(7), Row(7)));
  EXPECT_FALSE(tree.Insert(BigKey(7), Row(6)));
  EXPECT_TRUE(tree.Insert(BigKey(8), Row(9)));
  EXPECT_THAT(tree.Check().faults, IsEmpty());
}

// Separators follow downwards through all levels when a node loses its last leaf,
// be it the last node or one before it.
TEST(IndexTest, ANodeThatLosesItsLastLeafEndsLower) {
  for (const bool rising : {true, false}) {
    TreeFile tree;
    for (std::uint32_t i = 0; i < 120; ++i) {
      const std::uint32_t n = rising ? i : 119 - i;
      tree.Insert(BigKey(n + 1), Row(n));
    }
    ASSERT_EQ(tree.Check().height, 3u);
    for (std::uint32_t i = 120; i-- > 0;) {
      const std::uint32_t n = (i + 100) % 120;
      ASSERT_TRUE(tree.Erase(BigKey(n + 1), Row(n)));
      const TreeReport report = tree.Check();
      ASSERT_THAT(report.faults, IsEmpty()) << n;
      ASSERT_EQ(report.stale_separators, 0u) << n;
    }
  }
}

// ---- failure

TEST(IndexTest, PutsEverythingBackWhenTheScopeIsDropped) {
  TreeFile tree;
  for (std::uint32_t n = 0; n < 40; ++n) tree.Insert(Padded(n * 7919 % 1000, 480, 0x33), Row(n));
  const std::vector<Bytes> before = tree.Image();
  {
    Scope scope(tree.pager());
    Index index = tree.index();
    for (std::uint32_t n = 1000; n < 1400; ++n) {
      index.Insert(tree.allocator(), LongKey(n * 2654435761u), Row(n));
      index.Insert(tree.allocator(), Padded(n, 500, 0x34), Row(n));
    }
    for (std::uint32_t n = 0; n < 40; ++n) EXPECT_TRUE(index.EraseByRow(tree.allocator(), Row(n)));
    EXPECT_FALSE(index.EraseByRow(tree.allocator(), Row(0)));
    EXPECT_THAT(tree.Check().faults, IsEmpty());
  }
  EXPECT_EQ(tree.Image(), before);
  EXPECT_EQ(tree.Check().entries.size(), 40u);
}

TEST(IndexTest, RefusesWhatItCannotHold) {
  TreeFile tree;
  tree.Insert(LongKey(1), Row(1));
  EXPECT_EQ(CodeOf([&] { tree.Insert(Bytes(511, 0x7F), Row(2)); }), ErrorCode::kKeyTooLong);
  EXPECT_EQ(CodeOf([&] { tree.Insert(LongKey(1), Row(1)); }), ErrorCode::kDamaged);
  EXPECT_FALSE(tree.Erase(LongKey(1), Row(2)));
  EXPECT_EQ(tree.Check().entries.size(), 1u);
}

// Whatever a caller may do with a tree of these entries; leaves it as it is.
void UseTree(TreeFile& tree, const std::vector<Bytes>& entries) {
  Scope scope(tree.pager());
  Index index = tree.index();
  for (Index::Cursor at = index.First(); at.valid();) at.Next();
  for (std::size_t i = 0; i < entries.size(); i += 7) index.LowerBound(entries[i]);
  for (std::uint32_t n = 0; n < 60; ++n) {
    const Bytes key = Padded(n * 37, 100, 0x33);
    index.HasKey(key);
    index.Erase(tree.allocator(), key, Row(n * 37));
    index.Insert(tree.allocator(), Padded(n * 37 + 1, 90, 0x33), Row(n));
  }
}

TEST(IndexTest, NamesDamage) {
  TreeFile tree;
  for (std::uint32_t n = 0; n < 2400; ++n) {
    Bytes key = Padded(n, 100, 0x33);
    key[1 + n % 3] = 0x44;  // little in common: no prefixes
    tree.Insert(key, Row(n));
  }
  const TreeReport report = tree.Check();
  ASSERT_EQ(report.height, 3u);
  const PageNumber root = tree.root(), node = report.first_node_child, leaf = report.a_leaf;
  const auto number = [](std::uint32_t n) {
    Bytes bytes;
    AddU32(bytes, n);
    return bytes;
  };
  const std::size_t entry = 102 + 4;  // in the root: where the first child stands
  const struct {
    const char* what;
    PageNumber page;
    std::size_t at;
    Bytes bytes;
  } kCases[] = {
      {"a node's type", root, 0, {1, 1}},
      {"a leaf's type", leaf, 0, {1, 1}},
      {"another owner", node, 4, number(99)},
      {"a leaf that follows itself", leaf, 0x10, number(leaf.value)},
      {"a leaf followed by a node", leaf, 0x10, number(root.value)},
      {"a leaf followed by a page outside the file", leaf, 0x10, number(0x00123456)},
      {"a child outside the file", root, 0x1E0 + entry, {0x00, 0xFF, 0xFF, 0xFF}},
      {"a child that is the node itself",
       root,
       0x1E0 + entry,
       {0, 0, 0, static_cast<std::uint8_t>(root.value)}},
      {"a child that is the node above", node, 0x14, number(root.value)},
      {"no tail", root, 0x14, number(0)},
      {"a mask beyond the entries", leaf, 0x1DF, {0x80}},
      {"an entry that ends at its start", leaf, 0x1B, {0x01}},
      {"entries too short", leaf, 0x1B, {0x06}},
      {"a prefix longer than the first entry", leaf, 0x18, {0xFF, 0x00}},
  };
  for (const auto& c : kCases) {
    SCOPED_TRACE(c.what);
    Scope scope(tree.pager());
    PutBytes(tree.pager().Edit(c.page), c.at, c.bytes);
    EXPECT_EQ(CodeOf([&] { UseTree(tree, report.entries); }), ErrorCode::kDamaged);
  }
  UseTree(tree, report.entries);
}

TEST(IndexTest, SurvivesRandomDamage) {
  TreeFile tree;
  for (std::uint32_t n = 0; n < 1500; ++n) tree.Insert(Padded(n, 100, 0x33), Row(n));
  const TreeReport report = tree.Check();
  const auto pages = PagesOf(UsageMap(tree.pager(), tree.def().real_indexes[0].page_map));
  std::mt19937 random(4711);
  int refused = 0;
  for (int round = 0; round < 400; ++round) {
    Scope scope(tree.pager());
    for (unsigned i = 0; i <= round % 4u; ++i) {
      const PageNumber page{pages[random() % pages.size()]};
      const std::size_t at = random() % (random() % 3 == 0 ? kPageSize : 0x40);
      tree.pager().Edit(page)[at] = static_cast<std::uint8_t>(random());
    }
    try {
      UseTree(tree, report.entries);
    } catch (const Error&) {
      ++refused;
    }
  }
  EXPECT_GT(refused, 50);
  UseTree(tree, report.entries);
}

}  // namespace
}  // namespace jet
