#include "jet/database/catalog.h"

#include <algorithm>

#include "jet/base/error.h"
#include "jet/database/access_rights.h"
#include "jet/database/catalog_queries.h"
#include "jet/row/table_def_chain.h"
#include "jet/sort/name.h"
#include "jet/storage/pager.h"
#include "jet/table/internals.h"

namespace jet {

namespace {

ObjectKind KindOf(std::int32_t id, std::int16_t type, std::uint32_t flags) {
  switch (type) {
    case kTableObject:
      return (flags & (kSystemObjectFlag | kHiddenSystemFlag)) != 0 ||
                     FindSystemTable({static_cast<std::uint32_t>(id)}) != nullptr
                 ? ObjectKind::kSystemTable
                 : ObjectKind::kTable;
    case kOdbcLink:
    case kFileLink:
      return ObjectKind::kLinkedTable;
    case kQueryObject:
      return ObjectKind::kQuery;
    default:
      return ObjectKind::kOther;
  }
}

Value StoredProperties(const Properties& properties) {
  return properties.empty() ? Value(Null{}) : Value(properties.Serialize());
}

std::vector<ColumnRules> RulesOf(const TableDef& def, const Properties& properties,
                                 SortOrder order) {
  std::vector<ColumnRules> rules(def.columns.size());
  for (const Properties::Group& group : properties.groups()) {
    if (group.column.empty()) continue;
    const std::optional<std::size_t> ordinal = def.FindColumn(group.column, order);
    if (!ordinal) continue;
    ColumnRules& rule = rules[*ordinal];
    for (const Property& property : group.values) {
      if (property.name == kRequiredProperty) {
        // A Yes/No field always has a value.
        rule.required = property.Boolean() && def.columns[*ordinal].type != ColumnType::kBoolean;
      } else if (property.name == kAllowZeroLengthProperty) {
        rule.allow_zero_length = property.Boolean();
      } else if (property.name == kDefaultValueProperty) {
        rule.default_expression = property.Text();
      }
    }
  }
  return rules;
}

}  // namespace

Catalog::Catalog(PageAllocator& allocator, const Header& header, Clock clock)
    : allocator_(&allocator), header_(&header), clock_(std::move(clock)) {}

TableDef Catalog::LoadDef(std::int32_t id) {
  const PageNumber page{static_cast<std::uint32_t>(id)};
  TableDef def = LoadTableDef(pager(), page);
  if (const SystemTableSpec* spec = FindSystemTable(page)) {
    if (auto fault = SystemTableFault(*spec, def)) throw Error::Damaged(page, std::move(*fault));
  }
  return def;
}

Table& Catalog::SystemTable(PageNumber page) {
  const auto id = static_cast<std::int32_t>(page.value);
  const auto there = open_.find(id);
  if (there != open_.end()) return *there->second;
  return *(open_[id] = MakeTable(id, FindSystemTable(page)->name));
}

std::shared_ptr<Table> Catalog::MakeTable(std::int32_t id, const std::string& name) {
  return std::make_shared<Table>(std::make_unique<TableCore>(
      *allocator_, name, [this, id, name] { return LoadState(id, name); }, clock_));
}

// The catalog's own tables have no rules: those stand in one of them.
TableState Catalog::LoadState(std::int32_t id, const std::string& name) {
  if (FindSystemTable({static_cast<std::uint32_t>(id)}) != nullptr) return {LoadDef(id), {}};
  if (objects_[PositionOf(id)].name != name) {  // the page has another table now
    throw Error(ErrorCode::kTableMissing).OfTable(name).In(pager().path());
  }
  TableState state{LoadDef(id), {}};
  state.rules = RulesOf(state.def, LoadProperties(id), order());
  return state;
}

void Catalog::Refresh() {
  if (loaded_ && epoch_ == pager().epoch()) return;
  objects_.clear();
  rows_.clear();
  by_id_.clear();
  by_name_.clear();
  loaded_ = false;

  const Table& table = ObjectsTable();
  const std::size_t id = table.OrdinalOf("Id"), name = table.OrdinalOf("Name"),
                    type = table.OrdinalOf("Type"), flags = table.OrdinalOf("Flags"),
                    created = table.OrdinalOf("DateCreate"),
                    updated = table.OrdinalOf("DateUpdate");
  for (TableScan scan(table); scan.Next();) {
    const Table::Row& row = scan.row();
    ObjectInfo object;
    object.id = ValueOr<std::int32_t>(row.Get(id), 0);
    row.GetText(name, object.name);
    object.type = ValueOr<std::int16_t>(row.Get(type), 0);
    object.flags = static_cast<std::uint32_t>(ValueOr<std::int32_t>(row.Get(flags), 0));
    object.created = ValueOr<DateTime>(row.Get(created), DateTime{});
    object.updated = ValueOr<DateTime>(row.Get(updated), DateTime{});
    object.kind = KindOf(object.id, object.type, object.flags);
    by_id_.emplace(object.id, objects_.size());
    if (object.kind != ObjectKind::kOther && !object.name.empty()) {
      by_name_.emplace(NameKey(order(), object.name), objects_.size());
    }
    objects_.push_back(std::move(object));
    rows_.push_back(row.id());
  }
  epoch_ = pager().epoch();
  loaded_ = true;
  // Tables that an undone operation made are gone.
  std::erase_if(open_, [&](const auto& entry) {
    if (entry.first <= static_cast<std::int32_t>(kRelationshipsPage.value)) return false;
    const auto there = by_id_.find(entry.first);
    return there == by_id_.end() || objects_[there->second].name != entry.second->name();
  });
}

const std::vector<ObjectInfo>& Catalog::Objects() {
  Refresh();
  return objects_;
}

std::vector<PageNumber> Catalog::Definitions() const {
  std::vector<PageNumber> pages;
  for (const ObjectInfo& object : objects_) {
    if (object.type == kTableObject && object.id > 0) {
      pages.push_back({static_cast<std::uint32_t>(object.id)});
    }
  }
  std::ranges::sort(pages);
  const auto twice = std::ranges::adjacent_find(pages);
  if (twice != pages.end()) throw Error::Damaged(*twice, "the definition of two tables");
  // Whether the list of objects names them or not.
  for (const SystemTableSpec& spec : SystemTables()) pages.push_back(spec.page);
  return pages;
}

const ObjectInfo* Catalog::Find(std::string_view name) {
  Refresh();
  const auto there = by_name_.find(NameKey(order(), name));
  return there == by_name_.end() ? nullptr : &objects_[there->second];
}

std::size_t Catalog::PositionOf(std::int32_t id) {
  Refresh();
  const auto there = by_id_.find(id);
  if (there == by_id_.end()) {
    throw Error(ErrorCode::kTableMissing, "no object of id " + std::to_string(id));
  }
  return there->second;
}

// Where a linked table is, in the words of its row.
std::string Catalog::LinkOf(const ObjectInfo& object) {
  const Table& table = ObjectsTable();
  Table::Row row;
  if (!table.Read(rows_[PositionOf(object.id)], row)) return "another file";
  const auto text = [&](const char* column) {
    return ValueOr<std::string>(row.Get(table.OrdinalOf(column)), {});
  };
  // The words behind the first may hold a password.
  const std::string file = text("Database"), connect = text("Connect"),
                    kind = connect.substr(0, connect.find(';')), name = text("ForeignName");
  std::string link = !file.empty() ? file : !kind.empty() ? kind : "another file";
  if (!name.empty() && name != object.name) link += ", where it is " + name;
  return link;
}

std::shared_ptr<Table> Catalog::OpenTable(const ObjectInfo& object) {
  if (object.kind == ObjectKind::kLinkedTable) {
    throw Error(ErrorCode::kNotSupported, "the table is linked from " + LinkOf(object))
        .OfTable(object.name);
  }
  if (object.kind != ObjectKind::kTable && object.kind != ObjectKind::kSystemTable) {
    throw Error(ErrorCode::kTableMissing, "the object is not a table");
  }
  const std::string name = objects_[PositionOf(object.id)].name;
  if (object.id <= 0 || static_cast<std::uint32_t>(object.id) >= pager().page_count()) {
    throw Error::Damaged(kObjectsPage,
                         "object id " + std::to_string(object.id) + " is not a page of the file");
  }
  const auto there = open_.find(object.id);
  if (there == open_.end()) return open_[object.id] = MakeTable(object.id, name);
  DefOf(*there->second);  // as it is now
  return there->second;
}

void Catalog::ReloadTable(std::int32_t id) {
  const auto there = open_.find(id);
  if (there != open_.end()) TableInternals::CoreOf(*there->second).Reload();
}

Properties Catalog::LoadProperties(std::int32_t id) {
  const RowId at = rows_[PositionOf(id)];
  const Table& table = ObjectsTable();
  Table::Row row;
  if (!table.Read(at, row)) throw Error::Damaged(at.page, "the object's row is gone");
  const Value blob = row.Get(table.OrdinalOf("LvProp"));
  const Bytes* bytes = std::get_if<Bytes>(&blob);
  return bytes == nullptr || bytes->empty() ? Properties() : Properties::Parse(*bytes);
}

void Catalog::StoreProperties(std::int32_t id, const Properties& properties) {
  const RowId at = rows_[PositionOf(id)];
  Table& table = ObjectsTable();
  const FieldChange change{table.OrdinalOf("LvProp"), StoredProperties(properties)};
  table.Update(at, std::span(&change, 1));
}

void Catalog::Touch(std::int32_t id) {
  const std::size_t position = PositionOf(id);
  Table& table = ObjectsTable();
  const DateTime now = clock_();
  const FieldChange change{table.OrdinalOf("DateUpdate"), now};
  table.Update(rows_[position], std::span(&change, 1));
  objects_[position].updated = now;
}

ObjectInfo Catalog::AddObject(std::int32_t id, std::int16_t type, std::uint32_t flags,
                              std::string_view name, const Properties& properties) {
  Refresh();
  const Bytes owner = OwnerSid();
  const DateTime now = clock_();
  Table& table = ObjectsTable();
  std::vector<Value> values(table.columns().size());
  values[table.OrdinalOf("Id")] = id;
  values[table.OrdinalOf("ParentId")] = kTablesContainer;
  values[table.OrdinalOf("Name")] = std::string(name);
  values[table.OrdinalOf("Type")] = type;
  values[table.OrdinalOf("DateCreate")] = now;
  values[table.OrdinalOf("DateUpdate")] = now;
  values[table.OrdinalOf("Owner")] = owner;
  values[table.OrdinalOf("Flags")] = static_cast<std::int32_t>(flags);
  values[table.OrdinalOf("LvProp")] = StoredProperties(properties);
  const RowId at = table.Insert(values);

  GrantInherited(SystemTable(kAccessPage), *header_, id, owner);

  ObjectInfo object{id, std::string(name), KindOf(id, type, flags), flags, type, now, now};
  by_id_.emplace(id, objects_.size());
  by_name_.emplace(NameKey(order(), name), objects_.size());
  objects_.push_back(object);
  rows_.push_back(at);
  return object;
}

std::int32_t Catalog::NextFreeId() {
  Refresh();
  // Signed: the lowest negative number is the first id.
  constexpr std::int32_t kFirst = INT32_MIN;
  std::int64_t next = kFirst;
  for (const ObjectInfo& object : objects_) {
    if (object.id < 0) next = std::max(next, std::int64_t{object.id} + 1);
  }
  if (next >= 0) {
    for (next = kFirst; by_id_.contains(static_cast<std::int32_t>(next));) ++next;
  }
  return static_cast<std::int32_t>(next);
}

Bytes Catalog::OwnerSid() {
  Refresh();
  const auto there = by_id_.find(kDatabaseObject);
  if (there == by_id_.end()) throw Error::Damaged(kObjectsPage, "MSysDb is missing");
  const Table& table = ObjectsTable();
  Table::Row row;
  const RowId at = rows_[there->second];
  if (!table.Read(at, row)) throw Error::Damaged(at.page, "the row of MSysDb is gone");
  Bytes sid = ValueOr<Bytes>(row.Get(table.OrdinalOf("Owner")), {});
  if (sid.empty()) throw Error::Damaged(at.page, "MSysDb has no owner");
  return sid;
}

QueryDefinition Catalog::LoadQuery(std::int32_t id) {
  return ReadQueryRows(SystemTable(kQueriesPage), id);
}

void Catalog::AddQuery(std::int32_t id, const QueryDefinition& definition) {
  AddQueryRows(SystemTable(kQueriesPage), id, definition);
}

void Catalog::RemaskSecurityIds(const Header& from, const Header& to) {
  RemaskColumn(ObjectsTable(), "Owner", from, to);
  RemaskColumn(SystemTable(kAccessPage), "SID", from, to);
}

}  // namespace jet
