// A bloated database written anew, without the holes that deletions leave.
//
// Everything that is stored stays: rows in stored order, column ids, counters, dates,
// password, rights, objects of other programs byte for byte. What changes is where it
// lies, and with that the ids of tables.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "jet/storage/file.h"
#include "jet/storage/pager_limits.h"

namespace jet {

struct CompactOptions {
  std::optional<std::string> password{};  // nothing: none is asked for
  // Of the pages that are kept while both files are walked.
  PagerLimits limits{.clean_bytes = std::size_t{8} << 20};
  // Threads at most; 0: as many as there are cores.
  unsigned jobs = 0;
  // Gets now and then what is being done.
  std::function<void(const std::string& what)> progress{};
  // Gets the old file, still locked, when the new one is whole and before it takes the
  // old one's place. What it throws leaves the old file there. In place only.
  std::function<void(File& old)> before_replacing{};
};

struct CompactResult {
  std::uint64_t bytes_before = 0, bytes_after = 0;
  std::uint64_t tables = 0, rows = 0, index_entries = 0;
};

// Both write a file of another name first, sync it, check it and rename it. Until then
// nothing is touched; an error or a kill leaves at most that other file, which the next
// call writes over. The database may not be written to meanwhile.
//
// Throws what CheckFile throws; kDamaged where the checker finds a problem, with the first
// one in the detail; kNotSupported where the file holds something that cannot be moved;
// kDiskFull, kFileTooLarge.

// `new_path` as the database `path` written anew. kNoPermission where `new_path` exists.
CompactResult CompactFile(FileSystem& files, const std::string& path, const std::string& new_path,
                          const CompactOptions& options);
// In the place of the old file, which no other program may have open. The new file has its
// access rights. Where `path` is a link, what it leads to is replaced.
CompactResult CompactInPlace(FileSystem& files, const std::string& path,
                             const CompactOptions& options);

}  // namespace jet
