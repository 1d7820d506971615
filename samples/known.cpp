#include "samples/known.h"

#include <string>

#include "jet/table/internals.h"
#include "samples/memory_files.h"
#include "samples/sample.h"
#include "upgrade/ladders.h"

namespace samples {
namespace {

constexpr char kPath[] = "/known.mdb";

jet::KnownDatabase TablesOf(jet::FileSystem& files, const SampleOptions& options,
                            std::string version) {
  jet::KnownDatabase known{std::move(version), {}};
  const auto database = jet::Database::Open(files, kPath, {.password = options.password});
  for (const jet::ObjectInfo& object : database->Objects()) {
    if (object.kind != jet::ObjectKind::kTable) continue;
    const auto table = database->OpenTable(object);
    jet::KnownTable entry{object.name, DefOf(*table), database->LoadProperties(object)};
    for (jet::TableScan scan(*table); scan.Next();) {
      auto& row = entry.rows.emplace_back();
      for (std::size_t i = 0; i < entry.def.columns.size(); ++i) row.push_back(scan.row().Get(i));
    }
    known.tables.push_back(std::move(entry));
  }
  return known;
}

void AddVersions(Kind kind, std::vector<jet::KnownDatabase>& known) {
  MemoryFiles files;
  SampleOptions options;
  options.jobs = 0;
  MakeSample(files, kPath, kind, options);
  const jet::Clock clock = [now = options.now] { return now; };
  for (std::int16_t version = kBaseVersion; version <= upgrade::LatestVersion(kind); ++version) {
    if (version > kBaseVersion) {
      ado::Environment environment(files, clock);
      ado::Environment::Action action(environment);
      db::FileSession session(environment, kind, kPath, options.password);
      session.Open();
      upgrade::RunLadder(session, version);
      action.Commit();
    }
    known.push_back(
        TablesOf(files, options, std::string(db::NameOf(kind)) + ' ' + std::to_string(version)));
  }
}

}  // namespace

std::vector<jet::KnownDatabase> KnownDatabases(std::optional<db::Kind> kind) {
  std::vector<jet::KnownDatabase> known;
  for (const db::Kind each : db::kKinds) {
    if (!kind || *kind == each) AddVersions(each, known);
  }
  return known;
}

}  // namespace samples
