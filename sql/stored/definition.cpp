#include "sql/stored/definition.h"

#include <algorithm>
#include <tuple>
#include <utility>

#include "jet/base/ascii.h"
#include "jet/sort/name.h"

namespace sql {
namespace {

using jet::QueryRow;

void CollectSources(const FromNode& node, std::vector<std::size_t>& out) {
  if (node.leaf()) {
    out.push_back(node.source);
    return;
  }
  CollectSources(*node.left, out);
  CollectSources(*node.right, out);
}

class RowWriter {
 public:
  jet::QueryDefinition Take() { return std::move(definition_); }

  void Add(QueryRow row) { definition_.rows.push_back(std::move(row)); }

  void Write(const SelectText& statement, Wildcards wildcards) {
    const bool provider = wildcards == Wildcards::kAnsi;
    Add({.attribute = QueryRow::kStart, .flag = static_cast<std::int16_t>(provider)});
    Add({.attribute = QueryRow::kEnd});
    if (statement.parts.size() > 1) {
      WriteUnion(statement);
    } else {
      WriteSelect(statement.select);
    }
  }

 private:
  // Two texts at a time, the first of which may be a union itself.
  void WriteUnion(const SelectText& statement) {
    const std::vector<SelectText::Part>& parts = statement.parts;
    std::string first = parts[0].text;
    for (std::size_t i = 1; i + 1 < parts.size(); ++i) first += parts[i].joint + parts[i].text;
    Add({.attribute = QueryRow::kKind, .flag = static_cast<std::int16_t>(QueryKind::kUnion)});
    WriteParameters(statement.select);
    const int options = (parts.back().all ? 0 : kOptionUnion) | kOptionAllFields |
                        (statement.select.owner_access ? kOptionOwnerAccess : 0);
    Add({.attribute = QueryRow::kOptions, .flag = static_cast<std::int16_t>(options)});
    Add({.attribute = QueryRow::kSource, .name2 = "X7YZ_____1", .expression = std::move(first)});
    Add({.attribute = QueryRow::kSource, .name2 = "X7YZ_____2", .expression = parts.back().text});
    WriteOrder(statement.select);
  }

  void WriteParameters(const Select& select) {
    for (const Parameter& each : select.parameters) {
      Add({.attribute = QueryRow::kParameter, .flag = each.type, .name1 = each.name});
    }
  }

  void WriteOrder(const Select& select) {
    for (const OrderItem& each : select.order_by) {
      QueryRow row{.attribute = QueryRow::kOrderBy, .expression = each.expression.text};
      if (each.descending) row.name1 = "D";
      Add(std::move(row));
    }
  }

  void WriteSelect(const Select& select) {
    if (select.crosstab) {
      Add({.attribute = QueryRow::kKind, .flag = static_cast<std::int16_t>(QueryKind::kCrosstab)});
    }
    WriteParameters(select);
    WriteOptions(select);
    if (select.external) {
      QueryRow row{.attribute = QueryRow::kConnect, .flag = kConnectFlag};
      if (!select.external->path.empty()) row.name1 = select.external->path;
      if (!select.external->type.empty()) row.expression = select.external->type;
      Add(std::move(row));
    }
    for (const SourceItem& each : select.sources) {
      if (each.subquery.empty()) {
        Add({.attribute = QueryRow::kSource, .name1 = each.table, .name2 = each.alias});
      } else {
        Add({.attribute = QueryRow::kSource, .name2 = each.alias, .expression = each.subquery});
      }
    }
    const std::int16_t heading = select.crosstab ? kOutputHeading : std::int16_t{0};
    if (select.crosstab) WriteOutput(select.crosstab->value, kOutputValueOfCrosstab);
    for (const OutputItem& each : select.outputs) {
      if (&each == &select.outputs.back() && IsWholeStar(each)) break;
      WriteOutput(each, heading);
    }
    if (select.crosstab) WriteOutput({.expression = select.crosstab->pivot}, kOutputPivot);
    for (const auto& node : select.from) WriteJoins(select, *node);
    if (select.where) Add({.attribute = QueryRow::kWhere, .expression = select.where->text});
    for (const SqlText& each : select.group_by) {
      Add({.attribute = QueryRow::kGroupBy, .flag = heading, .expression = each.text});
    }
    if (select.crosstab) {
      Add({.attribute = QueryRow::kGroupBy,
           .flag = kOutputPivot,
           .expression = PivotHeading(select.crosstab->pivot)});
    }
    if (select.having) Add({.attribute = QueryRow::kHaving, .expression = select.having->text});
    WriteOrder(select);
  }

  void WriteOutput(const OutputItem& item, std::int16_t flag) {
    Add({.attribute = QueryRow::kOutput,
         .flag = flag,
         .name1 = item.alias,
         .expression = item.expression.text});
  }

  // The text without the list of columns.
  static std::string PivotHeading(const SqlText& pivot) {
    const ExprPtr heading = SplitPivot(pivot.tree).heading;
    return pivot.text.substr(heading->begin - pivot.tree->begin, heading->end - heading->begin);
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
    // all the same; else nothing would show where it belongs.
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
        if (SameSource(select.sources[source].name(), expr.qualifier)) return source;
      }
    }
    for (const ExprPtr& arg : expr.args) {
      if (const auto found = FirstNamed(select, *arg, side)) return found;
    }
    return std::nullopt;
  }

  jet::QueryDefinition definition_;
};

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
    if (row.attribute == QueryRow::kParameter && row.name1) {
      row.name1 = ParameterName(*row.name1);
    }
    if (row.attribute == QueryRow::kOrderBy && jet::EqualsAsciiCase(row.name1.value_or(""), "D")) {
      row.name1 = "D";
    }
    if (row.attribute == QueryRow::kJoin) {
      row.name1 = jet::NameKey(jet::kGeneral, row.name1.value_or(""));
      row.name2 = jet::NameKey(jet::kGeneral, row.name2.value_or(""));
    }
    (row.attribute == QueryRow::kSource ? sources : rows).push_back(std::move(row));
  }
  // The value of a crosstab stands first or last among its outputs.
  const auto place = [](const QueryRow& row) {
    const int flag = row.attribute == QueryRow::kOutput ? row.flag.value_or(0) : 0;
    return std::pair(row.attribute, flag == kOutputPivot ? 2 : flag == kOutputHeading ? 1 : 0);
  };
  const auto key = [](const QueryRow& row) {
    return std::tie(row.name1, row.name2, row.expression);
  };
  std::sort(sources.begin(), sources.end(),
            [&](const QueryRow& a, const QueryRow& b) { return key(a) < key(b); });
  std::stable_sort(rows.begin(), rows.end(),
                   [&](const QueryRow& a, const QueryRow& b) { return place(a) < place(b); });
  rows.insert(rows.end(), sources.begin(), sources.end());
  return rows;
}

}  // namespace

bool SameSource(std::string_view a, std::string_view b) {
  return jet::SameName(jet::kGeneral, a, b);
}

PivotParts SplitPivot(const ExprPtr& pivot) {
  PivotParts parts{pivot, {}};
  const bool list = pivot->kind == Expr::Kind::kIn && !pivot->negated &&
                    pivot->args[1]->kind != Expr::Kind::kSubquery;
  if (list) {
    parts.heading = pivot->args[0];
    parts.columns.assign(pivot->args.begin() + 1, pivot->args.end());
  }
  return parts;
}

jet::QueryDefinition Parse(std::string_view text, Wildcards wildcards) {
  return ToRows(ParseSelect(text), wildcards);
}

bool SameQuery(const jet::QueryDefinition& a, const jet::QueryDefinition& b) {
  return Essence(a) == Essence(b);
}

jet::QueryDefinition ToRows(const SelectText& statement, Wildcards wildcards) {
  RowWriter writer;
  writer.Write(statement, wildcards);
  return writer.Take();
}

}  // namespace sql
