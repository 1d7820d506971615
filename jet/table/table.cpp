#include "jet/table/table.h"

#include <algorithm>
#include <utility>

#include "jet/base/error.h"
#include "jet/base/text.h"
#include "jet/row/default_value.h"
#include "jet/row/long_value.h"
#include "jet/row/table_def_chain.h"
#include "jet/table/table_core.h"

namespace jet {
namespace {

void CheckRules(const ColumnDef& column, const ColumnRules& rules, const Value& value) {
  if (IsNull(value) && rules.required && column.type != ColumnType::kBoolean) {
    throw Error(ErrorCode::kRequired).OfColumn(column.name);
  }
  const auto* text = std::get_if<std::string>(&value);
  if (text != nullptr && text->empty() && !rules.allow_zero_length && IsText(column.type)) {
    throw Error(ErrorCode::kZeroLength).OfColumn(column.name);
  }
}

template <class T>
const T& Expect(const ColumnDef& column, const Value& value) {
  if (const T* held = std::get_if<T>(&value)) return *held;
  throw Error(ErrorCode::kWrongType).OfColumn(column.name);
}

void StoreField(PageAllocator& allocator, const ColumnDef& column, std::size_t ordinal,
                const Value& value, RowEncoder& row) {
  if (column.type == ColumnType::kMemo) {
    const auto& text = Expect<std::string>(column, value);
    row.SetStored(ordinal, WriteMemo(allocator, column, row.texts().Of(ordinal, text)));
  } else if (column.type == ColumnType::kOle) {
    row.SetStored(ordinal, WriteLongValue(allocator, column, Expect<Bytes>(column, value)));
  } else {
    row.Set(ordinal, value);
  }
}

void FreeLongValues(PageAllocator& allocator, const TableDef& def, const RowView& row) {
  for (const ColumnDef& column : def.columns) {
    if (!IsLongValue(column.type)) continue;
    if (const auto raw = row.Raw(column)) {
      const Bytes copy(raw->begin(), raw->end());
      FreeLongValue(allocator, column, copy);
    }
  }
}

bool Counts(const ColumnDef& column) {
  return column.auto_number() && column.type == ColumnType::kLong;
}

// No number that is in use is given again.
bool RaiseAutonumber(TableDef& def, const ColumnDef& column, const Value& value) {
  if (!Counts(column)) return false;
  const auto* number = std::get_if<std::int32_t>(&value);
  if (number == nullptr || *number <= static_cast<std::int32_t>(def.last_autonumber)) return false;
  def.last_autonumber = static_cast<std::uint32_t>(*number);
  return true;
}

// Tables that other programs copied may count from below what is in them.
void PassNumbersInUse(const Table& table, TableCore& core, std::size_t ordinal) {
  if (core.counter_is_sound()) return;
  auto greatest = static_cast<std::int32_t>(core.loaded().last_autonumber);
  const auto meet = [&](const TableRow& row) {
    greatest = std::max(greatest, ValueOr<std::int32_t>(row.Get(ordinal), greatest));
  };
  if (auto entry = core.indexes().From(ordinal, greatest)) {
    TableRow row;
    for (; entry->valid(); entry->Next()) {
      if (table.Read(entry->row(), row)) meet(row);
    }
  } else {
    for (TableScan scan(table); scan.Next();) meet(scan.row());
  }
  core.loaded().last_autonumber = static_cast<std::uint32_t>(greatest);
  core.SetCounterSound();
}

// `values` with one for every column, autonumbers given; in `buffer` where they
// are not so already.
std::span<const Value> Complete(const Table& table, TableCore& core, std::span<const Value> values,
                                std::vector<Value>& buffer) {
  TableDef& def = core.loaded();
  const bool counts = std::ranges::any_of(def.columns, Counts);
  if (!counts && values.size() == def.columns.size()) return values;
  buffer.assign(values.begin(), values.end());
  buffer.resize(def.columns.size());
  for (std::size_t i = 0; i < buffer.size(); ++i) {
    if (!Counts(def.columns[i])) continue;
    if (IsNull(buffer[i])) {
      PassNumbersInUse(table, core, i);
      buffer[i] = static_cast<std::int32_t>(def.last_autonumber + def.autonumber_step);
    }
    RaiseAutonumber(def, def.columns[i], buffer[i]);
  }
  return buffer;
}

// The values of a row as it stands.
class StoredValues {
 public:
  explicit StoredValues(const TableRow& row) : row_(row) {}
  const Value& operator()(std::size_t ordinal) { return value_ = row_.Get(ordinal); }

 private:
  const TableRow& row_;
  Value value_;
};

ColumnInfo InfoOf(const ColumnDef& column, const ColumnRules& rules) {
  return {.name = column.name,
          .type = column.type,
          .size_bytes = column.length,
          .precision = column.precision,
          .scale = column.scale,
          .fixed = column.fixed(),
          .auto_number = column.auto_number(),
          .compressed = column.compressed(),
          .required = rules.required,
          .allow_zero_length = rules.allow_zero_length,
          .default_expression = rules.default_expression};
}

IndexInfo InfoOf(const TableDef& def, const LogicalIndex& index) {
  const RealIndex& tree = def.real_indexes[index.real];
  IndexInfo info{.name = index.name,
                 .columns = {},
                 .primary = index.kind == LogicalIndex::kPrimary,
                 .unique = tree.unique(),
                 .required = tree.required(),
                 .ignore_nulls = tree.ignore_nulls(),
                 .relation = index.kind == LogicalIndex::kRelation,
                 .distinct_keys = tree.distinct_keys,
                 .flags = tree.flags};
  for (const IndexColumn& part : tree.columns) {
    info.columns.push_back({def.FindColumn(part.column), !part.ascending});
  }
  return info;
}

}  // namespace

Table::Table(std::unique_ptr<TableCore> core) : core_(std::move(core)) {}
Table::~Table() = default;

// ---- what it is

const std::string& Table::name() const { return core_->name(); }
std::uint32_t Table::row_count() const { return core_->def().row_count; }

void Table::RefreshInfo() const {
  const TableDef& def = core_->def();
  if (info_version_ == core_->version()) return;
  columns_.clear();
  for (std::size_t i = 0; i < def.columns.size(); ++i) {
    columns_.push_back(InfoOf(def.columns[i], core_->rules()[i]));
  }
  indexes_.clear();
  for (const LogicalIndex& index : def.logical_indexes) indexes_.push_back(InfoOf(def, index));
  info_version_ = core_->version();
}

const std::vector<ColumnInfo>& Table::columns() const {
  RefreshInfo();
  return columns_;
}

const std::vector<IndexInfo>& Table::indexes() const {
  RefreshInfo();
  return indexes_;
}

std::optional<std::size_t> Table::FindColumn(std::string_view column) const {
  const TableDef& def = core_->def();
  return def.FindColumn(column, core_->name_order());
}

std::size_t Table::OrdinalOf(std::string_view column) const {
  if (const auto at = FindColumn(column)) return *at;
  return core_->Named(
      [&]() -> std::size_t { throw Error(ErrorCode::kColumnMissing).OfColumn(column); });
}

void RequireFits(const ColumnInfo& column, const Value& value) {
  RequireFits(column.name, column.type, column.size_bytes, value);
}

Value Table::DefaultOf(std::size_t ordinal) const {
  return core_->Named([&] {
    const ColumnDef& column = core_->def().columns[ordinal];
    return EvaluateDefault(column, core_->loaded_rules()[ordinal].default_expression, core_->now());
  });
}

// A default that we cannot evaluate does not matter where its column has a value.
std::vector<Value> Table::NewRow(std::span<const FieldChange> given) const {
  std::vector<Value> row(core_->def().columns.size());
  for (std::size_t i = 0; i < row.size(); ++i) {
    const auto value = std::ranges::find(given, i, &FieldChange::ordinal);
    row[i] = value == given.end() ? DefaultOf(i) : value->value;
  }
  return row;
}

// ---- walking and finding

std::optional<RowId> Table::First() const {
  return core_->Named([&] {
    core_->def();
    return core_->rows().First();
  });
}

std::optional<RowId> Table::Next(RowId row) const {
  return core_->Named([&] {
    core_->def();
    return core_->rows().Next(row);
  });
}

std::optional<RowId> Table::Last() const {
  return core_->Named([&] {
    core_->def();
    return core_->rows().Last();
  });
}

bool Table::Read(RowId id, Row& row) const {
  return core_->Named([&] {
    core_->def();
    RowId at;
    PageRef page;
    const ByteView bytes = core_->rows().Find(id, page, at);
    if (bytes.data() == nullptr) return false;
    const RowLayout layout = core_->LayoutOf(bytes, at);
    if (row.page_ != nullptr) row.Release();
    row.table_ = core_.get();
    row.id_ = id;
    row.page_ = page.Detach();
    row.bytes_ = bytes;
    row.layout_ = layout;
    return true;
  });
}

std::optional<Table::Seek> Table::SeekBy(const std::vector<std::size_t>& ordinals) const {
  return core_->Named([&]() -> std::optional<Seek> {
    const TableDef& def = core_->def();
    const auto real = core_->indexes().BeginningWith(ordinals);
    if (!real) return std::nullopt;
    return Seek(*core_, std::make_unique<IndexSeek>(core_->pager(), def, *real, ordinals.size()));
  });
}

// ---- changing

RowId Table::Insert(std::span<const Value> values) {
  return core_->Named([&] {
    core_->def();
    TableDef& def = core_->loaded();
    PageAllocator& allocator = core_->allocator();
    Scope scope(core_->pager());
    std::vector<Value> buffer;
    const std::span<const Value> row = Complete(*this, *core_, values, buffer);
    for (std::size_t i = 0; i < row.size(); ++i) {
      CheckRules(def.columns[i], core_->loaded_rules()[i], row[i]);
    }
    RowEncoder& encoder = core_->encoder();
    encoder.Begin(def);
    const std::vector<KeyChange> keys = core_->indexes().OfNewRow(row, encoder.texts());
    for (std::size_t i = 0; i < row.size(); ++i) {
      if (!IsNull(row[i])) StoreField(allocator, def.columns[i], i, row[i], encoder);
    }
    const RowId id = core_->rows().Append(encoder.Finish());
    core_->indexes().Apply(id, keys);
    ++def.row_count;
    StoreCounters(def, core_->pager());
    scope.Commit();
    return id;
  });
}

void Table::Update(RowId id, std::span<const FieldChange> changes) {
  core_->Named([&] {
    Row row;
    if (!Read(id, row)) throw Error::Damaged(id.page, "the row is gone");
    TableDef& def = core_->loaded();
    for (const FieldChange& change : changes) {
      CheckRules(def.columns[change.ordinal], core_->loaded_rules()[change.ordinal], change.value);
    }
    PageAllocator& allocator = core_->allocator();
    Scope scope(core_->pager());
    StoredValues stored(row);
    RowEncoder& encoder = core_->encoder();
    encoder.Begin(def);
    encoder.SetFrom(RowView(row.bytes_, row.layout_));
    const std::vector<KeyChange> keys =
        core_->indexes().OfUpdate(id, std::ref(stored), changes, encoder.texts());
    bool counters = !keys.empty();
    for (const FieldChange& change : changes) {
      const ColumnDef& column = def.columns[change.ordinal];
      if (RaiseAutonumber(def, column, change.value)) counters = true;
      const Bytes old = encoder.Take(change.ordinal);
      if (!IsNull(change.value)) {
        StoreField(allocator, column, change.ordinal, change.value, encoder);
      }
      if (!old.empty() && IsLongValue(column.type)) FreeLongValue(allocator, column, old);
    }
    core_->rows().Rewrite(id, encoder.Finish());
    core_->indexes().Apply(id, keys);
    if (counters) StoreCounters(def, core_->pager());
    scope.Commit();
  });
}

void Table::Delete(RowId id) {
  core_->Named([&] {
    Row row;
    if (!Read(id, row)) throw Error::Damaged(id.page, "the row is gone");
    TableDef& def = core_->loaded();
    Scope scope(core_->pager());
    StoredValues stored(row);
    core_->indexes().Apply(id, core_->indexes().OfErasedRow(std::ref(stored)));
    FreeLongValues(core_->allocator(), def, RowView(row.bytes_, row.layout_));
    core_->rows().Remove(id);
    if (def.row_count > 0) --def.row_count;
    StoreCounters(def, core_->pager());
    scope.Commit();
  });
}

}  // namespace jet
