// Carries the rows of an old table into a new one, with its indexes. What would break
// a rule of the table goes to a table beside it.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "jet/database/spec.h"
#include "jet/index/index_key.h"
#include "jet/recover/key_set.h"
#include "jet/recover/new_file.h"
#include "jet/recover/old_rows.h"
#include "jet/recover/recover_report.h"

namespace jet::recover {

// The indexes of a definition as they would be asked for, in the order of their trees;
// those of relationships left out.
std::vector<IndexSpec> IndexesOf(const TableDef& def);

class TableCopy {
 public:
  // Of a table with this definition and these properties. `report` receives what
  // becomes of it. REQUIRES: all outlive this object.
  TableCopy(NewFile& file, const TableDef& def, const Properties& properties,
            RecoverReport::Table& report);

  void CopyRows(OldRows& rows);
  // Enters the table and builds its indexes.
  ObjectInfo Finish(const NewObject& object, std::uint32_t last_autonumber);

 private:
  enum class Place { kTable, kDuplicate, kMissing };
  // A tree whose rules the rows must keep.
  struct Rule {
    std::size_t real = 0;
    bool dropped = false;
    std::optional<LongKeys> long_keys;
    KeySet keys;
    IndexKey key;         // of the row being placed
    bool counts = false;  // whether that key may not be there twice
  };
  void MakeKey(const OldRow& row, Rule& rule) const;
  Place PlaceOf(const OldRow& row);
  bool LacksRequired(const OldRow& row) const;
  void Add(const OldRow& row);
  NewTable& Beside(std::optional<NewTable>& table);
  void FinishBeside(std::optional<NewTable>& table, const NewObject& object, const char* ending);
  void BuildIndexes(const ObjectInfo& table);
  void KeepNumbers(const ObjectInfo& table);

  NewFile* file_;
  const TableDef* def_;
  RecoverReport::Table* report_;
  RowJudge judge_;
  std::vector<bool> required_;  // by ordinal, as the properties have it
  std::vector<Rule> rules_;
  NewTable table_;
  std::optional<NewTable> duplicates_, incomplete_;
};

}  // namespace jet::recover
