// What a query needs before it runs: that it only reads, and values for its parameters.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "jet/base/value.h"
#include "sql/sql.h"

namespace mdbadm {

// sql::Error for a query that changes something: it says what that would be.
void RequireSelect(const jet::QueryDefinition& definition);

// The names and values of `settings` ("NAME=VALUE" each), whichever parameters there are.
// UsageError.
std::vector<std::pair<std::string, jet::Value>> GivenValues(
    const std::vector<std::string>& settings);

// By name, from `settings`, else asked for on the terminal. UsageError for a setting that no
// parameter takes, sql::Error with all that have no value.
std::vector<std::pair<std::string, jet::Value>> ParameterValues(
    const std::vector<sql::ParameterInfo>& parameters, const std::vector<std::string>& settings);

}  // namespace mdbadm
