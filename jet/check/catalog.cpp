#include "jet/check/catalog.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "jet/base/bytes.h"
#include "jet/check/catalog_fields.h"
#include "jet/database/property.h"
#include "jet/database/system_tables.h"
#include "jet/sort/name.h"
#include "jet/storage/header.h"

namespace jet::check {

namespace {

constexpr std::size_t kPropertyMark = 4;  // bytes before the first chunk
constexpr std::uint16_t kPropertyChunks[] = {0x80, 0, 1};

}  // namespace

void CatalogCheck::Problem(const Object& object, Code code, std::string text) {
  context_->report.Problem(
      At(kObjectsTable, object.row), code,
      fmt::format("object {}: {}", object.name.value_or("without a name"), text));
}

bool CatalogCheck::IsSystemTable(const TableDef& def, const SystemTableSpec& spec) {
  bool whole = true;
  for (const SystemColumn& column : spec.columns) {
    if (column.use == SystemColumn::Use::kUnread) continue;
    if (Ordinal(def, column.name) != def.columns.size()) continue;
    context_->report.Problem({{}, def.page}, Code::kSystemTable,
                             fmt::format("a system table lacks its column {}", column.name));
    whole = false;
  }
  if (auto fault = SystemTableFault(spec, def)) {
    context_->report.Problem({{}, def.page}, Code::kSystemTable, std::move(*fault));
    whole = false;
  }
  if (!whole) context_->report.NotChecked({{}, def.page}, "what the rows of the table say");
  return whole;
}

bool CatalogCheck::Run() {
  const bool objects_read = ReadObjects();
  if (objects_read) {
    CheckObjects();
    CheckContainers();
    CheckTables();
  } else {
    // What stands at fixed places can still be looked at.
    for (const SystemTableSpec& system : SystemTables().subspan(1)) {
      if (!context_->ledger.Exists(system.page)) continue;
      if (auto def = ReadDefinition(*context_, system.page, system.name)) {
        TableCheck(*context_, system.name, std::move(*def)).Run();
      }
    }
    context_->report.NotChecked({}, "the tables that the list of objects would name");
    return false;
  }
  if (aces_read_) CheckAces();
  if (queries_read_) CheckQueries();
  CheckRelations();
  return true;
}

bool CatalogCheck::ReadObjects() {
  if (!context_->ledger.Exists(kObjectsPage)) {
    context_->report.Problem({{}, kObjectsPage}, Code::kBeyondEnd,
                             "the file ends before the list of objects");
    return false;
  }
  std::optional<TableDef> def = ReadDefinition(*context_, kObjectsPage, kObjectsTable);
  if (!def) return false;
  const bool whole = IsSystemTable(*def, *FindSystemTable(kObjectsPage));
  TableCheck table(*context_, std::string(kObjectsTable), std::move(*def));
  table_names_[kObjectsPage.value] = kObjectsTable;
  if (!whole) {
    table.Run();
    return false;
  }
  const std::size_t properties = Ordinal(table.def(), "LvProp");
  table.Run({properties}, [&](RowId id, const RowFields& row) {
    AddObject(table.def(), id, row);
    if (row.stored[properties]) CheckProperties(id, row.contents[properties]);
  });
  return true;
}

void CatalogCheck::AddObject(const TableDef& def, RowId id, const RowFields& row) {
  const auto at = [&](std::string_view column) { return Ordinal(def, column); };
  Object object{.row = id,
                .id = Number(row, at("Id")),
                .parent = Number(row, at("ParentId")),
                .type = Number(row, at("Type")),
                .name = Text(row, at("Name")),
                .owner = std::nullopt};
  if (const std::optional<ByteView>& owner = row.stored[at("Owner")]) {
    object.owner = context_->header.MaskSid(*owner);
  }
  for (const std::string_view date : {"DateCreate", "DateUpdate"}) {
    const std::optional<ByteView>& stored = row.stored[at(date)];
    if (!stored) {
      Problem(object, Code::kObjectField, fmt::format("{} is Null", date));
    } else if (stored->size() == 8) {
      if (!IsInCalendar({GetDouble(*stored, 0)})) {
        Problem(object, Code::kObjectField, fmt::format("{} is not a date", date));
      }
    }
  }
  if (!row.stored[at("Flags")]) {
    context_->report.Warning(At(kObjectsTable, id), Code::kObjectField, "an object has no flags");
  }
  SeeObject(def, object, row);
  objects_.push_back(std::move(object));
}

void CatalogCheck::SeeObject(const TableDef& def, const Object& object, const RowFields& row) {
  const auto see = [&](Field field, std::int64_t value) {
    context_->report.See(At(kObjectsTable, object.row), field, value,
                         object.name.value_or("object without a name"));
  };
  const auto flags = [&](Field field) {
    const auto value = Number(row, Ordinal(def, "Flags"));
    if (value) see(field, static_cast<std::uint32_t>(*value));
  };
  if (object.type == kContainer) flags(Field::kContainerFlags);
  if (object.type == kContainerDatabase) flags(Field::kDatabaseFlags);
  if (object.type == kQueryObject) flags(Field::kQueryFlags);
  if ((object.type == kTableObject || object.type == kQueryObject) && object.parent) {
    see(Field::kTableParent, *object.parent);
  }
  if (object.type != kTableObject) return;
  const bool is_system = object.name && object.name->starts_with("MSys");
  flags(is_system ? Field::kSystemTableFlags : Field::kUserTableFlags);
  std::int64_t links = 0;
  for (const std::string_view column : {"Database", "ForeignName", "Connect"}) {
    if (row.stored[Ordinal(def, column)]) ++links;
  }
  see(Field::kTableLinks, links);
}

void CatalogCheck::CheckProperties(RowId row, ByteView blob) {
  if (blob.empty()) return;
  try {
    Properties::Parse(blob);
    for (std::size_t at = kPropertyMark; at < blob.size();) {
      const std::uint16_t kind = GetU16(blob, at + 4);
      if (std::find(std::begin(kPropertyChunks), std::end(kPropertyChunks), kind) ==
          std::end(kPropertyChunks)) {
        throw Error(ErrorCode::kDamaged, fmt::format("a part is of the unknown kind {:X}", kind));
      }
      at += std::max(kPropertyMark, std::size_t{GetU32(blob, at)});
    }
  } catch (const Error& error) {
    context_->report.Problem(At(kObjectsTable, row), Code::kProperties,
                             fmt::format("the properties cannot be read: {}", error.detail()));
  }
}

void CatalogCheck::CheckObjects() {
  std::map<std::pair<std::int32_t, std::string>, const Object*> names;
  for (const Object& object : objects_) {
    if (!object.id || !object.parent || !object.type || !object.name) {
      Problem(object, Code::kObjectField, "Id, ParentId, Name or Type is Null");
      continue;
    }
    const auto [same_id, new_id] = by_id_.try_emplace(*object.id, &object);
    if (!new_id) {
      Problem(
          object, Code::kObjectTwice,
          fmt::format("its Id {:X} is that of {} as well", static_cast<std::uint32_t>(*object.id),
                      same_id->second->name.value_or("")));
    }
    const auto [same_name, new_name] = names.try_emplace(
        {*object.parent, NameKey(context_->header.order(), *object.name)}, &object);
    if (!new_name) {
      Problem(object, Code::kObjectTwice,
              fmt::format("its name is the same as {}", *same_name->second->name));
    }
  }
  for (const Object& object : objects_) CheckObject(object);
}

void CatalogCheck::CheckObject(const Object& object) {
  CheckOwner(object);
  if (!object.id || !object.parent || !object.type) return;
  if (*object.parent != kRootContainer && !by_id_.contains(*object.parent)) {
    Problem(
        object, Code::kObjectParent,
        fmt::format("its parent {:X} does not exist", static_cast<std::uint32_t>(*object.parent)));
  }
  if (*object.type == kTableObject || *object.type == kQueryObject) {
    const Object* tables = FindObject(kTablesName, kContainer);
    if (tables != nullptr && tables->id != object.parent)
      Problem(object, Code::kObjectParent, "is not among the tables");
  }
}

void CatalogCheck::CheckOwner(const Object& object) {
  if (!object.owner) {
    context_->report.Warning(At(kObjectsTable, object.row), Code::kObjectField,
                             "an object has no owner");
  } else if (!IsKnownSid(*object.owner)) {
    Problem(object, Code::kSecurityId, "its owner's security id does not fit this file");
  }
}

const CatalogCheck::Object* CatalogCheck::FindObject(std::string_view name,
                                                     std::int32_t type) const {
  const auto found = std::find_if(objects_.begin(), objects_.end(), [&](const Object& object) {
    return object.type == type && object.name == name;
  });
  return found == objects_.end() ? nullptr : &*found;
}

void CatalogCheck::CheckContainers() {
  const Place list{kObjectsTable, kObjectsPage};
  for (const std::string_view name : {kTablesName, kDatabasesName, kRelationshipsName}) {
    const Object* container = FindObject(name, kContainer);
    if (container == nullptr) {
      context_->report.Problem(list, Code::kObjectMissing,
                               fmt::format("the container {} is missing", name));
    } else if (container->owner && IsKnownSid(*container->owner) &&
               !Is(*container->owner, kEngineSid)) {
      Problem(*container, Code::kSecurityId, "its owner is not the engine");
    }
  }
  if (FindObject(kDatabaseName, kContainerDatabase) == nullptr) {
    context_->report.Problem(list, Code::kObjectMissing, "the object MSysDb is missing");
  }
  for (const SystemTableSpec& system : SystemTables()) {
    const Object* table = FindObject(system.name, kTableObject);
    if (table == nullptr) {
      context_->report.Problem(list, Code::kObjectMissing,
                               fmt::format("the table {} is missing", system.name));
    } else if (table->id != static_cast<std::int32_t>(system.page.value)) {
      context_->report.Warning(At(kObjectsTable, table->row), Code::kSystemTable,
                               fmt::format("{} is not at its customary page", system.name));
    }
  }
}

void CatalogCheck::CheckTables() {
  std::vector<const Object*> tables;
  for (const Object& object : objects_) {
    if (object.type != kTableObject || !object.id ||
        object.id == static_cast<std::int32_t>(kObjectsPage.value)) {
      continue;
    }
    tables.push_back(&object);
    // The rows of system tables are of interest to others.
    const std::string name = object.name.value_or("");
    if (!name.starts_with("MSys")) {
      ahead_.Add(name, PageNumber{static_cast<std::uint32_t>(*object.id)});
    }
  }
  ahead_.Run();
  for (const Object* object : tables) CheckTable(*object);
}

void CatalogCheck::CheckTable(const Object& object) {
  const auto page = static_cast<std::uint32_t>(*object.id);
  if (!context_->ledger.Exists(PageNumber{page}) || page == 0) {
    return Problem(object, Code::kBeyondEnd,
                   fmt::format("its definition would be page {}, which does not exist", page));
  }
  const std::string name = object.name.value_or("");
  const auto [other, is_new] = table_names_.try_emplace(page, name);
  if (!is_new)
    return Problem(object, Code::kObjectTwice,
                   fmt::format("its definition is that of {}", other->second));
  if (const auto def = ahead_.Take(PageNumber{page})) return AddRelations(*def);
  // Unforeseen damage ends this table only.
  try {
    if (auto def = ReadDefinition(*context_, PageNumber{page}, name)) {
      RunTable(name, std::move(*def));
    }
  } catch (const Error& error) {
    if (error.code() == ErrorCode::kIo) throw;
    context_->report.NotChecked(At(name, PageNumber{page}), "the rest of the table");
    context_->report.Problem(At(name, error.page().value_or(PageNumber{page})), Code::kUnreadable,
                             error.detail());
  }
}

void CatalogCheck::AddRelations(const TableDef& def) {
  for (const LogicalIndex& index : def.logical_indexes) {
    relations_.try_emplace(
        {def.page.value, index.number},
        Relation{index.name, index.related_index, index.related_table, index.kind});
  }
}

void CatalogCheck::RunTable(const std::string& name, TableDef def) {
  AddRelations(def);
  TableCheck table(*context_, name, std::move(def));
  if (name == kAccessTable) {
    VisitAces(table);
  } else if (name == kQueriesTable) {
    VisitQueries(table);
  } else if (name == kRelationshipsTable) {
    VisitRelationships(table);
  } else {
    table.Run();
  }
}

}  // namespace jet::check
