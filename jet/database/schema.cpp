#include "jet/database/schema.h"

#include <algorithm>

#include "jet/base/error.h"
#include "jet/index/index.h"
#include "jet/index/index_entries.h"
#include "jet/index/index_key.h"
#include "jet/row/row.h"
#include "jet/row/table_def_chain.h"
#include "jet/sort/collation.h"
#include "jet/sort/name.h"
#include "jet/storage/pager.h"

namespace jet {

namespace {

// The length that the descriptor of a new column has.
std::uint16_t LengthOf(const ColumnSpec& spec) {
  const TypeInfo& info = InfoOf(spec.type);
  if (!info.creatable) throw Error(ErrorCode::kNotSupported, TypeName(spec.type) + " columns");
  if (spec.type == ColumnType::kNumeric && !IsDecimalShape(spec.precision, spec.scale)) {
    throw Error(ErrorCode::kOutOfRange, "precision and scale");
  }
  if (info.size != ValueSize::kByColumn) return info.length;
  const std::size_t unit = IsText(spec.type) ? 2 : 1;
  if (spec.max_size == 0 || spec.max_size > info.length / unit) {
    throw Error(ErrorCode::kOutOfRange, "size " + std::to_string(spec.max_size));
  }
  return static_cast<std::uint16_t>(spec.max_size * unit);
}

void CheckWidth(const TableDef& def) {
  const std::size_t width = DeclaredWidth(def);
  if (width > kMaxRowBytes) {
    throw Error(ErrorCode::kRowTooLong, std::to_string(width) + " bytes without any text");
  }
}

// Adds the column to `def`, with maps for a long value. The definition is not
// stored yet.
void AddColumn(PageAllocator& allocator, SortOrder order, TableDef& def, const ColumnSpec& spec,
               PageNumber& page_of_maps) {
  CheckNewName(order, spec.name);
  if (def.FindColumn(spec.name, order)) throw Error(ErrorCode::kColumnExists);
  if (def.next_column_id >= kMaxColumns) throw Error(ErrorCode::kTooManyColumns);
  ColumnDef column;
  column.name = spec.name;
  column.type = spec.type;
  column.id = ColumnId{def.next_column_id};
  column.position = def.next_column_id;
  column.variable_slot = def.next_variable_slot;
  column.order = order;
  column.length = LengthOf(spec);
  column.flags = ColumnDef::kUpdatable;
  if (InfoOf(spec.type).fixed) {
    column.flags |= ColumnDef::kFixed;
    if (column.fixed_bytes() != 0) {
      column.fixed_offset = static_cast<std::uint16_t>(def.fixed_width());
    }
  } else {
    ++def.next_variable_slot;
  }
  if (spec.auto_number) {
    const auto numbered = [](const ColumnDef& other) { return other.auto_number(); };
    if (spec.type != ColumnType::kLong || def.row_count != 0 ||
        std::any_of(def.columns.begin(), def.columns.end(), numbered)) {
      throw Error(ErrorCode::kNotSupported, "an autonumber here");
    }
    column.flags |= ColumnDef::kAutoNumber;
  }
  if (IsText(spec.type) && spec.compressed) column.text_flags = ColumnDef::kCompressed;
  if (spec.type == ColumnType::kNumeric) {
    column.precision = spec.precision;
    column.scale = spec.scale;
  }
  if (IsLongValue(spec.type)) {
    column.owned_map = allocator.NewMap(page_of_maps);
    column.free_map = allocator.NewMap(page_of_maps);
  }
  ++def.next_column_id;
  def.columns.push_back(std::move(column));
  CheckWidth(def);
}

std::uint8_t IndexFlags(const IndexSpec& spec) {
  if (spec.primary) return RealIndex::kPrimaryKey;
  int flags = RealIndex::kAlways;
  if (spec.unique) flags |= RealIndex::kUnique;
  if (spec.ignore_nulls) flags |= RealIndex::kIgnoreNulls;
  if (spec.required) flags |= RealIndex::kRequired;
  return static_cast<std::uint8_t>(flags);
}

// Adds an empty tree and its name to `def`; returns the ordinal of the tree.
std::size_t AddIndexDef(PageAllocator& allocator, SortOrder order, TableDef& def,
                        const IndexSpec& spec, PageNumber& page_of_maps) {
  CheckNewName(order, spec.name);
  std::uint32_t number = 0;
  for (const LogicalIndex& other : def.logical_indexes) {
    if (SameName(order, other.name, spec.name)) throw Error(ErrorCode::kIndexExists);
    if (spec.primary && other.kind == LogicalIndex::kPrimary) {
      throw Error(ErrorCode::kIndexExists, "the table has a primary key");
    }
    number = std::max(number, other.number + 1);
  }
  if (def.real_indexes.size() >= kMaxIndexes || def.logical_indexes.size() >= kMaxIndexes) {
    throw Error(ErrorCode::kTooManyIndexes);
  }
  if (spec.columns.empty() || spec.columns.size() > kMaxIndexColumns) {
    throw Error(ErrorCode::kTooManyColumns, std::to_string(spec.columns.size()) + " in an index");
  }
  RealIndex real;
  real.flags = IndexFlags(spec);
  for (std::size_t i = 0; i < spec.columns.size(); ++i) {
    const std::optional<std::size_t> ordinal = def.FindColumn(spec.columns[i], order);
    if (!ordinal) throw Error(ErrorCode::kColumnMissing, spec.columns[i]);
    const ColumnDef& column = def.columns[*ordinal];
    const bool ascending = i >= spec.descending.size() || !spec.descending[i];
    RequireIndexable(column, ascending);
    const auto same = [&](const IndexColumn& other) { return other.column == column.id; };
    if (std::any_of(real.columns.begin(), real.columns.end(), same)) {
      throw Error(ErrorCode::kColumnExists, spec.columns[i] + " twice in an index");
    }
    real.columns.push_back({column.id, ascending});
  }
  real.root = allocator.Allocate();
  real.page_map = allocator.NewMap(page_of_maps);
  Index::InitTree(allocator, def.page, real);

  LogicalIndex logical;
  logical.name = spec.name;
  logical.number = number;
  logical.real = static_cast<std::uint32_t>(def.real_indexes.size());
  logical.kind = spec.primary ? LogicalIndex::kPrimary : LogicalIndex::kPlain;
  const std::string key = NameKey(order, spec.name);
  const auto place =
      std::find_if(def.logical_indexes.begin(), def.logical_indexes.end(),
                   [&](const LogicalIndex& other) { return NameKey(order, other.name) > key; });
  def.logical_indexes.insert(place, std::move(logical));
  def.real_indexes.push_back(std::move(real));
  return def.real_indexes.size() - 1;
}

IndexEntries SortedEntries(const Table& table, const TableDef& def, const RealIndex& index) {
  IndexEntries entries;
  entries.Reserve(table.row_count());
  const std::optional<LongKeys> long_keys = LongKeys::For(def, index);
  IndexKey key;
  Value value;
  for (TableScan scan(table); scan.Next();) {
    const Table::Row& row = scan.row();
    if (long_keys) {
      long_keys->Build([&](std::size_t ordinal) { return row.Stored(ordinal); }, key);
    } else {
      key = BuildKey(def, index,
                     [&](std::size_t ordinal) -> const Value& { return value = row.Get(ordinal); });
    }
    if (key.all_null && index.ignore_nulls()) continue;
    if (key.some_null && index.required()) throw Error(ErrorCode::kNullKey);
    // Keys with a Null part never collide.
    entries.Add(key.bytes, !key.some_null, row.id());
  }
  entries.Sort();
  if (index.unique() && entries.HasTwice()) throw Error(ErrorCode::kDuplicateKey);
  return entries;
}

}  // namespace

void RequireProvenOrder(SortOrder order) {
  if (IsSupportedOrder(order)) return;
  throw Error(ErrorCode::kUnsortable, "sort order " + std::to_string(order.language) + "/" +
                                          std::to_string(order.sort_id) + " version " +
                                          std::to_string(order.version));
}

TableDef BuildTable(PageAllocator& allocator, SortOrder order, const TableSpec& spec) {
  RequireProvenOrder(order);
  TableDef def;
  def.page = allocator.Allocate();
  def.pages = {def.page};
  PageNumber page_of_maps;
  def.owned_map = allocator.NewMap(page_of_maps);
  def.free_map = allocator.NewMap(page_of_maps);
  for (const ColumnSpec& column : spec.columns) {
    Named({.column = column.name}, [&] { AddColumn(allocator, order, def, column, page_of_maps); });
  }
  for (const IndexSpec& index : spec.indexes) {
    Named({.column = index.name}, [&] { AddIndexDef(allocator, order, def, index, page_of_maps); });
  }
  StoreTableDef(def, allocator.pager(), allocator);
  return def;
}

void AppendColumnTo(PageAllocator& allocator, SortOrder order, TableDef& def,
                    const ColumnSpec& spec) {
  RequireProvenOrder(order);
  PageNumber page_of_maps = def.owned_map.page;
  Named({.column = spec.name}, [&] { AddColumn(allocator, order, def, spec, page_of_maps); });
  StoreTableDef(def, allocator.pager(), allocator);
}

void AddIndexTo(PageAllocator& allocator, SortOrder order, const Table& table, TableDef& def,
                const IndexSpec& spec) {
  RequireProvenOrder(order);
  Named({.column = spec.name}, [&] {
    PageNumber page_of_maps = def.owned_map.page;
    const std::size_t ordinal = AddIndexDef(allocator, order, def, spec, page_of_maps);
    const IndexEntries entries = SortedEntries(table, def, def.real_indexes[ordinal]);
    def.real_indexes[ordinal].distinct_keys =
        Index(allocator.pager(), def, ordinal).Build(allocator, entries);
    StoreTableDef(def, allocator.pager(), allocator);
  });
}

bool AddColumnProperties(Properties& properties, SortOrder order, const ColumnSpec& spec) {
  bool added = false;
  if (!spec.default_expression.empty()) {
    properties.SetText(order, spec.name, kDefaultValueProperty, ColumnType::kMemo, 1,
                       spec.default_expression);
    added = true;
  }
  if (spec.required && spec.type != ColumnType::kBoolean) {
    properties.SetBoolean(order, spec.name, kRequiredProperty, true);
    added = true;
  }
  if (spec.allow_zero_length && IsText(spec.type)) {
    properties.SetBoolean(order, spec.name, kAllowZeroLengthProperty, *spec.allow_zero_length);
    added = true;
  }
  return added;
}

}  // namespace jet
