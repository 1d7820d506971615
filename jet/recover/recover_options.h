// How a damaged file is to be saved, and what is known of such files beforehand.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "jet/base/value.h"
#include "jet/database/property.h"
#include "jet/database/spec.h"
#include "jet/row/table_def.h"
#include "jet/storage/pager_limits.h"

namespace jet {

// A table that databases of some version have.
struct KnownTable {
  std::string name;
  TableDef def;
  Properties properties;
  // Rows that such a table usually has, values by ordinal: to distinguish tables
  // of the same columns.
  std::vector<std::vector<Value>> rows{};
};
struct KnownDatabase {
  std::string version;  // for reports
  std::vector<KnownTable> tables;
};

struct RecoverOptions {
  std::string password{};
  // Of the pages that are kept of either file.
  PagerLimits limits{.clean_bytes = std::size_t{8} << 20};
  Clock clock{};  // empty: SystemClock()
  // What such databases look like, by version. Asked for where definitions or names
  // are lost; empty: nothing is known.
  std::function<std::vector<KnownDatabase>()> known{};
  // All is done, but the new file is not kept.
  bool dry_run = false;
  // Threads at most, to check the new file; 0: as many as there are cores.
  unsigned jobs = 0;
  // Gets now and then what is being done.
  std::function<void(const std::string& what)> progress{};
};

}  // namespace jet
