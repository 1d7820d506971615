// Verbs that run ladders and repairs.
#include <chrono>
#include <filesystem>

#include "ado/environment.h"
#include "ado/error.h"
#include "tools/mdbadm/backup.h"
#include "tools/mdbadm/output.h"
#include "tools/mdbadm/verbs.h"
#include "tools/session/file_upgrade.h"

namespace mdbadm {
namespace {

using Milliseconds = std::chrono::duration<double, std::milli>;

// Times the steps and reports each when it has ended.
class StepReport : public db::LadderObserver {
 public:
  StepReport(std::string file, Listing& list) : file_(std::move(file)), list_(list) {}

  void StepBegins(const db::LadderStep& step) override {
    running_ = step.name;
    ShowProgress(file_ + ": " + step.name);
    began_ = Clock::now();
  }
  void StepEnds(const db::LadderStep& step) override {
    ShowProgress({});
    Line(step.name, step.produces, Clock::now() - began_);
    running_.clear();
  }
  void Line(const std::string& what, Json version, Milliseconds time) {
    list_.Add({file_, what, std::move(version), fmt::format("{:.1f}", time.count())});
  }
  // The step under way, empty between steps.
  const std::string& running() const { return running_; }

 private:
  using Clock = std::chrono::steady_clock;
  std::string file_, running_;
  Listing& list_;
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
void UpgradeFile(Program& program, const UpgradeOptions& options, const std::string& file,
                 StepReport& report) {
  const Kind kind = KindOf(options, file);
  const std::int16_t to = options.to.value_or(tools::LatestVersion(kind));
  std::optional<Stamp> backed_up;
  if (!options.backup.empty()) {
    BackUp(program.files, file, options.backup, jet::SystemClock()());
    backed_up.emplace(file);
  }
  const auto began = std::chrono::steady_clock::now();
  ado::Environment environment(program.files);
  ado::Environment::Action action(environment);
  tools::FileUpgrade upgrade(environment, file, options.password, kind);
  if (backed_up && *backed_up != Stamp(file)) {
    throw std::runtime_error("another program wrote to the file after it was backed up");
  }
  if (const double stored = upgrade.StoredVersion(); options.to && stored > to) {
    throw std::runtime_error(fmt::format("version {} is above {}", stored, to));
  }
  try {
    upgrade.Run(to, &report);
  } catch (const ado::Error&) {
    if (options.keep_partial) action.Commit();
    throw;
  }
  if (!options.dry_run) action.Commit();
  report.Line(options.dry_run ? "not kept" : "done", to, std::chrono::steady_clock::now() - began);
}

void CheckUsage(const UpgradeOptions& options) {
  for (const std::string& file : options.files) {
    const Kind kind = KindOf(options, file);
    if (options.to && (*options.to < 0 || *options.to > tools::LatestVersion(kind))) {
      throw UsageError(
          fmt::format("{}: the latest version is {}", file, tools::LatestVersion(kind)));
    }
  }
}

int Repair(Program& program, const RepairOptions& options, void (tools::FileUpgrade::*repair)()) {
  ado::Environment environment(program.files);
  ado::Environment::Action action(environment);
  tools::FileUpgrade upgrade(environment, options.file, options.password, Kind::kData);
  (upgrade.*repair)();
  action.Commit();
  return kDone;
}

}  // namespace

Kind KindOf(const UpgradeOptions& options, const std::string& file) {
  if (const std::optional<Kind> kind = tools::KindOfFile(file)) return *kind;
  if (options.kind) return *options.kind;
  throw UsageError(fmt::format("{}: neither {} nor {}; say which with --kind", file,
                               tools::FileNameOf(Kind::kData), tools::FileNameOf(Kind::kTenkai)));
}

int Upgrade(Program& program, const UpgradeOptions& options) {
  CheckUsage(options);
  Listing list(options.json, {"file", "step", "version", "ms"});
  int status = kDone;
  for (const std::string& file : options.files) {
    StepReport report(file, list);
    try {
      UpgradeFile(program, options, file, report);
    } catch (const std::exception& error) {
      ShowProgress({});
      const std::string step = report.running().empty() ? "" : report.running() + ": ";
      Complain(fmt::format("{}: {}{}", file, step, Describe(error)));
      status = kFailed;
    }
  }
  list.Finish();
  return status;
}

int RepairReinforcements(Program& program, const RepairOptions& options) {
  return Repair(program, options, &tools::FileUpgrade::RepairReinforcements);
}
int RepairFlex(Program& program, const RepairOptions& options) {
  return Repair(program, options, &tools::FileUpgrade::RepairFlexibleDucts);
}
int English(Program& program, const RepairOptions& options) {
  return Repair(program, options, &tools::FileUpgrade::FillEnglishNames);
}

}  // namespace mdbadm
