// Objects of a damaged file that are no tables, queries or relationships: containers,
// forms, properties of the database, links to files.
#pragma once

#include "jet/recover/new_file.h"
#include "jet/recover/old_file.h"
#include "jet/recover/recover_report.h"

namespace jet::recover {

void CopyOtherObjects(const OldCatalog& old, NewFile& file, RecoverReport& report);

}  // namespace jet::recover
