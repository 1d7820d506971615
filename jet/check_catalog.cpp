#include "jet/check_catalog.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <set>

#include "jet/bytes.h"
#include "jet/collation.h"
#include "jet/header.h"
#include "jet/property.h"
#include "jet/system_tables.h"
#include "jet/text.h"

namespace jet::check {

namespace {

constexpr std::string_view kObjectsTable = "MSysObjects", kAcesTable = "MSysACEs",
                           kQueriesTable = "MSysQueries", kRelationshipsTable = "MSysRelationships";
// Without these a system table is not what it should be.
constexpr std::string_view kObjectColumns[] = {"Id",         "ParentId",    "Name",    "Type",
                                               "DateCreate", "DateUpdate",  "Flags",   "Owner",
                                               "Database",   "ForeignName", "Connect", "LvProp"};
constexpr std::string_view kAceColumns[] = {"ObjectId", "SID", "ACM", "FInheritable"};
constexpr std::string_view kQueryColumns[] = {"ObjectId", "Attribute",  "Order", "Name1",
                                              "Name2",    "Expression", "Flag"};
constexpr std::string_view kRelationshipColumns[] = {"szRelationship",
                                                     "grbit",
                                                     "ccolumn",
                                                     "icolumn",
                                                     "szObject",
                                                     "szColumn",
                                                     "szReferencedObject",
                                                     "szReferencedColumn"};

constexpr std::int32_t kTable = 1, kDatabase = 2, kContainer = 3, kLinkedOdbc = 4, kQuery = 5,
                       kLinked = 6;
constexpr std::int32_t kRootId = 0x0F000000;
constexpr std::size_t kPropertyMark = 4;  // bytes before the first chunk
constexpr std::uint16_t kPropertyChunks[] = {0x80, 0, 1};
constexpr std::uint8_t kQueryStart = 0, kQueryEnd = 255;
constexpr std::uint8_t kRelationKind = LogicalIndex::kRelation;

// Security ids of two bytes, in clear.
constexpr std::array<std::uint8_t, 2> kAdmin{3, 1}, kUsers{2, 1}, kEngine{2, 3}, kCreator{2, 4};

bool Is(ByteView sid, const std::array<std::uint8_t, 2>& known) {
  return std::equal(sid.begin(), sid.end(), known.begin(), known.end());
}
bool IsKnownSid(ByteView sid) {
  return sid.size() != 2 || Is(sid, kAdmin) || Is(sid, kUsers) || Is(sid, kEngine) ||
         Is(sid, kCreator);
}

std::optional<std::int32_t> Number(const RowFields& row, std::size_t ordinal) {
  const std::optional<ByteView>& stored = row.stored[ordinal];
  if (!stored) return std::nullopt;
  switch (stored->size()) {
    case 1:
      return (*stored)[0];
    case 2:
      return static_cast<std::int16_t>(GetU16(*stored, 0));
    case 4:
      return static_cast<std::int32_t>(GetU32(*stored, 0));
    default:
      return std::nullopt;
  }
}

std::optional<std::string> Text(const RowFields& row, std::size_t ordinal) {
  const std::optional<ByteView>& stored = row.stored[ordinal];
  if (!stored) return std::nullopt;
  try {
    return DecodeText(*stored);
  } catch (const Error&) {
    return std::nullopt;
  }
}

// The position of a column; behind the last one if there is none.
std::size_t Ordinal(const TableDef& def, std::string_view name) {
  const auto found = std::find_if(def.columns.begin(), def.columns.end(),
                                  [name](const ColumnDef& column) { return column.name == name; });
  return static_cast<std::size_t>(found - def.columns.begin());
}

}  // namespace

void CatalogCheck::Problem(const Object& object, std::string text) {
  context_->report.Problem(
      At(kObjectsTable, object.row),
      fmt::format("object {}: {}", object.name.value_or("without a name"), text));
}

bool CatalogCheck::HasItsColumns(const TableDef& def, std::span<const std::string_view> columns) {
  bool whole = true;
  for (const std::string_view column : columns) {
    if (Ordinal(def, column) != def.columns.size()) continue;
    context_->report.Problem({{}, def.page},
                             fmt::format("a system table lacks its column {}", column));
    whole = false;
  }
  if (const SystemTableSpec* spec = FindSystemTable(def.page)) {
    if (auto fault = SystemTableFault(*spec, def)) {
      context_->report.Problem({{}, def.page}, std::move(*fault));
      whole = false;
    }
  }
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
    return false;
  }
  if (aces_read_) CheckAces();
  if (queries_read_) CheckQueries();
  CheckRelations();
  return true;
}

bool CatalogCheck::ReadObjects() {
  if (!context_->ledger.Exists(kObjectsPage)) {
    context_->report.Problem({{}, kObjectsPage}, "the file ends before the list of objects");
    return false;
  }
  std::optional<TableDef> def = ReadDefinition(*context_, kObjectsPage, kObjectsTable);
  if (!def) return false;
  const bool whole = HasItsColumns(*def, kObjectColumns);
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
      Problem(object, fmt::format("{} is Null", date));
    } else if (stored->size() == 8) {
      const double days = GetDouble(*stored, 0);
      if (!(days >= -657434 && days < 2958466)) {
        Problem(object, fmt::format("{} is no date", date));
      }
    }
  }
  if (!row.stored[at("Flags")]) {
    context_->report.Warning(At(kObjectsTable, id), "an object has no flags");
  }
  objects_.push_back(std::move(object));
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
    context_->report.Problem(At(kObjectsTable, row),
                             fmt::format("the properties cannot be read: {}", error.detail()));
  }
}

void CatalogCheck::CheckObjects() {
  std::map<std::pair<std::int32_t, std::string>, const Object*> names;
  for (const Object& object : objects_) {
    if (!object.id || !object.parent || !object.type || !object.name) {
      Problem(object, "Id, ParentId, Name or Type is Null");
      continue;
    }
    const auto [same_id, new_id] = by_id_.try_emplace(*object.id, &object);
    if (!new_id) {
      Problem(object, fmt::format("its Id {:X} is that of {} as well",
                                  static_cast<std::uint32_t>(*object.id),
                                  same_id->second->name.value_or("")));
    }
    const auto [same_name, new_name] = names.try_emplace(
        {*object.parent, NameKey(context_->header.order(), *object.name)}, &object);
    if (!new_name) {
      Problem(object, fmt::format("its name is the same as {}", *same_name->second->name));
    }
  }
  for (const Object& object : objects_) CheckObject(object);
}

void CatalogCheck::CheckObject(const Object& object) {
  CheckOwner(object);
  if (!object.id || !object.parent || !object.type) return;
  if (*object.parent != kRootId && !by_id_.contains(*object.parent)) {
    Problem(object, fmt::format("its parent {:X} does not exist",
                                static_cast<std::uint32_t>(*object.parent)));
  }
  if (*object.type == kTable || *object.type == kQuery) {
    const Object* tables = FindObject("Tables", kContainer);
    if (tables != nullptr && tables->id != object.parent)
      Problem(object, "is not among the tables");
  }
}

void CatalogCheck::CheckOwner(const Object& object) {
  if (!object.owner) {
    context_->report.Warning(At(kObjectsTable, object.row), "an object has no owner");
  } else if (!IsKnownSid(*object.owner)) {
    Problem(object, "its owner's security id does not fit this file");
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
  for (const std::string_view name : {"Tables", "Databases", "Relationships"}) {
    const Object* container = FindObject(name, kContainer);
    if (container == nullptr) {
      context_->report.Problem(list, fmt::format("the container {} is missing", name));
    } else if (container->owner && IsKnownSid(*container->owner) &&
               !Is(*container->owner, kEngine)) {
      Problem(*container, "its owner is not the engine");
    }
  }
  if (FindObject("MSysDb", kDatabase) == nullptr) {
    context_->report.Problem(list, "the object MSysDb is missing");
  }
  for (const SystemTableSpec& system : SystemTables()) {
    const Object* table = FindObject(system.name, kTable);
    if (table == nullptr) {
      context_->report.Problem(list, fmt::format("the table {} is missing", system.name));
    } else if (table->id != static_cast<std::int32_t>(system.page.value)) {
      context_->report.Warning(At(kObjectsTable, table->row),
                               fmt::format("{} is not at its customary page", system.name));
    }
  }
}

void CatalogCheck::CheckTables() {
  for (const Object& object : objects_) {
    if (object.type == kTable && object.id &&
        object.id != static_cast<std::int32_t>(kObjectsPage.value)) {
      CheckTable(object);
    }
  }
}

void CatalogCheck::CheckTable(const Object& object) {
  const auto page = static_cast<std::uint32_t>(*object.id);
  if (!context_->ledger.Exists(PageNumber{page}) || page == 0) {
    return Problem(object,
                   fmt::format("its definition would be page {}, which does not exist", page));
  }
  const std::string name = object.name.value_or("");
  const auto [other, is_new] = table_names_.try_emplace(page, name);
  if (!is_new) return Problem(object, fmt::format("its definition is that of {}", other->second));
  // Damage that nobody foresaw ends this table only.
  try {
    if (auto def = ReadDefinition(*context_, PageNumber{page}, name)) {
      RunTable(name, std::move(*def));
    }
  } catch (const Error& error) {
    if (error.code() == ErrorCode::kIo) throw;
    context_->report.Problem(At(name, error.page().value_or(PageNumber{page})), error.detail());
  }
}

void CatalogCheck::RunTable(const std::string& name, TableDef def) {
  for (const LogicalIndex& index : def.logical_indexes) {
    relations_.try_emplace(
        {def.page.value, index.number},
        Relation{index.name, index.related_index, index.related_table, index.kind});
  }
  TableCheck table(*context_, name, std::move(def));
  if (name == kAcesTable) {
    VisitAces(table);
  } else if (name == kQueriesTable) {
    VisitQueries(table);
  } else if (name == kRelationshipsTable) {
    VisitRelationships(table);
  } else {
    table.Run();
  }
}

void CatalogCheck::VisitAces(TableCheck& table) {
  if (!HasItsColumns(table.def(), kAceColumns)) return table.Run();
  const std::size_t object = Ordinal(table.def(), "ObjectId"), sid = Ordinal(table.def(), "SID");
  table.Run({}, [&](RowId id, const RowFields& row) {
    if (const auto of = Number(row, object)) aces_.try_emplace(*of, id);
    if (!row.stored[sid] || !IsKnownSid(context_->header.MaskSid(*row.stored[sid]))) {
      context_->report.Problem(At(kAcesTable, id), "its security id does not fit this file");
    }
  });
  aces_read_ = true;
}

void CatalogCheck::VisitQueries(TableCheck& table) {
  if (!HasItsColumns(table.def(), kQueryColumns)) return table.Run();
  const std::size_t object = Ordinal(table.def(), "ObjectId"),
                    attribute = Ordinal(table.def(), "Attribute");
  table.Run({}, [&](RowId id, const RowFields& row) {
    const auto of = Number(row, object);
    const auto kind = Number(row, attribute);
    if (!of || !kind) return;
    QueryRows& query = queries_.try_emplace(*of, QueryRows{.first = id}).first->second;
    ++query.rows;
    if (*kind == kQueryStart) ++query.starts;
    if (*kind == kQueryEnd) ++query.ends;
  });
  queries_read_ = true;
}

void CatalogCheck::VisitRelationships(TableCheck& table) {
  if (!HasItsColumns(table.def(), kRelationshipColumns)) return table.Run();
  const std::size_t from = Ordinal(table.def(), "szObject"),
                    to = Ordinal(table.def(), "szReferencedObject");
  const SortOrder order = context_->header.order();
  std::set<std::string> names;
  for (const Object& object : objects_) {
    const bool is_table = object.type == kTable || object.type == kLinkedOdbc ||
                          object.type == kQuery || object.type == kLinked;
    if (is_table && object.name) names.insert(NameKey(order, *object.name));
  }
  table.Run({}, [&](RowId id, const RowFields& row) {
    for (const std::size_t ordinal : {from, to}) {
      const auto name = Text(row, ordinal);
      if (!name || !names.contains(NameKey(order, *name))) {
        context_->report.Warning(
            At(kRelationshipsTable, id),
            fmt::format("a relationship names {}, which is no table", name.value_or("nothing")));
      }
    }
  });
}

void CatalogCheck::CheckAces() {
  for (const Object& object : objects_) {
    if (!object.id || aces_.contains(*object.id)) continue;
    // Objects of other programs may go without.
    if (object.type >= kTable && object.type <= kLinked) {
      Problem(object, "has no access-control row");
    } else {
      context_->report.Warning(
          At(kObjectsTable, object.row),
          fmt::format("object {} has no access-control row", object.name.value_or("")));
    }
  }
  for (const auto& [id, row] : aces_) {
    if (by_id_.contains(id) || id == kRootId) continue;
    context_->report.Warning(At(kAcesTable, row), fmt::format("is for an unknown object {:X}",
                                                              static_cast<std::uint32_t>(id)));
  }
}

void CatalogCheck::CheckQueries() {
  for (const Object& object : objects_) {
    if (object.type != kQuery || !object.id) continue;
    const auto found = queries_.find(*object.id);
    if (found == queries_.end()) {
      Problem(object, fmt::format("is a query without rows in {}", kQueriesTable));
    } else if (found->second.starts != 1 || found->second.ends != 1) {
      context_->report.Warning(
          At(kQueriesTable, found->second.first),
          fmt::format("query {} has {} first rows and {} last rows", object.name.value_or(""),
                      found->second.starts, found->second.ends));
    }
  }
  for (const auto& [id, query] : queries_) {
    const auto object = by_id_.find(id);
    if (object != by_id_.end() && object->second->type == kQuery) continue;
    context_->report.Problem(
        At(kQueriesTable, query.first),
        fmt::format("belongs to object {:X}, which is no query", static_cast<std::uint32_t>(id)));
  }
}

// Both sides of a relation name each other.
void CatalogCheck::CheckRelations() {
  for (const auto& [key, relation] : relations_) {
    if (relation.kind != kRelationKind) continue;
    const auto [page, number] = key;
    const Place here = At(table_names_[page], PageNumber{page});
    if (!table_names_.contains(relation.related_table)) {
      context_->report.Problem(here, fmt::format("index {} relates to page {}, which is no table",
                                                 relation.index, relation.related_table));
      continue;
    }
    const auto other = relations_.find({relation.related_table, relation.related_index});
    if (other == relations_.end()) {
      context_->report.Problem(here, fmt::format("index {} relates to index {} of {}, which does "
                                                 "not exist",
                                                 relation.index, relation.related_index,
                                                 table_names_[relation.related_table]));
    } else if (other->second.related_table != page) {
      context_->report.Problem(
          here, fmt::format("index {} relates to index {} of {}, which relates "
                            "to page {}",
                            relation.index, other->second.index,
                            table_names_[relation.related_table], other->second.related_table));
    }
  }
}

}  // namespace jet::check
