#include "fuzz/snapshot.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <string_view>

#include "jet/base/error.h"
#include "jet/database/internals.h"
#include "jet/sort/name.h"
#include "sql/sql.h"
#include "tests/support/fault_file.h"

namespace fuzz {
namespace {

constexpr char kPath[] = "/fuzz/file.mdb";
constexpr std::int32_t kCatalogId = 2;  // of the table of objects, whatever it is called

std::uint64_t Hash(jet::ByteView bytes) {
  return std::hash<std::string_view>()({reinterpret_cast<const char*>(bytes.data()), bytes.size()});
}

// The value as it stands in the row; of a long value, as it reads.
std::uint64_t HashOf(const jet::Table::Row& row, const jet::ColumnDef& column,
                     std::size_t ordinal) {
  if (column.type == jet::ColumnType::kBoolean) return ViewOf(row).Boolean(column) ? 1 : 2;
  const auto raw = ViewOf(row).Raw(column);
  if (!raw) return 0;
  if (!jet::IsLongValue(column.type)) {
    row.Get(ordinal);
    return Hash(*raw);
  }
  const jet::Value value = row.Get(ordinal);
  if (const auto* text = std::get_if<std::string>(&value)) return std::hash<std::string>()(*text);
  return Hash(std::get<jet::Bytes>(value));
}

// Walks everything; damage is kept and thrown by Rethrow().
class Walk {
 public:
  Walk(jet::Database& database, Snapshot& snapshot) : database_(database), snapshot_(snapshot) {}

  void Run() {
    for (const jet::ObjectInfo& object : database_.Objects()) {
      Try([&] { database_.LoadProperties(object); });
      if (object.kind == jet::ObjectKind::kQuery) {
        Try([&] { Query(object); });
      } else if (object.kind == jet::ObjectKind::kTable ||
                 object.kind == jet::ObjectKind::kSystemTable) {
        Try([&] { Table(object); });
      }
    }
  }
  const std::optional<jet::Error>& damage() const { return damage_; }

 private:
  template <class Body>
  void Try(Body&& body) {
    try {
      body();
    } catch (const jet::Error& error) {
      // Other codes are limits of ours, not damage.
      if (error.code() == jet::ErrorCode::kDamaged && !damage_) damage_ = error;
    }
  }

  // Nothing where damage ends the walk: an assignment that throws would leave the
  // place before it, and the walk would go on from there for ever.
  template <class Body>
  std::optional<jet::RowId> Found(Body&& body) {
    try {
      return body();
    } catch (const jet::Error& error) {
      if (error.code() == jet::ErrorCode::kDamaged && !damage_) damage_ = error;
      return std::nullopt;
    }
  }

  void Query(const jet::ObjectInfo& object) {
    const jet::QueryDefinition query = database_.LoadQuery(object);
    try {
      sql::Format(query);
    } catch (const sql::Error&) {
      // What other programs wrote into the rows need not be a SELECT.
    }
  }

  void Table(const jet::ObjectInfo& object) {
    const std::shared_ptr<jet::Table> table = database_.OpenTable(object);
    Snapshot::Table& seen = snapshot_.tables[object.id];
    seen.name = object.id == kCatalogId ? "MSysObjects" : object.name;
    const jet::TableDef& def = DefOf(*table);
    // Row by row, so that one that cannot be read hides no other.
    jet::Table::Row row;
    auto id = Found([&] { return table->First(); });
    for (; id; id = Found([&] { return table->Next(*id); })) {
      Try([&] {
        if (!table->Read(*id, row)) return;
        for (std::size_t i = 0; i < def.columns.size(); ++i) {
          Try([&] { seen.columns[def.columns[i].name][*id] = HashOf(row, def.columns[i], i); });
        }
      });
    }
    for (std::size_t i = 0; i < def.real_indexes.size(); ++i) {
      Try([&] { Tree(*table, i); });
    }
  }

  void Tree(const jet::Table& table, std::size_t real) {
    const jet::Index index = jet::Internals(database_).OpenIndex(table, real);
    std::size_t entries = 0;
    jet::Bytes key;
    for (jet::Index::Cursor at = index.First(); at.valid(); at.Next()) {
      if (entries++ % 16 == 0) key.assign(at.key().begin(), at.key().end());
    }
    if (!key.empty()) index.Find(key);
  }

  jet::Database& database_;
  Snapshot& snapshot_;
  std::optional<jet::Error> damage_;
};

bool IsDamage(jet::ErrorCode code) {
  return code == jet::ErrorCode::kDamaged || code == jet::ErrorCode::kNeedsRepair;
}

}  // namespace

Snapshot Look(const std::string& image, const std::string& password) {
  Snapshot snapshot;
  test_support::FaultFiles files;
  files.bytes(kPath) = image;
  jet::OpenOptions options;
  options.password = password;
  std::optional<jet::Error> damage;
  try {
    snapshot.check = jet::CheckFile(files, kPath, {.password = password});
    const auto database = jet::Database::Open(files, kPath, options);
    Walk walk(*database, snapshot);
    walk.Run();
    snapshot.opened = true;
    damage = walk.damage();
  } catch (const jet::Error& error) {
    damage = error;
    if (!IsDamage(error.code()))
      snapshot.check.problems = std::max<std::uint64_t>(1, snapshot.check.problems);
  }
  if (damage && snapshot.check.sound()) {
    throw Broken(fmt::format("called sound, but: {}", damage->what()));
  }
  if (files.bytes(kPath) != image) throw Broken("reading changed the file");
  return snapshot;
}

bool Allowed::NameLess::operator()(std::string_view a, std::string_view b) const {
  return jet::NameKey(jet::kGeneral, a) < jet::NameKey(jet::kGeneral, b);
}

void Allowed::AddDifference(const Snapshot& before, const Snapshot& after) {
  for (const auto& [id, old] : before.tables) {
    const auto now = after.tables.find(id);
    if (now == after.tables.end()) {
      deletions.insert(old.name);
      continue;
    }
    for (const auto& [column, values] : old.columns) {
      const auto new_column = now->second.columns.find(column);
      const std::map<jet::RowId, std::uint64_t> none;
      const auto& new_values = new_column == now->second.columns.end() ? none : new_column->second;
      for (const auto& [row, hash] : values) {
        const auto found = new_values.find(row);
        if (found == new_values.end()) {
          deletions.insert(old.name);
        } else if (found->second != hash) {
          columns[old.name].insert(column);
        }
      }
    }
  }
}

namespace {

void RequireSameContent(const Snapshot& before, const Snapshot& after, const Allowed& allowed) {
  for (const auto& [id, old] : before.tables) {
    const auto now = after.tables.find(id);
    if (now == after.tables.end()) {
      throw Broken(fmt::format("table {} cannot be read any more", old.name));
    }
    const auto may_change = allowed.columns.find(old.name);
    for (const auto& [column, values] : old.columns) {
      if (may_change != allowed.columns.end() && may_change->second.contains(column)) continue;
      const auto found_column = now->second.columns.find(column);
      for (const auto& [row, hash] : values) {
        if (allowed.rows.contains({id, row})) continue;
        const bool lost =
            found_column == now->second.columns.end() || !found_column->second.contains(row);
        if (lost ? allowed.deletions.contains(old.name) : found_column->second.at(row) == hash) {
          continue;
        }
        throw Broken(fmt::format("page {} row {} of {}.{} {}", row.page.value, row.row, old.name,
                                 column, lost ? "is lost" : "has changed"));
      }
    }
  }
}

// The rights of new objects are copies of what the table of objects holds.
std::string Part(const std::string& table) { return table == "MSysACEs" ? "MSysObjects" : table; }

// A page that two parts claim is reported for the second one, beside the first.
bool Speaks(const jet::Finding& finding, const std::set<std::string>& tables) {
  return !finding.other_table.empty() && tables.contains(finding.other_table);
}

// Whether parts name pages behind the end, as those of a file do that was cut off.
bool IsCutOff(const Snapshot& file) {
  return std::ranges::any_of(file.check.findings, [](const jet::Finding& finding) {
    return finding.code == jet::Finding::Code::kBeyondEnd;
  });
}

bool HasTable(const Snapshot& file, const std::string& name) {
  return std::ranges::any_of(file.tables,
                             [&](const auto& entry) { return entry.second.name == name; });
}

// Findings about parts that had none before. Where the table of objects is
// damaged, the checker may not have seen all tables. What a damaged part names
// behind the end goes to new tables, and the checker believes the damaged part.
void RequireNoNewDamage(const Snapshot& before, const Snapshot& after) {
  std::set<std::string> tables;
  std::set<std::uint32_t> pages;
  for (const jet::Finding& finding : before.check.findings) {
    if (finding.severity == jet::Finding::Severity::kUnusual) continue;
    tables.insert(Part(finding.table));
    if (!finding.other_table.empty()) tables.insert(Part(finding.other_table));
    if (finding.page) pages.insert(finding.page->value);
  }
  if (tables.contains("MSysObjects")) return;
  const bool cut_off = IsCutOff(before);
  for (const jet::Finding& finding : after.check.findings) {
    if (finding.severity != jet::Finding::Severity::kProblem) continue;
    if (cut_off && !finding.table.empty() && !HasTable(before, finding.table)) continue;
    if (tables.contains(Part(finding.table)) ||
        (finding.page && pages.contains(finding.page->value)) || Speaks(finding, tables)) {
      continue;
    }
    throw Broken("new damage: " + jet::FormatFinding(finding));
  }
}

}  // namespace

void RequireUnharmed(const Snapshot& before, const Snapshot& after, const Allowed& allowed) {
  if (!before.opened) throw Broken("a file was changed that could not be opened");
  if (!after.opened) throw Broken("the file cannot be opened any more");
  if (before.check.sound() && !after.check.sound()) {
    for (const jet::Finding& finding : after.check.findings) {
      if (finding.severity != jet::Finding::Severity::kProblem) continue;
      throw Broken("a sound file became damaged: " + jet::FormatFinding(finding));
    }
    throw Broken("a sound file became damaged");
  }
  RequireSameContent(before, after, allowed);
  RequireNoNewDamage(before, after);
}

}  // namespace fuzz
