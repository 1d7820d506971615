// Random queries of the dialect that this language and sqlite3 have in common, each in
// the words of both.
#pragma once

#include <string>
#include <vector>

#include "fuzz/random.h"
#include "fuzz/random_expression.h"

namespace fuzz {

struct Question {
  std::string ours, theirs;
  bool ordered = false;  // the order of the rows counts
};

// REQUIRES: a table.
Question RandomSelect(const std::vector<QueryTable>& tables, Random& random);

}  // namespace fuzz
