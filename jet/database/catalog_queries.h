// Saved queries as rows of MSysQueries.
#pragma once

#include <cstdint>

#include "jet/database/stored_query.h"
#include "jet/table/table.h"

namespace jet {

// In the order of QueryDefinition. kDamaged.
QueryDefinition ReadQueryRows(const Table& table, std::int32_t id);
// REQUIRES: a Scope, or the query may be there in part.
void AddQueryRows(Table& table, std::int32_t id, const QueryDefinition& definition);

}  // namespace jet
