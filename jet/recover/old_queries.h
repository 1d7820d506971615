// The saved queries of a damaged file.
#pragma once

#include <cstdint>
#include <map>
#include <vector>

#include "jet/recover/new_file.h"
#include "jet/recover/old_file.h"
#include "jet/recover/recover_report.h"

namespace jet::recover {

// Carries over those of which every row is there. Says of the others that they are lost.
void CopyQueries(OldFile& old, NewFile& file, RecoverReport& report);

}  // namespace jet::recover
