// A new empty database from nothing: the header, the map of free pages, the
// four system tables with their maps and indexes, and the rows that every
// database starts with.
#pragma once

#include "jet/pages/page_allocator.h"
#include "jet/storage/header.h"

namespace jet {

// Fills the pager of an empty file. All changes stay in its cache. `rows_created`
// is the date of the first objects.
void InitDatabase(PageAllocator& allocator, const Header::NewFile& file, DateTime rows_created);

}  // namespace jet
