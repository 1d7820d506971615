// The value that a column's DefaultValue property stands for. The property is
// an expression; we evaluate literals, True/False/Yes/No/Null, Date(), Now()
// and Time(), with or without a leading "=".
#pragma once

#include <string_view>

#include "jet/base/value.h"
#include "jet/row/table_def.h"

namespace jet {

// A value of the column's own alternative, or Null (False for Boolean).
// `expression` empty: Null. kNotSupported, with the expression in the detail,
// for anything else; kWrongType and kOutOfRange if the column cannot hold the value.
// The column is named in the error. Whether a text fits is not asked: storing it does.
Value EvaluateDefault(const ColumnDef& column, std::string_view expression, DateTime now);

}  // namespace jet
