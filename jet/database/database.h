// A database file: the face of the engine. Opens or creates a file, finds and
// makes tables and saved queries, and flushes what was changed.
//
// One thread at a time may use a database with all its tables; different databases do
// not touch each other. Tables must not be used after their database is gone.
//
// Errors are jet::Error and name the file, and the table if there is one. Each
// function happens whole or leaves the database as it was.
#pragma once

#include <functional>
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
#include "jet/storage/header.h"
#include "jet/table/table.h"

namespace jet {

class Catalog;
class PageAllocator;
class Pager;

class Database {
 public:
  // Throws before anything is changed: kFileNotFound, kNoPermission, kInUse,
  // kNotJet4, kWrongPassword, kNeedsRepair, kDamaged.
  static std::unique_ptr<Database> Open(FileSystem& files, const std::string& path,
                                        const OpenOptions& options);
  // A new empty database, open for writing and not yet flushed.
  static std::unique_ptr<Database> Create(FileSystem& files, const std::string& path,
                                          const CreateOptions& options);
  // Drops what was not committed.
  ~Database();

  const std::string& path() const;
  std::optional<FileId> file_id() const;
  const Header& header() const { return header_; }
  SortOrder order() const { return header_.order(); }
  // Of the file, uncommitted ones included.
  std::uint32_t page_count() const;

  // Objects in the order of the catalog's rows.
  std::vector<ObjectInfo> Objects();
  // Tables, linked tables and queries share one name space; found by SameName.
  std::optional<ObjectInfo> Find(std::string_view name);

  // The same object for the same table as long as the database is open.
  // kTableMissing; kNotSupported for linked tables.
  std::shared_ptr<Table> OpenTable(std::string_view name);
  std::shared_ptr<Table> OpenTable(const ObjectInfo& object);

  // Changes of what there is. Tables that are open see them at once.
  std::shared_ptr<Table> CreateTable(const TableSpec& spec);
  void AppendColumn(std::string_view table, const ColumnSpec& column);
  void AddIndex(std::string_view table, const IndexSpec& index);

  // `text` is kept verbatim as a property of the query; empty: none.
  void CreateQuery(std::string_view name, const QueryDefinition& definition, std::string_view text);
  // The rows as stored. kTableMissing; kDamaged for rows that cannot be read.
  QueryDefinition LoadQuery(const ObjectInfo& query);

  Properties LoadProperties(const ObjectInfo& object);
  void StoreProperties(const ObjectInfo& object, const Properties& properties);

  // Empty: none. Re-masks every security id.
  void SetPassword(std::string_view password);

  bool changed() const;
  // Everything since the last Commit reaches the file, or nothing does. kIo, kDiskFull,
  // kFileTooLarge; after kUnfinished and kUncertain only Open() goes on with the file.
  void Commit();
  // Forgets everything since the last Commit. Tables stay open.
  void Discard();

 private:
  friend class Internals;
  Database(std::unique_ptr<Pager> pager, Header header, Clock clock);
  // Runs `change` on a copy of the table's definition, as one operation.
  void ChangeTable(std::string_view name,
                   const std::function<void(const ObjectInfo&, const Table&, TableDef&)>& change);

  std::unique_ptr<Pager> pager_;
  std::unique_ptr<PageAllocator> allocator_;
  Header header_;
  std::unique_ptr<Catalog> catalog_;
};

}  // namespace jet
