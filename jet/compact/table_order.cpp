#include "jet/compact/table_order.h"

#include <optional>
#include <unordered_map>

#include "jet/base/bytes.h"
#include "jet/base/system_ids.h"
#include "jet/database/catalog.h"
#include "jet/index/index.h"
#include "jet/row/row.h"
#include "jet/row/table_def_chain.h"
#include "jet/table/row_store.h"

namespace jet::compact {
namespace {

bool HasDefinition(const ObjectInfo& object) {
  return object.type == kTableObject || (object.type == kOdbcLink && IsPage(object.id));
}

// The tree over (ParentId, Name).
std::optional<std::size_t> NameTree(const TableDef& def) {
  for (std::size_t i = 0; i < def.real_indexes.size(); ++i) {
    const std::vector<IndexColumn>& columns = def.real_indexes[i].columns;
    const auto is = [&](std::size_t part, const char* name) {
      const std::optional<std::size_t> ordinal = def.FindColumn(columns[part].column);
      return ordinal && def.columns[*ordinal].name == name;
    };
    if (columns.size() == 2 && is(0, "ParentId") && is(1, "Name")) return i;
  }
  return std::nullopt;
}

// Ids of all objects, by container and name.
std::vector<std::int32_t> IdsByName(PageAllocator& allocator) {
  std::vector<std::int32_t> ids;
  Pager& pager = allocator.pager();
  const TableDef def = LoadTableDef(pager, kObjectsPage);
  const std::optional<std::size_t> tree = NameTree(def);
  const std::optional<std::size_t> id = def.FindColumn(ColumnId{0});
  if (!tree || !id) return ids;
  const RowStore rows(allocator, def);
  for (auto at = Index(pager, def, *tree).First(); at.valid(); at.Next()) {
    PageRef page;
    RowId found;
    const ByteView row = rows.Find(at.row(), page, found);
    if (row.data() == nullptr) throw Error::Damaged(at.page(), "an index entry leads to no row");
    const std::optional<ByteView> field = RowView(def, row).Raw(def.columns[*id]);
    if (field) ids.push_back(static_cast<std::int32_t>(GetU32(*field, 0)));
  }
  return ids;
}

}  // namespace

std::vector<TableCopy::Source> BaseTables() {
  return {{kObjectsPage, kObjectsTable, true},
          {kAccessPage, kAccessTable, true},
          {kQueriesPage, kQueriesTable, true},
          {kRelationshipsPage, kRelationshipsTable, true}};
}

std::vector<TableCopy::Source> OtherTables(PageAllocator& allocator, const Header& header) {
  std::unordered_map<std::int32_t, const ObjectInfo*> left;
  Catalog catalog(allocator, header, SystemClock());
  const std::vector<ObjectInfo>& objects = catalog.Objects();
  for (const ObjectInfo& object : objects) {
    if (!HasDefinition(object) && IsPage(object.id)) {
      throw Error(ErrorCode::kNotSupported, "an object of type " + std::to_string(object.type) +
                                                " that may have pages of its own")
          .OfTable(object.name);
    }
    if (HasDefinition(object) && object.id > static_cast<std::int32_t>(kRelationshipsPage.value)) {
      left.emplace(object.id, &object);
    }
  }
  std::vector<TableCopy::Source> tables;
  const auto take = [&](std::int32_t id) {
    const auto found = left.find(id);
    if (found == left.end()) return;
    const ObjectInfo& object = *found->second;
    tables.push_back({PageNumber{static_cast<std::uint32_t>(id)}, object.name,
                      (object.flags & (kSystemObjectFlag | kHiddenSystemFlag)) != 0});
    left.erase(found);
  };
  for (const std::int32_t id : IdsByName(allocator)) take(id);
  for (const ObjectInfo& object : objects) take(object.id);
  return tables;
}

}  // namespace jet::compact
