#include "sql/run/join_plan.h"

#include <algorithm>
#include <limits>
#include <numeric>

#include "sql/run/join.h"

namespace sql {
namespace {

struct Condition {
  ExprPtr expr;
  SourceSet sources;
  std::string text;  // equal for equal ones
};

struct Tree {
  enum class Kind { kSource, kInner, kOuter };
  Kind kind = Kind::kSource;
  std::size_t source = 0;
  SourceSet sources;
  std::vector<std::unique_ptr<Tree>> children;  // kOuter: the kept side, then the other
  std::vector<Condition> conditions;            // kOuter: of its ON
  std::vector<Condition> filters;               // kOuter: checked above it
};
using TreePtr = std::unique_ptr<Tree>;

bool Within(const SourceSet& part, const SourceSet& whole) { return (part & ~whole).none(); }

// Above this many, only the smallest input is tried as the first of all.
constexpr std::size_t kMaxStarts = 32;

class JoinPlanner {
 public:
  JoinPlanner(Context& context, const Scope& scope, Compiler& compiler, const Select& select,
              const std::vector<ExprPtr>& where)
      : context_(context), scope_(scope), compiler_(compiler), select_(select), where_(where) {}

  StepPtr Plan() {
    if (select_.from.empty()) return PlanWithoutSources();
    TreePtr root = Group();
    for (const auto& node : select_.from) AddToGroup(*root, Lower(*node));
    for (const ExprPtr& term : where_) Push(*root, MakeCondition(term));
    JoinInput joined = Build(*root);
    if (joined.filters.empty()) return std::move(joined.step);
    return std::make_unique<FilterStep>(context_, std::move(joined.step),
                                        std::move(joined.filters));
  }

 private:
  StepPtr PlanWithoutSources() {
    StepPtr step = std::make_unique<SingleStep>();
    if (where_.empty()) return step;
    std::vector<NodePtr> conditions;
    for (const ExprPtr& term : where_) conditions.push_back(compiler_.Compile(*term));
    return std::make_unique<FilterStep>(context_, std::move(step), std::move(conditions));
  }

  Condition MakeCondition(const ExprPtr& expr) const {
    return {expr, compiler_.SourcesOf(*expr), compiler_.Canonical(*expr)};
  }

  // --- the tree of joins, inner ones flat ---

  static TreePtr Group() {
    auto tree = std::make_unique<Tree>();
    tree->kind = Tree::Kind::kInner;
    return tree;
  }

  static void AddToGroup(Tree& group, TreePtr child) {
    group.sources |= child->sources;
    if (child->kind != Tree::Kind::kInner) {
      group.children.push_back(std::move(child));
      return;
    }
    for (TreePtr& each : child->children) group.children.push_back(std::move(each));
    for (Condition& each : child->conditions) group.conditions.push_back(std::move(each));
  }

  TreePtr Lower(const FromNode& node) {
    if (node.leaf()) {
      auto tree = std::make_unique<Tree>();
      tree->source = node.source;
      tree->sources.set(node.source);
      return tree;
    }
    TreePtr left = Lower(*node.left), right = Lower(*node.right);
    if (node.kind == JoinKind::kInner) {
      TreePtr group = Group();
      AddToGroup(*group, std::move(left));
      AddToGroup(*group, std::move(right));
      for (Condition& each : OnConditions(node)) Push(*group, std::move(each));
      return group;
    }
    if (node.kind == JoinKind::kRight) std::swap(left, right);
    auto outer = std::make_unique<Tree>();
    outer->kind = Tree::Kind::kOuter;
    outer->sources = left->sources | right->sources;
    for (Condition& each : OnConditions(node)) {
      // Rows of the kept side stay whatever the condition says of them.
      const bool other_only = each.sources.any() && Within(each.sources, right->sources);
      if (other_only) {
        Push(*right, std::move(each));
      } else {
        outer->conditions.push_back(std::move(each));
      }
    }
    outer->children.push_back(std::move(left));
    outer->children.push_back(std::move(right));
    return outer;
  }

  std::vector<Condition> OnConditions(const FromNode& node) const {
    std::vector<Condition> conditions;
    for (const SqlText& term : node.on) {
      std::vector<ExprPtr> terms;
      SplitAnd(term.tree, terms);
      for (const ExprPtr& each : terms) conditions.push_back(MakeCondition(each));
    }
    return conditions;
  }

  static void AddOnce(std::vector<Condition>& conditions, Condition condition) {
    const bool known =
        std::any_of(conditions.begin(), conditions.end(),
                    [&](const Condition& each) { return each.text == condition.text; });
    if (!known) conditions.push_back(std::move(condition));
  }

  // As far down as the condition may go.
  static void Push(Tree& tree, Condition condition) {
    if (tree.kind == Tree::Kind::kOuter) {
      if (Within(condition.sources, tree.children[0]->sources)) {
        return Push(*tree.children[0], std::move(condition));
      }
      return AddOnce(tree.filters, std::move(condition));
    }
    for (const TreePtr& child : tree.children) {
      if (Within(condition.sources, child->sources)) return Push(*child, std::move(condition));
    }
    AddOnce(tree.conditions, std::move(condition));
  }

  // --- the steps ---

  JoinInput Build(Tree& tree) {
    switch (tree.kind) {
      case Tree::Kind::kSource:
        return BuildSource(tree);
      case Tree::Kind::kOuter:
        return BuildOuter(tree);
      case Tree::Kind::kInner:
        break;
    }
    return BuildGroup(tree);
  }

  JoinInput BuildSource(const Tree& tree) {
    JoinInput input;
    input.step = std::make_unique<ScanStep>(context_, tree.source);
    input.sources = {tree.source};
    input.estimate = context_.sources[tree.source]->row_count();
    input.scan = true;
    AddFilters(input, tree.conditions);
    return input;
  }

  void AddFilters(JoinInput& input, const std::vector<Condition>& conditions) {
    for (const Condition& each : conditions) {
      input.filters.push_back(compiler_.Compile(*each.expr));
      input.estimate *= IsEquality(each) ? 0.1 : 0.5;
    }
  }

  static bool IsEquality(const Condition& condition) {
    const Expr& expr = Bare(*condition.expr);
    return expr.kind == Expr::Kind::kBinary && expr.op == Operator::kEqual;
  }

  JoinInput BuildOuter(Tree& tree) {
    JoinInput kept = Build(*tree.children[0]), other = Build(*tree.children[1]);
    const double estimate = std::max(kept.estimate, other.estimate);
    JoinInput joined = Join(std::move(kept), tree.children[0]->sources, std::move(other),
                            tree.children[1]->sources, tree.conditions, true);
    joined.estimate = estimate;
    AddFilters(joined, tree.filters);
    return joined;
  }

  JoinInput BuildGroup(Tree& tree) {
    std::vector<JoinInput> inputs;
    for (const TreePtr& child : tree.children) inputs.push_back(Build(*child));
    const std::vector<std::size_t> order = BestOrder(tree, inputs);

    SourceSet joined = tree.children[order[0]]->sources;
    JoinInput result = std::move(inputs[order[0]]);
    std::vector<Condition> waiting = std::move(tree.conditions);
    for (std::size_t i = 1; i < order.size(); ++i) {
      const SourceSet& next = tree.children[order[i]]->sources;
      const SourceSet both = joined | next;
      const auto ready =
          std::stable_partition(waiting.begin(), waiting.end(),
                                [&](const Condition& each) { return !Within(each.sources, both); });
      const std::vector<Condition> now(std::make_move_iterator(ready),
                                       std::make_move_iterator(waiting.end()));
      waiting.erase(ready, waiting.end());
      result = Join(std::move(result), joined, std::move(inputs[order[i]]), next, now, false);
      joined = both;
    }
    return result;
  }

  JoinInput Join(JoinInput left, const SourceSet& left_sources, JoinInput right,
                 const SourceSet& right_sources, const std::vector<Condition>& conditions,
                 bool outer) {
    std::vector<JoinKey> keys;
    std::vector<NodePtr> rest;
    for (const Condition& each : conditions) {
      const auto sides = KeySides(each, left_sources, right_sources);
      if (sides.first == nullptr) {
        rest.push_back(compiler_.Compile(*each.expr));
      } else {
        keys.push_back(MakeJoinKey(compiler_, *sides.first, *sides.second));
      }
    }
    JoinInput joined;
    joined.estimate =
        keys.empty() ? left.estimate * right.estimate : std::max(left.estimate, right.estimate);
    joined.sources = left.sources;
    joined.sources.insert(joined.sources.end(), right.sources.begin(), right.sources.end());
    joined.step = std::make_unique<JoinStep>(context_, std::move(left), std::move(right),
                                             std::move(keys), std::move(rest), outer);
    return joined;
  }

  // The two sides of an equality between `left` and `right`, in this order.
  std::pair<const Expr*, const Expr*> KeySides(const Condition& condition, const SourceSet& left,
                                               const SourceSet& right) const {
    if (!IsEquality(condition)) return {nullptr, nullptr};
    const Expr& expr = Bare(*condition.expr);
    const SourceSet a = compiler_.SourcesOf(*expr.args[0]);
    const SourceSet b = compiler_.SourcesOf(*expr.args[1]);
    if (a.none() || b.none()) return {nullptr, nullptr};
    if (Within(a, left) && Within(b, right)) return {expr.args[0].get(), expr.args[1].get()};
    if (Within(b, left) && Within(a, right)) return {expr.args[1].get(), expr.args[0].get()};
    return {nullptr, nullptr};
  }

  // --- the order of a group ---

  double Distinct(const Expr& side) const {
    const auto column = compiler_.LocalColumn(side);
    return column ? scope_.column(*column).distinct : 0;
  }

  struct Link {
    std::size_t a, b;  // children
    double distinct;   // different key values, 0 = unknown
  };

  std::vector<Link> Links(const Tree& tree) const {
    std::vector<Link> links;
    for (const Condition& each : tree.conditions) {
      for (std::size_t a = 0; a < tree.children.size(); ++a) {
        for (std::size_t b = a + 1; b < tree.children.size(); ++b) {
          const auto sides = KeySides(each, tree.children[a]->sources, tree.children[b]->sources);
          if (sides.first == nullptr) continue;
          links.push_back({a, b, std::max(Distinct(*sides.first), Distinct(*sides.second))});
        }
      }
    }
    return links;
  }

  struct Order {
    std::vector<std::size_t> children;
    double cost = std::numeric_limits<double>::infinity();
  };

  // From `start`, always to the child that makes the fewest rows; a child that
  // nothing links comes last.
  static Order Greedy(const std::vector<JoinInput>& inputs, const std::vector<Link>& links,
                      std::size_t start) {
    Order order{{start}, 0};
    std::vector<bool> joined(inputs.size());
    joined[start] = true;
    double rows = std::max(inputs[start].estimate, 1.0);
    while (order.children.size() < inputs.size()) {
      std::size_t best = inputs.size();
      double best_rows = 0;
      bool best_linked = false;
      for (std::size_t i = 0; i < inputs.size(); ++i) {
        if (joined[i]) continue;
        const double other = std::max(inputs[i].estimate, 1.0);
        double divisor = 0;
        for (const Link& link : links) {
          if (!(link.a == i && joined[link.b]) && !(link.b == i && joined[link.a])) continue;
          divisor =
              std::max({divisor, link.distinct, std::min(rows, other) * (link.distinct == 0)});
        }
        const bool linked = divisor > 0;
        const double result = rows * other / std::max(divisor, 1.0);
        const bool better =
            best == inputs.size() || (linked && !best_linked) ||
            (linked == best_linked &&
             (result < best_rows || (result == best_rows && other < inputs[best].estimate)));
        if (better) {
          best = i;
          best_rows = result;
          best_linked = linked;
        }
      }
      joined[best] = true;
      order.children.push_back(best);
      rows = std::max(best_rows, 1.0);
      order.cost += rows;
    }
    return order;
  }

  std::vector<std::size_t> BestOrder(const Tree& tree, const std::vector<JoinInput>& inputs) const {
    const std::vector<Link> links = Links(tree);
    std::vector<std::size_t> starts(inputs.size());
    std::iota(starts.begin(), starts.end(), 0);
    std::stable_sort(starts.begin(), starts.end(), [&](std::size_t a, std::size_t b) {
      return inputs[a].estimate < inputs[b].estimate;
    });
    if (starts.size() > kMaxStarts) starts.resize(1);
    Order best;
    for (const std::size_t start : starts) {
      Order order = Greedy(inputs, links, start);
      if (best.children.empty() || order.cost < best.cost) best = std::move(order);
    }
    return best.children;
  }

  Context& context_;
  const Scope& scope_;
  Compiler& compiler_;
  const Select& select_;
  const std::vector<ExprPtr>& where_;
};

}  // namespace

void SplitAnd(const ExprPtr& expr, std::vector<ExprPtr>& terms) {
  if (expr->kind == Expr::Kind::kParen) {
    SplitAnd(expr->args[0], terms);
  } else if (expr->kind == Expr::Kind::kBinary && expr->op == Operator::kAnd) {
    SplitAnd(expr->args[0], terms);
    SplitAnd(expr->args[1], terms);
  } else {
    terms.push_back(expr);
  }
}

JoinKey MakeJoinKey(Compiler& compiler, const Expr& left, const Expr& right) {
  JoinKey key;
  key.left = compiler.Compile(left);
  key.right = compiler.Compile(right);
  if (const auto column = compiler.LocalColumn(right)) key.right_column = column->ordinal;
  const auto is_bytes = [](const Node& node) {
    return node.type().type == jet::ColumnType::kBinary ||
           node.type().type == jet::ColumnType::kOle || node.type().type == jet::ColumnType::kGuid;
  };
  const auto is_boolean = [](const Node& node) {
    return node.type().type == jet::ColumnType::kBoolean;
  };
  key.as_text = (key.left->is_text() && key.right->is_text()) ||
                (is_bytes(*key.left) && is_bytes(*key.right));
  key.words = is_boolean(*key.left) || is_boolean(*key.right);
  return key;
}

StepPtr PlanJoins(Context& context, const Scope& scope, Compiler& compiler, const Select& select,
                  const std::vector<ExprPtr>& where) {
  return JoinPlanner(context, scope, compiler, select, where).Plan();
}

}  // namespace sql
