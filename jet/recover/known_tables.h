// What the caller knows of databases of some kind, held against what is left of a file:
// which version it was, and which of its tables a lost one is.
#pragma once

#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "jet/recover/old_file.h"

namespace jet::recover {

class KnownTables {
 public:
  KnownTables() = default;
  // Keeps the versions that fit best the definitions that are left; none if no
  // definition is like any that is known.
  KnownTables(std::vector<KnownDatabase> databases, const OldFile& old);

  // The one table with these columns, of several the one that most of its usual rows are
  // in; null if there is none. Names given out before, or in use, are not considered.
  const KnownTable* ByColumns(OldFile& old, const TableDef& def);
  // The one table that all rows of `owner` fit; of this name, if one is given, the one that
  // nearly all fit.
  const KnownTable* ByRows(OldFile& old, PageNumber owner, std::string_view name);
  // As it was in the version that fits best.
  const KnownTable* ByName(std::string_view name) const;

 private:
  std::size_t LikenessOf(const KnownDatabase& database, const OldFile& old) const;
  // How many of its usual rows are among those of `owner`, read by `def`, which has the
  // columns of the table.
  std::size_t RowsMet(OldFile& old, const TableDef& def, PageNumber owner,
                      const KnownTable& table) const;
  // One name of those that fit; null if it is open which. `def`: of the rows, if it is
  // not lost.
  const KnownTable* Choose(OldFile& old, const TableDef* def, PageNumber owner,
                           const std::vector<const KnownTable*>& found);
  bool RowsFit(OldFile& old, PageNumber owner, const KnownTable& table, bool is_named) const;

  std::vector<KnownDatabase> databases_;                              // that fit best
  std::map<std::string, std::set<std::size_t>, std::less<>> widths_;  // of rows, by table
  std::set<std::string, std::less<>> taken_;
};

// Names of tables by their definition page, as other tables of the file hold them.
std::map<PageNumber, std::string> NamesElsewhere(OldFile& old);

}  // namespace jet::recover
