// What all parts of one run share: saved queries in queries, subqueries, the values of
// the parameters.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sql/sql.h"
#include "sql/text/select_ast.h"

namespace sql {

struct Plan;
class Compiler;

class Environment {
 public:
  // REQUIRES: both outlive it. It is there while a query is planned, not while it runs.
  Environment(jet::Database& database, const Inputs& inputs);

  jet::Database& database() const { return database_; }
  jet::SortOrder order() const;
  // What Now() answers.
  jet::DateTime now() const { return now_; }

  // The value of a parameter as its type, nothing if there is none. kBadValue for one that
  // cannot become the type. Where only the names are asked for, every parameter is Null.
  std::optional<jet::Value> ValueOf(const Parameter& parameter);
  bool lists_parameters() const { return wanted_ != nullptr; }
  void ListParameters(std::vector<ParameterInfo>& out) { wanted_ = &out; }

  // The rows of a saved query or of one in parentheses. `declared`: the parameters of the
  // query whose part it is.
  std::function<std::unique_ptr<RowSet>(const jet::QueryDefinition&,
                                        const std::vector<Parameter>& declared)>
      open_query;
  // Of a query within an expression of `outer`.
  std::function<std::unique_ptr<Plan>(const Select& query, Compiler& outer)> plan_subquery;

  // Counts queries in queries while it lives. kNotSupported for too many.
  class Nesting {
   public:
    explicit Nesting(Environment& environment);
    ~Nesting() { --environment_.nesting_; }
    Nesting(const Nesting&) = delete;
    Nesting& operator=(const Nesting&) = delete;

   private:
    Environment& environment_;
  };
  // The saved queries that are being opened, by id.
  std::vector<std::int32_t> open_queries;

 private:
  jet::Database& database_;
  const Inputs& inputs_;
  jet::DateTime now_;
  std::size_t nesting_ = 0;
  std::vector<ParameterInfo>* wanted_ = nullptr;
};

// How texts within a query are read: as the query itself.
inline Wildcards WildcardsOf(const Select& query) {
  return query.ansi_wildcards ? Wildcards::kAnsi : Wildcards::kAsterisk;
}

// A value as a parameter of that type (0: any). kBadValue.
jet::Value ParameterValue(const Parameter& parameter, const jet::Value& value);
// The message for a parameter without a value.
std::string NoValue(const Parameter& parameter);

}  // namespace sql
