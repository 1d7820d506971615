#include "sql/run/call.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <random>

#include "jet/base/ascii.h"
#include "jet/base/number.h"
#include "sql/error.h"
#include "sql/functions/function_table.h"

namespace sql {
namespace {

using jet::ColumnType;

TypeInfo TypeOfResult(Result result, const std::vector<NodePtr>& arguments) {
  switch (result) {
    case Result::kTruth:
      return kTruthType;
    case Result::kBoolean:
      return {ColumnType::kBoolean, 0};
    case Result::kByte:
      return {ColumnType::kByte, 0};
    case Result::kInteger:
      return {ColumnType::kInteger, 0};
    case Result::kLong:
      return {ColumnType::kLong, 0};
    case Result::kSingle:
      return {ColumnType::kSingle, 0};
    case Result::kDouble:
      return {ColumnType::kDouble, 0};
    case Result::kCurrency:
      return {ColumnType::kCurrency, 0};
    case Result::kDate:
      return {ColumnType::kDateTime, 0};
    case Result::kText:
      return {ColumnType::kText, 0};
    case Result::kAsFirst:
      break;
  }
  const TypeInfo first = arguments[0]->type();
  switch (first.type) {
    case ColumnType::kByte:
    case ColumnType::kInteger:
    case ColumnType::kLong:
    case ColumnType::kCurrency:
    case ColumnType::kSingle:
    case ColumnType::kDateTime:
      return {first.type, 0};
    case ColumnType::kBoolean:
      return kTruthType;
    default:
      return {ColumnType::kDouble, 0};
  }
}

class Call : public Node {
 public:
  Call(const FunctionContext& context, const Function& function, bool strict,
       std::vector<NodePtr> arguments)
      : Node(TypeOfResult(function.result, arguments)),
        context_(context),
        function_(function),
        nulls_(strict ? Nulls::kRefused : function.nulls),
        arguments_(std::move(arguments)),
        values_(arguments_.size()) {}

  const Datum& Evaluate(Context& context) override {
    for (std::size_t i = 0; i < arguments_.size(); ++i) {
      values_[i] = &arguments_[i]->Evaluate(context);
      if (!values_[i]->null() || nulls_ == Nulls::kOwn) continue;
      if (nulls_ == Nulls::kRefused) Fail("invalid use of Null");
      result_.SetNull();
      return result_;
    }
    try {
      function_.apply(context_, values_, result_);
    } catch (const Error& error) {
      Fail(error.what());
    }
    return result_;
  }

 private:
  [[noreturn]] void Fail(std::string_view why) const {
    throw Error(ErrorCode::kBadValue, fmt::format("{}: {}", function_.name, why));
  }

  FunctionContext context_;
  const Function& function_;
  Nulls nulls_;
  std::vector<NodePtr> arguments_;
  std::vector<const Datum*> values_;
};

// IIf(condition, a, b), Switch(condition, a, condition, b ...): the first value whose
// condition holds; of IIf the last value where none does.
class Conditional : public Node {
 public:
  Conditional(TypeInfo type, std::vector<NodePtr> arguments)
      : Node(type), arguments_(std::move(arguments)) {}
  const Datum& Evaluate(Context& context) override {
    for (std::size_t i = 0; i + 1 < arguments_.size(); i += 2) {
      if (Holds(*arguments_[i], context)) return arguments_[i + 1]->Evaluate(context);
    }
    if (arguments_.size() % 2 == 1) return arguments_.back()->Evaluate(context);
    result_.SetNull();
    return result_;
  }

 private:
  std::vector<NodePtr> arguments_;
};

class Choose : public Node {
 public:
  Choose(TypeInfo type, std::vector<NodePtr> arguments)
      : Node(type), arguments_(std::move(arguments)) {}
  const Datum& Evaluate(Context& context) override {
    const Datum& index = arguments_[0]->Evaluate(context);
    if (index.null()) throw Error(ErrorCode::kBadValue, "Choose: invalid use of Null");
    const auto at = jet::RoundHalfEven<std::int32_t>(NeedNumber(index));
    if (at && *at >= 1 && static_cast<std::size_t>(*at) < arguments_.size()) {
      return arguments_[static_cast<std::size_t>(*at)]->Evaluate(context);
    }
    result_.SetNull();
    return result_;
  }

 private:
  std::vector<NodePtr> arguments_;
};

class Nz : public Node {
 public:
  Nz(TypeInfo type, std::vector<NodePtr> arguments)
      : Node(type), arguments_(std::move(arguments)) {}
  const Datum& Evaluate(Context& context) override {
    const Datum& value = arguments_[0]->Evaluate(context);
    if (!value.null()) return value;
    if (arguments_.size() > 1) return arguments_[1]->Evaluate(context);
    result_.SetText({});
    return result_;
  }

 private:
  std::vector<NodePtr> arguments_;
};

// The same numbers in every run. Without an argument that is a column, one for the query.
class Rnd : public Node {
 public:
  explicit Rnd(std::vector<NodePtr> arguments)
      : Node({ColumnType::kSingle, 0}), arguments_(std::move(arguments)) {}
  const Datum& Evaluate(Context& context) override {
    if (!arguments_.empty()) arguments_[0]->Evaluate(context);
    if (!drawn_ || !arguments_.empty()) {
      constexpr double kRange = 16777216;
      result_.SetNumber(Datum::Kind::kDouble, static_cast<double>(random_() >> 8) / kRange);
      drawn_ = true;
    }
    return result_;
  }

 private:
  std::vector<NodePtr> arguments_;
  std::mt19937 random_{327680};
  bool drawn_ = false;
};

bool IsWhole(ColumnType type) {
  return type == ColumnType::kByte || type == ColumnType::kInteger || type == ColumnType::kLong;
}
bool IsNumber(ColumnType type) {
  return IsWhole(type) || type == ColumnType::kCurrency || type == ColumnType::kSingle ||
         type == ColumnType::kDouble || type == ColumnType::kNumeric ||
         type == ColumnType::kBoolean;
}

// Of those arguments of a call that are values, Null left out.
TypeInfo TypeOfValues(const Expr& call, const std::vector<NodePtr>& arguments, std::size_t first,
                      std::size_t step) {
  std::optional<TypeInfo> type;
  const auto add = [&](std::size_t i) {
    const Expr& bare = Bare(*call.args[i]);
    if (bare.kind == Expr::Kind::kLiteral && jet::IsNull(bare.value)) return;
    type = type ? CommonType(*type, arguments[i]->type()) : arguments[i]->type();
  };
  for (std::size_t i = first; i < arguments.size(); i += step) add(i);
  return type.value_or(TypeInfo{ColumnType::kText, 0});
}

[[noreturn]] void WrongCount(std::string_view name) {
  throw Error(ErrorCode::kBadQuery, fmt::format("{}: wrong number of arguments", name));
}

// The functions that do not compute all of their arguments; nullptr for others.
NodePtr MakeChoice(const Expr& call, std::vector<NodePtr>& arguments) {
  const auto is = [&](std::string_view name) { return jet::EqualsAsciiCase(call.name, name); };
  const std::size_t count = arguments.size();
  if (is("IIf")) {
    if (count != 3) WrongCount(call.name);
    const TypeInfo type = TypeOfValues(call, arguments, 1, 1);
    return std::make_unique<Conditional>(type, std::move(arguments));
  }
  if (is("Switch")) {
    if (count == 0 || count % 2 != 0) WrongCount(call.name);
    const TypeInfo type = TypeOfValues(call, arguments, 1, 2);
    return std::make_unique<Conditional>(type, std::move(arguments));
  }
  if (is("Choose")) {
    if (count < 2) WrongCount(call.name);
    const TypeInfo type = TypeOfValues(call, arguments, 1, 1);
    return std::make_unique<Choose>(type, std::move(arguments));
  }
  if (is("Nz")) {
    if (count < 1 || count > 2) WrongCount(call.name);
    const TypeInfo type =
        count == 2 ? TypeOfValues(call, arguments, 0, 1) : TypeInfo{arguments[0]->type()};
    return std::make_unique<Nz>(type, std::move(arguments));
  }
  if (is("Rnd")) {
    if (count > 1) WrongCount(call.name);
    return std::make_unique<Rnd>(std::move(arguments));
  }
  return nullptr;
}

}  // namespace

TypeInfo CommonType(TypeInfo a, TypeInfo b) {
  if (a.type == b.type) return {a.type, std::max(a.max_chars, b.max_chars)};
  if (IsWhole(a.type) && IsWhole(b.type)) return {ColumnType::kLong, 0};
  const auto currency_or_whole = [](ColumnType type) {
    return type == ColumnType::kCurrency || IsWhole(type);
  };
  if (currency_or_whole(a.type) && currency_or_whole(b.type)) return {ColumnType::kCurrency, 0};
  if (IsNumber(a.type) && IsNumber(b.type)) return {ColumnType::kDouble, 0};
  if (jet::IsLongValue(a.type) || jet::IsLongValue(b.type)) return {ColumnType::kMemo, 0};
  return {ColumnType::kText, 0};
}

NodePtr MakeCall(const FunctionContext& context, const Expr& call, std::vector<NodePtr> arguments) {
  if (NodePtr choice = MakeChoice(call, arguments)) return choice;
  const Function* function = FindFunction(call.name);
  if (function == nullptr) {
    const std::string_view why = WhyNoFunction(call.name);
    throw Error(ErrorCode::kNotSupported,
                why.empty() ? fmt::format("undefined function {}", call.name)
                            : fmt::format("the function {} is not supported: {}", call.name, why));
  }
  if (arguments.size() < function->least || arguments.size() > function->most) {
    WrongCount(function->name);
  }
  return std::make_unique<Call>(context, *function, call.name.ends_with('$'), std::move(arguments));
}

}  // namespace sql
