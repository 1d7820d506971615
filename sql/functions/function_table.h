// All functions, by name and by group.
#pragma once

#include <span>
#include <string_view>

#include "sql/functions/function.h"

namespace sql {

// By name, without regard to case; `Left$` is Left that refuses Null. Nullptr: no such
// function.
const Function* FindFunction(std::string_view name);
// Why a function that there is elsewhere is not here; empty for any other name.
std::string_view WhyNoFunction(std::string_view name);
// All groups, for a list of what there is.
struct FunctionGroup {
  std::string_view title;
  std::span<const Function> functions;
};
std::span<const FunctionGroup> FunctionGroups();

}  // namespace sql
