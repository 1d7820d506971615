// Who may use the objects of a database: the rows of MSysACEs, and the security ids
// in them, which are stored under the mask of the header.
#pragma once

#include <cstdint>
#include <string_view>

#include "jet/base/types.h"
#include "jet/storage/header.h"
#include "jet/table/table.h"

namespace jet {

// Gives a new object the rights that the container of tables hands on. `rights` is
// MSysACEs, `owner` the object's owner as stored. REQUIRES: a Scope, or some of the
// rows may be there.
void GrantInherited(Table& rights, const Header& header, std::int32_t object, const Bytes& owner);

// Writes the ids of a column anew, from the mask of one header to that of another.
// REQUIRES: a Scope.
void RemaskColumn(Table& table, std::string_view column, const Header& from, const Header& to);

}  // namespace jet
