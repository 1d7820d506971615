#include "jet/check.h"

#include <gmock/gmock.h>

#include <functional>
#include <set>

#include "jet/bytes.h"
#include "jet/check_rows.h"
#include "jet/error.h"
#include "jet/long_value.h"
#include "jet/row.h"
#include "jet/system_tables.h"
#include "tests/support/temp_db.h"

namespace jet {
namespace {

using test_support::ReadFileBytes;
using test_support::SampleNames;
using test_support::SamplePath;
using test_support::TempFolder;
using test_support::VerifierFinds;
using test_support::WriteFileBytes;

using check::Field;
using check::SeenField;
using Severity = Finding::Severity;

CheckResult CheckPath(const std::string& path) {
  const auto files = MakeSystemFiles();
  return CheckFile(*files, path, {.password = "ucanaccess"});  // of the one that has a password
}

std::string Texts(const CheckResult& result, Severity severity) {
  std::string text;
  for (const Finding& finding : result.findings) {
    if (finding.severity == severity) text += FormatFinding(finding) + "\n";
  }
  return text;
}
std::string Problems(const CheckResult& result) { return Texts(result, Severity::kProblem); }
// "problem beyond-end", in order, each once.
std::vector<std::string> Codes(const CheckResult& result) {
  std::set<std::string> codes;
  for (const Finding& finding : result.findings) {
    codes.insert(std::string(NameOf(finding.severity)) + ' ' + std::string(NameOf(finding.code)));
  }
  return {codes.begin(), codes.end()};
}

TEST(Check, RealFilesAreSoundAndUsual) {
  SKIP_WITHOUT_SAMPLES();
  for (const std::string& name : SampleNames()) {
    const CheckResult result = CheckPath(SamplePath(name));
    EXPECT_EQ(Problems(result), "") << name;
    EXPECT_EQ(Texts(result, Severity::kUnusual), "") << name;
    EXPECT_EQ(result.not_checked == 0, result.unverified_keys == 0) << name;
    EXPECT_GE(result.tables, 4u) << name;
    EXPECT_GE(result.index_entries, 32u) << name;
  }
}

// A database with one of everything: a tree of two levels, moved and deleted
// rows, long values of every kind, a saved query.
void MakeFile(const std::string& path) {
  const auto files = MakeSystemFiles();
  CreateOptions options;
  options.clock = [] { return ToDateTime({2011, 3, 14, 9, 26, 53}); };
  const auto database = Database::Create(*files, path, options);
  TableSpec jobs{
      .name = "物件",
      .columns = {{.name = "ID", .type = ColumnType::kLong, .auto_number = true},
                  {.name = "名称", .type = ColumnType::kText, .max_size = 50},
                  {.name = "番号", .type = ColumnType::kText, .max_size = 20},
                  {.name = "数量", .type = ColumnType::kDouble},
                  {.name = "完了", .type = ColumnType::kBoolean},
                  {.name = "備考", .type = ColumnType::kMemo}},
      .indexes = {{.name = "PrimaryKey", .columns = {"ID"}, .primary = true},
                  {.name = "ByName", .columns = {"名称"}},
                  {.name = "ByNumber", .columns = {"番号"}, .unique = true, .ignore_nulls = true}}};
  const auto table = database->CreateTable(jobs);
  std::vector<RowId> rows;
  for (int i = 0; i < 700; ++i) {
    std::string memo(i % 50 == 0 ? 9000 : i % 9 == 0 ? 300 : i % 5, 'm');
    rows.push_back(table->Insert(
        std::vector<Value>{Null{}, "job " + std::to_string(i * 7919 % 700),
                           i % 3 == 0 ? Value(Null{}) : Value("N" + std::to_string(i)), i / 4.0,
                           i % 2 == 0, i % 4 == 3 ? Value(Null{}) : Value(std::move(memo))}));
  }
  for (int i = 10; i < 40; ++i) {
    const FieldChange longer{1, std::string(45, 'w') + std::to_string(i)};
    table->Update(rows[static_cast<std::size_t>(i)], std::span(&longer, 1));
  }
  for (const std::size_t i : {50, 51, 300}) table->Delete(rows[i]);
  const auto rooms =
      database->CreateTable({.name = "部屋",
                             .columns = {{.name = "ID"}, {.name = "R", .required = true}},
                             .indexes = {}});
  for (int i = 0; i < 3; ++i) rooms->Insert(std::vector<Value>{i, i * i});
  database->CreateQuery("一覧",
                        {{{.attribute = QueryRow::kStart, .flag = 1},
                          {.attribute = QueryRow::kEnd},
                          {.attribute = QueryRow::kSource, .name1 = "物件"},
                          {.attribute = QueryRow::kOutput, .flag = 0, .expression = "物件.*"}}},
                        "");
  database->Commit();
}

// The bytes of the file above, to be damaged, and where its parts lie.
class Image {
 public:
  explicit Image(const std::string& path) {
    const std::string file = ReadFileBytes(path);
    bytes_.assign(file.begin(), file.end());
    files_ = MakeSystemFiles();
    database_ = Database::Open(*files_, path, {});
    jobs_ = database_->OpenTable("物件");
    rooms_ = database_->OpenTable("部屋");
    objects_ = database_->OpenTable("MSysObjects");
    aces_ = database_->OpenTable("MSysACEs");
    queries_ = database_->OpenTable("MSysQueries");
  }
  void Save(const std::string& path) const {
    WriteFileBytes(path, {reinterpret_cast<const char*>(bytes_.data()), bytes_.size()});
  }

  const Table& jobs() const { return *jobs_; }
  const Table& rooms() const { return *rooms_; }
  const Table& objects() const { return *objects_; }
  const Table& aces() const { return *aces_; }
  const Table& queries() const { return *queries_; }

  // Offsets in the file.
  static std::size_t At(PageNumber page, std::size_t offset = 0) {
    return std::size_t{page.value} * kPageSize + offset;
  }
  std::size_t Slot(RowId id) const { return At(id.page, 14 + 2 * std::size_t{id.row}); }
  std::size_t Row(RowId id) const { return At(id.page, U16(Slot(id)) & 0x1FFFU); }

  std::uint8_t U8(std::size_t at) const { return GetU8(bytes_, at); }
  std::uint16_t U16(std::size_t at) const { return GetU16(bytes_, at); }
  std::uint32_t U32(std::size_t at) const { return GetU32(bytes_, at); }
  void Put8(std::size_t at, std::uint8_t value) { PutU8(bytes_, at, value); }
  void Put16(std::size_t at, std::size_t value) { PutU16(bytes_, at, value); }
  void Put32(std::size_t at, std::uint32_t value) { PutU32(bytes_, at, value); }
  void Flip(std::size_t at, std::uint8_t bits = 1) {
    Put8(at, static_cast<std::uint8_t>(U8(at) ^ bits));
  }
  void Add16(std::size_t at, int by) { Put16(at, static_cast<std::uint16_t>(U16(at) + by)); }
  void Swap(std::size_t a, std::size_t b, std::size_t length) {
    std::swap_ranges(bytes_.begin() + static_cast<std::ptrdiff_t>(a),
                     bytes_.begin() + static_cast<std::ptrdiff_t>(a + length),
                     bytes_.begin() + static_cast<std::ptrdiff_t>(b));
  }
  void Resize(std::size_t size) { bytes_.resize(size); }
  std::size_t size() const { return bytes_.size(); }

  // The bit of `page` in an inline map that starts at page 0.
  void FlipInMap(RowId map, PageNumber page) {
    Flip(Row(map) + 5 + page.value / 8, static_cast<std::uint8_t>(1 << page.value % 8));
  }
  // The n-th row that `accept` takes.
  RowId Find(const Table& table, const std::function<bool(const Table::Row&)>& accept) const {
    for (TableScan scan(table); scan.Next();) {
      if (accept(scan.row())) return scan.row().id();
    }
    throw std::logic_error("no such row");
  }
  // Where a field of a row lies that was not moved.
  std::size_t Field(const Table& table, RowId id, std::string_view column) const {
    Table::Row row;
    table.Read(id, row);
    const ByteView raw = *row.view().Raw(table.def().columns[table.OrdinalOf(column)]);
    return Row(id) + static_cast<std::size_t>(raw.data() - row.view().bytes().data());
  }
  RowId Object(std::string_view name) const {
    return Find(*objects_, [&](const Table::Row& row) {
      return row.Get(objects_->OrdinalOf("Name")) == Value(std::string(name));
    });
  }
  RowId MovedJob() const {
    return Find(*jobs_,
                [&](const Table::Row& row) { return (U16(Slot(row.id())) & 0xC000) == 0x4000; });
  }
  // A row whose memo is stored this way.
  RowId JobWith(LongValueKind kind, int skip = 0) const {
    return Find(*jobs_, [&, skip](const Table::Row& row) mutable {
      const auto raw = row.view().Raw(jobs_->def().columns[5]);
      return (U16(Slot(row.id())) & 0xC000) == 0 && raw && ParseLongValue(*raw).kind == kind &&
             skip-- == 0;
    });
  }
  std::size_t Memo(RowId job) const { return Field(*jobs_, job, "備考"); }

  PageNumber Root(std::size_t index) const { return jobs_->def().real_indexes[index].root; }
  PageNumber FirstLeaf(std::size_t index) const {
    PageNumber page = Root(index);
    while (U8(At(page)) == 3) {
      const std::size_t end = At(page, 0x1E0) + Ends(page).front();
      page = PageNumber{U32(end - 4)};
      page.value = (page.value & 0xFF) << 24 | (page.value & 0xFF00) << 8 |
                   (page.value >> 8 & 0xFF00) | page.value >> 24;
    }
    return page;
  }
  // Where the entries of an index page end.
  std::vector<std::size_t> Ends(PageNumber page) const {
    std::vector<std::size_t> ends;
    for (std::size_t bit = 0; bit < 3624; ++bit) {
      if ((U8(At(page, 0x1B + bit / 8)) >> bit % 8 & 1) != 0) ends.push_back(bit);
    }
    return ends;
  }
  void ToggleEnd(PageNumber page, std::size_t end) {
    Flip(At(page, 0x1B + end / 8), static_cast<std::uint8_t>(1 << end % 8));
  }

 private:
  Bytes bytes_;
  std::unique_ptr<FileSystem> files_;
  std::unique_ptr<Database> database_;
  std::shared_ptr<Table> jobs_, rooms_, objects_, aces_, queries_;
};

// Where a damage must be found, and a piece of what is to be said.
using Code = Finding::Code;

struct Expected {
  Code code;
  std::string table;
  std::optional<PageNumber> page;
  std::string text;
};

struct Damage {
  const char* name;
  std::function<Expected(Image&)> make;
  bool verifier_sees_it = true;
};

const std::string kJobs = "物件", kRooms = "部屋", kCatalog = "MSysObjects";

RowId FirstJob(const Image& file) { return *file.jobs().First(); }
PageNumber JobsPage(const Image& file) { return file.jobs().def().page; }

// Maps and owners.
const Damage kPageDamages[] = {
    {"A page fell out of the table's map",
     [](Image& file) {
       file.FlipInMap(file.jobs().def().owned_map, file.jobs().Last()->page);
       return Expected{Code::kRowCount, kJobs, JobsPage(file), "counts 697 rows"};
     }},
    {"A page is in the maps of two tables",
     [](Image& file) {
       file.FlipInMap(file.rooms().def().owned_map, FirstJob(file).page);
       return Expected{Code::kPageOwner, kRooms, FirstJob(file).page,
                       "in the map of the table of page"};
     }},
    {"A page of long values is in the map of another table",
     [](Image& file) {
       const std::size_t memo = file.Memo(file.JobWith(LongValueKind::kSingle));
       const PageNumber page = RowId::FromPacked(file.U32(memo + 4)).page;
       file.FlipInMap(file.rooms().def().owned_map, page);
       return Expected{Code::kTwoOwners, kRooms, page, "belongs to the long values of 物件.備考"};
     }},
    {"A page in use is marked free",
     [](Image& file) {
       file.FlipInMap({PageNumber{1}, 0}, FirstJob(file).page);
       return Expected{Code::kFreeInUse, "", FirstJob(file).page,
                       "the rows of 物件 but is marked as free"};
     }},
    {"A map begins behind the greatest file",
     [](Image& file) {
       file.Put32(file.Row(file.jobs().def().owned_map) + 1, 0xFFFFFFFF);
       return Expected{Code::kMapForm, kJobs, file.jobs().def().owned_map.page, "behind all pages"};
     }},
    {"A map names a page beyond the end",
     [](Image& file) {
       file.FlipInMap(file.jobs().def().owned_map, PageNumber{500});
       return Expected{Code::kBeyondEnd, kJobs, file.jobs().def().owned_map.page,
                       "page 500 beyond the end"};
     }},
    {"A map is deleted",
     [](Image& file) {
       file.Flip(file.Slot(file.jobs().def().owned_map) + 1, 0xC0);
       return Expected{Code::kMapPlace, kJobs, file.jobs().def().owned_map.page,
                       "deleted or moved"};
     }},
    {"A map is of no known type",
     [](Image& file) {
       file.Put8(file.Row(file.jobs().def().free_map), 7);
       return Expected{Code::kMapForm, kJobs, file.jobs().def().free_map.page, "unknown type 7"};
     }},
    {"Two maps share a row",
     [](Image& file) {
       file.Put32(Image::At(JobsPage(file), 0x3B), file.jobs().def().owned_map.packed());
       return Expected{Code::kMapShared, kJobs, file.jobs().def().owned_map.page, "is used twice"};
     }},
    {"A data page names another owner",
     [](Image& file) {
       file.Put32(Image::At(FirstJob(file).page, 4), 5);
       return Expected{Code::kPageOwner, kJobs, FirstJob(file).page, "names page 5 as owner"};
     }},
    {"A data page is no data page",
     [](Image& file) {
       file.Put8(Image::At(FirstJob(file).page), 7);
       return Expected{Code::kPageKind, kJobs, FirstJob(file).page, "no page of rows"};
     }},
    {"A data page with rows is marked as released",
     [](Image& file) {
       file.Put8(Image::At(FirstJob(file).page, 1), 9);
       return Expected{Code::kReleasedPage, kJobs, FirstJob(file).page, "although it holds rows"};
     }},
    {"The free field of a data page is off",
     [](Image& file) {
       file.Add16(Image::At(FirstJob(file).page, 2), 2);
       return Expected{Code::kFreeBytes, kJobs, FirstJob(file).page, "bytes are free"};
     }},
    {"A slot starts above the one before",
     [](Image& file) {
       file.Put16(file.Slot(FirstJob(file)) + 4, 0x0FFE);
       return Expected{Code::kPageKind, kJobs, FirstJob(file).page, "has row 2 at 4094"};
     }},
    {"The file is cut in the middle of a page",
     [](Image& file) {
       file.Resize(file.size() - 100);
       return Expected{Code::kFileSize, "", {}, "no whole number of pages"};
     }},
    {"The last page is missing",
     [](Image& file) {
       file.Resize(file.size() - kPageSize);
       return Expected{Code::kBeyondEnd, kJobs, file.jobs().def().owned_map.page, "beyond the end"};
     }},
    {"A write was not finished",
     [](Image& file) {
       file.Put16(0xE00 + 8, 0);
       return Expected{Code::kCommitSlot, "", PageNumber{0}, "commit slot 4"};
     },
     false},
};

// Rows and long values.
const Damage kRowDamages[] = {
    {"The count of rows is off",
     [](Image& file) {
       file.Put32(Image::At(JobsPage(file), 0x10), 698);
       return Expected{Code::kRowCount, kJobs, JobsPage(file), "counts 698 rows; 697"};
     }},
    {"A row has more columns than its table",
     [](Image& file) {
       file.Put16(file.Row(FirstJob(file)), 9);
       return Expected{Code::kRowForm, kJobs, FirstJob(file).page, "has 9 columns"};
     }},
    {"A row's text has half a character",
     [](Image& file) {
       const RowId second{FirstJob(file).page, 1};
       const std::size_t end = file.Row(FirstJob(file));  // count, mask behind the offsets
       file.Add16(end - 3 - 2 - 2 * 2 + 2, 1);
       return Expected{Code::kFieldForm, kJobs, second.page, ""};
     }},
    {"A moved row points to nowhere",
     [](Image& file) {
       file.Put32(file.Row(file.MovedJob()), 0x00FFFF01);
       return Expected{Code::kBeyondEnd, kJobs, file.MovedJob().page,
                       "page 65535, which does not exist"};
     }},
    {"A moved row points to a live row",
     [](Image& file) {
       file.Put32(file.Row(file.MovedJob()), FirstJob(file).packed());
       return Expected{Code::kMovedRow, kJobs, file.MovedJob().page, "not the body of a moved row"};
     },
     false},
    {"A live row was deleted without its entries",
     [](Image& file) {
       file.Flip(file.Slot(FirstJob(file)) + 1, 0xC0);
       return Expected{Code::kEntryStray, kJobs, file.FirstLeaf(0), "which is no live row"};
     }},
    {"A chain is cut",
     [](Image& file) {
       const std::size_t memo = file.Memo(file.JobWith(LongValueKind::kChain));
       file.Put32(file.Row(RowId::FromPacked(file.U32(memo + 4))), 0);
       return Expected{Code::kLongValueForm, kJobs, file.JobWith(LongValueKind::kChain).page,
                       "its chain holds 4072"};
     }},
    {"A chain returns to itself",
     [](Image& file) {
       const std::size_t memo = file.Memo(file.JobWith(LongValueKind::kChain));
       file.Put32(file.Row(RowId::FromPacked(file.U32(memo + 4))), file.U32(memo + 4));
       return Expected{Code::kLongValueForm, kJobs, file.JobWith(LongValueKind::kChain).page,
                       "in use already"};
     }},
    {"A chain has another stamp",
     [](Image& file) {
       file.Flip(file.Memo(file.JobWith(LongValueKind::kChain)) + 8);
       return Expected{Code::kLongValueForm, kJobs, file.JobWith(LongValueKind::kChain).page,
                       "has the stamp"};
     },
     false},
    {"A long value says that it is longer",
     [](Image& file) {
       file.Add16(file.Memo(file.JobWith(LongValueKind::kSingle)), 2);
       return Expected{Code::kLongValueForm, kJobs, file.JobWith(LongValueKind::kSingle).page,
                       "but its row holds"};
     }},
    {"Two rows have one long value",
     [](Image& file) {
       const RowId first = file.JobWith(LongValueKind::kSingle);
       const RowId second = file.JobWith(LongValueKind::kSingle, 1);
       file.Put32(file.Memo(second) + 4, file.U32(file.Memo(first) + 4));
       return Expected{Code::kLongValueForm, kJobs, second.page, "in use already"};
     }},
    {"A long value lies on a page outside the column's map",
     [](Image& file) {
       const std::size_t memo = file.Memo(file.JobWith(LongValueKind::kSingle));
       const PageNumber page = RowId::FromPacked(file.U32(memo + 4)).page;
       file.FlipInMap(file.jobs().def().columns[5].owned_map, page);
       return Expected{Code::kLongValueForm, kJobs, file.JobWith(LongValueKind::kSingle).page,
                       "not in the column's map"};
     }},
    {"An inline long value is of an unknown kind",
     [](Image& file) {
       file.Flip(file.Memo(file.JobWith(LongValueKind::kInline)) + 3, 0x40);
       return Expected{Code::kLongValueForm, kJobs, file.JobWith(LongValueKind::kInline).page,
                       "column 備考"};
     }},
};

// Index trees. The entries of tree 0 are 9 bytes long: 7F, four of the key, row.
const Damage kIndexDamages[] = {
    {"Two entries are swapped",
     [](Image& file) {
       const std::size_t at = Image::At(file.FirstLeaf(0), 0x1E0);
       const std::size_t width = file.Ends(file.FirstLeaf(0))[1] - 9;  // of the second entry
       file.Swap(at + 9, at + 9 + width, width);
       return Expected{Code::kEntryOrder, kJobs, file.FirstLeaf(0), "not above the one before"};
     }},
    {"An entry is there twice",
     [](Image& file) {
       const PageNumber leaf = file.FirstLeaf(0);
       const std::vector<std::size_t> ends = file.Ends(leaf);
       for (std::size_t i = ends[1]; i < ends[2]; ++i) {
         file.Put8(Image::At(leaf, 0x1E0 + i),
                   file.U8(Image::At(leaf, 0x1E0 + i - ends[1] + ends[0])));
       }
       return Expected{Code::kEntryOrder, kJobs, leaf, "entry 2 is not above the one before"};
     }},
    {"A byte of a key is wrong",
     [](Image& file) {
       const PageNumber leaf = file.FirstLeaf(1);
       file.Flip(Image::At(leaf, 0x1E0) + file.Ends(leaf)[0] - 8);
       return Expected{Code::kEntryKey, kJobs, leaf, "has the key"};
     }},
    {"An entry is missing",
     [](Image& file) {
       const PageNumber leaf = file.FirstLeaf(0);
       const std::vector<std::size_t> ends = file.Ends(leaf);
       file.ToggleEnd(leaf, ends.back());
       file.Add16(Image::At(leaf, 2), static_cast<int>(ends.back() - ends[ends.size() - 2]));
       return Expected{Code::kEntryMissing, kJobs, {}, "this row has no entry"};
     }},
    {"An entry points to another row",
     [](Image& file) {
       const PageNumber leaf = file.FirstLeaf(0);
       file.Put8(Image::At(leaf, 0x1E0) + 8, 250);
       return Expected{Code::kEntryStray, kJobs, leaf, "which is no live row"};
     }},
    {"Two entries were merged",
     [](Image& file) {
       file.ToggleEnd(file.FirstLeaf(0), file.Ends(file.FirstLeaf(0))[3]);
       return Expected{Code::kEntryKey, kJobs, file.FirstLeaf(0), "has the key"};
     }},
    {"The free field of a leaf is off",
     [](Image& file) {
       file.Add16(Image::At(file.FirstLeaf(0), 2), 4);
       return Expected{Code::kFreeBytes, kJobs, file.FirstLeaf(0), "bytes are free"};
     }},
    {"A separator is too low",
     [](Image& file) {
       const PageNumber root = file.Root(0);
       file.Put8(Image::At(root, 0x1E0) + 3, 0);
       return Expected{Code::kSeparator, kJobs, file.FirstLeaf(0), "above the separator"};
     }},
    {"A separator is too high",
     [](Image& file) {
       const std::size_t lowest = Image::At(file.Root(0), 0x1E0) + 4;
       file.Put8(lowest, static_cast<std::uint8_t>(file.U8(lowest) + 2));
       return Expected{Code::kSeparator, kJobs,
                       PageNumber{file.U32(Image::At(file.FirstLeaf(0), 0x10))}, "leads elsewhere"};
     },
     false},
    {"The chain of leaves is cut",
     [](Image& file) {
       file.Put32(Image::At(file.FirstLeaf(0), 0x10), 0);
       return Expected{Code::kTreeLinks, kJobs, file.FirstLeaf(0), "says that page 0 follows"};
     }},
    {"A leaf says it is a node's level",
     [](Image& file) {
       file.Put8(Image::At(file.FirstLeaf(0), 0x1A), 1);
       return Expected{Code::kTreeLevel, kJobs, file.FirstLeaf(0), "says it is on level 1"};
     },
     false},
    {"A leaf names another owner",
     [](Image& file) {
       file.Put32(Image::At(file.FirstLeaf(0), 4), 2);
       return Expected{Code::kPageOwner, kJobs, file.FirstLeaf(0), "names page 2 as owner"};
     }},
    {"A node leads to itself",
     [](Image& file) {
       file.Put32(Image::At(file.Root(0), 0x14), file.Root(0).value);
       return Expected{Code::kTreeForm, kJobs, file.Root(0), "is reached twice"};
     }},
    {"A node leads beyond the file",
     [](Image& file) {
       file.Put32(Image::At(file.Root(0), 0x14), 0x7FFFFFFF);
       return Expected{Code::kBeyondEnd, kJobs, JobsPage(file), "which does not exist"};
     }},
    {"A page of the tree is of another kind",
     [](Image& file) {
       file.Put8(Image::At(file.FirstLeaf(0)), 1);
       return Expected{Code::kPageKind, kJobs, file.FirstLeaf(0), "should be a page of the tree"};
     }},
    {"The map of an index names a foreign page",
     [](Image& file) {
       file.FlipInMap(file.jobs().def().real_indexes[0].page_map, FirstJob(file).page);
       return Expected{Code::kTwoOwners, kJobs, FirstJob(file).page, "belongs to the rows of 物件"};
     }},
    {"A number that the key must keep apart is there twice",
     [](Image& file) {
       const RowId second{FirstJob(file).page, 1};
       file.Put32(file.Field(file.jobs(), second, "ID"), 1);
       return Expected{Code::kEntryKey, kJobs, file.FirstLeaf(0),
                       "has the key 7F80000002, not 7F80000001"};
     }},
};

// Offset of the first column descriptor: three index statistics stand before it.
constexpr std::size_t kFirstColumn = 0x3F + 3 * 12;

const Damage kDefinitionDamages[] = {
    {"The definition lacks its marker",
     [](Image& file) {
       file.Flip(Image::At(JobsPage(file), 0x0C));
       return Expected{Code::kMarker, kJobs, JobsPage(file), "lacks its marker"};
     },
     false},
    {"The definition's length is off",
     [](Image& file) {
       file.Add16(Image::At(JobsPage(file), 0x08), 2);
       return Expected{Code::kDefinitionLength, kJobs, JobsPage(file), "before its stated length"};
     }},
    {"The definition claims a column more",
     [](Image& file) {
       file.Add16(Image::At(JobsPage(file), 0x2D), 1);
       return Expected{Code::kDefinitionLength, kJobs, JobsPage(file), ""};
     }},
    {"The definition's chain returns to its start",
     [](Image& file) {
       file.Put32(Image::At(JobsPage(file), 4), JobsPage(file).value);
       return Expected{Code::kDefinitionChain, kJobs, JobsPage(file), "returns to page"};
     }},
    {"A system table's column is of another type",
     [](Image& file) {
       constexpr std::size_t kFlags = 0x3F + 2 * 12 + 4 * 25;
       file.Flip(Image::At(kObjectsPage, kFlags), 2);
       return Expected{Code::kSystemTable, "", kObjectsPage,
                       "Flags of the system table MSysObjects holds"};
     },
     false},
    {"A text is one character longer than its column",
     [](Image& file) {
       file.Put16(Image::At(JobsPage(file), kFirstColumn + 25 + 23), 2 * 46);
       return Expected{Code::kFieldForm, kJobs, {}, "column 名称 holds 47 characters, at most 46"};
     },
     false},
    {"Two columns have one number",
     [](Image& file) {
       file.Put16(Image::At(JobsPage(file), kFirstColumn + 25 + 5), 0);
       return Expected{Code::kColumnNumber, kJobs, JobsPage(file), "two columns have the number 0"};
     }},
    {"Two fixed columns overlap",
     [](Image& file) {
       file.Put16(Image::At(JobsPage(file), kFirstColumn + 3 * 25 + 21), 2);
       return Expected{Code::kColumnOverlap, kJobs, JobsPage(file), "overlap"};
     }},
    {"A column is of no known type",
     [](Image& file) {
       file.Put8(Image::At(JobsPage(file), kFirstColumn), 14);
       return Expected{Code::kColumnType, kJobs, JobsPage(file), "unknown type 14"};
     }},
    {"The next column number is too low",
     [](Image& file) {
       file.Put16(Image::At(JobsPage(file), 0x29), 5);
       return Expected{Code::kColumnNumber, kJobs, JobsPage(file), "the next column number is 5"};
     }},
    {"A definition is no definition",
     [](Image& file) {
       file.Put8(Image::At(JobsPage(file)), 1);
       return Expected{Code::kPageKind, kJobs, JobsPage(file), "should hold the definition"};
     }},
};

// Sound, but with one value out of the ranges.
struct Oddity {
  Field field;
  std::function<void(Image&)> make;
};

// Where the block of a tree lies in the definition, and that of an index.
std::size_t TreeAt(const Image& file, std::size_t tree, std::size_t offset) {
  std::size_t at = Image::At(JobsPage(file), kFirstColumn + 6 * 25);
  for (int column = 0; column < 6; ++column) at += 2 + file.U16(at);
  return at + 52 * tree + offset;
}
std::size_t IndexAt(const Image& file, std::size_t index, std::size_t offset) {
  return TreeAt(file, 3, 28 * index + offset);
}
std::size_t ColumnAt(const Image& file, std::size_t column, std::size_t offset) {
  return Image::At(JobsPage(file), kFirstColumn + 25 * column + offset);
}
// Of an object's row.
std::size_t FlagsAt(const Image& file, std::string_view name) {
  return file.Field(file.objects(), file.Object(name), "Flags");
}

const Oddity kOddities[] = {
    {Field::kWord18, [](Image& file) { file.Flip(0x18); }},
    {Field::kWord1C, [](Image& file) { file.Flip(0x1C); }},
    {Field::kObjectsAt, [](Image& file) { file.Flip(0x23); }},
    {Field::kAcesAt, [](Image& file) { file.Flip(0x24); }},
    {Field::kQueriesAt, [](Image& file) { file.Flip(0x28); }},
    {Field::kRelationshipsAt, [](Image& file) { file.Flip(0x2C); }},
    {Field::kPasswordTail, [](Image& file) { file.Flip(0x69); }},
    {Field::kHeaderZeros, [](Image& file) { file.Flip(0x31); }},
    {Field::kHeaderZeros, [](Image& file) { file.Flip(0xDFF); }},
    {Field::kCodePage, [](Image& file) { file.Flip(0x3C); }},
    {Field::kBuild, [](Image& file) { file.Flip(0x6B); }},
    {Field::kFormatWord, [](Image& file) { file.Flip(0x98); }},
    {Field::kFormatText, [](Image& file) { file.Flip(0x9C); }},
    {Field::kFirstSlot, [](Image& file) { file.Put16(0xE00, 0x100); }},
    {Field::kSlots, [](Image& file) { file.Put16(0xE00 + 2 * 255, 0xFF); }},
    {Field::kRowPageWord8, [](Image& file) { file.Flip(Image::At(FirstJob(file).page, 8)); }},
    {Field::kRowPageWord8, [](Image& file) { file.Flip(Image::At(PageNumber{1}, 8)); }},
    {Field::kSlotFlag, [](Image& file) { file.Flip(file.Slot(FirstJob(file)) + 1, 0x20); }},
    {Field::kGlobalRows,
     [](Image& file) {
       file.Put16(Image::At(PageNumber{1}, 0x0C), 1);
       file.Add16(Image::At(PageNumber{1}, 2), 69 + 2);
     }},
    {Field::kMapPageOwner,
     [](Image& file) { file.Flip(Image::At(file.jobs().def().owned_map.page, 4)); }},
    {Field::kMapOddStart,
     [](Image& file) {
       const TableDef& def = file.objects().def();
       file.Put32(file.Row(def.columns[file.objects().OrdinalOf("Database")].owned_map) + 1, 12);
     }},
    {Field::kStep, [](Image& file) { file.Put32(Image::At(JobsPage(file), 0x18), 2); }},
    {Field::kStatistic8, [](Image& file) { file.Flip(Image::At(JobsPage(file), 0x3F + 8)); }},
    {Field::kBytesBehind,
     [](Image& file) {
       file.Flip(Image::At(JobsPage(file), file.U32(Image::At(JobsPage(file), 8)) + 7));
     }},
    {Field::kUserFlags, [](Image& file) { file.Flip(ColumnAt(file, 1, 15), 8); }},
    {Field::kTextFlags, [](Image& file) { file.Put8(ColumnAt(file, 1, 16), 2); }},
    {Field::kColumnWord17, [](Image& file) { file.Flip(ColumnAt(file, 1, 20)); }},
    {Field::kColumnLanguage, [](Image& file) { file.Flip(ColumnAt(file, 3, 11)); }},
    {Field::kSystemFlags,
     [](Image& file) { file.Flip(Image::At(PageNumber{3}, 0x4B + 15), 0x40); }},
    {Field::kSystemPosition, [](Image& file) { file.Flip(Image::At(PageNumber{3}, 0x4B + 9)); }},
    {Field::kBooleanBytes, [](Image& file) { file.Put16(ColumnAt(file, 4, 23), 2); }},
    {Field::kBooleanOffset, [](Image& file) { file.Put16(ColumnAt(file, 4, 21), 4); }},
    {Field::kOtherBytes, [](Image& file) { file.Put16(ColumnAt(file, 3, 23), 9); }},
    {Field::kFixedSlot, [](Image& file) { file.Put16(ColumnAt(file, 3, 7), 1); }},
    {Field::kPartOrder, [](Image& file) { file.Put8(TreeAt(file, 1, 6), 3); }},
    {Field::kTreeFlags, [](Image& file) { file.Flip(TreeAt(file, 1, 46), 0x40); }},
    {Field::kPrimaryFlags, [](Image& file) { file.Put8(TreeAt(file, 0, 46), 0x81); }},
    {Field::kTreeTail, [](Image& file) { file.Flip(TreeAt(file, 2, 51)); }},
    {Field::kSide, [](Image& file) { file.Put8(IndexAt(file, 0, 12), 3); }},
    {Field::kPlainCascade, [](Image& file) { file.Put8(IndexAt(file, 1, 22), 0); }},
    {Field::kPlainOtherIndex, [](Image& file) { file.Put32(IndexAt(file, 1, 13), 0); }},
    {Field::kPlainOtherTable, [](Image& file) { file.Put32(IndexAt(file, 1, 17), 2); }},
    {Field::kIndexWord24, [](Image& file) { file.Flip(IndexAt(file, 2, 27)); }},
    {Field::kInlineAddress,
     [](Image& file) { file.Flip(file.Memo(file.JobWith(LongValueKind::kInline)) + 4); }},
    {Field::kSingleSpare,
     [](Image& file) { file.Add16(file.Memo(file.JobWith(LongValueKind::kSingle)), -2); }},
    {Field::kSingleStamp,
     [](Image& file) { file.Flip(file.Memo(file.JobWith(LongValueKind::kSingle)) + 8); }},
    {Field::kChainStamp,
     [](Image& file) {
       const std::size_t memo = file.Memo(file.JobWith(LongValueKind::kChain));
       file.Put32(memo + 8, 0);
       file.Put32(Image::At(RowId::FromPacked(file.U32(memo + 4)).page, 8), 0);
     }},
    {Field::kTreeWord8, [](Image& file) { file.Flip(Image::At(file.Root(1), 8)); }},
    {Field::kLeafTail, [](Image& file) { file.Flip(Image::At(file.FirstLeaf(1), 0x14)); }},
    {Field::kContainerFlags, [](Image& file) { file.Put32(FlagsAt(file, "Tables"), 1); }},
    {Field::kDatabaseFlags, [](Image& file) { file.Put32(FlagsAt(file, "MSysDb"), 0); }},
    {Field::kSystemTableFlags, [](Image& file) { file.Put32(FlagsAt(file, "MSysACEs"), 0); }},
    {Field::kUserTableFlags, [](Image& file) { file.Put32(FlagsAt(file, kRooms), 2); }},
    {Field::kQueryFlags, [](Image& file) { file.Put32(FlagsAt(file, "一覧"), 0x20000000); }},
};

const Damage kCatalogDamages[] = {
    {"Two objects have one name",
     [](Image& file) {
       const std::size_t from = file.Field(file.objects(), file.Object(kJobs), "Name");
       const std::size_t to = file.Field(file.objects(), file.Object(kRooms), "Name");
       file.Put32(to, file.U32(from));
       return Expected{Code::kObjectTwice, kCatalog, file.Object(kRooms).page,
                       "its name is the same as 物件"};
     }},
    {"Two objects have one definition",
     [](Image& file) {
       file.Put32(file.Field(file.objects(), file.Object(kRooms), "Id"), JobsPage(file).value);
       return Expected{Code::kObjectTwice, kCatalog, file.Object(kRooms).page, "is that of 物件"};
     }},
    {"An object's definition is nowhere",
     [](Image& file) {
       file.Put32(file.Field(file.objects(), file.Object(kRooms), "Id"), 0x7000);
       return Expected{Code::kBeyondEnd, kCatalog, file.Object(kRooms).page,
                       "page 28672, which does not exist"};
     }},
    {"An object has no parent",
     [](Image& file) {
       file.Flip(file.Field(file.objects(), file.Object(kRooms), "ParentId"), 0x70);
       return Expected{Code::kObjectParent, kCatalog, file.Object(kRooms).page,
                       "its parent F000071 does not exist"};
     }},
    {"An owner's security id is wrong",
     [](Image& file) {
       file.Flip(file.Field(file.objects(), file.Object("Tables"), "Owner"));
       return Expected{Code::kSecurityId, kCatalog, file.Object("Tables").page,
                       "security id does not fit"};
     }},
    {"An access-control row's security id is wrong",
     [](Image& file) {
       file.Flip(file.Field(file.aces(), *file.aces().First(), "SID"), 0x30);
       return Expected{Code::kSecurityId, "MSysACEs", file.aces().First()->page,
                       "security id does not fit"};
     },
     false},
    {"A table has no access-control row",
     [](Image& file) {
       for (TableScan scan(file.aces()); scan.Next();) {
         const std::size_t at = file.Field(file.aces(), scan.row().id(), "ObjectId");
         if (file.U32(at) == file.rooms().def().page.value) file.Put32(at, 2);
       }
       return Expected{Code::kRights, kCatalog, file.Object(kRooms).page,
                       "has no access-control row"};
     }},
    {"A query's rows belong to no query",
     [](Image& file) {
       for (TableScan scan(file.queries()); scan.Next();) {
         file.Put32(file.Field(file.queries(), scan.row().id(), "ObjectId"), 2);
       }
       return Expected{Code::kQueryRows, kCatalog, file.Object("一覧").page,
                       "is a query without rows"};
     }},
    {"Properties cannot be read",
     [](Image& file) {
       file.Flip(file.Field(file.objects(), file.Object("部屋"), "LvProp") + 12 + 4, 0x40);
       return Expected{Code::kProperties, kCatalog, file.Object("部屋").page,
                       "the properties cannot be read"};
     }},
    {"The definition of the catalog itself is gone",
     [](Image& file) {
       file.Put8(Image::At(PageNumber{2}), 4);
       return Expected{Code::kPageKind, kCatalog, PageNumber{2}, "should hold the definition"};
     }},
};

class CheckDamageTest : public testing::Test {
 protected:
  static void SetUpTestSuite() {
    folder_ = std::make_unique<TempFolder>();
    MakeFile(folder_->File("sound.mdb"));
  }
  static void TearDownTestSuite() { folder_.reset(); }

  static void ExpectFound(std::span<const Damage> damages) {
    std::vector<std::string> seen_by_both;
    for (const Damage& damage : damages) {
      SCOPED_TRACE(damage.name);
      Image file(folder_->File("sound.mdb"));
      const Expected expected = damage.make(file);
      const std::string path = folder_->File(std::string(damage.name) + ".mdb");
      file.Save(path);
      if (damage.verifier_sees_it) seen_by_both.push_back(path);
      const CheckResult result = CheckPath(path);
      const auto is_it = [&](const Finding& finding) {
        return finding.severity == Severity::kProblem && finding.code == expected.code &&
               finding.table == expected.table &&
               (!expected.page || finding.page == expected.page) &&
               finding.text.find(expected.text) != std::string::npos;
      };
      EXPECT_TRUE(std::any_of(result.findings.begin(), result.findings.end(), is_it))
          << "expected: " << NameOf(expected.code) << ' ' << expected.text << "\nfound:\n"
          << Problems(result);
    }
    if (const auto theirs = VerifierFinds(seen_by_both, true)) {
      for (std::size_t i = 0; i < theirs->size(); ++i) {
        EXPECT_NE((*theirs)[i], "") << "the verifier does not see: " << seen_by_both[i];
      }
    }
  }

  static inline std::unique_ptr<TempFolder> folder_;
};

TEST_F(CheckDamageTest, NothingIsFoundBeforeTheDamage) {
  const CheckResult result = CheckPath(folder_->File("sound.mdb"));
  EXPECT_THAT(result.findings, testing::IsEmpty());
  EXPECT_EQ(result.tables, 6u);
  EXPECT_EQ(result.unverified_keys, 0u);
  test_support::ExpectSound(folder_->File("sound.mdb"), true);
}

TEST_F(CheckDamageTest, PagesAreFound) { ExpectFound(kPageDamages); }
TEST_F(CheckDamageTest, RowsAreFound) { ExpectFound(kRowDamages); }
TEST_F(CheckDamageTest, IndexesAreFound) { ExpectFound(kIndexDamages); }
TEST_F(CheckDamageTest, DefinitionsAreFound) { ExpectFound(kDefinitionDamages); }
TEST_F(CheckDamageTest, CatalogIsFound) { ExpectFound(kCatalogDamages); }

TEST_F(CheckDamageTest, OneValueOutOfItsRangeIsUnusualAndNothingElse) {
  for (const Oddity& oddity : kOddities) {
    const SeenField& seen = check::Seen(oddity.field);
    SCOPED_TRACE(seen.name);
    Image file(folder_->File("sound.mdb"));
    oddity.make(file);
    file.Save(folder_->File("odd.mdb"));
    const CheckResult result = CheckPath(folder_->File("odd.mdb"));
    ASSERT_EQ(result.findings.size(), 1u)
        << testing::PrintToString(Codes(result)) << Problems(result);
    EXPECT_EQ(result.findings[0].severity, Severity::kUnusual);
    EXPECT_EQ(result.findings[0].code, seen.code);
    EXPECT_THAT(result.findings[0].text, testing::HasSubstr(seen.name));
    EXPECT_TRUE(result.sound());
  }
}

// A table that was copied may count from below what is in it. We go on above.
TEST_F(CheckDamageTest, CounterBehindANumberInUse) {
  const std::string path = folder_->File("copied.mdb");
  const auto files = MakeSystemFiles();
  Image file(folder_->File("sound.mdb"));
  file.Put32(Image::At(JobsPage(file), 0x14), 650);
  file.Save(path);
  const CheckResult result = CheckPath(path);
  EXPECT_THAT(Codes(result), testing::ElementsAre("warning autonumber"));
  const RowId has_651 =
      file.Find(file.jobs(), [](const Table::Row& row) { return row.Get(0) == Value(651); });
  EXPECT_THAT(
      result.findings.at(0).text,
      testing::AllOf(testing::HasSubstr("given is 650, but 700 is in use"),
                     testing::EndsWith("gets 651, which row " + std::to_string(has_651.row) +
                                       " of page " + std::to_string(has_651.page.value) + " has")));
  {
    const auto database = Database::Open(*files, path, {.mode = OpenMode::kExclusive});
    const auto table = database->OpenTable(kJobs);
    Table::Row row;
    for (const int number : {701, 702}) {
      ASSERT_TRUE(table->Read(table->Insert(std::vector<Value>(6)), row));
      EXPECT_EQ(row.Get(0), Value(number));
    }
    database->Commit();
  }
  EXPECT_THAT(CheckPath(path).findings, testing::IsEmpty());
}

// One damaged table hides nothing in the others.
TEST_F(CheckDamageTest, EachIsToldOnce) {
  Image file(folder_->File("sound.mdb"));
  file.Put8(Image::At(file.jobs().def().page, 0x0C), 0);
  file.Put32(Image::At(file.rooms().def().page, 0x10), 4);
  const std::string path = folder_->File("damaged.mdb");
  file.Save(path);
  EXPECT_EQ(Problems(CheckPath(path)),
            "page " + std::to_string(file.jobs().def().page.value) +
                ", table 物件: the definition lacks its marker\n" + "page " +
                std::to_string(file.rooms().def().page.value) +
                ", table 部屋: the definition counts 4 rows; 3 are there\n");
}

// What keeps a file from being opened is found page by page, and what could not be
// looked into is said.
TEST_F(CheckDamageTest, JudgesWhatCannotBeOpened) {
  const auto codes = [](const std::function<void(Image&)>& damage) {
    Image file(folder_->File("sound.mdb"));
    damage(file);
    file.Save(folder_->File("damaged.mdb"));
    return Codes(CheckPath(folder_->File("damaged.mdb")));
  };
  EXPECT_THAT(codes([](Image& file) { file.Resize(file.size() + 500); }),
              testing::ElementsAre("problem file-size"));
  EXPECT_THAT(codes([](Image& file) { file.Put8(Image::At(PageNumber{2}), 4); }),
              testing::ElementsAre("not checked not-checked", "problem page-kind"));
  EXPECT_THAT(codes([](Image& file) { file.Resize(2 * kPageSize); }),
              testing::IsSupersetOf({"not checked not-checked", "problem beyond-end"}));
  // The sign of the creation date, which masks password and security ids.
  EXPECT_THAT(codes([](Image& file) { file.Flip(0x79, 0x80); }),
              testing::IsSupersetOf({"not checked not-checked", "problem creation-date"}));
  EXPECT_THAT(codes([](Image& file) { file.Put16(0xE00, 0); }),
              testing::ElementsAre("problem commit-slot"));
  EXPECT_THAT(codes([](Image& file) { file.Put8(file.Row(file.jobs().def().owned_map), 7); }),
              testing::IsSupersetOf({"not checked not-checked", "problem map-form"}));
}

TEST_F(CheckDamageTest, AsksForThePasswordOnlyIfGivenOne) {
  const auto files = MakeSystemFiles();
  const std::string path = folder_->File("locked.mdb");
  WriteFileBytes(path, ReadFileBytes(folder_->File("sound.mdb")));
  {
    const auto database = Database::Open(*files, path, {.mode = OpenMode::kExclusive});
    database->SetPassword("geheim");
    database->Commit();
  }
  const auto check = [&](std::optional<std::string> password) {
    return test_support::CodeOf([&] {
      EXPECT_THAT(CheckFile(*files, path, {.password = std::move(password)}).findings,
                  testing::IsEmpty());
    });
  };
  EXPECT_EQ(check("Geheim"), ErrorCode::kWrongPassword);
  EXPECT_EQ(check("geheim"), std::nullopt);
  EXPECT_EQ(check(std::nullopt), std::nullopt);
}

// Without a tree that begins with the numbers, all rows are looked at, once.
TEST(Check, CounterBehindANumberInUseOfATableWithoutIndexes) {
  const TempFolder folder;
  const std::string path = folder.File("copied.mdb");
  const auto files = MakeSystemFiles();
  const auto insert = [&](Database& database) {
    const auto table = database.OpenTable("T");
    Table::Row row;
    table->Read(table->Insert(std::vector<Value>(1)), row);
    database.Commit();
    return row.Get(0);
  };
  std::size_t counter = 0;
  {
    const auto database = Database::Create(*files, path, {});
    const auto table = database->CreateTable(
        {.name = "T", .columns = {{.name = "ID", .auto_number = true}}, .indexes = {}});
    for (const int number : {7, 30, 8}) table->Insert(std::vector<Value>{number});
    EXPECT_EQ(insert(*database), Value(31));
    counter = Image::At(table->def().page, 0x14);
  }
  std::string bytes = ReadFileBytes(path);
  bytes[counter] = 7;
  WriteFileBytes(path, bytes);
  const auto database = Database::Open(*files, path, {.mode = OpenMode::kExclusive});
  EXPECT_EQ(insert(*database), Value(32));
  EXPECT_EQ(insert(*database), Value(33));
}

// Behind page 512 the maps of new tables, columns and indexes begin elsewhere.
TEST(Check, MapsBehindPage512AreUsual) {
  const TempFolder folder;
  const std::string path = folder.File("large.mdb");
  const auto files = MakeSystemFiles();
  {
    const auto database = Database::Create(*files, path, {});
    const auto fill = [&](const char* name, int values) {
      const auto table = database->CreateTable(
          {.name = name,
           .columns = {{.name = "ID"}, {.name = "M", .type = ColumnType::kOle}},
           .indexes = {{.name = "PrimaryKey", .columns = {"ID"}, .primary = true}}});
      for (int i = 0; i < values; ++i) {
        table->Insert(std::vector<Value>{i, Bytes(std::size_t{40'000}, std::uint8_t{1})});
      }
    };
    for (const char* name : {"A", "B", "C"}) fill(name, 60);
    fill("D", 1);
    database->Commit();
    ASSERT_GT(database->pager().page_count(), 1500u);
  }
  EXPECT_THAT(CheckPath(path).findings, testing::IsEmpty());
}

// Keys with a Null part do not collide.
TEST(Check, EqualKeysWithNullAreNoDamage) {
  const TempFolder folder;
  const auto files = MakeSystemFiles();
  const std::string path = folder.File("null.mdb");
  Database::Create(*files, path, {})->Commit();
  const auto codes = [&](const std::string& name, const std::vector<Value>& row) {
    {
      const auto database = Database::Open(*files, path, {.mode = OpenMode::kExclusive});
      const auto table = database->CreateTable(
          {.name = name,
           .columns = {{.name = "A"}, {.name = "B"}},
           .indexes = {{.name = "Both", .columns = {"A", "B"}, .unique = true}}});
      for (int i = 0; i < 2; ++i) table->Insert(row);
      database->Commit();
    }
    return Codes(CheckPath(path));
  };
  EXPECT_THAT(codes("N", {Null{}, Null{}}), testing::IsEmpty());
  EXPECT_THAT(codes("M", {1, Null{}}), testing::ElementsAre("warning key-twice"));
}

// Two slots of dropped columns go down and up again between live ones.
TEST(Check, SlotsOfDroppedColumnsMayGoDown) {
  TableDef def;
  def.next_column_id = def.next_variable_slot = 4;
  for (const std::uint16_t id : {std::uint16_t{0}, std::uint16_t{3}}) {
    ColumnDef column;
    column.name = id == 0 ? "A" : "B";
    column.type = ColumnType::kText;
    column.id = ColumnId{id};
    column.variable_slot = id;
    column.flags = ColumnDef::kUpdatable;
    column.length = 20;
    def.columns.push_back(column);
  }
  Bytes row{4, 0, 'a', 0, 'b', 0, 'c', 0, 'd', 0, 10, 0, 6, 0, 2, 0, 6, 0, 2, 0, 4, 0, 0x0F};
  check::Fields fields;
  const check::RowSplitter splitter(def);
  EXPECT_EQ(splitter.Split(row, fields, nullptr), "");
  const RowView view(def, row);
  EXPECT_EQ(DecodeField(def.columns[0], *view.Raw(def.columns[0])), Value("ab"));
  EXPECT_EQ(DecodeField(def.columns[1], *view.Raw(def.columns[1])), Value("cd"));
  RowEncoder encoder;
  encoder.Begin(def);
  encoder.SetFrom(view);
  const ByteView again = encoder.Finish();
  EXPECT_EQ(splitter.Split(again, fields, nullptr), "");
  EXPECT_EQ(DecodeField(def.columns[1], *RowView(def, again).Raw(def.columns[1])), Value("cd"));

  row[12] = 4;  // of the second live column, into the first
  EXPECT_EQ(splitter.Split(row, fields, nullptr), "has column B out of order");
}

TEST(Check, CodesHaveNamesOfTheirOwn) {
  std::set<std::string_view> names;
  for (const Code code : FindingCodes()) {
    EXPECT_TRUE(names.insert(NameOf(code)).second) << NameOf(code);
  }
  EXPECT_EQ(NameOf(Code::kBeyondEnd), "beyond-end");
  EXPECT_EQ(NameOf(FindingCodes().back()), "unusual-object");
}

}  // namespace
}  // namespace jet
