// The object list of a database: what tables and saved queries there are, who
// may use them, and what properties they have. It stands in four system tables
// that are read and written like any other table:
//
//   page 2  MSysObjects        one row an object
//   page 3  MSysACEs           one row an object and group of users: its rights
//   page 4  MSysQueries        the rows of saved queries
//   page 5  MSysRelationships
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "jet/database/property.h"
#include "jet/database/spec.h"
#include "jet/database/stored_query.h"
#include "jet/database/system_tables.h"
#include "jet/pages/page_allocator.h"
#include "jet/storage/header.h"
#include "jet/table/table.h"
#include "jet/table/table_core.h"

namespace jet {

// Whatever changes something REQUIRES a Scope; when that is undone, the list is read
// anew.
class Catalog {
 public:
  // REQUIRES: both outlive the catalog; `header` is always the file's current one.
  Catalog(PageAllocator& allocator, const Header& header, Clock clock);

  // In the order of the rows.
  const std::vector<ObjectInfo>& Objects();
  // Where the definitions of tables begin, as the list was read last. kDamaged where
  // two tables have the same.
  std::vector<PageNumber> Definitions() const;
  // A table, linked table or query.
  const ObjectInfo* Find(std::string_view name);
  // The same object for the same id.
  std::shared_ptr<Table> OpenTable(const ObjectInfo& object);

  // The object's row and its rights, inherited from the container of tables.
  ObjectInfo AddObject(std::int32_t id, std::int16_t type, std::uint32_t flags,
                       std::string_view name, const Properties& properties);
  // The object was changed now.
  void Touch(std::int32_t id);
  // An id for an object that has no definition page.
  std::int32_t NextFreeId();

  Properties LoadProperties(std::int32_t id);
  // Does not touch a table that is open; see ReloadTable.
  void StoreProperties(std::int32_t id, const Properties& properties);
  // The table, if it is open, sees what its definition and properties say now.
  void ReloadTable(std::int32_t id);

  QueryDefinition LoadQuery(std::int32_t id);
  void AddQuery(std::int32_t id, const QueryDefinition& definition);

  // Every stored security id from the mask of one header to that of another.
  void RemaskSecurityIds(const Header& from, const Header& to);

 private:
  void Refresh();
  std::size_t PositionOf(std::int32_t id);
  std::string LinkOf(const ObjectInfo& object);
  TableDef LoadDef(std::int32_t id);
  // One of the tables of system_tables.h.
  Table& SystemTable(PageNumber page);
  Table& ObjectsTable() { return SystemTable(kObjectsPage); }
  std::shared_ptr<Table> MakeTable(std::int32_t id, const std::string& name);
  // What the table is now, by its pages and properties together.
  TableState LoadState(std::int32_t id, const std::string& name);
  Bytes OwnerSid();
  SortOrder order() const { return header_->order(); }
  Pager& pager() { return allocator_->pager(); }

  PageAllocator* allocator_;
  const Header* header_;
  Clock clock_;
  bool loaded_ = false;
  std::uint64_t epoch_ = 0;
  std::vector<ObjectInfo> objects_;
  std::vector<RowId> rows_;  // of objects_
  std::unordered_map<std::int32_t, std::size_t> by_id_;
  std::unordered_map<std::string, std::size_t> by_name_;  // NameKey of tables and queries
  std::map<std::int32_t, std::shared_ptr<Table>> open_;
};

}  // namespace jet
