#include "sql/functions/function_table.h"

#include <algorithm>
#include <array>
#include <map>
#include <string>

#include "jet/base/ascii.h"
#include "sql/functions/groups.h"

namespace sql {
namespace {

std::map<std::string, const Function*, std::less<>> ByName() {
  std::map<std::string, const Function*, std::less<>> functions;
  for (const FunctionGroup& group : FunctionGroups()) {
    for (const Function& each : group.functions) {
      functions.emplace(jet::AsciiLower(each.name), &each);
    }
  }
  return functions;
}

constexpr std::array<std::string_view, 15> kOfTheHost = {
    "DLookup", "DCount", "DSum", "DAvg",  "DMin",        "DMax", "DFirst", "DLast",
    "DStDev",  "DVar",   "Eval", "Forms", "CurrentUser", "Nz$",  "Reports"};
constexpr std::array<std::string_view, 19> kBlocked = {
    "Shell",   "Kill",         "Environ",   "CurDir",    "FileLen",    "GetAttr", "SetAttr",
    "Command", "CreateObject", "GetObject", "Randomize", "Beep",       "Dir",     "ChDir",
    "MkDir",   "RmDir",        "FileCopy",  "SendKeys",  "AppActivate"};

bool Holds(std::span<const std::string_view> names, std::string_view name) {
  return std::any_of(names.begin(), names.end(),
                     [&](std::string_view each) { return jet::EqualsAsciiCase(each, name); });
}

}  // namespace

const Function* FindFunction(std::string_view name) {
  static const auto functions = ByName();
  if (name.ends_with('$')) name.remove_suffix(1);
  const auto found = functions.find(jet::AsciiLower(name));
  return found == functions.end() ? nullptr : found->second;
}

std::string_view WhyNoFunction(std::string_view name) {
  if (Holds(kOfTheHost, name)) return "only the program that made the database has it";
  if (Holds(kBlocked, name)) return "it reaches out of the database";
  return {};
}

std::span<const FunctionGroup> FunctionGroups() {
  static const std::array<FunctionGroup, 6> groups = {{
      {"conversion", ConversionFunctions()},
      {"dates", DateFunctions()},
      {"numbers", NumberFunctions()},
      {"texts", TextFunctions()},
      {"tests", TestFunctions()},
      {"format", FormatFunctions()},
  }};
  return groups;
}

}  // namespace sql
