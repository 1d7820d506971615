#include "jet/recover/raw_rows.h"

#include <algorithm>
#include <string>

#include "jet/base/bytes.h"
#include "jet/base/error.h"
#include "jet/base/text.h"
#include "jet/check/rows.h"
#include "jet/sort/collation.h"

namespace jet::recover {
namespace {

ColumnDef Column(std::uint16_t id, const char* name, ColumnType type) {
  ColumnDef column;
  column.id = {id};
  column.position = id;
  column.name = name;
  column.type = type;
  column.length = InfoOf(type).length;
  column.flags = ColumnDef::kUpdatable;
  if (InfoOf(type).fixed) {
    column.flags |= ColumnDef::kFixed;
    column.fixed_offset = static_cast<std::uint16_t>(4 * id);
  }
  return column;
}

// ページ, 行: where the row was; バイト: all of it; 文字列: its texts, one a line.
TableDef RawTable() {
  TableDef def;
  def.columns = {Column(0, "ページ", ColumnType::kLong), Column(1, "行", ColumnType::kLong),
                 Column(2, "バイト", ColumnType::kOle), Column(3, "文字列", ColumnType::kMemo)};
  def.columns[3].variable_slot = 1;
  def.next_column_id = 4;
  def.next_variable_slot = 2;
  return def;
}

// The variable values of a row, by what the row says of itself; empty where that does
// not fit together.
std::vector<ByteView> VariablesOf(ByteView row) {
  std::vector<ByteView> values;
  if (row.size() < 2) return values;
  const std::size_t mask = (std::size_t{GetU16(row, 0)} + 7) / 8;
  if (mask == 0 || row.size() < 2 + 4 + mask) return values;
  const std::size_t mask_at = row.size() - mask;
  const std::size_t count = GetU16(row, mask_at - 2);
  if (mask_at < 2 + 4 + 2 * count) return values;
  const std::size_t table_at = mask_at - 4 - 2 * count;
  std::size_t end = 2;
  for (std::size_t j = 0; j <= count; ++j) {
    const std::size_t offset = GetU16(row, mask_at - 4 - 2 * j);
    if (offset < end || offset > table_at) return {};
    if (j != 0) values.push_back(row.subspan(end, offset - end));
    end = offset;
  }
  return values;
}

// A text of characters that sort, and of one at least.
std::optional<std::string> TextIn(ByteView stored, SortOrder order) {
  if (stored.size() < 2) return std::nullopt;
  check::TextScan scan;
  scan.Feed(stored);
  if (!scan.Fault().empty() || scan.units() > kMaxTextChars) return std::nullopt;
  std::string text = DecodeText(stored);
  const auto is_control = [](char c) { return static_cast<unsigned char>(c) < 0x20; };
  if (text.empty() || std::ranges::any_of(text, is_control)) return std::nullopt;
  if (WhyUnsortable(order, text)) return std::nullopt;
  return text;
}

std::string TextsIn(ByteView row, SortOrder order) {
  std::string texts;
  for (const ByteView value : VariablesOf(row)) {
    const std::optional<std::string> text = TextIn(value, order);
    if (!text) continue;
    if (!texts.empty()) texts += '\n';
    texts += *text;
  }
  return texts;
}

}  // namespace

void CopyRawRows(OldFile& old, PageNumber owner, NewFile& file, DateTime now,
                 RecoverReport::Table& report) {
  const TableDef like = RawTable();
  const RowJudge judge(like);
  OldRows rows = old.RowsOf(owner, judge);
  std::optional<NewTable> table;
  rows.VisitBytes([&](RowId id, ByteView bytes) {
    if (!table) table.emplace(file, like);
    const std::string texts = TextsIn(bytes, file.order());
    table->Append(std::vector<Value>{
        static_cast<std::int32_t>(id.page.value), static_cast<std::int32_t>(id.row),
        Bytes(bytes.begin(), bytes.end()), texts.empty() ? Value(Null{}) : Value(texts)});
  });
  if (!table) return;
  report.doubtful = report.partly = table->rows();
  NewObject object;
  object.name = report.name;
  object.created = object.updated = now;
  table->Finish(object);
}

}  // namespace jet::recover
