#include "jet/check/definition_rules.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "jet/row/row.h"
#include "jet/sort/name.h"

namespace jet::check {

namespace {

class DefinitionRules {
 public:
  DefinitionRules(const Context& context, std::string_view table, const TableDef& def,
                  const std::set<std::uint16_t>& mapped)
      : context_(&context), table_(table), def_(&def), mapped_(&mapped) {}

  void CheckColumns();
  void CheckIndexes();
  void CheckWidth();

 private:
  void Problem(Code code, std::string text) {
    context_->report.Problem(At(table_, def_->page), code, std::move(text));
  }
  void Warning(Code code, std::string text) {
    context_->report.Warning(At(table_, def_->page), code, std::move(text));
  }
  void CheckColumn(const ColumnDef& column);
  void CheckColumnLength(const ColumnDef& column);
  void CheckRealIndex(std::size_t ordinal);

  const Context* context_;
  std::string_view table_;
  const TableDef* def_;
  const std::set<std::uint16_t>* mapped_;
};

void DefinitionRules::CheckColumns() {
  const SortOrder order = context_->header.order();
  std::set<std::uint16_t> ids, slots;
  std::map<std::string, const ColumnDef*> names;
  std::vector<const ColumnDef*> fixed;
  for (const ColumnDef& column : def_->columns) {
    CheckColumn(column);
    if (!ids.insert(column.id.value).second) {
      Problem(Code::kColumnNumber, fmt::format("two columns have the number {}", column.id.value));
    }
    if (!column.fixed() && !slots.insert(column.variable_slot).second) {
      Problem(Code::kColumnNumber,
              fmt::format("two columns have the variable slot {}", column.variable_slot));
    }
    const auto [other, is_new] = names.try_emplace(NameKey(order, column.name), &column);
    if (!is_new) {
      Problem(Code::kNameTwice, fmt::format("two columns have one name: {} and {}",
                                            other->second->name, column.name));
    }
    if (column.fixed() && ExactSize(column).value_or(0) != 0) fixed.push_back(&column);
  }
  std::sort(fixed.begin(), fixed.end(), [](const ColumnDef* a, const ColumnDef* b) {
    return a->fixed_offset < b->fixed_offset;
  });
  for (std::size_t i = 1; i < fixed.size(); ++i) {
    if (fixed[i - 1]->fixed_offset + *ExactSize(*fixed[i - 1]) > fixed[i]->fixed_offset) {
      Problem(Code::kColumnOverlap,
              fmt::format("the columns {} and {} overlap", fixed[i - 1]->name, fixed[i]->name));
    }
  }
}

void DefinitionRules::CheckColumn(const ColumnDef& column) {
  if (!IsKnownType(column.type)) {
    Problem(Code::kColumnType, fmt::format("column {} is of the unknown type {}", column.name,
                                           static_cast<int>(column.type)));
    return;
  }
  if (column.id.value >= def_->next_column_id) {
    Problem(Code::kColumnNumber, fmt::format("column {} has the number {}, but the next one is {}",
                                             column.name, column.id.value, def_->next_column_id));
  }
  if (!column.fixed() && column.variable_slot >= def_->next_variable_slot) {
    Problem(Code::kColumnNumber,
            fmt::format("column {} has the variable slot {}, but the next one is {}", column.name,
                        column.variable_slot, def_->next_variable_slot));
  }
  if (IsLongValue(column.type)) {
    if (column.fixed())
      Problem(Code::kColumnType, fmt::format("column {} is a fixed long value", column.name));
    if (!mapped_->contains(column.id.value)) {
      Warning(Code::kMapMissing, fmt::format("column {} has no map of its pages", column.name));
    }
  }
  if (column.type == ColumnType::kBoolean && !column.fixed()) {
    Problem(Code::kColumnType, fmt::format("column {} is a variable Boolean", column.name));
  }
  if (column.type == ColumnType::kNumeric && !IsDecimalShape(column.precision, column.scale)) {
    Problem(Code::kColumnType, fmt::format("column {} has precision {} and scale {}", column.name,
                                           column.precision, column.scale));
  }
  if (IsText(column.type) && column.order != context_->header.order()) {
    Warning(Code::kSortOrder,
            fmt::format("column {} has another sort order than the file", column.name));
  }
  CheckColumnLength(column);
}

void DefinitionRules::CheckColumnLength(const ColumnDef& column) {
  const std::size_t length = column.length;
  if (column.type == ColumnType::kText) {
    if (length % 2 != 0 || length < 2 || length > 2 * kMaxTextChars) {
      Problem(Code::kColumnLength,
              fmt::format("the text column {} is {} bytes wide", column.name, length));
    }
  } else if (column.type == ColumnType::kBinary) {
    if (length < 1 || length > kMaxBinaryBytes) {
      Problem(Code::kColumnLength,
              fmt::format("the binary column {} is {} bytes wide", column.name, length));
    }
  }
}

void DefinitionRules::CheckIndexes() {
  std::set<std::uint32_t> numbers, reals;
  std::map<std::string, const LogicalIndex*> names;
  int primaries = 0;
  for (const LogicalIndex& index : def_->logical_indexes) {
    if (!numbers.insert(index.number).second) {
      Problem(Code::kIndexNumber, fmt::format("two indexes have the number {}", index.number));
    }
    const auto [other, is_new] =
        names.try_emplace(NameKey(context_->header.order(), index.name), &index);
    if (!is_new) {
      Problem(Code::kNameTwice,
              fmt::format("two indexes have one name: {} and {}", other->second->name, index.name));
    }
    if (index.real >= def_->real_indexes.size()) {
      Problem(Code::kIndexNumber,
              fmt::format("index {} refers to tree {}", index.name, index.real));
    } else if (index.kind == LogicalIndex::kPrimary && !def_->real_indexes[index.real].unique()) {
      Problem(Code::kIndexForm,
              fmt::format("the primary key {} has a tree that is not unique", index.name));
    }
    reals.insert(index.real);
    if (index.kind > LogicalIndex::kRelation) {
      Problem(Code::kIndexForm,
              fmt::format("index {} is of the unknown kind {}", index.name, index.kind));
    }
    if (index.kind == LogicalIndex::kPrimary && ++primaries == 2) {
      Problem(Code::kIndexForm, "there are two primary keys");
    }
  }
  for (std::size_t i = 0; i < def_->real_indexes.size(); ++i) {
    if (!reals.contains(static_cast<std::uint32_t>(i))) {
      Problem(Code::kIndexNumber, fmt::format("index tree {} has no name", i));
    }
    CheckRealIndex(i);
  }
}

void DefinitionRules::CheckRealIndex(std::size_t ordinal) {
  const RealIndex& index = def_->real_indexes[ordinal];
  if (index.columns.empty())
    Problem(Code::kIndexForm, fmt::format("index tree {} has no column", ordinal));
  for (const IndexColumn& part : index.columns) {
    if (!def_->FindColumn(part.column)) {
      Problem(Code::kIndexForm,
              fmt::format("index tree {} refers to column number {}", ordinal, part.column.value));
    }
  }
}

// The engine refuses a file with a table whose declared width is over the limit.
void DefinitionRules::CheckWidth() {
  const std::size_t width = DeclaredWidth(*def_);
  if (width > kMaxRowBytes) {
    Problem(Code::kLimit,
            fmt::format("the declared width is {} bytes, more than {}", width, kMaxRowBytes));
  }
}

}  // namespace

void CheckDefinition(const Context& context, std::string_view table, const TableDef& def,
                     const std::set<std::uint16_t>& mapped) {
  DefinitionRules rules(context, table, def, mapped);
  rules.CheckColumns();
  rules.CheckIndexes();
  rules.CheckWidth();
}

}  // namespace jet::check
