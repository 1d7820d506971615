// The functions of the language, apart from those over groups and those that choose
// which of their arguments are computed. One table a group: name, how many arguments,
// what Null does, what type the answer has, and how it is computed.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "jet/base/column_type.h"
#include "jet/base/value.h"
#include "sql/values/datum.h"

namespace sql {

// What functions know of the run.
struct FunctionContext {
  jet::SortOrder order;
  jet::DateTime now;
};

using Arguments = std::span<const Datum* const>;

enum class Nulls : std::uint8_t {
  kAnswerNull,  // an argument that is Null makes the answer Null
  kRefused,     // it is an error
  kOwn,         // the function looks at them itself
};

// The type of an answer. kAsFirst: that of the first argument.
enum class Result : std::uint8_t {
  kTruth,
  kBoolean,
  kByte,
  kInteger,
  kLong,
  kSingle,
  kDouble,
  kCurrency,
  kDate,
  kText,
  kAsFirst,
};

struct Function {
  std::string_view name;
  std::uint8_t least, most;  // arguments
  Nulls nulls;
  Result result;
  // Never gets a Null but with kOwn. kBadValue.
  void (*apply)(const FunctionContext& context, Arguments arguments, Datum& out);
};

}  // namespace sql
