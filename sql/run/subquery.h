// Queries within expressions. One that reads no column of a query around it runs once;
// any other runs for each row of that query, or not again where those columns are as they
// were before.
#pragma once

#include <memory>

#include "sql/run/plan.h"
#include "sql/text/select_ast.h"

namespace sql {

// One value: Null without a row, kBadValue for several.
NodePtr MakeScalar(std::unique_ptr<Plan> plan);
NodePtr MakeExists(std::unique_ptr<Plan> plan);
NodePtr MakeInQuery(NodePtr value, std::unique_ptr<Plan> plan, bool negated);
// `value op ANY (...)`, or ALL.
NodePtr MakeQuantified(Operator op, bool all, NodePtr value, std::unique_ptr<Plan> plan);

}  // namespace sql
