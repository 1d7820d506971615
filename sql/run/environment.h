// What all parts of one run share: saved queries in queries, subqueries, the values of
// the parameters.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
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
  // cannot become the type. Where only the names are asked for, one without a value is Null.
  std::optional<jet::Value> ValueOf(const Parameter& parameter);
  // Only the names of the parameters are asked for, and no rows are read.
  bool lists_parameters() const { return wanted_ != nullptr && !reading_; }
  // A parameter was taken as Null for want of a value.
  bool lacks_values() const { return lacks_values_; }
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
  // While it lives, rows are read though only the names of the parameters are asked for:
  // those of a crosstab whose columns another query names.
  class Reading {
   public:
    explicit Reading(Environment& environment)
        : environment_(environment),
          before_(std::exchange(environment.reading_, environment.nesting_ != 0)) {}
    ~Reading() { environment_.reading_ = before_; }
    Reading(const Reading&) = delete;
    Reading& operator=(const Reading&) = delete;

   private:
    Environment& environment_;
    bool before_;
  };
  // The saved queries that are being opened, by id.
  std::vector<std::int32_t> open_queries;

 private:
  jet::Database& database_;
  const Inputs& inputs_;
  jet::DateTime now_;
  std::size_t nesting_ = 0;
  bool reading_ = false, lacks_values_ = false;
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
