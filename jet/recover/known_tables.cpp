#include "jet/recover/known_tables.h"

#include <algorithm>

#include "jet/base/bytes.h"

namespace jet::recover {
namespace {

const KnownTable* Find(const KnownDatabase& database, std::string_view name) {
  const auto found = std::ranges::find(database.tables, name, &KnownTable::name);
  return found == database.tables.end() ? nullptr : &*found;
}

// As wide as a row is that was written when the table was like this.
std::size_t WidthOf(const TableDef& def) {
  std::size_t width = 0;
  for (const ColumnDef& column : def.columns) {
    width = std::max(width, column.id.value + std::size_t{1});
  }
  return width;
}

// Whether a row of one is a row of the other.
bool HaveSameLayout(const TableDef& a, const TableDef& b) {
  return HaveSameColumns(a, b) && a.next_column_id == b.next_column_id &&
         a.next_variable_slot == b.next_variable_slot;
}

}  // namespace

KnownTables::KnownTables(std::vector<KnownDatabase> databases, const OldFile& old) {
  for (const KnownDatabase& database : databases) {
    for (const KnownTable& table : database.tables) {
      widths_[table.name].insert(WidthOf(table.def));
    }
  }
  std::size_t most = 1;
  for (KnownDatabase& database : databases) {
    const std::size_t likeness = LikenessOf(database, old);
    if (likeness < most) continue;
    if (likeness > most) databases_.clear();
    most = likeness;
    databases_.push_back(std::move(database));
  }
  for (const auto& [page, definition] : old.definitions()) {
    if (const OldObject* object = old.catalog().Find(page)) taken_.insert(object->name);
  }
}

std::size_t KnownTables::LikenessOf(const KnownDatabase& database, const OldFile& old) const {
  std::size_t alike = 0;
  for (const auto& entry : old.definitions()) {
    const TableDef& def = entry.second.def;
    const OldObject* object = old.catalog().Find(entry.first);
    if (object != nullptr) {
      const KnownTable* known = Find(database, object->name);
      if (known != nullptr && HaveSameColumns(known->def, def)) ++alike;
    } else if (std::ranges::any_of(database.tables, [&def](const KnownTable& table) {
                 return HaveSameColumns(table.def, def);
               })) {
      ++alike;
    }
  }
  // Names are left where no definition is.
  for (const OldObject& object : old.catalog().objects) {
    if (object.is_table() && Find(database, object.name) != nullptr) ++alike;
  }
  return alike;
}

// Fields of long values are left out: to follow them is for those who copy them.
std::size_t KnownTables::RowsMet(OldFile& old, const TableDef& def, PageNumber owner,
                                 const KnownTable& table) const {
  const RowJudge judge(def);
  std::set<std::vector<Value>> usual;
  for (const std::vector<Value>& row : table.rows) {
    std::vector<Value> values;
    for (const ColumnDef& column : def.columns) {
      if (IsLongValue(column.type)) continue;
      const auto same = std::ranges::find(table.def.columns, column.name, &ColumnDef::name);
      values.push_back(row[static_cast<std::size_t>(same - table.def.columns.begin())]);
    }
    usual.insert(std::move(values));
  }
  const std::size_t all = usual.size();
  OldRow row;
  old.RowsOf(owner, judge).VisitBytes([&](RowId, ByteView bytes) {
    if (!judge.IsWhole(bytes, row.fields)) return;
    std::vector<Value> values;
    for (std::size_t i = 0; i < def.columns.size(); ++i) {
      if (!IsLongValue(def.columns[i].type)) values.push_back(judge.ValueOf(row, i));
    }
    usual.erase(values);
  });
  return all - usual.size();
}

const KnownTable* KnownTables::Choose(OldFile& old, const TableDef* def, PageNumber owner,
                                      const std::vector<const KnownTable*>& found) {
  std::map<std::string, const KnownTable*> by_name;
  for (const KnownTable* table : found) by_name.emplace(table->name, table);
  const KnownTable* chosen = by_name.empty() ? nullptr : by_name.begin()->second;
  if (by_name.size() > 1) {
    std::size_t most = 0, second = 0;
    for (const auto& [name, table] : by_name) {
      const std::size_t met = RowsMet(old, def != nullptr ? *def : table->def, owner, *table);
      if (met > most) chosen = table;
      second = met > most ? most : std::max(second, met);
      most = std::max(most, met);
    }
    // What others have as well, or few of the rows, proves nothing.
    const bool all_met = most > second && most == chosen->rows.size();
    if (!all_met && (most <= 2 * second || 2 * most < chosen->rows.size())) return nullptr;
  }
  if (chosen != nullptr) taken_.insert(chosen->name);
  return chosen;
}

const KnownTable* KnownTables::ByColumns(OldFile& old, const TableDef& def) {
  std::vector<const KnownTable*> found;
  for (const KnownDatabase& database : databases_) {
    for (const KnownTable& table : database.tables) {
      if (!taken_.contains(table.name) && HaveSameColumns(table.def, def)) found.push_back(&table);
    }
  }
  return Choose(old, &def, def.page, found);
}

bool KnownTables::RowsFit(OldFile& old, PageNumber owner, const KnownTable& table,
                          bool is_named) const {
  const RowJudge judge(table.def);
  const std::set<std::size_t>& widths = widths_.find(table.name)->second;
  const OldRows rows = old.RowsOf(owner, judge);
  std::size_t count = 0, fit = 0;
  check::Fields fields;
  rows.VisitBytes([&](RowId id, ByteView bytes) {
    if (old.scan()[id.page].flawed) return;
    ++count;
    if (judge.IsWhole(bytes, fields) && widths.contains(GetU16(bytes, 0))) ++fit;
  });
  if (count == 0) return false;
  // Where the name is known, some rows may be damaged.
  return is_named ? 10 * fit >= 9 * count : fit == count;
}

const KnownTable* KnownTables::ByRows(OldFile& old, PageNumber owner, std::string_view name) {
  std::vector<const KnownTable*> found, tried;
  for (const KnownDatabase& database : databases_) {
    for (const KnownTable& table : database.tables) {
      if (name.empty() ? taken_.contains(table.name) : table.name != name) continue;
      const auto same = [&](const KnownTable* other) {
        return other->name == table.name && HaveSameLayout(other->def, table.def);
      };
      if (std::ranges::any_of(tried, same)) continue;
      tried.push_back(&table);
      if (RowsFit(old, owner, table, !name.empty())) found.push_back(&table);
    }
  }
  return Choose(old, nullptr, owner, found);
}

const KnownTable* KnownTables::ByName(std::string_view name) const {
  for (const KnownDatabase& database : databases_) {
    if (const KnownTable* table = Find(database, name)) return table;
  }
  return nullptr;
}

std::map<PageNumber, std::string> NamesElsewhere(OldFile& old) {
  std::map<PageNumber, std::string> names;
  for (const auto& [page, definition] : old.definitions()) {
    const auto id = definition.def.FindColumn("Id", kGeneral),
               name = definition.def.FindColumn("Name", kGeneral),
               type = definition.def.FindColumn("Type", kGeneral);
    if (definition.def.columns.size() != 3 || !id || !name || !type) continue;
    const RowJudge judge(definition.def);
    OldRows rows = old.RowsOf(page, judge);
    rows.Visit([&](const OldRow& row) {
      const Value number = judge.ValueOf(row, *id), text = judge.ValueOf(row, *name);
      const auto* page = std::get_if<std::int32_t>(&number);
      const auto* called = std::get_if<std::string>(&text);
      if (page == nullptr || *page <= 0 || called == nullptr || row.doubtful) return;
      names.insert_or_assign(PageNumber{static_cast<std::uint32_t>(*page)}, *called);
    });
  }
  return names;
}

}  // namespace jet::recover
