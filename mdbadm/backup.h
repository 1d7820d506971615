// A copy of a database, taken before it is changed.
#pragma once

#include <string>

#include "jet/base/value.h"
#include "jet/storage/file.h"

namespace mdbadm {

// Copies `path` into `folder`, under its own name with the time in it, and
// returns the copy's path. Takes part in the locking, so it fails while another
// program works on the file. The copy is on the disk when this returns.
std::string BackUp(jet::FileSystem& files, const std::string& path, const std::string& folder,
                   jet::DateTime now);
// The same of a file that is open.
std::string BackUp(jet::FileSystem& files, jet::File& from, const std::string& folder,
                   jet::DateTime now);

}  // namespace mdbadm
