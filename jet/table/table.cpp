#include "jet/table/table.h"

#include <algorithm>
#include <utility>

#include "jet/base/error.h"
#include "jet/base/text.h"
#include "jet/row/default_value.h"
#include "jet/row/long_value.h"
#include "jet/row/table_def_chain.h"
#include "jet/table/row_store.h"
#include "jet/table/table_indexes.h"

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

// The values of a row as it stands.
class StoredValues {
 public:
  explicit StoredValues(const Table::Row& row) : row_(row) {}
  const Value& operator()(std::size_t ordinal) { return value_ = row_.Get(ordinal); }

 private:
  const Table::Row& row_;
  Value value_;
};

}  // namespace

Table::Table(PageAllocator& allocator, std::string name, std::function<TableState()> load,
             std::function<DateTime()> now)
    : allocator_(&allocator),
      name_(std::move(name)),
      load_(std::move(load)),
      now_(std::move(now)),
      rows_(std::make_unique<RowStore>(allocator, state_.def)),
      indexes_(std::make_unique<TableIndexes>(allocator, state_.def)) {
  Reload();
}

Table::~Table() = default;

// Gives an error its table and file.
template <class Body>
auto Table::Named(Body&& body) const -> decltype(body()) {
  const Places places{.file = allocator_->pager().path(), .table = name_};
  return jet::Named(places, std::forward<Body>(body));
}

// ---- definition and rules

void Table::Reload() const {
  state_ = load_();
  state_.rules.resize(state_.def.columns.size());
  epoch_ = allocator_->pager().epoch();
}

const TableDef& Table::def() const {
  if (epoch_ != allocator_->pager().epoch()) Reload();
  return state_.def;
}

std::size_t Table::OrdinalOf(std::string_view column) const {
  const SortOrder order = def().columns.empty() ? kGeneral : name_order();
  if (const auto at = state_.def.FindColumn(column, order)) return *at;
  throw Error(ErrorCode::kColumnMissing)
      .OfColumn(column)
      .OfTable(name_)
      .In(allocator_->pager().path());
}

// Column names compare by the sort order that every descriptor repeats.
SortOrder Table::name_order() const {
  for (const ColumnDef& column : def().columns) {
    if (column.type != ColumnType::kNumeric) return column.order;
  }
  return kGeneral;
}

Value Table::DefaultOf(std::size_t ordinal) const {
  return Named([&] {
    const ColumnDef& column = def().columns[ordinal];
    return EvaluateDefault(column, state_.rules[ordinal].default_expression, now_());
  });
}

// A default that we cannot evaluate does not matter where its column has a value.
std::vector<Value> Table::NewRow(std::span<const FieldChange> given) const {
  std::vector<Value> row(def().columns.size());
  for (std::size_t i = 0; i < row.size(); ++i) {
    const auto value = std::ranges::find(given, i, &FieldChange::ordinal);
    row[i] = value == given.end() ? DefaultOf(i) : value->value;
  }
  return row;
}

// ---- walking and reading

std::optional<RowId> Table::First() const {
  return Named([&] {
    def();
    return rows_->First();
  });
}

std::optional<RowId> Table::Next(RowId row) const {
  return Named([&] {
    def();
    return rows_->Next(row);
  });
}

std::optional<RowId> Table::Last() const {
  return Named([&] {
    def();
    return rows_->Last();
  });
}

RowView Table::ViewOf(ByteView bytes, RowId at) const {
  try {
    return RowView(state_.def, bytes);
  } catch (const Error& error) {
    throw Error::Damaged(at.page, "row " + std::to_string(at.row) + ": " + error.detail());
  }
}

bool Table::Read(RowId id, Row& row) const {
  return Named([&] {
    def();
    RowId at;
    PageRef page;
    const std::optional<ByteView> bytes = rows_->Find(id, page, at);
    if (!bytes) return false;
    row.table_ = this;
    row.id_ = id;
    row.view_ = ViewOf(*bytes, at);
    row.page_ = std::move(page);
    return true;
  });
}

bool Table::Row::IsNull(std::size_t ordinal) const {
  const ColumnDef& column = table_->state_.def.columns[ordinal];
  return column.type != ColumnType::kBoolean && !view_.Raw(column);
}

Value Table::Row::Get(std::size_t ordinal) const {
  const ColumnDef& column = table_->state_.def.columns[ordinal];
  return table_->Named([&]() -> Value {
    if (column.type == ColumnType::kBoolean) return view_.Boolean(column);
    const auto raw = view_.Raw(column);
    if (!raw) return Null{};
    if (!IsLongValue(column.type)) return DecodeField(column, *raw);
    Bytes bytes = ReadLongValue(table_->allocator_->pager(), *raw);
    if (column.type == ColumnType::kMemo) return DecodeText(bytes);
    return bytes;
  });
}

bool Table::Row::GetText(std::size_t ordinal, std::string& out) const {
  const ColumnDef& column = table_->state_.def.columns[ordinal];
  return table_->Named([&] {
    const auto raw = view_.Raw(column);
    if (!raw) return false;
    if (column.type == ColumnType::kMemo) {
      DecodeText(ReadLongValue(table_->allocator_->pager(), *raw), out);
    } else {
      DecodeText(*raw, out);
    }
    return true;
  });
}

TableScan::TableScan(const Table& table) : table_(&table) {
  table.def();
  walk_ = std::make_unique<RowWalk>(*table.rows_);
  row_.table_ = &table;
}

TableScan::~TableScan() = default;

bool TableScan::Next() {
  return table_->Named([&] {
    if (!walk_->Next()) return false;
    row_.id_ = walk_->id();
    row_.view_ = table_->ViewOf(walk_->bytes(), walk_->at());
    return true;
  });
}

Table::Seek::Seek(const Table& table, std::unique_ptr<IndexSeek> seek)
    : table_(&table), seek_(std::move(seek)) {}
Table::Seek::Seek(Seek&&) noexcept = default;
Table::Seek& Table::Seek::operator=(Seek&&) noexcept = default;
Table::Seek::~Seek() = default;

void Table::Seek::Begin(std::span<const Value> values) {
  table_->Named([&] { seek_->Begin(values); });
}

std::optional<RowId> Table::Seek::Next() {
  return table_->Named([&] { return seek_->Next(); });
}

std::optional<Table::Seek> Table::SeekBy(const std::vector<std::size_t>& ordinals) const {
  return Named([&]() -> std::optional<Seek> {
    def();
    const auto real = indexes_->BeginningWith(ordinals);
    if (!real) return std::nullopt;
    return Seek(*this, std::make_unique<IndexSeek>(allocator_->pager(), state_.def, *real,
                                                   ordinals.size()));
  });
}

// ---- changing

// `values` with one for every column, autonumbers given; in `buffer` where they
// are not so already.
std::span<const Value> Table::Complete(std::span<const Value> values, std::vector<Value>& buffer) {
  TableDef& def = state_.def;
  const bool counts = std::ranges::any_of(def.columns, Counts);
  if (!counts && values.size() == def.columns.size()) return values;
  buffer.assign(values.begin(), values.end());
  buffer.resize(def.columns.size());
  for (std::size_t i = 0; i < buffer.size(); ++i) {
    if (!Counts(def.columns[i])) continue;
    if (IsNull(buffer[i])) {
      PassNumbersInUse(i);
      buffer[i] = static_cast<std::int32_t>(def.last_autonumber + def.autonumber_step);
    }
    RaiseAutonumber(def, def.columns[i], buffer[i]);
  }
  return buffer;
}

// Tables that other programs copied may count from below what is in them.
void Table::PassNumbersInUse(std::size_t ordinal) {
  if (numbers_epoch_ == allocator_->pager().epoch()) return;
  auto greatest = static_cast<std::int32_t>(state_.def.last_autonumber);
  const auto meet = [&](const Row& row) {
    const Value value = row.Get(ordinal);
    if (const auto* number = std::get_if<std::int32_t>(&value)) {
      greatest = std::max(greatest, *number);
    }
  };
  if (auto entry = indexes_->From(ordinal, greatest)) {
    Row row;
    for (; entry->valid(); entry->Next()) {
      if (Read(entry->row(), row)) meet(row);
    }
  } else {
    for (TableScan scan(*this); scan.Next();) meet(scan.row());
  }
  state_.def.last_autonumber = static_cast<std::uint32_t>(greatest);
  numbers_epoch_ = allocator_->pager().epoch();
}

RowId Table::Insert(std::span<const Value> values) {
  return Named([&] {
    def();
    TableDef& def = state_.def;
    Scope scope(allocator_->pager());
    std::vector<Value> buffer;
    const std::span<const Value> row = Complete(values, buffer);
    for (std::size_t i = 0; i < row.size(); ++i) {
      CheckRules(def.columns[i], state_.rules[i], row[i]);
    }
    encoder_.Begin(def);
    const std::vector<KeyChange> keys = indexes_->OfNewRow(row, encoder_.texts());
    for (std::size_t i = 0; i < row.size(); ++i) {
      if (!IsNull(row[i])) StoreField(*allocator_, def.columns[i], i, row[i], encoder_);
    }
    const RowId id = rows_->Append(encoder_.Finish());
    indexes_->Apply(id, keys);
    ++def.row_count;
    StoreCounters(def, allocator_->pager());
    scope.Commit();
    return id;
  });
}

void Table::Update(RowId id, std::span<const FieldChange> changes) {
  Named([&] {
    Row row;
    if (!Read(id, row)) throw Error::Damaged(id.page, "the row is gone");
    TableDef& def = state_.def;
    for (const FieldChange& change : changes) {
      CheckRules(def.columns[change.ordinal], state_.rules[change.ordinal], change.value);
    }
    Scope scope(allocator_->pager());
    StoredValues stored(row);
    encoder_.Begin(def);
    encoder_.SetFrom(row.view());
    const std::vector<KeyChange> keys =
        indexes_->OfUpdate(id, std::ref(stored), changes, encoder_.texts());
    bool counters = !keys.empty();
    for (const FieldChange& change : changes) {
      const ColumnDef& column = def.columns[change.ordinal];
      if (RaiseAutonumber(def, column, change.value)) counters = true;
      const Bytes old = encoder_.Take(change.ordinal);
      if (!IsNull(change.value)) {
        StoreField(*allocator_, column, change.ordinal, change.value, encoder_);
      }
      if (!old.empty() && IsLongValue(column.type)) FreeLongValue(*allocator_, column, old);
    }
    rows_->Rewrite(id, encoder_.Finish());
    indexes_->Apply(id, keys);
    if (counters) StoreCounters(def, allocator_->pager());
    scope.Commit();
  });
}

void Table::Delete(RowId id) {
  Named([&] {
    Row row;
    if (!Read(id, row)) throw Error::Damaged(id.page, "the row is gone");
    TableDef& def = state_.def;
    Scope scope(allocator_->pager());
    StoredValues stored(row);
    indexes_->Apply(id, indexes_->OfErasedRow(std::ref(stored)));
    FreeLongValues(*allocator_, def, row.view());
    rows_->Remove(id);
    if (def.row_count > 0) --def.row_count;
    StoreCounters(def, allocator_->pager());
    scope.Commit();
  });
}

void Table::RewriteRows() {
  Scope scope(allocator_->pager());
  Row row;
  for (auto id = First(); id; id = Next(*id)) {
    Named([&] {
      if (!Read(*id, row)) return;
      encoder_.Begin(state_.def);
      encoder_.SetFrom(row.view());
      rows_->Rewrite(*id, encoder_.Finish());
    });
  }
  scope.Commit();
}

}  // namespace jet
