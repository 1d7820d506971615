// Databases written anew: what they say stays, and their pages are as full as they can be.
#include "jet/compact/compact.h"

#include <gmock/gmock.h>

#include <map>

#include "jet/check/check.h"
#include "jet/index/index_page.h"
#include "jet/table/internals.h"
#include "tests/support/fault_file.h"
#include "tests/support/jet_fixture.h"
#include "tests/support/map_check.h"

namespace {

using namespace test_support;
using jet::ColumnType;
using jet::Value;
using ::testing::HasSubstr;

// The columns that hold ids of objects, which are pages for tables.
const std::map<std::string, std::vector<std::string>> kIds = {
    {"MSysObjects", {"Id", "ParentId"}}, {"MSysACEs", {"ObjectId"}},
    {"MSysQueries", {"ObjectId"}},       {"MSysNavPaneObjectIDs", {"Id"}},
    {"MSysNavPaneGroups", {"ObjectID"}}, {"MSysNavPaneGroupToObjects", {"ObjectID"}},
};

// What a table is and holds, with the names of objects in the place of their ids.
struct TableImage {
  std::string definition;
  std::vector<std::vector<Value>> rows;
  bool operator==(const TableImage&) const = default;
};

class Described {
 public:
  explicit Described(jet::Database& database) {
    for (const jet::ObjectInfo& object : database.Objects()) names_[object.id] = object.name;
    ForEachTable(database, [&](const jet::Table& table) { Add(table); });
  }
  std::map<std::string, TableImage> tables;

 private:
  std::string NameOf(std::int32_t id) const {
    const auto found = names_.find(id);
    if (found != names_.end()) return found->second;
    return id > 0 && id < 0x0F00'0000 ? "lost" : std::to_string(id);
  }
  void Add(const jet::Table& table) {
    const jet::TableDef& def = DefOf(table);
    TableImage& image = tables[table.name()];
    std::string& text = image.definition;
    const auto add = [&](auto... parts) { ((text += parts + std::string(" ")), ...); };
    const auto number = [](auto value) { return std::to_string(value); };
    add(number(def.last_autonumber), number(def.next_column_id), number(def.next_variable_slot));
    for (const jet::ColumnDef& column : def.columns) {
      add(column.name, jet::TypeName(column.type), number(column.id.value),
          number(column.variable_slot), number(column.position), number(column.flags),
          number(column.fixed_offset), number(column.length));
    }
    for (const jet::LogicalIndex& index : def.logical_indexes) {
      add(index.name, number(index.number), number(index.real), number(index.related_index),
          NameOf(static_cast<std::int32_t>(index.related_table)), number(index.kind));
    }
    image.rows = RowsOf(table);
    const auto ids = kIds.find(table.name());
    if (ids == kIds.end()) return;
    for (const std::string& column : ids->second) {
      const std::size_t i = table.OrdinalOf(column);
      for (std::vector<Value>& row : image.rows) {
        if (const auto* id = std::get_if<std::int32_t>(&row[i])) row[i] = NameOf(*id);
      }
    }
  }
  std::map<std::int32_t, std::string> names_;
};

class CompactTest : public EngineTest {
 protected:
  // The password of the only file that has any.
  static constexpr char kPassword[] = "ucanaccess";

  // Written anew twice: the second time changes nothing. The path of the first.
  std::string Compact(const std::string& path) {
    const std::string once = folder_.File("once.mdb"), twice = folder_.File("twice.mdb");
    for (const std::string& old : {once, twice}) {
      if (files_->Exists(old)) files_->Remove(old);
    }
    const jet::CompactOptions options{.password = kPassword, .limits = limits_};
    result_ = jet::CompactFile(*files_, path, once, options);
    jet::CompactFile(*files_, once, twice, options);
    EXPECT_TRUE(ReadFileBytes(once) == ReadFileBytes(twice)) << "the second time changes something";
    return once;
  }
  std::unique_ptr<jet::Database> OpenAt(const std::string& path) {
    return jet::Internals::Open(*files_, path, {.password = kPassword}, limits_);
  }
  void ExpectSame(const std::string& a, const std::string& b) {
    const Described before(*OpenAt(a)), after(*OpenAt(b));
    ASSERT_EQ(before.tables.size(), after.tables.size());
    for (const auto& [name, image] : before.tables) {
      SCOPED_TRACE(name);
      const TableImage& other = after.tables.at(name);
      EXPECT_EQ(image.definition, other.definition);
      EXPECT_TRUE(image.rows == other.rows);
    }
  }

  jet::PagerLimits limits_{.clean_bytes = 1 << 20};
  jet::CompactResult result_;
};

TEST_F(CompactTest, RealFilesSayTheSameAfterwards) {
  SKIP_WITHOUT_SAMPLES();
  std::vector<std::string> written;
  for (const std::string& name : SampleNames()) {
    SCOPED_TRACE(name);
    const std::string once = Compact(SamplePath(name));
    ExpectSame(SamplePath(name), once);
    EXPECT_LE(result_.bytes_after, result_.bytes_before);
    written.push_back(folder_.File(std::to_string(written.size())));
    files_->Rename(once, written.back());
  }
  const auto finds = VerifierFinds(written, false);
  if (!finds) GTEST_SKIP() << "no verifier to ask besides";
  for (const std::string& said : *finds) EXPECT_EQ(said, "");
}

// The engine of the format wrote both in one go.
TEST_F(CompactTest, FilesThatNobodyChangedSinceTheyWereCompactedStayByteForByte) {
  SKIP_WITHOUT_SAMPLES();
  for (const char* name : {"adox_jet4.mdb", "emptyJet4.mdb"}) {
    EXPECT_TRUE(ReadFileBytes(Compact(SamplePath(name))) == ReadFileBytes(SamplePath(name)))
        << name;
  }
}

// Rows that moved, gaps, chains, trees of three levels, a definition on several pages.
TEST_F(CompactTest, WhatManyChangesLeftBehindIsGone) {
  Create();
  jet::TableSpec wide{.name = "広い"};
  for (int i = 0; i < 60; ++i) {
    wide.columns.push_back({.name = "列" + std::to_string(i), .type = ColumnType::kMemo});
  }
  const auto memos = database_->CreateTable(wide);
  std::vector<Value> row(60, jet::Null{});
  row[3] = std::string(9000, 'c');
  row[59] = std::string(900, 's');
  for (int i = 0; i < 110; ++i) memos->Insert(row);
  const auto keys = database_->CreateTable(
      {.name = "鍵",
       .columns = {{.name = "ID", .auto_number = true},
                   {.name = "名", .type = ColumnType::kText, .max_size = 200}},
       .indexes = {{.name = "PrimaryKey", .columns = {"ID"}, .primary = true},
                   {.name = "名", .columns = {"名"}, .descending = {true}}}});
  std::vector<jet::RowId> ids;
  for (int i = 0; i < 2000; ++i) {
    const std::string name =
        std::to_string(i * 7919 % 2000) + std::string(i % 3 == 0 ? 1 : 120, 'x');
    ids.push_back(keys->Insert(std::vector<Value>{jet::Null{}, name}));
  }
  for (std::size_t i = 0; i < ids.size(); ++i) {
    if (i % 4 == 1) keys->Delete(ids[i]);
    if (i % 4 == 2) Set(*keys, ids[i], 1, std::to_string(i) + std::string(190, 'y'));
  }
  database_->Commit();
  database_.reset();
  const std::string once = Compact(path_);
  ExpectSame(path_, once);
  ExpectSound(once);
  EXPECT_LT(result_.bytes_after, result_.bytes_before);
  const MapFile maps = ReadMaps(ReadFileBytes(once));
  EXPECT_TRUE(maps.faults.empty());
  EXPECT_TRUE(std::ranges::any_of(maps.maps, [](const auto& map) { return map.second.list; }));
  const auto after = OpenAt(once);
  jet::Pager& pager = jet::Internals(*after).pager();
  const auto table = after->OpenTable("鍵");
  const jet::RealIndex& names = DefOf(*table).real_indexes[1];
  EXPECT_EQ(names.rows_at_compact, 1500u);
  const jet::PageRef root = pager.Read(names.root);
  EXPECT_EQ(jet::IndexPage(names.root, root.bytes(), DefOf(*table).page).level(), 2);
  EXPECT_EQ(PagesOf(jet::UsageMap(pager, DefOf(*table).free_map)),
            std::vector{table->Last()->page.value});
}

TEST_F(CompactTest, TheFreePagesOfALargeFileHaveBitmapsOfTheirOwn) {
  Create().CreateTable({.name = "表", .columns = {{.name = "ID"}}})->Insert(std::vector<Value>{1});
  database_->Commit();
  database_.reset();
  limits_.pages_per_bitmap = 32;  // as if it were too large for one
  const std::string once = Compact(path_);
  ExpectSame(path_, once);
  EXPECT_TRUE(ReadMaps(ReadFileBytes(once)).free_pages.list);
}

TEST_F(CompactTest, ADamagedFileIsRefusedWithWhatIsWrong) {
  Create().CreateTable({.name = "表", .columns = {{.name = "ID"}}})->Insert(std::vector<Value>{1});
  database_->Commit();
  const jet::RowId row = *database_->OpenTable("表")->First();
  database_.reset();
  std::string bytes = ReadFileBytes(path_);
  bytes[row.page.value * jet::kPageSize + 2] ^= 1;  // free bytes
  WriteFileBytes(path_, bytes);
  try {
    jet::CompactInPlace(*files_, path_, {});
    ADD_FAILURE() << "done";
  } catch (const jet::Error& error) {
    EXPECT_EQ(error.code(), jet::ErrorCode::kDamaged);
    EXPECT_EQ(error.page(), row.page);
    EXPECT_THAT(error.what(), HasSubstr("1 problems"));
  }
  EXPECT_EQ(ReadFileBytes(path_), bytes);
  EXPECT_FALSE(files_->Exists(path_ + ".compacting"));
}

TEST_F(CompactTest, OfTwoFilesNeitherIsHarmed) {
  Create();
  ExpectSoundAfterCommit();
  EXPECT_EQ(CodeOf([&] { jet::CompactInPlace(*files_, path_, {}); }), jet::ErrorCode::kInUse);
  database_.reset();
  WriteFileBytes(folder_.File("there"), "mine");
  EXPECT_EQ(CodeOf([&] { jet::CompactFile(*files_, path_, folder_.File("there"), {}); }),
            jet::ErrorCode::kNoPermission);
  EXPECT_EQ(ReadFileBytes(folder_.File("there")), "mine");
}

// In memory, with every operation of the new file refused in turn.
class CompactFaultTest : public ::testing::Test {
 protected:
  static constexpr char kPath[] = "/faults/Data.mdb";
  CompactFaultTest() {
    const auto database = jet::Database::Create(files_, kPath, {.clock = [] { return kMoment; }});
    const auto table = database->CreateTable(
        {.name = "表",
         .columns = {{.name = "ID"}, {.name = "文", .type = ColumnType::kMemo}},
         .indexes = {{.name = "PrimaryKey", .columns = {"ID"}, .primary = true}}});
    for (std::int32_t i = 0; i < 400; ++i) {
      table->Insert(std::vector<Value>{i, std::string(i % 7 == 0 ? 9000 : 300, 'z')});
    }
    for (const jet::RowId id : RowIds(*table)) {
      if (std::get<std::int32_t>(Get(*table, id, 0)) < 200) table->Delete(id);
    }
    database->Commit();
    before_ = files_.bytes(kPath);
  }
  bool Untouched() { return files_.bytes(kPath) == before_; }

  FaultFiles files_;
  std::string before_;
};

TEST_F(CompactFaultTest, ACompactionInPlaceHappensWholeOrNotAtAll) {
  files_.ClearFault();
  jet::CompactInPlace(files_, kPath, {});
  // The name changes only when all is on the disk.
  const std::uint64_t operations = files_.operations();
  ASSERT_GT(operations, 3u);
  EXPECT_EQ(files_.log().back().kind, FileOperation::Kind::kSync);
  const std::string after = files_.bytes(kPath);
  ASSERT_LT(after.size(), before_.size());
  for (std::uint64_t at = 1; at <= operations; ++at) {
    for (const auto kind : {Fault::Kind::kFail, Fault::Kind::kFull, Fault::Kind::kStop}) {
      SCOPED_TRACE(std::to_string(at) + " kind " + std::to_string(static_cast<int>(kind)));
      files_.bytes(kPath) = before_;
      files_.SetFault({.kind = kind, .at = at, .sectors = 3});
      try {
        jet::CompactInPlace(files_, kPath, {});
        // A full disk still lets what has room be written.
        EXPECT_EQ(kind, Fault::Kind::kFull);
        EXPECT_TRUE(files_.bytes(kPath) == after);
        continue;
      } catch (const jet::Error&) {
        EXPECT_FALSE(files_.Exists(std::string(kPath) + ".compacting"));
      } catch (const Stopped&) {
        EXPECT_EQ(kind, Fault::Kind::kStop);
      }
      EXPECT_TRUE(Untouched());
      files_.ClearFault();
      jet::CompactInPlace(files_, kPath, {});  // over what is left
      EXPECT_TRUE(files_.bytes(kPath) == after);
    }
  }
  std::printf("%llu operations\n", static_cast<unsigned long long>(operations));
}

TEST_F(CompactFaultTest, WhereTheNameCannotChangeTheOldFileStays) {
  class NoRename final : public jet::FileSystem {
   public:
    explicit NoRename(FaultFiles& files) : files_(files) {}
    std::unique_ptr<jet::File> Open(const std::string& path, jet::OpenMode mode) override {
      return files_.Open(path, mode);
    }
    std::unique_ptr<jet::File> Create(const std::string& path) override {
      return files_.Create(path);
    }
    void Rename(const std::string& /*from*/, const std::string& to) override {
      throw jet::Error(jet::ErrorCode::kNoPermission).In(to);
    }
    void Remove(const std::string& path) override { files_.Remove(path); }
    bool Exists(const std::string& path) override { return files_.Exists(path); }
    std::optional<jet::FileId> Identify(const std::string& path) override {
      return files_.Identify(path);
    }

   private:
    FaultFiles& files_;
  };
  NoRename files(files_);
  EXPECT_EQ(CodeOf([&] { jet::CompactInPlace(files, kPath, {}); }), jet::ErrorCode::kNoPermission);
  EXPECT_TRUE(Untouched());
  EXPECT_FALSE(files_.Exists(std::string(kPath) + ".compacting"));
}

// Of a save that was interrupted at any moment, all comes along or nothing.
TEST_F(CompactFaultTest, ASaveThatWasInterruptedIsFinishedOrDropped) {
  const auto compacted = [&](const std::string& bytes) {
    files_.ClearFault();
    files_.bytes(kPath) = bytes;
    jet::CompactInPlace(files_, kPath, {});
    return files_.bytes(kPath);
  };
  auto database = jet::Database::Open(files_, kPath, {.mode = jet::OpenMode::kExclusive});
  files_.ClearFault();
  auto table = database->OpenTable("表");
  for (const jet::RowId id : RowIds(*table)) {
    if (std::get<std::int32_t>(Get(*table, id, 0)) % 50 == 0) table->Delete(id);
  }
  database->Commit();
  const OperationLog log = files_.log();
  table.reset();
  database.reset();
  const std::string saved = files_.bytes(kPath);
  const std::string before = compacted(before_), after = compacted(saved);
  ASSERT_NE(before, after);
  std::size_t dropped = 0, finished = 0;
  for (std::size_t done = 0; done <= log.size(); ++done) {
    SCOPED_TRACE(done);
    const std::string result = compacted(AfterKill(before_, log, done));
    EXPECT_TRUE(result == before || result == after);
    ++(result == before ? dropped : finished);
  }
  EXPECT_GT(dropped, 2u);
  EXPECT_GT(finished, 2u);
}

// What the caller does with the old file before it goes, it does to the file that is
// locked; where that fails, the file stays.
TEST_F(CompactFaultTest, TheCallerIsAskedBeforeTheOldFileGoes) {
  std::string copy;
  jet::CompactOptions options;
  options.before_replacing = [&](jet::File& old) {
    jet::Bytes bytes(static_cast<std::size_t>(old.Size()));
    old.Read(0, bytes);
    copy.assign(bytes.begin(), bytes.end());
    throw jet::Error(jet::ErrorCode::kDiskFull);
  };
  EXPECT_EQ(CodeOf([&] { jet::CompactInPlace(files_, kPath, options); }),
            jet::ErrorCode::kDiskFull);
  EXPECT_TRUE(copy == before_);
  EXPECT_TRUE(Untouched());
  EXPECT_FALSE(files_.Exists(std::string(kPath) + ".compacting"));
}

}  // namespace
