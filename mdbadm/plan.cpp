// What an upgrade would do, and what stands in its way: the ladder runs for
// real, on a copy in memory.
#include <utility>

#include "ado/value.h"
#include "jet/base/number.h"
#include "mdbadm/failure.h"
#include "mdbadm/output.h"
#include "mdbadm/overlay_files.h"
#include "mdbadm/verbs.h"
#include "upgrade/data/transfer_queries.h"
#include "upgrade/data/transfer_tables.h"
#include "upgrade/ladders.h"

namespace mdbadm {
namespace {

constexpr std::string_view kShapes = "Spec_形状名（角）";
constexpr std::string_view kEnglishName = "形状名_英語";
constexpr std::string_view kReinforcements = "Spec_補強名称";
constexpr std::string_view kReinforcementId = "補強ID";
constexpr std::string_view kTransferName = "転送名称";
constexpr std::string_view kShapeConversion = "拾い転送_形状名称変換";

// The versions after which a file must, or must not yet, hold something.
constexpr double kPickupTransfer = 14, kEnglishFill = 19, kLastTransferName = 23;
// The reinforcement whose transfer name steps rename, and what it ends as.
constexpr std::int32_t kRenamedReinforcement = 4;
constexpr std::string_view kRenamedTo = "相ＦＧ";

using Warnings = std::vector<std::string>;

std::shared_ptr<jet::Table> TableIfAny(jet::Database& database, std::string_view name) {
  const std::optional<jet::ObjectInfo> found = database.Find(name);
  if (!found || found->kind != jet::ObjectKind::kTable) return nullptr;
  return database.OpenTable(*found);
}

bool HasColumn(jet::Database& database, std::string_view table, std::string_view column) {
  const std::shared_ptr<jet::Table> stored = TableIfAny(database, table);
  return stored != nullptr && stored->FindColumn(column).has_value();
}

void WarnOfVersion(double version, Kind kind, Warnings& warnings) {
  const double rounded = jet::RoundToEven(version);
  if (rounded != version) warnings.push_back(fmt::format("{} counts as {}", version, rounded));
  if (version > upgrade::LatestVersion(kind)) {
    warnings.push_back(fmt::format("{} is above the latest version; an upgrade stores {}", version,
                                   upgrade::LatestVersion(kind)));
  }
}

// Step 14 ends at the first of its tables that is there, whatever is missing.
void WarnOfHalfTransfer(jet::Database& database, double version, Warnings& warnings) {
  std::vector<std::string> tables{upgrade::kTransferBase};
  for (const upgrade::NewTable& table : upgrade::kTransferTables) tables.emplace_back(table.name);
  if (version < kPickupTransfer) {
    for (const std::string& table : tables) {
      if (!database.Find(table)) continue;
      warnings.push_back(table +
                         " is there already: step 14 leaves without its seed rows and queries");
      return;
    }
    return;
  }
  for (const char* query : {upgrade::kDuctQuery, upgrade::kAccessoryQuery, upgrade::kTransferQuery,
                            upgrade::kSumQuery}) {
    if (!database.Find(query)) {
      warnings.push_back(fmt::format("query {} is missing: step 14 was left half done", query));
    }
  }
  const std::shared_ptr<jet::Table> seeds = TableIfAny(database, kShapeConversion);
  if (seeds == nullptr || seeds->row_count() == 0) {
    warnings.push_back(fmt::format("{} has no rows: step 14 was left half done", kShapeConversion));
  }
}

// The repair of reinforcements sets the names of version 15, also later.
void WarnOfResetNames(jet::Database& database, double version, Warnings& warnings) {
  if (version < kLastTransferName || !HasColumn(database, kReinforcements, kTransferName)) return;
  const std::shared_ptr<jet::Table> table = TableIfAny(database, kReinforcements);
  const auto id = table->FindColumn(kReinforcementId);
  if (!id) return;
  const std::size_t name = table->OrdinalOf(kTransferName);
  for (jet::TableScan scan(*table); scan.Next();) {
    if (scan.row().Get(*id) != jet::Value(kRenamedReinforcement)) continue;
    std::string text;
    if (scan.row().GetText(name, text) && text != kRenamedTo) {
      warnings.push_back(
          fmt::format("reinforcement {} transfers as {}, not {}: the repair of reinforcements ran "
                      "after step 23",
                      kRenamedReinforcement, text, kRenamedTo));
    }
  }
}

Warnings WarningsFor(jet::Database& database, Kind kind, double version) {
  Warnings warnings;
  WarnOfVersion(version, kind, warnings);
  if (kind != Kind::kData) return warnings;
  WarnOfHalfTransfer(database, version, warnings);
  if (version < kEnglishFill && HasColumn(database, kShapes, kEnglishName)) {
    warnings.push_back(fmt::format(
        "{} is there already: it stays as it is, and steps that add shapes cannot fill it",
        kEnglishName));
  }
  WarnOfResetNames(database, version, warnings);
  return warnings;
}

class StepList : public db::LadderObserver {
 public:
  StepList(const std::string& file, Listing& list) : file_(file), list_(list) {}
  void StepBegins(const db::LadderStep&) override {}
  void StepEnds(const db::LadderStep& step) override {
    Add(step, "ok");
    ++ended_;
  }
  void Add(const db::LadderStep& step, const std::string& outcome) {
    list_.Add({file_, step.name, step.produces, outcome});
  }
  std::size_t ended() const { return ended_; }

 private:
  const std::string& file_;
  Listing& list_;
  std::size_t ended_ = 0;
};

ExitCode PlanFile(Program& program, const UpgradeOptions& options, const std::string& file,
                  Listing& list) {
  const Kind kind = KindOf(options, file);
  const std::int16_t to = options.to.value_or(upgrade::LatestVersion(kind));
  ExitCode code = ExitCode::kDone;
  if (!options.no_check) {
    const auto why = WhyNotSound(program, file, options.password);
    list.Add({file, "check", nullptr, why.value_or("sound")});
    if (why) code = ExitCode::kFailed;
  }
  OverlayFiles files(program.files);
  ado::Environment environment(files);
  ado::Environment::Action action(environment);
  db::FileSession session(environment, kind, file, options.password);
  session.Open();
  session.ReadVersion();
  const double version = session.version;
  for (const std::string& warning : WarningsFor(*session.connection().database(), kind, version)) {
    list.Add({file, "warning", nullptr, warning});
  }
  StepList done(file, list);
  try {
    upgrade::RunLadder(session, to, &done);
  } catch (const ado::Error& error) {
    std::string outcome = Describe(error);
    const db::Ladder ladder = upgrade::MakeLadder(kind, session.handle());
    const auto steps = ladder.Plan(ado::ToInt16(version), to);
    for (std::size_t i = done.ended(); i < steps.size(); ++i) {
      done.Add(*steps[i], std::exchange(outcome, "not reached"));
    }
    return ExitCode::kFailed;
  }
  return code;
}

}  // namespace

ExitCode Plan(Program& program, const UpgradeOptions& options) {
  CheckUsage(options);
  Listing list(options.json, {"file", "step", "version", "outcome"});
  ExitCodeOfMany codes;
  for (const std::string& file : options.files) {
    try {
      codes.Add(PlanFile(program, options, file, list));
    } catch (const std::exception& error) {
      Failure failure = FailureOf(error);
      failure.file = file;
      Complain(program, failure);
      codes.Add(failure.code);
    }
  }
  return codes.code();
}

}  // namespace mdbadm
