#include "mdbadm/failure.h"

#include <algorithm>
#include <cstdio>
#include <new>

#include "ado/error.h"
#include "mdbadm/verbs.h"

namespace mdbadm {
namespace {

using jet::ErrorCode;

struct EngineReason {
  ErrorCode code;
  Reason reason;
};

// Causes of the engine that a script may want to distinguish.
constexpr EngineReason kEngineReasons[] = {
    {ErrorCode::kFileNotFound, {"file_not_found", "there is no such file"}},
    {ErrorCode::kNoPermission, {"no_permission", "the file must not be read or written"}},
    {ErrorCode::kInUse, {"in_use", "another program holds the file, or the .ldb beside it"}},
    {ErrorCode::kNotJet4, {"not_jet4", "another format, or no database at all"}},
    {ErrorCode::kWrongPassword, {"wrong_password", "the database has another password"}},
    {ErrorCode::kNeedsRepair, {"needs_repair", "another program was interrupted while it wrote"}},
    {ErrorCode::kIo, {"io", "the system refused to read or write"}},
    {ErrorCode::kUnfinished, {"unfinished", "saving was interrupted; opening finishes it"}},
    {ErrorCode::kUncertain, {"uncertain", "saving failed; whether it holds shows at opening"}},
    {ErrorCode::kDiskFull, {"disk_full", "no room; the file is as it was"}},
    {ErrorCode::kFileTooLarge, {"too_large", "over 2 GB, or over 1 GB of changes at once"}},
    {ErrorCode::kDamaged, {"damaged", "the file contradicts itself; see check"}},
    {ErrorCode::kTableMissing, {"table_missing", "no table or query of that name"}},
    {ErrorCode::kNameTaken, {"name_taken", "a table or query of that name is there"}},
    {ErrorCode::kColumnExists, {"column_exists", "a column of that name is there"}},
    {ErrorCode::kDuplicateKey, {"duplicate_key", "a key would stand twice"}},
};

constexpr Reason kSql = {"sql", "a query that cannot be understood or run"};
constexpr Reason kWrongUsage = {"usage", "the arguments make no sense"};
constexpr Reason kNoMemory = {"no_memory", "memory ran out; nothing was kept"};
constexpr Reason kOther = {"failed", "anything else; the text says what"};

const char* WordOf(ErrorCode code) {
  const auto* row = std::ranges::find(kEngineReasons, code, &EngineReason::code);
  return row != std::end(kEngineReasons) ? row->reason.word : kOther.word;
}

const char* WordOf(const std::exception& error) {
  if (const auto* engine = dynamic_cast<const jet::Error*>(&error)) return WordOf(engine->code());
  if (dynamic_cast<const sql::Error*>(&error) != nullptr) return kSql.word;
  if (dynamic_cast<const UsageError*>(&error) != nullptr) return kWrongUsage.word;
  if (dynamic_cast<const std::bad_alloc*>(&error) != nullptr) return kNoMemory.word;
  if (const auto* provider = dynamic_cast<const ado::Error*>(&error)) {
    if (provider->cause()) return WordOf(*provider->cause());
    if (provider->number() == ado::kErrSql) return kSql.word;
  }
  return kOther.word;
}

}  // namespace

std::vector<Reason> Reasons() {
  std::vector<Reason> all;
  for (const EngineReason& row : kEngineReasons) all.push_back(row.reason);
  all.insert(all.end(), {kSql, kWrongUsage, kNoMemory, kOther});
  return all;
}

std::string Describe(const std::exception& error) {
  if (dynamic_cast<const std::bad_alloc*>(&error) != nullptr) return "not enough memory";
  const auto* numbered = dynamic_cast<const ado::Error*>(&error);
  if (numbered == nullptr) return error.what();
  const std::int32_t number = numbered->number();
  if (number >= 0) return fmt::format("{} {}", number, numbered->what());
  return fmt::format("{} ({:08X}) {}", number, static_cast<std::uint32_t>(number),
                     numbered->what());
}

Failure FailureOf(const std::exception& error) {
  Failure failure;
  failure.reason = WordOf(error);
  failure.text = Describe(error);
  if (failure.reason == WordOf(ErrorCode::kInUse)) failure.code = ExitCode::kInUse;
  if (failure.reason == kWrongUsage.word) failure.code = ExitCode::kUsage;
  return failure;
}

std::string Sentence(const Failure& failure) {
  std::string sentence;
  for (const std::string& place : {failure.file, failure.step}) {
    if (!place.empty()) sentence += place + ": ";
  }
  return sentence + failure.text;
}

Json ToJson(const Failure& failure) {
  Json object;
  object["error"] = failure.reason;
  if (!failure.file.empty()) object["file"] = failure.file;
  if (!failure.step.empty()) object["step"] = failure.step;
  object["text"] = failure.text;
  return object;
}

void Complain(const Program& program, const Failure& failure) {
  Flush();
  const std::string line = program.json ? Dump(ToJson(failure)) : "mdbadm: " + Sentence(failure);
  std::fprintf(stderr, "%s\n", line.c_str());
}

void WarnOfLockFile(const Program& program, const std::string& path) {
  const auto lock_file = program.files.IdleLockFile(path);
  if (!lock_file) return;
  const std::string text =
      "a lock file that no program is seen to hold; delete it if no program, on no machine, has "
      "the database open";
  Flush();
  const std::string line =
      program.json ? Dump({{"warning", "lock_file"}, {"file", *lock_file}, {"text", text}})
                   : fmt::format("mdbadm: warning: {}: {}", *lock_file, text);
  std::fprintf(stderr, "%s\n", line.c_str());
}

}  // namespace mdbadm
