// Trees -> compiled expressions.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sql/run/environment.h"
#include "sql/run/expression.h"
#include "sql/run/plan.h"
#include "sql/run/scope.h"
#include "sql/text/select_ast.h"

namespace sql {

enum class Aggregation {
  kSum,
  kCount,
  kCountRows,
  kMin,
  kMax,
  kAvg,
  kFirst,
  kLast,
  kStDev,
  kStDevP,
  kVar,
  kVarP,
};

struct Aggregate {
  Aggregation function = Aggregation::kSum;
  NodePtr argument;  // none for kCountRows
  std::string text;  // equal for equal ones
  TypeInfo type;
};

// A name means, in this order: a parameter that is declared, a column, the alias of
// another output, a column of an outer query, a parameter.
class Compiler {
 public:
  // `outer`: of the query around this one. REQUIRES: all outlive it.
  Compiler(Environment& environment, const Select& select, Scope& scope, Context& context,
           Compiler* outer);

  // From here on names may be aliases of the outputs.
  void AllowAliases() { aliases_ = true; }
  // From here on expressions may hold aggregates, and columns only where one of
  // `grouped` stands.
  void Group(const std::vector<SqlText>& grouped);
  bool grouping() const { return grouping_; }

  // kUnresolved, kNotSupported, kBadQuery.
  NodePtr Compile(const Expr& expr);
  // The column of a source that an expression is; nothing if it is anything else.
  std::optional<ColumnRef> LocalColumn(const Expr& expr) const;
  // The sources that an expression reads, perhaps more.
  SourceSet SourcesOf(const Expr& expr) const;
  // Whether it may read columns of outer queries.
  bool MayReadOuter(const Expr& expr) const;
  // The expression in one spelling, columns as what they refer to.
  std::string Canonical(const Expr& expr) const;
  std::vector<Aggregate>& aggregates() { return aggregates_; }
  // What the expressions read of outer queries, each once.
  std::vector<NodePtr> TakeOuterColumns();

  static bool HasAggregate(const Expr& expr);

 private:
  struct OuterColumn {
    Context* context;
    ColumnRef ref;
    TypeInfo type;
  };
  NodePtr CompileColumn(const Expr& expr);
  NodePtr CompileOuter(const Expr& expr);
  NodePtr CompileAlias(const Expr& expr, const OutputItem& item);
  NodePtr CompileParameter(const Expr& expr, std::string name);
  NodePtr CompileAggregate(const Expr& expr, Aggregation function);
  NodePtr CompileCall(const Expr& expr);
  NodePtr CompileSubquery(const Expr& expr);
  std::vector<NodePtr> CompileAll(const Expr& expr);
  const OutputItem* AliasOf(const Expr& expr) const;
  const Parameter* Declared(std::string_view name) const;
  bool IsGrouped(const Expr& expr) const;
  bool ansi_wildcards() const;
  [[noreturn]] void ThrowUnknown(const Expr& expr) const;

  Environment& environment_;
  const Select& select_;
  Scope& scope_;
  Context& context_;
  Compiler* outer_;
  bool aliases_ = false;
  bool grouping_ = false;
  bool inside_group_ = false;  // within an aggregate or a grouped expression
  std::vector<std::string> grouped_;
  std::vector<Aggregate> aggregates_;
  std::vector<const OutputItem*> expanding_;  // aliases that are being compiled
  std::vector<OuterColumn> outer_columns_;
};

}  // namespace sql
