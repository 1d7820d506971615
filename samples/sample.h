// Sample databases: what a site's files look like, made from nothing.
//
// A sample starts as the base tables at version 2 and is brought to its version
// by the ladder itself. The same options give the same bytes.
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "db/kind.h"
#include "samples/schema.h"

namespace samples {

using db::Kind;
inline constexpr std::int16_t kBaseVersion = 2;

struct SampleOptions {
  std::int16_t version = kBaseVersion;
  int jobs = 50;
  std::string password{db::kDatabasePassword};
  jet::SortOrder order = jet::kJapanese;
  // The date of all objects: 2010-04-01 09:00 unless set.
  jet::DateTime now = jet::ToDateTime({2010, 4, 1, 9, 0, 0});
  // Tests change the base here before it is written: other rows, other columns.
  std::function<void(std::vector<BaseTable>&)> change;
  // Rows of jobs written since the last call.
  std::function<void(std::int64_t rows)> progress;
};

// Writes the file under a temporary name beside it, then renames it; whatever
// stood at `path` is replaced. Throws jet::Error, ado::Error.
void MakeSample(jet::FileSystem& files, const std::string& path, Kind kind,
                const SampleOptions& options = {});

// Adds the base tables, at version 2, to a database; the caller commits.
void AddSample(jet::Database& database, Kind kind, const SampleOptions& options = {});

}  // namespace samples
