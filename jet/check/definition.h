// The integrity checker on table definitions. Decodes a definition by itself,
// more leniently than LoadTableDef, so that a table with a damaged definition
// can still be looked at.
#pragma once

#include <optional>
#include <string_view>

#include "jet/check/context.h"

namespace jet::check {

// Reads the definition of `table`, claims its pages and reports what is wrong.
// Nothing if its parts cannot be separated; a definition that comes back may
// still contradict itself, which has then been reported.
std::optional<TableDef> ReadDefinition(const Context& context, PageNumber page,
                                       std::string_view table);

}  // namespace jet::check
