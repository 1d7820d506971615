// Calls of functions, and those that compute only some of their arguments.
#pragma once

#include <string_view>
#include <vector>

#include "sql/functions/function.h"
#include "sql/run/expression.h"
#include "sql/text/select_ast.h"

namespace sql {

// kBadQuery for a wrong number of arguments; kNotSupported for a function that is not
// here, with the reason. `call`: of the arguments.
NodePtr MakeCall(const FunctionContext& context, const Expr& call, std::vector<NodePtr> arguments);

// The type of a column that holds values of both.
TypeInfo CommonType(TypeInfo a, TypeInfo b);

}  // namespace sql
