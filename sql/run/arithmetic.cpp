// Expressions that compute a number or join texts.
#include <cmath>
#include <limits>

#include "jet/base/number.h"
#include "sql/error.h"
#include "sql/run/expression.h"
#include "sql/values/number_text.h"

namespace sql {
namespace {

using Kind = Datum::Kind;
using jet::ColumnType;

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
bool IsCurrency(const Node& node) { return node.type().type == ColumnType::kCurrency; }

// What Long, Double and Date make of each other.
TypeInfo ArithmeticType(Operator op, const Node& a, const Node& b) {
  if (op == Operator::kModulo || op == Operator::kIntegerDivide) return {ColumnType::kLong, 0};
  if (op == Operator::kAdd && a.is_text() && b.is_text()) return {ColumnType::kText, 0};
  const bool sum = op == Operator::kAdd || op == Operator::kSubtract;
  if (sum && IsDate(a) != IsDate(b)) return {ColumnType::kDateTime, 0};
  const bool exact = (IsWhole(a) || IsCurrency(a)) && (IsWhole(b) || IsCurrency(b));
  if ((sum || op == Operator::kMultiply) && exact) {
    return {IsCurrency(a) || IsCurrency(b) ? ColumnType::kCurrency : ColumnType::kLong, 0};
  }
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
        const double x = Whole(a), y = Whole(b);
        RequireDivisor(y);
        return op_ == Operator::kModulo ? std::fmod(x, y) : std::trunc(x / y);
      }
    }
  }

  static void RequireDivisor(double number) {
    if (number == 0) throw Error(ErrorCode::kBadValue, "division by zero");
  }

  static std::int32_t Whole(double number) {
    const auto whole = jet::RoundHalfEven<std::int32_t>(number);
    if (!whole) throw Error(ErrorCode::kBadValue, "a computed number is out of range");
    return *whole;
  }

  double Checked(double number) const {
    constexpr double kMax = std::numeric_limits<std::int32_t>::max();
    if (!std::isfinite(number) || (IsWhole(*this) && !(number >= -kMax - 1 && number <= kMax))) {
      throw Error(ErrorCode::kBadValue, "a computed number is out of range");
    }
    return IsCurrency(*this) ? RoundDecimals(number, 4) : number;
  }

  Operator op_;
  NodePtr left_, right_;
};

class Negate : public Node {
 public:
  explicit Negate(NodePtr operand)
      : Node({IsWhole(*operand)      ? ColumnType::kLong
              : IsCurrency(*operand) ? ColumnType::kCurrency
                                     : ColumnType::kDouble,
              0}),
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
    AppendText(a, LanguageOf(context.order), result_.text);
    AppendText(b, LanguageOf(context.order), result_.text);
    return result_;
  }

 private:
  NodePtr left_, right_;
};

}  // namespace

NodePtr MakeNegate(NodePtr operand) { return std::make_unique<Negate>(std::move(operand)); }

NodePtr MakeArithmetic(Operator op, NodePtr left, NodePtr right) {
  if (op == Operator::kConcatenate) {
    return std::make_unique<Concatenation>(std::move(left), std::move(right));
  }
  return std::make_unique<Arithmetic>(op, std::move(left), std::move(right));
}

}  // namespace sql
