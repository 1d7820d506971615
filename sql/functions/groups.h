// The tables of functions, one a file.
#pragma once

#include <span>

#include "sql/functions/function.h"

namespace sql {

std::span<const Function> ConversionFunctions();
std::span<const Function> DateFunctions();
std::span<const Function> NumberFunctions();
std::span<const Function> TextFunctions();
std::span<const Function> TestFunctions();
std::span<const Function> FormatFunctions();

}  // namespace sql
