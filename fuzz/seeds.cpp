#include "fuzz/seeds.h"

#include <algorithm>
#include <functional>
#include <iterator>
#include <span>
#include <string_view>

#include "jet/base/bytes.h"
#include "jet/base/text.h"
#include "jet/database/database.h"
#include "jet/pages/slotted_page.h"
#include "samples/sample.h"
#include "tests/support/fault_file.h"
#include "upgrade/ladders.h"

namespace fuzz {
namespace {

using jet::ColumnType;
using jet::kPageSize;
using jet::Null;
using jet::RowId;
using jet::Value;

constexpr char kPath[] = "/fuzz/seed.mdb";

jet::Bytes ToBytes(std::string_view text) { return {text.begin(), text.end()}; }

jet::Bytes Made(const std::function<void(jet::Database&)>& fill) {
  test_support::FaultFiles files;
  {
    jet::CreateOptions options;
    options.clock = [] { return jet::ToDateTime({2011, 3, 14, 9, 26, 53}); };
    const auto database = jet::Database::Create(files, kPath, options);
    fill(*database);
    database->Commit();
  }
  return ToBytes(files.bytes(kPath));
}

// Rows that moved, rows that are gone, memos of every kind, a tree of two
// levels, properties, a query.
void FillJobs(jet::Database& database) {
  const jet::TableSpec spec{
      .name = "物件",
      .columns = {{.name = "ID", .type = ColumnType::kLong, .auto_number = true},
                  {.name = "名称", .type = ColumnType::kText, .max_size = 50, .compressed = true},
                  {.name = "番号",
                   .type = ColumnType::kText,
                   .max_size = 20,
                   .default_expression = "\"N\""},
                  {.name = "完了", .type = ColumnType::kBoolean},
                  {.name = "備考", .type = ColumnType::kMemo, .compressed = true},
                  {.name = "図", .type = ColumnType::kOle}},
      .indexes = {{.name = "PrimaryKey", .columns = {"ID"}, .primary = true},
                  {.name = "名称", .columns = {"名称", "番号"}},
                  {.name = "番号", .columns = {"番号"}, .unique = true, .ignore_nulls = true}}};
  const auto table = database.CreateTable(spec);
  std::vector<RowId> rows;
  for (int i = 0; i < 150; ++i) {
    Value memo = Null{}, picture = Null{};
    if (i % 25 == 0) memo = std::string(9000, 'm');
    if (i % 11 == 1) memo = std::string(300, 'n');
    if (i % 5 == 2) memo = std::string("short");
    if (i == 40) picture = jet::Bytes(5000, 7);
    rows.push_back(table->Insert(std::vector<Value>{
        Null{}, "ダクト " + std::to_string(i * 7919 % 150),
        i % 3 == 0 ? Value(Null{}) : Value("N" + std::to_string(i)), i % 2 == 0, memo, picture}));
  }
  for (std::size_t i = 10; i < 25; ++i) {
    const jet::FieldChange longer{1, std::string(45, 'w') + std::to_string(i)};
    table->Update(rows[i], std::span(&longer, 1));
  }
  for (const std::size_t i : {50u, 51u, 100u}) table->Delete(rows[i]);
  database.CreateQuery("一覧",
                       {{{.attribute = jet::QueryRow::kStart, .flag = 1},
                         {.attribute = jet::QueryRow::kEnd},
                         {.attribute = jet::QueryRow::kSource, .name1 = "物件"},
                         {.attribute = jet::QueryRow::kOutput, .flag = 0, .expression = "物件.*"}}},
                       "SELECT 物件.* FROM 物件;");
}

// Keys so long that a hundred of them need three levels.
void FillDeep(jet::Database& database) {
  const auto table = database.CreateTable(
      {.name = "長い名",
       .columns = {{.name = "名", .type = ColumnType::kText, .max_size = 255, .compressed = true}},
       .indexes = {{.name = "名", .columns = {"名"}, .unique = true}}});
  for (int i = 0; i < 90; ++i) {
    table->Insert(std::vector<Value>{std::to_string(i * 37 % 90 + 100) + std::string(200, 'x')});
  }
}

void FillTypes(jet::Database& database) {
  constexpr ColumnType kTypes[] = {
      ColumnType::kByte,    ColumnType::kInteger, ColumnType::kLong,     ColumnType::kCurrency,
      ColumnType::kSingle,  ColumnType::kDouble,  ColumnType::kDateTime, ColumnType::kGuid,
      ColumnType::kNumeric, ColumnType::kBinary,  ColumnType::kText,     ColumnType::kBoolean};
  jet::TableSpec spec{.name = "型", .columns = {}, .indexes = {}};
  for (const ColumnType type : kTypes) {
    jet::ColumnSpec column{.name = jet::TypeName(type), .type = type};
    if (type == ColumnType::kBinary || type == ColumnType::kText) column.max_size = 40;
    spec.columns.push_back(column);
    if (type == ColumnType::kBoolean) continue;
    spec.indexes.push_back({.name = column.name, .columns = {column.name}});
  }
  const auto table = database.CreateTable(spec);
  for (int i = -4; i < 8; ++i) {
    jet::Guid guid;
    guid.bytes.fill(static_cast<std::uint8_t>(i + 50));
    table->Insert(std::vector<Value>{
        static_cast<std::uint8_t>(i + 5), static_cast<std::int16_t>(i * 1000), i * 1'000'000,
        jet::Currency{i * 12345}, static_cast<float>(i) / 3, i / 7.0, jet::DateTime{40000.25 + i},
        guid, jet::Numeric{i < 0, {0, 0, 0, static_cast<std::uint32_t>(std::abs(i))}},
        jet::Bytes(static_cast<std::size_t>(i + 5), 9), "t" + std::to_string(i), i % 2 == 0});
  }
  std::vector<Value> nulls(std::size(kTypes));
  nulls.back() = false;
  table->Insert(nulls);
}

std::span<std::uint8_t> PageOf(jet::Bytes& file, std::uint32_t page) {
  return std::span(file).subspan(std::size_t{page} * kPageSize, kPageSize);
}

}  // namespace

jet::Bytes WithListMaps(jet::Bytes file) {
  const auto pages = static_cast<std::uint32_t>(file.size() / kPageSize);
  std::vector<RowId> maps{{{1}, 0}};
  for (std::uint32_t page = 2; page < pages; ++page) {
    const auto bytes = PageOf(file, page);
    if (jet::GetU16(bytes, 0) == 0x0102)
      maps.push_back(RowId::FromPacked(jet::GetU32(bytes, 0x37)));
  }
  // The map of free pages comes first, so that it is changed before all others.
  const std::size_t list = jet::GetU16(PageOf(file, 1), 0x0E) & 0x1FFFU;
  for (std::size_t i = 0; i < maps.size(); ++i) {
    const std::uint32_t bitmap = pages + static_cast<std::uint32_t>(i);
    file.resize(file.size() + kPageSize);
    const auto page = PageOf(file, maps[i].page.value);
    const std::size_t slot = 0x0E + 2 * std::size_t{maps[i].row};
    const std::size_t at = jet::GetU16(page, slot) & 0x1FFFU;
    const std::size_t end = maps[i].row == 0 ? kPageSize : jet::GetU16(page, slot - 2) & 0x1FFFU;
    const auto bits = PageOf(file, bitmap);
    jet::PutU16(bits, 0, 0x0105);
    // All pages behind those that the old map knew are free.
    if (i == 0) std::fill(bits.begin() + 4, bits.end(), std::uint8_t{0xFF});
    std::copy(page.begin() + static_cast<std::ptrdiff_t>(at + 5),
              page.begin() + static_cast<std::ptrdiff_t>(end), bits.begin() + 4);
    std::fill(page.begin() + static_cast<std::ptrdiff_t>(at),
              page.begin() + static_cast<std::ptrdiff_t>(end), std::uint8_t{0});
    page[at] = 1;
    jet::PutU32(page, at + 1, bitmap);
    const auto free = PageOf(file, jet::GetU32(PageOf(file, 1), list + 1));
    free[4 + bitmap / 8] &= static_cast<std::uint8_t>(~(1u << bitmap % 8));
  }
  return file;
}

std::vector<jet::Bytes> FileSeeds() {
  std::vector<jet::Bytes> seeds{Made(FillJobs), Made(FillTypes), Made(FillDeep),
                                Made([](jet::Database&) {})};
  seeds.push_back(WithListMaps(Made([](jet::Database& database) {
    FillDeep(database);
    FillJobs(database);
  })));
  return seeds;
}

std::vector<jet::Bytes> UpgradeSeeds(db::Kind kind) {
  std::vector<jet::Bytes> seeds;
  const std::int16_t latest = upgrade::LatestVersion(kind);
  for (const std::int16_t version : {std::int16_t{2}, static_cast<std::int16_t>(latest / 2),
                                     static_cast<std::int16_t>(latest - 1)}) {
    test_support::FaultFiles files;
    samples::SampleOptions options;
    options.version = version;
    options.jobs = 1;
    samples::MakeSample(files, kPath, kind, options);
    seeds.push_back(ToBytes(files.bytes(kPath)));
  }
  return seeds;
}

std::vector<jet::Bytes> SelectSeeds() {
  std::vector<jet::Bytes> seeds = FileSeeds();
  for (std::size_t i = 0; i < 2; ++i) {
    jet::Bytes file = seeds[i];
    for (std::uint32_t page = 3; page < file.size() / kPageSize; ++page) {
      const auto bytes = PageOf(file, page);
      if (jet::GetU16(bytes, 0) == 0x0102) jet::PutU32(bytes, 0x10, 1'000'000);
    }
    seeds.push_back(std::move(file));
  }
  for (const db::Kind kind : db::kKinds) {
    // Without the first, which has no queries.
    std::vector<jet::Bytes> upgrades = UpgradeSeeds(kind);
    std::move(upgrades.begin() + 1, upgrades.end(), std::back_inserter(seeds));
  }
  return seeds;
}

std::vector<jet::Bytes> SqlSeeds() {
  constexpr std::string_view kTexts[] = {
      "SELECT a.ID, a.名称 AS n, b.* FROM a INNER JOIN b ON a.ID = b.ID WHERE a.ID > 3 ORDER BY n "
      "DESC;",
      "SELECT DISTINCT TOP 5 PERCENT Sum(a.数量) AS 計, Count(*) FROM a GROUP BY a.名称 HAVING "
      "Sum(a.数量) >= 2;",
      "SELECT * FROM (a LEFT JOIN b ON (a.ID = b.ID) AND (a.名称 = b.名称)) RIGHT JOIN c ON b.[ﾊｾﾞ "
      "ID] = c.ID;",
      "SELECT ID FROM a UNION ALL SELECT ID FROM b UNION SELECT x FROM c ORDER BY 1;",
      "PARAMETERS [最小] Long; SELECT IIf(a.ID IS NULL, 0, -a.ID ^ 2 MOD 7) & 'x' FROM a WHERE "
      "a.ID >= [最小];",
      "SELECT a.ID FROM a WHERE a.名称 LIKE '*[!ア-ン]?#' AND NOT a.ID IN (1, 2, 3) OR a.日 "
      "BETWEEN "
      "#2010/01/04# AND #12:30:00#;",
      "SELECT DISTINCTROW x.ID FROM (SELECT ID FROM a WHERE ID <> 0) AS x WITH OWNERACCESS OPTION;",
      "SELECT [Spec_形状名(角）].形状名, 拾い_1.名\rFROM 拾い AS 拾い_1 INNER JOIN "
      "[Spec_形状名(角）] ON "
      "拾い_1.[1工法ID] = [Spec_形状名(角）].形状名ＩＤ;",
      "SELECT a.ID, b.ID FROM a, b WHERE a.ID = b.ID AND a.x IN (SELECT x FROM c)",
  };
  std::vector<jet::Bytes> seeds;
  for (const std::string_view text : kTexts) seeds.push_back(ToBytes(text));
  return seeds;
}

std::vector<jet::Bytes> PropertySeeds() {
  std::vector<jet::Bytes> seeds;
  jet::Properties properties;
  seeds.push_back(properties.Serialize());
  properties.SetBoolean(jet::kJapanese, "名称", jet::kRequiredProperty, true);
  properties.SetText(jet::kJapanese, "", jet::kCommandTextProperty, ColumnType::kMemo, 0,
                     "SELECT 1 FROM a;");
  seeds.push_back(properties.Serialize());
  properties.SetText(jet::kJapanese, "番号", jet::kDefaultValueProperty, ColumnType::kMemo, 1,
                     "\"N\"");
  properties.SetBoolean(jet::kJapanese, "番号", jet::kAllowZeroLengthProperty, false);
  seeds.push_back(properties.Serialize());
  return seeds;
}

std::vector<jet::Bytes> TextSeeds() {
  constexpr std::string_view kTexts[] = {
      "Data_ﾒｲﾝ_設定",
      "ダクト・ﾀﾞｸﾄ だくと",
      "co-op coop",
      "Ｓｐｅｃ_ﾘﾌﾞ㎡",
      "がぎぐゞヾー々〆",
      "é ä ß Æ œ",
      "ｶﾞｷﾞ ﾊﾟー",
      "亜腕弌熙 㐀",
      "'-’ ‐",
      "!\"#$%&()=~|",
      "",
      "  x  ",
      "Ⅷ①㈱",
      "ヴヵヶ",
  };
  std::vector<jet::Bytes> seeds;
  for (const std::string_view text : kTexts) seeds.push_back(jet::EncodePlain(jet::ToUtf16(text)));
  return seeds;
}

}  // namespace fuzz
