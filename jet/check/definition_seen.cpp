#include "jet/check/definition_seen.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>
#include <string>
#include <vector>

namespace jet::check {

namespace {

class DefinitionSeen {
 public:
  DefinitionSeen(const Context& context, std::string_view table, const TableDef& def)
      : context_(&context),
        table_(table),
        def_(&def),
        is_system_(def.kind == TableDef::kSystem || table.starts_with("MSys")) {}

  void Run() {
    See(Field::kStep, static_cast<std::int32_t>(def_->autonumber_step));
    for (const ColumnDef& column : def_->columns) SeeColumn(column);
    // Columns that were dropped left gaps.
    if (def_->columns.size() == def_->next_column_id) SeeLayout();
    for (std::size_t i = 0; i < def_->real_indexes.size(); ++i) SeeTree(i);
    for (const LogicalIndex& index : def_->logical_indexes) SeeIndex(index);
    if (!is_system_) SeeMapPages();
  }

 private:
  void See(Field field, std::int64_t value, std::string_view of = {}) {
    context_->report.See(At(table_, def_->page), field, value, of);
  }
  void SeeColumn(const ColumnDef& column);
  void SeeLayout();
  void SeeTree(std::size_t ordinal);
  void SeeIndex(const LogicalIndex& index);
  void SeeMapPages();

  const Context* context_;
  std::string_view table_;
  const TableDef* def_;
  bool is_system_;
};

void DefinitionSeen::SeeColumn(const ColumnDef& column) {
  if (!IsKnownType(column.type)) return;
  const std::string of = fmt::format("column {}", column.name);
  See(is_system_ ? Field::kSystemFlags : Field::kUserFlags, column.flags, of);
  See(Field::kTextFlags, column.text_flags, of);
  See(Field::kColumnWord17, column.unknown17, of);
  if (is_system_) See(Field::kSystemPosition, column.position, of);
  if (column.type != ColumnType::kNumeric) See(Field::kColumnLanguage, column.order.language, of);
  if (column.type == ColumnType::kBoolean) {
    See(Field::kBooleanBytes, column.length, of);
    See(Field::kBooleanOffset, column.fixed_offset, of);
  } else if (column.type != ColumnType::kRaw && column.type != ColumnType::kText &&
             column.type != ColumnType::kBinary) {
    const std::size_t bytes = IsLongValue(column.type) ? 0 : *ExactSize(column);
    const bool short_numeric = column.type == ColumnType::kNumeric && column.length == 2;
    if (!short_numeric) {
      See(Field::kOtherBytes, std::int64_t{column.length} - static_cast<std::int64_t>(bytes), of);
    }
  }
}

// Offsets rise without gaps, and every fixed column knows how many variable ones
// are older.
void DefinitionSeen::SeeLayout() {
  std::vector<const ColumnDef*> fixed;
  for (const ColumnDef& column : def_->columns) {
    if (!column.fixed() || !IsKnownType(column.type)) continue;
    const auto older = std::ranges::count_if(def_->columns, [&](const ColumnDef& other) {
      return !other.fixed() && other.id < column.id;
    });
    See(Field::kFixedSlot, std::int64_t{column.variable_slot} - older,
        fmt::format("column {}", column.name));
    if (ExactSize(column).value_or(0) != 0) fixed.push_back(&column);
  }
  std::ranges::sort(fixed, {}, &ColumnDef::fixed_offset);
  std::int64_t end = 0;
  for (const ColumnDef* column : fixed) {
    See(Field::kFixedGap, std::max<std::int64_t>(0, column->fixed_offset - end),
        fmt::format("column {}", column->name));
    end = column->fixed_offset + static_cast<std::int64_t>(*ExactSize(*column));
  }
}

void DefinitionSeen::SeeTree(std::size_t ordinal) {
  const RealIndex& tree = def_->real_indexes[ordinal];
  const std::string of = fmt::format("index tree {}", ordinal);
  See(Field::kStatistic8, tree.statistic8, of);
  See(Field::kTreeFlags, tree.flags, of);
}

void DefinitionSeen::SeeIndex(const LogicalIndex& index) {
  const std::string of = fmt::format("index {}", index.name);
  See(Field::kSide, index.relation_side, of);
  See(Field::kIndexWord24, index.unknown24, of);
  if (index.kind == LogicalIndex::kPrimary && !is_system_ &&
      index.real < def_->real_indexes.size()) {
    See(Field::kPrimaryFlags, def_->real_indexes[index.real].flags, of);
  }
  const bool relates = index.kind == LogicalIndex::kRelation;
  const Field cascade = relates ? Field::kRelationCascade : Field::kPlainCascade;
  See(cascade, index.cascade_update, of);
  See(cascade, index.cascade_delete, of);
  if (relates) return;
  See(Field::kPlainOtherIndex, index.related_index, of);
  See(Field::kPlainOtherTable, index.related_table, of);
}

void DefinitionSeen::SeeMapPages() {
  std::set<std::uint32_t> pages;
  const auto add = [&pages](RowId map) {
    if (map) pages.insert(map.page.value);
  };
  add(def_->owned_map);
  add(def_->free_map);
  for (const ColumnDef& column : def_->columns) {
    add(column.owned_map);
    add(column.free_map);
  }
  for (const RealIndex& tree : def_->real_indexes) add(tree.page_map);
  if (!pages.empty()) See(Field::kMapPages, static_cast<std::int64_t>(pages.size()));
}

}  // namespace

void SeeDefinition(const Context& context, std::string_view table, const TableDef& def) {
  DefinitionSeen(context, table, def).Run();
}

}  // namespace jet::check
