#include "jet/compact/object_ids.h"

#include "jet/base/system_ids.h"

namespace jet::compact {
namespace {

// Above every page of a file of 2 GB, and below the ids of the containers.
constexpr std::int32_t kLostTables = 0x0080'0000;

struct IdColumn {
  std::string_view table, column;
};
constexpr IdColumn kIdColumns[] = {
    {kObjectsTable, "Id"},
    {kObjectsTable, "ParentId"},
    {kAccessTable, "ObjectId"},
    {kQueriesTable, "ObjectId"},
    {"MSysNavPaneObjectIDs", "Id"},
    {"MSysNavPaneGroupToObjects", "ObjectID"},
    {"MSysNavPaneGroups", "ObjectID"},
};

}  // namespace

bool IsPage(std::int32_t id) { return id > 0 && static_cast<std::uint32_t>(id) < kMaxPages; }

PageNumber ObjectIds::Find(PageNumber from) const {
  const auto found = moved_.find(from.value);
  return {found == moved_.end() ? 0 : found->second};
}

std::int32_t ObjectIds::Map(std::int32_t id) const {
  if (!IsPage(id)) return id;
  const PageNumber to = Find({static_cast<std::uint32_t>(id)});
  return to ? static_cast<std::int32_t>(to.value) : id + kLostTables;
}

std::vector<std::size_t> IdColumns(const TableDef& def, std::string_view name, bool system) {
  std::vector<std::size_t> ordinals;
  if (!system) return ordinals;
  for (const IdColumn& id : kIdColumns) {
    if (id.table != name) continue;
    for (std::size_t i = 0; i < def.columns.size(); ++i) {
      const ColumnDef& column = def.columns[i];
      if (column.name == id.column && column.type == ColumnType::kLong) ordinals.push_back(i);
    }
  }
  return ordinals;
}

}  // namespace jet::compact
