#include "jet/create.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <span>

#include "jet/bytes.h"
#include "jet/catalog.h"
#include "jet/index.h"
#include "jet/slotted_page.h"
#include "jet/system_tables.h"
#include "jet/table.h"

namespace jet {

namespace {

// Security ids in clear.
constexpr std::array<std::uint8_t, 2> kAdmin{0x03, 0x01}, kUsers{0x02, 0x01}, kEngine{0x02, 0x03},
    kCreator{0x02, 0x04};

struct FirstObject {
  std::int32_t id;
  std::int32_t parent;
  std::int16_t type;
  const char* name;
  std::array<std::uint8_t, 2> owner;
};
constexpr FirstObject kFirstObjects[] = {
    {kTablesContainer, kRootContainer, kContainer, "Tables", kEngine},
    {kDatabasesContainer, kRootContainer, kContainer, "Databases", kEngine},
    {kRelationshipsContainer, kRootContainer, kContainer, "Relationships", kEngine},
    {kDatabaseObject, kDatabasesContainer, kContainerDatabase, "MSysDb", kAdmin},
    {2, kTablesContainer, kTableObject, "MSysObjects", kEngine},
    {3, kTablesContainer, kTableObject, "MSysACEs", kEngine},
    {4, kTablesContainer, kTableObject, "MSysQueries", kEngine},
    {5, kTablesContainer, kTableObject, "MSysRelationships", kEngine},
};

struct FirstRight {
  std::int32_t object;
  std::array<std::uint8_t, 2> sid;
  std::int32_t rights;
  bool inheritable = false;
};
constexpr FirstRight kFirstRights[] = {
    {2, kAdmin, 0x60000},
    {3, kAdmin, 0x60000},
    {4, kAdmin, 0x60000},
    {5, kAdmin, 0xE0000},
    {kTablesContainer, kCreator, 0xF00FE, true},
    {kTablesContainer, kAdmin, 0x60001},
    {kRelationshipsContainer, kCreator, 0xF00FE, true},
    {kRelationshipsContainer, kAdmin, 0x60001},
    {kDatabasesContainer, kAdmin, 0x60000},
    {kDatabaseObject, kAdmin, 0x6000E},
    {kDatabaseObject, kUsers, 0xE},
    {4, kUsers, 0x14},
    {5, kUsers, 0x14},
    {2, kUsers, 0x14},
    {kTablesContainer, kUsers, 0xFFEFF, true},
    {kRelationshipsContainer, kUsers, 0xFFFFF, true},
};

using enum ColumnType;

bool IsVariable(ColumnType type) { return IsLongValue(type) || type == kText || type == kBinary; }

std::uint16_t LengthField(ColumnType type) {
  switch (type) {
    case kBoolean:
    case kByte:
      return 1;
    case kInteger:
      return 2;
    case kLong:
      return 4;
    case kDateTime:
      return 8;
    case kText:
    case kBinary:
      return kMaxBinaryBytes;
    default:
      return 0;
  }
}

ColumnDef MakeColumn(const SystemColumn& column, std::span<const SystemColumn> all,
                     SortOrder order) {
  ColumnDef def;
  def.name = column.name;
  def.type = column.type;
  def.id = ColumnId{column.id};
  def.order = order;
  def.length = LengthField(column.type);
  def.flags = ColumnDef::kSystem | ColumnDef::kUpdatable;
  if (column.masked) def.flags |= ColumnDef::kMasked;
  if (IsVariable(column.type)) {
    def.variable_slot = column.place;
  } else {
    def.flags |= ColumnDef::kFixed;
    def.fixed_offset = column.place;
    def.variable_slot = static_cast<std::uint16_t>(std::count_if(
        all.begin(), all.end(),
        [&](const SystemColumn& other) { return IsVariable(other.type) && other.id < column.id; }));
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
    if (IsVariable(column.type)) ++def.next_variable_slot;
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
  const auto next = [&] {
    const RowId at = allocator.NewMap(maps);
    maps = at.page;
    return at;
  };
  def.owned_map = next();
  def.free_map = next();
  std::vector<ColumnDef*> long_values;
  for (ColumnDef& column : def.columns) {
    if (IsLongValue(column.type)) long_values.push_back(&column);
  }
  std::sort(long_values.begin(), long_values.end(),
            [](const auto* a, const auto* b) { return a->variable_slot < b->variable_slot; });
  for (ColumnDef* column : long_values) {
    column->owned_map = next();
    column->free_map = next();
  }
  for (RealIndex& index : def.real_indexes) index.page_map = next();
}

void AddRoots(PageAllocator& allocator, TableDef& def) {
  Pager& pager = allocator.pager();
  for (RealIndex& index : def.real_indexes) {
    index.root = allocator.Allocate();
    Index::InitRoot(pager.Edit(index.root), def.page);
    UsageMap(pager, index.page_map).Add(index.root, allocator);
  }
}

void AddObjectRows(Table& table, const Header& header, DateTime now) {
  for (const FirstObject& object : kFirstObjects) {
    std::vector<Value> values(table.def().columns.size());
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
}

void AddRightRows(Table& table, const Header& header) {
  for (const FirstRight& right : kFirstRights) {
    std::vector<Value> values(table.def().columns.size());
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
    AddRoots(allocator, def);
    def.pages = {def.page};
    def.Store(pager, allocator);
  }
  const auto now = [&] { return rows_created; };
  const auto open = [&](std::size_t i) {
    const PageNumber page = defs[i].page;
    const auto load = [&pager, page] { return TableState{TableDef::Load(pager, page), {}}; };
    return Table(allocator, SystemTables()[i].name, load, now);
  };
  Table objects = open(0), rights = open(1);
  AddObjectRows(objects, header, rows_created);
  AddRightRows(rights, header);
  scope.Commit();
}

}  // namespace jet
