#include "jet/recover/old_relations.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>
#include <vector>

#include "jet/base/error.h"
#include "jet/database/schema.h"
#include "jet/row/table_def_chain.h"
#include "jet/sort/name.h"
#include "jet/table/internals.h"

namespace jet::recover {
namespace {

constexpr char kOrphanEnding[] = "_孤児";

// Bits of MSysRelationships.grbit.
constexpr std::int32_t kNotEnforced = 0x2, kCascadeUpdate = 0x100, kCascadeDelete = 0x1000;

struct Relation {
  std::string name;
  std::vector<std::vector<Value>> rows;  // by ordinal of the new table
  std::int32_t flags = 0;
  std::int32_t columns = 0;  // as the rows say
  std::string child, parent;
  std::map<std::int32_t, std::string> child_columns, parent_columns;  // by place

  bool enforced() const { return (flags & kNotEnforced) == 0; }
  bool IsWhole() const {
    const auto count = static_cast<std::size_t>(columns);
    return columns > 0 && rows.size() == count && child_columns.size() == count &&
           child_columns.begin()->first == 0 && child_columns.rbegin()->first == columns - 1;
  }
};

std::vector<std::string> Names(const std::map<std::int32_t, std::string>& columns) {
  std::vector<std::string> names;
  for (const auto& [place, name] : columns) names.push_back(name);
  return names;
}

std::vector<std::size_t> Ordinals(const Table& table,
                                  const std::map<std::int32_t, std::string>& columns) {
  std::vector<std::size_t> ordinals;
  for (const auto& [place, name] : columns) ordinals.push_back(table.OrdinalOf(name));
  return ordinals;
}

// The tree over exactly these columns, ascending.
std::optional<std::uint32_t> TreeOver(const TableDef& def, const std::vector<std::size_t>& ordinals,
                                      bool unique) {
  for (std::size_t real = 0; real < def.real_indexes.size(); ++real) {
    const RealIndex& index = def.real_indexes[real];
    const bool same = std::ranges::equal(
        index.columns, ordinals, [&def](const IndexColumn& part, std::size_t ordinal) {
          return part.ascending && part.column == def.columns[ordinal].id;
        });
    if (same && (index.unique() || !unique)) return static_cast<std::uint32_t>(real);
  }
  return std::nullopt;
}

std::uint32_t NextNumber(const TableDef& def) {
  std::uint32_t next = 0;
  for (const LogicalIndex& index : def.logical_indexes) next = std::max(next, index.number + 1);
  return next;
}

// The two sides of a relationship in the old definitions; null where they are lost.
struct OldSides {
  const LogicalIndex* from = nullptr;
  const LogicalIndex* to = nullptr;
};

bool HasNumber(const TableDef& def, std::uint32_t number) {
  return std::ranges::find(def.logical_indexes, number, &LogicalIndex::number) !=
         def.logical_indexes.end();
}

// The side of the table that is referred to is named after its number.
constexpr std::uint32_t kMostNumbered = '~' - 'A';
std::string NameOfSide(std::uint32_t number) {
  return std::string(".r") + static_cast<char>('A' + number);
}

class RelationCopy {
 public:
  RelationCopy(OldFile& old, NewFile& file, const std::map<std::string, ObjectInfo>& tables,
               RecoverReport& report)
      : old_(&old),
        file_(&file),
        tables_(&tables),
        report_(&report),
        rows_(file.SystemTable(kRelationshipsPage)) {}

  void Run() {
    Read();
    DropBroken();
    // Rows that go may leave others without theirs.
    for (std::size_t i = 0; i < relations_.size(); ++i) {
      bool moved = false;
      for (const auto& [name, relation] : relations_) moved = MoveOrphans(relation) || moved;
      if (!moved) break;
    }
    for (const auto& [name, relation] : relations_) Write(relation);
  }

 private:
  void Read();
  void AddRow(const OldRow& row, const RowJudge& judge);
  void DropBroken();
  bool MoveOrphans(const Relation& relation);
  std::vector<RowId> OrphansOf(const Relation& relation) const;
  void MoveBeside(const std::string& table, const std::vector<RowId>& rows);
  void Write(const Relation& relation);
  void LinkTables(const Relation& relation);
  const TableDef* OldDefinitionOf(const std::string& table) const;
  OldSides OldSidesOf(const Relation& relation) const;
  std::string NameFor(const Relation& relation, const TableDef& child, const OldSides& old) const;
  void AddSide(const ObjectInfo& table, const LogicalIndex& side);
  std::shared_ptr<Table> Open(const std::string& table) const {
    return file_->OpenTable(tables_->at(table));
  }
  void Lost(const Relation& relation, const std::string& why) {
    report_->losses.push_back(fmt::format("the relationship {}: {}", relation.name, why));
  }

  OldFile* old_;
  NewFile* file_;
  const std::map<std::string, ObjectInfo>* tables_;
  RecoverReport* report_;
  std::shared_ptr<Table> rows_;
  std::map<std::string, Relation> relations_;
};

void RelationCopy::Read() {
  const RowJudge judge(old_->definitions().at(kRelationshipsPage).def);
  OldRows rows = old_->RowsOf(kRelationshipsPage, judge);
  rows.Visit([&](const OldRow& row) { AddRow(row, judge); });
  if (rows.broken() != 0 || !rows.lost_pages().empty()) {
    report_->losses.emplace_back("some of the relationships");
  }
}

void RelationCopy::AddRow(const OldRow& row, const RowJudge& judge) {
  std::vector<Value> values(rows_->columns().size());
  for (std::size_t i = 0; i < values.size(); ++i) {
    const auto from = judge.def().FindColumn(rows_->columns()[i].name, kGeneral);
    if (from) values[i] = judge.ValueOf(row, *from);
  }
  const auto text = [&](const char* column) {
    return ValueOr<std::string>(values[rows_->OrdinalOf(column)], {});
  };
  const auto number = [&](const char* column) {
    return ValueOr<std::int32_t>(values[rows_->OrdinalOf(column)], -1);
  };
  Relation& relation = relations_[text("szRelationship")];
  relation.name = text("szRelationship");
  relation.flags = number("grbit");
  relation.columns = number("ccolumn");
  relation.child = text("szObject");
  relation.parent = text("szReferencedObject");
  relation.child_columns[number("icolumn")] = text("szColumn");
  relation.parent_columns[number("icolumn")] = text("szReferencedColumn");
  relation.rows.push_back(std::move(values));
}

void RelationCopy::DropBroken() {
  std::erase_if(relations_, [this](const auto& entry) {
    const Relation& relation = entry.second;
    if (!relation.IsWhole()) {
      Lost(relation, "rows of it");
      return true;
    }
    try {
      Ordinals(*Open(relation.child), relation.child_columns);
      Ordinals(*Open(relation.parent), relation.parent_columns);
      return false;
    } catch (const std::out_of_range&) {
      Lost(relation, "one of its tables");
    } catch (const Error& error) {
      if (error.code() == ErrorCode::kIo) throw;
      Lost(relation, error.what());
    }
    return true;
  });
}

std::vector<RowId> RelationCopy::OrphansOf(const Relation& relation) const {
  const std::shared_ptr<Table> child = Open(relation.child), parent = Open(relation.parent);
  const std::vector<std::size_t> ordinals = Ordinals(*child, relation.child_columns);
  auto seek = parent->SeekBy(Ordinals(*parent, relation.parent_columns));
  std::vector<RowId> orphans;
  if (!seek) return orphans;
  for (TableScan scan(*child); scan.Next();) {
    std::vector<Value> key;
    for (const std::size_t ordinal : ordinals) key.push_back(scan.row().Get(ordinal));
    if (std::ranges::any_of(key, IsNull)) continue;
    seek->Begin(key);
    if (!seek->Next()) orphans.push_back(scan.row().id());
  }
  return orphans;
}

void RelationCopy::MoveBeside(const std::string& table, const std::vector<RowId>& rows) {
  const std::shared_ptr<Table> from = Open(table);
  NewTable beside(*file_, DefOf(*from));
  std::vector<Value> values;
  Table::Row row;
  for (const RowId id : rows) {
    from->Read(id, row);
    values.clear();
    for (std::size_t i = 0; i < from->columns().size(); ++i) values.push_back(row.Get(i));
    beside.Append(values);
  }
  row = {};
  Scope scope(file_->pager());
  for (const RowId id : rows) from->Delete(id);
  scope.Commit();
  NewObject object;
  object.name = file_->FreeName(tables_->at(table).name + kOrphanEnding);
  object.created = object.updated = tables_->at(table).created;
  beside.Finish(object);
  for (RecoverReport::Table& entry : report_->tables) {
    if (entry.name != tables_->at(table).name) continue;
    entry.beside += rows.size();
    entry.losses.push_back(fmt::format("{} rows are in the table {}", rows.size(), object.name));
  }
}

bool RelationCopy::MoveOrphans(const Relation& relation) {
  if (!relation.enforced()) return false;
  try {
    const std::vector<RowId> orphans = OrphansOf(relation);
    if (orphans.empty()) return false;
    MoveBeside(relation.child, orphans);
    return true;
  } catch (const Error& error) {
    // Keys that cannot be compared; the relationship will be reported as lost.
    if (error.code() != ErrorCode::kUnsortable && error.code() != ErrorCode::kWrongType) throw;
    return false;
  }
}

// Puts a name of a tree, or of the same name before, among the others.
void RelationCopy::AddSide(const ObjectInfo& table, const LogicalIndex& side) {
  TableDef def = DefOf(*file_->OpenTable(table));
  std::erase_if(def.logical_indexes,
                [&side](const LogicalIndex& other) { return other.name == side.name; });
  const std::string key = NameKey(file_->order(), side.name);
  const auto place = std::ranges::find_if(def.logical_indexes, [&](const LogicalIndex& other) {
    return NameKey(file_->order(), other.name) > key;
  });
  def.logical_indexes.insert(place, side);
  StoreTableDef(def, file_->pager(), file_->allocator());
  file_->ReloadTable(table);
}

const TableDef* RelationCopy::OldDefinitionOf(const std::string& table) const {
  for (const OldObject& object : old_->catalog().objects) {
    if (!object.is_table() || object.name != table) continue;
    const auto found = old_->definitions().find({static_cast<std::uint32_t>(object.id)});
    if (found != old_->definitions().end() && found->second.whole) return &found->second.def;
  }
  return nullptr;
}

OldSides RelationCopy::OldSidesOf(const Relation& relation) const {
  const TableDef *child = OldDefinitionOf(relation.child),
                 *parent = OldDefinitionOf(relation.parent);
  if (child == nullptr || parent == nullptr) return {};
  const auto is_of = [](const LogicalIndex& side, std::uint8_t number, const TableDef& other) {
    return side.kind == LogicalIndex::kRelation && side.relation_side == number &&
           side.related_table == other.page.value;
  };
  const auto is_over_columns = [&](const LogicalIndex& side) {
    return side.real < child->real_indexes.size() &&
           std::ranges::equal(child->real_indexes[side.real].columns, relation.child_columns,
                              [&](const IndexColumn& part, const auto& column) {
                                const auto ordinal = child->FindColumn(part.column);
                                return ordinal && child->columns[*ordinal].name == column.second;
                              });
  };
  for (const LogicalIndex& from : child->logical_indexes) {
    if (!is_of(from, 2, *parent) || !is_over_columns(from)) continue;
    for (const LogicalIndex& to : parent->logical_indexes) {
      if (is_of(to, 1, *child) && to.number == from.related_index) return {&from, &to};
    }
  }
  return {};
}

// Mostly that of the relationship; other programs also give others.
std::string RelationCopy::NameFor(const Relation& relation, const TableDef& child,
                                  const OldSides& old) const {
  if (old.from == nullptr) return relation.name;
  const std::string& name = old.from->name;
  const bool taken = std::ranges::any_of(child.logical_indexes, [&](const LogicalIndex& other) {
    return SameName(file_->order(), other.name, name);
  });
  try {
    CheckNewName(file_->order(), name);
    return taken ? relation.name : name;
  } catch (const Error&) {
    return relation.name;
  }
}

void RelationCopy::LinkTables(const Relation& relation) {
  const ObjectInfo &child = tables_->at(relation.child), &parent = tables_->at(relation.parent);
  const std::shared_ptr<Table> child_table = file_->OpenTable(child),
                               parent_table = file_->OpenTable(parent);
  const auto parent_tree =
      TreeOver(DefOf(*parent_table), Ordinals(*parent_table, relation.parent_columns), true);
  if (!parent_tree) throw Error(ErrorCode::kNotSupported, "its key in " + relation.parent);
  TableDef def = DefOf(*child_table);
  const OldSides old = OldSidesOf(relation);
  IndexSpec spec;
  spec.name = NameFor(relation, def, old);
  spec.columns = Names(relation.child_columns);
  AddIndexTo(file_->allocator(), file_->order(), *child_table, def, spec);
  file_->ReloadTable(child);

  LogicalIndex from, to;
  from.kind = to.kind = LogicalIndex::kRelation;
  from.cascade_update = to.cascade_update = (relation.flags & kCascadeUpdate) != 0 ? 1 : 0;
  from.cascade_delete = to.cascade_delete = (relation.flags & kCascadeDelete) != 0 ? 1 : 0;
  from.name = spec.name;
  from.number = NextNumber(DefOf(*child_table)) - 1;
  if (old.from != nullptr && !HasNumber(DefOf(*child_table), old.from->number)) {
    from.number = old.from->number;
  }
  from.real = static_cast<std::uint32_t>(def.real_indexes.size() - 1);
  from.relation_side = 2;
  to.number = NextNumber(DefOf(*parent_table));
  if (old.to != nullptr && old.to->number <= kMostNumbered &&
      !HasNumber(DefOf(*parent_table), old.to->number)) {
    to.number = old.to->number;
  }
  to.name = NameOfSide(to.number);
  to.real = *parent_tree;
  to.relation_side = 1;
  from.related_index = to.number;
  from.related_table = DefOf(*parent_table).page.value;
  to.related_index = from.number;
  to.related_table = DefOf(*child_table).page.value;
  AddSide(child, from);
  AddSide(parent, to);
}

void RelationCopy::Write(const Relation& relation) {
  try {
    Scope scope(file_->pager());
    NewObject object;
    object.name = relation.name;
    object.type = kRelationObject;
    object.parent = kRelationshipsContainer;
    object.created = object.updated = tables_->at(relation.child).created;
    for (const OldObject& entry : old_->catalog().objects) {
      if (entry.type != kRelationObject || entry.name != relation.name) continue;
      object.flags = entry.flags;
      object.created = entry.created;
      object.updated = entry.updated;
    }
    file_->AddObject(std::nullopt, object);
    for (std::vector<Value> values : relation.rows) {
      for (const auto& [column, table] : {std::pair("szObject", relation.child),
                                          std::pair("szReferencedObject", relation.parent)}) {
        values[rows_->OrdinalOf(column)] = tables_->at(table).name;
      }
      rows_->Insert(values);
    }
    if (relation.enforced()) LinkTables(relation);
    scope.Commit();
  } catch (const Error& error) {
    if (error.code() == ErrorCode::kIo || error.code() == ErrorCode::kDiskFull) throw;
    Lost(relation, error.what());
  }
}

}  // namespace

void CopyRelations(OldFile& old, NewFile& file, const std::map<std::string, ObjectInfo>& tables,
                   RecoverReport& report) {
  RelationCopy(old, file, tables, report).Run();
}

}  // namespace jet::recover
