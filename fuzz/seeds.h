// Inputs to begin with, all made here.
#pragma once

#include <string>
#include <vector>

#include "db/kind.h"
#include "jet/base/types.h"

namespace fuzz {

// Small databases with one of everything: trees of up to three levels, moved and
// deleted rows, long values of every kind, all types, lists as maps.
std::vector<jet::Bytes> FileSeeds();
// Sites' files at several versions, without jobs.
std::vector<jet::Bytes> UpgradeSeeds(db::Kind kind);
// All of these, and the first with counters of rows so high that joins go through
// indexes.
std::vector<jet::Bytes> SelectSeeds();
std::vector<jet::Bytes> SqlSeeds();
std::vector<jet::Bytes> PropertySeeds();
std::vector<jet::Bytes> TextSeeds();  // UTF-16

// `file` with the map in row 0 of page 1 and the owned map of every table as
// lists of bitmap pages.
jet::Bytes WithListMaps(jet::Bytes file);

}  // namespace fuzz
