#include "sql/run/source.h"

#include <fmt/format.h>

#include <algorithm>
#include <limits>

#include "sql/error.h"

namespace sql {
namespace {

using Kind = Datum::Kind;

// How many different values an index over the column alone knows of; 0 = unknown.
double DistinctKeys(const jet::Table& table, std::size_t column) {
  double most = 0;
  for (const jet::IndexInfo& index : table.indexes()) {
    if (index.columns.size() != 1 || index.columns[0].ordinal != column) continue;
    most = std::max<double>(most, index.unique ? table.row_count() : index.distinct_keys);
  }
  return most;
}

Kind KindOf(jet::ColumnType type) {
  switch (type) {
    case jet::ColumnType::kBoolean:
      return Kind::kBoolean;
    case jet::ColumnType::kByte:
    case jet::ColumnType::kInteger:
    case jet::ColumnType::kLong:
      return Kind::kLong;
    case jet::ColumnType::kSingle:
    case jet::ColumnType::kDouble:
      return Kind::kDouble;
    case jet::ColumnType::kDateTime:
      return Kind::kDate;
    case jet::ColumnType::kText:
    case jet::ColumnType::kMemo:
      return Kind::kText;
    default:
      return Kind::kBytes;
  }
}

}  // namespace

void Source::AppendSpelling(Handle handle, std::size_t column, std::string& out) {
  Read(handle, column, spelled_);
  AppendRawKey(spelled_, out);
}

TableSource::TableSource(std::shared_ptr<jet::Table> table) : table_(std::move(table)) {
  for (const jet::ColumnInfo& column : table_->columns()) {
    columns_.push_back({.name = column.name,
                        .type = column.type,
                        .max_chars = column.type == jet::ColumnType::kText ? column.max_chars() : 0,
                        .scale = column.scale,
                        .distinct = DistinctKeys(*table_, columns_.size())});
    kinds_.push_back(KindOf(column.type));
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

void TableSource::Rewind() {
  scan_.reset();
  scanned_ = read_ = last_handle_ = 0;
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
  const Kind kind = kinds_[column];
  if (kind < Kind::kText) {
    if (!row.GetNumber(column, out.number)) return out.SetNull();
    out.kind = kind;
  } else if (kind == Kind::kText) {
    out.kind = row.GetText(column, out.text) ? Kind::kText : Kind::kNull;
  } else {
    FromValue(row.Get(column), columns_[column].scale, out);
  }
}

void TableSource::AppendSpelling(Handle handle, std::size_t column, std::string& out) {
  const Kind kind = kinds_[column];
  if (kind == Kind::kBoolean || kind == Kind::kLong) {
    // A number that is whole is never NaN.
    double number = std::numeric_limits<double>::quiet_NaN();
    if (handle != 0) RowAt(handle).GetNumber(column, number);
    out.append(reinterpret_cast<const char*>(&number), sizeof number);
    return;
  }
  if (handle == 0 || columns_[column].type != jet::ColumnType::kText) {
    return Source::AppendSpelling(handle, column, out);
  }
  // A text need not be decoded.
  const jet::ByteView stored = RowAt(handle).Stored(column);
  const std::uint32_t head =
      static_cast<std::uint32_t>(stored.size()) << 8 |
      static_cast<std::uint32_t>(stored.data() == nullptr ? Kind::kNull : kind);
  out.append(reinterpret_cast<const char*>(&head), sizeof head);
  if (!stored.empty()) out.append(reinterpret_cast<const char*>(stored.data()), stored.size());
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
  const jet::ColumnType type = table.columns()[column].type;
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
