#include <fmt/format.h>

#include <functional>
#include <optional>

#include "ado/environment.h"
#include "ado/error.h"
#include "db/kind.h"
#include "fuzz/content.h"
#include "fuzz/seeds.h"
#include "fuzz/snapshot.h"
#include "fuzz/targets.h"
#include "jet/base/error.h"
#include "jet/table/table.h"
#include "tests/support/fault_file.h"
#include "upgrade/ladders.h"

namespace fuzz {
namespace {

using jet::ColumnType;
using test_support::FaultFiles;

constexpr char kPath[] = "/fuzz/file.mdb";

jet::Clock FixedClock() {
  return [] { return jet::ToDateTime({2012, 2, 3, 4, 5, 6}); };
}

jet::Value AnyValue(const jet::ColumnInfo& column) {
  switch (column.type) {
    case ColumnType::kBoolean:
      return true;
    case ColumnType::kByte:
      return std::uint8_t{77};
    case ColumnType::kInteger:
      return std::int16_t{-777};
    case ColumnType::kLong:
      return std::int32_t{1'234'567};
    case ColumnType::kCurrency:
      return jet::Currency{5};
    case ColumnType::kSingle:
      return 0.25F;
    case ColumnType::kDouble:
      return 1e100;
    case ColumnType::kDateTime:
      return jet::DateTime{41000};
    case ColumnType::kText:
      return std::string("ｱ");
    case ColumnType::kMemo:
      return std::string(6000, 'z');
    case ColumnType::kOle:
      return jet::Bytes(200, 3);
    case ColumnType::kBinary:
      return jet::Bytes{1};
    default:
      return jet::Null{};
  }
}

// Every kind of change to a database, as far as it lets itself be changed.
class Changes {
 public:
  Changes(jet::Database& database, Allowed& allowed) : database_(database), allowed_(allowed) {}

  void Run() {
    const std::vector<jet::ObjectInfo> objects = database_.Objects();
    std::size_t tables = 0;
    for (const jet::ObjectInfo& object : objects) {
      if (object.kind != jet::ObjectKind::kTable || ++tables > 4) continue;
      Try([&] { Rows(object); });
      Try([&] { Schema(object.name); });
    }
    Try([&] {
      const auto table = database_.CreateTable(
          {.name = "追加",
           .columns = {{.name = "ID", .auto_number = true},
                       {.name = "文", .type = ColumnType::kMemo}},
           .indexes = {{.name = "PrimaryKey", .columns = {"ID"}, .primary = true}}});
      table->Insert(std::vector<jet::Value>{jet::Null{}, std::string(9000, 'y')});
    });
    Try([&] {
      database_.CreateQuery("新",
                            {{{.attribute = jet::QueryRow::kStart, .flag = 1},
                              {.attribute = jet::QueryRow::kEnd},
                              {.attribute = jet::QueryRow::kSource, .name1 = "追加"}}},
                            "");
    });
  }

 private:
  template <class Body>
  bool Try(Body&& body) {
    try {
      body();
      return true;
    } catch (const jet::Error&) {
      return false;
    }
  }

  void Rows(const jet::ObjectInfo& object) {
    const auto table = database_.OpenTable(object);
    const auto& columns = table->columns();
    std::vector<jet::Value> row;
    for (const jet::ColumnInfo& column : columns) row.push_back(AnyValue(column));
    Try([&] { table->Insert(row); });
    std::optional<jet::RowId> id = table->First();
    for (std::size_t i = 0; id && i < columns.size(); ++i) {
      const jet::FieldChange change{i, AnyValue(columns[i])};
      if (Try([&] { table->Update(*id, std::span(&change, 1)); }))
        allowed_.rows.insert({object.id, *id});
      id = table->Next(*id);
    }
    // Rows of which there is something to free.
    for (int i = 0; id && i < 30; ++i) {
      const jet::RowId here = *id;
      id = table->Next(here);
      if (i % 3 == 0 && Try([&] { table->Delete(here); })) allowed_.rows.insert({object.id, here});
    }
  }

  void Schema(const std::string& name) {
    Try([&] { database_.AppendColumn(name, {.name = "追加列", .type = ColumnType::kMemo}); });
    Try([&] { database_.AppendColumn(name, {.name = "追加数", .type = ColumnType::kDouble}); });
    Try([&] { database_.AddIndex(name, {.name = "追加索引", .columns = {"追加数"}}); });
    Try([&] {
      const auto object = database_.Find(name);
      if (!object) return;
      jet::Properties properties = database_.LoadProperties(*object);
      properties.SetBoolean(database_.order(), "追加列", jet::kRequiredProperty, true);
      database_.StoreProperties(*object, properties);
    });
  }

  jet::Database& database_;
  Allowed& allowed_;
};

// What the changes do to the objects' own rows when nothing is wrong.
void AllowCatalog(Allowed& allowed) {
  for (const char* column : {"DateUpdate", "LvProp"}) allowed.columns["MSysObjects"].insert(column);
}

struct UpgradeKind {
  db::Kind kind;
  Allowed allowed;
};

void RunLadder(FaultFiles& files, db::Kind kind, bool keep_partial) {
  ado::Environment environment(files, FixedClock());
  ado::Environment::Action action(environment);
  try {
    db::FileSession session(environment, kind, kPath, db::kDatabasePassword);
    session.Open();
    upgrade::RunLadder(session, upgrade::LatestVersion(kind));
  } catch (const ado::Error&) {
    if (!keep_partial) return;
  }
  action.Commit();
}

// What the ladder changes in a file that has nothing wrong.
UpgradeKind LearnLadder(db::Kind kind) {
  UpgradeKind known{kind, {}};
  for (const jet::Bytes& seed : UpgradeSeeds(kind)) {
    FaultFiles files;
    files.bytes(kPath) = ToImage(seed);
    const std::string password(db::kDatabasePassword);
    const Snapshot before = Look(files.bytes(kPath), password);
    RunLadder(files, kind, false);
    known.allowed.AddDifference(before, Look(files.bytes(kPath), password));
  }
  AllowCatalog(known.allowed);
  return known;
}

void Upgrade(jet::ByteView file, const UpgradeKind& known) {
  const std::string image = ToImage(file);
  const std::string password(db::kDatabasePassword);
  const Snapshot before = Look(image, password);
  FaultFiles files;
  files.bytes(kPath) = image;
  // The window keeps what completed steps did, mdbadm does not.
  const bool keep_partial =
      image.size() > 4096 && (image[4096 + 20] ^ image[image.size() / 2]) % 2 != 0;
  try {
    RunLadder(files, known.kind, keep_partial);
  } catch (const ado::Error&) {
    if (files.bytes(kPath) != image) throw Broken("refused, but the file has changed");
    return;
  }
  if (files.bytes(kPath) == image) return;
  RequireUnharmed(before, Look(files.bytes(kPath), password), known.allowed);
}

}  // namespace

void OpenFile(jet::ByteView file) { Look(ToImage(file), {}); }

void ChangeFile(jet::ByteView file) {
  const std::string image = ToImage(file);
  const Snapshot before = Look(image, {});
  FaultFiles files;
  files.bytes(kPath) = image;
  Allowed allowed;
  AllowCatalog(allowed);
  try {
    jet::OpenOptions options;
    options.mode = jet::OpenMode::kExclusive;
    options.clock = FixedClock();
    const auto database = jet::Database::Open(files, kPath, options);
    Changes(*database, allowed).Run();
    database->Commit();
  } catch (const jet::Error&) {
    if (files.bytes(kPath) != image) throw Broken("refused, but the file has changed");
    return;
  }
  if (files.bytes(kPath) == image) return;
  RequireUnharmed(before, Look(files.bytes(kPath), {}), allowed);
}

void UpgradeData(jet::ByteView file) {
  static const UpgradeKind kKnown = LearnLadder(db::Kind::kData);
  Upgrade(file, kKnown);
}

void UpgradeTenkai(jet::ByteView file) {
  static const UpgradeKind kKnown = LearnLadder(db::Kind::kTenkai);
  Upgrade(file, kKnown);
}

}  // namespace fuzz
