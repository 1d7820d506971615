// Changes of a table's definition: from what a caller asks for to columns and
// indexes as the format wants them, with every limit checked.
#pragma once

#include "jet/database/property.h"
#include "jet/database/spec.h"
#include "jet/pages/page_allocator.h"
#include "jet/row/table_def.h"
#include "jet/table/table.h"

namespace jet {

// Throws kUnsortable, with the order in the detail, for files whose text keys we
// cannot write.
void RequireProvenOrder(SortOrder order);

// A new table: definition, usage maps, roots of its indexes. Pages are taken, nothing
// is entered into the catalog. REQUIRES: a Scope.
TableDef BuildTable(PageAllocator& allocator, SortOrder order, const TableSpec& spec);

// Both change `def` and store it. No row is touched. REQUIRES: a Scope.
void AppendColumnTo(PageAllocator& allocator, SortOrder order, TableDef& def,
                    const ColumnSpec& spec);
// `table` holds the rows that the index is filled from; its definition is left
// alone.
void AddIndexTo(PageAllocator& allocator, SortOrder order, const Table& table, TableDef& def,
                const IndexSpec& spec);

// What the properties of the table have to say about a new column; false if
// that is nothing.
bool AddColumnProperties(Properties& properties, SortOrder order, const ColumnSpec& spec);

}  // namespace jet
