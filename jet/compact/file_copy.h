// A whole database written anew without holes: each table's pages together, full and in
// order. Nothing but page numbers changes, and what follows from them.
//
//   0 header · 1 map of free pages · 2 to 5 definitions of the system tables · their maps,
//   roots of their indexes, rows of the object list · the other tables in the order of
//   their names · what else the system tables hold · bitmaps of the free pages
//
// A table: definition · maps · rows, long values before the page of their row · indexes,
// each its root first. Engines of build 11A6 give each system table a page of maps.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>

#include "jet/storage/file.h"
#include "jet/storage/header.h"
#include "jet/storage/pager.h"

namespace jet::compact {

struct CopyCounts {
  std::uint64_t pages = 0, tables = 0, rows = 0, index_entries = 0;
};

// How others take part.
struct CopyWatch {
  std::function<void(const std::string& table)> begins;  // gets the name of each table
  const std::atomic<bool>& stop;  // once it is set, by any thread, the copy ends with kDamaged
};

// REQUIRES: `to` is empty. kNotSupported for an object of which it is not known what
// belongs to it; kIo, kDiskFull. What becomes of a database that is not sound is not
// defined, but it ends: with an error, or `to` is filled.
CopyCounts CopyDatabase(Pager& from, const Header& header, File& to, const CopyWatch& watch);

}  // namespace jet::compact
