#include "sql/run/environment.h"

#include <fmt/format.h>

#include <algorithm>

#include "jet/database/spec.h"
#include "jet/sort/name.h"
#include "sql/text/parameter_type.h"
#include "sql/values/datum.h"

namespace sql {
namespace {

// Queries in queries.
constexpr std::size_t kMaxNesting = 32;

std::string ParameterKey(std::string_view name) {
  std::string key;
  for (const char c : name) {
    if (c != '[' && c != ']') key += c == '!' ? '.' : c;
  }
  return jet::NameKey(jet::kGeneral, key);
}

std::optional<double> DateOf(const Datum& datum) {
  if (!datum.is_text()) return NumberOf(datum, false);
  if (const auto date = jet::ReadDateTime(datum.text)) return date->days;
  return std::nullopt;
}

}  // namespace

bool SameParameter(std::string_view a, std::string_view b) {
  return a == b || ParameterKey(a) == ParameterKey(b);
}

jet::Value ParameterValue(const Parameter& parameter, const jet::Value& value) {
  const auto type = static_cast<jet::ColumnType>(parameter.type);
  if (parameter.type == 0 || jet::IsNull(value) || !jet::IsKnownType(type)) return value;
  Datum datum;
  FromValue(value, 0, datum);
  jet::Value converted;
  try {
    if (jet::IsText(type)) {
      if (!datum.is_text()) datum.SetText(TextOf(datum, Language::kEnglish));
    } else if (type == jet::ColumnType::kDateTime) {
      const auto date = DateOf(datum);
      if (!date) throw Error(ErrorCode::kBadValue, "not a date");
      datum.SetNumber(Datum::Kind::kDate, *date);
    } else if (datum.is_text() || datum.is_number()) {
      const auto number = NumberOf(datum, type == jet::ColumnType::kBoolean);
      if (!number) throw Error(ErrorCode::kBadValue, "not a number");
      datum.SetNumber(Datum::Kind::kDouble, *number);
      if (type == jet::ColumnType::kNumeric) return *number;
    }
    ToValue(datum, type, converted);
  } catch (const Error&) {
    throw Error(ErrorCode::kBadValue,
                fmt::format("the value of the parameter {} is not a {}", parameter.name,
                            ParameterTypeWord(parameter.type)));
  }
  return converted;
}

std::string NoValue(const Parameter& parameter) {
  if (parameter.type == 0) return fmt::format("parameter {} has no value", parameter.name);
  return fmt::format("parameter {} has no value; it is a {}", parameter.name,
                     ParameterTypeWord(parameter.type));
}

Environment::Environment(jet::Database& database, const Inputs& inputs)
    : database_(database), inputs_(inputs), now_(inputs.now ? *inputs.now : jet::SystemClock()()) {}

jet::SortOrder Environment::order() const { return database_.order(); }

std::optional<jet::Value> Environment::ValueOf(const Parameter& parameter) {
  if (wanted_ != nullptr) {
    const bool known = std::any_of(
        wanted_->begin(), wanted_->end(),
        [&](const ParameterInfo& each) { return SameParameter(each.name, parameter.name); });
    if (!known) wanted_->push_back({parameter.name, parameter.type});
  }
  for (const auto& [name, value] : inputs_.parameters) {
    if (SameParameter(name, parameter.name)) return ParameterValue(parameter, value);
  }
  if (wanted_ == nullptr) return std::nullopt;
  lacks_values_ = true;
  return jet::Value{};
}

Environment::Nesting::Nesting(Environment& environment) : environment_(environment) {
  if (environment.nesting_ == kMaxNesting) {
    throw Error(ErrorCode::kNotSupported, "queries are nested too deeply");
  }
  ++environment.nesting_;
}

}  // namespace sql
