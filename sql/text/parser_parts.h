// The two halves of the parser, which call each other: expressions may hold a SELECT,
// a SELECT holds expressions. Only they include this.
#pragma once

#include "sql/text/select_ast.h"
#include "sql/text/token_reader.h"

namespace sql {

// From the current word on, as far as it goes.
ExprPtr ReadExpression(TokenReader& in);
// From SELECT to before UNION, PIVOT, a semicolon or a closing parenthesis.
Select ReadSelect(TokenReader& in);

}  // namespace sql
