// The verb that writes a sound database anew, without holes.
#include "jet/compact/compact.h"
#include "mdbadm/backup.h"
#include "mdbadm/failure.h"
#include "mdbadm/output.h"
#include "mdbadm/verbs.h"

namespace mdbadm {
namespace {

// The same error, with what helps.
jet::Error WithAdvice(const jet::Error& error) {
  const std::string text =
      error.detail() + "; nothing was done, `mdbadm recover` saves what is whole";
  jet::Error advised = error.page() ? jet::Error::Damaged(*error.page(), text)
                                    : jet::Error(jet::ErrorCode::kDamaged, text);
  return advised.In(error.file()).OfTable(error.table());
}

jet::CompactResult Run(Program& program, const CompactVerbOptions& options,
                       const jet::CompactOptions& compact) {
  try {
    if (options.in_place) return jet::CompactInPlace(program.files, options.file, compact);
    return jet::CompactFile(program.files, options.file, options.new_file, compact);
  } catch (const jet::Error& error) {
    ShowProgress({});
    if (error.code() != jet::ErrorCode::kDamaged) throw;
    throw WithAdvice(error);
  }
}

}  // namespace

ExitCode Compact(Program& program, const CompactVerbOptions& options) {
  if (options.in_place == !options.new_file.empty()) {
    throw UsageError("compact: give either a new file or --in-place; see `mdbadm compact --help`");
  }
  if (!options.in_place) RefuseExisting(program, options.new_file);
  Json backup;
  jet::CompactOptions compact;
  compact.password = options.password;
  compact.jobs = options.jobs;
  compact.progress = [&](const std::string& what) { ShowProgress(options.file + ": " + what); };
  if (!options.backup.empty()) {
    compact.before_replacing = [&](jet::File& old) {
      backup = BackUp(program.files, old, options.backup, jet::SystemClock()());
    };
  }
  const jet::CompactResult result = Run(program, options, compact);
  ShowProgress({});
  WarnOfLockFile(program, options.file);
  Json object;
  object["file"] = options.file;
  object["new"] = options.in_place ? options.file : options.new_file;
  object["backup"] = backup;
  object["bytes_before"] = result.bytes_before;
  object["bytes_after"] = result.bytes_after;
  object["tables"] = result.tables;
  object["rows"] = result.rows;
  PrintObject(options.json, object);
  return ExitCode::kDone;
}

}  // namespace mdbadm
