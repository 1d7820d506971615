// The integrity checker: every page has one owner, every count is true, every
// index agrees with its table key by key. Reads only.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "jet/database.h"

namespace jet {

struct Finding {
  enum class Severity { kWarning, kProblem };  // a warning: untidy but harmless
  Severity severity = Severity::kProblem;
  std::string table;  // empty: the file as a whole
  std::optional<PageNumber> page;
  std::optional<std::uint8_t> row;
  std::string text;
};
// "page 12 row 3, table 設定: ..."
std::string FormatFinding(const Finding& finding);

struct CheckResult {
  std::vector<Finding> findings;  // in the order of the walk; the first 10,000 of each severity
  std::uint64_t problems = 0, warnings = 0;  // all of them
  std::uint64_t pages = 0, tables = 0, rows = 0, index_entries = 0;
  std::uint64_t unverified_keys = 0;  // texts without a proven sort key
  bool sound() const { return problems == 0; }
};

// Damage becomes findings; only what the system refuses (kIo) is thrown.
CheckResult Check(Database& database);
// The same for a file whose damage keeps it from being opened as a database:
// needs no more than a header that could be parsed.
CheckResult Check(Pager& pager, const Header& header);
// Opens a file to read and checks it, as a database if that succeeds, else page
// by page. Throws what Database::Open throws except kDamaged and kNeedsRepair.
CheckResult CheckFile(FileSystem& files, const std::string& path, const OpenOptions& options);

}  // namespace jet
