// The four tables that every database starts with: where they stand, their
// columns and indexes.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "jet/table_def.h"

namespace jet {

inline constexpr PageNumber kObjectsPage{2};
inline constexpr PageNumber kAccessPage{3};
inline constexpr PageNumber kQueriesPage{4};
inline constexpr PageNumber kRelationshipsPage{5};

// A column as a new file has it. Files of other programs have the same ones, of
// the same types. `place`: offset in the fixed region, or slot.
struct SystemColumn {
  std::uint16_t id;
  const char* name;
  ColumnType type;
  std::uint16_t place;
  bool masked = false;  // holds security ids
};

struct SystemIndex {
  const char* name;
  std::uint8_t kind;
  std::uint8_t flags;
  std::array<std::int8_t, 3> columns;  // ids, -1 = none
};

struct SystemTableSpec {
  PageNumber page;
  const char* name;
  std::span<const SystemColumn> columns;
  std::span<const SystemIndex> indexes;
};

// In the order of their pages.
std::span<const SystemTableSpec> SystemTables();
// Null for a page of any other table.
const SystemTableSpec* FindSystemTable(PageNumber page);
// What reading and writing its rows would stumble over: a column of another type.
std::optional<std::string> SystemTableFault(const SystemTableSpec& spec, const TableDef& def);

}  // namespace jet
