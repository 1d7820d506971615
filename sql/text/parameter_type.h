// The types of parameters, by the words that a text has for them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace sql {

// A column type code; 0 for "Value", which is any type. Nothing for other words.
std::optional<std::int16_t> ParameterTypeOf(std::string_view word);
// The word that means the type; "Value" where there is none.
std::string ParameterTypeWord(std::int16_t type);

}  // namespace sql
