#include "jet/recover/table_copy.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "jet/base/error.h"
#include "jet/database/schema.h"
#include "jet/index/index_key.h"
#include "jet/row/table_def_chain.h"
#include "jet/table/internals.h"

namespace jet::recover {
namespace {

constexpr std::uint32_t kMostNumbers = 256;  // more than indexes that a table ever had
constexpr char kDuplicateEnding[] = "_重複", kMissingEnding[] = "_不足";

bool IsRelation(const TableDef& def, std::size_t real) {
  return std::ranges::none_of(def.logical_indexes, [real](const LogicalIndex& index) {
    return index.real == real && index.kind != LogicalIndex::kRelation;
  });
}

// A table beside another takes any value.
TableDef WithoutRules(const TableDef& def) {
  TableDef plain = def;
  for (ColumnDef& column : plain.columns) {
    column.flags = static_cast<std::uint8_t>(column.flags & ~ColumnDef::kAutoNumber);
  }
  return plain;
}

}  // namespace

std::vector<IndexSpec> IndexesOf(const TableDef& def) {
  std::vector<const LogicalIndex*> indexes;
  for (const LogicalIndex& index : def.logical_indexes) {
    if (index.kind != LogicalIndex::kRelation) indexes.push_back(&index);
  }
  std::ranges::stable_sort(indexes, {}, &LogicalIndex::real);
  std::vector<IndexSpec> specs;
  for (const LogicalIndex* each : indexes) {
    const LogicalIndex& index = *each;
    const RealIndex& real = def.real_indexes[index.real];
    IndexSpec spec;
    spec.name = index.name;
    spec.primary = index.kind == LogicalIndex::kPrimary;
    spec.unique = real.unique();
    spec.required = real.required();
    spec.ignore_nulls = real.ignore_nulls();
    for (const IndexColumn& part : real.columns) {
      const std::optional<std::size_t> ordinal = def.FindColumn(part.column);
      if (!ordinal) break;
      spec.columns.push_back(def.columns[*ordinal].name);
      spec.descending.push_back(!part.ascending);
    }
    if (spec.columns.size() == real.columns.size()) specs.push_back(std::move(spec));
  }
  return specs;
}

TableCopy::TableCopy(NewFile& file, const TableDef& def, const Properties& properties,
                     RecoverReport::Table& report)
    : file_(&file),
      def_(&def),
      report_(&report),
      judge_(def),
      required_(def.columns.size()),
      table_(file, def) {
  for (std::size_t i = 0; i < def.columns.size(); ++i) {
    const Property* property =
        properties.Find(file.order(), def.columns[i].name, kRequiredProperty);
    required_[i] = property != nullptr && property->Boolean();
  }
  for (std::size_t real = 0; real < def.real_indexes.size(); ++real) {
    const RealIndex& index = def.real_indexes[real];
    if ((index.unique() || index.required()) && !IsRelation(def, real)) {
      Rule& rule = rules_.emplace_back();
      rule.real = real;
      rule.long_keys = LongKeys::For(def, index);
    }
  }
}

// Rows may be older than the rule: only what was lost just now counts.
bool TableCopy::LacksRequired(const OldRow& row) const {
  return std::ranges::any_of(row.gone, [this](std::size_t i) { return required_[i]; });
}

void TableCopy::MakeKey(const OldRow& row, Rule& rule) const {
  if (rule.long_keys) {
    return rule.long_keys->Build(
        [&](std::size_t ordinal) { return row.fields[ordinal].value_or(ByteView()); }, rule.key);
  }
  Value value;
  rule.key = BuildKey(
      *def_, def_->real_indexes[rule.real],
      [&](std::size_t ordinal) -> const Value& { return value = judge_.ValueOf(row, ordinal); });
}

TableCopy::Place TableCopy::PlaceOf(const OldRow& row) {
  if (LacksRequired(row)) return Place::kMissing;
  for (Rule& rule : rules_) {
    rule.counts = false;
    if (rule.dropped) continue;
    const RealIndex& index = def_->real_indexes[rule.real];
    try {
      MakeKey(row, rule);
      if (rule.key.some_null && index.required()) return Place::kMissing;
      if (rule.key.some_null || !index.unique()) continue;
      if (rule.keys.Contains(rule.key.bytes)) return Place::kDuplicate;
      rule.counts = true;
    } catch (const Error& error) {
      if (error.code() == ErrorCode::kIo) throw;
      rule.dropped = true;  // and so will the index be
      rule.keys.Clear();
    }
  }
  for (Rule& rule : rules_) {
    if (rule.counts) rule.keys.Insert(rule.key.bytes);
  }
  return Place::kTable;
}

NewTable& TableCopy::Beside(std::optional<NewTable>& table) {
  if (!table) table.emplace(*file_, WithoutRules(*def_));
  return *table;
}

void TableCopy::Add(const OldRow& row) {
  const Place place = PlaceOf(row);
  NewTable& target = place == Place::kTable       ? table_
                     : place == Place::kDuplicate ? Beside(duplicates_)
                                                  : Beside(incomplete_);
  if (!target.Append(row)) {
    ++report_->lost;
    return;
  }
  ++(row.gone.empty() ? report_->whole : report_->partly);
  if (row.doubtful) ++report_->doubtful;
  if (place != Place::kTable) ++report_->beside;
}

void TableCopy::CopyRows(OldRows& rows) {
  rows.Visit([this](const OldRow& row) { Add(row); });
  report_->lost += rows.broken();
  report_->lost_pages = rows.lost_pages();
  report_->flawed_pages = rows.flawed_pages();
}

void TableCopy::FinishBeside(std::optional<NewTable>& table, const NewObject& object,
                             const char* ending) {
  if (!table) return;
  NewObject beside;
  beside.name = file_->FreeName(object.name + ending);
  beside.created = object.created;
  beside.updated = object.updated;
  report_->losses.push_back(fmt::format("{} rows are in the table {}", table->rows(), beside.name));
  table->Finish(beside);
}

void TableCopy::BuildIndexes(const ObjectInfo& table) {
  for (const IndexSpec& index : IndexesOf(*def_)) {
    try {
      Scope scope(file_->pager());
      const std::shared_ptr<Table> open = file_->OpenTable(table);
      TableDef def = DefOf(*open);
      AddIndexTo(file_->allocator(), file_->order(), *open, def, index);
      file_->ReloadTable(table);
      scope.Commit();
    } catch (const Error& error) {
      if (error.code() == ErrorCode::kIo || error.code() == ErrorCode::kDiskFull) throw;
      report_->losses.push_back(fmt::format("index {}: {}", index.name, error.what()));
    }
  }
  KeepNumbers(table);
  file_->FlushSometimes();
}

// Relationships refer to indexes by their numbers, and are named after them.
void TableCopy::KeepNumbers(const ObjectInfo& table) {
  TableDef def = DefOf(*file_->OpenTable(table));
  std::set<std::uint32_t> numbers;
  bool changed = false;
  for (LogicalIndex& index : def.logical_indexes) {
    for (const LogicalIndex& old : def_->logical_indexes) {
      if (old.kind != index.kind || old.name != index.name) continue;
      changed = changed || old.number != index.number;
      index.number = old.number;
    }
    const bool usable = index.number < kMostNumbers && numbers.insert(index.number).second;
    if (!usable) return;
  }
  if (!changed) return;
  Scope scope(file_->pager());
  StoreTableDef(def, file_->pager(), file_->allocator());
  file_->ReloadTable(table);
  scope.Commit();
}

ObjectInfo TableCopy::Finish(const NewObject& object, std::uint32_t last_autonumber) {
  for (Rule& rule : rules_) rule.keys.Clear();  // all rows are there
  table_.PassAutonumber(last_autonumber);
  ObjectInfo info = table_.Finish(object);
  BuildIndexes(info);
  FinishBeside(duplicates_, object, kDuplicateEnding);
  FinishBeside(incomplete_, object, kMissingEnding);
  return info;
}

}  // namespace jet::recover
