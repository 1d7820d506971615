// Values, names and comments as sqlite3 reads them.
#pragma once

#include <string>
#include <string_view>

#include "jet/base/value.h"

namespace mdbadm {

// A name in double quotes.
std::string SqlName(std::string_view name);
// A text as an expression that is exactly this text, also with line breaks and NUL in it.
void AppendSqlText(std::string& out, std::string_view text);
// A value as an expression that sqlite3 stores as it is; `scale` is that of a Numeric
// column. Dates become ISO 8601 texts, with a comment where they are less than what is stored;
// Booleans 0 and 1. A decimal of more than 15 digits
// becomes a text, as no double holds it.
void AppendSqlValue(std::string& out, const jet::Value& value, int scale = 0);
// "-- text", on a line of its own whatever is in it.
std::string SqlComment(std::string_view text);

}  // namespace mdbadm
