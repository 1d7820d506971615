#include "jet/recover/recover.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <map>

#include "jet/base/bytes.h"
#include "jet/base/text.h"
#include "jet/row/long_value.h"
#include "jet/table/internals.h"
#include "tests/support/content.h"
#include "tests/support/jet_fixture.h"

namespace jet {
namespace {

using enum ColumnType;
using namespace test_support;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using Source = RecoverReport::Source;

constexpr char kJobs[] = "物件";

class RecoverTest : public EngineTest {
 protected:
  // 300 rows with memos of every kind, and a table without rows.
  void Fill(Database& database) {
    const auto jobs =
        database.CreateTable({kJobs,
                              {{.name = "ID", .auto_number = true},
                               {.name = "名称", .type = kText, .max_size = 50},
                               {.name = "備考", .type = kMemo, .required = true}},
                              {{.name = "PrimaryKey", .columns = {"ID"}, .primary = true},
                               {.name = "名称", .columns = {"名称"}}}});
    for (int i = 0; i < 300; ++i) {
      rows_.push_back(jobs->Insert(std::vector<Value>{Null{}, "ダクト" + std::to_string(i % 150),
                                                      std::string(i == 7        ? 9000
                                                                  : i % 10 == 0 ? 300
                                                                                : 3,
                                                                  'm')}));
    }
    for (int i = 20; i < 24; ++i) Set(*jobs, rows_[i], 1, std::string(50, 'w'));
    database.CreateTable(
        {.name = "空", .columns = {{.name = "A", .type = kDouble}}, .indexes = {}});
    database.CreateQuery("一覧",
                         {{{.attribute = QueryRow::kStart, .flag = 1},
                           {.attribute = QueryRow::kEnd},
                           {.attribute = QueryRow::kSource, .name1 = kJobs},
                           {.attribute = QueryRow::kOutput, .flag = 0, .expression = "物件.*"}}},
                         "SELECT 物件.* FROM 物件");
  }
  void MakeFilled() {
    Fill(Create());
    jobs_page_ = {static_cast<std::uint32_t>(database_->Find(kJobs)->id)};
    jobs_def_ = DefOf(*database_->OpenTable(kJobs));
    empty_def_ = DefOf(*database_->OpenTable("空"));
    content_ = ContentOf(*database_);
    database_->Commit();
    database_.reset();
  }
  void Damage(PageNumber page, std::size_t at, std::size_t count, char byte = 0) {
    std::string bytes = ReadFileBytes(path_);
    bytes.replace(page.value * kPageSize + at, count, count, byte);
    WriteFileBytes(path_, bytes);
  }
  void DamagePagesOf(std::uint32_t owner) {
    const std::string bytes = ReadFileBytes(path_);
    for (std::size_t at = kPageSize; at < bytes.size(); at += kPageSize) {
      const Bytes head(bytes.begin() + static_cast<std::ptrdiff_t>(at),
                       bytes.begin() + static_cast<std::ptrdiff_t>(at + 8));
      if (GetU16(head, 0) == 0x0101 && GetU32(head, 4) == owner) {
        Damage({static_cast<std::uint32_t>(at / kPageSize)}, 0, kPageSize);
      }
    }
  }
  RecoverReport Recover(RecoverOptions options = {}) {
    const std::string before = ReadFileBytes(path_);
    saved_.reset();
    std::filesystem::remove(PathOf(new_path_));
    RecoverReport report = RecoverFile(*files_, path_, new_path_, options);
    EXPECT_EQ(ReadFileBytes(path_), before);
    ExpectSoundByOurs(new_path_, true);
    saved_ = Database::Open(*files_, new_path_, {.password = options.password});
    return report;
  }
  const RecoverReport::Table& TableIn(const RecoverReport& report, std::string_view name) {
    const auto found = std::ranges::find(report.tables, name, &RecoverReport::Table::name);
    EXPECT_NE(found, report.tables.end()) << name;
    return *found;
  }
  std::size_t RowsIn(std::string_view table) { return saved_->OpenTable(table)->row_count(); }

  std::string new_path_ = folder_.File("new.mdb"), content_;
  std::vector<RowId> rows_;
  PageNumber jobs_page_;
  TableDef jobs_def_, empty_def_;
  std::unique_ptr<Database> saved_;
};

TEST_F(RecoverTest, ASoundFileComesOutWhole) {
  MakeFilled();
  const RecoverReport report = Recover();
  EXPECT_TRUE(report.complete());
  EXPECT_THAT(report.pages, IsEmpty());
  EXPECT_EQ(ContentOf(*saved_), content_);
  EXPECT_EQ(TableIn(report, kJobs).whole, 300u);
  saved_.reset();
  ExpectSound(new_path_, true);
  saved_ = Database::Open(*files_, new_path_, {.mode = OpenMode::kExclusive});
  const auto jobs = saved_->OpenTable(kJobs);  // numbers go on, the rule still holds
  EXPECT_EQ(Get(*jobs, jobs->Insert(std::vector<Value>{Null{}, "x", "m"}), 0), Value(301));
  EXPECT_EQ(CodeOf([&] {
              jobs->Insert(std::vector<Value>{Null{}, "x", Null{}});
            }),
            ErrorCode::kRequired);
}

// Names and numbers, those of relationships too.
std::map<std::string, std::uint32_t> IndexesOf(const Table& table) {
  std::map<std::string, std::uint32_t> indexes;
  for (const LogicalIndex& index : DefOf(table).logical_indexes) {
    indexes[index.name] = index.number;
  }
  return indexes;
}

TEST_F(RecoverTest, RealFilesComeOutAsTheyAre) {
  SKIP_WITHOUT_SAMPLES();
  std::size_t whole = 0;
  for (const std::string& name : SampleNames()) {
    SCOPED_TRACE(name);
    path_ = CopySample(folder_, name);
    const RecoverReport report = Recover({.password = "ucanaccess"});
    // All but indexes of texts that have no proven key.
    if (!report.complete()) continue;
    ++whole;
    const auto old = Database::Open(*files_, path_, {.password = "ucanaccess"});
    ForEachTable(*old, [&](const Table& table) {
      if (table.name().starts_with("MSys")) return;
      const auto copy = saved_->OpenTable(table.name());
      EXPECT_EQ(RowsOf(*copy), RowsOf(table)) << table.name();
      EXPECT_EQ(IndexesOf(*copy), IndexesOf(table)) << table.name();
    });
  }
  EXPECT_GE(whole + 2, SampleNames().size());
}

// Whatever leads to the pages is lost, one thing after the other.
TEST_F(RecoverTest, RowsAreFoundWithoutWhatLeadsToThem) {
  struct Case {
    const char* name;
    std::function<void()> damage;
    bool named;
  };
  const Case cases[] = {
      {"the first page", [&] { Damage({0}, 0, kPageSize); }, true},
      {"all maps", [&] { DamagePagesOf(0), DamagePagesOf(1); }, true},
      {"the definition of the catalog", [&] { Damage({2}, 8, 600, '\x07'); }, true},
      {"the rows of the catalog", [&] { DamagePagesOf(2); }, false},
      {"all of these", [&] { Damage({0}, 0, 4 * kPageSize), DamagePagesOf(0), DamagePagesOf(2); },
       false},
  };
  for (const Case& each : cases) {
    SCOPED_TRACE(each.name);
    rows_.clear();
    MakeFilled();
    each.damage();
    const RecoverReport report = Recover();
    const std::string name = each.named ? kJobs : "復旧_" + std::to_string(jobs_page_.value);
    const RecoverReport::Table& table = TableIn(report, name);
    EXPECT_EQ(table.whole, 300u);
    EXPECT_EQ(table.lost + table.partly + table.beside, 0u);
    EXPECT_EQ(table.named, each.named ? Source::kFile : Source::kNone);
    const auto jobs = saved_->OpenTable(name);
    EXPECT_EQ(Get(*jobs, *jobs->Last(), 1), Value("ダクト149"));
    EXPECT_EQ(DefOf(*jobs).logical_indexes.size(), 2u);
  }
  saved_.reset();
  ExpectSound(new_path_, true);
}

TEST_F(RecoverTest, WhatALostMemoAndABrokenRowTakeAlongIsCounted) {
  MakeFilled();
  Open();
  const auto jobs = database_->OpenTable(kJobs);
  Table::Row row;
  ASSERT_TRUE(jobs->Read(rows_[7], row));  // the one on a chain
  const PageNumber memo = ParseLongValue(*ViewOf(row).Raw(DefOf(*jobs).columns[2])).at.page;
  const RowId broken = rows_[250];
  row = {};
  database_.reset();
  Damage(memo, 0, kPageSize);
  std::string bytes = ReadFileBytes(path_);
  const std::size_t slot = broken.page.value * kPageSize + 14 + 2 * std::size_t{broken.row};
  const std::size_t start = static_cast<std::uint8_t>(bytes[slot]) +
                            256 * (static_cast<std::uint8_t>(bytes[slot + 1]) & 0x1F);
  Damage(broken.page, start, 6, '\xEE');
  const RecoverReport report = Recover();
  const RecoverReport::Table& table = TableIn(report, kJobs);
  EXPECT_EQ(table.whole, 298u);
  EXPECT_EQ(table.partly, 1u);
  EXPECT_EQ(table.lost, 1u);
  EXPECT_EQ(table.beside, 1u);  // its memo is required
  EXPECT_THAT(table.flawed_pages, ElementsAre(broken.page));
  EXPECT_GT(table.doubtful, 0u);
  EXPECT_EQ(RowsIn(kJobs), 298u);
  EXPECT_EQ(RowsOf(*saved_->OpenTable("物件_不足")),
            (std::vector<std::vector<Value>>{{8, "ダクト7", Null{}}}));
}

// Fuzzing, target recover: seed 988107758, input 1533.
TEST_F(RecoverTest, CountsOfColumnsThatNoTableReachesLoseNoRow) {
  MakeFilled();
  const std::string sound = ReadFileBytes(path_);
  for (const std::size_t count : {0x29, 0x2B}) {  // columns ever, variable ones ever
    WriteFileBytes(path_, sound);
    Damage(jobs_page_, count, 2, '\xD6');
    const RecoverReport report = Recover();
    EXPECT_EQ(TableIn(report, kJobs).whole, 300u) << count;
    EXPECT_EQ(RowsIn(kJobs), 300u) << count;
  }
}

// Fuzzing, target recover_real: seed 31137, input 658.
TEST_F(RecoverTest, HalfOfASurrogatePairInANameLosesNoRow) {
  MakeFilled();
  const Bytes name = EncodePlain(ToUtf16(jobs_def_.columns[1].name));
  const std::string bytes = ReadFileBytes(path_);
  const std::size_t page = jobs_page_.value * kPageSize;
  const std::size_t at = bytes.find(std::string(name.begin(), name.end()), page);
  ASSERT_LT(at, page + kPageSize);
  Damage(jobs_page_, at - page, 1, '\xD8');
  Damage(jobs_page_, at - page + 1, 1, '\xD8');
  EXPECT_EQ(TableIn(Recover(), kJobs).whole, 300u);
  EXPECT_THAT(saved_->OpenTable(kJobs)->columns()[1].name, testing::StartsWith("\xEF\xBF\xBD"));
}

TEST_F(RecoverTest, AKeyThatStandsTwiceGoesBeside) {
  MakeFilled();
  // The first page of rows once more, over the last one.
  std::string bytes = ReadFileBytes(path_);
  const std::string page = bytes.substr(rows_[0].page.value * kPageSize, kPageSize);
  bytes.replace(rows_[299].page.value * kPageSize, kPageSize, page);
  WriteFileBytes(path_, bytes);
  const RecoverReport report = Recover();
  const RecoverReport::Table& table = TableIn(report, kJobs);
  EXPECT_FALSE(table.complete());
  EXPECT_EQ(table.beside, RowsIn("物件_重複"));
  EXPECT_EQ(table.whole + table.partly, RowsIn(kJobs) + table.beside);
  EXPECT_GT(table.beside, 0u);
}

TEST_F(RecoverTest, RowsWithoutADefinitionKeepTheirBytesAndTexts) {
  MakeFilled();
  Damage(jobs_page_, 0, kPageSize);
  const RecoverReport report = Recover();
  const std::string name = "復旧_" + std::to_string(jobs_page_.value);
  EXPECT_EQ(TableIn(report, name).partly, 300u);
  EXPECT_THAT(TableIn(report, name).losses, Contains(HasSubstr(kJobs)));
  const auto raw = saved_->OpenTable(name);
  Table::Row row;
  ASSERT_TRUE(raw->Read(*raw->Last(), row));
  std::string texts;
  EXPECT_TRUE(row.GetText(3, texts));
  EXPECT_EQ(Get(*raw, *raw->First(), 3), Value("ダクト0"));
}

// A table of the same rows is known by two names, or by one.
TEST_F(RecoverTest, ALostDefinitionIsTakenFromWhatIsKnownIfOneFits) {
  MakeFilled();
  const auto known = [&](const std::vector<std::string>& names) {
    KnownDatabase database{"1", {{"空", empty_def_, {}}}};
    for (const std::string& name : names) database.tables.push_back({name, jobs_def_, {}});
    return [database] { return std::vector{database}; };
  };
  Damage(jobs_page_, 0, kPageSize);
  RecoverReport report = Recover({.known = known({kJobs, "別"})});
  EXPECT_EQ(TableIn(report, kJobs).definition, Source::kKnown);  // the catalog has its name
  EXPECT_EQ(TableIn(report, kJobs).named, Source::kFile);
  EXPECT_EQ(RowsIn(kJobs), 300u);
  EXPECT_THAT(DefOf(*saved_->OpenTable(kJobs)).logical_indexes, SizeIs(2));
  DamagePagesOf(2);
  report = Recover({.known = known({kJobs, "別"})});
  const std::string unnamed = "復旧_" + std::to_string(jobs_page_.value);
  EXPECT_EQ(TableIn(report, unnamed).definition, Source::kNone);
  EXPECT_EQ(TableIn(report, "空").named, Source::kKnown);
  report = Recover({.known = known({kJobs})});
  EXPECT_EQ(TableIn(report, kJobs).named, Source::kKnown);
  EXPECT_EQ(RowsIn(kJobs), 300u);
}

TEST_F(RecoverTest, NothingIsLeftBehindWhereNothingIsKept) {
  MakeFilled();
  const auto code = [&](const RecoverOptions& options) {
    return CodeOf([&] { RecoverFile(*files_, path_, new_path_, options); });
  };
  EXPECT_EQ(code({.dry_run = true}), std::nullopt);
  Open().SetPassword("鍵");
  database_->Commit();
  database_.reset();
  EXPECT_EQ(code({.password = "x"}), ErrorCode::kWrongPassword);
  std::string bytes = ReadFileBytes(path_);
  WriteFileBytes(path_, bytes.replace(4, 15, "Standard ACE DB"));
  EXPECT_EQ(code({}), ErrorCode::kNotJet4);
  WriteFileBytes(path_, std::string(5 * kPageSize, 'z'));
  EXPECT_EQ(code({}), ErrorCode::kDamaged);
  EXPECT_FALSE(files_->Exists(new_path_));
  EXPECT_FALSE(files_->Exists(new_path_ + ".new"));
}

}  // namespace
}  // namespace jet
