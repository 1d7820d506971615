// The integrity checker on what a definition says that could be taken apart:
// whether its columns and indexes fit each other.
#pragma once

#include <cstdint>
#include <set>
#include <string_view>

#include "jet/check/context.h"

namespace jet::check {

// `mapped`: numbers of the columns with maps of long values.
void CheckDefinition(const Context& context, std::string_view table, const TableDef& def,
                     const std::set<std::uint16_t>& mapped);

}  // namespace jet::check
