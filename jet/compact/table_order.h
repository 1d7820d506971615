// Which tables a file has, in the order in which they are written anew.
#pragma once

#include <vector>

#include "jet/compact/table_copy.h"
#include "jet/pages/page_allocator.h"
#include "jet/storage/header.h"

namespace jet::compact {

// The tables that every file begins with, in the order of their definitions.
std::vector<TableCopy::Source> BaseTables();

// All others, links that have a definition included, by name where the catalog's index
// of names is there. kNotSupported for an object of an unknown type that may have pages.
std::vector<TableCopy::Source> OtherTables(PageAllocator& allocator, const Header& header);

}  // namespace jet::compact
