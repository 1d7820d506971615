// Random queries of the dialect that this language and sqlite3 have in common, each in
// the words of both.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "fuzz/random.h"

namespace fuzz {

// A table and those of its columns that queries may name.
struct QueryTable {
  std::string name;
  std::vector<std::string> wholes;  // the first one tells the rows apart
  std::vector<std::string> numbers = {};
  std::vector<std::string> texts = {};  // for sqlite3, NAME_key holds the sort key of NAME
};

struct Question {
  std::string ours, theirs;
  bool ordered = false;  // the order of the rows counts
};

// REQUIRES: a table.
Question RandomSelect(const std::vector<QueryTable>& tables, Random& random);

}  // namespace fuzz
