// Saves what a damaged file still holds into a new one.
#pragma once

#include <string>

#include "jet/recover/recover_options.h"
#include "jet/recover/recover_report.h"
#include "jet/storage/file.h"

namespace jet {

// Reads `path`, whatever is wrong with it, and never writes to it. The new file is
// written under a temporary name beside `new_path`, checked, and renamed. Rows that are
// still whole are saved; no value is made up. Throws kNotJet4 for a file of another
// format, kWrongPassword, kDamaged if nothing could be saved, kFileNotFound, kInUse,
// kNoPermission, kIo, kDiskFull; then there is no new file.
// REQUIRES: there is no file at `new_path`.
RecoverReport RecoverFile(FileSystem& files, const std::string& path, const std::string& new_path,
                          const RecoverOptions& options);

}  // namespace jet
