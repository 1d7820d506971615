#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "jet/base/bytes.h"
#include "jet/base/text.h"
#include "jet/check/catalog.h"
#include "jet/check/catalog_fields.h"
#include "jet/database/stored_query.h"
#include "jet/sort/name.h"
#include "jet/storage/header.h"

namespace jet::check {

bool Is(ByteView sid, const ShortSid& known) {
  return std::equal(sid.begin(), sid.end(), known.begin(), known.end());
}
bool IsKnownSid(ByteView sid) {
  return sid.size() != 2 || Is(sid, kAdminSid) || Is(sid, kUsersSid) || Is(sid, kEngineSid) ||
         Is(sid, kCreatorSid);
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

void CatalogCheck::VisitAces(TableCheck& table) {
  if (!IsSystemTable(table.def(), *FindSystemTable(kAccessPage))) return table.Run();
  const std::size_t object = Ordinal(table.def(), "ObjectId"), sid = Ordinal(table.def(), "SID");
  table.Run({}, [&](RowId id, const RowFields& row) {
    if (const auto of = Number(row, object)) aces_.try_emplace(*of, id);
    if (!row.stored[sid] || !IsKnownSid(context_->header.MaskSid(*row.stored[sid]))) {
      context_->report.Problem(At(kAccessTable, id), Code::kSecurityId,
                               "its security id does not fit this file");
    }
  });
  aces_read_ = true;
}

void CatalogCheck::VisitQueries(TableCheck& table) {
  if (!IsSystemTable(table.def(), *FindSystemTable(kQueriesPage))) return table.Run();
  const std::size_t object = Ordinal(table.def(), "ObjectId"),
                    attribute = Ordinal(table.def(), "Attribute");
  table.Run({}, [&](RowId id, const RowFields& row) {
    const auto of = Number(row, object);
    const auto kind = Number(row, attribute);
    if (!of || !kind) return;
    QueryRows& query = queries_.try_emplace(*of, QueryRows{.first = id}).first->second;
    ++query.rows;
    if (*kind == QueryRow::kStart) ++query.starts;
    if (*kind == QueryRow::kEnd) ++query.ends;
  });
  queries_read_ = true;
}

void CatalogCheck::VisitRelationships(TableCheck& table) {
  if (!IsSystemTable(table.def(), *FindSystemTable(kRelationshipsPage))) return table.Run();
  const std::size_t from = Ordinal(table.def(), "szObject"),
                    to = Ordinal(table.def(), "szReferencedObject");
  const SortOrder order = context_->header.order();
  std::set<std::string> names;
  for (const Object& object : objects_) {
    const bool is_table = object.type == kTableObject || object.type == kOdbcLink ||
                          object.type == kQueryObject || object.type == kFileLink;
    if (is_table && object.name) names.insert(NameKey(order, *object.name));
  }
  table.Run({}, [&](RowId id, const RowFields& row) {
    for (const std::size_t ordinal : {from, to}) {
      const auto name = Text(row, ordinal);
      if (!name || !names.contains(NameKey(order, *name))) {
        context_->report.Warning(
            At(kRelationshipsTable, id), Code::kRelation,
            fmt::format("a relationship names {}, which is not a table", name.value_or("nothing")));
      }
    }
  });
}

void CatalogCheck::CheckAces() {
  for (const Object& object : objects_) {
    if (!object.id || aces_.contains(*object.id)) continue;
    // Objects of other programs may go without.
    if (object.type >= kTableObject && object.type <= kFileLink) {
      Problem(object, Code::kRights, "has no access-control row");
    } else {
      context_->report.Warning(
          At(kObjectsTable, object.row), Code::kRights,
          fmt::format("object {} has no access-control row", object.name.value_or("")));
    }
  }
  for (const auto& [id, row] : aces_) {
    if (by_id_.contains(id) || id == kRootContainer) continue;
    context_->report.Warning(
        At(kAccessTable, row), Code::kRights,
        fmt::format("is for an unknown object {:X}", static_cast<std::uint32_t>(id)));
  }
}

void CatalogCheck::CheckQueries() {
  for (const Object& object : objects_) {
    if (object.type != kQueryObject || !object.id) continue;
    const auto found = queries_.find(*object.id);
    if (found == queries_.end()) {
      Problem(object, Code::kQueryRows,
              fmt::format("is a query without rows in {}", kQueriesTable));
    } else if (found->second.starts != 1 || found->second.ends != 1) {
      context_->report.Warning(
          At(kQueriesTable, found->second.first), Code::kQueryRows,
          fmt::format("query {} has {} first rows and {} last rows", object.name.value_or(""),
                      found->second.starts, found->second.ends));
    }
  }
  for (const auto& [id, query] : queries_) {
    const auto object = by_id_.find(id);
    if (object != by_id_.end() && object->second->type == kQueryObject) continue;
    context_->report.Problem(At(kQueriesTable, query.first), Code::kQueryRows,
                             fmt::format("belongs to object {:X}, which is not a query",
                                         static_cast<std::uint32_t>(id)));
  }
}

// Both sides of a relation name each other.
void CatalogCheck::CheckRelations() {
  for (const auto& [key, relation] : relations_) {
    if (relation.kind != LogicalIndex::kRelation) continue;
    const auto [page, number] = key;
    const Place here = At(table_names_[page], PageNumber{page});
    if (!table_names_.contains(relation.related_table)) {
      context_->report.Problem(here, Code::kRelation,
                               fmt::format("index {} relates to page {}, which is not a table",
                                           relation.index, relation.related_table));
      continue;
    }
    const auto other = relations_.find({relation.related_table, relation.related_index});
    if (other == relations_.end()) {
      context_->report.Problem(here, Code::kRelation,
                               fmt::format("index {} relates to index {} of {}, which does "
                                           "not exist",
                                           relation.index, relation.related_index,
                                           table_names_[relation.related_table]));
    } else if (other->second.related_table != page) {
      context_->report.Problem(
          here, Code::kRelation,
          fmt::format("index {} relates to index {} of {}, which relates "
                      "to page {}",
                      relation.index, other->second.index, table_names_[relation.related_table],
                      other->second.related_table));
    }
  }
}

}  // namespace jet::check
