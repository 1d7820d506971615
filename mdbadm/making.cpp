// Verbs that make databases or change them as a whole: sample, new, password,
// set-version.
#include <filesystem>

#include "db/version_record.h"
#include "mdbadm/output.h"
#include "mdbadm/verbs.h"
#include "samples/sample.h"
#include "upgrade/ladders.h"

namespace mdbadm {
namespace {

samples::SampleOptions ToSampleOptions(const SampleVerbOptions& options) {
  samples::SampleOptions sample;
  sample.jobs = options.jobs;
  sample.password = options.password;
  if (options.now) sample.now = jet::SystemClock()();
  return sample;
}

ExitCode SampleInto(Program& program, const SampleVerbOptions& options) {
  if (!options.kind) throw UsageError("--into needs --kind");
  const auto database = OpenToChange(program, options.into, options.password);
  samples::AddSample(*database, *options.kind, ToSampleOptions(options));
  database->Commit();
  if (options.json) {
    PrintObject(true, {{"file", options.into}, {"version", samples::kBaseVersion}});
  }
  return ExitCode::kDone;
}

ExitCode SamplePair(Program& program, const SampleVerbOptions& options) {
  // Neither version named: both files.
  const bool both = !options.data && !options.tenkai;
  std::vector<std::pair<Kind, std::int16_t>> wanted;
  if (both || options.data) {
    wanted.emplace_back(Kind::kData, options.data.value_or(samples::kBaseVersion));
  }
  if (both || options.tenkai) {
    wanted.emplace_back(Kind::kTenkai, options.tenkai.value_or(samples::kBaseVersion));
  }
  const auto path_of = [&](Kind kind) {
    return options.folder + "/" + std::string(db::FileNameOf(kind));
  };
  for (const auto& [kind, version] : wanted) {
    if (version < samples::kBaseVersion || version > upgrade::LatestVersion(kind)) {
      throw UsageError(fmt::format("no sample of version {}", version));
    }
    RefuseExisting(program, path_of(kind));
  }
  std::filesystem::create_directories(std::filesystem::u8path(options.folder));
  Json made = Json::array();
  for (const auto& [kind, version] : wanted) {
    samples::SampleOptions sample = ToSampleOptions(options);
    sample.version = version;
    samples::MakeSample(program.files, path_of(kind), kind, sample);
    made.push_back({{"file", path_of(kind)}, {"version", version}});
    if (!options.json) Print(fmt::format("{}\t{}\n", path_of(kind), version));
  }
  if (options.json) Print(Dump(made) + "\n");
  return ExitCode::kDone;
}

}  // namespace

ExitCode Sample(Program& program, const SampleVerbOptions& options) {
  if (options.folder.empty() == options.into.empty()) {
    throw UsageError("give either a folder or --into a database");
  }
  return options.into.empty() ? SamplePair(program, options) : SampleInto(program, options);
}

ExitCode New(Program& program, const MakeOptions& options) {
  RefuseExisting(program, options.file);
  const std::string unfinished = options.file + ".new";
  jet::CreateOptions create;
  create.password = options.password;
  if (options.general) {
    create.order = jet::kGeneral;
    create.code_page = 1252;
  }
  jet::Database::Create(program.files, unfinished, create)->Commit();
  program.files.Rename(unfinished, options.file);
  if (options.json) {
    PrintObject(true, {{"file", options.file}, {"password", !options.password.empty()}});
  }
  return ExitCode::kDone;
}

ExitCode Password(Program& program, const MakeOptions& options) {
  const auto database = OpenToChange(program, options.file, options.password);
  database->SetPassword(options.new_password);
  database->Commit();
  if (options.json) {
    PrintObject(true, {{"file", options.file}, {"password", !options.new_password.empty()}});
  }
  return ExitCode::kDone;
}

ExitCode SetVersion(Program& program, const MakeOptions& options) {
  const auto database = OpenToChange(program, options.file, options.password);
  db::StoreVersion(*database, options.version);
  database->Commit();
  if (options.json) {
    PrintObject(true, {{"file", options.file}, {"version", VersionNumber(options.version)}});
  }
  return ExitCode::kDone;
}

}  // namespace mdbadm
