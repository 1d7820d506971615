// Saved SELECTs as views of sqlite3, where both give the same rows.
#pragma once

#include <string>
#include <vector>

#include "jet/database/database.h"
#include "mdbadm/view_tokens.h"

namespace mdbadm {

// What the names in a query may mean.
struct KnownNames {
  jet::SortOrder order;
  struct Source {
    std::string name;
    std::vector<std::string> columns;
  };
  std::vector<Source> sources;     // tables and queries
  std::vector<std::string> flags;  // columns that hold -1 for true there, 1 in sqlite3
  std::vector<std::string> dates;  // numbers there, texts in sqlite3
};

// The SELECT that sqlite3 runs with the same result. `text` is that of the query. What the
// translation does not know, NoCounterpart names. `used`: the tables and queries in it.
std::string TranslateSelect(const std::string& text, const KnownNames& names,
                            std::vector<std::string>& used);

}  // namespace mdbadm
