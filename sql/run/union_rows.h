// UNION: the rows of several queries, one after the other.
#pragma once

#include <memory>

#include "sql/run/environment.h"
#include "sql/text/select_ast.h"

namespace sql {

// `select` is that of a UNION: its sources are the texts of the parts. They stream, but
// where equal rows count once, or the rows have an order. kBadQuery for parts of different
// widths; errors of the parts.
std::unique_ptr<RowSet> OpenUnion(Environment& environment, const Select& select);

}  // namespace sql
