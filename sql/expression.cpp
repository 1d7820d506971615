#include "sql/expression.h"

#include <fmt/format.h>

#include <cmath>
#include <limits>

#include "sql/error.h"
#include "sql/like.h"

namespace sql {
namespace {

using Kind = Datum::Kind;
using jet::ColumnType;

constexpr TypeInfo kTruth{ColumnType::kInteger, 0};

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

 private:
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

// A node that answers True, False or Null.
class TruthNode : public Node {
 public:
  TruthNode() : Node(kTruth) {}

 protected:
  const Datum& Answer(std::optional<bool> truth) {
    if (truth) {
      result_.SetBoolean(*truth);
    } else {
      result_.SetNull();
    }
    return result_;
  }
};

class Not : public TruthNode {
 public:
  explicit Not(NodePtr operand) : operand_(std::move(operand)) {}
  const Datum& Evaluate(Context& context) override {
    const auto truth = TruthOf(operand_->Evaluate(context));
    return Answer(truth ? std::optional(!*truth) : std::nullopt);
  }

 private:
  NodePtr operand_;
};

class IsNull : public TruthNode {
 public:
  IsNull(NodePtr operand, bool negated) : operand_(std::move(operand)), negated_(negated) {}
  const Datum& Evaluate(Context& context) override {
    return Answer(operand_->Evaluate(context).null() != negated_);
  }

 private:
  NodePtr operand_;
  bool negated_;
};

class Logical : public TruthNode {
 public:
  Logical(Operator op, NodePtr left, NodePtr right)
      : op_(op), left_(std::move(left)), right_(std::move(right)) {}
  const Datum& Evaluate(Context& context) override {
    const auto a = TruthOf(left_->Evaluate(context));
    if (op_ == Operator::kAnd && a == false) return Answer(false);
    if (op_ == Operator::kOr && a == true) return Answer(true);
    const auto b = TruthOf(right_->Evaluate(context));
    switch (op_) {
      case Operator::kAnd:
        return Answer(b == false ? b : a && b ? b : std::nullopt);
      case Operator::kOr:
        return Answer(b == true ? b : a && b ? b : std::nullopt);
      case Operator::kImp:
        if (a == false || b == true) return Answer(true);
        return Answer(a && b ? std::optional(false) : std::nullopt);
      default:
        if (!a || !b) return Answer(std::nullopt);
        return Answer((*a == *b) == (op_ == Operator::kEqv));
    }
  }

 private:
  Operator op_;
  NodePtr left_, right_;
};

bool Satisfies(Operator op, Ordering ordering) {
  switch (op) {
    case Operator::kEqual:
      return ordering == Ordering::kEqual;
    case Operator::kNotEqual:
      return ordering != Ordering::kEqual;
    case Operator::kLess:
      return ordering == Ordering::kLess;
    case Operator::kLessEqual:
      return ordering == Ordering::kLess || ordering == Ordering::kEqual;
    case Operator::kGreater:
      return ordering == Ordering::kGreater;
    default:
      return ordering == Ordering::kGreater || ordering == Ordering::kEqual;
  }
}

class Comparison : public TruthNode {
 public:
  Comparison(Operator op, NodePtr left, NodePtr right)
      : op_(op), left_(std::move(left)), right_(std::move(right)) {}
  const Datum& Evaluate(Context& context) override {
    const Datum& a = left_->Evaluate(context);
    const Datum& b = right_->Evaluate(context);
    if (a.null() || b.null()) return Answer(std::nullopt);
    return Answer(Satisfies(op_, Compare(context.order, a, b, keys_left_, keys_right_)));
  }

 private:
  Operator op_;
  NodePtr left_, right_;
  TextKeyCache keys_left_, keys_right_;
};

// value, low, high.
class Between : public TruthNode {
 public:
  Between(std::vector<NodePtr> operands, bool negated)
      : operands_(std::move(operands)), negated_(negated) {}
  const Datum& Evaluate(Context& context) override {
    const Datum& value = operands_[0]->Evaluate(context);
    const auto above = Check(context, value, Operator::kGreaterEqual, 1);
    const auto below = Check(context, value, Operator::kLessEqual, 2);
    if (above == false || below == false) return Answer(negated_);
    if (!above || !below) return Answer(std::nullopt);
    return Answer(!negated_);
  }

 private:
  std::optional<bool> Check(Context& context, const Datum& value, Operator op, std::size_t bound) {
    const Datum& limit = operands_[bound]->Evaluate(context);
    if (value.null() || limit.null()) return std::nullopt;
    return Satisfies(op, Compare(context.order, value, limit, value_keys_, keys_[bound - 1]));
  }

  std::vector<NodePtr> operands_;
  bool negated_;
  TextKeyCache value_keys_, keys_[2];
};

// value, then the list.
class In : public TruthNode {
 public:
  In(std::vector<NodePtr> operands, bool negated)
      : operands_(std::move(operands)), negated_(negated), keys_(operands_.size()) {}
  const Datum& Evaluate(Context& context) override {
    const Datum& value = operands_[0]->Evaluate(context);
    if (value.null()) return Answer(std::nullopt);
    bool unknown = false;
    for (std::size_t i = 1; i < operands_.size(); ++i) {
      const Datum& each = operands_[i]->Evaluate(context);
      unknown = unknown || each.null();
      if (!each.null() &&
          Compare(context.order, value, each, keys_[0], keys_[i]) == Ordering::kEqual) {
        return Answer(!negated_);
      }
    }
    return Answer(unknown ? std::nullopt : std::optional(negated_));
  }

 private:
  std::vector<NodePtr> operands_;
  bool negated_;
  std::vector<TextKeyCache> keys_;
};

class Like : public TruthNode {
 public:
  Like(NodePtr value, NodePtr pattern, bool negated)
      : value_(std::move(value)), pattern_(std::move(pattern)), negated_(negated) {}
  const Datum& Evaluate(Context& context) override {
    const Datum& value = value_->Evaluate(context);
    const Datum& pattern = pattern_->Evaluate(context);
    if (value.null() || pattern.null()) return Answer(std::nullopt);
    text_.clear();
    AppendText(pattern, text_);
    if (!compiled_ || text_ != compiled_text_) {
      compiled_.emplace(context.order, text_);
      compiled_text_ = text_;
    }
    text_.clear();
    AppendText(value, text_);
    return Answer(compiled_->Matches(text_) != negated_);
  }

 private:
  NodePtr value_, pattern_;
  bool negated_;
  std::string text_, compiled_text_;
  std::optional<LikePattern> compiled_;
};

bool IsWhole(const Node& node) {
  switch (node.type().type) {
    case ColumnType::kBoolean:
    case ColumnType::kByte:
    case ColumnType::kInteger:
    case ColumnType::kLong:
      return true;
    default:
      return false;
  }
}

bool IsDate(const Node& node) { return node.type().type == ColumnType::kDateTime; }

// What Long, Double and Date make of each other.
TypeInfo ArithmeticType(Operator op, const Node& a, const Node& b) {
  if (op == Operator::kModulo || op == Operator::kIntegerDivide) return {ColumnType::kLong, 0};
  if (op == Operator::kAdd && a.is_text() && b.is_text()) return {ColumnType::kText, 0};
  const bool sum = op == Operator::kAdd || op == Operator::kSubtract;
  if (sum && IsDate(a) != IsDate(b)) return {ColumnType::kDateTime, 0};
  if ((sum || op == Operator::kMultiply) && IsWhole(a) && IsWhole(b)) return {ColumnType::kLong, 0};
  return {ColumnType::kDouble, 0};
}

class Arithmetic : public Node {
 public:
  Arithmetic(Operator op, NodePtr left, NodePtr right)
      : Node(ArithmeticType(op, *left, *right)),
        op_(op),
        left_(std::move(left)),
        right_(std::move(right)) {}

  const Datum& Evaluate(Context& context) override {
    const Datum& a = left_->Evaluate(context);
    const Datum& b = right_->Evaluate(context);
    if (a.null() || b.null()) {
      result_.SetNull();
    } else if (is_text()) {
      result_.SetText(a.text);
      result_.text += b.text;
    } else {
      result_.SetNumber(ResultKind(), Checked(Compute(NeedNumber(a), NeedNumber(b))));
    }
    return result_;
  }

 private:
  Kind ResultKind() const {
    if (IsDate(*this)) return Kind::kDate;
    return IsWhole(*this) ? Kind::kLong : Kind::kDouble;
  }

  double Compute(double a, double b) const {
    switch (op_) {
      case Operator::kAdd:
        return a + b;
      case Operator::kSubtract:
        return a - b;
      case Operator::kMultiply:
        return a * b;
      case Operator::kDivide:
        RequireDivisor(b);
        return a / b;
      case Operator::kPower:
        return std::pow(a, b);
      default: {
        const double x = Checked(std::nearbyint(a)), y = Checked(std::nearbyint(b));
        RequireDivisor(y);
        return op_ == Operator::kModulo ? std::fmod(x, y) : std::trunc(x / y);
      }
    }
  }

  static void RequireDivisor(double number) {
    if (number == 0) throw Error(ErrorCode::kBadValue, "division by zero");
  }

  double Checked(double number) const {
    constexpr double kMax = std::numeric_limits<std::int32_t>::max();
    if (!std::isfinite(number) || (IsWhole(*this) && !(number >= -kMax - 1 && number <= kMax))) {
      throw Error(ErrorCode::kBadValue, "a computed number is out of range");
    }
    return number;
  }

  Operator op_;
  NodePtr left_, right_;
};

class Negate : public Node {
 public:
  explicit Negate(NodePtr operand)
      : Node({IsWhole(*operand) ? ColumnType::kLong : ColumnType::kDouble, 0}),
        operand_(std::move(operand)) {}
  const Datum& Evaluate(Context& context) override {
    const Datum& value = operand_->Evaluate(context);
    if (value.null()) {
      result_.SetNull();
    } else {
      result_.SetNumber(IsWhole(*this) ? Kind::kLong : Kind::kDouble, -NeedNumber(value));
    }
    return result_;
  }

 private:
  NodePtr operand_;
};

// Null counts as an empty text, unless both are Null.
class Concatenation : public Node {
 public:
  Concatenation(NodePtr left, NodePtr right)
      : Node({ColumnType::kText, 0}), left_(std::move(left)), right_(std::move(right)) {}
  const Datum& Evaluate(Context& context) override {
    const Datum& a = left_->Evaluate(context);
    const Datum& b = right_->Evaluate(context);
    if (a.null() && b.null()) {
      result_.SetNull();
      return result_;
    }
    result_.SetText({});
    AppendText(a, result_.text);
    AppendText(b, result_.text);
    return result_;
  }

 private:
  NodePtr left_, right_;
};

TypeInfo LiteralType(const jet::Value& value) {
  if (std::holds_alternative<bool>(value)) return kTruth;
  if (std::holds_alternative<std::int32_t>(value)) return {ColumnType::kLong, 0};
  if (std::holds_alternative<double>(value)) return {ColumnType::kDouble, 0};
  if (std::holds_alternative<jet::DateTime>(value)) return {ColumnType::kDateTime, 0};
  return {ColumnType::kText, 0};
}

}  // namespace

NodePtr MakeLiteral(const jet::Value& value) {
  return std::make_unique<Literal>(value, LiteralType(value));
}
NodePtr MakeColumn(std::size_t source, std::size_t ordinal, TypeInfo type) {
  return std::make_unique<Column>(source, ordinal, type);
}
NodePtr MakeAggregateRef(std::size_t index, TypeInfo type) {
  return std::make_unique<AggregateRef>(index, type);
}
NodePtr MakeAlias(Node& node) { return std::make_unique<Alias>(node); }
NodePtr MakeNot(NodePtr operand) { return std::make_unique<Not>(std::move(operand)); }
NodePtr MakeNegate(NodePtr operand) { return std::make_unique<Negate>(std::move(operand)); }

NodePtr MakeBinary(Operator op, NodePtr left, NodePtr right) {
  if (op <= Operator::kAnd) {
    return std::make_unique<Logical>(op, std::move(left), std::move(right));
  }
  if (op <= Operator::kGreaterEqual) {
    return std::make_unique<Comparison>(op, std::move(left), std::move(right));
  }
  if (op == Operator::kConcatenate) {
    return std::make_unique<Concatenation>(std::move(left), std::move(right));
  }
  return std::make_unique<Arithmetic>(op, std::move(left), std::move(right));
}

NodePtr MakeIsNull(NodePtr operand, bool negated) {
  return std::make_unique<IsNull>(std::move(operand), negated);
}
NodePtr MakeLike(NodePtr value, NodePtr pattern, bool negated) {
  return std::make_unique<Like>(std::move(value), std::move(pattern), negated);
}
NodePtr MakeBetween(std::vector<NodePtr> operands, bool negated) {
  return std::make_unique<Between>(std::move(operands), negated);
}
NodePtr MakeIn(std::vector<NodePtr> operands, bool negated) {
  return std::make_unique<In>(std::move(operands), negated);
}

}  // namespace sql
