#include "sql/run/compiler.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>

#include "jet/base/ascii.h"
#include "jet/sort/name.h"
#include "sql/error.h"
#include "sql/text/lexer.h"

namespace sql {
namespace {

struct AggregateName {
  std::string_view name;
  Aggregation function;
};
constexpr std::array<AggregateName, 7> kAggregates = {{
    {"Sum", Aggregation::kSum},
    {"Count", Aggregation::kCount},
    {"Min", Aggregation::kMin},
    {"Max", Aggregation::kMax},
    {"Avg", Aggregation::kAvg},
    {"First", Aggregation::kFirst},
    {"Last", Aggregation::kLast},
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

std::string ColumnText(const Expr& expr) {
  return expr.qualifier.empty() ? expr.name : fmt::format("{}.{}", expr.qualifier, expr.name);
}

TypeInfo AggregateType(Aggregation function, const Node* argument) {
  switch (function) {
    case Aggregation::kSum:
    case Aggregation::kAvg:
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

std::string NoValue(std::string_view parameter) {
  return fmt::format("parameter {} has no value", parameter);
}

void Scope::Add(const std::string& name, const std::vector<SourceColumn>& columns) {
  if (sources_.size() == kMaxSources) throw Error(ErrorCode::kNotSupported, "too many sources");
  if (TrySource(name)) {
    throw Error(ErrorCode::kUnresolved, fmt::format("two sources are called {}", name)).Of(name);
  }
  Entry entry{name, jet::NameKey(order_, name), columns, {}, std::vector<bool>(columns.size())};
  for (const SourceColumn& column : columns) {
    entry.keys.push_back(jet::NameKey(order_, column.name));
  }
  sources_.push_back(std::move(entry));
}

std::optional<std::size_t> Scope::TrySource(std::string_view name) const {
  const std::string key = jet::NameKey(order_, name);
  const auto found = std::find_if(sources_.begin(), sources_.end(),
                                  [&](const Entry& each) { return each.key == key; });
  if (found == sources_.end()) return std::nullopt;
  return static_cast<std::size_t>(found - sources_.begin());
}

std::size_t Scope::FindSource(std::string_view name) const {
  if (const auto source = TrySource(name)) return *source;
  throw Error(ErrorCode::kUnresolved, fmt::format("{} is not a source of the query", name))
      .Of(name);
}

std::optional<std::size_t> Scope::ColumnOf(const Entry& entry, std::string_view key) const {
  const auto found = std::find(entry.keys.begin(), entry.keys.end(), key);
  if (found == entry.keys.end()) return std::nullopt;
  return static_cast<std::size_t>(found - entry.keys.begin());
}

std::optional<ColumnRef> Scope::TryColumn(const Expr& column) const {
  const std::string key = jet::NameKey(order_, column.name);
  if (!column.qualifier.empty()) {
    const auto source = TrySource(column.qualifier);
    const auto ordinal = source ? ColumnOf(sources_[*source], key) : std::nullopt;
    if (!ordinal) return std::nullopt;
    return ColumnRef{*source, *ordinal};
  }
  std::optional<ColumnRef> found;
  for (std::size_t i = 0; i < sources_.size(); ++i) {
    const auto ordinal = ColumnOf(sources_[i], key);
    if (!ordinal) continue;
    if (found) {
      throw Error(ErrorCode::kUnresolved,
                  fmt::format("{} is a column of {} and of {}", column.name,
                              sources_[found->source].name, sources_[i].name));
    }
    found = ColumnRef{i, *ordinal};
  }
  return found;
}

ColumnRef Scope::FindColumn(const Expr& column) const {
  if (const auto ref = TryColumn(column)) return *ref;
  if (!column.qualifier.empty()) FindSource(column.qualifier);
  throw Error(ErrorCode::kUnresolved, fmt::format("there is no column {}", ColumnText(column)))
      .Of(ColumnText(column));
}

void Compiler::Group(const std::vector<SqlText>& grouped) {
  grouping_ = true;
  for (const SqlText& each : grouped) grouped_.push_back(Canonical(*each.tree));
}

bool Compiler::HasAggregate(const Expr& expr) {
  if (AggregateOf(expr)) return true;
  return std::any_of(expr.args.begin(), expr.args.end(),
                     [](const ExprPtr& arg) { return HasAggregate(*arg); });
}

SourceSet Compiler::SourcesOf(const Expr& expr) const {
  SourceSet sources;
  if (expr.kind == Expr::Kind::kColumn) sources.set(scope_.FindColumn(expr).source);
  for (const ExprPtr& arg : expr.args) sources |= SourcesOf(*arg);
  return sources;
}

std::string Compiler::Canonical(const Expr& expr) const {
  if (expr.kind == Expr::Kind::kParen) return Canonical(*expr.args[0]);
  if (expr.kind == Expr::Kind::kColumn) {
    const ColumnRef ref = scope_.FindColumn(expr);
    return fmt::format("[{}.{}]", ref.source, ref.ordinal);
  }
  std::string text = fmt::format("({} {} {}", static_cast<int>(expr.kind),
                                 static_cast<int>(expr.op), expr.negated);
  text += jet::AsciiLower(expr.name);
  if (expr.kind == Expr::Kind::kLiteral) {
    Datum value;
    FromValue(expr.value, 0, value);
    AppendRawKey(value, text);
  }
  for (const ExprPtr& arg : expr.args) text += Canonical(*arg);
  return text + ")";
}

std::vector<NodePtr> Compiler::CompileAll(const Expr& expr) {
  std::vector<NodePtr> nodes;
  for (const ExprPtr& arg : expr.args) nodes.push_back(Compile(*arg));
  return nodes;
}

NodePtr Compiler::Compile(const Expr& expr) {
  if (grouping_ && !inside_group_ && expr.kind != Expr::Kind::kLiteral && !HasAggregate(expr) &&
      std::find(grouped_.begin(), grouped_.end(), Canonical(expr)) != grouped_.end()) {
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
      return MakeLike(std::move(value), Compile(*expr.args[1]), expr.negated);
    }
    case Expr::Kind::kBetween:
      return MakeBetween(CompileAll(expr), expr.negated);
    case Expr::Kind::kIn:
      return MakeIn(CompileAll(expr), expr.negated);
    case Expr::Kind::kCall:
      return CompileCall(expr);
    case Expr::Kind::kSubquery:
      throw Error(ErrorCode::kNotSupported, "queries inside of expressions are not supported");
    case Expr::Kind::kParameter:
      throw Error(ErrorCode::kUnresolved, NoValue(expr.name));
    case Expr::Kind::kStar:
      break;
  }
  throw Error(ErrorCode::kBadQuery, "* stands where an expression belongs");
}

NodePtr Compiler::CompileColumn(const Expr& expr) {
  const ColumnRef ref = scope_.FindColumn(expr);
  if (grouping_ && !inside_group_) {
    throw Error(ErrorCode::kBadQuery,
                fmt::format("{} is neither grouped nor aggregated", ColumnText(expr)));
  }
  scope_.Use(ref);
  const SourceColumn& column = scope_.column(ref);
  return MakeColumn(ref.source, ref.ordinal, {column.type, column.max_chars});
}

NodePtr Compiler::CompileCall(const Expr& expr) {
  if (const auto aggregate = AggregateOf(expr)) return CompileAggregate(expr, *aggregate);
  throw Error(ErrorCode::kNotSupported, fmt::format("the function {} is not supported", expr.name));
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
