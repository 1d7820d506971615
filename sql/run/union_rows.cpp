#include "sql/run/union_rows.h"

#include <fmt/format.h>

#include <algorithm>
#include <utility>

#include "jet/sort/name.h"
#include "sql/run/planned_rows.h"
#include "sql/run/planner.h"
#include "sql/stored/definition.h"
#include "sql/values/datum.h"

namespace sql {
namespace {

using jet::ColumnType;

struct Part {
  std::unique_ptr<RowSet> rows;
  std::vector<bool> nulls;  // the columns that say Null and no type
};

// How much a type of numbers holds; 0 for what is not a number.
int Width(ColumnType type) {
  switch (type) {
    case ColumnType::kBoolean:
      return 1;
    case ColumnType::kByte:
      return 2;
    case ColumnType::kInteger:
      return 3;
    case ColumnType::kLong:
      return 4;
    case ColumnType::kCurrency:
      return 5;
    case ColumnType::kSingle:
    case ColumnType::kDouble:
    case ColumnType::kNumeric:
      return 6;
    default:
      return 0;
  }
}

void Widen(OutputColumn& column, const OutputColumn& other) {
  if (column.type == other.type && column.scale == other.scale) {
    const bool limited = column.max_chars != 0 && other.max_chars != 0;
    column.max_chars = limited ? std::max(column.max_chars, other.max_chars) : 0;
    return;
  }
  const int a = Width(column.type), b = Width(other.type);
  if (a != 0 && b != 0) {
    column.type = std::max(a, b) == 6 ? ColumnType::kDouble : a > b ? column.type : other.type;
  } else {
    const bool long_text = column.type == ColumnType::kMemo || other.type == ColumnType::kMemo;
    column.type = long_text ? ColumnType::kMemo : ColumnType::kText;
  }
  column.max_chars = 0;
  column.scale = 0;
}

class UnionRows : public RowSet {
 public:
  UnionRows(std::vector<Part> parts, std::vector<OutputColumn> columns, Language language)
      : parts_(std::move(parts)),
        columns_(std::move(columns)),
        values_(columns_.size()),
        language_(language) {}

  const std::vector<OutputColumn>& columns() const override { return columns_; }

  bool Next() override {
    for (; at_ < parts_.size(); ++at_) {
      if (parts_[at_].rows->Next()) return true;
    }
    return false;
  }

  const jet::Value& value(std::size_t column) const override {
    const jet::Value& value = parts_[at_].rows->value(column);
    const OutputColumn& own = parts_[at_].rows->columns()[column];
    if (jet::IsNull(value) || own.type == columns_[column].type) return value;
    FromValue(value, own.scale, datum_);
    const ColumnType type = columns_[column].type;
    if (jet::IsText(type)) {
      values_[column] = TextOf(datum_, language_);
    } else {
      ToValue(datum_, type, values_[column]);
    }
    return values_[column];
  }

 private:
  std::vector<Part> parts_;
  std::vector<OutputColumn> columns_;
  mutable std::vector<jet::Value> values_;
  mutable Datum datum_;
  Language language_;
  std::size_t at_ = 0;
};

std::vector<bool> NullsOf(const jet::QueryDefinition& definition, std::size_t columns) {
  std::vector<bool> nulls(columns, false);
  if (KindOf(definition) != QueryKind::kSelect) return nulls;
  Select select = FromRows(definition);
  ParseExpressions(select);
  if (select.outputs.size() != columns) return nulls;
  for (std::size_t i = 0; i < columns; ++i) {
    if (select.outputs[i].star) return std::vector<bool>(columns, false);
    const Expr& expr = Bare(*select.outputs[i].expression.tree);
    nulls[i] = expr.kind == Expr::Kind::kLiteral && jet::IsNull(expr.value);
  }
  return nulls;
}

// The names of the first part, types that hold the values of all.
std::vector<OutputColumn> ColumnsOf(const std::vector<Part>& parts) {
  std::vector<OutputColumn> columns = parts.front().rows->columns();
  std::vector<bool> nulls = parts.front().nulls;
  for (const Part& part : parts) {
    const std::vector<OutputColumn>& other = part.rows->columns();
    if (other.size() != columns.size()) {
      throw Error(ErrorCode::kBadQuery, fmt::format("the parts of UNION have {} and {} columns",
                                                    columns.size(), other.size()));
    }
    for (std::size_t i = 0; i < columns.size(); ++i) {
      if (part.nulls[i]) continue;
      if (nulls[i]) {
        std::string name = std::move(columns[i].name);
        columns[i] = other[i];
        columns[i].name = std::move(name);
        nulls[i] = false;
      } else {
        Widen(columns[i], other[i]);
      }
    }
  }
  return columns;
}

ExprPtr ColumnNamed(const std::string& name) {
  Expr expr;
  expr.kind = Expr::Kind::kColumn;
  expr.name = name;
  return std::make_shared<const Expr>(std::move(expr));
}

// ORDER BY names a column of the first part, perhaps with its table, or counts.
ExprPtr SortColumn(const ExprPtr& tree, const std::vector<OutputColumn>& columns,
                   jet::SortOrder order) {
  const Expr& expr = Bare(*tree);
  const auto* position = std::get_if<std::int32_t>(&expr.value);
  if (expr.kind == Expr::Kind::kLiteral && position != nullptr) {
    const auto index = static_cast<std::size_t>(*position - 1);
    if (index >= columns.size()) {
      throw Error(ErrorCode::kBadQuery, fmt::format("there is no output {}", *position));
    }
    return ColumnNamed(columns[index].name);
  }
  if (expr.kind != Expr::Kind::kColumn || expr.qualifier.empty()) return tree;
  for (const std::string& name : {expr.qualifier + "." + expr.name, expr.name}) {
    for (const OutputColumn& column : columns) {
      if (jet::SameName(order, column.name, name)) return ColumnNamed(column.name);
    }
  }
  return tree;
}

}  // namespace

std::unique_ptr<RowSet> OpenUnion(Environment& environment, const Select& select) {
  const Environment::Nesting nesting(environment);
  std::vector<Part> parts;
  for (const SourceItem& source : select.sources) {
    if (source.subquery.empty()) {
      throw Error(ErrorCode::kBadQuery, "a part of a union has no text");
    }
    const jet::QueryDefinition part = Parse(source.subquery, WildcardsOf(select));
    std::unique_ptr<RowSet> rows = environment.open_query(part, select.parameters);
    const std::size_t width = rows->columns().size();
    parts.push_back({std::move(rows), NullsOf(part, width)});
  }
  if (parts.empty()) throw Error(ErrorCode::kBadQuery, "a union of nothing");
  std::vector<OutputColumn> columns = ColumnsOf(parts);
  auto rows = std::make_unique<UnionRows>(std::move(parts), std::move(columns),
                                          LanguageOf(environment.order()));
  if (!select.union_rows_once && select.order_by.empty()) return rows;
  // A query over the parts as one source.
  Select whole;
  whole.distinct = select.union_rows_once;
  whole.parameters = select.parameters;
  for (const OrderItem& item : select.order_by) {
    whole.order_by.push_back(item);
    SqlText& by = whole.order_by.back().expression;
    by.tree = SortColumn(by.tree, rows->columns(), environment.order());
  }
  whole.sources.push_back({.table = "UNION"});
  whole.from.push_back(std::make_unique<FromNode>());
  std::vector<std::unique_ptr<Source>> sources;
  sources.push_back(std::make_unique<QuerySource>(std::move(rows)));
  return MakePlannedRows(Planner(environment, whole, std::move(sources)).Run());
}

}  // namespace sql
