// Numbers as texts and rounded, as people count: by decimal digits.
#pragma once

#include <string>

namespace sql {

// Fifteen digits at most; an exponent where digits alone would be longer ("1E+15").
std::string NumberText(double number);
// To so many decimals, halves to the even digit. A half is one by its decimal digits:
// 0.985 becomes 0.98, though the nearest double lies below it.
double RoundDecimals(double number, int decimals);

}  // namespace sql
