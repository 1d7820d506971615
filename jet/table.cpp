#include "jet/table.h"

#include <algorithm>
#include <utility>

#include "jet/bytes.h"
#include "jet/default_value.h"
#include "jet/index_key.h"
#include "jet/long_value.h"
#include "jet/slotted_page.h"
#include "jet/table_keys.h"
#include "jet/text.h"

namespace jet {
namespace {

constexpr std::size_t kPointerBytes = 4;  // of a moved row, in its slot

}  // namespace

Table::Table(PageAllocator& allocator, std::string name, std::function<TableState()> load,
             std::function<DateTime()> now)
    : allocator_(&allocator), name_(std::move(name)), load_(std::move(load)), now_(std::move(now)) {
  Reload();
}

// Gives an error its table and file, and a damaged row its page.
template <class Body>
auto Table::Named(Body&& body) const -> decltype(body()) {
  try {
    return body();
  } catch (Error& error) {
    error.OfTable(name_).In(pager().path());
    throw;
  }
}

void Table::Reload() const {
  TableState state = load_();
  state.rules.resize(state.def.columns.size());
  def_ = std::move(state.def);
  rules_ = std::move(state.rules);
  epoch_ = pager().epoch();
}

const TableDef& Table::def() const {
  if (epoch_ != pager().epoch()) Reload();
  return def_;
}

std::size_t Table::OrdinalOf(std::string_view column) const {
  const SortOrder order = def().columns.empty() ? kGeneral : name_order();
  if (const auto at = def_.FindColumn(column, order)) return *at;
  throw Error(ErrorCode::kColumnMissing).OfColumn(column).OfTable(name_).In(pager().path());
}

// Column names compare by the sort order that every descriptor repeats.
SortOrder Table::name_order() const {
  for (const ColumnDef& column : def().columns) {
    if (column.type != ColumnType::kNumeric) return column.order;
  }
  return kGeneral;
}

// Pages that are listed by the map but are not this table's rows are skipped:
// some writers list definition pages.
bool Table::IsDataPage(PageView bytes) const {
  return RowPage::IsRowPage(bytes) && RowPage::OwnerOf(bytes) == def_.page.value;
}

std::optional<PageNumber> Table::NextDataPage(PageNumber from) const {
  const UsageMap owned(pager(), def().owned_map);
  for (auto page = owned.FirstFrom(from); page; page = owned.FirstFrom({page->value + 1})) {
    const PageRef ref = pager().Read(*page);
    if (IsDataPage(ref.bytes())) return page;
  }
  return std::nullopt;
}

std::optional<PageNumber> Table::LastDataPage(PageNumber limit) const {
  const UsageMap owned(pager(), def().owned_map);
  for (auto page = owned.LastUpTo(limit); page; page = owned.LastUpTo({page->value - 1})) {
    const PageRef ref = pager().Read(*page);
    if (IsDataPage(ref.bytes())) return page;
    if (page->value == 0) break;
  }
  return std::nullopt;
}

namespace {

bool IsHome(SlotKind kind) { return kind == SlotKind::kLive || kind == SlotKind::kMoved; }

std::optional<std::size_t> FirstHome(const RowPage& rows, std::size_t from) {
  for (std::size_t slot = from; slot < rows.row_count(); ++slot) {
    if (IsHome(rows.kind(slot))) return slot;
  }
  return std::nullopt;
}

}  // namespace

std::optional<RowId> Table::First() const {
  return Named([&]() -> std::optional<RowId> {
    for (auto page = NextDataPage({}); page; page = NextDataPage({page->value + 1})) {
      const PageRef ref = pager().Read(*page);
      if (const auto slot = FirstHome(RowPage(*page, ref.bytes()), 0)) {
        return RowId{*page, static_cast<std::uint8_t>(*slot)};
      }
    }
    return std::nullopt;
  });
}

std::optional<RowId> Table::Next(RowId row) const {
  return Named([&]() -> std::optional<RowId> {
    std::size_t from = row.row + std::size_t{1};
    for (std::optional<PageNumber> page = row.page; page; page = NextDataPage({page->value + 1})) {
      const PageRef ref = pager().Read(*page);
      if (const auto slot = FirstHome(RowPage(*page, ref.bytes()), from)) {
        return RowId{*page, static_cast<std::uint8_t>(*slot)};
      }
      from = 0;
    }
    return std::nullopt;
  });
}

std::optional<RowId> Table::Last() const {
  return Named([&]() -> std::optional<RowId> {
    for (auto page = LastDataPage({0xFFFFFFFF}); page; page = LastDataPage({page->value - 1})) {
      const PageRef ref = pager().Read(*page);
      const RowPage rows(*page, ref.bytes());
      for (std::size_t slot = rows.row_count(); slot-- > 0;) {
        if (IsHome(rows.kind(slot))) return RowId{*page, static_cast<std::uint8_t>(slot)};
      }
    }
    return std::nullopt;
  });
}

// The bytes of a row: in its slot, or where the slot points. Nothing if there is
// no such row.
std::optional<ByteView> Table::Locate(RowId id, PageRef& page, RowId& at) const {
  at = id;
  page = pager().Read(id.page);
  if (!IsDataPage(page.bytes())) return std::nullopt;
  const std::optional<FoundRow> home = FindRow(id.page, page.bytes(), id.row);
  if (!home) return std::nullopt;
  if (home->kind == SlotKind::kLive) return home->bytes;
  if (home->kind != SlotKind::kMoved) return std::nullopt;
  if (home->bytes.size() < kPointerBytes) {
    throw Error::Damaged(id.page, "a moved row points nowhere");
  }
  at = RowId::FromPacked(GetU32(home->bytes, 0));
  page = pager().Read(at.page);
  if (!IsDataPage(page.bytes())) {
    throw Error::Damaged(id.page, "a moved row points to a page of another owner");
  }
  const std::optional<FoundRow> body = FindRow(at.page, page.bytes(), at.row);
  if (!body || body->kind != SlotKind::kBody) {
    throw Error::Damaged(id.page, "a moved row points to no row");
  }
  return body->bytes;
}

bool Table::Read(RowId id, Row& row) const {
  return Named([&] {
    def();
    RowId at;
    PageRef page;
    const std::optional<ByteView> bytes = Locate(id, page, at);
    if (!bytes) return false;
    row.table_ = this;
    row.id_ = id;
    try {
      row.view_ = RowView(def_, *bytes);
    } catch (const Error& error) {
      throw Error::Damaged(at.page, "row " + std::to_string(at.row) + ": " + error.detail());
    }
    row.page_ = std::move(page);
    return true;
  });
}

bool Table::Row::IsNull(std::size_t ordinal) const {
  const ColumnDef& column = table_->def_.columns[ordinal];
  return column.type != ColumnType::kBoolean && !view_.Raw(column);
}

Value Table::Row::Get(std::size_t ordinal) const {
  const ColumnDef& column = table_->def_.columns[ordinal];
  return table_->Named([&]() -> Value {
    if (column.type == ColumnType::kBoolean) return view_.Boolean(column);
    const auto raw = view_.Raw(column);
    if (!raw) return Null{};
    if (!IsLongValue(column.type)) return DecodeField(column, *raw);
    Bytes bytes = ReadLongValue(table_->pager(), *raw);
    if (column.type == ColumnType::kMemo) return DecodeText(bytes);
    return bytes;
  });
}

bool Table::Row::GetText(std::size_t ordinal, std::string& out) const {
  const ColumnDef& column = table_->def_.columns[ordinal];
  const auto raw = view_.Raw(column);
  if (!raw) return false;
  if (column.type == ColumnType::kMemo) {
    DecodeText(ReadLongValue(table_->pager(), *raw), out);
  } else {
    DecodeText(*raw, out);
  }
  return true;
}

Value Table::DefaultOf(std::size_t ordinal) const {
  return Named([&] {
    const ColumnDef& column = def().columns[ordinal];
    return EvaluateDefault(column, rules_[ordinal].default_expression, now_());
  });
}

// A default that we cannot evaluate is no matter where its column has a value.
std::vector<Value> Table::NewRow(std::span<const FieldChange> given) const {
  std::vector<Value> row(def().columns.size());
  for (std::size_t i = 0; i < row.size(); ++i) {
    const auto value = std::ranges::find(given, i, &FieldChange::ordinal);
    row[i] = value == given.end() ? DefaultOf(i) : value->value;
  }
  return row;
}

void Table::CheckRules(std::size_t ordinal, const Value& value) const {
  const ColumnDef& column = def_.columns[ordinal];
  const ColumnRules& rules = rules_[ordinal];
  if (jet::IsNull(value) && rules.required && column.type != ColumnType::kBoolean) {
    throw Error(ErrorCode::kRequired).OfColumn(column.name);
  }
  const auto* text = std::get_if<std::string>(&value);
  if (text != nullptr && text->empty() && !rules.allow_zero_length && IsText(column.type)) {
    throw Error(ErrorCode::kZeroLength).OfColumn(column.name);
  }
}

// `values` with one for every column, autonumbers given; in `buffer` where they
// are not so already.
std::span<const Value> Table::Complete(std::span<const Value> values, std::vector<Value>& buffer) {
  const bool counts = std::any_of(def_.columns.begin(), def_.columns.end(),
                                  [](const ColumnDef& column) { return column.auto_number(); });
  if (!counts && values.size() == def_.columns.size()) return values;
  buffer.assign(values.begin(), values.end());
  buffer.resize(def_.columns.size());
  GiveAutonumbers(buffer);
  return buffer;
}

void Table::GiveAutonumbers(std::vector<Value>& row) {
  for (std::size_t i = 0; i < row.size(); ++i) {
    const ColumnDef& column = def_.columns[i];
    if (!column.auto_number() || column.type != ColumnType::kLong) continue;
    if (jet::IsNull(row[i])) {
      PassNumbersInUse(i);
      row[i] = static_cast<std::int32_t>(def_.last_autonumber + def_.autonumber_step);
    }
    RaiseAutonumber(column, row[i]);
  }
}

// No number that is in use is given again.
bool Table::RaiseAutonumber(const ColumnDef& column, const Value& value) {
  if (!column.auto_number() || column.type != ColumnType::kLong) return false;
  const auto* number = std::get_if<std::int32_t>(&value);
  if (number == nullptr || *number <= static_cast<std::int32_t>(def_.last_autonumber)) return false;
  def_.last_autonumber = static_cast<std::uint32_t>(*number);
  return true;
}

void Table::StoreField(std::size_t ordinal, const Value& value) {
  const ColumnDef& column = def_.columns[ordinal];
  if (column.type == ColumnType::kMemo) {
    const auto* text = std::get_if<std::string>(&value);
    if (text == nullptr) throw Error(ErrorCode::kWrongType).OfColumn(column.name);
    encoder_.SetStored(ordinal,
                       WriteMemo(*allocator_, column, encoder_.texts().Of(ordinal, *text)));
  } else if (column.type == ColumnType::kOle) {
    const auto* bytes = std::get_if<Bytes>(&value);
    if (bytes == nullptr) throw Error(ErrorCode::kWrongType).OfColumn(column.name);
    encoder_.SetStored(ordinal, WriteLongValue(*allocator_, column, *bytes));
  } else {
    encoder_.Set(ordinal, value);
  }
}

void Table::RewriteRows() {
  Scope scope(pager());
  Row row;
  for (auto id = First(); id; id = Next(*id)) {
    Named([&] {
      if (!Read(*id, row)) return;
      encoder_.Begin(def_);
      encoder_.SetFrom(row.view());
      RewriteRow(*id, encoder_.Finish());
    });
  }
  scope.Commit();
}

// Above `above`, so that stored order stays insertion order; for pages whose
// rows are hidden from walks any page will do.
PageNumber Table::NewDataPage(PageNumber above, bool mark) {
  const PageNumber page = mark && above ? allocator_->AllocateAbove(above) : allocator_->Allocate();
  InitRowPage(pager().Edit(page), def_.page.value);
  UsageMap(pager(), def_.owned_map).Add(page, *allocator_);
  if (mark) UsageMap(pager(), def_.free_map).MarkOnly(page, *allocator_);
  return page;
}

RowId Table::PlaceRow(ByteView bytes) {
  if (!tail_ || tail_epoch_ != pager().epoch()) {
    tail_ = LastDataPage({0xFFFFFFFF}).value_or(PageNumber{});
    tail_epoch_ = pager().epoch();
    if (tail_) RowPage(tail_, pager().Read(tail_).bytes());  // its slots hold together
  }
  if (!tail_ || !FitsNewRow(tail_, pager().Read(tail_).bytes(), bytes.size())) {
    tail_ = NewDataPage(tail_, true);
  }
  return {tail_, AddRow(tail_, pager().Edit(tail_), bytes, SlotKind::kLive)};
}

RowId Table::PlaceBody(ByteView bytes) {
  const auto last = LastDataPage({0xFFFFFFFF});
  PageNumber page = last.value_or(PageNumber{});
  if (!last || !FitsNewRow(page, pager().Read(page).bytes(), bytes.size())) {
    page = NewDataPage(page, false);
    tail_ = {};  // the new page may lie behind it
  }
  return {page, AddRow(page, pager().Edit(page), bytes, SlotKind::kBody)};
}

// Deletes a row's bytes; a page that holds none any more goes back to the file,
// unless it is the table's last one.
void Table::RemoveBytes(RowId at) {
  DeleteRow(at.page, pager().Edit(at.page), at.row);
  const PageRef page = pager().Read(at.page);
  const RowPage rows(at.page, page.bytes());
  for (std::size_t slot = 0; slot < rows.row_count(); ++slot) {
    if (rows.kind(slot) != SlotKind::kDeleted) return;
  }
  const auto first = NextDataPage({});
  const auto last = LastDataPage({0xFFFFFFFF});
  if (first == last) return;
  tail_ = {};
  UsageMap(pager(), def_.free_map).Remove(at.page);
  MarkReleased(pager().Edit(at.page));
  allocator_->Free(at.page, def_.owned_map);
}

// The row keeps its slot, and with it its position and its index entries.
void Table::RewriteRow(RowId id, ByteView bytes) {
  RowId at;
  PageRef page;
  if (!Locate(id, page, at)) throw Error::Damaged(id.page, "the row is gone");
  const bool moved = at != id;
  if (ReplaceRow(at.page, pager().Edit(at.page), at.row, bytes,
                 moved ? SlotKind::kBody : SlotKind::kLive)) {
    return;
  }
  if (moved) RemoveBytes(at);
  const RowId body = PlaceBody(bytes);
  Bytes pointer;
  AddU32(pointer, body.packed());
  if (!ReplaceRow(id.page, pager().Edit(id.page), id.row, pointer, SlotKind::kMoved)) {
    throw Error(ErrorCode::kRowTooLong, "no room for the row's new address");
  }
}

RowId Table::Insert(std::span<const Value> values) {
  return Named([&] {
    def();
    Scope scope(pager());
    std::vector<Value> buffer;
    const std::span<const Value> row = Complete(values, buffer);
    for (std::size_t i = 0; i < row.size(); ++i) CheckRules(i, row[i]);
    encoder_.Begin(def_);
    const std::vector<KeyChange> keys = KeysOfNewRow(row);
    for (std::size_t i = 0; i < row.size(); ++i) {
      if (!jet::IsNull(row[i])) StoreField(i, row[i]);
    }
    const RowId id = PlaceRow(encoder_.Finish());
    ApplyKeyChanges(id, keys);
    ++def_.row_count;
    def_.StoreCounters(pager());
    scope.Commit();
    return id;
  });
}

void Table::Update(RowId id, std::span<const FieldChange> changes) {
  Named([&] {
    Row row;
    if (!Read(id, row)) throw Error::Damaged(id.page, "the row is gone");
    for (const FieldChange& change : changes) CheckRules(change.ordinal, change.value);
    Scope scope(pager());
    encoder_.Begin(def_);
    encoder_.SetFrom(row.view());
    const std::vector<KeyChange> keys = KeyChanges(id, row, changes);
    bool counters = !keys.empty();
    for (const FieldChange& change : changes) {
      const ColumnDef& column = def_.columns[change.ordinal];
      if (RaiseAutonumber(column, change.value)) counters = true;
      const Bytes old = encoder_.Take(change.ordinal);
      if (!jet::IsNull(change.value)) StoreField(change.ordinal, change.value);
      if (!old.empty() && IsLongValue(column.type)) FreeLongValue(*allocator_, column, old);
    }
    RewriteRow(id, encoder_.Finish());
    ApplyKeyChanges(id, keys);
    if (counters) def_.StoreCounters(pager());
    scope.Commit();
  });
}

void Table::Delete(RowId id) {
  Named([&] {
    Row row;
    if (!Read(id, row)) throw Error::Damaged(id.page, "the row is gone");
    Scope scope(pager());
    EraseKeys(row);
    for (const ColumnDef& column : def_.columns) {
      if (!IsLongValue(column.type)) continue;
      if (const auto raw = row.view().Raw(column)) {
        const Bytes copy(raw->begin(), raw->end());
        FreeLongValue(*allocator_, column, copy);
      }
    }
    RowId at;
    PageRef page;
    if (!Locate(id, page, at)) throw Error::Damaged(id.page, "the row is gone");
    if (at != id) RemoveBytes(at);
    RemoveBytes(id);
    if (def_.row_count > 0) --def_.row_count;
    def_.StoreCounters(pager());
    scope.Commit();
  });
}

std::optional<RowId> Table::Lookup(std::size_t real, std::span<const Value> values) const {
  return Named([&]() -> std::optional<RowId> {
    const RealIndex& index = def().real_indexes[real];
    Bytes key;
    for (std::size_t i = 0; i < index.columns.size() && i < values.size(); ++i) {
      const auto ordinal = def_.FindColumn(index.columns[i].column);
      if (!ordinal) throw Error::Damaged(def_.page, "an index over a column that is not there");
      AddKeyPart(def_.columns[*ordinal], values[i], index.columns[i].ascending, key);
    }
    return OpenIndex(real).Find(key);
  });
}

// Looks at each page once, so that the cache can pass it on.
bool TableScan::NextPage() {
  Pager& pager = table_->pager();
  const UsageMap owned(pager, table_->def_.owned_map);
  rows_.reset();
  for (auto page = owned.FirstFrom(from_); page; page = owned.FirstFrom(from_)) {
    from_ = {page->value + 1};
    page_ = PageRef();
    page_ = pager.Read(*page);
    if (!table_->IsDataPage(page_.bytes())) continue;
    rows_.emplace(*page, page_.bytes());
    slot_ = 0;
    return true;
  }
  return false;
}

bool TableScan::Next() {
  return table_->Named([&] {
    for (;;) {
      const auto slot = rows_ ? FirstHome(*rows_, slot_) : std::nullopt;
      if (!slot) {
        if (!NextPage()) return false;
        continue;
      }
      slot_ = *slot + 1;
      const RowId id{page_.number(), static_cast<std::uint8_t>(*slot)};
      if (rows_->kind(*slot) == SlotKind::kMoved) {
        if (table_->Read(id, row_)) return true;
        continue;
      }
      row_.id_ = id;
      try {
        row_.view_ = RowView(table_->def_, rows_->row(*slot));
      } catch (const Error& error) {
        throw Error::Damaged(id.page, "row " + std::to_string(id.row) + ": " + error.detail());
      }
      return true;
    }
  });
}

}  // namespace jet
