// Names -> columns of sources, trees -> compiled expressions.
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "sql/run/expression.h"
#include "sql/text/select_ast.h"

namespace sql {

struct ColumnRef {
  std::size_t source = 0, ordinal = 0;
  friend bool operator==(const ColumnRef&, const ColumnRef&) = default;
};

// The sources of one query under the names that its expressions use.
class Scope {
 public:
  explicit Scope(jet::SortOrder order) : order_(order) {}

  // kUnresolved if the name is taken.
  void Add(const std::string& name, const std::vector<SourceColumn>& columns);

  std::size_t size() const { return sources_.size(); }
  const std::string& name(std::size_t source) const { return sources_[source].name; }
  const SourceColumn& column(ColumnRef ref) const {
    return sources_[ref.source].columns[ref.ordinal];
  }
  std::size_t column_count(std::size_t source) const { return sources_[source].columns.size(); }
  // Which columns anything has referred to.
  const std::vector<bool>& used(std::size_t source) const { return sources_[source].used; }
  void Use(ColumnRef ref) { sources_[ref.source].used[ref.ordinal] = true; }

  // kUnresolved: none of that name, or several.
  std::size_t FindSource(std::string_view name) const;
  ColumnRef FindColumn(const Expr& column) const;
  std::optional<ColumnRef> TryColumn(const Expr& column) const;

 private:
  struct Entry {
    std::string name, key;
    std::vector<SourceColumn> columns;
    std::vector<std::string> keys;
    std::vector<bool> used;
  };
  std::optional<std::size_t> TrySource(std::string_view name) const;
  std::optional<std::size_t> ColumnOf(const Entry& entry, std::string_view key) const;

  jet::SortOrder order_;
  std::vector<Entry> sources_;
};

enum class Aggregation { kSum, kCount, kCountRows, kMin, kMax, kAvg, kFirst, kLast };

struct Aggregate {
  Aggregation function = Aggregation::kSum;
  NodePtr argument;  // none for kCountRows
  std::string text;  // equal for equal ones
  TypeInfo type;
};

// The message for a parameter, which never has a value here.
std::string NoValue(std::string_view parameter);

class Compiler {
 public:
  explicit Compiler(Scope& scope) : scope_(scope) {}

  // From here on expressions may hold aggregates, and columns only where one of
  // `grouped` stands.
  void Group(const std::vector<SqlText>& grouped);
  bool grouping() const { return grouping_; }

  // kUnresolved, kNotSupported, kBadQuery.
  NodePtr Compile(const Expr& expr);
  SourceSet SourcesOf(const Expr& expr) const;
  // The expression in one spelling, columns as what they refer to.
  std::string Canonical(const Expr& expr) const;
  std::vector<Aggregate>& aggregates() { return aggregates_; }

  static bool HasAggregate(const Expr& expr);

 private:
  NodePtr CompileColumn(const Expr& expr);
  NodePtr CompileAggregate(const Expr& expr, Aggregation function);
  NodePtr CompileCall(const Expr& expr);
  std::vector<NodePtr> CompileAll(const Expr& expr);

  Scope& scope_;
  bool grouping_ = false;
  bool inside_group_ = false;  // within an aggregate or a grouped expression
  std::vector<std::string> grouped_;
  std::vector<Aggregate> aggregates_;
};

}  // namespace sql
