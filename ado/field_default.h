// The value that a new row's field has when nobody sets it.
#pragma once

#include <cstddef>
#include <vector>

#include "jet/database/database.h"

namespace ado {

// The default of a column: what the engine evaluates by itself, else an expression of
// the query language without tables. Error that names the expression if it is neither.
jet::Value DefaultOf(jet::Database& database, const jet::Table& table, std::size_t ordinal,
                     jet::DateTime now);
// A value for every column: the given ones, DefaultOf() the others.
std::vector<jet::Value> NewRow(jet::Database& database, const jet::Table& table,
                               std::vector<jet::FieldChange> given, jet::DateTime now);

}  // namespace ado
