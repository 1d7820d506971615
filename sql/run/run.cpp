#include <fmt/format.h>

#include "sql/run/crosstab.h"
#include "sql/run/planned_rows.h"
#include "sql/run/planner.h"
#include "sql/run/union_rows.h"
#include "sql/sql.h"
#include "sql/stored/definition.h"
#include "sql/text/parameter_type.h"

namespace sql {
namespace {

void RequireValues(Environment& environment, const Select& select) {
  for (const Parameter& each : select.parameters) {
    if (environment.ValueOf(each)) continue;
    throw Error(ErrorCode::kUnresolved, NoValue(each)).Of(each.name);
  }
}

std::unique_ptr<RowSet> Open(Environment& environment, const jet::QueryDefinition& definition,
                             const std::vector<Parameter>& declared = {}) {
  const QueryKind kind = KindOf(definition);
  if (kind != QueryKind::kSelect && kind != QueryKind::kUnion && kind != QueryKind::kCrosstab) {
    throw Error(ErrorCode::kNotSupported, "only SELECT can be run");
  }
  const auto read = [&] {
    Select select = FromRows(definition);
    ParseExpressions(select);
    select.parameters.insert(select.parameters.end(), declared.begin(), declared.end());
    return select;
  };
  Select select = read();
  RequireValues(environment, select);
  if (kind == QueryKind::kUnion) return OpenUnion(environment, select);
  if (kind == QueryKind::kCrosstab) return OpenCrosstab(environment, std::move(select), read());
  return MakePlannedRows(Planner(environment, select).Run());
}

void Connect(Environment& environment) {
  environment.open_query = [&environment](const jet::QueryDefinition& definition,
                                          const std::vector<Parameter>& declared) {
    return Open(environment, definition, declared);
  };
  environment.plan_subquery = [&environment](const Select& query, Compiler& outer) {
    const Environment::Nesting nesting(environment);
    return Planner(environment, query, &outer).Run();
  };
}

}  // namespace

std::string TypeOf(const ParameterInfo& parameter) { return ParameterTypeWord(parameter.type); }

std::vector<ParameterInfo> ParametersOf(jet::Database& database,
                                        const jet::QueryDefinition& definition,
                                        const Inputs& inputs) {
  std::vector<ParameterInfo> parameters;
  Environment environment(database, inputs);
  Connect(environment);
  environment.ListParameters(parameters);
  Open(environment, definition);
  return parameters;
}

std::unique_ptr<RowSet> Run(jet::Database& database, const jet::QueryDefinition& definition,
                            const Inputs& inputs) {
  Environment environment(database, inputs);
  Connect(environment);
  return Open(environment, definition);
}

}  // namespace sql
