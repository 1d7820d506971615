#include "sql/run/planner.h"

#include <fmt/format.h>

#include <algorithm>
#include <numeric>

#include "jet/sort/name.h"
#include "sql/run/join_plan.h"
#include "sql/run/open_source.h"
#include "sql/run/planned_rows.h"

namespace sql {
namespace {

// Tables of a join up to this many rows are read into memory once.
constexpr double kSmallTable = 4096;

}  // namespace

Planner::Planner(Environment& environment, const Select& select, Compiler* outer)
    : environment_(environment),
      select_(select),
      plan_(std::make_unique<Plan>()),
      scope_(environment.order()),
      compiler_(environment, select, scope_, plan_->context, outer) {
  plan_->context.order = environment.order();
}

Planner::Planner(Environment& environment, const Select& select,
                 std::vector<std::unique_ptr<Source>> opened)
    : Planner(environment, select) {
  opened_ = std::move(opened);
}

std::unique_ptr<Plan> Planner::Run() {
  OpenSources();
  StepPtr step = PlanRows();
  step = PlanGroups(std::move(step));
  compiler_.AllowAliases();
  PlanOutputs();
  std::vector<SortKey> order = SortKeys();
  step = PlanHaving(std::move(step));
  step = FinishGroups(std::move(step));
  step = PlanDistinct(std::move(step));
  plan_->step = PlanOrder(std::move(step), std::move(order));
  plan_->outer = compiler_.TakeOuterColumns();
  FindBase();
  if (!environment_.lists_parameters()) LoadSources();
  return std::move(plan_);
}

void Planner::OpenSources() {
  if (select_.external) {
    const auto& [path, type] = *select_.external;
    throw Error(ErrorCode::kNotSupported,
                fmt::format("the tables lie in another file, which is not read: {}",
                            path.empty() ? type : path))
        .Of(path.empty() ? type : path);
  }
  for (const SourceItem& item : select_.sources) {
    const std::size_t number = plan_->context.sources.size();
    plan_->context.sources.push_back(number < opened_.size()
                                         ? std::move(opened_[number])
                                         : OpenSource(environment_, item, select_));
    scope_.Add(item.name(), plan_->context.sources.back()->columns());
  }
  plan_->context.handles.assign(select_.sources.size(), 0);
}

// Queries always, tables if they are small and take part in a join.
void Planner::LoadSources() {
  Context& context = plan_->context;
  for (std::size_t i = 0; i < context.sources.size(); ++i) {
    const bool query = dynamic_cast<QuerySource*>(context.sources[i].get()) != nullptr;
    const bool small = context.sources.size() > 1 && context.sources[i]->row_count() <= kSmallTable;
    if (!query && !small) continue;
    context.sources[i] = MemorySource::Load(*context.sources[i], scope_.used(i));
  }
}

bool Planner::OnReadsOuter(const FromNode& node) const {
  if (node.leaf()) return false;
  const bool here = std::any_of(node.on.begin(), node.on.end(), [this](const SqlText& term) {
    return compiler_.MayReadOuter(*term.tree);
  });
  return here || OnReadsOuter(*node.left) || OnReadsOuter(*node.right);
}

// `own expression = outer expression`, either way round.
bool Planner::AddLookupKey(const Expr& term, std::vector<JoinKey>& keys) {
  const Expr& equal = Bare(term);
  if (equal.kind != Expr::Kind::kBinary || equal.op != Operator::kEqual) return false;
  for (const std::size_t own : {0, 1}) {
    const Expr &mine = *equal.args[own], &other = *equal.args[1 - own];
    if (compiler_.MayReadOuter(mine) || compiler_.SourcesOf(mine).none()) continue;
    if (compiler_.SourcesOf(other).any()) continue;
    keys.push_back(MakeJoinKey(compiler_, other, mine));
    return true;
  }
  return false;
}

// Of a query within an expression, the rows are read once and looked up by what WHERE
// makes equal to the outer row.
StepPtr Planner::PlanRows() {
  Context& context = plan_->context;
  std::vector<ExprPtr> where, own, rest;
  if (select_.where) SplitAnd(select_.where->tree, where);
  const bool fixed = std::none_of(select_.from.begin(), select_.from.end(),
                                  [this](const auto& node) { return OnReadsOuter(*node); });
  std::vector<JoinKey> keys;
  if (fixed && !select_.from.empty()) {
    for (const ExprPtr& term : where) {
      if (!compiler_.MayReadOuter(*term)) {
        own.push_back(term);
      } else if (!AddLookupKey(*term, keys)) {
        rest.push_back(term);
      }
    }
  }
  if (keys.empty()) return PlanJoins(context, scope_, compiler_, select_, where);
  StepPtr step = PlanJoins(context, scope_, compiler_, select_, own);
  step = std::make_unique<LookupStep>(context, std::move(step), AllSources(), std::move(keys));
  if (rest.empty()) return step;
  std::vector<NodePtr> conditions;
  for (const ExprPtr& term : rest) conditions.push_back(compiler_.Compile(*term));
  return std::make_unique<FilterStep>(context, std::move(step), std::move(conditions));
}

std::vector<std::size_t> Planner::AllSources() const {
  std::vector<std::size_t> sources(plan_->context.sources.size());
  std::iota(sources.begin(), sources.end(), 0);
  return sources;
}

StepPtr Planner::PlanGroups(StepPtr step) {
  const auto has = [](const std::optional<SqlText>& text) {
    return text && Compiler::HasAggregate(*text->tree);
  };
  bool grouping = !select_.group_by.empty() || has(select_.having);
  for (const OutputItem& each : select_.outputs) {
    grouping = grouping || (!each.star && Compiler::HasAggregate(*each.expression.tree));
  }
  for (const OrderItem& each : select_.order_by) {
    grouping = grouping || Compiler::HasAggregate(*each.expression.tree);
  }
  if (!grouping) return step;
  for (const SqlText& each : select_.group_by) {
    group_keys_.push_back(compiler_.Compile(*each.tree));
  }
  compiler_.Group(select_.group_by);
  return step;
}

StepPtr Planner::PlanHaving(StepPtr step) {
  if (!select_.having) return step;
  if (!compiler_.grouping()) {
    throw Error(ErrorCode::kBadQuery, "HAVING stands without groups");
  }
  having_.push_back(compiler_.Compile(*select_.having->tree));
  return step;
}

StepPtr Planner::FinishGroups(StepPtr step) {
  if (!compiler_.grouping()) return step;
  aggregate_count_ = compiler_.aggregates().size();
  step = std::make_unique<GroupStep>(plan_->context, std::move(step), std::move(group_keys_),
                                     std::move(compiler_.aggregates()), AllSources());
  if (having_.empty()) return step;
  return std::make_unique<FilterStep>(plan_->context, std::move(step), std::move(having_));
}

void Planner::PlanOutputs() {
  if (select_.outputs.empty()) AddStar({});
  for (const OutputItem& item : select_.outputs) {
    if (item.star) {
      AddStar(item.star_qualifier);
    } else {
      AddOutput(item);
    }
  }
  if (plan_->columns.empty()) throw Error(ErrorCode::kBadQuery, "the query has no columns");
  TellNamesApart();
}

void Planner::AddStar(const std::string& qualifier) {
  if (compiler_.grouping()) {
    throw Error(ErrorCode::kBadQuery, "* cannot stand in a query with groups");
  }
  if (qualifier.empty() && scope_.size() == 0) {
    throw Error(ErrorCode::kBadQuery, "* stands without a table");
  }
  for (std::size_t i = 0; i < scope_.size(); ++i) {
    if (!qualifier.empty() && i != scope_.FindSource(qualifier)) continue;
    for (std::size_t k = 0; k < scope_.column_count(i); ++k) AddColumn({i, k});
  }
  if (!qualifier.empty()) scope_.FindSource(qualifier);
}

void Planner::AddColumn(ColumnRef ref) {
  scope_.Use(ref);
  const SourceColumn& column = scope_.column(ref);
  plan_->columns.push_back({column.name, column.type, column.max_chars, column.scale});
  plan_->outputs.push_back({nullptr, ref});
  aliased_.push_back(false);
}

void Planner::AddOutput(const OutputItem& item) {
  const Expr& expr = Bare(*item.expression.tree);
  NodePtr node = compiler_.Compile(expr);
  if (const auto ref = compiler_.LocalColumn(expr)) {
    AddColumn(*ref);
  } else {
    plan_->columns.push_back(
        {fmt::format("Expr{}", 1000 + expressions_), node->type().type, node->type().max_chars, 0});
    if (!item.alias) ++expressions_;
    plan_->outputs.push_back({std::move(node), std::nullopt});
    aliased_.push_back(true);
  }
  if (item.alias) {
    plan_->columns.back().name = *item.alias;
    aliased_.back() = true;
  }
}

// Columns whose name occurs twice get their table's name in front.
void Planner::TellNamesApart() {
  std::vector<std::string> keys;
  for (const OutputColumn& each : plan_->columns) {
    keys.push_back(jet::NameKey(plan_->context.order, each.name));
  }
  for (std::size_t i = 0; i < keys.size(); ++i) {
    if (aliased_[i] || std::count(keys.begin(), keys.end(), keys[i]) < 2) continue;
    OutputColumn& column = plan_->columns[i];
    column.name = fmt::format("{}.{}", scope_.name(plan_->outputs[i].ref->source), column.name);
  }
}

std::vector<SortKey> Planner::SortKeys() {
  std::vector<SortKey> keys;
  for (const OrderItem& item : select_.order_by) {
    keys.push_back({compiler_.Compile(SortExpression(item)), item.descending});
  }
  return keys;
}

// A number is the position of an output, a name that is not a column its alias.
const Expr& Planner::SortExpression(const OrderItem& item) const {
  const Expr& expr = Bare(*item.expression.tree);
  if (const auto* position = std::get_if<std::int32_t>(&expr.value);
      expr.kind == Expr::Kind::kLiteral && position != nullptr) {
    const auto index = static_cast<std::size_t>(*position - 1);
    const bool star = std::any_of(select_.outputs.begin(), select_.outputs.end(),
                                  [](const OutputItem& each) { return each.star; });
    if (index >= select_.outputs.size() || star) {
      throw Error(ErrorCode::kBadQuery, fmt::format("there is no output {}", *position));
    }
    return *select_.outputs[index].expression.tree;
  }
  if (expr.kind == Expr::Kind::kColumn && expr.qualifier.empty() && !scope_.TryColumn(expr)) {
    for (const OutputItem& output : select_.outputs) {
      if (output.alias && jet::SameName(plan_->context.order, *output.alias, expr.name)) {
        return *output.expression.tree;
      }
    }
  }
  return expr;
}

StepPtr Planner::PlanDistinct(StepPtr step) {
  if (select_.distinct) {
    for (const Output& each : plan_->outputs) plan_->distinct.push_back(ValueNode(each));
    return std::make_unique<DistinctStep>(plan_->context, std::move(step), plan_->distinct);
  }
  if (!select_.distinct_row || compiler_.grouping()) return step;
  std::vector<std::size_t> shown;
  for (std::size_t i = 0; i < scope_.size(); ++i) {
    const bool any =
        std::any_of(plan_->outputs.begin(), plan_->outputs.end(),
                    [i](const Output& each) { return !each.ref || each.ref->source == i; });
    if (any) shown.push_back(i);
  }
  if (shown.size() == scope_.size()) return step;
  return std::make_unique<DistinctRowStep>(plan_->context, std::move(step), std::move(shown));
}

// The value of an output for the second time.
NodePtr Planner::ValueNode(const Output& output) {
  if (output.ref) {
    const SourceColumn& column = scope_.column(*output.ref);
    return MakeColumn(output.ref->source, output.ref->ordinal, {column.type, column.max_chars});
  }
  const auto index = static_cast<std::size_t>(&output - plan_->outputs.data());
  return MakeAlias(*plan_->outputs[index].node);
}

StepPtr Planner::PlanOrder(StepPtr step, std::vector<SortKey> keys) {
  if (keys.empty() && select_.top.empty()) return step;
  std::optional<double> top;
  if (!select_.top.empty()) {
    top = ReadNumber(select_.top);
    if (!top || *top < 0) {
      throw Error(ErrorCode::kBadQuery, fmt::format("{} is not a count of rows", select_.top));
    }
  }
  return std::make_unique<SortStep>(plan_->context, std::move(step), std::move(keys), AllSources(),
                                    aggregate_count_, top, select_.percent);
}

// A query over one table whose columns are plain fields can be written through.
void Planner::FindBase() {
  if (scope_.size() != 1 || compiler_.grouping() || select_.distinct) return;
  for (const Output& each : plan_->outputs) {
    if (!each.ref) return;
  }
  auto* table = dynamic_cast<TableSource*>(plan_->context.sources[0].get());
  if (table == nullptr) return;
  table->set_walk(TableSource::Walk::kSteps);
  plan_->base = table;
}

}  // namespace sql
