#include "sql/run/source.h"

#include <fmt/format.h>

#include <algorithm>

#include "jet/base/bytes.h"
#include "sql/error.h"

namespace sql {
namespace {

using Kind = Datum::Kind;

double DistinctKeys(const jet::TableDef& def, jet::ColumnId column) {
  for (const jet::RealIndex& index : def.real_indexes) {
    if (index.columns.size() != 1 || index.columns[0].column != column) continue;
    if (index.unique()) return def.row_count;
    if (index.distinct_keys != 0) return index.distinct_keys;
  }
  return 0;
}

// Numbers straight from the row's bytes; false for other types.
bool ReadNumber(const jet::ColumnDef& column, const jet::RowView& row, Datum& out) {
  const auto read = [&](Kind kind, auto get) {
    if (const auto raw = row.Raw(column)) {
      out.SetNumber(kind, static_cast<double>(get(*raw)));
    } else {
      out.SetNull();
    }
    return true;
  };
  switch (column.type) {
    case jet::ColumnType::kBoolean:
      out.SetBoolean(row.Boolean(column));
      return true;
    case jet::ColumnType::kByte:
      return read(Kind::kLong, [](jet::ByteView raw) { return jet::GetU8(raw, 0); });
    case jet::ColumnType::kInteger:
      return read(Kind::kLong,
                  [](jet::ByteView raw) { return static_cast<std::int16_t>(jet::GetU16(raw, 0)); });
    case jet::ColumnType::kLong:
      return read(Kind::kLong,
                  [](jet::ByteView raw) { return static_cast<std::int32_t>(jet::GetU32(raw, 0)); });
    case jet::ColumnType::kDouble:
      return read(Kind::kDouble, [](jet::ByteView raw) { return jet::GetDouble(raw, 0); });
    case jet::ColumnType::kDateTime:
      return read(Kind::kDate, [](jet::ByteView raw) { return jet::GetDouble(raw, 0); });
    default:
      return false;
  }
}

}  // namespace

TableSource::TableSource(std::shared_ptr<jet::Table> table) : table_(std::move(table)) {
  const jet::TableDef& def = table_->def();
  for (const jet::ColumnDef& column : def.columns) {
    columns_.push_back({.name = column.name,
                        .type = column.type,
                        .max_chars = column.type == jet::ColumnType::kText ? column.max_chars() : 0,
                        .scale = column.scale,
                        .distinct = DistinctKeys(def, column.id)});
  }
}

bool TableSource::Advance(Handle& handle) {
  last_handle_ = 0;
  if (walk_ == Walk::kSteps) {
    const auto next =
        scanned_ == 0 ? table_->First() : table_->Next(jet::RowId::FromPacked(scanned_));
    if (!next) return false;
    read_ = 0;
    handle = scanned_ = next->packed();
    return true;
  }
  if (!scan_) scan_.emplace(*table_);
  if (!scan_->Next()) {
    scan_.reset();
    scanned_ = 0;
    return false;
  }
  handle = scanned_ = scan_->row().id().packed();
  return true;
}

const jet::Table::Row& TableSource::RowAt(Handle handle) {
  if (handle == last_handle_) return *last_;
  last_handle_ = handle;
  if (scan_ && handle == scanned_) {
    last_ = &scan_->row();
    return *last_;
  }
  last_ = &row_;
  if (handle != read_) {
    read_ = handle;
    if (!table_->Read(jet::RowId::FromPacked(handle), row_)) {
      read_ = last_handle_ = 0;
      throw Error(ErrorCode::kBadValue,
                  fmt::format("a row of {} was deleted meanwhile", table_->name()));
    }
  }
  return *last_;
}

void TableSource::Read(Handle handle, std::size_t column, Datum& out) {
  if (handle == 0) return out.SetNull();
  const jet::Table::Row& row = RowAt(handle);
  const jet::ColumnDef& def = table_->def().columns[column];
  if (jet::IsText(def.type)) {
    out.kind = row.GetText(column, out.text) ? Kind::kText : Kind::kNull;
  } else if (!ReadNumber(def, row.view(), out)) {
    FromValue(row.Get(column), def.scale, out);
  }
}

const jet::Value& TableSource::ReadValue(Handle handle, std::size_t column, jet::Value& scratch) {
  if (handle == 0) return scratch = jet::Null{};
  const jet::Table::Row& row = RowAt(handle);
  if (!jet::IsText(columns_[column].type)) return scratch = row.Get(column);
  if (!std::holds_alternative<std::string>(scratch)) scratch.emplace<std::string>();
  if (!row.GetText(column, std::get<std::string>(scratch))) scratch = jet::Null{};
  return scratch;
}

std::optional<IndexProbe> IndexProbe::For(const jet::Table& table, std::size_t column) {
  const jet::ColumnType type = table.def().columns[column].type;
  switch (type) {
    case jet::ColumnType::kByte:
    case jet::ColumnType::kInteger:
    case jet::ColumnType::kLong:
    case jet::ColumnType::kDouble:
      break;
    default:
      return std::nullopt;
  }
  std::optional<jet::Table::Seek> rows = table.SeekBy({column});
  if (!rows) return std::nullopt;
  return IndexProbe(type, *std::move(rows));
}

void IndexProbe::Begin(double number) {
  possible_ = false;
  Datum datum;
  datum.SetNumber(Kind::kDouble, number);
  jet::Value value;
  try {
    ToValue(datum, type_, value);
  } catch (const Error&) {
    return;  // out of the column's range
  }
  FromValue(value, 0, datum);
  possible_ = datum.number == number;
  if (possible_) rows_.Begin({&value, 1});
}

bool IndexProbe::Next(Handle& handle) {
  if (!possible_) return false;
  const std::optional<jet::RowId> row = rows_.Next();
  if (row) handle = row->packed();
  return row.has_value();
}

MemorySource::MemorySource(std::vector<SourceColumn> columns) { columns_ = std::move(columns); }

void MemorySource::Add(std::vector<jet::Value>& values) {
  std::move(values.begin(), values.end(), std::back_inserter(values_));
  ++rows_;
}

std::unique_ptr<MemorySource> MemorySource::Load(Source& source, const std::vector<bool>& used) {
  auto memory = std::make_unique<MemorySource>(source.columns());
  std::vector<jet::Value> row(used.size());
  jet::Value scratch;
  for (Handle handle = 0; source.Advance(handle);) {
    for (std::size_t i = 0; i < used.size(); ++i) {
      row[i] = used[i] ? source.ReadValue(handle, i, scratch) : jet::Value{};
    }
    memory->Add(row);
  }
  return memory;
}

bool MemorySource::Advance(Handle& handle) {
  if (at_ == rows_) return false;
  handle = static_cast<Handle>(++at_);
  return true;
}

void MemorySource::Read(Handle handle, std::size_t column, Datum& out) {
  if (handle == 0) return out.SetNull();
  FromValue(values_[(handle - 1) * columns_.size() + column], columns_[column].scale, out);
}

const jet::Value& MemorySource::ReadValue(Handle handle, std::size_t column, jet::Value& scratch) {
  if (handle == 0) return scratch = jet::Null{};
  return values_[(handle - 1) * columns_.size() + column];
}

}  // namespace sql
