// Every key of every index of real files, built again from its row.
#include <gmock/gmock.h>

#include "jet/base/error.h"
#include "jet/index/index_key.h"
#include "jet/table/internals.h"
#include "tests/support/jet_fixture.h"

namespace jet {
namespace {

using namespace test_support;

bool HasText(const TableDef& def, const RealIndex& index) {
  return std::ranges::any_of(index.columns, [&](const IndexColumn& part) {
    return IsText(def.columns.at(def.FindColumn(part.column).value()).type);
  });
}

TEST(StoredKeys, AreRebuiltFromTheirRows) {
  SKIP_WITHOUT_SAMPLES();
  int of_texts = 0, of_others = 0, of_longs = 0;
  std::vector<std::string> refused;
  const auto compare = [&](const Table& table, const RealIndex& real, Index::Cursor at) {
    int& entries = HasText(DefOf(table), real) ? of_texts : of_others;
    for (; at.valid(); at.Next()) {
      ++entries;
      Table::Row row;
      ASSERT_TRUE(table.Read(at.row(), row));
      try {
        Value value;
        const IndexKey key = BuildKey(DefOf(table), real, [&](std::size_t ordinal) -> const Value& {
          return value = row.Get(ordinal);
        });
        EXPECT_THAT(key.bytes, testing::ElementsAreArray(at.key()));
        const std::optional<LongKeys> longs = LongKeys::For(DefOf(table), real);
        if (!longs) continue;
        ++of_longs;
        IndexKey again;
        longs->Build([&](std::size_t ordinal) { return row.Stored(ordinal); }, again);
        EXPECT_EQ(again.bytes, key.bytes);
        EXPECT_EQ(again.some_null, key.some_null);
        EXPECT_EQ(again.all_null, key.all_null);
      } catch (const Error& error) {
        refused.push_back(error.detail());
      }
    }
  };
  ForEachSample([&](const std::string& name, Database& database) {
    const int before = of_texts;
    const std::size_t refused_before = refused.size();
    ForEachTable(database, [&](const Table& table) {
      for (std::size_t i = 0; i < DefOf(table).real_indexes.size(); ++i) {
        SCOPED_TRACE(i);
        compare(table, DefOf(table).real_indexes[i],
                Internals(database).OpenIndex(table, i).First());
      }
    });
    EXPECT_GE(of_texts - before, 8) << "every file has its names in an index";
    // One text was indexed by a library that counts places in another way.
    EXPECT_EQ(refused.size() - refused_before, name == "testUnicodeCompV2003.mdb" ? 1u : 0) << name;
  });
  EXPECT_GT(of_others, of_longs);
  EXPECT_GT(of_longs, 0);
  EXPECT_THAT(refused, testing::ElementsAre(testing::HasSubstr("U+00C6")));
}

}  // namespace
}  // namespace jet
