// Rows, scans and seeks of a table.
#include <utility>

#include "jet/base/text.h"
#include "jet/row/long_value.h"
#include "jet/table/table.h"
#include "jet/table/table_core.h"

namespace jet {

TableRow& TableRow::operator=(TableRow&& other) noexcept {
  std::swap(page_, other.page_);
  table_ = other.table_;
  id_ = other.id_;
  bytes_ = other.bytes_;
  layout_ = other.layout_;
  return *this;
}

void TableRow::Release() noexcept { PageRef::Release(std::exchange(page_, nullptr)); }

bool TableRow::IsNull(std::size_t ordinal) const {
  const ColumnDef& column = table_->loaded().columns[ordinal];
  return column.type != ColumnType::kBoolean && !RowView(bytes_, layout_).Raw(column);
}

Value TableRow::Get(std::size_t ordinal) const {
  const ColumnDef& column = table_->loaded().columns[ordinal];
  return table_->Named([&]() -> Value {
    const RowView view(bytes_, layout_);
    if (column.type == ColumnType::kBoolean) return view.Boolean(column);
    const auto raw = view.Raw(column);
    if (!raw) return Null{};
    if (!IsLongValue(column.type)) return DecodeField(column, *raw);
    Bytes bytes = ReadLongValue(table_->pager(), *raw);
    if (column.type == ColumnType::kMemo) return DecodeText(bytes);
    return bytes;
  });
}

bool TableRow::GetText(std::size_t ordinal, std::string& out) const {
  const ColumnDef& column = table_->loaded().columns[ordinal];
  return table_->Named([&] {
    const ByteView stored = RowView(bytes_, layout_).Stored(column);
    if (stored.data() == nullptr) return false;
    if (column.type == ColumnType::kMemo) {
      DecodeText(ReadLongValue(table_->pager(), stored), out);
    } else {
      DecodeText(stored, out);
    }
    return true;
  });
}

bool TableRow::GetNumber(std::size_t ordinal, double& out) const {
  const ColumnDef& column = table_->loaded().columns[ordinal];
  return table_->Named([&] { return RowView(bytes_, layout_).Number(column, out); });
}

ByteView TableRow::Stored(std::size_t ordinal) const {
  const ColumnDef& column = table_->loaded().columns[ordinal];
  return table_->Named([&] { return RowView(bytes_, layout_).Stored(column); });
}

TableScan::TableScan(const Table& table) {
  table.core_->def();
  walk_ = std::make_unique<RowWalk>(table.core_->rows());
  row_.table_ = table.core_.get();
}

TableScan::~TableScan() = default;

bool TableScan::Next() {
  return row_.table_->Named([&] {
    if (!walk_->Next()) return false;
    row_.id_ = walk_->id();
    row_.bytes_ = walk_->bytes();
    row_.layout_ = row_.table_->LayoutOf(walk_->bytes(), walk_->at());
    return true;
  });
}

TableSeek::TableSeek(TableCore& table, std::unique_ptr<IndexSeek> seek)
    : table_(&table), seek_(std::move(seek)) {}
TableSeek::TableSeek(TableSeek&&) noexcept = default;
TableSeek& TableSeek::operator=(TableSeek&&) noexcept = default;
TableSeek::~TableSeek() = default;

void TableSeek::Begin(std::span<const Value> values) {
  table_->Named([&] { seek_->Begin(values); });
}

std::optional<RowId> TableSeek::Next() {
  return table_->Named([&] { return seek_->Next(); });
}

}  // namespace jet
