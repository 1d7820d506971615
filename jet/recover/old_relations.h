// The relationships of a damaged file.
#pragma once

#include <map>
#include <string>

#include "jet/recover/new_file.h"
#include "jet/recover/old_file.h"
#include "jet/recover/recover_report.h"

namespace jet::recover {

// Carries over those of which every row is there, and both tables. `tables`: of the new
// file, by the names they had in the old one. Rows that a relationship forbids go to a
// table beside theirs.
void CopyRelations(OldFile& old, NewFile& file, const std::map<std::string, ObjectInfo>& tables,
                   RecoverReport& report);

}  // namespace jet::recover
