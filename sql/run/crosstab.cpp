#include "sql/run/crosstab.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <unordered_map>
#include <utility>

#include "jet/base/text.h"
#include "jet/sort/name.h"
#include "sql/run/group.h"
#include "sql/run/planned_rows.h"
#include "sql/run/planner.h"
#include "sql/stored/definition.h"

namespace sql {
namespace {

constexpr std::size_t kMaxColumns = 255, kMaxHeadingChars = 64;

[[noreturn]] void Fail(std::string what) { throw Error(ErrorCode::kBadQuery, std::move(what)); }

void RequireCrosstab(const Select& select) {
  if (select.having) Fail("HAVING cannot stand in a crosstab");
  if (select.outputs.empty() || std::any_of(select.outputs.begin(), select.outputs.end(),
                                            [](const OutputItem& each) { return each.star; })) {
    Fail("* cannot stand in a crosstab");
  }
  if (!Compiler::HasAggregate(*select.crosstab->value.expression.tree)) {
    Fail("the value of a crosstab has no aggregate");
  }
  if (select.group_by.empty()) Fail("a crosstab has no GROUP BY");
}

// The group's keys, under names that nothing else has.
std::vector<OutputItem> KeysOf(const Select& select) {
  std::vector<OutputItem> keys;
  for (const SqlText& each : select.group_by) {
    keys.push_back({.expression = each, .alias = fmt::format("#{}", keys.size())});
  }
  return keys;
}

// The name of the column for a value of PIVOT.
std::string HeadingOf(const Datum& value, Language language) {
  if (value.null()) return "<>";
  if (value.kind == Datum::Kind::kBoolean) return value.number != 0 ? "-1" : "0";
  std::string name = TextOf(value, language);
  std::replace(name.begin(), name.end(), '.', '_');
  return name;
}

std::string ListedHeading(const Expr& expr, Language language) {
  const Expr& bare = Bare(expr);
  const bool negative = bare.kind == Expr::Kind::kNegate;
  const Expr& literal = negative ? Bare(*bare.args[0]) : bare;
  if (literal.kind != Expr::Kind::kLiteral) Fail("a column of PIVOT is not a constant");
  Datum value;
  FromValue(literal.value, 0, value);
  if (negative) value.number = -NeedNumber(value);
  std::string name = HeadingOf(value, language);
  if (name.empty()) Fail("a column of PIVOT has no name");
  if (jet::Utf16Length(name) > kMaxHeadingChars) {
    Fail(fmt::format("a column of PIVOT has over {} characters: {}", kMaxHeadingChars, name));
  }
  return name;
}

class CrosstabRows : public RowSet {
 public:
  CrosstabRows(std::vector<OutputColumn> columns, std::vector<jet::Value> values)
      : columns_(std::move(columns)), values_(std::move(values)) {}

  const std::vector<OutputColumn>& columns() const override { return columns_; }
  bool Next() override {
    if (next_ * columns_.size() >= values_.size()) return false;
    ++next_;
    return true;
  }
  const jet::Value& value(std::size_t column) const override {
    return values_[(next_ - 1) * columns_.size() + column];
  }

 private:
  std::vector<OutputColumn> columns_;
  std::vector<jet::Value> values_;  // row after row
  std::size_t next_ = 0;
};

class Crosstabulation {
 public:
  Crosstabulation(jet::SortOrder order, std::size_t headings, std::size_t keys)
      : order_(order), language_(LanguageOf(order)), row_headings_(headings), keys_(keys) {}

  // The columns that PIVOT names; else each value makes one.
  void List(const std::vector<ExprPtr>& columns) {
    for (const ExprPtr& each : columns) AddHeading(ListedHeading(*each, language_));
    listed_ = !columns.empty();
  }

  void ReadRows(std::unique_ptr<RowSet> rows) {
    Context context = Over(std::move(rows));
    const std::vector<NodePtr> keys = KeyColumns(row_headings_);
    jet::Value scratch;
    while (context.sources[0]->Advance(context.handles[0])) {
      index_.Find(keys, context);
      for (std::size_t i = 0; i < row_headings_; ++i) {
        rows_.push_back(context.sources[0]->ReadValue(context.handles[0], i, scratch));
      }
      ++row_count_;
    }
  }

  // In the order of the values of PIVOT.
  void ReadCells(std::unique_ptr<RowSet> cells) {
    Context context = Over(std::move(cells));
    const std::vector<NodePtr> keys = KeyColumns(0);
    Datum value;
    std::string last, key;
    std::optional<std::size_t> heading;
    for (bool first = true; context.sources[0]->Advance(context.handles[0]); first = false) {
      Source& source = *context.sources[0];
      source.Read(context.handles[0], keys_, value);
      key.clear();
      AppendSortKey(order_, value, false, key);
      if (first || key != last) heading = HeadingFor(HeadingOf(value, language_));
      std::swap(key, last);
      const std::size_t row = index_.Find(keys, context);
      if (!heading || row >= row_count_) continue;
      jet::Value scratch;
      cells_.push_back({row, *heading, source.ReadValue(context.handles[0], keys_ + 1, scratch)});
    }
  }

  // `columns` are those of the rows, `cell` says the type of the others.
  std::unique_ptr<RowSet> Take(std::vector<OutputColumn> columns, OutputColumn cell) {
    columns.resize(row_headings_);
    const std::size_t width = row_headings_ + names_.size();
    if (width > kMaxColumns) Fail(fmt::format("the crosstab has over {} columns", kMaxColumns));
    for (std::string& name : names_) {
      cell.name = std::move(name);
      columns.push_back(cell);
    }
    std::vector<jet::Value> values(row_count_ * width);
    for (std::size_t row = 0; row < row_count_; ++row) {
      std::move(rows_.begin() + static_cast<std::ptrdiff_t>(row * row_headings_),
                rows_.begin() + static_cast<std::ptrdiff_t>((row + 1) * row_headings_),
                values.begin() + static_cast<std::ptrdiff_t>(row * width));
    }
    for (Cell& each : cells_) {
      values[each.row * width + row_headings_ + each.heading] = std::move(each.value);
    }
    return std::make_unique<CrosstabRows>(std::move(columns), std::move(values));
  }

 private:
  struct Cell {
    std::size_t row, heading;
    jet::Value value;
  };

  Context Over(std::unique_ptr<RowSet> rows) const {
    Context context;
    context.order = order_;
    context.handles = {0};
    context.sources.push_back(std::make_unique<QuerySource>(std::move(rows)));
    return context;
  }
  std::vector<NodePtr> KeyColumns(std::size_t begin) const {
    std::vector<NodePtr> nodes;
    for (std::size_t i = 0; i < keys_; ++i) nodes.push_back(MakeColumn(0, begin + i, {}));
    return nodes;
  }
  std::size_t AddHeading(std::string name) {
    const auto [at, added] = by_name_.try_emplace(jet::NameKey(order_, name), names_.size());
    if (added) names_.push_back(std::move(name));
    return at->second;
  }
  // Nothing for one that is not listed.
  std::optional<std::size_t> HeadingFor(std::string name) {
    if (!listed_) return AddHeading(std::move(name));
    const auto found = by_name_.find(jet::NameKey(order_, name));
    return found == by_name_.end() ? std::nullopt : std::optional(found->second);
  }

  jet::SortOrder order_;
  Language language_;
  std::size_t row_headings_, keys_;
  ValueIndex index_;  // rows by their keys
  std::vector<jet::Value> rows_;
  std::size_t row_count_ = 0;
  std::vector<std::string> names_;
  std::unordered_map<std::string, std::size_t> by_name_;
  bool listed_ = false;
  std::vector<Cell> cells_;
};

}  // namespace

std::unique_ptr<RowSet> OpenCrosstab(Environment& environment, Select rows, Select cells) {
  RequireCrosstab(rows);
  const std::size_t headings = rows.outputs.size();
  const std::vector<OutputItem> keys = KeysOf(rows);
  const Crosstab crosstab = std::move(*cells.crosstab);
  const PivotParts pivot = SplitPivot(crosstab.pivot.tree);
  rows.crosstab.reset();
  cells.crosstab.reset();
  rows.outputs.insert(rows.outputs.end(), keys.begin(), keys.end());
  const SqlText heading{crosstab.pivot.text, pivot.heading};
  cells.outputs = keys;
  cells.outputs.push_back({.expression = heading, .alias = "#heading"});
  cells.outputs.push_back({.expression = crosstab.value.expression, .alias = "#value"});
  cells.group_by.push_back(heading);
  cells.order_by = {{.expression = heading}};
  cells.top.clear();

  Crosstabulation table(environment.order(), headings, keys.size());
  table.List(pivot.columns);
  std::optional<Environment::Reading> reading;
  if (pivot.columns.empty()) reading.emplace(environment);
  std::unique_ptr<RowSet> row_set = MakePlannedRows(Planner(environment, rows).Run());
  std::unique_ptr<RowSet> cell_set = MakePlannedRows(Planner(environment, cells).Run());
  std::vector<OutputColumn> columns = row_set->columns();
  const OutputColumn cell = cell_set->columns().back();
  if (!environment.lists_parameters()) {
    try {
      table.ReadRows(std::move(row_set));
      table.ReadCells(std::move(cell_set));
    } catch (const Error&) {
      // The missing value is what the caller has to know.
      if (!environment.lacks_values()) throw;
    }
  }
  return table.Take(std::move(columns), cell);
}

}  // namespace sql
