// Text -> tree. Every fault is a kSyntax error with its place.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "sql/text/select_ast.h"

namespace sql {

// One SELECT, also as a crosstab, or several joined by UNION.
struct SelectText {
  Select select;  // of a union, its parameters and order
  struct Part {
    std::string text;
    bool all = false;   // joined to the part before by UNION ALL
    std::string joint;  // what stands between them, as written
  };
  std::vector<Part> parts;  // one for each SELECT
};

SelectText ParseSelect(std::string_view text);
ExprPtr ParseExpression(std::string_view text);
// `*`, `T.*` or an expression, without an alias.
OutputItem ParseOutput(std::string_view text);

}  // namespace sql
