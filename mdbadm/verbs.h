// What each verb of the program takes and does. How a command line becomes one
// of these calls stands in arguments.cpp.
#pragma once

#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "db/kind.h"
#include "jet/database/database.h"
#include "mdbadm/exit_code.h"

namespace mdbadm {

using db::Kind;

// What was asked for makes no sense; ends with ExitCode::kUsage.
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// One run of the program. Verbs print their result, throw for what went wrong,
// and return the exit code.
struct Program {
  jet::FileSystem& files;
  bool json = false;  // what CommonOptions say, for reports of failures
};

struct CommonOptions {
  std::string password{db::kDatabasePassword};
  bool json = false;
};

// Making databases, and changing them as a whole.
struct SampleVerbOptions : CommonOptions {
  std::string folder, into;
  std::optional<Kind> kind;
  std::optional<std::int16_t> data, tenkai;
  int jobs = 50;
  bool now = false;
};
ExitCode Sample(Program& program, const SampleVerbOptions& options);

struct MakeOptions : CommonOptions {
  std::string file;
  std::string new_password;
  double version = 0;
  bool general = false;
};
ExitCode New(Program& program, const MakeOptions& options);
ExitCode Password(Program& program, const MakeOptions& options);
ExitCode SetVersion(Program& program, const MakeOptions& options);

// Looking at a database.
struct ReadOptions : CommonOptions {
  std::string file;
  std::string object;  // empty: all
  bool system = false;
  unsigned jobs = 0;  // threads at most; 0: as many as there are cores
};
ExitCode Info(Program& program, const ReadOptions& options);
ExitCode Tables(Program& program, const ReadOptions& options);
ExitCode Columns(Program& program, const ReadOptions& options);
ExitCode Indexes(Program& program, const ReadOptions& options);
ExitCode Props(Program& program, const ReadOptions& options);
ExitCode Queries(Program& program, const ReadOptions& options);
ExitCode Check(Program& program, const ReadOptions& options);

struct RowOptions : CommonOptions {
  std::string file;
  std::string source;  // a table; for sql a saved query or a text
  std::uint64_t limit = std::numeric_limits<std::uint64_t>::max();
  bool csv = false;
  bool bom = false;              // before the CSV, as spreadsheets ask for it
  std::vector<std::string> set;  // of sql: NAME=VALUE each
};
ExitCode Rows(Program& program, const RowOptions& options);
ExitCode Sql(Program& program, const RowOptions& options);

struct DumpOptions : CommonOptions {
  std::string file;
  std::vector<std::string> tables;  // empty: all
};
// The database as statements for sqlite3.
ExitCode Dump(Program& program, const DumpOptions& options);

// Running ladders.
struct UpgradeOptions : CommonOptions {
  std::vector<std::string> files;
  std::optional<std::int16_t> to;
  std::optional<Kind> kind;
  bool dry_run = false;
  bool keep_partial = false;
  std::string backup;     // a folder; empty: none
  bool check = false;     // whether the file is sound, before its first step
  bool no_check = false;  // plan does otherwise
  bool summary = false;
  bool stop_on_error = false;
};
ExitCode Upgrade(Program& program, const UpgradeOptions& options);
ExitCode Plan(Program& program, const UpgradeOptions& options);
// The three repairs of the window; the version stays.
struct RepairOptions : CommonOptions {
  std::string file;
};
ExitCode RepairReinforcements(Program& program, const RepairOptions& options);
ExitCode RepairFlex(Program& program, const RepairOptions& options);
ExitCode English(Program& program, const RepairOptions& options);
// By the exact file name, else as the options say; UsageError where neither does.
Kind KindOf(const UpgradeOptions& options, const std::string& file);
// Of every file, before the first is touched.
void CheckUsage(const UpgradeOptions& options);

struct DiffOptions : CommonOptions {
  std::string a, b;
  std::uint64_t rows = 10;  // rows of a table that are shown in full
};
// ExitCode::kFailed if they differ.
ExitCode Diff(Program& program, const DiffOptions& options);

// Why a file is not sound: how many problems there are, and the first. Nothing of a
// sound one.
std::optional<std::string> WhyNotSound(Program& program, const std::string& path,
                                       const std::string& password);

struct RecoverVerbOptions : CommonOptions {
  std::string file, new_file;
  std::optional<Kind> kind;
  bool dry_run = false;
  std::string report;  // a file; empty: none
  unsigned jobs = 0;   // as above
};
// ExitCode::kSavedWithLosses if something is missing or doubtful.
ExitCode Recover(Program& program, const RecoverVerbOptions& options);

struct CompactVerbOptions : CommonOptions {
  std::string file;
  std::string new_file;  // empty: in place
  bool in_place = false;
  std::string backup;  // a folder; empty: none
  unsigned jobs = 0;   // as above
};
ExitCode Compact(Program& program, const CompactVerbOptions& options);

// For a file that is to be made.
void RefuseExisting(Program& program, const std::string& path);
// Opens to read: with other readers, without writing anything.
std::unique_ptr<jet::Database> OpenToRead(Program& program, const std::string& path,
                                          const std::string& password);
// Opens alone, to change.
std::unique_ptr<jet::Database> OpenToChange(Program& program, const std::string& path,
                                            const std::string& password);

}  // namespace mdbadm
