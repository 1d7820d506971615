// What functions ask of their arguments, and the errors of the language.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "sql/functions/function.h"

namespace sql {

// kBadValue with the words of the original for its numbers.
[[noreturn]] void InvalidCall();   // 5
[[noreturn]] void Overflow();      // 6
[[noreturn]] void TypeMismatch();  // 13
[[noreturn]] void NullRefused();   // 94

// A number, a date as its days, a text that is a number. Type mismatch.
double NumberArgument(const Datum& datum);
// Rounded half to even. Overflow beyond 32 bits.
std::int32_t WholeArgument(const Datum& datum);
// The argument at `at`, or `otherwise` where it is left out.
std::int32_t WholeOr(Arguments arguments, std::size_t at, std::int32_t otherwise);
// As CStr makes it.
std::string TextArgument(const FunctionContext& context, const Datum& datum);
// Days, from a date, a number or a text that is a date. Type mismatch.
double DateArgument(const FunctionContext& context, const Datum& datum);

inline bool IsJapanese(const FunctionContext& context) {
  return LanguageOf(context.order) == Language::kJapanese;
}

}  // namespace sql
