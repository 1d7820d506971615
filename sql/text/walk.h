// Through all expressions of a SELECT.
#pragma once

#include <functional>

#include "sql/text/select_ast.h"

namespace sql {

// Every name in the expressions, also of queries within them. REQUIRES: trees.
void ForEachColumn(const Select& select, const std::function<void(const Expr&)>& visit);

}  // namespace sql
