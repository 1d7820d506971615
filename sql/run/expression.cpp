#include "sql/run/expression.h"

namespace sql {
namespace {

using jet::ColumnType;

class Literal : public Node {
 public:
  Literal(const jet::Value& value, TypeInfo type) : Node(type) { FromValue(value, 0, result_); }
  const Datum& Evaluate(Context&) override { return result_; }
};

class Column : public Node {
 public:
  Column(std::size_t source, std::size_t ordinal, TypeInfo type)
      : Node(type), source_(source), ordinal_(ordinal) {}
  const Datum& Evaluate(Context& context) override {
    context.sources[source_]->Read(context.handles[source_], ordinal_, result_);
    return result_;
  }
  void AppendSpelling(Context& context, std::string& out) override {
    context.sources[source_]->AppendSpelling(context.handles[source_], ordinal_, out);
  }

 private:
  std::size_t source_, ordinal_;
};

class OuterColumn : public Node {
 public:
  OuterColumn(Context& outer, std::size_t source, std::size_t ordinal, TypeInfo type)
      : Node(type), outer_(outer), source_(source), ordinal_(ordinal) {}
  const Datum& Evaluate(Context&) override {
    outer_.sources[source_]->Read(outer_.handles[source_], ordinal_, result_);
    return result_;
  }

 private:
  Context& outer_;
  std::size_t source_, ordinal_;
};

class Alias : public Node {
 public:
  explicit Alias(Node& node) : Node(node.type()), node_(node) {}
  const Datum& Evaluate(Context& context) override { return node_.Evaluate(context); }

 private:
  Node& node_;
};

class AggregateRef : public Node {
 public:
  AggregateRef(std::size_t index, TypeInfo type) : Node(type), index_(index) {}
  const Datum& Evaluate(Context& context) override { return context.aggregates[index_]; }

 private:
  std::size_t index_;
};

TypeInfo LiteralType(const jet::Value& value) {
  if (std::holds_alternative<bool>(value)) return kTruthType;
  if (std::holds_alternative<std::int32_t>(value)) return {ColumnType::kLong, 0};
  if (std::holds_alternative<double>(value)) return {ColumnType::kDouble, 0};
  if (std::holds_alternative<jet::DateTime>(value)) return {ColumnType::kDateTime, 0};
  return {ColumnType::kText, 0};
}

}  // namespace

NodePtr MakeLiteral(const jet::Value& value) {
  return std::make_unique<Literal>(value, LiteralType(value));
}
NodePtr MakeLiteral(const jet::Value& value, TypeInfo type) {
  return std::make_unique<Literal>(value, type);
}
NodePtr MakeOuterColumn(Context& outer, std::size_t source, std::size_t ordinal, TypeInfo type) {
  return std::make_unique<OuterColumn>(outer, source, ordinal, type);
}
NodePtr MakeColumn(std::size_t source, std::size_t ordinal, TypeInfo type) {
  return std::make_unique<Column>(source, ordinal, type);
}
NodePtr MakeAggregateRef(std::size_t index, TypeInfo type) {
  return std::make_unique<AggregateRef>(index, type);
}
NodePtr MakeAlias(Node& node) { return std::make_unique<Alias>(node); }

NodePtr MakeBinary(Operator op, NodePtr left, NodePtr right) {
  const auto make = op <= Operator::kGreaterEqual ? MakeCondition : MakeArithmetic;
  return make(op, std::move(left), std::move(right));
}

}  // namespace sql
