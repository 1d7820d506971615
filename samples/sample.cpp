#include "samples/sample.h"

#include <algorithm>

#include "samples/jobs.h"
#include "upgrade/ladders.h"

namespace samples {
namespace {

constexpr std::int64_t kRowsPerCommit = 200'000;

jet::Clock FixedClock(const SampleOptions& options) {
  return [now = options.now] { return now; };
}

// Base tables and jobs. `commit` is called between batches of rows.
void WriteBase(jet::Database& database, Kind kind, const SampleOptions& options,
               const std::function<void()>& commit) {
  std::vector<BaseTable> base = kind == Kind::kData ? DataTables() : TenkaiTables();
  if (options.change) options.change(base);
  for (const BaseTable& table : base) Write(database, table);
  if (kind != Kind::kData) return;
  std::int64_t uncommitted = 0;
  WriteJobs(database, base, options.jobs, [&](std::int64_t rows) {
    uncommitted += rows;
    if (uncommitted >= kRowsPerCommit && commit) {
      commit();
      uncommitted = 0;
    }
    if (options.progress) options.progress(rows);
  });
}

void Upgrade(jet::FileSystem& files, const std::string& path, Kind kind,
             const SampleOptions& options) {
  ado::Environment environment(files, FixedClock(options));
  ado::Environment::Action action(environment);
  db::FileSession session(environment, kind, path, options.password);
  session.Open();
  upgrade::RunLadder(session, options.version);
  action.Commit();
}

}  // namespace

void MakeSample(jet::FileSystem& files, const std::string& path, Kind kind,
                const SampleOptions& options) {
  const std::string unfinished = path + ".new";
  try {
    {
      jet::CreateOptions create;
      create.order = options.order;
      create.password = options.password;
      create.clock = FixedClock(options);
      const auto database = jet::Database::Create(files, unfinished, create);
      WriteBase(*database, kind, options, [&] { database->Commit(); });
      database->Commit();
    }
    if (options.version > kBaseVersion) Upgrade(files, unfinished, kind, options);
    files.Rename(unfinished, path);
  } catch (...) {
    if (files.Exists(unfinished)) files.Remove(unfinished);
    throw;
  }
}

void AddSample(jet::Database& database, Kind kind, const SampleOptions& options) {
  WriteBase(database, kind, options, {});
}

}  // namespace samples
