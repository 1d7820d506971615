// Saved SELECTs as views of sqlite3, where both give the same rows.
#pragma once

#include <string>
#include <vector>

#include "mdbadm/view_scope.h"
#include "sql/sql.h"

namespace mdbadm {

// What the names in a query may mean.
struct KnownNames {
  jet::SortOrder order;
  std::vector<ViewSource> sources;  // tables and queries
};

// The SELECT or UNION that sqlite3 runs with the same result, but for what docs/mdbadm.md
// says of texts and errors. `columns`: those that the query has. What has no counterpart,
// NoCounterpart names. `used`: the tables and queries in it.
std::string TranslateSelect(const jet::QueryDefinition& definition,
                            const std::vector<sql::OutputColumn>& columns, const KnownNames& names,
                            std::vector<std::string>& used);

}  // namespace mdbadm
