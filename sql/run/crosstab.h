// TRANSFORM ... PIVOT: a row a group, a column a value of PIVOT.
#pragma once

#include <memory>

#include "sql/run/environment.h"
#include "sql/text/select_ast.h"

namespace sql {

// `rows` and `cells` are the same query with its trees. Its columns follow from its rows,
// so they are all read here. kBadQuery for a query that is not such a one; errors as
// Planner.
std::unique_ptr<RowSet> OpenCrosstab(Environment& environment, Select rows, Select cells);

}  // namespace sql
