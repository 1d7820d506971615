// The integrity checker on what definitions of the original engine look like.
#pragma once

#include <string_view>

#include "jet/check/context.h"

namespace jet::check {

void SeeDefinition(const Context& context, std::string_view table, const TableDef& def);

}  // namespace jet::check
