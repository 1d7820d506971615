// The four tables that every database starts with: where they stand, their
// columns and indexes.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <span>
#include <string>

#include "jet/base/column_type.h"
#include "jet/base/system_ids.h"
#include "jet/row/table_def.h"

namespace jet {

// A column as a new file has it. Files of other programs have the same ones, of
// the same types. `place`: offset in the fixed region, or slot.
struct SystemColumn {
  std::uint16_t id;
  const char* name;
  ColumnType type;
  std::uint16_t place;
  enum class Use : std::uint8_t {
    kRead,
    kSecurityIds,  // read, and masked
    kUnread,       // not read: a file may lack it
  } use = Use::kRead;
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
