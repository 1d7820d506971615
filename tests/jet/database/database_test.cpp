#include "jet/database/database.h"

#include <gmock/gmock.h>

#include <map>
#include <set>

#include "jet/database/catalog.h"
#include "jet/table/internals.h"
#include "tests/support/jet_fixture.h"

namespace jet {
namespace {

using enum ColumnType;
using namespace test_support;
using testing::ElementsAre;
using Row = std::vector<Value>;

class DatabaseTest : public EngineTest {
 protected:
  void OpenCopyOf(std::string_view sample) {
    path_ = CopySample(folder_, sample);
    Open(OpenMode::kExclusive, "ucanaccess");
  }
  void Close() {
    database_->Commit();
    database_.reset();
  }
};

// All rows of all tables of a user, as values.
using TableRows = std::map<std::string, std::vector<Row>>;
TableRows Contents(Database& database) {
  TableRows contents;
  for (const ObjectInfo& object : database.Objects()) {
    if (object.kind != ObjectKind::kTable) continue;
    contents[object.name] = RowsOf(*database.OpenTable(object));
  }
  return contents;
}

// Every stored security id in clear, by table and row.
std::vector<Bytes> PlainSids(Database& database) {
  std::vector<Bytes> sids;
  for (const auto& [name, column] : {std::pair("MSysObjects", "Owner"), {"MSysACEs", "SID"}}) {
    for (const Value& sid : FieldsOf(*database.OpenTable(name), column)) {
      sids.push_back(IsNull(sid) ? Bytes()
                                 : Internals(database).header().MaskSid(std::get<Bytes>(sid)));
    }
  }
  return sids;
}

std::vector<ColumnSpec> Columns(int count, ColumnType type = kLong) {
  std::vector<ColumnSpec> columns;
  for (int i = 0; i < count; ++i) columns.push_back({"c" + std::to_string(i), type});
  return columns;
}

TEST_F(DatabaseTest, MadeFromNothingIsTheFileThatTheCatalogInterfaceMakes) {
  SKIP_WITHOUT_SAMPLES();
  const std::string sample = SamplePath("adox_jet4.mdb");
  const auto like = Database::Open(*files_, sample, {});
  // The real clock went on a little between the header and the rows.
  std::vector<DateTime> moments = {like->Find("MSysObjects")->created, like->info().created};
  const auto clock = [&] {
    const DateTime moment = moments.back();
    if (moments.size() > 1) moments.pop_back();
    return moment;
  };
  Create({.order = kGeneral,
          .code_page = 1252,
          .engine_build = like->info().engine_build,
          .clock = clock})
      .Commit();
  const std::string real = ReadFileBytes(sample), ours = ReadFileBytes(path_);
  ASSERT_EQ(ours.size(), real.size());
  std::size_t differing = 0;
  for (std::size_t i = 0; i < real.size(); ++i) {
    if (ours[i] == real[i]) continue;
    ++differing;
    // What the engine leaves as its memory held it: the offset field of
    // variable columns, and parts of index blocks that are not in use.
    EXPECT_TRUE(i >= 2 * kPageSize && i < 6 * kPageSize) << i;
    EXPECT_EQ(ours[i], 0) << i;
  }
  EXPECT_EQ(differing, 26u);
}

TEST_F(DatabaseTest, MadeFromNothingIsSoundAndAlwaysTheSame) {
  const auto make = [&] {
    Create({.password = "ひみつ合言葉"}).Commit();
    return ReadFileBytes(path_);
  };
  const std::string first = make();
  EXPECT_EQ(make(), first);
  ExpectSound(path_, true);
  Open(OpenMode::kRead, "ひみつ合言葉");
  EXPECT_EQ(database_->order(), kJapanese);
  EXPECT_EQ(database_->info().code_page, 932);
  std::vector<std::string> names;
  for (const ObjectInfo& object : database_->Objects()) names.push_back(object.name);
  EXPECT_THAT(names, ElementsAre("Tables", "Databases", "Relationships", "MSysDb", "MSysObjects",
                                 "MSysACEs", "MSysQueries", "MSysRelationships"));
  EXPECT_EQ(PlainSids(*database_)[3], (Bytes{0x03, 0x01}));
  EXPECT_EQ(CodeOf([&] { Open(OpenMode::kRead, "ひみつ"); }), ErrorCode::kWrongPassword);
}

TEST_F(DatabaseTest, KeepsTablesOfEveryType) {
  TableSpec spec{.name = "表"};
  for (int type = 1; type <= 16; ++type) {
    if (type == 13 || type == 14) continue;
    spec.columns.push_back({.name = "列" + std::to_string(type),
                            .type = static_cast<ColumnType>(type),
                            .max_size = type == 9 || type == 10 ? 50u : 0,
                            .compressed = true});
  }
  spec.columns[0].required = true;  // means nothing for Yes/No
  spec.columns[3].auto_number = true;
  spec.columns[9].required = true;
  spec.columns[9].allow_zero_length = false;
  spec.columns[9].default_expression = "\"ﾊｾﾞ\"";
  spec.indexes = {{.name = "PrimaryKey", .columns = {"列4"}, .primary = true},
                  {.name = "A", .columns = {"列１０", "列8"}, .descending = {true, false}}};
  const auto table = Create().CreateTable(spec);
  EXPECT_EQ(database_->OpenTable("表"), table);
  EXPECT_FALSE(table->columns()[0].required);
  EXPECT_FALSE(table->columns()[9].allow_zero_length);
  EXPECT_EQ(table->NewRow()[9], Value("ﾊｾﾞ"));

  Row row = {true,
             std::uint8_t{200},
             std::int16_t{-5},
             Null{},
             Currency{-12'345},
             0.5f,
             -1e300,
             kMoment,
             Bytes{1, 2, 3},
             "ﾊｾﾞ",
             Bytes(5000, 7),
             "排煙ダクトシール㎡(プラズマ)",
             Guid{{1, 2, 3, 4}},
             Numeric{true, {0, 0, 0, 123}}};
  table->Insert(row);
  row[3] = 1;  // as it was given
  const Row kept = row;
  EXPECT_EQ(CodeOf([&] { table->Insert(row); }), ErrorCode::kDuplicateKey);
  row[9] = Null{};
  EXPECT_EQ(CodeOf([&] { table->Insert(row); }), ErrorCode::kRequired);
  row[9] = "";
  EXPECT_EQ(CodeOf([&] { table->Insert(row); }), ErrorCode::kZeroLength);
  ExpectSoundAfterCommit();

  Open(OpenMode::kRead);
  EXPECT_EQ(Contents(*database_), (TableRows{{"表", {kept}}}));
  EXPECT_EQ(database_->OpenTable("表")->columns()[9].default_expression, "\"ﾊｾﾞ\"");
  EXPECT_EQ(database_->Find("表")->kind, ObjectKind::kTable);
  EXPECT_EQ(database_->Find("表")->created, kMoment);
}

TEST_F(DatabaseTest, GrowsATableWithoutTouchingItsRows) {
  Create().CreateTable({.name = "空"});
  ExpectSoundAfterCommit();
  const auto table = database_->OpenTable("空");
  database_->AppendColumn("空", {"番号"});
  database_->AppendColumn("空", {"文字", kText, 5});
  for (int i = 0; i < 300; ++i) table->Insert(Row{i, Null{}});
  const auto rows = [&] {
    const PageRef page = pager().Read(table->First()->page);
    return Bytes(page.bytes().begin(), page.bytes().end());
  };
  const Bytes before = rows();
  for (int i = 0; i < 252; ++i) {  // the definition outgrows its page many times
    ColumnSpec column{.name = "とても長い名前の列_" + std::to_string(i), .required = i % 2 == 0};
    if (i % 3 == 0) column.type = kBoolean;
    if (i % 3 == 1) column.type = kText, column.max_size = 20;
    if (i == 30) column.type = kMemo;
    database_->AppendColumn("空", column);
  }
  EXPECT_EQ(table->columns().size(), 254u);
  database_->AppendColumn("空", {"最後", kMemo});
  EXPECT_EQ(CodeOf([&] { database_->AppendColumn("空", {"過剰"}); }), ErrorCode::kTooManyColumns);
  EXPECT_EQ(rows(), before);
  EXPECT_EQ(Get(*table, *table->Last(), 0), Value(299));
  EXPECT_EQ(Get(*table, *table->Last(), 2), Value(false));
  EXPECT_EQ(Get(*table, *table->Last(), 3), Value(Null{}));
  EXPECT_TRUE(table->columns()[4].required);
  Set(*table, *table->First(), 254, std::string(5000, 'x'));
  ExpectSoundAfterCommit();
}

// A row of a table without variable columns has no offsets; other readers look
// for them as soon as the table has such a column.
TEST_F(DatabaseTest, TheFirstVariableColumnGivesEveryRowItsOffsets) {
  const auto table = Create().CreateTable({"設定", {{"ＩＤ"}, {"長さ", kDouble}}, {}});
  for (int i = 0; i < 400; ++i) table->Insert(Row{i, i / 4.0});
  const std::vector<RowId> ids = RowIds(*table);
  database_->AppendColumn("設定", {"名称", kText, 50});
  EXPECT_EQ(RowIds(*table), ids) << "rows keep their places";
  const std::vector<Row> rows = RowsOf(*table);
  for (int i = 0; i < 400; ++i)
    EXPECT_EQ(rows[static_cast<std::size_t>(i)], (Row{i, i / 4.0, Null{}}));
  Set(*table, ids[3], 2, "名");
  ExpectSoundAfterCommit();
}

TEST_F(DatabaseTest, IndexesRowsThatAreThere) {
  const auto table = Create().CreateTable({"t", {{"a"}, {"b", kText, 9}}, {}});
  for (int i = 0; i < 2000; ++i) {
    table->Insert(Row{2000 - i, i % 2 == 0 ? Value("n" + std::to_string(i % 100)) : Value()});
  }
  const auto refused = [&](const IndexSpec& index) {
    return CodeOf([&] { database_->AddIndex("t", index); });
  };
  EXPECT_EQ(refused({.name = "u", .columns = {"b"}, .unique = true}), ErrorCode::kDuplicateKey);
  EXPECT_EQ(refused({.name = "PrimaryKey", .columns = {"b"}, .primary = true}),
            ErrorCode::kNullKey);
  EXPECT_TRUE(DefOf(*table).real_indexes.empty());
  database_->AddIndex("T", {.name = "PrimaryKey", .columns = {"a"}, .primary = true});
  database_->AddIndex("t", {.name = "B", .columns = {"b"}, .ignore_nulls = true});
  EXPECT_EQ(DefOf(*table).real_indexes[0].distinct_keys, 2000u);
  EXPECT_EQ(DefOf(*table).real_indexes[1].distinct_keys, 50u);
  EXPECT_EQ(DefOf(*table).logical_indexes[0].name, "B");
  EXPECT_EQ(FindBy(*table, 0, 2000), table->First());
  EXPECT_EQ(CodeOf([&] { table->Insert(Row{7, Null{}}); }), ErrorCode::kDuplicateKey);
  ExpectSoundAfterCommit();
}

TEST_F(DatabaseTest, NullsThatAreThereDoNotCollideInAUniqueIndex) {
  const auto table = Create().CreateTable({"t", {{"a"}, {"b"}}, {}});
  for (int i = 0; i < 2; ++i) {
    table->Insert(Row{1, Null{}});
    table->Insert(Row{Null{}, Null{}});
  }
  database_->AddIndex("t", {.name = "b", .columns = {"b"}, .unique = true});
  EXPECT_EQ(DefOf(*table).real_indexes[0].distinct_keys, 1u);
  ExpectSoundAfterCommit();
  database_->AddIndex("t", {.name = "ab", .columns = {"a", "b"}, .unique = true});
  EXPECT_EQ(DefOf(*table).real_indexes[1].distinct_keys, 2u);
  database_->AddIndex("t", {.name = "s", .columns = {"a", "b"}, .ignore_nulls = true});
  std::size_t entries = 0;
  const Index index = Internals(*database_).OpenIndex(*table, 2);
  for (auto at = index.First(); at.valid(); at.Next()) ++entries;
  EXPECT_EQ(entries, 2u) << "a row has an entry unless all is Null";
  table->Insert(Row{1, Null{}});
  table->Insert(Row{1, 1});
  EXPECT_EQ(CodeOf([&] { table->Insert(Row{1, 1}); }), ErrorCode::kDuplicateKey);
}

// The least row, whatever its texts: 4060 bytes fit a page, one more does not.
TEST_F(DatabaseTest, TheLeastRowMayFillAPage) {
  Create();
  for (const bool variable : {false, true}) {
    const std::string name = variable ? "v" : "f";
    std::vector<ColumnSpec> columns = Columns(236, kNumeric);
    columns.push_back({"double", kDouble});
    columns.push_back({"number", variable ? kInteger : kLong});
    if (variable) columns.push_back({"text", kText, 1});
    database_->CreateTable({name, columns, {}})->Insert(Row(columns.size()));
    EXPECT_EQ(CodeOf([&] { database_->AppendColumn(name, {"x", kByte}); }), ErrorCode::kRowTooLong);
    database_->AppendColumn(name, {"x", kBoolean});
  }
  ExpectSoundAfterCommit();
}

struct RefusedTable {
  const char* name;
  TableSpec spec;
  ErrorCode code;
};

TableSpec NewTable(std::vector<ColumnSpec> columns, std::vector<IndexSpec> indexes = {}) {
  return {"new", std::move(columns), std::move(indexes)};
}

std::vector<RefusedTable> RefusedTables() {
  const ColumnSpec plain{"c0"};
  const IndexSpec on_it{.name = "i", .columns = {"c0"}};
  IndexSpec on_eleven{.name = "i"};
  for (const ColumnSpec& column : Columns(11)) on_eleven.columns.push_back(column.name);
  std::vector<IndexSpec> too_many_indexes(33, on_it);
  for (IndexSpec& index : too_many_indexes) {
    index.name += std::to_string(&index - too_many_indexes.data());
  }
  return {
      {"NameOfATable", {"ﾊｾﾞ"}, ErrorCode::kNameTaken},
      {"NameOfAQuery", {"Q"}, ErrorCode::kNameTaken},
      {"NoName", {""}, ErrorCode::kBadName},
      {"NameWithADot", {"a.b"}, ErrorCode::kBadName},
      {"NameOf65Letters", {std::string(65, 'n')}, ErrorCode::kBadName},
      {"ColumnWithABracket", NewTable({{"a]"}}), ErrorCode::kBadName},
      {"ColumnsOfOneName", NewTable({{"ア"}, {"ｱ"}}), ErrorCode::kColumnExists},
      {"TextOf256", NewTable({{"x", kText, 256}}), ErrorCode::kOutOfRange},
      {"TextOfNothing", NewTable({{"x", kText, 0}}), ErrorCode::kOutOfRange},
      {"ColumnOfAnInnerType", NewTable({{"r", kRaw}}), ErrorCode::kNotSupported},
      {"256Columns", NewTable(Columns(256)), ErrorCode::kTooManyColumns},
      {"RowOverAPage", NewTable(Columns(250, kNumeric)), ErrorCode::kRowTooLong},
      {"IndexesOfOneName", NewTable({plain}, {on_it, on_it}), ErrorCode::kIndexExists},
      {"IndexOfNoColumn", NewTable({plain}, {{.name = "i", .columns = {"d"}}}),
       ErrorCode::kColumnMissing},
      {"IndexOfABoolean", NewTable(Columns(1, kBoolean), {on_it}), ErrorCode::kNotSupported},
      {"IndexOfAColumnTwice", NewTable({plain}, {{.name = "i", .columns = {"c0", "C0"}}}),
       ErrorCode::kColumnExists},
      {"IndexOfElevenColumns", NewTable(Columns(20), {on_eleven}), ErrorCode::kTooManyColumns},
      {"33Indexes", NewTable({plain}, too_many_indexes), ErrorCode::kTooManyIndexes},
  };
}

class RefusedTableTest : public DatabaseTest, public testing::WithParamInterface<RefusedTable> {};

TEST_P(RefusedTableTest, ChangesNothing) {
  Create().CreateTable({"ハゼ", {{"x", kText, 255}}, {}});
  database_->CreateQuery("q", {}, "SELECT");
  database_->Commit();
  const std::string before = ReadFileBytes(path_);
  EXPECT_EQ(CodeOf([&] { database_->CreateTable(GetParam().spec); }), GetParam().code);
  database_->Commit();
  EXPECT_EQ(ReadFileBytes(path_), before);
}

INSTANTIATE_TEST_SUITE_P(With, RefusedTableTest, testing::ValuesIn(RefusedTables()),
                         [](const auto& info) { return info.param.name; });

TEST_F(DatabaseTest, RefusesWhatTheFormatDoesNotAllowAndChangesNothing) {
  Create().CreateTable({"ハゼ", {{"x", kText, 255}}, {}});
  database_->CreateQuery("q", {}, "SELECT");
  database_->Commit();
  const std::string before = ReadFileBytes(path_);

  const auto append = [&](std::string_view table,
                          const ColumnSpec& column) -> std::optional<ErrorCode> {
    try {
      database_->AppendColumn(table, column);
    } catch (const Error& error) {
      EXPECT_EQ(error.table(), table);
      return error.code();
    }
    return {};
  };
  EXPECT_EQ(append("ハゼ", {"Ｘ"}), ErrorCode::kColumnExists);
  EXPECT_EQ(append("ハゼ", {"a.b"}), ErrorCode::kBadName);
  EXPECT_EQ(append("ハゼ", {"y", kText, 256}), ErrorCode::kOutOfRange);
  EXPECT_EQ(append("none", {"c0"}), ErrorCode::kTableMissing);
  EXPECT_EQ(append("MSysQueries", {"c0"}), ErrorCode::kNotSupported);
  EXPECT_EQ(CodeOf([&] { database_->OpenTable("q"); }), ErrorCode::kTableMissing);
  EXPECT_EQ(CodeOf([&] { database_->CreateQuery("ﾊｾﾞ", {}, ""); }), ErrorCode::kNameTaken);
  EXPECT_EQ(CodeOf([&] { database_->CreateQuery("r", {}, std::string(32'764, 'x')); }),
            ErrorCode::kTextTooLong);
  EXPECT_EQ(CodeOf([&] { database_->SetPassword("123456789012345678901"); }),
            ErrorCode::kOutOfRange);
  try {
    database_->CreateTable(NewTable({{"a]"}}));
    FAIL();
  } catch (const Error& error) {
    EXPECT_EQ(error.table(), "new");
    EXPECT_EQ(error.column(), "a]");
    EXPECT_EQ(error.file(), database_->path());
  }
  EXPECT_EQ(database_->Objects().size(), 10u);
  database_->Commit();
  EXPECT_EQ(ReadFileBytes(path_), before);
}

TEST_F(DatabaseTest, ForgetsEverythingThatWasNotCommitted) {
  const auto kept = Create().CreateTable({"kept", {{"a"}}, {}});
  database_->Commit();
  const auto gone = database_->CreateTable({"gone"});
  database_->AppendColumn("kept", {.name = "b", .required = true});
  database_->SetPassword("pw");
  EXPECT_TRUE(database_->info().has_password);
  database_->Discard();
  EXPECT_FALSE(database_->info().has_password);
  EXPECT_FALSE(database_->Find("gone"));
  EXPECT_EQ(database_->OpenTable("kept"), kept);
  EXPECT_EQ(kept->columns().size(), 1u);
  EXPECT_EQ(CodeOf([&] { DefOf(*gone); }), ErrorCode::kTableMissing);
  database_->CreateTable({"other", {{"z"}}, {}});
  EXPECT_EQ(CodeOf([&] { gone->First(); }), ErrorCode::kTableMissing) << "its page is another's";
  EXPECT_EQ(database_->OpenTable("other")->columns()[0].name, "z");
  ExpectSoundAfterCommit();
}

// A table that is open follows its properties into a change and back out of it,
// whether or not anybody opens it anew.
TEST_F(DatabaseTest, ATableInHandHasTheRulesOfTheFile) {
  const auto table = Create().CreateTable({"t", {{"a", kText, 9}}, {}});
  database_->Commit();
  const Row null{Null{}};
  const auto change = [&] {
    const ObjectInfo object = *database_->Find("t");
    Properties properties = database_->LoadProperties(object);
    properties.SetBoolean(kJapanese, "a", kRequiredProperty, true);
    properties.SetBoolean(kJapanese, "a", kAllowZeroLengthProperty, false);
    properties.SetText(kJapanese, "a", kDefaultValueProperty, kMemo, 1, "\"d\"");
    database_->StoreProperties(object, properties);
    EXPECT_EQ(CodeOf([&] { table->Insert(null); }), ErrorCode::kRequired);
    EXPECT_EQ(CodeOf([&] { table->Insert(Row{""}); }), ErrorCode::kZeroLength);
    EXPECT_EQ(table->NewRow()[0], Value("d"));
  };
  change();
  database_->Discard();
  EXPECT_FALSE(table->columns()[0].required);
  EXPECT_EQ(table->NewRow(), null);
  {
    Scope scope(pager());
    change();
  }
  const RowId row = table->Insert(null);
  Set(*table, row, 0, "");
  change();
  database_->Commit();
  database_->Discard();
  EXPECT_EQ(CodeOf([&] { Set(*table, row, 0, Null{}); }), ErrorCode::kRequired);
}

TEST_F(DatabaseTest, ANewColumnHasNothingOfOneThatWasDropped) {
  Create().CreateTable({"t"});
  const ObjectInfo object = *database_->Find("t");
  Properties properties;
  properties.SetBoolean(kJapanese, "ｱ", kRequiredProperty, true);
  database_->StoreProperties(object, properties);
  database_->AppendColumn("t", {"ア"});
  EXPECT_FALSE(database_->OpenTable("t")->columns()[0].required);
  EXPECT_TRUE(database_->LoadProperties(object).empty());
}

TEST_F(DatabaseTest, DatesEveryChange) {
  double now = 40000;
  Create({.clock = [&] { return DateTime{++now}; }}).CreateTable({"t", {{"a"}}, {}});
  const ObjectInfo made = *database_->Find("t");
  const auto dated = [&](auto&& change) {
    change();
    EXPECT_EQ(database_->Find("t")->created, made.created);
    EXPECT_EQ(database_->Find("t")->updated, DateTime{now});
    database_->Commit();
    database_->Discard();
    EXPECT_EQ(database_->Find("t")->updated, DateTime{now});
  };
  EXPECT_EQ(made.created, made.updated);
  dated([&] { database_->AppendColumn("t", {"b"}); });
  dated([&] { database_->AddIndex("t", {.name = "i", .columns = {"a"}}); });
  dated([&] { database_->StoreProperties(made, {}); });
}

// By kind and number, wherever the rows stand.
TEST_F(DatabaseTest, ReadsTheRowsOfAQueryInTheirOrder) {
  const QueryRow first{.attribute = QueryRow::kOutput, .expression = "1"},
      second{.attribute = QueryRow::kOutput, .expression = "2"};
  Create().CreateQuery("q", {{first, second}}, {});
  const auto rows = database_->OpenTable("MSysQueries");
  EXPECT_THAT(FieldsOf(*rows, "Order"), ElementsAre(Bytes{0, 0, 0, 1}, Bytes{0, 0, 0, 2}));
  Set(*rows, *rows->First(), rows->OrdinalOf("Order"), Bytes{0, 0, 1, 0});
  EXPECT_EQ(database_->LoadQuery(*database_->Find("q")).rows, (std::vector{second, first}));
}

TEST_F(DatabaseTest, KeepsAQueryWithItsText) {
  const QueryDefinition definition{
      {{QueryRow::kStart, 1, {}, {}, {}},
       {QueryRow::kEnd, {}, {}, {}, {}},
       {QueryRow::kSource, {}, "表", "別名", {}},
       {QueryRow::kSource, {}, "表2", {}, {}},
       {QueryRow::kOutput, 0, "合計", {}, "Sum([表].[長い列名_長い列名_長い列名_長い列名])"},
       {QueryRow::kJoin, 2, "別名", "表2", "[別名].[a]=[表2].[a]"}}};
  std::string text = "SELECT a\rFROM 表\r";
  while (text.size() < 3 * 32'700) text += "長";  // the limit counts characters
  Create().CreateTable({"t"});
  database_->CreateQuery("Ｑ１", definition, text);
  database_->CreateQuery("Q2", {{definition.rows[0], definition.rows[1]}}, "");
  ExpectSoundAfterCommit();

  Open(OpenMode::kRead);
  const ObjectInfo query = *database_->Find("q1");
  EXPECT_EQ(query.kind, ObjectKind::kQuery);
  EXPECT_EQ(query.id, INT32_MIN);
  EXPECT_EQ(query.flags, kProviderQueryFlag);
  EXPECT_EQ(database_->Find("q2")->id, INT32_MIN + 1);
  EXPECT_EQ(database_->LoadQuery(query), definition);
  EXPECT_EQ(database_->LoadProperties(query).Find(kJapanese, {}, kCommandTextProperty)->Text(),
            text);
  EXPECT_TRUE(database_->LoadProperties(*database_->Find("Q2")).empty());
  // Rights: the creator's become the owner's, the users' are copied.
  const auto rights = database_->OpenTable("MSysACEs");
  std::vector<std::pair<Bytes, Value>> of_query;
  for (const RowId id : RowIds(*rights)) {
    const auto field = [&](const char* name) { return Get(*rights, id, rights->OrdinalOf(name)); };
    if (field("ObjectId") != Value(query.id)) continue;
    of_query.emplace_back(Internals(*database_).header().MaskSid(std::get<Bytes>(field("SID"))),
                          field("ACM"));
  }
  EXPECT_THAT(of_query, ElementsAre(std::pair(Bytes{0x03, 0x01}, Value(0xF00FE)),
                                    std::pair(Bytes{0x02, 0x01}, Value(0xFFEFF))));
}

TEST_F(DatabaseTest, ChangesEveryRealFileAndLeavesItsRows) {
  SKIP_WITHOUT_SAMPLES();
  // The verifier's second opinion where something is out of the ordinary:
  // Japanese, dropped columns, moved rows, long values, encoded pages.
  const std::set<std::string> verified = {
      "ja/schedule.mdb",       "ja/seikyu2.mdb", "ja/exampledb.mdb", "delColTestV2000.mdb",
      "overflowTestV2000.mdb", "test2V2000.mdb", "db-enc.mdb",       "password.mdb"};
  for (const std::string& name : SampleNames()) {
    SCOPED_TRACE(name);
    OpenCopyOf(name);
    TableRows expected = Contents(*database_);
    for (auto& [table, rows] : expected) {
      database_->AppendColumn(table, {"新しい旗", kBoolean});
      database_->AppendColumn(
          table, {.name = "新しい文字", .type = kText, .max_size = 50, .required = true});
      database_->AppendColumn(table, {.name = "新しい数", .default_expression = "7"});
      database_->AppendColumn(table, {"新しいメモ", kMemo});
      for (Row& row : rows) row.insert(row.end(), {false, Null{}, Null{}, Null{}});
      EXPECT_EQ(database_->Find(table)->updated, kMoment);
    }
    const auto fresh =
        database_->CreateTable({"新しい表",
                                {{"ＩＤ"}, {"注", kMemo}},
                                {{.name = "PrimaryKey", .columns = {"ＩＤ"}, .primary = true}}});
    const Row row = {1, std::string(100, 'x')};
    fresh->Insert(row);
    expected["新しい表"] = {row};
    database_->CreateQuery("新しい問合せ",
                           {{{QueryRow::kStart, 1, {}, {}, {}},
                             {QueryRow::kEnd, {}, {}, {}, {}},
                             {QueryRow::kSource, {}, "新しい表", {}, {}}}},
                           "SELECT * FROM 新しい表");
    EXPECT_EQ(Contents(*database_), expected);
    Close();
    verified.contains(name) ? ExpectSound(path_) : ExpectSoundByOurs(path_);
    EXPECT_EQ(Contents(Open(OpenMode::kRead, "ucanaccess")), expected);
  }
}

// Objects whose row promises more than the file holds.
TEST_F(DatabaseTest, DoesNotTrustTheObjectList) {
  const auto objects = Create().OpenTable("MSysObjects");
  const struct {
    const char* name;
    std::int16_t type;
    std::int32_t id;
    ErrorCode code;
  } cases[] = {{"外", kTableObject, 999'999, ErrorCode::kDamaged},
               {"負", kTableObject, -7, ErrorCode::kDamaged},
               {"行", kTableObject, 14, ErrorCode::kDamaged},
               {"ODBC", kOdbcLink, -8, ErrorCode::kNotSupported},
               {"file", kFileLink, -9, ErrorCode::kNotSupported}};
  for (const auto& c : cases) {
    objects->Insert(
        objects->NewRow(std::vector<FieldChange>{{objects->OrdinalOf("Id"), c.id},
                                                 {objects->OrdinalOf("ParentId"), kTablesContainer},
                                                 {objects->OrdinalOf("Name"), c.name},
                                                 {objects->OrdinalOf("Type"), c.type},
                                                 {objects->OrdinalOf("Flags"), 0}}));
  }
  // Whatever its flags say, the list of rights is not a table of the user's.
  for (const RowId id : RowIds(*objects)) {
    if (Get(*objects, id, objects->OrdinalOf("Name")) != Value("MSysACEs")) continue;
    Set(*objects, id, objects->OrdinalOf("Flags"), Null{});
  }
  database_->Commit();
  database_->Discard();
  EXPECT_EQ(database_->Find("MSysACEs")->kind, ObjectKind::kSystemTable);
  for (const auto& c : cases) {
    EXPECT_EQ(CodeOf([&] { database_->OpenTable(c.name); }), c.code) << c.name;
    EXPECT_EQ(CodeOf([&] { database_->CreateTable({c.name}); }), ErrorCode::kNameTaken);
  }
  // Ids of queries go on from the greatest negative one.
  database_->CreateQuery("q", {}, {});
  EXPECT_EQ(database_->Find("q")->id, -6);
}

TEST_F(DatabaseTest, ChangesThePasswordAndKeepsEverybodysRights) {
  SKIP_WITHOUT_SAMPLES();
  for (const char* name : {"password.mdb", "ja/schedule.mdb", "db-enc.mdb"}) {
    SCOPED_TRACE(name);
    OpenCopyOf(name);
    const std::vector<Bytes> plain = PlainSids(*database_);
    EXPECT_THAT(plain, testing::Contains(Bytes{0x03, 0x01}));
    for (const char* password : {"新しい合言葉", "a", "", "pw"}) {
      database_->SetPassword(password);
      EXPECT_EQ(PlainSids(*database_), plain);
    }
    Close();
    ExpectSound(path_);
    EXPECT_EQ(CodeOf([&] { Open(OpenMode::kRead, "PW"); }), ErrorCode::kWrongPassword);
    EXPECT_EQ(PlainSids(Open(OpenMode::kRead, "pw")), plain);
  }
}

TEST_F(DatabaseTest, RefusesFilesItCannotRead) {
  SKIP_WITHOUT_SAMPLES();
  const auto code = [&](const std::string& path, OpenMode mode = OpenMode::kRead) {
    return CodeOf([&] { Database::Open(*files_, path, {.mode = mode}); });
  };
  EXPECT_EQ(code(SamplePath("jet3.mdb")), ErrorCode::kNotJet4);
  EXPECT_EQ(code(folder_.File("none.mdb")), ErrorCode::kFileNotFound);
  std::string real = ReadFileBytes(SamplePath("adox_jet4.mdb"));
  for (const std::size_t size : {0u, 1u, 100u, 4095u, 4096u, 2 * 4096u, 7 * 4096u, 14 * 4096u}) {
    WriteFileBytes(path_, real.substr(0, size));
    EXPECT_EQ(code(path_), size < kPageSize ? ErrorCode::kNotJet4 : ErrorCode::kDamaged) << size;
  }
  real[0xE00] = real[0xE01] = 0;  // a write that was never finished
  WriteFileBytes(path_, real);
  EXPECT_EQ(code(path_, OpenMode::kExclusive), ErrorCode::kNeedsRepair);
  EXPECT_EQ(Open(OpenMode::kRead).Objects().size(), 8u);
}

TEST_F(DatabaseTest, WritesNoTextsOfAnOrderItCannotSort) {
  Create();
  Close();
  std::string file = ReadFileBytes(path_);
  file[0x6E] ^= 1041 ^ 1042;  // the language; what masks it stays on it
  file[0x71] ^= 1;            // the version
  WriteFileBytes(path_, file);
  Open();
  EXPECT_EQ(database_->Objects().size(), 8u);
  try {
    database_->CreateTable({"t"});
    FAIL();
  } catch (const Error& error) {
    EXPECT_EQ(error.code(), ErrorCode::kUnsortable);
    EXPECT_NE(error.detail().find("1042"), std::string::npos) << error.detail();
  }
}

}  // namespace
}  // namespace jet
