#include "jet/database/system_tables.h"

#include <fmt/format.h>

#include <algorithm>

namespace jet {

namespace {

using enum ColumnType;
using enum SystemColumn::Use;

// Descriptors stand in alphabetical order, whatever the ids.
constexpr SystemColumn kObjectsColumns[] = {
    {9, "Connect", kMemo, 3},
    {8, "Database", kMemo, 2},
    {4, "DateCreate", kDateTime, 10},
    {5, "DateUpdate", kDateTime, 18},
    {7, "Flags", kLong, 26},
    {10, "ForeignName", kText, 4},
    {0, "Id", kLong, 0},
    {13, "Lv", kOle, 7, kUnread},
    {16, "LvExtra", kOle, 10, kUnread},
    {15, "LvModule", kOle, 9, kUnread},
    {14, "LvProp", kOle, 8},
    {2, "Name", kText, 0},
    {6, "Owner", kBinary, 1, kSecurityIds},
    {1, "ParentId", kLong, 4},
    {12, "RmtInfoLong", kOle, 6, kUnread},
    {11, "RmtInfoShort", kBinary, 5, kUnread},
    {3, "Type", kInteger, 8},
};
constexpr SystemColumn kAccessColumns[] = {
    {2, "ACM", kLong, 4},
    {3, "FInheritable", kBoolean, 0},
    {0, "ObjectId", kLong, 0},
    {1, "SID", kBinary, 0, kSecurityIds},
};
constexpr SystemColumn kQueriesColumns[] = {
    {1, "Attribute", kByte, 4},        {5, "Expression", kMemo, 3}, {6, "Flag", kInteger, 5},
    {7, "LvExtra", kLong, 7, kUnread}, {3, "Name1", kText, 1},      {4, "Name2", kText, 2},
    {0, "ObjectId", kLong, 0},         {2, "Order", kBinary, 0},
};
constexpr SystemColumn kRelationshipsColumns[] = {
    {2, "ccolumn", kLong, 4},
    {1, "grbit", kLong, 0},
    {3, "icolumn", kLong, 8},
    {5, "szColumn", kText, 2},
    {4, "szObject", kText, 1},
    {7, "szReferencedColumn", kText, 4},
    {6, "szReferencedObject", kText, 3},
    {0, "szRelationship", kText, 0},
};

constexpr std::uint8_t kUniqueIndex = RealIndex::kAlways | RealIndex::kUnique;
constexpr std::uint8_t kRequiredIndex = RealIndex::kAlways | RealIndex::kRequired;
constexpr std::uint8_t kSparseIndex = RealIndex::kAlways | RealIndex::kIgnoreNulls;

// Trees in this order; their names are sorted separately.
constexpr SystemIndex kObjectsIndexes[] = {
    {"ParentIdName", LogicalIndex::kPlain, kUniqueIndex, {1, 2, -1}},
    {"Id", LogicalIndex::kPrimary, kUniqueIndex, {0, -1, -1}},
};
constexpr SystemIndex kAccessIndexes[] = {
    {"ObjectId", LogicalIndex::kPlain, kRequiredIndex, {0, -1, -1}},
};
constexpr SystemIndex kQueriesIndexes[] = {
    {"ObjectIdAttribute", LogicalIndex::kPrimary, kUniqueIndex, {0, 1, 2}},
};
constexpr SystemIndex kRelationshipsIndexes[] = {
    {"szRelationship", LogicalIndex::kPlain, kSparseIndex, {0, -1, -1}},
    {"szObject", LogicalIndex::kPlain, kSparseIndex, {4, -1, -1}},
    {"szReferencedObject", LogicalIndex::kPlain, kSparseIndex, {6, -1, -1}},
};

constexpr SystemTableSpec kSystemTables[] = {
    {kObjectsPage, kObjectsTable, kObjectsColumns, kObjectsIndexes},
    {kAccessPage, kAccessTable, kAccessColumns, kAccessIndexes},
    {kQueriesPage, kQueriesTable, kQueriesColumns, kQueriesIndexes},
    {kRelationshipsPage, kRelationshipsTable, kRelationshipsColumns, kRelationshipsIndexes},
};

}  // namespace

std::span<const SystemTableSpec> SystemTables() { return kSystemTables; }

const SystemTableSpec* FindSystemTable(PageNumber page) {
  const auto* found = std::find_if(std::begin(kSystemTables), std::end(kSystemTables),
                                   [page](const auto& spec) { return spec.page == page; });
  return found == std::end(kSystemTables) ? nullptr : found;
}

std::optional<std::string> SystemTableFault(const SystemTableSpec& spec, const TableDef& def) {
  for (const SystemColumn& expected : spec.columns) {
    const auto at = def.FindColumn(expected.name, kGeneral);
    if (!at || def.columns[*at].type == expected.type) continue;
    return fmt::format("the column {} of the system table {} holds {} instead of {}", expected.name,
                       spec.name, TypeName(def.columns[*at].type), TypeName(expected.type));
  }
  return std::nullopt;
}

}  // namespace jet
