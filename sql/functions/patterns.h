// Values by patterns, as Format has them.
#pragma once

#include <string>
#include <string_view>

#include "sql/functions/function.h"

namespace sql {

// "#,##0.00", "0.00%", "0.0E+00": the sections for positive, negative and zero.
std::string FormatNumber(std::string_view pattern, double number);
// "yyyy/mm/dd", "gggee年". `first`, `rule`: the week of ww.
std::string FormatDate(Language language, std::string_view pattern, double days, int first,
                       int rule);
// "@@@-@@@@", ">".
std::string FormatText(std::string_view pattern, std::string_view text);
// The parts of a pattern between semicolons that stand outside of literals.
std::vector<std::string_view> SectionsOf(std::string_view pattern);

}  // namespace sql
