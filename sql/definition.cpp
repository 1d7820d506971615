#include "sql/definition.h"

#include <fmt/format.h>

#include <algorithm>
#include <functional>
#include <utility>

#include "jet/collation.h"
#include "sql/sql.h"

namespace sql {
namespace {

using jet::QueryRow;

// The rows do not know their file's order; all proven orders agree on which
// names are the same.
bool Same(std::string_view a, std::string_view b) { return jet::SameName(jet::kGeneral, a, b); }

[[noreturn]] void ThrowBad(std::string text) { throw Error(ErrorCode::kBadQuery, std::move(text)); }

std::optional<std::size_t> FindSource(const Select& select, std::string_view name) {
  const auto found = std::find_if(select.sources.begin(), select.sources.end(),
                                  [&](const SourceItem& each) { return Same(each.name(), name); });
  if (found == select.sources.end()) return std::nullopt;
  return static_cast<std::size_t>(found - select.sources.begin());
}

void CollectSources(const FromNode& node, std::vector<std::size_t>& out) {
  if (node.leaf()) {
    out.push_back(node.source);
    return;
  }
  CollectSources(*node.left, out);
  CollectSources(*node.right, out);
}

// --- tree -> rows ---

class RowWriter {
 public:
  jet::QueryDefinition Take() { return std::move(definition_); }

  void Add(QueryRow row) { definition_.rows.push_back(std::move(row)); }

  void Write(const SelectText& statement) {
    Add({.attribute = QueryRow::kStart, .flag = std::int16_t{1}});
    Add({.attribute = QueryRow::kEnd});
    if (statement.parts.size() > 1) {
      WriteUnion(statement.parts);
    } else {
      WriteSelect(statement.select);
    }
  }

 private:
  // Two texts at a time, the first of which may be a union itself.
  void WriteUnion(const std::vector<SelectText::Part>& parts) {
    std::string first = parts[0].text;
    for (std::size_t i = 1; i + 1 < parts.size(); ++i) first += parts[i].joint + parts[i].text;
    Add({.attribute = QueryRow::kKind, .flag = static_cast<std::int16_t>(QueryKind::kUnion)});
    Add({.attribute = QueryRow::kOptions,
         .flag = parts.back().all ? kOptionAllFields : kOptionUnion});
    Add({.attribute = QueryRow::kSource, .name2 = "X7YZ_____1", .expression = std::move(first)});
    Add({.attribute = QueryRow::kSource, .name2 = "X7YZ_____2", .expression = parts.back().text});
  }

  void WriteSelect(const Select& select) {
    for (const Parameter& each : select.parameters) {
      Add({.attribute = QueryRow::kParameter, .flag = each.type, .name1 = each.name});
    }
    WriteOptions(select);
    for (const SourceItem& each : select.sources) {
      if (each.subquery.empty()) {
        Add({.attribute = QueryRow::kSource, .name1 = each.table, .name2 = each.alias});
      } else {
        Add({.attribute = QueryRow::kSource, .name2 = each.alias, .expression = each.subquery});
      }
    }
    for (const OutputItem& each : select.outputs) {
      if (&each == &select.outputs.back() && IsWholeStar(each)) break;
      Add({.attribute = QueryRow::kOutput,
           .flag = std::int16_t{0},
           .name1 = each.alias,
           .expression = each.expression.text});
    }
    for (const auto& node : select.from) WriteJoins(select, *node);
    if (select.where) Add({.attribute = QueryRow::kWhere, .expression = select.where->text});
    for (const SqlText& each : select.group_by) {
      Add({.attribute = QueryRow::kGroupBy, .flag = std::int16_t{0}, .expression = each.text});
    }
    if (select.having) Add({.attribute = QueryRow::kHaving, .expression = select.having->text});
    for (const OrderItem& each : select.order_by) {
      QueryRow row{.attribute = QueryRow::kOrderBy, .expression = each.expression.text};
      if (each.descending) row.name1 = "D";
      Add(std::move(row));
    }
  }

  static bool IsWholeStar(const OutputItem& item) {
    return item.star && item.star_qualifier.empty();
  }

  // A last `*` is an option and no output row.
  void WriteOptions(const Select& select) {
    std::int16_t options = 0;
    const auto add = [&options](bool set, std::int16_t bit) {
      if (set) options = static_cast<std::int16_t>(options | bit);
    };
    add(!select.outputs.empty() && IsWholeStar(select.outputs.back()), kOptionAllFields);
    add(select.distinct, kOptionDistinct);
    add(select.owner_access, kOptionOwnerAccess);
    add(select.distinct_row, kOptionDistinctRow);
    add(!select.top.empty(), kOptionTop);
    add(select.percent, kOptionPercent);
    if (options == 0) return;
    QueryRow row{.attribute = QueryRow::kOptions, .flag = options};
    if (!select.top.empty()) row.name1 = select.top;
    Add(std::move(row));
  }

  void WriteJoins(const Select& select, const FromNode& node) {
    if (node.leaf()) return;
    WriteJoins(select, *node.left);
    WriteJoins(select, *node.right);
    std::vector<std::size_t> left, right;
    CollectSources(*node.left, left);
    CollectSources(*node.right, right);
    // A term that speaks of one side only is filed under a pair of this join
    // all the same, else it could not be told where it belongs.
    std::optional<std::size_t> last_left, last_right;
    for (const SqlText& term : node.on) {
      const auto pick = [&](const std::vector<std::size_t>& side,
                            std::optional<std::size_t>& last) {
        if (const auto named = FirstNamed(select, *term.tree, side)) last = named;
        if (!last) last = side.front();
        return select.sources[*last].name();
      };
      std::string name1 = pick(left, last_left);
      std::string name2 = pick(right, last_right);
      Add({.attribute = QueryRow::kJoin,
           .flag = static_cast<std::int16_t>(node.kind),
           .name1 = std::move(name1),
           .name2 = std::move(name2),
           .expression = term.text});
    }
  }

  // The first source of `side` that a column of `expr` is qualified with.
  static std::optional<std::size_t> FirstNamed(const Select& select, const Expr& expr,
                                               const std::vector<std::size_t>& side) {
    if (expr.kind == Expr::Kind::kColumn && !expr.qualifier.empty()) {
      for (const std::size_t source : side) {
        if (Same(select.sources[source].name(), expr.qualifier)) return source;
      }
    }
    for (const ExprPtr& arg : expr.args) {
      if (const auto found = FirstNamed(select, *arg, side)) return found;
    }
    return std::nullopt;
  }

  jet::QueryDefinition definition_;
};

// --- rows -> tree ---

class RowReader {
 public:
  static constexpr std::size_t kMaxSources = 255;

  Select Read(const jet::QueryDefinition& definition) {
    for (const QueryRow& row : definition.rows) ReadRow(row);
    if (all_fields_) {
      OutputItem star;
      star.star = true;
      star.expression.text = "*";
      select_.outputs.push_back(std::move(star));
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
      case QueryRow::kParameter:
        select_.parameters.push_back(
            {.name = Need(row.name1, "the name of a parameter"), .type = row.flag.value_or(0)});
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
        select_.group_by.push_back({Need(row.expression, "a GROUP BY expression"), nullptr});
        break;
      case QueryRow::kHaving:
        RequireFirst(select_.having.has_value(), "the HAVING condition");
        select_.having = SqlText{Need(row.expression, "the HAVING condition"), nullptr};
        break;
      case QueryRow::kOrderBy:
        select_.order_by.push_back({{Need(row.expression, "an ORDER BY expression"), nullptr},
                                    row.name1.value_or("") == "D"});
        break;
      default:
        break;
    }
  }

  void ReadOptions(const QueryRow& row) {
    const int options = row.flag.value_or(0);
    all_fields_ = (options & kOptionAllFields) != 0;
    select_.distinct = (options & kOptionDistinct) != 0;
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
    select_.outputs.push_back(std::move(item));
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
    if (!found) ThrowBad(fmt::format("a join names {}, which is no source of the query", text));
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
  bool all_fields_ = false, options_read_ = false;
};

void ParseText(SqlText& text) {
  try {
    text.tree = ParseExpression(text.text);
  } catch (const Error& error) {
    ThrowBad(fmt::format("the expression {} cannot be read: {}", text.text, error.what()));
  }
}

void ParseTree(FromNode& node) {
  if (node.leaf()) return;
  ParseTree(*node.left);
  ParseTree(*node.right);
  for (SqlText& term : node.on) ParseText(term);
}

// Only what says something: no options that are all off, no kind of a plain
// select, no flag of the start, no blanks behind a text; sources in an order of
// their own.
std::vector<QueryRow> Essence(const jet::QueryDefinition& definition) {
  std::vector<QueryRow> rows, sources;
  for (const QueryRow& each : definition.rows) {
    QueryRow row = each;
    if (row.attribute == QueryRow::kStart || row.attribute == QueryRow::kEnd) continue;
    if (row.attribute == QueryRow::kKind && row.flag == std::int16_t{1}) continue;
    if (row.attribute == QueryRow::kOptions && row.flag.value_or(0) == 0) continue;
    if (row.attribute == QueryRow::kOutput && !row.flag) row.flag = std::int16_t{0};
    if (row.expression) {
      row.expression->resize(row.expression->find_last_not_of(" \t\r\n") + 1);
    }
    for (auto* field : {&row.name1, &row.name2, &row.expression}) {
      if (*field && (*field)->empty()) field->reset();
    }
    if (row.attribute == QueryRow::kJoin) {
      row.name1 = jet::NameKey(jet::kGeneral, row.name1.value_or(""));
      row.name2 = jet::NameKey(jet::kGeneral, row.name2.value_or(""));
    }
    (row.attribute == QueryRow::kSource ? sources : rows).push_back(std::move(row));
  }
  const auto key = [](const QueryRow& row) {
    return std::tie(row.name1, row.name2, row.expression);
  };
  std::sort(sources.begin(), sources.end(),
            [&](const QueryRow& a, const QueryRow& b) { return key(a) < key(b); });
  std::stable_sort(rows.begin(), rows.end(),
                   [](const QueryRow& a, const QueryRow& b) { return a.attribute < b.attribute; });
  rows.insert(rows.end(), sources.begin(), sources.end());
  return rows;
}

}  // namespace

jet::QueryDefinition Parse(std::string_view text) { return ToRows(ParseSelect(text)); }

bool SameQuery(const jet::QueryDefinition& a, const jet::QueryDefinition& b) {
  return Essence(a) == Essence(b);
}

jet::QueryDefinition ToRows(const SelectText& statement) {
  RowWriter writer;
  writer.Write(statement);
  return writer.Take();
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

Select FromRows(const jet::QueryDefinition& definition) { return RowReader().Read(definition); }

void ParseExpressions(Select& select) {
  for (OutputItem& item : select.outputs) {
    if (item.star) continue;
    OutputItem read;
    try {
      read = ParseOutput(item.expression.text);
    } catch (const Error& error) {
      ThrowBad(fmt::format("the column {} cannot be read: {}", item.expression.text, error.what()));
    }
    read.alias = std::move(item.alias);
    item = std::move(read);
  }
  for (const auto& tree : select.from) ParseTree(*tree);
  if (select.where) ParseText(*select.where);
  for (SqlText& each : select.group_by) ParseText(each);
  if (select.having) ParseText(*select.having);
  for (OrderItem& each : select.order_by) ParseText(each.expression);
}

}  // namespace sql
