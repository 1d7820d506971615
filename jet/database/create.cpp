#include "jet/database/create.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <span>

#include "jet/base/bytes.h"
#include "jet/base/system_ids.h"
#include "jet/database/system_tables.h"
#include "jet/index/index.h"
#include "jet/pages/slotted_page.h"
#include "jet/row/table_def_chain.h"
#include "jet/storage/pager.h"
#include "jet/table/table.h"
#include "jet/table/table_core.h"

namespace jet {

namespace {

// All but the system tables, which follow.
struct FirstObject {
  std::int32_t id;
  std::int32_t parent;
  std::int16_t type;
  const char* name;
  ShortSid owner;
};
constexpr FirstObject kFirstObjects[] = {
    {kTablesContainer, kRootContainer, kContainer, kTablesName, kEngineSid},
    {kDatabasesContainer, kRootContainer, kContainer, kDatabasesName, kEngineSid},
    {kRelationshipsContainer, kRootContainer, kContainer, kRelationshipsName, kEngineSid},
    {kDatabaseObject, kDatabasesContainer, kContainerDatabase, kDatabaseName, kAdminSid},
};

constexpr std::int32_t IdOf(PageNumber page) { return static_cast<std::int32_t>(page.value); }

struct FirstRight {
  std::int32_t object;
  ShortSid sid;
  std::int32_t rights;
  bool inheritable = false;
};
constexpr FirstRight kFirstRights[] = {
    {IdOf(kObjectsPage), kAdminSid, 0x60000},
    {IdOf(kAccessPage), kAdminSid, 0x60000},
    {IdOf(kQueriesPage), kAdminSid, 0x60000},
    {IdOf(kRelationshipsPage), kAdminSid, 0xE0000},
    {kTablesContainer, kCreatorSid, 0xF00FE, true},
    {kTablesContainer, kAdminSid, 0x60001},
    {kRelationshipsContainer, kCreatorSid, 0xF00FE, true},
    {kRelationshipsContainer, kAdminSid, 0x60001},
    {kDatabasesContainer, kAdminSid, 0x60000},
    {kDatabaseObject, kAdminSid, 0x6000E},
    {kDatabaseObject, kUsersSid, 0xE},
    {IdOf(kQueriesPage), kUsersSid, 0x14},
    {IdOf(kRelationshipsPage), kUsersSid, 0x14},
    {IdOf(kObjectsPage), kUsersSid, 0x14},
    {kTablesContainer, kUsersSid, 0xFFEFF, true},
    {kRelationshipsContainer, kUsersSid, 0xFFFFF, true},
};

ColumnDef MakeColumn(const SystemColumn& column, std::span<const SystemColumn> all,
                     SortOrder order) {
  ColumnDef def;
  def.name = column.name;
  def.type = column.type;
  def.id = ColumnId{column.id};
  def.order = order;
  def.length = InfoOf(column.type).length;
  def.flags = ColumnDef::kSystem | ColumnDef::kUpdatable;
  if (column.use == SystemColumn::Use::kSecurityIds) def.flags |= ColumnDef::kMasked;
  if (!InfoOf(column.type).fixed) {
    def.variable_slot = column.place;
  } else {
    def.flags |= ColumnDef::kFixed;
    def.fixed_offset = column.place;
    def.variable_slot = static_cast<std::uint16_t>(
        std::count_if(all.begin(), all.end(), [&](const SystemColumn& other) {
          return !InfoOf(other.type).fixed && other.id < column.id;
        }));
  }
  return def;
}

// All but the maps and roots. The names of the indexes in alphabetical order.
TableDef MakeDef(const SystemTableSpec& spec, SortOrder order) {
  TableDef def;
  def.page = spec.page;
  def.kind = TableDef::kSystem;
  for (const SystemColumn& column : spec.columns) {
    def.columns.push_back(MakeColumn(column, spec.columns, order));
    if (!InfoOf(column.type).fixed) ++def.next_variable_slot;
  }
  def.next_column_id = static_cast<std::uint16_t>(spec.columns.size());
  for (const SystemIndex& index : spec.indexes) {
    RealIndex real;
    real.flags = index.flags;
    for (std::int8_t id : index.columns) {
      if (id >= 0) real.columns.push_back({ColumnId{static_cast<std::uint16_t>(id)}, true});
    }
    LogicalIndex logical;
    logical.name = index.name;
    logical.number = static_cast<std::uint32_t>(def.real_indexes.size());
    logical.real = logical.number;
    logical.kind = index.kind;
    def.real_indexes.push_back(std::move(real));
    def.logical_indexes.push_back(std::move(logical));
  }
  std::sort(def.logical_indexes.begin(), def.logical_indexes.end(),
            [](const LogicalIndex& a, const LogicalIndex& b) { return a.name < b.name; });
  return def;
}

// Page 1: every page of the first 512 is free but the first two.
void InitGlobalMap(Pager& pager) {
  constexpr PageNumber kGlobalPage{1};
  const PageSpan page = pager.EditNew(kGlobalPage);
  InitRowPage(page, kGlobalPage.value);
  Bytes map(kNewMapBytes, 0xFF);
  std::fill_n(map.begin(), 5, std::uint8_t{0});
  map[5] = 0xFC;
  AddRow(kGlobalPage, page, map, SlotKind::kLive);
  AddRow(kGlobalPage, page, Bytes(kNewMapBytes), SlotKind::kLive);
}

// The maps of one table on the common page, long values in the order of their
// slots.
void AddMaps(PageAllocator& allocator, PageNumber& maps, TableDef& def) {
  def.owned_map = allocator.NewMap(maps);
  def.free_map = allocator.NewMap(maps);
  std::vector<ColumnDef*> long_values;
  for (ColumnDef& column : def.columns) {
    if (IsLongValue(column.type)) long_values.push_back(&column);
  }
  std::sort(long_values.begin(), long_values.end(),
            [](const auto* a, const auto* b) { return a->variable_slot < b->variable_slot; });
  for (ColumnDef* column : long_values) {
    column->owned_map = allocator.NewMap(maps);
    column->free_map = allocator.NewMap(maps);
  }
  for (RealIndex& index : def.real_indexes) index.page_map = allocator.NewMap(maps);
}

void AddObjectRow(Table& table, const Header& header, DateTime now, const FirstObject& object) {
  std::vector<Value> values(table.columns().size());
  values[table.OrdinalOf("Id")] = object.id;
  values[table.OrdinalOf("ParentId")] = object.parent;
  values[table.OrdinalOf("Type")] = object.type;
  values[table.OrdinalOf("Name")] = std::string(object.name);
  values[table.OrdinalOf("Owner")] = header.MaskSid(object.owner);
  values[table.OrdinalOf("Flags")] = static_cast<std::int32_t>(kSystemObjectFlag);
  values[table.OrdinalOf("DateCreate")] = now;
  values[table.OrdinalOf("DateUpdate")] = now;
  table.Insert(values);
}

void AddObjectRows(Table& table, const Header& header, DateTime now) {
  for (const FirstObject& object : kFirstObjects) AddObjectRow(table, header, now, object);
  for (const SystemTableSpec& spec : SystemTables()) {
    AddObjectRow(table, header, now,
                 {IdOf(spec.page), kTablesContainer, kTableObject, spec.name, kEngineSid});
  }
}

void AddRightRows(Table& table, const Header& header) {
  for (const FirstRight& right : kFirstRights) {
    std::vector<Value> values(table.columns().size());
    values[table.OrdinalOf("ObjectId")] = right.object;
    values[table.OrdinalOf("SID")] = header.MaskSid(right.sid);
    values[table.OrdinalOf("ACM")] = right.rights;
    values[table.OrdinalOf("FInheritable")] = right.inheritable;
    table.Insert(values);
  }
}

}  // namespace

void InitDatabase(PageAllocator& allocator, const Header::NewFile& file, DateTime rows_created) {
  Pager& pager = allocator.pager();
  Scope scope(pager);
  const PageSpan first = pager.EditNew(PageNumber{0});
  Header::Init(first, file);
  const Header header = Header::Parse(first);
  InitGlobalMap(pager);

  // Pages follow one another: definitions, the page of maps, roots, rows.
  std::vector<TableDef> defs;
  for (const SystemTableSpec& spec : SystemTables()) {
    allocator.Allocate();
    defs.push_back(MakeDef(spec, file.order));
  }
  PageNumber maps;
  for (TableDef& def : defs) AddMaps(allocator, maps, def);
  for (TableDef& def : defs) {
    for (RealIndex& index : def.real_indexes) {
      index.root = allocator.Allocate();
      Index::InitTree(allocator, def.page, index);
    }
    def.pages = {def.page};
    StoreTableDef(def, pager, allocator);
  }
  const auto now = [&] { return rows_created; };
  const auto open = [&](std::size_t i) {
    const PageNumber page = defs[i].page;
    const auto load = [&pager, page] { return TableState{LoadTableDef(pager, page), {}}; };
    return Table(std::make_unique<TableCore>(allocator, SystemTables()[i].name, load, now));
  };
  Table objects = open(0), rights = open(1);
  AddObjectRows(objects, header, rows_created);
  AddRightRows(rights, header);
  scope.Commit();
}

}  // namespace jet
