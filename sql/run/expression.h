// Compiled expressions: names are resolved, and each node keeps the value it
// computed last, so that a row costs no allocation.
#pragma once

#include <memory>
#include <vector>

#include "sql/run/source.h"
#include "sql/text/select_ast.h"
#include "sql/values/datum.h"

namespace sql {

// What a column of expressions is declared as.
struct TypeInfo {
  jet::ColumnType type = jet::ColumnType::kText;
  std::size_t max_chars = 0;
};
// Of what answers True, False or Null.
inline constexpr TypeInfo kTruthType{jet::ColumnType::kInteger, 0};

class Node {
 public:
  explicit Node(TypeInfo type) : type_(type) {}
  virtual ~Node() = default;
  // The value for the rows in `context`; valid until the next call.
  virtual const Datum& Evaluate(Context& context) = 0;
  // Appends bytes that are different for values that differ; one value may have several.
  virtual void AppendSpelling(Context& context, std::string& out) {
    AppendRawKey(Evaluate(context), out);
  }
  const TypeInfo& type() const { return type_; }
  bool is_text() const { return jet::IsText(type_.type); }

 protected:
  Datum result_;

 private:
  TypeInfo type_;
};
using NodePtr = std::unique_ptr<Node>;

NodePtr MakeLiteral(const jet::Value& value);
NodePtr MakeLiteral(const jet::Value& value, TypeInfo type);
// A column of a query around this one. REQUIRES: that query's context outlives the node.
NodePtr MakeOuterColumn(Context& outer, std::size_t source, std::size_t ordinal, TypeInfo type);
NodePtr MakeColumn(std::size_t source, std::size_t ordinal, TypeInfo type);
// The value of another node. REQUIRES: that outlives this one.
NodePtr MakeAlias(Node& node);
NodePtr MakeAggregateRef(std::size_t index, TypeInfo type);
NodePtr MakeBinary(Operator op, NodePtr left, NodePtr right);
// Of a logical operator or a comparison.
NodePtr MakeCondition(Operator op, NodePtr left, NodePtr right);
NodePtr MakeNot(NodePtr operand);
NodePtr MakeIsNull(NodePtr operand, bool negated);
// `ansi`: the wildcards are % and _.
NodePtr MakeLike(NodePtr value, NodePtr pattern, bool negated, bool ansi);
NodePtr MakeBetween(std::vector<NodePtr> operands, bool negated);
NodePtr MakeIn(std::vector<NodePtr> operands, bool negated);
// Of any other operator.
NodePtr MakeArithmetic(Operator op, NodePtr left, NodePtr right);
NodePtr MakeNegate(NodePtr operand);

// Whether a comparison with `op` holds for values in this order.
bool Satisfies(Operator op, Ordering ordering);

// The expression holds for the rows in `context`: neither False nor Null.
inline bool Holds(Node& node, Context& context) {
  return TruthOf(node.Evaluate(context)).value_or(false);
}

}  // namespace sql
