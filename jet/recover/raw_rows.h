// Rows of tables of which not even the columns are known.
#pragma once

#include "jet/recover/new_file.h"
#include "jet/recover/old_file.h"
#include "jet/recover/recover_report.h"

namespace jet::recover {

// Puts the rows of `owner` into a table of their own, named report.name: their place,
// their bytes, and the texts in them that cannot be anything else.
void CopyRawRows(OldFile& old, PageNumber owner, NewFile& file, DateTime now,
                 RecoverReport::Table& report);

}  // namespace jet::recover
