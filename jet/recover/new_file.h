// The file that what was saved goes into: a new database, whose tables take the
// columns and the stored bytes of old ones.
#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "jet/database/catalog.h"
#include "jet/recover/row_judge.h"
#include "jet/table/row_store.h"

namespace jet::recover {

struct NewFileSettings {
  Header::NewFile header;
  std::uint32_t page_key = 0;  // 0: pages in clear
  PagerLimits limits;
};

// An object to be entered into the catalog.
struct NewObject {
  std::string name;
  std::int16_t type = kTableObject;
  std::uint32_t flags = 0;
  DateTime created, updated;
  Properties properties;
  std::int32_t parent = kTablesContainer;
  std::vector<std::pair<std::string, Value>> other_fields;  // of MSysObjects
};

class NewFile {
 public:
  NewFile(FileSystem& files, const std::string& path, const NewFileSettings& settings);

  Pager& pager() { return *pager_; }
  PageAllocator& allocator() { return allocator_; }
  SortOrder order() const { return header_->order(); }
  // A name that no table and no query has: `name`, or one like it.
  std::string FreeName(const std::string& name);
  // `id`: a definition page, or nothing for an object without one.
  ObjectInfo AddObject(std::optional<PageNumber> id, const NewObject& object);
  std::shared_ptr<Table> OpenTable(const ObjectInfo& object) { return catalog_.OpenTable(object); }
  void ReloadTable(const ObjectInfo& object) { catalog_.ReloadTable(object.id); }
  // One of the four tables that every database has.
  std::shared_ptr<Table> SystemTable(PageNumber page);

  // Writes what has changed, if that has become much. REQUIRES: no Scope.
  void FlushSometimes();
  void Flush() { pager_->Flush(); }

 private:
  void PutPageKey(std::uint32_t key);
  std::unique_ptr<Pager> pager_;
  PageAllocator allocator_;
  std::optional<Header> header_;
  DateTime now_;  // what the catalog takes for the time
  Catalog catalog_;
  std::uint64_t unflushed_ = 0;
};

// One table being filled.
class NewTable {
 public:
  // With the columns of `like` and no index. REQUIRES: the file outlives the table.
  NewTable(NewFile& file, const TableDef& like);

  // False if the row is longer than one can be. Fields and long values are those of
  // the columns of `like`.
  bool Append(const OldRow& row);
  bool Append(std::span<const Value> values);
  std::uint64_t rows() const { return def_.row_count; }
  // Makes the next autonumber greater than `last`.
  void PassAutonumber(std::uint32_t last);
  // Writes the counters and enters the table into the catalog.
  ObjectInfo Finish(const NewObject& object);

 private:
  bool Store(std::span<const std::uint8_t> bytes);
  // Whether the row's own bytes are what a new row would be.
  bool FitsAsItIs(const OldRow& row) const;
  ByteView Encode(const OldRow& row);
  Bytes StoreLongValue(const ColumnDef& column, ByteView content);
  void PassStored(ByteView stored);
  NewFile* file_;
  TableDef def_;
  std::vector<std::size_t> long_values_, counted_;  // ordinals: counted are autonumbers
  RowStore rows_;
  RowEncoder encoder_;
};

}  // namespace jet::recover
