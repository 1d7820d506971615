// From FROM, ON and WHERE to the steps that make the joined rows.
//
// Inner joins are flattened and ordered anew by what the indexes say about the
// number of different values; outer joins stay where they are. Each condition
// is checked as early as its sources are there.
#pragma once

#include "sql/run/compiler.h"
#include "sql/run/step.h"

namespace sql {

// The terms that AND joins.
void SplitAnd(const ExprPtr& expr, std::vector<ExprPtr>& terms);

StepPtr PlanJoins(Context& context, const Scope& scope, Compiler& compiler, const Select& select);

}  // namespace sql
