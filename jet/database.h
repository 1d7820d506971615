// A database file: the face of the engine. Opens or creates a file, finds and
// makes tables and saved queries, and flushes what was changed.
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "jet/column_type.h"
#include "jet/file.h"
#include "jet/header.h"
#include "jet/page_allocator.h"
#include "jet/pager.h"
#include "jet/property.h"
#include "jet/stored_query.h"
#include "jet/table.h"

namespace jet {

class Catalog;

// Local time without a zone.
using Clock = std::function<DateTime()>;
Clock SystemClock();

struct OpenOptions {
  OpenMode mode = OpenMode::kRead;
  std::string password{};
  PagerLimits limits{};
  Clock clock{};  // empty: SystemClock()
};

struct CreateOptions {
  SortOrder order = kJapanese;
  std::uint16_t code_page = 932;
  std::string password{};
  std::uint32_t engine_build = 0;  // 0: the usual one
  PagerLimits limits{};
  Clock clock{};
};

enum class ObjectKind { kTable, kSystemTable, kLinkedTable, kQuery, kOther };

struct ObjectInfo {
  std::int32_t id = 0;  // of a table: its definition page
  std::string name;
  ObjectKind kind = ObjectKind::kOther;
  std::uint32_t flags = 0;
  std::int16_t type = 0;
  DateTime created, updated;
};

struct ColumnSpec {
  std::string name{};
  ColumnType type = ColumnType::kLong;
  std::size_t max_size = 0;                // Text: characters; Binary: bytes
  bool compressed = false;                 // Text and Memo
  bool auto_number = false;                // Long
  std::uint8_t precision = 18, scale = 0;  // Numeric
  bool required = false;                   // recorded as a property; ignored for Boolean
  std::optional<bool> allow_zero_length{};
  std::string default_expression{};
};

struct IndexSpec {
  std::string name{};
  std::vector<std::string> columns{};
  std::vector<bool> descending{};  // empty: all ascending
  bool primary = false;
  bool unique = false;
  bool required = false;
  bool ignore_nulls = false;
};

struct TableSpec {
  std::string name{};
  std::vector<ColumnSpec> columns{};  // may be empty
  std::vector<IndexSpec> indexes{};
};

class Database {
 public:
  // Throws before anything is changed: kFileNotFound, kNoPermission, kInUse,
  // kNotJet4, kWrongPassword, kNeedsRepair, kDamaged.
  static std::unique_ptr<Database> Open(FileSystem& files, const std::string& path,
                                        const OpenOptions& options);
  // A new empty database, open for writing and not yet flushed.
  static std::unique_ptr<Database> Create(FileSystem& files, const std::string& path,
                                          const CreateOptions& options);
  ~Database();

  const std::string& path() const { return pager_->path(); }
  std::optional<FileId> file_id() const { return pager_->file_id(); }
  const Header& header() const { return header_; }
  SortOrder order() const { return header_.order(); }
  Pager& pager() { return *pager_; }
  PageAllocator& allocator() { return allocator_; }
  Catalog& catalog() { return *catalog_; }

  // Objects in the order of the catalog's rows.
  std::vector<ObjectInfo> Objects();
  // Tables, linked tables and queries share one name space; found by SameName.
  std::optional<ObjectInfo> Find(std::string_view name);

  // The same object for the same table as long as the database is open.
  // kTableMissing; kNotSupported for linked tables.
  std::shared_ptr<Table> OpenTable(std::string_view name);
  std::shared_ptr<Table> OpenTable(const ObjectInfo& object);

  // Each whole or not at all.
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

  bool changed() const { return pager_->changed(); }
  // Everything since the last Commit reaches the file, or nothing does.
  void Commit() { pager_->Flush(); }
  void Discard();

 private:
  Database(std::unique_ptr<Pager> pager, Header header, Clock clock);
  void RequireFreeName(std::string_view name);
  // Runs `change` on a copy of the table's definition, as one operation.
  void ChangeTable(std::string_view name,
                   const std::function<void(const ObjectInfo&, const Table&, TableDef&)>& change);

  std::unique_ptr<Pager> pager_;
  PageAllocator allocator_;
  Header header_;
  Clock clock_;
  std::unique_ptr<Catalog> catalog_;
};

}  // namespace jet
