// Rows -> tree.
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <utility>

#include "jet/base/ascii.h"
#include "sql/stored/definition.h"

namespace sql {
namespace {

using jet::QueryRow;

[[noreturn]] void ThrowBad(std::string text) { throw Error(ErrorCode::kBadQuery, std::move(text)); }

std::optional<std::size_t> FindSource(const Select& select, std::string_view name) {
  const auto found =
      std::find_if(select.sources.begin(), select.sources.end(),
                   [&](const SourceItem& each) { return SameSource(each.name(), name); });
  if (found == select.sources.end()) return std::nullopt;
  return static_cast<std::size_t>(found - select.sources.begin());
}

class RowReader {
 public:
  static constexpr std::size_t kMaxSources = 255;

  Select Read(const jet::QueryDefinition& definition) {
    kind_ = KindOf(definition);
    for (const QueryRow& row : definition.rows) ReadRow(row);
    if (all_fields_) select_.outputs.push_back({.expression = {"*", nullptr}, .star = true});
    if (kind_ == QueryKind::kCrosstab && (!select_.crosstab || !value_read_ || !pivot_read_)) {
      ThrowBad("a crosstab has no value, or no heading");
    }
    BuildTrees();
    return std::move(select_);
  }

 private:
  static const std::string& Need(const std::optional<std::string>& field, std::string_view what) {
    if (!field || field->empty()) ThrowBad(fmt::format("{} is missing", what));
    return *field;
  }

  // A part that a query has once: the second would take the place of the first.
  static void RequireFirst(bool seen, std::string_view what) {
    if (seen) ThrowBad(fmt::format("{} is there twice", what));
  }

  void ReadRow(const QueryRow& row) {
    switch (row.attribute) {
      case QueryRow::kStart:
        select_.ansi_wildcards = row.flag.value_or(0) == 1;
        break;
      case QueryRow::kConnect:
        select_.external = External{row.name1.value_or(""), row.expression.value_or("")};
        if (select_.external->path.empty() && select_.external->type.empty()) {
          select_.external.reset();
        }
        break;
      case QueryRow::kParameter:
        select_.parameters.push_back(
            {.name = ParameterName(Need(row.name1, "the name of a parameter")),
             .type = row.flag.value_or(0)});
        break;
      case QueryRow::kOptions:
        RequireFirst(std::exchange(options_read_, true), "the row of options");
        ReadOptions(row);
        break;
      case QueryRow::kSource:
        ReadSource(row);
        break;
      case QueryRow::kOutput:
        ReadOutput(row);
        break;
      case QueryRow::kJoin:
        joins_.push_back(row);
        break;
      case QueryRow::kWhere:
        RequireFirst(select_.where.has_value(), "the WHERE condition");
        select_.where = SqlText{Need(row.expression, "the WHERE condition"), nullptr};
        break;
      case QueryRow::kGroupBy:
        if (kind_ == QueryKind::kCrosstab && row.flag == kOutputPivot) break;
        select_.group_by.push_back({Need(row.expression, "a GROUP BY expression"), nullptr});
        break;
      case QueryRow::kHaving:
        RequireFirst(select_.having.has_value(), "the HAVING condition");
        select_.having = SqlText{Need(row.expression, "the HAVING condition"), nullptr};
        break;
      case QueryRow::kOrderBy:
        select_.order_by.push_back({{Need(row.expression, "an ORDER BY expression"), nullptr},
                                    jet::EqualsAsciiCase(row.name1.value_or(""), "D")});
        break;
      default:
        break;
    }
  }

  void ReadOptions(const QueryRow& row) {
    const int options = row.flag.value_or(0);
    // Of a union the bits say whether equal rows are joined.
    const bool of_union = kind_ == QueryKind::kUnion;
    all_fields_ = !of_union && (options & kOptionAllFields) != 0;
    select_.distinct = !of_union && (options & kOptionDistinct) != 0;
    select_.union_rows_once = of_union && (options & kOptionUnion) != 0;
    select_.owner_access = (options & kOptionOwnerAccess) != 0;
    select_.distinct_row = (options & kOptionDistinctRow) != 0;
    if ((options & kOptionTop) != 0) {
      select_.top = Need(row.name1, "the count of TOP");
      select_.percent = (options & kOptionPercent) != 0;
    }
  }

  void ReadSource(const QueryRow& row) {
    SourceItem source;
    source.alias = row.name2;
    if (row.expression && !row.expression->empty()) {
      source.subquery = *row.expression;
      Need(row.name2, "the name of a query in parentheses");
    } else {
      source.table = Need(row.name1, "the name of a source");
    }
    if (select_.sources.size() == kMaxSources) ThrowBad("too many sources");
    if (FindSource(select_, source.name())) {
      ThrowBad(fmt::format("two sources are called {}", source.name()));
    }
    select_.sources.push_back(std::move(source));
  }

  void ReadOutput(const QueryRow& row) {
    OutputItem item;
    item.expression.text = Need(row.expression, "an output column");
    item.alias = row.name1;
    const int flag = row.flag.value_or(kOutputValueOfCrosstab);
    if (kind_ != QueryKind::kCrosstab || (flag != kOutputValueOfCrosstab && flag != kOutputPivot)) {
      select_.outputs.push_back(std::move(item));
      return;
    }
    bool& read = flag == kOutputPivot ? pivot_read_ : value_read_;
    if (std::exchange(read, true)) ThrowBad("a crosstab has two values, or two headings");
    if (!select_.crosstab) select_.crosstab.emplace();
    if (flag == kOutputPivot) {
      select_.crosstab->pivot = std::move(item.expression);
    } else {
      select_.crosstab->value = std::move(item);
    }
  }

  // Joins the trees that hold the two tables of each row; where one tree holds
  // both already, the term belongs to the join that brought them together.
  void BuildTrees() {
    std::vector<std::unique_ptr<FromNode>>& trees = select_.from;
    for (std::size_t i = 0; i < select_.sources.size(); ++i) {
      auto leaf = std::make_unique<FromNode>();
      leaf->source = i;
      trees.push_back(std::move(leaf));
    }
    for (const QueryRow& row : joins_) {
      const std::size_t left = SourceOf(row.name1), right = SourceOf(row.name2);
      if (left == right) ThrowBad(fmt::format("{} is joined with itself", *row.name1));
      const SqlText term{Need(row.expression, "a join condition"), nullptr};
      auto tree = TreeOf(left), other = TreeOf(right);
      if (tree == other) {
        AddTerm(**tree, left, right, row, term);
        continue;
      }
      auto join = std::make_unique<FromNode>();
      join->kind = KindOfJoin(row);
      join->left = std::move(*tree);
      join->right = std::move(*other);
      join->on.push_back(term);
      // The list keeps the order of the sources that came first.
      if (other < tree) std::swap(tree, other);
      *tree = std::move(join);
      trees.erase(other);
    }
  }

  static JoinKind KindOfJoin(const QueryRow& row) {
    const int flag = row.flag.value_or(0);
    if (flag < 1 || flag > 3) ThrowBad(fmt::format("a join of the unknown kind {}", flag));
    return static_cast<JoinKind>(flag);
  }

  std::size_t SourceOf(const std::optional<std::string>& name) const {
    const std::string& text = Need(name, "a table of a join");
    const auto found = FindSource(select_, text);
    if (!found) ThrowBad(fmt::format("a join names {}, which is not a source of the query", text));
    return *found;
  }

  static bool Holds(const FromNode& tree, std::size_t source) {
    if (tree.leaf()) return tree.source == source;
    return Holds(*tree.left, source) || Holds(*tree.right, source);
  }

  std::vector<std::unique_ptr<FromNode>>::iterator TreeOf(std::size_t source) {
    return std::find_if(select_.from.begin(), select_.from.end(),
                        [&](const auto& tree) { return Holds(*tree, source); });
  }

  static void AddTerm(FromNode& tree, std::size_t left, std::size_t right, const QueryRow& row,
                      const SqlText& term) {
    FromNode* node = &tree;
    for (;;) {
      if (Holds(*node->left, left) && Holds(*node->left, right)) {
        node = node->left.get();
      } else if (Holds(*node->right, left) && Holds(*node->right, right)) {
        node = node->right.get();
      } else {
        break;
      }
    }
    if (node->kind != KindOfJoin(row)) {
      ThrowBad(fmt::format("{} and {} are joined in two ways", *row.name1, *row.name2));
    }
    node->on.push_back(term);
  }

  Select select_;
  std::vector<QueryRow> joins_;
  QueryKind kind_ = QueryKind::kSelect;
  bool all_fields_ = false, options_read_ = false, value_read_ = false, pivot_read_ = false;
};

void ParseText(SqlText& text) {
  try {
    text.tree = ParseExpression(text.text);
  } catch (const Error& error) {
    ThrowBad(fmt::format("the expression {} cannot be read: {}", text.text, error.what()));
  }
}

void ParseItem(OutputItem& item) {
  if (item.star) return;
  OutputItem read;
  try {
    read = ParseOutput(item.expression.text);
  } catch (const Error& error) {
    ThrowBad(fmt::format("the column {} cannot be read: {}", item.expression.text, error.what()));
  }
  read.alias = std::move(item.alias);
  item = std::move(read);
}

void ParseTree(FromNode& node) {
  if (node.leaf()) return;
  ParseTree(*node.left);
  ParseTree(*node.right);
  for (SqlText& term : node.on) ParseText(term);
}

}  // namespace

std::string ParameterName(const std::string& name) {
  const bool one = name.size() > 2 && name.front() == '[' &&
                   name.find_first_of("[]", 1) == name.size() - 1 && name.back() == ']';
  return one ? name.substr(1, name.size() - 2) : name;
}

QueryKind KindOf(const jet::QueryDefinition& definition) {
  for (const QueryRow& row : definition.rows) {
    if (row.attribute != QueryRow::kKind) continue;
    const int kind = row.flag.value_or(1);
    if (kind < 1 || kind > 9) ThrowBad(fmt::format("a query of the unknown kind {}", kind));
    return static_cast<QueryKind>(kind);
  }
  return QueryKind::kSelect;
}

std::string_view KindName(QueryKind kind) {
  static constexpr std::array<std::string_view, 9> kNames = {
      "select",   "make-table",      "append",       "update", "delete",
      "crosstab", "data definition", "pass-through", "union"};
  return kNames[static_cast<std::size_t>(kind) - 1];
}

Select FromRows(const jet::QueryDefinition& definition) { return RowReader().Read(definition); }

void ParseExpressions(Select& select) {
  for (OutputItem& item : select.outputs) ParseItem(item);
  if (select.crosstab) {
    ParseItem(select.crosstab->value);
    if (select.crosstab->value.star) ThrowBad("the value of a crosstab is not an expression");
    ParseText(select.crosstab->pivot);
  }
  for (const auto& tree : select.from) ParseTree(*tree);
  if (select.where) ParseText(*select.where);
  for (SqlText& each : select.group_by) ParseText(each);
  if (select.having) ParseText(*select.having);
  for (OrderItem& each : select.order_by) ParseText(each.expression);
}

}  // namespace sql
