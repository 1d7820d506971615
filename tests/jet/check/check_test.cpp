#include "jet/check/check.h"

#include <gmock/gmock.h>

#include <functional>
#include <set>

#include "jet/base/bytes.h"
#include "jet/base/error.h"
#include "jet/check/seen.h"
#include "jet/database/system_tables.h"
#include "jet/row/long_value.h"
#include "jet/table/internals.h"
#include "tests/support/jet_fixture.h"

namespace jet {
namespace {

using enum ColumnType;
using check::Field;
using namespace test_support;
using testing::Each;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using Code = Finding::Code;
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
std::set<std::string> Codes(const CheckResult& result) {
  std::set<std::string> codes;
  for (const Finding& finding : result.findings) {
    codes.insert(std::string(NameOf(finding.severity)) + ' ' + std::string(NameOf(finding.code)));
  }
  return codes;
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

constexpr char kJobs[] = "物件", kRooms[] = "部屋", kCatalog[] = "MSysObjects";

// A database with one of everything: a tree of two levels, moved and deleted
// rows, long values of every kind, a saved query.
void Fill(Database& database) {
  database.CreateTable({"空", {{"A"}, {"B"}}, {{.name = "A", .columns = {"A"}}}});
  const auto jobs = database.CreateTable(
      {kJobs,
       {{.name = "ID", .auto_number = true},
        {"名称", kText, 50},
        {"番号", kText, 20},
        {"数量", kDouble},
        {"完了", kBoolean},
        {"備考", kMemo}},
       {{.name = "PrimaryKey", .columns = {"ID"}, .primary = true},
        {.name = "ByName", .columns = {"名称"}},
        {.name = "ByNumber", .columns = {"番号"}, .unique = true, .ignore_nulls = true}}});
  std::vector<RowId> rows;
  for (int i = 0; i < 700; ++i) {
    const std::string memo(i % 50 == 0 ? 9000 : i % 9 == 0 ? 300 : i % 5, 'm');
    rows.push_back(jobs->Insert(
        std::vector<Value>{Null{}, "job " + std::to_string(i * 7919 % 700),
                           i % 3 == 0 ? Value(Null{}) : Value("N" + std::to_string(i)), i / 4.0,
                           i % 2 == 0, i % 4 == 3 ? Value(Null{}) : Value(memo)}));
  }
  for (std::size_t i = 10; i < 40; ++i) {
    Set(*jobs, rows[i], 1, std::string(45, 'w') + std::to_string(i));
  }
  for (const std::size_t i : {50, 51, 300}) jobs->Delete(rows[i]);
  const auto rooms = database.CreateTable(
      {kRooms, {{.name = "ID", .auto_number = true}, {.name = "R", .required = true}}, {}});
  for (int i = 0; i < 3; ++i) rooms->Insert(std::vector<Value>{i, i * i});
  database.CreateQuery("一覧",
                       {{{.attribute = QueryRow::kStart, .flag = 1},
                         {.attribute = QueryRow::kEnd},
                         {.attribute = QueryRow::kSource, .name1 = kJobs},
                         {.attribute = QueryRow::kOutput, .flag = 0, .expression = "物件.*"}}},
                       "");
}

// The bytes of the file above, to be damaged, and where its parts lie. What counts
// from the start of the file is a std::size_t.
struct Image {
  explicit Image(const std::string& path)
      : files(MakeSystemFiles()), database(Database::Open(*files, path, {})) {
    const std::string file = ReadFileBytes(path);
    bytes.assign(file.begin(), file.end());
    first_leaf = Internals(*database).OpenIndex(*jobs, 0).First().page();
    second_leaf = {U32(At(first_leaf, 0x10))};
    name_leaf = Internals(*database).OpenIndex(*jobs, 1).First().page();
    single = Piece(LongValueKind::kSingle).page;
    moved = Find(*jobs, [&](const auto& row) { return (U16(Slot(row.id())) & 0xC000) == 0x4000; });
  }
  void Save(const std::string& path) const {
    WriteFileBytes(path, {reinterpret_cast<const char*>(bytes.data()), bytes.size()});
  }

  static std::size_t At(PageNumber page, std::size_t offset = 0) {
    return std::size_t{page.value} * kPageSize + offset;
  }
  std::size_t Slot(RowId id) const { return At(id.page, 14 + 2 * std::size_t{id.row}); }
  std::size_t Row(RowId id) const { return At(id.page, U16(Slot(id)) & 0x1FFFU); }
  std::uint8_t U8(std::size_t at) const { return GetU8(bytes, at); }
  std::uint16_t U16(std::size_t at) const { return GetU16(bytes, at); }
  std::uint32_t U32(std::size_t at) const { return GetU32(bytes, at); }
  void Put8(std::size_t at, std::uint8_t value) { PutU8(bytes, at, value); }
  void Put16(std::size_t at, std::size_t value) { PutU16(bytes, at, value); }
  void Put32(std::size_t at, std::uint32_t value) { PutU32(bytes, at, value); }
  void Flip(std::size_t at, unsigned bits = 1) {
    Put8(at, static_cast<std::uint8_t>(U8(at) ^ bits));
  }
  void Add16(std::size_t at, int by) { Put16(at, static_cast<std::uint16_t>(U16(at) + by)); }

  PageSpan Page(PageNumber page) { return PageSpan(bytes.data() + At(page), kPageSize); }
  Bytes RowBytes(RowId id) {
    const ByteView row = FindRow(id.page, Page(id.page), id.row)->bytes;
    return {row.begin(), row.end()};
  }
  void Replace(RowId id, ByteView row) {
    ASSERT_TRUE(ReplaceRow(id.page, Page(id.page), id.row, row, SlotKind::kLive));
  }
  // The bit of `page` in an inline map that starts at page 0.
  void FlipInMap(RowId map, PageNumber page) {
    Flip(Row(map) + 5 + page.value / 8, 1u << page.value % 8);
  }

  // The n-th row that `accept` takes.
  static RowId Find(const Table& table, const std::function<bool(const Table::Row&)>& accept) {
    for (TableScan scan(table); scan.Next();) {
      if (accept(scan.row())) return scan.row().id();
    }
    throw std::logic_error("no such row");
  }
  // Where a field of a row lies that was not moved.
  std::size_t FieldOf(const Table& table, RowId id, std::string_view column) const {
    Table::Row row;
    table.Read(id, row);
    const ByteView raw = *ViewOf(row).Raw(DefOf(table).columns[table.OrdinalOf(column)]);
    return Row(id) + static_cast<std::size_t>(raw.data() - ViewOf(row).bytes().data());
  }
  RowId Object(std::string_view name) const {
    return Find(*objects, [&](const Table::Row& row) {
      return row.Get(objects->OrdinalOf("Name")) == Value(std::string(name));
    });
  }
  std::size_t ObjectField(std::string_view name, std::string_view column) const {
    return FieldOf(*objects, Object(name), column);
  }
  // A row whose memo is stored this way, and where the memo lies in it.
  RowId JobWith(LongValueKind kind, int skip = 0) const {
    return Find(*jobs, [&, skip](const Table::Row& row) mutable {
      const auto raw = ViewOf(row).Raw(DefOf(*jobs).columns[5]);
      return (U16(Slot(row.id())) & 0xC000) == 0 && raw && ParseLongValue(*raw).kind == kind &&
             skip-- == 0;
    });
  }
  std::size_t Memo(LongValueKind kind, int skip = 0) const {
    return FieldOf(*jobs, JobWith(kind, skip), "備考");
  }
  // Where a long value on pages of its own begins.
  RowId Piece(LongValueKind kind) const { return RowId::FromPacked(U32(Memo(kind) + 4)); }

  // Where the entries of an index page end.
  std::vector<std::size_t> Ends(PageNumber page) const {
    std::vector<std::size_t> ends;
    for (std::size_t bit = 0; bit < 3624; ++bit) {
      if ((U8(At(page, 0x1B + bit / 8)) >> bit % 8 & 1) != 0) ends.push_back(bit);
    }
    return ends;
  }
  void ToggleEnd(PageNumber page, std::size_t end) {
    Flip(At(page, 0x1B + end / 8), 1u << end % 8);
  }

  // In the definition of the jobs: three index statistics, six columns, their names,
  // three trees, the indexes.
  std::size_t Column(std::size_t column, std::size_t offset) const {
    return At(def, 0x3F + 3 * 12 + 25 * column + offset);
  }
  std::size_t Tree(std::size_t tree, std::size_t offset) const {
    std::size_t at = Column(6, 0);
    for (int column = 0; column < 6; ++column) at += 2 + U16(at);
    return at + 52 * tree + offset;
  }
  std::size_t Index(std::size_t index, std::size_t offset) const {
    return Tree(3, 28 * index + offset);
  }

  Bytes bytes;
  std::unique_ptr<FileSystem> files;
  std::unique_ptr<Database> database;
  std::shared_ptr<Table> jobs = database->OpenTable(kJobs), rooms = database->OpenTable(kRooms),
                         empty = database->OpenTable("空"),
                         objects = database->OpenTable("MSysObjects"),
                         aces = database->OpenTable("MSysACEs"),
                         queries = database->OpenTable("MSysQueries");
  // A map that marks nothing.
  RowId unused_map = DefOf(*objects).columns[objects->OrdinalOf("Database")].owned_map;
  // Of the jobs: rows and pages.
  RowId first = *jobs->First(), second{first.page, 1}, moved;
  PageNumber def = DefOf(*jobs).page, maps = DefOf(*jobs).owned_map.page, rows = first.page, single,
             root = DefOf(*jobs).real_indexes[0].root, first_leaf, second_leaf, name_leaf;
  PageNumber header{0}, catalog = kObjectsPage, object = Object(kRooms).page,
                        rights = aces->First()->page;
};

// A damage, and the problem that it must be found as.
struct Damage {
  struct {
    const char* name;
    Code code;
    const char* table;
    PageNumber Image::*page;  // none: any
    const char* text;         // a piece of what is said
  } problem;
  void (*make)(Image& file);
  bool verifier_sees_it = true;
};

const Damage kDamages[] = {
    // Maps and owners.
    {{"PageFellOutOfTheMap", Code::kRowCount, kJobs, &Image::def, "counts 697 rows"},
     [](Image& f) { f.FlipInMap(DefOf(*f.jobs).owned_map, f.jobs->Last()->page); }},
    {{"PageInTwoMaps", Code::kPageOwner, kRooms, &Image::rows, "in the map of the table of page"},
     [](Image& f) { f.FlipInMap(DefOf(*f.rooms).owned_map, f.rows); }},
    {{"LongValuesInAnotherMap", Code::kTwoOwners, kRooms, &Image::single,
      "belongs to the long values of 物件.備考"},
     [](Image& f) { f.FlipInMap(DefOf(*f.rooms).owned_map, f.single); }},
    {{"PageInUseMarkedFree", Code::kFreeInUse, "", &Image::rows,
      "the rows of 物件 but is marked as free"},
     [](Image& f) { f.FlipInMap(kGlobalMap, f.rows); }},
    {{"MapBehindTheGreatestFile", Code::kMapForm, kJobs, &Image::maps, "behind all pages"},
     [](Image& f) { f.Put32(f.Row(DefOf(*f.jobs).owned_map) + 1, 0xFFFFFFFF); }},
    {{"MapLeadsBeyondTheEnd", Code::kBeyondEnd, kJobs, &Image::maps, "page 500 beyond the end"},
     [](Image& f) { f.FlipInMap(DefOf(*f.jobs).owned_map, {500}); }},
    {{"MapDeleted", Code::kMapPlace, kJobs, &Image::maps, "deleted or moved"},
     [](Image& f) { f.Flip(f.Slot(DefOf(*f.jobs).owned_map) + 1, 0xC0); }},
    {{"MapOfUnknownType", Code::kMapForm, kJobs, &Image::maps, "unknown type 7"},
     [](Image& f) { f.Put8(f.Row(DefOf(*f.jobs).free_map), 7); }},
    {{"TwoMapsInOneRow", Code::kMapShared, kJobs, &Image::maps, "is used twice"},
     [](Image& f) { f.Put32(f.At(f.def, 0x3B), DefOf(*f.jobs).owned_map.packed()); }},
    {{"RowPageOfAnotherOwner", Code::kPageOwner, kJobs, &Image::rows, "names page 5 as owner"},
     [](Image& f) { f.Put32(f.At(f.rows, 4), 5); }},
    {{"RowPageOfAnotherKind", Code::kPageKind, kJobs, &Image::rows, "not a page of rows"},
     [](Image& f) { f.Put8(f.At(f.rows), 7); }},
    {{"RowPageReleased", Code::kReleasedPage, kJobs, &Image::rows, "although it holds rows"},
     [](Image& f) { f.Put8(f.At(f.rows, 1), 9); }},
    {{"RowPageMiscountsItsRoom", Code::kFreeBytes, kJobs, &Image::rows, "bytes are free"},
     [](Image& f) { f.Add16(f.At(f.rows, 2), 2); }},
    {{"SlotAboveTheOneBefore", Code::kPageKind, kJobs, &Image::rows, "has row 2 at 4094"},
     [](Image& f) { f.Put16(f.Slot(f.first) + 4, 0x0FFE); }},
    {{"FileCutInsideAPage", Code::kFileSize, "", nullptr, "not a whole number of pages"},
     [](Image& f) { f.bytes.resize(f.bytes.size() - 100); }},
    {{"LastPageMissing", Code::kBeyondEnd, kJobs, &Image::maps, "beyond the end"},
     [](Image& f) { f.bytes.resize(f.bytes.size() - kPageSize); }},
    {{"WriteNotFinished", Code::kCommitSlot, "", &Image::header, "commit slot 4"},
     [](Image& f) { f.Put16(0xE00 + 8, 0); },
     false},

    // Rows and long values.
    {{"RowsMiscounted", Code::kRowCount, kJobs, &Image::def, "counts 698 rows; 697"},
     [](Image& f) { f.Put32(f.At(f.def, 0x10), 698); }},
    {{"RowOfTooManyColumns", Code::kRowForm, kJobs, &Image::rows, "has 9 columns"},
     [](Image& f) { f.Put16(f.Row(f.first), 9); }},
    {{"HalfACharacter", Code::kFieldForm, kJobs, &Image::rows, ""},
     // Of the second row: offsets, their count and the mask stand at its end.
     [](Image& f) { f.Add16(f.Row(f.first) - 3 - 2 - 2 * 2 + 2, 1); }},
    {{"MovedRowIsNowhere", Code::kBeyondEnd, kJobs, &Image::rows, "page 65535, which does not"},
     [](Image& f) { f.Put32(f.Row(f.moved), 0x00FFFF01); }},
    {{"MovedRowIsALiveRow", Code::kMovedRow, kJobs, &Image::rows, "not the body of a moved row"},
     [](Image& f) { f.Put32(f.Row(f.moved), f.first.packed()); },
     false},
    {{"RowDeletedButNotItsEntry", Code::kEntryStray, kJobs, &Image::first_leaf, "not a live row"},
     [](Image& f) { f.Flip(f.Slot(f.first) + 1, 0xC0); }},
    {{"ChainCut", Code::kLongValueForm, kJobs, &Image::rows, "its chain holds 4072"},
     [](Image& f) { f.Put32(f.Row(f.Piece(LongValueKind::kChain)), 0); }},
    {{"ChainReturnsToItself", Code::kLongValueForm, kJobs, &Image::rows, "in use already"},
     [](Image& f) {
       const RowId piece = f.Piece(LongValueKind::kChain);
       f.Put32(f.Row(piece), piece.packed());
     }},
    {{"ChainOfAnotherStamp", Code::kLongValueForm, kJobs, &Image::rows, "has the stamp"},
     [](Image& f) { f.Flip(f.Memo(LongValueKind::kChain) + 8); },
     false},
    {{"LongValueTooShort", Code::kLongValueForm, kJobs, &Image::rows, "but its row holds"},
     [](Image& f) { f.Add16(f.Memo(LongValueKind::kSingle), 2); }},
    {{"LongValueOfTwoRows", Code::kLongValueForm, kJobs, nullptr, "in use already"},
     [](Image& f) {
       f.Put32(f.Memo(LongValueKind::kSingle, 1) + 4, f.Piece(LongValueKind::kSingle).packed());
     }},
    {{"LongValueOutsideItsMap", Code::kLongValueForm, kJobs, &Image::rows, "not in the column's"},
     [](Image& f) { f.FlipInMap(DefOf(*f.jobs).columns[5].owned_map, f.single); }},
    {{"LongValueOfUnknownKind", Code::kLongValueForm, kJobs, &Image::rows, "column 備考"},
     [](Image& f) { f.Flip(f.Memo(LongValueKind::kInline) + 3, 0x40); }},

    // Index trees. The entries of tree 0 are 9 bytes long: 7F, four of the key, row.
    {{"EntriesSwapped", Code::kEntryOrder, kJobs, &Image::first_leaf, "not above the one before"},
     [](Image& f) {
       const std::size_t width = f.Ends(f.first_leaf)[1] - 9;  // the first one is whole
       std::uint8_t* const second = &f.bytes[f.At(f.first_leaf, 0x1E0) + 9];
       std::swap_ranges(second, second + width, second + width);
     }},
    {{"EntryTwice", Code::kEntryOrder, kJobs, &Image::first_leaf, "entry 2 is not above the one"},
     [](Image& f) {
       const std::size_t width = f.Ends(f.first_leaf)[1] - 9;
       std::uint8_t* const second = &f.bytes[f.At(f.first_leaf, 0x1E0) + 9];
       std::copy_n(second, width, second + width);
     }},
    {{"KeyOfAnotherText", Code::kEntryKey, kJobs, &Image::name_leaf, "has the key"},
     [](Image& f) { f.Flip(f.At(f.name_leaf, 0x1E0) + f.Ends(f.name_leaf)[0] - 8); }},
    {{"EntryMissing", Code::kEntryMissing, kJobs, nullptr, "this row has no entry"},
     [](Image& f) {
       const std::vector<std::size_t> ends = f.Ends(f.first_leaf);
       f.ToggleEnd(f.first_leaf, ends.back());
       f.Add16(f.At(f.first_leaf, 2), static_cast<int>(ends.back() - ends[ends.size() - 2]));
     }},
    {{"EntryOfAnotherRow", Code::kEntryStray, kJobs, &Image::first_leaf, "which is not a live row"},
     [](Image& f) { f.Put8(f.At(f.first_leaf, 0x1E0) + 8, 250); }},
    {{"EntriesMerged", Code::kEntryKey, kJobs, &Image::first_leaf, "has the key"},
     [](Image& f) { f.ToggleEnd(f.first_leaf, f.Ends(f.first_leaf)[3]); }},
    {{"LeafMiscountsItsRoom", Code::kFreeBytes, kJobs, &Image::first_leaf, "bytes are free"},
     [](Image& f) { f.Add16(f.At(f.first_leaf, 2), 4); }},
    {{"SeparatorTooLow", Code::kSeparator, kJobs, &Image::first_leaf, "above the separator"},
     [](Image& f) { f.Put8(f.At(f.root, 0x1E0) + 3, 0); }},
    {{"SeparatorTooHigh", Code::kSeparator, kJobs, &Image::second_leaf, "leads elsewhere"},
     [](Image& f) { f.Add16(f.At(f.root, 0x1E0) + 4, 2); },
     false},
    {{"LeavesCutApart", Code::kTreeLinks, kJobs, &Image::first_leaf, "says that page 0 follows"},
     [](Image& f) { f.Put32(f.At(f.first_leaf, 0x10), 0); }},
    {{"LeafOnTheLevelOfNodes", Code::kTreeLevel, kJobs, &Image::first_leaf, "it is on level 1"},
     [](Image& f) { f.Put8(f.At(f.first_leaf, 0x1A), 1); },
     false},
    {{"LeafOfAnotherOwner", Code::kPageOwner, kJobs, &Image::first_leaf, "names page 2 as owner"},
     [](Image& f) { f.Put32(f.At(f.first_leaf, 4), 2); }},
    {{"NodeLeadsToItself", Code::kTreeForm, kJobs, &Image::root, "is reached twice"},
     [](Image& f) { f.Put32(f.At(f.root, 0x14), f.root.value); }},
    {{"NodeLeadsBeyondTheEnd", Code::kBeyondEnd, kJobs, &Image::def, "which does not exist"},
     [](Image& f) { f.Put32(f.At(f.root, 0x14), 0x7FFFFFFF); }},
    {{"TreePageOfAnotherKind", Code::kPageKind, kJobs, &Image::first_leaf, "a page of the tree"},
     [](Image& f) { f.Put8(f.At(f.first_leaf), 1); }},
    {{"ForeignPageInMapOfIndex", Code::kTwoOwners, kJobs, &Image::rows, "to the rows of 物件"},
     [](Image& f) { f.FlipInMap(DefOf(*f.jobs).real_indexes[0].page_map, f.rows); }},
    {{"NumberTwice", Code::kEntryKey, kJobs, &Image::first_leaf,
      "has the key 7F80000002, not 7F80000001"},
     [](Image& f) { f.Put32(f.FieldOf(*f.jobs, f.second, "ID"), 1); }},

    // Definitions.
    {{"NoMarker", Code::kMarker, kJobs, &Image::def, "lacks its marker"},
     [](Image& f) { f.Flip(f.At(f.def, 0x0C)); },
     false},
    {{"LengthOff", Code::kDefinitionLength, kJobs, &Image::def, "before its stated length"},
     [](Image& f) { f.Add16(f.At(f.def, 0x08), 2); }},
    {{"OneColumnMore", Code::kDefinitionLength, kJobs, &Image::def, ""},
     [](Image& f) { f.Add16(f.At(f.def, 0x2D), 1); }},
    {{"DefinitionReturnsToItself", Code::kDefinitionChain, kJobs, &Image::def, "returns to page"},
     [](Image& f) { f.Put32(f.At(f.def, 4), f.def.value); }},
    {{"SystemColumnOfAnotherType", Code::kSystemTable, "", &Image::catalog,
      "Flags of the system table MSysObjects holds"},
     [](Image& f) { f.Flip(f.At(kObjectsPage, 0x3F + 2 * 12 + 4 * 25), 2); },
     false},
    {{"TextTooLongForItsColumn", Code::kFieldForm, kJobs, nullptr,
      "column 名称 holds 47 characters, at most 46"},
     [](Image& f) { f.Put16(f.Column(1, 23), 2 * 46); },
     false},
    {{"ColumnNumberTwice", Code::kColumnNumber, kJobs, &Image::def, "columns have the number 0"},
     [](Image& f) { f.Put16(f.Column(1, 5), 0); }},
    {{"ColumnsOverlap", Code::kColumnOverlap, kJobs, &Image::def, "overlap"},
     [](Image& f) { f.Put16(f.Column(3, 21), 2); }},
    {{"ColumnOfUnknownType", Code::kColumnType, kJobs, &Image::def, "unknown type 14"},
     [](Image& f) { f.Put8(f.Column(0, 0), 14); }},
    {{"NextNumberTooLow", Code::kColumnNumber, kJobs, &Image::def, "next column number is 5"},
     [](Image& f) { f.Put16(f.At(f.def, 0x29), 5); }},
    {{"DefinitionOfAnotherKind", Code::kPageKind, kJobs, &Image::def, "should hold the definition"},
     [](Image& f) { f.Put8(f.At(f.def), 1); }},

    // The list of objects.
    {{"ObjectNameTwice", Code::kObjectTwice, kCatalog, &Image::object, "the same as 物件"},
     [](Image& f) { f.Put32(f.ObjectField(kRooms, "Name"), f.U32(f.ObjectField(kJobs, "Name"))); }},
    {{"DefinitionTwice", Code::kObjectTwice, kCatalog, &Image::object, "is that of 物件"},
     [](Image& f) { f.Put32(f.ObjectField(kRooms, "Id"), f.def.value); }},
    {{"DefinitionIsNowhere", Code::kBeyondEnd, kCatalog, &Image::object,
      "page 28672, which does not exist"},
     [](Image& f) { f.Put32(f.ObjectField(kRooms, "Id"), 0x7000); }},
    {{"NoSuchParent", Code::kObjectParent, kCatalog, &Image::object, "F000071 does not exist"},
     [](Image& f) { f.Flip(f.ObjectField(kRooms, "ParentId"), 0x70); }},
    {{"NoSuchOwner", Code::kSecurityId, kCatalog, &Image::object, "security id does not fit"},
     [](Image& f) { f.Flip(f.ObjectField("Tables", "Owner")); }},
    {{"NoSuchUser", Code::kSecurityId, "MSysACEs", &Image::rights, "security id does not fit"},
     [](Image& f) { f.Flip(f.FieldOf(*f.aces, *f.aces->First(), "SID"), 0x30); },
     false},
    {{"TableWithoutRights", Code::kRights, kCatalog, &Image::object, "no access-control row"},
     [](Image& f) {
       for (TableScan scan(*f.aces); scan.Next();) {
         const std::size_t at = f.FieldOf(*f.aces, scan.row().id(), "ObjectId");
         if (f.U32(at) == DefOf(*f.rooms).page.value) f.Put32(at, 2);
       }
     }},
    {{"QueryWithoutRows", Code::kQueryRows, kCatalog, &Image::object, "is a query without rows"},
     [](Image& f) {
       for (TableScan scan(*f.queries); scan.Next();) {
         f.Put32(f.FieldOf(*f.queries, scan.row().id(), "ObjectId"), 2);
       }
     }},
    {{"PropertiesUnreadable", Code::kProperties, kCatalog, &Image::object, "cannot be read"},
     [](Image& f) { f.Flip(f.ObjectField(kRooms, "LvProp") + 12 + 4, 0x40); }},
    {{"NoListOfObjects", Code::kPageKind, kCatalog, &Image::catalog, "should hold the definition"},
     [](Image& f) { f.Put8(f.At(kObjectsPage), 4); }},
};

// A value out of the ranges.
struct Oddity {
  Field field;
  void (*make)(Image& file);
  bool alone = true;  // else other things are found, too
};

const Oddity kOddities[] = {
    {Field::kWord18, [](Image& f) { f.Flip(0x18); }},
    {Field::kWord1C, [](Image& f) { f.Flip(0x1C); }},
    {Field::kObjectsAt, [](Image& f) { f.Flip(0x23); }},
    {Field::kAcesAt, [](Image& f) { f.Flip(0x24); }},
    {Field::kQueriesAt, [](Image& f) { f.Flip(0x28); }},
    {Field::kRelationshipsAt, [](Image& f) { f.Flip(0x2C); }},
    {Field::kLanguage, [](Image& f) { f.Flip(0x6E); }, false},
    {Field::kSortVersion, [](Image& f) { f.Flip(0x71); }, false},
    {Field::kPasswordTail, [](Image& f) { f.Flip(0x69); }},
    {Field::kHeaderZeros, [](Image& f) { f.Flip(0x31); }},
    {Field::kHeaderZeros, [](Image& f) { f.Flip(0xDFF); }},
    {Field::kCodePage, [](Image& f) { f.Flip(0x3C); }},
    {Field::kBuild, [](Image& f) { f.Flip(0x6B); }},
    {Field::kFormatWord, [](Image& f) { f.Flip(0x98); }},
    {Field::kFormatText, [](Image& f) { f.Flip(0x9C); }},
    {Field::kFirstSlot, [](Image& f) { f.Put16(0xE00, 0x100); }},
    {Field::kSlots, [](Image& f) { f.Put16(0xE00 + 2 * 255, 0xFF); }},
    {Field::kRowPageWord8, [](Image& f) { f.Flip(f.At(f.rows, 8)); }},
    {Field::kRowPageWord8, [](Image& f) { f.Flip(f.At(kGlobalMap.page, 8)); }},
    {Field::kSlotFlag, [](Image& f) { f.Flip(f.Slot(f.first) + 1, 0x20); }},
    {Field::kGlobalRows,
     [](Image& f) {
       f.Put16(f.At(kGlobalMap.page, 0x0C), 1);
       f.Add16(f.At(kGlobalMap.page, 2), 69 + 2);
     }},
    {Field::kMapPageOwner, [](Image& f) { f.Flip(f.At(DefOf(*f.jobs).owned_map.page, 4)); }},
    {Field::kMapOddStart, [](Image& f) { f.Put32(f.Row(f.unused_map) + 1, 12); }},
    {Field::kMapBytes, [](Image& f) { f.Replace(f.unused_map, Bytes(65)); }},
    {Field::kMapOddBytes, [](Image& f) { f.Replace(f.unused_map, Bytes(70)); }},
    {Field::kListBytes,
     [](Image& f) {
       f.Replace(f.unused_map, Bytes{1, 0, 0, 0, 0});
     }},
    {Field::kBitmapWord2,
     [](Image& f) {
       const PageNumber bits{static_cast<std::uint32_t>(f.bytes.size() / kPageSize)};
       f.bytes.resize(f.bytes.size() + kPageSize);
       f.Put32(f.At(bits), 0x00010105);
       f.FlipInMap(kGlobalMap, bits);
       f.Put8(f.Row(f.unused_map), 1);
       f.Put32(f.Row(f.unused_map) + 1, bits.value);
     }},
    {Field::kGlobalStart, [](Image& f) { f.Put32(f.Row(kGlobalMap) + 1, 8); }, false},
    {Field::kGlobalBytes,
     [](Image& f) {
       Bytes map = f.RowBytes(kGlobalMap);
       map.resize(73);
       f.Replace(kGlobalMap, map);
     }},
    {Field::kMapPages,
     [](Image& f) {
       const PageNumber other = f.unused_map.page;
       const RowId map{other, AddRow(other, f.Page(other), Bytes(69), SlotKind::kLive)};
       f.Put32(f.At(f.def, 0x3B), map.packed());
     }},
    {Field::kStep, [](Image& f) { f.Put32(f.At(f.def, 0x18), 2); }},
    {Field::kStatistic8, [](Image& f) { f.Flip(f.At(f.def, 0x3F + 8)); }},
    {Field::kBytesBehind, [](Image& f) { f.Flip(f.At(f.def, f.U32(f.At(f.def, 8)) + 7)); }},
    {Field::kUserFlags, [](Image& f) { f.Flip(f.Column(1, 15), 8); }},
    {Field::kTextFlags, [](Image& f) { f.Put8(f.Column(1, 16), 2); }},
    {Field::kColumnWord17, [](Image& f) { f.Flip(f.Column(1, 20)); }},
    {Field::kColumnLanguage, [](Image& f) { f.Flip(f.Column(3, 11)); }},
    {Field::kSystemFlags, [](Image& f) { f.Flip(f.At(PageNumber{3}, 0x4B + 15), 0x40); }},
    {Field::kSystemPosition, [](Image& f) { f.Flip(f.At(PageNumber{3}, 0x4B + 9)); }},
    {Field::kBooleanBytes, [](Image& f) { f.Put16(f.Column(4, 23), 2); }},
    {Field::kBooleanOffset, [](Image& f) { f.Put16(f.Column(4, 21), 4); }},
    {Field::kOtherBytes, [](Image& f) { f.Put16(f.Column(3, 23), 9); }},
    {Field::kFixedSlot, [](Image& f) { f.Put16(f.Column(3, 7), 1); }},
    {Field::kFixedGap,
     [](Image& f) { f.Put16(f.At(DefOf(*f.empty).page, 0x3F + 12 + 25 + 21), 6); }},
    {Field::kPartOrder, [](Image& f) { f.Put8(f.Tree(1, 6), 3); }},
    {Field::kTreeFlags, [](Image& f) { f.Flip(f.Tree(1, 46), 0x40); }},
    {Field::kPrimaryFlags, [](Image& f) { f.Put8(f.Tree(0, 46), 0x81); }},
    {Field::kTreeTail, [](Image& f) { f.Flip(f.Tree(2, 51)); }},
    {Field::kSide, [](Image& f) { f.Put8(f.Index(0, 12), 3); }},
    {Field::kPlainCascade, [](Image& f) { f.Put8(f.Index(1, 22), 0); }},
    {Field::kRelationCascade,
     [](Image& f) {  // to itself
       f.Put32(f.Index(1, 13), f.U32(f.Index(1, 4)));
       f.Put32(f.Index(1, 17), f.def.value);
       f.Put8(f.Index(1, 23), LogicalIndex::kRelation);
     }},
    {Field::kPlainOtherIndex, [](Image& f) { f.Put32(f.Index(1, 13), 0); }},
    {Field::kPlainOtherTable, [](Image& f) { f.Put32(f.Index(1, 17), 2); }},
    {Field::kIndexWord24, [](Image& f) { f.Flip(f.Index(2, 27)); }},
    {Field::kRowBytes, [](Image& f) { f.Replace(*f.rooms->First(), Bytes(2)); }},
    {Field::kVariableStart,
     [](Image& f) {  // the last fixed column becomes a Single
       f.Put8(f.Column(3, 0), 6);
       f.Put16(f.Column(3, 23), 4);
     }},
    {Field::kInlineBytes,
     [](Image& f) {
       const RowId job = f.JobWith(LongValueKind::kInline);
       const std::size_t memo = f.Memo(LongValueKind::kInline);
       f.Put8(memo, static_cast<std::uint8_t>(f.U8(memo) + 70));
       Bytes row = f.RowBytes(job);  // ends with four offsets, their count and the mask
       row.insert(row.end() - 11, 70, 0);
       PutU16(row, row.size() - 11, GetU16(row, row.size() - 11) + 70u);
       f.Replace(job, row);
     }},
    {Field::kInlineAddress, [](Image& f) { f.Flip(f.Memo(LongValueKind::kInline) + 4); }},
    {Field::kSingleBytes,
     [](Image& f) {
       f.Replace(f.Piece(LongValueKind::kSingle), {});
       f.Put32(f.Memo(LongValueKind::kSingle), 0x40000000);
     }},
    {Field::kSingleSpare, [](Image& f) { f.Add16(f.Memo(LongValueKind::kSingle), -2); }},
    {Field::kSingleStamp, [](Image& f) { f.Flip(f.Memo(LongValueKind::kSingle) + 8); }},
    {Field::kChainPiece,
     [](Image& f) {
       const RowId first = f.Piece(LongValueKind::kChain);
       Bytes piece = f.RowBytes(first);
       piece.resize(piece.size() - 4);
       f.Replace(first, piece);
       f.Add16(f.Memo(LongValueKind::kChain), -4);
     }},
    {Field::kChainStamp,
     [](Image& f) {
       f.Put32(f.Memo(LongValueKind::kChain) + 8, 0);
       f.Put32(f.At(f.Piece(LongValueKind::kChain).page, 8), 0);
     }},
    {Field::kChainRows,
     [](Image& f) {
       const PageNumber page = f.Piece(LongValueKind::kChain).page;
       AddRow(page, f.Page(page), {}, SlotKind::kLive);
     },
     false},
    {Field::kTreeWord8, [](Image& f) { f.Flip(f.At(DefOf(*f.jobs).real_indexes[1].root, 8)); }},
    {Field::kLeafTail, [](Image& f) { f.Flip(f.At(f.name_leaf, 0x14)); }},
    {Field::kNodePrefix, [](Image& f) { f.Put16(f.At(f.root, 0x18), 1); }, false},
    {Field::kNodeEntries,
     [](Image& f) {
       f.ToggleEnd(f.root, f.Ends(f.root)[0]);
       f.Put16(f.At(f.root, 2), 3616);
     },
     false},
    {Field::kLonePrefix,
     [](Image& f) { f.Put16(f.At(DefOf(*f.empty).real_indexes[0].root, 0x18), 1); }},
    {Field::kContainerFlags, [](Image& f) { f.Put32(f.ObjectField("Tables", "Flags"), 1); }},
    {Field::kDatabaseFlags, [](Image& f) { f.Put32(f.ObjectField("MSysDb", "Flags"), 0); }},
    {Field::kSystemTableFlags, [](Image& f) { f.Put32(f.ObjectField("MSysACEs", "Flags"), 0); }},
    {Field::kUserTableFlags, [](Image& f) { f.Put32(f.ObjectField(kRooms, "Flags"), 2); }},
    {Field::kQueryFlags, [](Image& f) { f.Put32(f.ObjectField("一覧", "Flags"), 0x20000000); }},
    {Field::kTableParent, [](Image& f) { f.Put8(f.ObjectField(kRooms, "ParentId"), 2); }, false},
    {Field::kTableLinks,
     [](Image& f) {
       const RowId room = f.Object(kRooms);
       const std::size_t mask = f.Row(room) + f.RowBytes(room).size() - 3;
       const auto id = DefOf(*f.objects).columns[f.objects->OrdinalOf("ForeignName")].id.value;
       f.Flip(mask + id / 8u, 1u << id % 8);
     }},
};

class DamageTest : public EngineTest, public testing::WithParamInterface<Damage> {
 protected:
  DamageTest() {
    if (sound_.empty()) {
      Fill(Create());
      database_->Commit();
      database_.reset();
      sound_ = ReadFileBytes(path_);
    }
    WriteFileBytes(path_, sound_);
  }
  // The path of the file with the damage, and what is found in it.
  template <class Make>
  std::string Damaged(const Make& make, const std::string& name = "damaged.mdb") {
    Image file(path_);
    make(file);
    file.Save(folder_.File(name));
    return folder_.File(name);
  }
  template <class Make>
  CheckResult Check(const Make& make) {
    return CheckPath(Damaged(make));
  }

  static inline std::string sound_;  // the bytes of the file
};

TEST_F(DamageTest, NothingIsFoundBeforeTheDamage) {
  const CheckResult result = CheckPath(path_);
  EXPECT_THAT(result.findings, IsEmpty());
  EXPECT_EQ(result.tables, 7u);
  EXPECT_EQ(result.unverified_keys, 0u);
  ExpectSound(path_, true);
}

TEST_P(DamageTest, IsFound) {
  const auto& problem = GetParam().problem;
  const CheckResult result = Check(GetParam().make);
  const Image file(path_);
  const auto is_it = [&](const Finding& finding) {
    return finding.severity == Severity::kProblem && finding.code == problem.code &&
           finding.table == problem.table &&
           (problem.page == nullptr || finding.page == file.*problem.page) &&
           finding.text.find(problem.text) != std::string::npos;
  };
  EXPECT_TRUE(std::ranges::any_of(result.findings, is_it)) << Problems(result);
}

INSTANTIATE_TEST_SUITE_P(Check, DamageTest, testing::ValuesIn(kDamages),
                         [](const auto& info) { return info.param.problem.name; });

TEST_F(DamageTest, IsSeenByTheVerifierToo) {
  std::vector<std::string> paths;
  for (const Damage& damage : kDamages) {
    if (damage.verifier_sees_it) paths.push_back(Damaged(damage.make, damage.problem.name));
  }
  const auto verdicts = VerifierFinds(paths, true);
  for (std::size_t i = 0; verdicts && i < paths.size(); ++i) {
    EXPECT_NE((*verdicts)[i], "") << paths[i];
  }
}

TEST_F(DamageTest, OneValueOutOfItsRangeIsUnusualAndNothingElse) {
  std::set<Field> not_tried{Field::kMapFirstMark};
  for (const check::SeenField& seen : check::SeenFields()) not_tried.insert(seen.field);
  for (const Oddity& oddity : kOddities) {
    const check::SeenField& seen = check::Seen(oddity.field);
    SCOPED_TRACE(seen.name);
    not_tried.erase(seen.field);
    const CheckResult result = Check(oddity.make);
    const auto is_it = testing::Truly([&](const Finding& finding) {
      return finding.severity == Severity::kUnusual && finding.code == seen.code &&
             finding.text.find(seen.name) != std::string::npos;
    });
    EXPECT_THAT(result.findings, testing::Contains(is_it));
    if (oddity.alone) {
      EXPECT_THAT(result.findings, Each(is_it)) << Problems(result);
    }
  }
  EXPECT_THAT(not_tried, ElementsAre(Field::kMapFirstMark));  // below, in a larger file
}

// A table that was copied may count from below what is in it. We go on above, with
// a tree that begins with the numbers and without one.
TEST_F(DamageTest, CounterBehindANumberInUse) {
  const Image file(path_);
  const RowId has_651 =
      file.Find(*file.jobs, [](const Table::Row& row) { return row.Get(0) == Value(651); });
  const CheckResult result = Check([](Image& f) {
    f.Put32(f.At(f.def, 0x14), 650);
    f.Put32(f.At(DefOf(*f.rooms).page, 0x14), 1);
  });
  EXPECT_THAT(Codes(result), ElementsAre("warning autonumber"));
  EXPECT_THAT(
      result.findings.at(0).text,
      testing::AllOf(HasSubstr("given is 650, but 700 is in use"),
                     testing::EndsWith("gets 651, which row " + std::to_string(has_651.row) +
                                       " of page " + std::to_string(has_651.page.value) + " has")));
  path_ = folder_.File("damaged.mdb");
  Open();
  for (const auto& [table, number] :
       {std::pair{kJobs, 701}, {kJobs, 702}, {kRooms, 3}, {kRooms, 4}}) {
    const auto opened = database_->OpenTable(table);
    std::vector<Value> row(opened->columns().size());
    row[1] = table == kJobs ? Value("x") : Value(1);
    EXPECT_EQ(Get(*opened, opened->Insert(row), 0), Value(number));
  }
  database_->Commit();
  EXPECT_THAT(CheckPath(Copy()).findings, IsEmpty());
}

// One damaged table hides nothing in the others.
TEST_F(DamageTest, EachIsReportedOnce) {
  const CheckResult result = Check([](Image& f) {
    f.Put8(f.At(f.def, 0x0C), 0);
    f.Put32(f.At(DefOf(*f.rooms).page, 0x10), 4);
  });
  const Image file(path_);
  EXPECT_EQ(Problems(result), "page " + std::to_string(file.def.value) +
                                  ", table 物件: the definition lacks its marker\n" + "page " +
                                  std::to_string(DefOf(*file.rooms).page.value) +
                                  ", table 部屋: the definition counts 4 rows; 3 are there\n");
}

// What keeps a file from being opened is found page by page, and what could not be
// looked into is said.
TEST_F(DamageTest, JudgesWhatCannotBeOpened) {
  const auto codes = [&](void (*damage)(Image&)) { return Codes(Check(damage)); };
  EXPECT_THAT(codes([](Image& f) { f.bytes.resize(f.bytes.size() + 500); }),
              ElementsAre("problem file-size"));
  EXPECT_THAT(codes([](Image& f) { f.Put8(f.At(kObjectsPage), 4); }),
              ElementsAre("not checked not-checked", "problem page-kind"));
  EXPECT_THAT(codes([](Image& f) { f.bytes.resize(2 * kPageSize); }),
              testing::IsSupersetOf({"not checked not-checked", "problem beyond-end"}));
  // The sign of the creation date, which masks password and security ids.
  EXPECT_THAT(codes([](Image& f) { f.Flip(0x79, 0x80); }),
              testing::IsSupersetOf({"not checked not-checked", "problem creation-date"}));
  EXPECT_THAT(codes([](Image& f) { f.Put16(0xE00, 0); }), ElementsAre("problem commit-slot"));
  EXPECT_THAT(codes([](Image& f) { f.Put8(f.Row(DefOf(*f.jobs).owned_map), 7); }),
              testing::IsSupersetOf({"not checked not-checked", "problem map-form"}));
}

TEST_F(DamageTest, AsksForThePasswordOnlyIfGivenOne) {
  Open().SetPassword("geheim");
  database_->Commit();
  database_.reset();
  const auto check = [&](std::optional<std::string> password) {
    return CodeOf([&] {
      EXPECT_THAT(CheckFile(*files_, path_, {.password = std::move(password)}).findings, IsEmpty());
    });
  };
  EXPECT_EQ(check("Geheim"), ErrorCode::kWrongPassword);
  EXPECT_EQ(check("geheim"), std::nullopt);
  EXPECT_EQ(check(std::nullopt), std::nullopt);
}

class CheckTest : public EngineTest {
 protected:
  CheckResult Check() {
    database_->Commit();
    return CheckPath(Copy());
  }
};

// Behind page 512 the maps of new tables, columns and indexes begin elsewhere.
TEST_F(CheckTest, MapsBehindPage512AreUsual) {
  Create();
  for (const auto& [name, values] : {std::pair{"A", 60}, {"B", 60}, {"C", 60}, {"D", 1}}) {
    const auto table =
        database_->CreateTable({name,
                                {{"ID"}, {"M", kOle}},
                                {{.name = "PrimaryKey", .columns = {"ID"}, .primary = true}}});
    for (int i = 0; i < values; ++i) {
      table->Insert(std::vector<Value>{i, Bytes(std::size_t{40'000}, std::uint8_t{1})});
    }
  }
  ASSERT_GT(database_->info().page_count, 1500u);
  EXPECT_THAT(Check().findings, IsEmpty());
  // A map that reaches the table's page from page 0 on.
  Scope scope(pager());
  const auto table = database_->OpenTable("D");
  const RowId map = DefOf(*table).owned_map;
  const PageNumber page = table->First()->page;
  Bytes row(5 + (page.value / 32 + 1) * 4);
  PutU8(row, 5 + page.value / 8, static_cast<std::uint8_t>(1 << page.value % 8));
  ASSERT_TRUE(ReplaceRow(map.page, pager().Edit(map.page), map.row, row, SlotKind::kLive));
  scope.Commit();
  EXPECT_THAT(Codes(Check()), ElementsAre("unusual unusual-map"));
}

// Keys with a Null part do not collide.
TEST_F(CheckTest, EqualKeysWithNullAreSound) {
  Create();
  const auto codes = [&](const char* name, const std::vector<Value>& row) {
    const auto table = database_->CreateTable(
        {name, {{"A"}, {"B"}}, {{.name = "Both", .columns = {"A", "B"}, .unique = true}}});
    for (int i = 0; i < 2; ++i) table->Insert(row);
    return Codes(Check());
  };
  EXPECT_THAT(codes("N", {Null{}, Null{}}), IsEmpty());
  EXPECT_THAT(codes("M", {1, Null{}}), ElementsAre("warning key-twice"));
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
