// Functions that ask what a value is.
#include <array>

#include "jet/base/ascii.h"
#include "sql/functions/arguments.h"
#include "sql/functions/date_text.h"
#include "sql/functions/groups.h"

namespace sql {
namespace {

void IsNullValue(const FunctionContext&, Arguments a, Datum& out) { out.SetBoolean(a[0]->null()); }

// Numbers as people write them: with separators, or behind &H.
bool ReadsAsNumber(std::string text) {
  std::erase(text, ',');
  if (ReadNumber(text)) return true;
  const std::string_view bare = jet::TrimBlanks(text);
  if (bare.size() < 3 || bare[0] != '&') return false;
  const char base = jet::AsciiLower(bare[1]);
  const std::string_view digits = base == 'h' ? "0123456789abcdef" : "01234567";
  if (base != 'h' && base != 'o') return false;
  return jet::AsciiLower(bare.substr(2)).find_first_not_of(digits) == std::string::npos;
}

void IsNumeric(const FunctionContext&, Arguments a, Datum& out) {
  const bool number = a[0]->is_number() && a[0]->kind != Datum::Kind::kDate;
  out.SetBoolean(number || (a[0]->is_text() && ReadsAsNumber(a[0]->text)));
}

void IsDate(const FunctionContext&, Arguments a, Datum& out) {
  out.SetBoolean(a[0]->kind == Datum::Kind::kDate ||
                 (a[0]->is_text() && ReadDateText(a[0]->text).has_value()));
}

// An argument that is an error has ended the query before.
void IsError(const FunctionContext&, Arguments, Datum& out) { out.SetBoolean(false); }

constexpr std::array<Function, 4> kTests = {{
    {"IsNull", 1, 1, Nulls::kOwn, Result::kTruth, IsNullValue},
    {"IsNumeric", 1, 1, Nulls::kOwn, Result::kTruth, IsNumeric},
    {"IsDate", 1, 1, Nulls::kOwn, Result::kTruth, IsDate},
    {"IsError", 1, 1, Nulls::kOwn, Result::kTruth, IsError},
}};

}  // namespace

std::span<const Function> TestFunctions() { return kTests; }

}  // namespace sql
