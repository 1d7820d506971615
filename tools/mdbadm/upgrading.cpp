// Verbs that run ladders.
#include <chrono>

#include "ado/environment.h"
#include "ado/error.h"
#include "tools/mdbadm/output.h"
#include "tools/mdbadm/verbs.h"
#include "tools/session/file_upgrade.h"

namespace mdbadm {
namespace {

using Milliseconds = std::chrono::duration<double, std::milli>;

Kind KindOf(const UpgradeOptions& options, const std::string& file) {
  if (const std::optional<Kind> kind = tools::KindOfFile(file)) return *kind;
  if (options.kind) return *options.kind;
  throw UsageError(file + ": neither " + std::string(tools::FileNameOf(Kind::kData)) + " nor " +
                   std::string(tools::FileNameOf(Kind::kTenkai)) + "; say which with --kind");
}

// Times the steps and reports each when it has ended.
class StepReport : public db::LadderObserver {
 public:
  StepReport(std::string file, Listing& list) : file_(std::move(file)), list_(list) {}

  void StepBegins(const db::LadderStep& step) override {
    running_ = step.name;
    began_ = Clock::now();
  }
  void StepEnds(const db::LadderStep& step) override {
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

// All of it or, unless partial results are to be kept, nothing.
void UpgradeFile(Program& program, const UpgradeOptions& options, const std::string& file,
                 StepReport& report) {
  const Kind kind = KindOf(options, file);
  const std::int16_t to = options.to.value_or(tools::LatestVersion(kind));
  const auto began = std::chrono::steady_clock::now();
  ado::Environment environment(program.files);
  ado::Environment::Action action(environment);
  tools::FileUpgrade upgrade(environment, file, options.password, kind);
  try {
    upgrade.Run(to, &report);
  } catch (const ado::Error&) {
    if (options.keep_partial) action.Commit();
    throw;
  }
  action.Commit();
  report.Line("done", to, std::chrono::steady_clock::now() - began);
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

}  // namespace

int Upgrade(Program& program, const UpgradeOptions& options) {
  CheckUsage(options);
  Listing list(options.json, {"file", "step", "version", "ms"});
  int status = kDone;
  for (const std::string& file : options.files) {
    StepReport report(file, list);
    try {
      UpgradeFile(program, options, file, report);
    } catch (const ado::Error& error) {
      const std::string step = report.running().empty() ? "" : report.running() + ": ";
      Complain(file + ": " + step + Describe(error));
      status = kFailed;
    }
  }
  list.Finish();
  return status;
}

}  // namespace mdbadm
