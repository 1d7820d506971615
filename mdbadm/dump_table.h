// One table as statements: its definition, its rows, its indexes.
#pragma once

#include <cstdint>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "jet/database/database.h"

namespace mdbadm {

// A relationship of two tables, as the system table of them holds it.
struct Relationship {
  enum Flag : std::uint32_t {
    kNotEnforced = 0x2,
    kCascadeUpdate = 0x100,
    kCascadeDelete = 0x1000,
  };
  std::string name, table, referenced;
  std::vector<std::string> columns, referenced_columns;
  std::uint32_t flags = 0;
};
std::vector<Relationship> LoadRelationships(jet::Database& database);

// The name under which sqlite3 takes a table.
std::string DumpName(const std::string& table);

class TableDump {
 public:
  // `tables`: all that are written, to which a relationship may lead. `index_names`: those
  // that were given, in small letters; they are one name space in sqlite3.
  TableDump(jet::Database& database, jet::Table& table,
            const std::vector<std::shared_ptr<jet::Table>>& tables,
            std::set<std::string>& index_names)
      : database_(database), table_(table), tables_(tables), index_names_(index_names) {}

  void Print(const jet::Properties& properties, const std::vector<Relationship>& relationships);

 private:
  void PrintDefinition(const std::vector<Relationship>& relationships);
  void PrintRows();
  void PrintIndexes();
  void FindRequired();
  std::string Column(std::size_t ordinal);
  std::string Default(std::size_t ordinal);
  std::string ForeignKey(const Relationship& relationship);
  std::string ColumnList(const jet::IndexInfo& index, bool with_order) const;
  void Remark(std::string_view what);

  jet::Database& database_;
  jet::Table& table_;
  const std::vector<std::shared_ptr<jet::Table>>& tables_;
  std::set<std::string>& index_names_;
  std::vector<bool> required_;
  std::string remarks_;  // comments that come before the table
};

}  // namespace mdbadm
