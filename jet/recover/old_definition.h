// The definition of a table as far as its pages can still be read.
#pragma once

#include <optional>

#include "jet/row/table_def.h"
#include "jet/storage/pager.h"

namespace jet::recover {

struct OldDefinition {
  TableDef def;
  // False: only the columns are sure. Indexes, maps and counters are lost.
  bool whole = true;
};

// Nothing if not even the columns can be read.
std::optional<OldDefinition> ReadOldDefinition(Pager& pager, PageNumber page);

// Whether both tables have columns of the same names, types and widths.
bool HaveSameColumns(const TableDef& a, const TableDef& b);

}  // namespace jet::recover
