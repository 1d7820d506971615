// The rows of jobs: drawings' pieces, accessories and what belongs to them.
// They follow from their numbers alone, so that every sample of so many jobs is
// the same and what a query must find can be worked out.
#pragma once

#include <cstdint>
#include <functional>

#include "samples/schema.h"

namespace samples {

inline constexpr int kPiecesPerJob = 20;
inline constexpr int kAccessoriesPerJob = 8;
inline constexpr int kJobsPerSite = 5;

// The row numbered `number` (from 1) of one of the job tables.
struct JobTable {
  const char* name;
  std::int64_t count;
  std::function<void(std::int32_t number, Row& row)> fill;
};
std::vector<JobTable> JobTables(int jobs);

// Writes all job rows, calling `progress` with the number of rows since the
// last call now and then.
void WriteJobs(jet::Database& database, const std::vector<BaseTable>& base, int jobs,
               const std::function<void(std::int64_t rows)>& progress = {});

}  // namespace samples
