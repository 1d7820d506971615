// The integrity checker on the catalog: the list of objects, the tables that it
// leads to, and the system tables that speak about objects.
#pragma once

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "jet/check/tables.h"
#include "jet/check/tables_ahead.h"
#include "jet/database/system_tables.h"

namespace jet::check {

class CatalogCheck {
 public:
  CatalogCheck(const Context& context, const Parallel& parallel)
      : context_(&context), ahead_(context, parallel) {}

  // Checks all tables. False if the list of objects itself could not be read, so
  // that its tables are not known.
  bool Run();

 private:
  struct Object {
    RowId row;
    std::optional<std::int32_t> id, parent, type;
    std::optional<std::string> name;
    std::optional<Bytes> owner;
  };
  // Of a saved query: rows by kind.
  struct QueryRows {
    std::uint64_t rows = 0, starts = 0, ends = 0;
    RowId first;
  };

  bool ReadObjects();
  void AddObject(const TableDef& def, RowId id, const RowFields& row);
  void SeeObject(const TableDef& def, const Object& object, const RowFields& row);
  void CheckObjects();
  void CheckObject(const Object& object);
  void CheckContainers();
  void CheckOwner(const Object& object);
  void CheckProperties(RowId row, ByteView blob);
  void CheckTables();
  void CheckTable(const Object& object);
  void RunTable(const std::string& name, TableDef def);
  void AddRelations(const TableDef& def);
  void VisitAces(TableCheck& table);
  void VisitQueries(TableCheck& table);
  void VisitRelationships(TableCheck& table);
  void CheckAces();
  void CheckQueries();
  void CheckRelations();
  const Object* FindObject(std::string_view name, std::int32_t type) const;
  bool IsSystemTable(const TableDef& def, const SystemTableSpec& spec);
  void Problem(const Object& object, Code code, std::string text);

  const Context* context_;
  TablesAhead ahead_;
  std::vector<Object> objects_;
  std::map<std::int32_t, const Object*> by_id_;
  std::map<std::uint32_t, std::string> table_names_;  // by definition page
  struct Relation {
    std::string index;
    std::uint32_t related_index = 0, related_table = 0;
    std::uint8_t kind = 0;
  };
  // All logical indexes, by definition page and number.
  std::map<std::pair<std::uint32_t, std::uint32_t>, Relation> relations_;
  std::map<std::int32_t, RowId> aces_;  // an entry of each object
  std::map<std::int32_t, QueryRows> queries_;
  bool aces_read_ = false, queries_read_ = false;
};

}  // namespace jet::check
