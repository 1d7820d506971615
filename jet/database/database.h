// A database file: the face of the engine. Opens or creates a file, finds and makes
// tables and saved queries, and writes what was changed. This header brings along all
// that its functions take and give; docs/engine.md shows it in use.
//
// Changes wait in memory until Commit(), which brings all of them into the file or
// none. A program that dies before leaves the file as it was.
//
// One thread at a time may use a database with all its tables; different databases do
// not touch each other. Tables must not be used after their database is gone.
//
// Errors are jet::Error and name the file, and the table if there is one. Each
// function happens whole or leaves the database as it was. Names and texts are UTF-8;
// names are found by SameName: case and width do not count.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "jet/base/error.h"
#include "jet/database/property.h"
#include "jet/database/spec.h"
#include "jet/database/stored_query.h"
#include "jet/storage/file.h"
#include "jet/table/table.h"

namespace jet {

class Catalog;
class Header;
class PageAllocator;
class Pager;

class Database {
 public:
  // Throws before anything is changed: kFileNotFound, kNoPermission, kInUse,
  // kNotJet4, kWrongPassword, kNeedsRepair, kDamaged. REQUIRES: `files` outlives the
  // database.
  static std::unique_ptr<Database> Open(FileSystem& files, const std::string& path,
                                        const OpenOptions& options);
  // A new empty database, open for writing and not yet committed; a file of that name
  // is emptied at once. REQUIRES: `files` outlives the database.
  static std::unique_ptr<Database> Create(FileSystem& files, const std::string& path,
                                          const CreateOptions& options);
  // Drops what was not committed.
  ~Database();

  const std::string& path() const;
  // Nothing where the volume has no such numbers.
  std::optional<FileId> file_id() const;
  FileInfo info() const;
  // By which names compare and texts sort.
  SortOrder order() const;

  // Objects in the order of the catalog's rows.
  std::vector<ObjectInfo> Objects();
  // Tables, linked tables and queries share one name space.
  std::optional<ObjectInfo> Find(std::string_view name);

  // The same object for the same table as long as the database is open.
  // kTableMissing; kNotSupported for linked tables.
  std::shared_ptr<Table> OpenTable(std::string_view name);
  std::shared_ptr<Table> OpenTable(const ObjectInfo& object);

  // Changes of what there is. Tables that are open see them at once. kNameTaken,
  // kBadName, kColumnExists, kIndexExists, kTooManyColumns, kTooManyIndexes; of an
  // index over rows that break its rules kDuplicateKey, kNullKey.
  std::shared_ptr<Table> CreateTable(const TableSpec& spec);
  void AppendColumn(std::string_view table, const ColumnSpec& column);
  void AddIndex(std::string_view table, const IndexSpec& index);

  // `text` is kept verbatim as a property of the query; empty: none.
  void CreateQuery(std::string_view name, const QueryDefinition& definition, std::string_view text);
  // The rows as stored. kTableMissing; kDamaged for rows that cannot be read.
  QueryDefinition LoadQuery(const ObjectInfo& query);

  Properties LoadProperties(const ObjectInfo& object);
  void StoreProperties(const ObjectInfo& object, const Properties& properties);

  // Case matters; a file without a password accepts any.
  bool AcceptsPassword(std::string_view password) const;
  // Empty: none. Re-masks every security id.
  void SetPassword(std::string_view password);

  // Whether a Commit() would write something.
  bool changed() const;
  // Everything since the last Commit reaches the file, or nothing does. kIo, kDiskFull,
  // kFileTooLarge; after kUnfinished and kUncertain only Open() goes on with the file.
  void Commit();
  // Forgets everything since the last Commit. Tables stay open.
  void Discard();

 private:
  friend class Internals;
  Database(std::unique_ptr<Pager> pager, const OpenOptions& options);
  Database(std::unique_ptr<Pager> pager, const CreateOptions& options);

  std::unique_ptr<Pager> pager_;
  std::unique_ptr<PageAllocator> allocator_;
  std::unique_ptr<Header> header_;
  std::unique_ptr<Catalog> catalog_;
};

}  // namespace jet
