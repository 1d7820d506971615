// Rows -> text. Lines end with CR LF, as designers of queries write them.

#include <fmt/format.h>

#include <algorithm>
#include <optional>

#include "sql/sql.h"
#include "sql/stored/definition.h"
#include "sql/text/lexer.h"
#include "sql/text/parameter_type.h"

namespace sql {
namespace {

using jet::QueryRow;

constexpr std::string_view kNewLine = "\r\n";

std::string Column(const OutputItem& item) {
  if (!item.alias) return item.expression.text;
  return fmt::format("{} AS {}", item.expression.text, QuoteName(*item.alias));
}

std::string Source(const SourceItem& source) {
  std::string text =
      source.subquery.empty() ? QuoteName(source.table) : fmt::format("({})", source.subquery);
  if (source.alias) text += fmt::format(" AS {}", QuoteName(*source.alias));
  return text;
}

std::string_view JoinWord(JoinKind kind) {
  switch (kind) {
    case JoinKind::kLeft:
      return "LEFT";
    case JoinKind::kRight:
      return "RIGHT";
    case JoinKind::kInner:
      break;
  }
  return "INNER";
}

std::string Tree(const Select& select, const FromNode& node) {
  if (node.leaf()) return Source(select.sources[node.source]);
  const auto operand = [&](const FromNode& child) {
    return child.leaf() ? Tree(select, child) : fmt::format("({})", Tree(select, child));
  };
  std::string on;
  for (const SqlText& term : node.on) {
    if (!on.empty()) on += " AND ";
    on += node.on.size() == 1 ? term.text : fmt::format("({})", term.text);
  }
  return fmt::format("{} {} JOIN {} ON {}", operand(*node.left), JoinWord(node.kind),
                     operand(*node.right), on);
}

template <typename Items, typename ToText>
std::string List(const Items& items, const ToText& to_text) {
  std::string text;
  for (const auto& each : items) {
    if (!text.empty()) text += ", ";
    text += to_text(each);
  }
  return text;
}

std::string Predicate(const Select& select) {
  std::string text;
  if (select.distinct) text += "DISTINCT ";
  if (select.distinct_row) text += "DISTINCTROW ";
  if (!select.top.empty()) {
    text += fmt::format("TOP {} {}", select.top, select.percent ? "PERCENT " : "");
  }
  return text;
}

std::string Outputs(const Select& select) {
  return select.outputs.empty() ? "*" : List(select.outputs, Column);
}

std::string From(const Select& select) {
  return List(select.from, [&](const auto& node) { return Tree(select, *node); });
}

// The path of a form's field has its brackets already.
std::string WrittenParameter(const std::string& name) {
  return name.starts_with('[') && name.ends_with(']') ? name : QuoteName(name);
}

std::string Parameters(const Select& select) {
  if (select.parameters.empty()) return {};
  return fmt::format("PARAMETERS {};{}",
                     List(select.parameters,
                          [](const Parameter& each) {
                            return fmt::format("{} {}", WrittenParameter(each.name),
                                               ParameterTypeWord(each.type));
                          }),
                     kNewLine);
}

// WHERE and all that follows it.
std::string Tail(const Select& select) {
  const auto text_of = [](const SqlText& each) { return each.text; };
  std::string text;
  if (select.where) text += fmt::format("{}WHERE {}", kNewLine, select.where->text);
  if (!select.group_by.empty()) {
    text += fmt::format("{}GROUP BY {}", kNewLine, List(select.group_by, text_of));
  }
  if (select.having) text += fmt::format("{}HAVING {}", kNewLine, select.having->text);
  if (!select.order_by.empty()) {
    text += fmt::format("{}ORDER BY {}", kNewLine, List(select.order_by, [](const auto& each) {
                          return each.expression.text + (each.descending ? " DESC" : "");
                        }));
  }
  if (select.owner_access) text += fmt::format("{}WITH OWNERACCESS OPTION", kNewLine);
  return text;
}

const QueryRow* FindRow(const jet::QueryDefinition& definition, QueryRow::Attribute attribute) {
  for (const QueryRow& row : definition.rows) {
    if (row.attribute == attribute) return &row;
  }
  return nullptr;
}

std::string Elsewhere(const Select& select) {
  if (!select.external) return {};
  const auto& [path, type] = *select.external;
  return path.empty()   ? fmt::format(" IN '' [{}]", type)
         : type.empty() ? fmt::format(" IN '{}'", path)
                        : fmt::format(" IN '{}' '{}'", path, type);
}

std::string FromClause(const Select& select) {
  if (select.from.empty()) return {};
  return fmt::format("{}FROM {}{}", kNewLine, From(select), Elsewhere(select));
}

// Without what closes it.
std::string FormatSelect(const Select& select, std::string_view into = {}) {
  return fmt::format("SELECT {}{}{}{}{}", Predicate(select), Outputs(select), into,
                     FromClause(select), Tail(select));
}

// The table that a query makes or fills.
std::string Target(const jet::QueryDefinition& definition) {
  const QueryRow* row = FindRow(definition, QueryRow::kKind);
  if (row == nullptr || !row->name1 || row->name1->empty()) {
    throw Error(ErrorCode::kBadQuery, "the target of the query is missing");
  }
  std::string text = QuoteName(*row->name1);
  if (row->name2 && !row->name2->empty()) text += fmt::format(" IN '{}'", *row->name2);
  return text;
}

// The target column of an output of an append or update query.
std::string TargetColumn(const QueryRow& row) {
  const std::string& name = row.name2.value_or("");
  if (name.empty()) throw Error(ErrorCode::kBadQuery, "a target column is missing");
  // Updates name it as in an expression, appends by the bare name.
  return name.find_first_of(".[") == name.npos ? QuoteName(name) : name;
}

std::vector<const QueryRow*> OutputRows(const jet::QueryDefinition& definition) {
  std::vector<const QueryRow*> rows;
  for (const QueryRow& row : definition.rows) {
    if (row.attribute == QueryRow::kOutput) rows.push_back(&row);
  }
  return rows;
}

std::string FormatUpdate(const jet::QueryDefinition& definition, const Select& select) {
  const auto set = [](const QueryRow* row) {
    return fmt::format("{} = {}", TargetColumn(*row), row->expression.value_or(""));
  };
  return fmt::format("UPDATE {}{}{}{}SET {}{}", Predicate(select), From(select), Elsewhere(select),
                     kNewLine, List(OutputRows(definition), set), Tail(select));
}

std::string FormatDelete(const Select& select) {
  return fmt::format("DELETE {}{}{}{}", Predicate(select), Outputs(select), FromClause(select),
                     Tail(select));
}

// Columns without a target go where their names say; `*` is the usual one.
std::string FormatAppend(const jet::QueryDefinition& definition, const Select& select) {
  std::vector<const QueryRow*> outputs = OutputRows(definition);
  const bool values = select.from.empty() && !outputs.empty() &&
                      std::all_of(outputs.begin(), outputs.end(),
                                  [](const QueryRow* row) { return row->flag == kOutputValue; });
  std::string text = fmt::format("INSERT INTO {}", Target(definition));
  std::string columns;
  for (const QueryRow* row : outputs) {
    const bool star = row->expression.value_or("").ends_with('*');
    const bool by_name = row->name2.value_or("").empty();
    if (by_name && star) continue;
    columns += fmt::format("{}{}", columns.empty() ? "" : ", ", TargetColumn(*row));
  }
  if (!columns.empty()) text += fmt::format(" ( {} )", columns);
  if (!values) return fmt::format("{}{}{}", text, kNewLine, FormatSelect(select));
  return fmt::format("{}{}VALUES ({})", text, kNewLine,
                     List(select.outputs, [](const auto& item) { return item.expression.text; }));
}

std::string FormatCrosstab(const Select& select) {
  return fmt::format("TRANSFORM {}{}{}{}PIVOT {}", Column(select.crosstab->value), kNewLine,
                     FormatSelect(select), kNewLine, select.crosstab->pivot.text);
}

std::string FormatUnion(const Select& select) {
  if (select.sources.size() < 2) throw Error(ErrorCode::kBadQuery, "a union of less than two");
  std::string text;
  for (const SourceItem& source : select.sources) {
    if (source.subquery.empty()) {
      throw Error(ErrorCode::kBadQuery, "a part of a union has no text");
    }
    if (!text.empty())
      text += fmt::format("{}UNION {}", kNewLine, select.union_rows_once ? "" : "ALL ");
    std::string_view part = source.subquery;
    const std::size_t end = part.find_last_not_of(" \t\r\n;");
    text += part.substr(0, end == part.npos ? 0 : end + 1);
  }
  return text + Tail(select);
}

// Without what closes it.
std::string FormatBody(const jet::QueryDefinition& definition, QueryKind kind) {
  const Select select = FromRows(definition);
  const std::string parameters = Parameters(select);
  switch (kind) {
    case QueryKind::kMakeTable:
      return parameters + FormatSelect(select, fmt::format(" INTO {}", Target(definition)));
    case QueryKind::kAppend:
      return parameters + FormatAppend(definition, select);
    case QueryKind::kUpdate:
      return parameters + FormatUpdate(definition, select);
    case QueryKind::kDelete:
      return parameters + FormatDelete(select);
    case QueryKind::kCrosstab:
      return parameters + FormatCrosstab(select);
    case QueryKind::kUnion:
      return parameters + FormatUnion(select);
    default:
      return parameters + FormatSelect(select);
  }
}

}  // namespace

std::string Format(const jet::QueryDefinition& definition) {
  const QueryKind kind = KindOf(definition);
  if (kind != QueryKind::kDataDefinition && kind != QueryKind::kPassThrough) {
    return FormatBody(definition, kind) + ";";
  }
  const QueryRow* row = FindRow(definition, QueryRow::kKind);
  if (!row->expression) throw Error(ErrorCode::kBadQuery, "the text of the query is missing");
  // Designers store the zero that ends their text, too.
  return row->expression->substr(0, row->expression->find('\0'));
}

}  // namespace sql
