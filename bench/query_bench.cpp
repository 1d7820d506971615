// The saved queries: parsing their texts, and running them over a small site.
#include <benchmark/benchmark.h>
#include <fmt/format.h>

#include "bench/folder.h"
#include "bench/rows.h"
#include "db/kind.h"
#include "samples/sample.h"
#include "sql/sql.h"
#include "upgrade/ladders.h"

namespace {

constexpr std::int32_t kJobs = 1000, kChosenStep = 10, kWorkRows = 10'000;

struct Site {
  Site() {
    const std::string path = folder.File("Data.mdb");
    samples::SampleOptions options;
    options.version = upgrade::LatestVersion(samples::Kind::kData);
    options.jobs = kJobs;
    samples::MakeSample(*files, path, samples::Kind::kData, options);
    jet::OpenOptions open;
    open.mode = jet::OpenMode::kExclusive;
    open.password = db::kDatabasePassword;
    database = jet::Database::Open(*files, path, open);
    bench::FillTransfer(*database, kJobs, kChosenStep, kWorkRows);
    database->Commit();
    for (const jet::ObjectInfo& object : database->Objects()) {
      if (object.kind != jet::ObjectKind::kQuery) continue;
      definitions.push_back(database->LoadQuery(object));
      texts.push_back(sql::Format(definitions.back()));
    }
  }
  static Site& Get() {
    static Site site;
    return site;
  }
  bench::Folder folder;
  std::unique_ptr<jet::FileSystem> files = jet::MakeSystemFiles();
  std::unique_ptr<jet::Database> database;
  std::vector<jet::QueryDefinition> definitions;
  std::vector<std::string> texts;
};

void ParseQuery(benchmark::State& state) {
  const std::string& text = Site::Get().texts.at(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(sql::Parse(text));
}
BENCHMARK(ParseQuery)->DenseRange(0, 4)->Unit(benchmark::kMicrosecond);

void RunQuery(benchmark::State& state) {
  Site& site = Site::Get();
  const auto& definition = site.definitions.at(static_cast<std::size_t>(state.range(0)));
  std::int64_t count = 0;
  for (auto _ : state) {
    const auto rows = sql::Run(*site.database, definition);
    while (rows->Next()) {
      for (std::size_t i = 0; i < rows->columns().size(); ++i) {
        benchmark::DoNotOptimize(rows->value(i));
      }
      ++count;
    }
  }
  if (count == 0) state.SkipWithError("no rows");
  state.SetItemsProcessed(count);
}
BENCHMARK(RunQuery)->DenseRange(0, 4)->Unit(benchmark::kMillisecond);

// The same rows as a join, by IN and by EXISTS: none should take much longer.
void RunLookup(benchmark::State& state, const char* where) {
  Site& site = Site::Get();
  const jet::QueryDefinition query =
      sql::Parse(fmt::format("SELECT Count(*), Sum(T.数量) FROM Data_角_単体設定 AS T {}", where));
  for (auto _ : state) {
    const auto rows = sql::Run(*site.database, query);
    if (!rows->Next() || rows->value(0) == jet::Value(0)) state.SkipWithError("no rows");
    benchmark::DoNotOptimize(rows->value(1));
  }
}
BENCHMARK_CAPTURE(RunLookup, join, "INNER JOIN Data_角_ｻｲｽﾞ AS U ON T.入力ＩＤ = U.入力ＩＤ")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(RunLookup, in, "WHERE T.入力ＩＤ IN (SELECT U.入力ＩＤ FROM Data_角_ｻｲｽﾞ AS U)")
    ->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(RunLookup, exists,
                  "WHERE EXISTS (SELECT * FROM Data_角_ｻｲｽﾞ AS U WHERE U.入力ＩＤ = T.入力ＩＤ)")
    ->Unit(benchmark::kMillisecond);

}  // namespace
