#include "bench/rows.h"

#include <fmt/format.h>

#include <array>
#include <string>
#include <string_view>

namespace bench {
namespace {

constexpr double kFirstDay = 36526;
constexpr std::int64_t kStride = 7919;  // a prime: the texts come in no order

jet::ColumnSpec Column(const char* name, jet::ColumnType type, std::size_t max_size = 0) {
  jet::ColumnSpec column;
  column.name = name;
  column.type = type;
  column.max_size = max_size;
  return column;
}

jet::IndexSpec Index(const char* name, const char* column, bool unique) {
  jet::IndexSpec index;
  index.name = name;
  index.columns = {column};
  index.unique = unique;
  return index;
}

// A value for a column of the work table by its type; few different texts, so
// that they group.
jet::Value WorkValue(jet::ColumnType type, std::size_t ordinal, std::int32_t number) {
  static constexpr std::array<const char*, 4> kTexts{"角ダクト", "丸ダクト", "ﾌﾚｷ", "支持金物"};
  const auto at = static_cast<std::size_t>(number) + ordinal;
  switch (type) {
    case jet::ColumnType::kText:
      return std::string(kTexts[at % kTexts.size()]);
    case jet::ColumnType::kLong:
      return number % 7;
    case jet::ColumnType::kDateTime:
      return jet::DateTime{kFirstDay + number % 3000};
    default:
      return static_cast<double>(at % 400) / 4;
  }
}

// ﾃｸﾉタワー新築000000号 with a number. By hand, as what is timed is not how rows are made.
void SetSite(std::int64_t number, jet::Value& text) {
  static constexpr std::string_view kHead = "ﾃｸﾉタワー新築", kZeros = "000000", kTail = "号";
  if (!std::holds_alternative<std::string>(text)) {
    text = fmt::format("{}{}{}", kHead, kZeros, kTail);
  }
  std::string& site = std::get<std::string>(text);
  for (std::size_t at = kHead.size() + kZeros.size(); at-- > kHead.size(); number /= 10) {
    site[at] = static_cast<char>('0' + number % 10);
  }
}

}  // namespace

std::shared_ptr<jet::Table> MakeTable(jet::Database& database, Key key, std::string_view name) {
  using jet::ColumnType;
  jet::TableSpec spec;
  spec.name = name;
  spec.columns = {Column("id", ColumnType::kLong), Column("名称", ColumnType::kText, 50),
                  Column("区分", ColumnType::kLong), Column("金額", ColumnType::kDouble),
                  Column("日付", ColumnType::kDateTime)};
  if (key == Key::kLong || key == Key::kBoth) spec.indexes.push_back(Index("id", "id", true));
  if (key == Key::kText || key == Key::kBoth) spec.indexes.push_back(Index("名称", "名称", false));
  return database.CreateTable(spec);
}

void FillRow(std::int32_t number, std::int32_t rows, std::vector<jet::Value>& row) {
  row.resize(5);
  row[0] = number;
  SetSite(number * kStride % rows, row[1]);
  row[2] = number % 1000;
  row[3] = number / 8.0;
  row[4] = jet::DateTime{kFirstDay + number % 3000};
}

void InsertRows(jet::Table& table, std::int32_t rows) {
  std::vector<jet::Value> row;
  for (std::int32_t number = 1; number <= rows; ++number) {
    FillRow(number, rows, row);
    table.Insert(row);
  }
}

void FillTransfer(jet::Database& database, std::int32_t jobs, std::int32_t step,
                  std::int32_t rows) {
  const std::shared_ptr<jet::Table> chosen = database.OpenTable("拾い転送_選択物件");
  for (std::int32_t job = step; job <= jobs; job += step) {
    const std::array<jet::Value, 2> row{static_cast<double>(job), static_cast<double>(job)};
    chosen->Insert(row);
  }
  const std::shared_ptr<jet::Table> work = database.OpenTable("拾い転送_Base");
  const std::size_t selected = work->OrdinalOf("見積選択"), serial = work->OrdinalOf("通し番号"),
                    site = work->OrdinalOf("現場名"), floor = work->OrdinalOf("階");
  std::vector<jet::Value> row;
  for (std::int32_t number = 1; number <= rows; ++number) {
    row.clear();
    for (const jet::ColumnInfo& column : work->columns()) {
      row.push_back(WorkValue(column.type, row.size(), number));
    }
    row[selected] = std::string(number % 3 == 0 ? "False" : "True");
    row[serial] = static_cast<double>(number);
    row[site] = fmt::format("ﾃｸﾉタワー新築{:05}", number % 500);
    row[floor] = fmt::format("{}F", 1 + number % 9);
    work->Insert(row);
  }
}

}  // namespace bench
