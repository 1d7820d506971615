#include "sql/run/compiler.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "jet/base/ascii.h"
#include "jet/sort/name.h"
#include "sql/error.h"
#include "sql/run/call.h"
#include "sql/run/subquery.h"
#include "sql/text/walk.h"

namespace sql {
namespace {

struct AggregateName {
  std::string_view name;
  Aggregation function;
};
constexpr std::array<AggregateName, 11> kAggregates = {{
    {"Sum", Aggregation::kSum},
    {"Count", Aggregation::kCount},
    {"Min", Aggregation::kMin},
    {"Max", Aggregation::kMax},
    {"Avg", Aggregation::kAvg},
    {"First", Aggregation::kFirst},
    {"Last", Aggregation::kLast},
    {"StDev", Aggregation::kStDev},
    {"StDevP", Aggregation::kStDevP},
    {"Var", Aggregation::kVar},
    {"VarP", Aggregation::kVarP},
}};

std::optional<Aggregation> AggregateOf(const Expr& expr) {
  if (expr.kind != Expr::Kind::kCall) return std::nullopt;
  for (const AggregateName& each : kAggregates) {
    if (!jet::EqualsAsciiCase(each.name, expr.name)) continue;
    const bool star = expr.args.size() == 1 && expr.args[0]->kind == Expr::Kind::kStar;
    if (expr.args.size() != 1 || (star && each.function != Aggregation::kCount)) {
      throw Error(ErrorCode::kBadQuery, fmt::format("{} takes one expression", each.name));
    }
    return star ? Aggregation::kCountRows : each.function;
  }
  return std::nullopt;
}

TypeInfo AggregateType(Aggregation function, const Node* argument) {
  switch (function) {
    case Aggregation::kSum:
    case Aggregation::kAvg:
      if (argument->type().type == jet::ColumnType::kCurrency) return argument->type();
      return {jet::ColumnType::kDouble, 0};
    case Aggregation::kStDev:
    case Aggregation::kStDevP:
    case Aggregation::kVar:
    case Aggregation::kVarP:
      return {jet::ColumnType::kDouble, 0};
    case Aggregation::kCount:
    case Aggregation::kCountRows:
      return {jet::ColumnType::kLong, 0};
    default:
      // A Numeric has no scale of its own outside of its column.
      if (argument->type().type == jet::ColumnType::kNumeric) return {jet::ColumnType::kDouble, 0};
      if (argument->type().type == jet::ColumnType::kBoolean) {
        return {jet::ColumnType::kInteger, 0};
      }
      return argument->type();
  }
}

}  // namespace

Compiler::Compiler(Environment& environment, const Select& select, Scope& scope, Context& context,
                   Compiler* outer)
    : environment_(environment), select_(select), scope_(scope), context_(context), outer_(outer) {}

void Compiler::Group(const std::vector<SqlText>& grouped) {
  grouping_ = true;
  for (const SqlText& each : grouped) grouped_.push_back(Canonical(*each.tree));
}

bool Compiler::HasAggregate(const Expr& expr) {
  if (AggregateOf(expr)) return true;
  return std::any_of(expr.args.begin(), expr.args.end(),
                     [](const ExprPtr& arg) { return HasAggregate(*arg); });
}

// --- what names mean ---

const Parameter* Compiler::Declared(std::string_view name) const {
  for (const Compiler* each = this; each != nullptr; each = each->outer_) {
    for (const Parameter& parameter : each->select_.parameters) {
      if (SameParameter(parameter.name, name)) return &parameter;
    }
  }
  return nullptr;
}

bool Compiler::ansi_wildcards() const {
  return outer_ != nullptr ? outer_->ansi_wildcards() : select_.ansi_wildcards;
}

std::optional<ColumnRef> Compiler::LocalColumn(const Expr& expr) const {
  const Expr& bare = Bare(expr);
  if (bare.kind != Expr::Kind::kColumn) return std::nullopt;
  if (bare.qualifier.empty() && Declared(bare.name) != nullptr) return std::nullopt;
  return scope_.TryColumn(bare);
}

const OutputItem* Compiler::AliasOf(const Expr& expr) const {
  if (!aliases_ || !expr.qualifier.empty() || Declared(expr.name) != nullptr) return nullptr;
  for (const OutputItem& each : select_.outputs) {
    if (!each.star && each.alias && jet::SameName(environment_.order(), *each.alias, expr.name)) {
      return &each;
    }
  }
  return nullptr;
}

SourceSet Compiler::SourcesOf(const Expr& expr) const {
  SourceSet sources;
  if (expr.kind == Expr::Kind::kColumn) {
    if (const auto ref = LocalColumn(expr)) sources.set(ref->source);
  }
  if (expr.query) {
    ForEachColumn(*expr.query, [&](const Expr& column) { sources |= scope_.CandidatesOf(column); });
  }
  for (const ExprPtr& arg : expr.args) sources |= SourcesOf(*arg);
  return sources;
}

bool Compiler::MayReadOuter(const Expr& expr) const {
  if (outer_ == nullptr) return false;
  if (expr.query) return true;
  if (expr.kind == Expr::Kind::kColumn && !LocalColumn(expr)) return true;
  return std::any_of(expr.args.begin(), expr.args.end(),
                     [this](const ExprPtr& arg) { return MayReadOuter(*arg); });
}

std::string Compiler::Canonical(const Expr& expr) const {
  if (expr.kind == Expr::Kind::kParen) return Canonical(*expr.args[0]);
  if (const auto ref = LocalColumn(expr)) return fmt::format("[{}.{}]", ref->source, ref->ordinal);
  std::string text = fmt::format("({} {} {}{}", static_cast<int>(expr.kind),
                                 static_cast<int>(expr.op), expr.negated, expr.ansi);
  text += jet::AsciiLower(expr.qualifier) + '.' + jet::AsciiLower(expr.name);
  if (expr.kind == Expr::Kind::kLiteral) {
    Datum value;
    FromValue(expr.value, 0, value);
    AppendRawKey(value, text);
  }
  for (const ExprPtr& arg : expr.args) text += Canonical(*arg);
  return text + ")";
}

// --- expressions ---

std::vector<NodePtr> Compiler::CompileAll(const Expr& expr) {
  std::vector<NodePtr> nodes;
  for (const ExprPtr& arg : expr.args) nodes.push_back(Compile(*arg));
  return nodes;
}

bool Compiler::IsGrouped(const Expr& expr) const {
  return std::find(grouped_.begin(), grouped_.end(), Canonical(expr)) != grouped_.end();
}

NodePtr Compiler::Compile(const Expr& expr) {
  if (grouping_ && !inside_group_ && expr.kind != Expr::Kind::kLiteral && !HasAggregate(expr) &&
      IsGrouped(expr)) {
    inside_group_ = true;
    NodePtr node = Compile(expr);
    inside_group_ = false;
    return node;
  }
  switch (expr.kind) {
    case Expr::Kind::kLiteral:
      return MakeLiteral(expr.value);
    case Expr::Kind::kColumn:
      return CompileColumn(expr);
    case Expr::Kind::kParen:
      return Compile(*expr.args[0]);
    case Expr::Kind::kNot:
      return MakeNot(Compile(*expr.args[0]));
    case Expr::Kind::kNegate:
      return MakeNegate(Compile(*expr.args[0]));
    case Expr::Kind::kBinary: {
      NodePtr left = Compile(*expr.args[0]);
      return MakeBinary(expr.op, std::move(left), Compile(*expr.args[1]));
    }
    case Expr::Kind::kIsNull:
      return MakeIsNull(Compile(*expr.args[0]), expr.negated);
    case Expr::Kind::kLike: {
      NodePtr value = Compile(*expr.args[0]);
      return MakeLike(std::move(value), Compile(*expr.args[1]), expr.negated,
                      expr.ansi || ansi_wildcards());
    }
    case Expr::Kind::kBetween:
      return MakeBetween(CompileAll(expr), expr.negated);
    case Expr::Kind::kIn:
      if (expr.args[1]->query) return CompileSubquery(expr);
      return MakeIn(CompileAll(expr), expr.negated);
    case Expr::Kind::kCall:
      return CompileCall(expr);
    case Expr::Kind::kSubquery:
    case Expr::Kind::kExists:
    case Expr::Kind::kAny:
    case Expr::Kind::kAll:
      return CompileSubquery(expr);
    case Expr::Kind::kParameter:
      return CompileParameter(expr, expr.name);
    case Expr::Kind::kStar:
      break;
  }
  throw Error(ErrorCode::kBadQuery, "* stands where an expression belongs");
}

NodePtr Compiler::CompileSubquery(const Expr& expr) {
  const Expr& query = expr.query ? expr : *expr.args.back();
  std::unique_ptr<Plan> plan = environment_.plan_subquery(*query.query, *this);
  switch (expr.kind) {
    case Expr::Kind::kSubquery:
      return MakeScalar(std::move(plan));
    case Expr::Kind::kExists:
      return MakeExists(std::move(plan));
    case Expr::Kind::kIn:
      return MakeInQuery(Compile(*expr.args[0]), std::move(plan), expr.negated);
    default:
      return MakeQuantified(expr.op, expr.kind == Expr::Kind::kAll, Compile(*expr.args[0]),
                            std::move(plan));
  }
}

NodePtr Compiler::CompileColumn(const Expr& expr) {
  const Parameter* declared = expr.qualifier.empty() ? Declared(expr.name) : nullptr;
  if (declared != nullptr) return CompileParameter(expr, expr.name);
  if (const auto ref = scope_.TryColumn(expr)) {
    if (grouping_ && !inside_group_) {
      throw Error(ErrorCode::kBadQuery,
                  fmt::format("{} is neither grouped nor aggregated", ColumnText(expr)));
    }
    scope_.Use(*ref);
    const SourceColumn& column = scope_.column(*ref);
    return MakeColumn(ref->source, ref->ordinal, {column.type, column.max_chars});
  }
  if (const OutputItem* item = AliasOf(expr)) return CompileAlias(expr, *item);
  if (NodePtr node = CompileOuter(expr)) return node;
  // A designer writes some functions without parentheses.
  for (const std::string_view each : {"Date", "Now", "Time"}) {
    if (expr.qualifier.empty() && jet::EqualsAsciiCase(expr.name, each)) {
      return MakeCall({environment_.order(), environment_.now()}, expr, {});
    }
  }
  // A source that is there has no such column; else the parts are those of a path.
  if (!expr.qualifier.empty() && scope_.TrySource(expr.qualifier)) ThrowUnknown(expr);
  return CompileParameter(expr, ColumnText(expr));
}

NodePtr Compiler::CompileAlias(const Expr& expr, const OutputItem& item) {
  if (std::find(expanding_.begin(), expanding_.end(), &item) != expanding_.end()) {
    throw Error(ErrorCode::kBadQuery, fmt::format("the alias {} refers to itself", expr.name));
  }
  expanding_.push_back(&item);
  NodePtr node = Compile(*item.expression.tree);
  expanding_.pop_back();
  return node;
}

NodePtr Compiler::CompileOuter(const Expr& expr) {
  for (Compiler* around = outer_; around != nullptr; around = around->outer_) {
    const auto ref = around->LocalColumn(expr);
    if (!ref) continue;
    if (around->grouping_ && !around->inside_group_ && !around->IsGrouped(expr)) {
      throw Error(ErrorCode::kBadQuery,
                  fmt::format("{} is neither grouped nor aggregated", ColumnText(expr)));
    }
    around->scope_.Use(*ref);
    const SourceColumn& column = around->scope_.column(*ref);
    const OuterColumn read{&around->context_, *ref, {column.type, column.max_chars}};
    for (Compiler* each = this; each != around; each = each->outer_) {
      const bool known = std::any_of(
          each->outer_columns_.begin(), each->outer_columns_.end(), [&](const OuterColumn& other) {
            return other.context == read.context && other.ref == read.ref;
          });
      if (!known) each->outer_columns_.push_back(read);
    }
    return MakeOuterColumn(*read.context, ref->source, ref->ordinal, read.type);
  }
  return nullptr;
}

std::vector<NodePtr> Compiler::TakeOuterColumns() {
  std::vector<NodePtr> nodes;
  for (const OuterColumn& each : outer_columns_) {
    nodes.push_back(MakeOuterColumn(*each.context, each.ref.source, each.ref.ordinal, each.type));
  }
  return nodes;
}

NodePtr Compiler::CompileParameter(const Expr& expr, std::string name) {
  const Parameter* declared = Declared(name);
  const Parameter parameter = declared != nullptr ? *declared : Parameter{std::move(name), 0};
  const auto value = environment_.ValueOf(parameter);
  if (!value) {
    if (declared == nullptr && expr.kind == Expr::Kind::kColumn) ThrowUnknown(expr);
    throw Error(ErrorCode::kUnresolved, NoValue(parameter)).Of(parameter.name);
  }
  const auto type = static_cast<jet::ColumnType>(parameter.type);
  if (jet::IsKnownType(type) && type != jet::ColumnType::kNumeric) {
    return MakeLiteral(*value, {type, 0});
  }
  return MakeLiteral(*value);
}

void Compiler::ThrowUnknown(const Expr& expr) const {
  const std::string name = ColumnText(expr);
  if (!expr.qualifier.empty() && !scope_.TrySource(expr.qualifier)) {
    throw Error(ErrorCode::kUnresolved,
                fmt::format("{} is not a source of the query", expr.qualifier))
        .Of(expr.qualifier);
  }
  if (!expr.qualifier.empty()) {
    throw Error(ErrorCode::kUnresolved, fmt::format("there is no column {}", name)).Of(name);
  }
  throw Error(ErrorCode::kUnresolved,
              fmt::format("there is no column {}, and no value for a parameter of that name", name))
      .Of(name);
}

NodePtr Compiler::CompileCall(const Expr& expr) {
  if (const auto aggregate = AggregateOf(expr)) return CompileAggregate(expr, *aggregate);
  const bool star = std::any_of(expr.args.begin(), expr.args.end(),
                                [](const ExprPtr& arg) { return arg->kind == Expr::Kind::kStar; });
  if (star) throw Error(ErrorCode::kBadQuery, fmt::format("{} cannot take *", expr.name));
  return MakeCall({environment_.order(), environment_.now()}, expr, CompileAll(expr));
}

NodePtr Compiler::CompileAggregate(const Expr& expr, Aggregation function) {
  if (!grouping_ || inside_group_) {
    throw Error(ErrorCode::kBadQuery, fmt::format("{} cannot stand here", expr.name));
  }
  const std::string text = Canonical(expr);
  const auto known = std::find_if(aggregates_.begin(), aggregates_.end(),
                                  [&](const Aggregate& each) { return each.text == text; });
  if (known != aggregates_.end()) {
    return MakeAggregateRef(static_cast<std::size_t>(known - aggregates_.begin()), known->type);
  }
  Aggregate aggregate{.function = function, .argument = nullptr, .text = text, .type = {}};
  if (function != Aggregation::kCountRows) {
    inside_group_ = true;
    aggregate.argument = Compile(*expr.args[0]);
    inside_group_ = false;
  }
  aggregate.type = AggregateType(function, aggregate.argument.get());
  const TypeInfo type = aggregate.type;
  aggregates_.push_back(std::move(aggregate));
  return MakeAggregateRef(aggregates_.size() - 1, type);
}

}  // namespace sql
