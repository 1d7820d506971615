#include "mdbadm/dump_view.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <set>

#include "mdbadm/view_expression.h"
#include "sql/stored/definition.h"

namespace mdbadm {
namespace {

using sql::Select;

struct Translated {
  std::string text;
  std::vector<ViewColumn> columns;
};

// One query and those within it. `used` collects what they read.
class Translation {
 public:
  Translation(const KnownNames& names, bool ansi, std::vector<std::string>& used)
      : names_(names), ansi_(ansi), used_(used) {}

  Translated Query(const jet::QueryDefinition& definition) {
    const Select select = Read(definition);
    if (sql::KindOf(definition) == sql::QueryKind::kUnion) return Union(select);
    return One(select, nullptr);
  }

 private:
  sql::Wildcards Dialect() const {
    return ansi_ ? sql::Wildcards::kAnsi : sql::Wildcards::kAsterisk;
  }
  static Select Read(const jet::QueryDefinition& definition) {
    Select select = sql::FromRows(definition);
    if (!select.parameters.empty()) throw NoCounterpart("parameters");
    if (select.crosstab || select.external) throw NoCounterpart("not a SELECT of this file");
    sql::ParseExpressions(select);
    return select;
  }
  Translated Union(const Select& select);
  // `tells`: rows are told from others.
  Translated One(const Select& select, const ViewScope* outer, bool tells = false);
  std::string Source(const sql::SourceItem& source, ViewScope& scope);
  std::string Tree(const sql::FromNode& node, const std::vector<std::string>& sources,
                   ViewExpressions& expressions);
  static std::vector<Piece> Outputs(const Select& select, const ViewScope& scope,
                                    ViewExpressions& expressions, std::vector<ViewColumn>& columns);
  static std::string Order(const Select& select, ViewExpressions& expressions);
  static void RequireAllShown(const Select& select, const ViewScope& scope);
  std::string Limited(const Select& select, const std::vector<Piece>& outputs,
                      const std::vector<ViewColumn>& columns, const std::string& rest,
                      const std::string& order) const;

  const KnownNames& names_;
  bool ansi_;
  std::vector<std::string>& used_;
};

std::string Listed(const std::vector<std::string>& pieces, std::string_view between = ", ") {
  std::string list;
  for (const std::string& each : pieces) {
    if (!list.empty()) list += between;
    list += each;
  }
  return list;
}

// Of an output; one without a name of its own gets one that no query can ask for.
std::string NameOf(const std::vector<ViewColumn>& columns, std::size_t at, jet::SortOrder order) {
  const std::string& name = columns[at].name;
  const auto same = std::ranges::count_if(
      columns, [&](const ViewColumn& each) { return jet::SameName(order, each.name, name); });
  return name.empty() || same > 1 ? fmt::format("[{}.]", at + 1) : Bracketed(name);
}

std::string Translation::Source(const sql::SourceItem& source, ViewScope& scope) {
  if (!source.subquery.empty()) {
    if (!source.alias) throw NoCounterpart("a query without a name in FROM");
    const Translated query = Query(sql::Parse(source.subquery, Dialect()));
    scope.Add({*source.alias, query.columns});
    return fmt::format("({}) AS {}", query.text, Bracketed(*source.alias));
  }
  for (const ViewSource& known : names_.sources) {
    if (!jet::SameName(names_.order, known.name, source.table)) continue;
    used_.push_back(known.name);
    scope.Add({source.name(), known.columns});
    return fmt::format("{} AS {}", Bracketed(known.name), Bracketed(source.name()));
  }
  throw NoCounterpart("source " + source.table);
}

// Older programs of sqlite3 have no RIGHT JOIN: it is a LEFT one with its sides changed.
std::string Translation::Tree(const sql::FromNode& node, const std::vector<std::string>& sources,
                              ViewExpressions& expressions) {
  if (node.leaf()) return sources[node.source];
  const auto side = [&](const sql::FromNode& child) {
    const std::string text = Tree(child, sources, expressions);
    return child.leaf() ? text : "(" + text + ")";
  };
  std::vector<std::string> on;
  for (const sql::SqlText& term : node.on) on.push_back(expressions.Truth(*term.tree));
  const bool right = node.kind == sql::JoinKind::kRight;
  return fmt::format("{} {} JOIN {} ON {}", side(right ? *node.right : *node.left),
                     node.kind == sql::JoinKind::kInner ? "INNER" : "LEFT",
                     side(right ? *node.left : *node.right), Listed(on, " AND "));
}

std::vector<Piece> Translation::Outputs(const Select& select, const ViewScope& scope,
                                        ViewExpressions& expressions,
                                        std::vector<ViewColumn>& columns) {
  std::vector<Piece> outputs;
  const auto star = [&](const ViewSource& source) {
    for (const ViewColumn& column : source.columns) {
      outputs.push_back({Bracketed(source.name) + '.' + Bracketed(column.name), column.kind});
      columns.push_back(column);
    }
  };
  if (select.outputs.empty()) {
    for (const ViewSource& source : scope.sources()) star(source);
  }
  for (const sql::OutputItem& item : select.outputs) {
    if (!item.star) {
      const sql::Expr& expr = Bare(*item.expression.tree);
      const bool column = expr.kind == sql::Expr::Kind::kColumn;
      // A condition that is shown is a number here.
      outputs.push_back(column ? expressions.Value(expr) : AsNumber(expressions.Value(expr)));
      columns.push_back({item.alias ? *item.alias : column ? expr.name : "", outputs.back().kind});
    } else if (!item.star_qualifier.empty()) {
      star(scope.Source(item.star_qualifier));
    } else {
      for (const ViewSource& source : scope.sources()) star(source);
    }
  }
  return outputs;
}

// A number is the place of an output, a name that is not a column its alias.
std::string Translation::Order(const Select& select, ViewExpressions& expressions) {
  std::vector<std::string> keys;
  for (const sql::OrderItem& item : select.order_by) {
    const sql::Expr* expr = &Bare(*item.expression.tree);
    if (const auto* place = std::get_if<std::int32_t>(&expr->value);
        expr->kind == sql::Expr::Kind::kLiteral && place != nullptr) {
      const auto at = static_cast<std::size_t>(*place - 1);
      if (at >= select.outputs.size() || select.outputs[at].star) throw NoCounterpart("its order");
      expr = &Bare(*select.outputs[at].expression.tree);
    }
    const Piece key = expressions.Key(*expr);
    // The order of texts is another there: which rows are the first ones would be, too.
    if (!select.top.empty() && key.kind == ViewKind::kText) throw NoCounterpart("TOP by texts");
    if (expr->kind == sql::Expr::Kind::kLiteral) continue;
    const std::string_view sign = key.kind == ViewKind::kFlag ? "-" : "";
    keys.push_back(fmt::format("{}{}{}", sign, key.text, item.descending ? " DESC" : ""));
  }
  return keys.empty() ? "" : " ORDER BY " + Listed(keys);
}

// DISTINCTROW tells rows of the sources apart, where not all of them show.
void Translation::RequireAllShown(const Select& select, const ViewScope& scope) {
  if (select.outputs.empty() || scope.sources().size() < 2) return;
  std::set<std::string> shown;
  for (const sql::OutputItem& item : select.outputs) {
    if (item.star && item.star_qualifier.empty()) return;
    if (item.star) {
      shown.insert(scope.Source(item.star_qualifier).name);
      continue;
    }
    const sql::Expr& expr = Bare(*item.expression.tree);
    const auto column =
        expr.kind == sql::Expr::Kind::kColumn ? scope.OwnColumn(expr) : std::nullopt;
    if (!column) return;
    shown.insert(column->text.substr(1, column->text.find("].[") - 1));
  }
  if (shown.size() != scope.sources().size()) throw NoCounterpart("DISTINCTROW");
}

// TOP takes rows that are equal to the last one as well, which LIMIT does not.
std::string Translation::Limited(const Select& select, const std::vector<Piece>& outputs,
                                 const std::vector<ViewColumn>& columns, const std::string& rest,
                                 const std::string& order) const {
  int count = 0;
  const char* const end = select.top.data() + select.top.size();
  const auto [stop, failure] = std::from_chars(select.top.data(), end, count);
  if (failure != std::errc() || stop != end || order.empty() || select.distinct) {
    throw NoCounterpart("TOP " + select.top);
  }
  std::vector<std::string> inner, outer;
  for (std::size_t i = 0; i < outputs.size(); ++i) {
    outer.push_back(NameOf(columns, i, names_.order));
    inner.push_back(outputs[i].text + " AS " + outer.back());
  }
  return fmt::format(
      "SELECT {} FROM (SELECT {}, rank() OVER ({}) AS [rank.], count(*) OVER () AS [all.]{}) "
      "WHERE [rank.] <= {} ORDER BY [rank.]",
      Listed(outer), Listed(inner), order.substr(1), rest,
      select.percent ? fmt::format("([all.] * {} + 99) / 100", count) : std::to_string(count));
}

Translated Translation::One(const Select& select, const ViewScope* outer, bool tells) {
  ViewScope scope(names_.order, outer);
  std::vector<std::string> sources, trees, keys;
  for (const sql::SourceItem& source : select.sources) sources.push_back(Source(source, scope));
  ViewExpressions expressions(
      select, ansi_, scope, [this](const Select& query, const ViewScope& of) {
        Translated inner = One(query, &of);
        return Piece{inner.text, inner.columns.empty() ? ViewKind::kNull : inner.columns[0].kind};
      });
  for (const auto& node : select.from) {
    const std::string tree = Tree(*node, sources, expressions);
    trees.push_back(node->leaf() || select.from.size() == 1 ? tree : "(" + tree + ")");
  }
  if (select.distinct_row && select.group_by.empty()) RequireAllShown(select, scope);
  Translated translated;
  std::vector<Piece> outputs = Outputs(select, scope, expressions, translated.columns);
  std::string rest = trees.empty() ? "" : " FROM " + Listed(trees);
  if (select.where) rest += " WHERE " + expressions.Truth(*select.where->tree);
  for (const sql::SqlText& each : select.group_by) keys.push_back(expressions.Key(*each.tree).text);
  if (!keys.empty()) rest += " GROUP BY " + Listed(keys);
  if (select.having) rest += " HAVING " + expressions.Truth(*select.having->tree);
  const std::string order = Order(select, expressions);
  if (!select.top.empty()) {
    translated.text = Limited(select, outputs, translated.columns, rest, order);
    return translated;
  }
  std::vector<std::string> shown;
  for (std::size_t i = 0; i < outputs.size(); ++i) {
    const bool text = outputs[i].kind == ViewKind::kText && (tells || select.distinct);
    shown.push_back(fmt::format("{}{} AS {}", outputs[i].text, text ? " COLLATE NOCASE" : "",
                                NameOf(translated.columns, i, names_.order)));
  }
  translated.text = fmt::format("SELECT {}{}{}{}", select.distinct ? "DISTINCT " : "",
                                Listed(shown), rest, order);
  return translated;
}

Translated Translation::Union(const Select& select) {
  Translated whole;
  for (const sql::SourceItem& source : select.sources) {
    Select part = Read(sql::Parse(source.subquery, Dialect()));
    if (!part.top.empty()) throw NoCounterpart("TOP in a UNION");
    part.order_by.clear();
    const Translated translated = One(part, nullptr, true);
    if (whole.text.empty()) {
      whole = translated;
      continue;
    }
    const bool alike = std::ranges::equal(
        whole.columns, translated.columns,
        [](const ViewColumn& a, const ViewColumn& b) { return a.kind == b.kind; });
    if (!alike) throw NoCounterpart("a UNION of values of several types");
    whole.text += (select.union_rows_once ? " UNION " : " UNION ALL ") + translated.text;
  }
  std::vector<std::string> keys;
  for (const sql::OrderItem& item : select.order_by) {
    const sql::Expr& expr = Bare(*item.expression.tree);
    const auto* place = std::get_if<std::int32_t>(&expr.value);
    std::size_t at = place != nullptr ? static_cast<std::size_t>(*place - 1) : whole.columns.size();
    for (std::size_t i = whole.columns.size(); i-- > 0;) {
      const bool same = expr.kind == sql::Expr::Kind::kColumn &&
                        jet::SameName(names_.order, whole.columns[i].name, expr.name);
      if (same) at = i;
    }
    if (at >= whole.columns.size() || whole.columns[at].kind == ViewKind::kFlag) {
      throw NoCounterpart("the order of a UNION");
    }
    keys.push_back(fmt::format("{}{}", at + 1, item.descending ? " DESC" : ""));
  }
  if (!keys.empty()) whole.text += " ORDER BY " + Listed(keys);
  return whole;
}

}  // namespace

std::string TranslateSelect(const jet::QueryDefinition& definition,
                            const std::vector<sql::OutputColumn>& columns, const KnownNames& names,
                            std::vector<std::string>& used) {
  Translation translation(names, sql::FromRows(definition).ansi_wildcards, used);
  const Translated translated = translation.Query(definition);
  // Both have to mean the same by each column.
  bool alike = translated.columns.size() == columns.size();
  for (std::size_t i = 0; alike && i < columns.size(); ++i) {
    const ViewKind ours = ViewKindOf(columns[i].type), theirs = translated.columns[i].kind;
    const auto is_number = [](ViewKind kind) {
      return IsNumber(kind) || kind == ViewKind::kSingle;
    };
    alike = theirs == ours || theirs == ViewKind::kNull || (is_number(theirs) && is_number(ours));
    if (!alike) throw NoCounterpart("the type of " + columns[i].name);
  }
  if (!alike) throw NoCounterpart("the columns");
  return translated.text;
}

}  // namespace mdbadm
