// From FROM, ON and WHERE to the steps that make the joined rows.
//
// Inner joins are flattened and ordered anew by what the indexes say about the
// number of different values; outer joins stay where they are. Each condition
// is checked as early as its sources are there.
#pragma once

#include "sql/run/compiler.h"
#include "sql/run/join.h"
#include "sql/run/step.h"

namespace sql {

// The terms that AND joins.
void SplitAnd(const ExprPtr& expr, std::vector<ExprPtr>& terms);

// The key of an equality, one side of it for each input.
JoinKey MakeJoinKey(Compiler& compiler, const Expr& left, const Expr& right);

// `where`: the terms of WHERE that the joined rows must fulfil.
StepPtr PlanJoins(Context& context, const Scope& scope, Compiler& compiler, const Select& select,
                  const std::vector<ExprPtr>& where);

}  // namespace sql
