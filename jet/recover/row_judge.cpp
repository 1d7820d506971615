#include "jet/recover/row_judge.h"

#include <string>

#include "jet/base/bytes.h"
#include "jet/base/text.h"
#include "jet/row/row.h"

namespace jet::recover {
namespace {

// Years 100 to 9999, as the format has them.
constexpr double kFirstDay = -657434, kEndOfDays = 2958466;

}  // namespace

RowJudge::RowJudge(const TableDef& def) : def_(&def), splitter_(def) {
  for (std::size_t i = 0; i < def.columns.size(); ++i) {
    if (IsLongValue(def.columns[i].type)) long_values_.push_back(i);
  }
}

bool RowJudge::FieldHolds(std::size_t ordinal, ByteView stored) const {
  if (splitter_.CanBeWrong(ordinal) && !splitter_.FieldFault(ordinal, stored).empty()) return false;
  switch (def_->columns[ordinal].type) {
    case ColumnType::kDateTime: {
      const double days = GetDouble(stored, 0);
      return days > kFirstDay - 1 && days < kEndOfDays;
    }
    case ColumnType::kNumeric:
      return stored[0] == 0 || stored[0] == 0x80;
    default:
      return true;
  }
}

RowJudge::Verdict RowJudge::Split(ByteView bytes, check::Fields& fields) const {
  std::string untidy;
  if (!splitter_.Split(bytes, fields, &untidy).empty()) return Verdict::kBroken;
  const bool is_empty = GetU16(bytes, 0) == 0;
  if (is_empty && !def_->columns.empty()) return Verdict::kBroken;
  for (std::size_t i = 0; i < fields.size(); ++i) {
    if (fields[i] && !FieldHolds(i, *fields[i])) return Verdict::kBroken;
  }
  // Of columns that were dropped something may be left.
  const bool all_there = def_->columns.size() == def_->next_column_id;
  return all_there && untidy.empty() ? Verdict::kTidy : Verdict::kUntidy;
}

bool RowJudge::HasWidthOf(ByteView bytes) const {
  const std::size_t ids = GetU16(bytes, 0);
  for (const ColumnDef& column : def_->columns) {
    if (column.id.value + std::size_t{1} == ids) return true;
  }
  return ids == def_->next_column_id;
}

void RowJudge::Complete(LongValueSource& source, OldRow& row) const {
  row.contents.resize(def_->columns.size());
  row.gone.clear();
  for (const std::size_t i : long_values_) {
    row.contents[i].clear();
    if (!row.fields[i]) continue;
    const bool is_memo = def_->columns[i].type == ColumnType::kMemo;
    if (source.Fetch(*row.fields[i], is_memo, row.contents[i], row.doubtful)) continue;
    row.fields[i].reset();
    row.gone.push_back(i);
  }
}

Value RowJudge::ValueOf(const OldRow& row, std::size_t ordinal) const {
  const ColumnDef& column = def_->columns[ordinal];
  if (!row.fields[ordinal]) return Null{};
  if (column.type == ColumnType::kMemo) return DecodeText(row.contents[ordinal]);
  if (column.type == ColumnType::kOle) return row.contents[ordinal];
  return DecodeField(column, *row.fields[ordinal]);
}

}  // namespace jet::recover
