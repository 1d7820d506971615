// Whole ladders and repairs under every fault.
#include <gmock/gmock.h>

#include "ado/environment.h"
#include "samples/sample.h"
#include "tests/support/fault_rounds.h"
#include "upgrade/ladders.h"

namespace {

using db::Kind;
using test_support::FaultFiles;
using test_support::FaultRounds;
using test_support::FaultStride;

jet::Clock FixedClock() {
  return [] { return jet::ToDateTime({2012, 2, 3, 4, 5, 6}); };
}

std::string Sample(Kind kind, std::int16_t version) {
  FaultFiles files;
  samples::SampleOptions options;
  options.version = version;
  options.jobs = 2;
  samples::MakeSample(files, FaultRounds::kPath, kind, options);
  return files.bytes(FaultRounds::kPath);
}

// All of the ladder or nothing.
void RunLadder(jet::FileSystem& files, Kind kind) {
  ado::Environment environment(files, FixedClock());
  ado::Environment::Action action(environment);
  db::FileSession session(environment, kind, FaultRounds::kPath, db::kDatabasePassword);
  session.Open();
  upgrade::RunLadder(session, upgrade::LatestVersion(kind));
  action.Commit();
}

// What a button of the window does.
using Procedure = std::function<void(db::DbHandle&)>;
void RunProcedure(jet::FileSystem& files, const Procedure& procedure) {
  ado::Environment environment(files, FixedClock());
  ado::Environment::Action action(environment);
  db::FileSession session(environment, Kind::kData, FaultRounds::kPath, db::kDatabasePassword);
  session.Open();
  procedure(session.handle());
  action.Commit();
}

void RunAll(const char* name, const std::string& before, std::uint64_t stride,
            const std::function<void(jet::FileSystem&)>& action) {
  FaultRounds::Plan plan;
  plan.name = name;
  plan.before = before;
  plan.password = db::kDatabasePassword;
  plan.action = action;
  plan.stride = FaultStride(stride);
  FaultRounds(plan).RunAll();
}

TEST(FaultTest, ADataLadderIsWholeOrNotThere) {
  RunAll("Data ladder", Sample(Kind::kData, 2), 7,
         [](jet::FileSystem& files) { RunLadder(files, Kind::kData); });
}

TEST(FaultTest, ATenkaiLadderIsWholeOrNotThere) {
  RunAll("Tenkai ladder", Sample(Kind::kTenkai, 2), 7,
         [](jet::FileSystem& files) { RunLadder(files, Kind::kTenkai); });
}

TEST(FaultTest, RepairsAreWholeOrNotThere) {
  struct Case {
    const char* name;
    std::int16_t version;
    Procedure spoil, repair;
  };
  const Procedure forget_transfer_names = [](db::DbHandle& db) {
    for (db.OpenTable("Spec_補強名称"); !db.AtEnd(); db.NextRow()) {
      db.SetField("転送名称", "?");
      db.SaveRow();
    }
    db.CloseTable();
  };
  const Case cases[] = {
      {"reinforcements", upgrade::kDataLatest, forget_transfer_names,
       [](db::DbHandle& db) { upgrade::MakeRepairs(db).reinforcements(); }},
      {"flex names", 15, {}, [](db::DbHandle& db) { upgrade::MakeRepairs(db).flex_names(); }},
      {"English names", 18, {}, [](db::DbHandle& db) { upgrade::MakeRepairs(db).english_names(); }},
  };
  for (const Case& c : cases) {
    FaultFiles files;
    files.bytes(FaultRounds::kPath) = Sample(Kind::kData, c.version);
    if (c.spoil) RunProcedure(files, c.spoil);
    RunAll(c.name, files.bytes(FaultRounds::kPath), 3,
           [&](jet::FileSystem& target) { RunProcedure(target, c.repair); });
  }
}

}  // namespace
