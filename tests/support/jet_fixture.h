// What tests of the engine share: a database in a file of its own, walks over real
// files, and short ways to rows, fields and the pages of maps.
#pragma once

#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "jet/database/internals.h"
#include "jet/pages/slotted_page.h"
#include "jet/pages/usage_map.h"
#include "tests/support/temp_db.h"

namespace test_support {

// When everything is made, unless a test says otherwise.
inline const jet::DateTime kMoment = jet::ToDateTime({2011, 3, 14, 9, 26, 53});

class EngineTest : public ::testing::Test {
 protected:
  jet::Database& Create(jet::CreateOptions options = {}) {
    database_.reset();
    if (!options.clock) options.clock = [] { return kMoment; };
    database_ = jet::Database::Create(*files_, path_, options);
    return *database_;
  }
  jet::Database& Open(jet::OpenMode mode = jet::OpenMode::kExclusive, std::string password = {}) {
    database_.reset();
    database_ = jet::Database::Open(
        *files_, path_,
        {.mode = mode, .password = std::move(password), .clock = [] { return kMoment; }});
    return *database_;
  }
  // The path of a copy, for those who cannot have the file while it is open.
  std::string Copy() const {
    WriteFileBytes(folder_.File("copy.mdb"), ReadFileBytes(path_));
    return folder_.File("copy.mdb");
  }
  jet::Pager& pager() { return jet::Internals(*database_).pager(); }
  jet::PageAllocator& allocator() { return jet::Internals(*database_).allocator(); }
  void ExpectSoundAfterCommit() {
    database_->Commit();
    ExpectSound(path_, true);
  }

  TempFolder folder_;
  std::string path_ = folder_.File("Data.mdb");
  std::unique_ptr<jet::FileSystem> files_ = jet::MakeSystemFiles();
  std::unique_ptr<jet::Database> database_;
};

// `use` gets every real file by its name, opened to read.
template <class Use>
void ForEachSample(const Use& use) {
  const auto files = jet::MakeSystemFiles();
  for (const std::string& name : SampleNames()) {
    SCOPED_TRACE(name);
    // The password of the one that has any.
    use(name, *jet::Database::Open(*files, SamplePath(name), {.password = "ucanaccess"}));
  }
}

// `use` gets every table that has rows in this file, those of the system included.
template <class Use>
void ForEachTable(jet::Database& database, const Use& use) {
  for (const jet::ObjectInfo& object : database.Objects()) {
    if (object.kind != jet::ObjectKind::kTable && object.kind != jet::ObjectKind::kSystemTable) {
      continue;
    }
    SCOPED_TRACE(object.name);
    use(*database.OpenTable(object));
  }
}

inline std::vector<jet::RowId> RowIds(const jet::Table& table) {
  std::vector<jet::RowId> ids;
  for (jet::TableScan scan(table); scan.Next();) ids.push_back(scan.row().id());
  return ids;
}

inline std::vector<std::vector<jet::Value>> RowsOf(const jet::Table& table) {
  std::vector<std::vector<jet::Value>> rows;
  for (jet::TableScan scan(table); scan.Next();) {
    rows.emplace_back();
    for (std::size_t i = 0; i < table.columns().size(); ++i) {
      rows.back().push_back(scan.row().Get(i));
    }
  }
  return rows;
}

inline std::vector<jet::Value> FieldsOf(const jet::Table& table, std::string_view column) {
  std::vector<jet::Value> fields;
  for (jet::TableScan scan(table); scan.Next();) {
    fields.push_back(scan.row().Get(table.OrdinalOf(column)));
  }
  return fields;
}

inline jet::Value Get(const jet::Table& table, jet::RowId id, std::size_t ordinal) {
  jet::Table::Row row;
  EXPECT_TRUE(table.Read(id, row));
  return row.Get(ordinal);
}

inline void Set(jet::Table& table, jet::RowId id, std::size_t ordinal, jet::Value value) {
  const jet::FieldChange change{ordinal, std::move(value)};
  table.Update(id, {&change, 1});
}

// The first row that an index finds by the value of a column.
inline std::optional<jet::RowId> FindBy(const jet::Table& table, std::size_t ordinal,
                                        const jet::Value& value) {
  auto seek = table.SeekBy({ordinal});
  seek.value().Begin({&value, 1});
  return seek->Next();
}

// The bytes of a row on its page.
inline std::span<std::uint8_t> EditRow(jet::Pager& pager, jet::RowId id) {
  const jet::PageSpan page = pager.Edit(id.page);
  const jet::ByteView row = jet::FindRow(id.page, page, id.row)->bytes;
  return std::span(page).subspan(static_cast<std::size_t>(row.data() - page.data()), row.size());
}

inline jet::Bytes RowBytes(jet::Pager& pager, jet::RowId id) {
  const jet::PageRef page = pager.Read(id.page);
  const jet::ByteView row = jet::FindRow(id.page, page.bytes(), id.row)->bytes;
  return {row.begin(), row.end()};
}

// What a map marks, ascending.
inline std::vector<std::uint32_t> PagesOf(const jet::UsageMap& map) {
  std::vector<std::uint32_t> pages;
  for (auto page = map.FirstFrom({}); page; page = map.FirstFrom({page->value + 1})) {
    pages.push_back(page->value);
  }
  return pages;
}

}  // namespace test_support
