// Every key of every index of real files, built again from its row.
#include <gmock/gmock.h>

#include "jet/database.h"
#include "jet/error.h"
#include "jet/index_key.h"
#include "tests/support/temp_db.h"

namespace jet {
namespace {

using ::testing::ElementsAre;

struct Tally {
  int text_entries = 0;
  int other_entries = 0;
  std::vector<std::string> refused;
};

bool HasText(const TableDef& def, const RealIndex& index) {
  for (const IndexColumn& part : index.columns) {
    if (IsText(def.columns.at(def.FindColumn(part.column).value()).type)) return true;
  }
  return false;
}

void CompareKeys(const Table& table, std::size_t real, const std::string& place, Tally& tally) {
  const TableDef& def = table.def();
  int& entries = HasText(def, def.real_indexes[real]) ? tally.text_entries : tally.other_entries;
  for (Index::Cursor at = table.OpenIndex(real).First(); at.valid(); at.Next()) {
    ++entries;
    Table::Row row;
    ASSERT_TRUE(table.Read(at.row(), row)) << place;
    try {
      Value value;
      IndexKey key =
          BuildKey(def, def.real_indexes[real],
                   [&](std::size_t ordinal) -> const Value& { return value = row.Get(ordinal); });
      EXPECT_THAT(key.bytes, testing::ElementsAreArray(at.key())) << place;
    } catch (const Error& error) {
      tally.refused.push_back(place + ": " + error.detail());
    }
  }
}

TEST(StoredKeys, AreRebuiltFromTheirRows) {
  SKIP_WITHOUT_SAMPLES();
  std::unique_ptr<FileSystem> files = MakeSystemFiles();
  Tally all;
  for (const std::string& name : test_support::SampleNames()) {
    OpenOptions options;
    if (name.starts_with("password")) options.password = "ucanaccess";
    auto db = Database::Open(*files, test_support::SamplePath(name), options);
    Tally tally;
    for (const ObjectInfo& object : db->Objects()) {
      if (object.kind != ObjectKind::kTable && object.kind != ObjectKind::kSystemTable) continue;
      std::shared_ptr<Table> table = db->OpenTable(object);
      for (std::size_t i = 0; i < table->def().real_indexes.size(); ++i) {
        CompareKeys(*table, i, name + ", " + object.name + ", tree " + std::to_string(i), tally);
      }
    }
    EXPECT_GE(tally.text_entries, 8) << name << ": every file has its names in an index";
    all.text_entries += tally.text_entries;
    all.other_entries += tally.other_entries;
    all.refused.insert(all.refused.end(), tally.refused.begin(), tally.refused.end());
  }
  RecordProperty("text_entries", all.text_entries);
  RecordProperty("other_entries", all.other_entries);
  EXPECT_GT(all.other_entries, 0);
  // One text was indexed by a library that counts places in another way.
  EXPECT_THAT(all.refused, ElementsAre(testing::AllOf(testing::StartsWith("testUnicodeCompV2003"),
                                                      testing::HasSubstr("U+00C6"))));
}

}  // namespace
}  // namespace jet
