// The row form of a saved query: one row a fact, as the system table of queries
// holds it. What the facts mean in SQL is not this room's business: sql/sql.h makes them
// from a text and runs them. Plain values.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "jet/base/types.h"

namespace jet {

struct QueryRow {
  enum Attribute : std::uint8_t {
    kStart = 0,
    kKind = 1,
    kParameter = 2,
    kOptions = 3,
    kConnect = 4,
    kSource = 5,
    kOutput = 6,
    kJoin = 7,
    kWhere = 8,
    kGroupBy = 9,
    kHaving = 10,
    kOrderBy = 11,
    kEnd = 255,
  };
  std::uint8_t attribute = kStart;
  std::optional<std::int16_t> flag = {};
  std::optional<std::string> name1 = {}, name2 = {}, expression = {};
  friend bool operator==(const QueryRow&, const QueryRow&) = default;
};

// Rows in the order in which they are written: 0, 255, then by attribute. The
// number of each row within its attribute (from 1) follows from that order.
struct QueryDefinition {
  std::vector<QueryRow> rows;
  friend bool operator==(const QueryDefinition&, const QueryDefinition&) = default;
};

}  // namespace jet
