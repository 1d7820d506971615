// The integrity checker: every page has one owner, every count is true, every
// index agrees with its table key by key. Reads only.
#pragma once

#include <optional>
#include <string>

#include "jet/check/finding.h"
#include "jet/storage/file.h"
#include "jet/storage/pager_limits.h"

namespace jet {

struct CheckOptions {
  std::optional<std::string> password{};  // nothing: none is asked for
  PagerLimits limits{};
  // Threads at most; 0: as many as there are cores. The findings are the same.
  unsigned jobs = 0;
};

// Looks at a file page by page, whether or not it can be opened as a database:
// needs no more than a first page that says Jet 4.0. Damage becomes findings.
// Throws kFileNotFound, kNoPermission, kInUse, kNotJet4, kWrongPassword, kIo.
CheckResult CheckFile(FileSystem& files, const std::string& path, const CheckOptions& options);

}  // namespace jet
