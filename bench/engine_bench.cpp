// Single operations of the engine.
#include <benchmark/benchmark.h>

#include "bench/folder.h"
#include "bench/rows.h"
#include "db/kind.h"
#include "db/version_record.h"
#include "jet/database/database.h"
#include "jet/database/internals.h"
#include "jet/sort/collation.h"
#include "samples/sample.h"

namespace {

using bench::Key;
using jet::Database;

constexpr std::int32_t kRows = 100'000;  // of the tables that are read
constexpr std::int32_t kInserted = 10'000;

// Files that all benchmarks of a run share, made when first asked for.
class Files {
 public:
  static Files& Get() {
    static Files files;
    return files;
  }
  jet::FileSystem& system() { return *system_; }
  std::string Path(std::string_view name) const { return folder_.File(name); }

  const std::string& Sample() {
    if (sample_.empty()) {
      sample_ = folder_.File("Data.mdb");
      samples::MakeSample(*system_, sample_, samples::Kind::kData);
    }
    return sample_;
  }
  const std::string& Rows() {
    if (rows_.empty()) {
      rows_ = folder_.File("rows.mdb");
      const auto database = Database::Create(*system_, rows_, {});
      bench::InsertRows(*bench::MakeTable(*database, Key::kBoth), kRows);
      database->Commit();
    }
    return rows_;
  }
  std::unique_ptr<Database> OpenRows(jet::OpenMode mode = jet::OpenMode::kRead) {
    jet::OpenOptions options;
    options.mode = mode;
    return Database::Open(*system_, Rows(), options);
  }
  std::unique_ptr<Database> OpenSample() {
    jet::OpenOptions options;
    options.password = db::kDatabasePassword;
    return Database::Open(*system_, Sample(), options);
  }

 private:
  bench::Folder folder_;
  std::unique_ptr<jet::FileSystem> system_ = jet::MakeSystemFiles();
  std::string sample_, rows_;
};

void Open(benchmark::State& state) {
  Files& files = Files::Get();
  files.Sample();
  for (auto _ : state) benchmark::DoNotOptimize(files.OpenSample());
}
BENCHMARK(Open)->Unit(benchmark::kMicrosecond);

void VersionLookup(benchmark::State& state) {
  Files& files = Files::Get();
  files.Sample();
  for (auto _ : state) {
    const auto database = files.OpenSample();
    const auto table = database->OpenTable(db::kVersionTable);
    jet::Table::Row row;
    if (!table->Read(*table->First(), row)) state.SkipWithError("no version");
    benchmark::DoNotOptimize(row.Get(table->OrdinalOf(db::kVersionField)));
    state.counters["pages"] =
        static_cast<double>(jet::Internals(*database).pager().counters().pages_read);
  }
}
BENCHMARK(VersionLookup)->Unit(benchmark::kMicrosecond);

void PointLookup(benchmark::State& state) {
  const auto database = Files::Get().OpenRows();
  const auto table = database->OpenTable(bench::kTableName);
  auto seek = table->SeekBy({0});
  jet::Table::Row row;
  std::int32_t number = 0;
  for (auto _ : state) {
    number = (number + 7919) % kRows;
    const jet::Value key = number + 1;
    seek->Begin({&key, 1});
    const auto found = seek->Next();
    if (!found || !table->Read(*found, row)) state.SkipWithError("row not found");
    benchmark::DoNotOptimize(row.Get(3));
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(PointLookup);

void Scan(benchmark::State& state, bool text) {
  const auto database = Files::Get().OpenRows();
  const auto table = database->OpenTable(bench::kTableName);
  std::string name;
  for (auto _ : state) {
    jet::TableScan scan(*table);
    std::int64_t sum = 0;
    while (scan.Next()) {
      if (text && scan.row().GetText(1, name)) sum += name.back();
      sum += std::get<std::int32_t>(scan.row().Get(2));
    }
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * kRows);
}
BENCHMARK_CAPTURE(Scan, numbers, false)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Scan, text, true)->Unit(benchmark::kMillisecond);

// Without the flush.
void Insert(benchmark::State& state, Key key) {
  Files& files = Files::Get();
  const auto database = Database::Create(files.system(), files.Path("insert.mdb"), {});
  database->Commit();
  for (auto _ : state) {
    state.PauseTiming();
    database->Discard();
    const auto table = bench::MakeTable(*database, key);
    state.ResumeTiming();
    bench::InsertRows(*table, kInserted);
  }
  state.SetItemsProcessed(state.iterations() * kInserted);
}
BENCHMARK_CAPTURE(Insert, no_index, Key::kNone)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Insert, long_key, Key::kLong)->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Insert, two_keys, Key::kBoth)->Unit(benchmark::kMillisecond);

void Update(benchmark::State& state, std::size_t ordinal) {
  const auto database = Files::Get().OpenRows(jet::OpenMode::kExclusive);
  const auto table = database->OpenTable(bench::kTableName);
  auto seek = table->SeekBy({0});
  std::vector<jet::Value> row;
  std::int32_t number = 0;
  for (auto _ : state) {
    number = (number + 7919) % kRows;
    const jet::Value key = number + 1;
    bench::FillRow(number + 2, kRows, row);
    const jet::FieldChange change{ordinal, row[ordinal]};
    seek->Begin({&key, 1});
    table->Update(seek->Next().value(), {&change, 1});
  }
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK_CAPTURE(Update, plain_field, 3);
BENCHMARK_CAPTURE(Update, text_key, 1);

void AppendColumn(benchmark::State& state) {
  const auto database = Files::Get().OpenRows(jet::OpenMode::kExclusive);
  jet::ColumnSpec column;
  column.name = "備考";
  column.type = jet::ColumnType::kText;
  column.max_size = 50;
  for (auto _ : state) {
    database->AppendColumn(bench::kTableName, column);
    state.PauseTiming();
    database->Discard();
    state.ResumeTiming();
  }
}
BENCHMARK(AppendColumn)->Unit(benchmark::kMicrosecond);

void SortKeyOfText(benchmark::State& state) {
  const std::string text = "角ダクト（ﾘﾌﾞ補強Ａ）鉄板0.5t ユニオンなし";
  for (auto _ : state) benchmark::DoNotOptimize(jet::TextKey(jet::kJapanese, text, true));
  state.SetItemsProcessed(state.iterations());
}
BENCHMARK(SortKeyOfText);

// So many pages changed in place, with all syncs.
void Flush(benchmark::State& state) {
  const auto database = Files::Get().OpenRows(jet::OpenMode::kExclusive);
  const auto count = static_cast<std::uint32_t>(state.range(0));
  for (auto _ : state) {
    state.PauseTiming();
    {
      jet::Scope scope(jet::Internals(*database).pager());
      // The same bytes: a page that is edited counts as changed.
      for (std::uint32_t page = 0; page < count; ++page)
        jet::Internals(*database).pager().Edit({100 + page});
      scope.Commit();
    }
    state.ResumeTiming();
    database->Commit();
  }
  state.SetBytesProcessed(state.iterations() * state.range(0) *
                          static_cast<std::int64_t>(jet::kPageSize));
}
BENCHMARK(Flush)->Arg(1)->Arg(100)->Arg(1000)->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
