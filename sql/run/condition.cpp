// Expressions that answer True, False or Null.
#include <optional>
#include <string>
#include <vector>

#include "sql/run/expression.h"
#include "sql/values/like.h"

namespace sql {
namespace {

class TruthNode : public Node {
 public:
  TruthNode() : Node(kTruthType) {}

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

// value and two bounds, in either order.
class Between : public TruthNode {
 public:
  Between(std::vector<NodePtr> operands, bool negated)
      : operands_(std::move(operands)), negated_(negated) {}
  const Datum& Evaluate(Context& context) override {
    const Datum& value = operands_[0]->Evaluate(context);
    const Datum& one = operands_[1]->Evaluate(context);
    const Datum& other = operands_[2]->Evaluate(context);
    if (value.null() || one.null() || other.null()) return Answer(std::nullopt);
    const Ordering a = Compare(context.order, value, one, value_keys_, keys_[0]);
    const Ordering b = Compare(context.order, value, other, value_keys_, keys_[1]);
    const auto at_least = [](Ordering o) { return Satisfies(Operator::kGreaterEqual, o); };
    const auto at_most = [](Ordering o) { return Satisfies(Operator::kLessEqual, o); };
    const bool inside = (at_least(a) && at_most(b)) || (at_most(a) && at_least(b));
    return Answer(inside != negated_);
  }

 private:
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
  Like(NodePtr value, NodePtr pattern, bool negated, bool ansi)
      : value_(std::move(value)), pattern_(std::move(pattern)), negated_(negated), ansi_(ansi) {}
  const Datum& Evaluate(Context& context) override {
    const Datum& value = value_->Evaluate(context);
    const Datum& pattern = pattern_->Evaluate(context);
    if (value.null() || pattern.null()) return Answer(std::nullopt);
    text_.clear();
    AppendText(pattern, LanguageOf(context.order), text_);
    if (!compiled_ || text_ != compiled_text_) {
      compiled_.emplace(context.order, text_, ansi_);
      compiled_text_ = text_;
    }
    text_.clear();
    AppendText(value, LanguageOf(context.order), text_);
    return Answer(compiled_->Matches(text_) != negated_);
  }

 private:
  NodePtr value_, pattern_;
  bool negated_, ansi_;
  std::string text_, compiled_text_;
  std::optional<LikePattern> compiled_;
};

}  // namespace

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

NodePtr MakeNot(NodePtr operand) { return std::make_unique<Not>(std::move(operand)); }

NodePtr MakeCondition(Operator op, NodePtr left, NodePtr right) {
  if (op <= Operator::kAnd) {
    return std::make_unique<Logical>(op, std::move(left), std::move(right));
  }
  return std::make_unique<Comparison>(op, std::move(left), std::move(right));
}

NodePtr MakeIsNull(NodePtr operand, bool negated) {
  return std::make_unique<IsNull>(std::move(operand), negated);
}
NodePtr MakeLike(NodePtr value, NodePtr pattern, bool negated, bool ansi) {
  return std::make_unique<Like>(std::move(value), std::move(pattern), negated, ansi);
}
NodePtr MakeBetween(std::vector<NodePtr> operands, bool negated) {
  return std::make_unique<Between>(std::move(operands), negated);
}
NodePtr MakeIn(std::vector<NodePtr> operands, bool negated) {
  return std::make_unique<In>(std::move(operands), negated);
}

}  // namespace sql
