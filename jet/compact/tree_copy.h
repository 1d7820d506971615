// An index tree, copied in the order of its entries: the keys stay, the rows that they
// lead to have new addresses.
#pragma once

#include <vector>

#include "jet/compact/object_ids.h"
#include "jet/compact/row_ids.h"
#include "jet/compact/tree_writer.h"
#include "jet/row/table_def.h"
#include "jet/storage/pager.h"

namespace jet::compact {

struct TreeCopyJob {
  Pager& from;
  const TableDef& def;                         // as it is in the old file
  const std::vector<std::size_t>& id_columns;  // ordinals of columns whose values change
  const ObjectIds& ids;
  const RowIdMap& rows;
};

// Of the tree of def.real_indexes[real]. Where it holds ids of objects its entries change
// their order, and are sorted in memory. kNotSupported where such an id stands behind a
// part of the key whose length is not known.
void CopyTree(const TreeCopyJob& job, std::size_t real, TreeWriter& to);

}  // namespace jet::compact
