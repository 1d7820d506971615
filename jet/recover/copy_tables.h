// All tables of a damaged file: by the catalog, by the definitions that it does not
// name, and by the rows whose definition is lost.
#pragma once

#include <functional>
#include <map>
#include <string>

#include "jet/recover/known_tables.h"
#include "jet/recover/new_file.h"
#include "jet/recover/old_file.h"
#include "jet/recover/recover_report.h"

namespace jet::recover {

// The tables of the new file, by the names they had in the old one.
using CopiedTables = std::map<std::string, ObjectInfo>;

// `now`: the date of objects of which none is known.
CopiedTables CopyTables(OldFile& old, NewFile& file, const RecoverOptions& options, DateTime now,
                        RecoverReport& report);

}  // namespace jet::recover
