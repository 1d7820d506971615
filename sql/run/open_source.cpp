#include "sql/run/open_source.h"

#include <fmt/format.h>

#include <algorithm>

#include "sql/run/planned_rows.h"

namespace sql {
namespace {

std::unique_ptr<Source> OpenQuery(Environment& environment, const jet::QueryDefinition& definition,
                                  const std::vector<Parameter>& declared = {}) {
  const Environment::Nesting nesting(environment);
  return std::make_unique<QuerySource>(environment.open_query(definition, declared));
}

std::unique_ptr<Source> OpenSaved(Environment& environment, const jet::ObjectInfo& object) {
  std::vector<std::int32_t>& open = environment.open_queries;
  if (std::find(open.begin(), open.end(), object.id) != open.end()) {
    throw Error(ErrorCode::kBadQuery, fmt::format("the query {} reads itself", object.name));
  }
  open.push_back(object.id);
  try {
    std::unique_ptr<Source> source =
        OpenQuery(environment, environment.database().LoadQuery(object));
    open.pop_back();
    return source;
  } catch (const Error& error) {
    const std::string& inner = error.name();
    throw Error(error.code(), fmt::format("in the query {}: {}", object.name, error.what()))
        .Of(inner.empty() ? object.name : fmt::format("{}: {}", object.name, inner));
  }
}

}  // namespace

std::unique_ptr<Source> OpenSource(Environment& environment, const SourceItem& item,
                                   const Select& query) {
  if (!item.subquery.empty()) {
    return OpenQuery(environment, Parse(item.subquery, WildcardsOf(query)), query.parameters);
  }
  const auto object = environment.database().Find(item.table);
  if (!object) {
    throw Error(ErrorCode::kNoTable, fmt::format("there is no table or query {}", item.table))
        .Of(item.table);
  }
  if (object->kind == jet::ObjectKind::kQuery) return OpenSaved(environment, *object);
  return std::make_unique<TableSource>(environment.database().OpenTable(*object));
}

}  // namespace sql
