// Where a table's definition lies: on one page or a chain of pages.
#pragma once

#include <vector>

#include "jet/row/table_def.h"

namespace jet {

class PageAllocator;
class Pager;

// Throws kDamaged. Every count and length is checked against the bytes there.
TableDef LoadTableDef(Pager& pager, PageNumber page);
// The pages of a definition, as far as it can be followed; the last one may lie
// outside the file or be something else.
std::vector<PageNumber> PagesOfTableDef(Pager& pager, PageNumber first);
// Rewrites the chain, growing or shrinking it. REQUIRES: a Scope; `def.page` is allocated.
void StoreTableDef(TableDef& def, Pager& pager, PageAllocator& allocator);
// The pages that a definition of so many bytes takes.
std::size_t DefinitionPages(std::size_t content_bytes);
// Puts what page `i` of the chain holds of a definition; bytes behind it stay.
void PutDefinitionPage(ByteView content, const std::vector<PageNumber>& chain, std::size_t i,
                       PageSpan page);
// Rewrites the counters only: rows, autonumber, distinct keys. REQUIRES: a Scope;
// columns and indexes are as loaded or stored last.
void StoreCounters(const TableDef& def, Pager& pager);

}  // namespace jet
