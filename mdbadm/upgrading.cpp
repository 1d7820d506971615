// Verbs that run ladders and repairs.
#include <chrono>
#include <cmath>
#include <filesystem>
#include <utility>

#include "ado/environment.h"
#include "ado/error.h"
#include "mdbadm/backup.h"
#include "mdbadm/failure.h"
#include "mdbadm/output.h"
#include "mdbadm/verbs.h"
#include "upgrade/ladders.h"

namespace mdbadm {
namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::duration<double, std::milli>;

// How the upgrade of one file ended.
struct Result {
  Result(const UpgradeOptions& options, const std::string& path)
      : file(path),
        kind(KindOf(options, path)),
        to(options.to.value_or(upgrade::LatestVersion(kind))) {}

  std::string file;
  Kind kind;
  std::optional<double> from;  // the stored version, once it is known
  std::int16_t to;
  const char* outcome = "not tried";
  Milliseconds time{0};
  std::string backup;
  std::optional<Failure> failure;
};

Json Number(const std::optional<double>& version) {
  if (!version) return nullptr;
  return VersionNumber(*version);
}

// To a tenth of a millisecond.
Json Time(bool json, Milliseconds time) {
  if (!json) return fmt::format("{:.1f}", time.count());
  return std::round(time.count() * 10) / 10;
}

// A line a step, and one for how each file ended.
class StepListing {
 public:
  explicit StepListing(bool json) : json_(json), list_(json, {"file", "step", "version", "ms"}) {}
  void Add(const std::string& file, const std::string& what, Json version, Milliseconds time) {
    list_.Add({file, what, std::move(version), Time(json_, time)});
  }

 private:
  bool json_;
  Listing list_;
};

// A line a file.
class Summary {
 public:
  explicit Summary(bool json)
      : json_(json),
        list_(json, {"file", "kind", "from", "to", "outcome", "ms", "backup", "error"}) {}
  void Add(const Result& result) {
    Json backup, error;
    if (!result.backup.empty()) backup = result.backup;
    if (result.failure) error = json_ ? ToJson(*result.failure) : Json(Told(*result.failure));
    list_.Add({result.file, db::NameOf(result.kind), Number(result.from), result.to, result.outcome,
               Time(json_, result.time), backup, error});
  }

 private:
  // The file stands in its own column.
  static std::string Told(Failure failure) {
    failure.file.clear();
    return Sentence(failure);
  }
  bool json_;
  Listing list_;
};

// Times the steps and reports each when it has ended.
class StepReport : public db::LadderObserver {
 public:
  StepReport(std::string file, StepListing* list) : file_(std::move(file)), list_(list) {}

  void StepBegins(const db::LadderStep& step) override {
    running_ = step.name;
    ShowProgress(file_ + ": " + step.name);
    began_ = Clock::now();
  }
  void StepEnds(const db::LadderStep& step) override {
    ShowProgress({});
    if (list_ != nullptr) list_->Add(file_, step.name, step.produces, Clock::now() - began_);
    running_.clear();
  }
  // The step under way, empty between steps.
  const std::string& running() const { return running_; }

 private:
  std::string file_, running_;
  StepListing* list_;
  Clock::time_point began_;
};

// What shows that another program has written to a file.
struct Stamp {
  explicit Stamp(const std::string& file)
      : size(std::filesystem::file_size(Path(file))),
        written(std::filesystem::last_write_time(Path(file))) {}
  bool operator==(const Stamp&) const = default;
  static std::filesystem::path Path(const std::string& file) {
    return {std::u8string(file.begin(), file.end())};
  }
  std::uintmax_t size;
  std::filesystem::file_time_type written;
};

// All of it or, unless partial results are to be kept, nothing.
void RunLadder(Program& program, const UpgradeOptions& options, Result& result,
               StepReport& report) {
  const std::string& file = result.file;
  std::optional<Stamp> before;
  if (options.check || !options.backup.empty()) before.emplace(file);
  if (options.check) {
    if (const auto why = WhyNotSound(program, file, options.password)) {
      throw jet::Error(jet::ErrorCode::kDamaged, *why + "; nothing was done");
    }
  }
  if (!options.backup.empty()) {
    result.backup = BackUp(program.files, file, options.backup, jet::SystemClock()());
  }
  ado::Environment environment(program.files);
  ado::Environment::Action action(environment);
  db::FileSession session(environment, result.kind, file, options.password);
  session.Open();
  WarnOfLockFile(program, file);
  if (before && *before != Stamp(file)) {
    throw std::runtime_error(fmt::format("another program wrote to the file since its {} began",
                                         options.check ? "check" : "backup"));
  }
  session.ReadVersion();
  result.from = session.version;
  if (options.to && *result.from > result.to) {
    throw std::runtime_error(fmt::format("version {} is above {}", *result.from, result.to));
  }
  try {
    upgrade::RunLadder(session, result.to, &report);
  } catch (const ado::Error&) {
    if (options.keep_partial) {
      action.Commit();
      result.outcome = "partly kept";
    }
    throw;
  }
  if (!options.dry_run) action.Commit();
  result.outcome = options.dry_run ? "not kept" : "done";
}

void UpgradeFile(Program& program, const UpgradeOptions& options, Result& result,
                 StepListing* list) {
  const Clock::time_point began = Clock::now();
  StepReport report(result.file, list);
  result.outcome = "failed";
  try {
    RunLadder(program, options, result, report);
  } catch (const std::exception& error) {
    ShowProgress({});
    result.failure = FailureOf(error);
    result.failure->file = result.file;
    result.failure->step = report.running();
    Complain(program, *result.failure);
  }
  result.time = Clock::now() - began;
}

void AddOutcome(const Result& result, StepListing& list) {
  const bool reached = !result.failure && result.from;
  list.Add(result.file, result.outcome, reached ? Json(result.to) : Number(result.from),
           result.time);
}

ExitCode Repair(Program& program, const RepairOptions& options,
                std::function<void()> db::Repairs::*repair) {
  ado::Environment environment(program.files);
  ado::Environment::Action action(environment);
  db::FileSession session(environment, Kind::kData, options.file, options.password);
  session.Open();
  WarnOfLockFile(program, options.file);
  (upgrade::MakeRepairs(session.handle()).*repair)();
  action.Commit();
  if (options.json) PrintObject(true, {{"file", options.file}, {"outcome", "done"}});
  return ExitCode::kDone;
}

}  // namespace

Kind KindOf(const UpgradeOptions& options, const std::string& file) {
  if (const std::optional<Kind> kind = db::KindOfFile(file)) return *kind;
  if (options.kind) return *options.kind;
  throw UsageError(fmt::format("{}: neither {} nor {}; say which with --kind", file,
                               db::FileNameOf(Kind::kData), db::FileNameOf(Kind::kTenkai)));
}

void CheckUsage(const UpgradeOptions& options) {
  for (const std::string& file : options.files) {
    const Kind kind = KindOf(options, file);
    if (options.to && (*options.to < 0 || *options.to > upgrade::LatestVersion(kind))) {
      throw UsageError(
          fmt::format("{}: the latest version is {}", file, upgrade::LatestVersion(kind)));
    }
  }
}

ExitCode Upgrade(Program& program, const UpgradeOptions& options) {
  CheckUsage(options);
  std::optional<StepListing> steps;
  std::optional<Summary> summary;
  if (options.summary) {
    summary.emplace(options.json);
  } else {
    steps.emplace(options.json);
  }
  std::vector<Result> results;
  ExitCodeOfMany codes;
  bool stop = false;
  for (const std::string& file : options.files) {
    Result result(options, file);
    if (!stop) UpgradeFile(program, options, result, steps ? &*steps : nullptr);
    const bool untried = std::exchange(stop, stop || (options.stop_on_error && result.failure));
    if (!untried) codes.Add(result.failure ? result.failure->code : ExitCode::kDone);
    if (steps) AddOutcome(result, *steps);
    if (summary) summary->Add(result);
    results.push_back(std::move(result));
  }
  steps.reset();
  if (!summary && results.size() > 1 && !options.json) {
    Print("\n");
    summary.emplace(options.json);
    for (const Result& result : results) summary->Add(result);
  }
  return codes.code();
}

ExitCode RepairReinforcements(Program& program, const RepairOptions& options) {
  return Repair(program, options, &db::Repairs::reinforcements);
}
ExitCode RepairFlex(Program& program, const RepairOptions& options) {
  return Repair(program, options, &db::Repairs::flex_names);
}
ExitCode English(Program& program, const RepairOptions& options) {
  return Repair(program, options, &db::Repairs::english_names);
}

}  // namespace mdbadm
