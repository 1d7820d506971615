// The integrity checker: every page has one owner, every count is true, every
// index agrees with its table key by key. Reads only.
#pragma once

#include <string>
#include <vector>

#include "jet/database.h"

namespace jet {

struct Finding {
  enum class Severity { kWarning, kProblem };  // a warning: untidy but harmless
  Severity severity = Severity::kProblem;
  std::string table;                // empty: the file as a whole
  std::optional<PageNumber> page;
  std::optional<std::uint8_t> row;
  std::string text;
};
// "page 12 row 3, table 設定: ..."
std::string FormatFinding(const Finding& finding);

struct CheckResult {
  std::vector<Finding> findings;
  std::uint64_t pages = 0, tables = 0, rows = 0, index_entries = 0;
  std::uint64_t unverified_keys = 0;  // texts without a proven sort key
  bool sound() const;                 // no problem among the findings
};

CheckResult Check(Database& database);

}  // namespace jet
