// Tree <-> rows. Joins are flat in the rows: one row for each ON term, innermost
// join first; the nesting is built again from that order and from the two tables
// that each row names.
#pragma once

#include "jet/stored_query.h"
#include "sql/parser.h"
#include "sql/select_ast.h"

namespace sql {

enum class QueryKind : std::int16_t {
  kSelect = 1,
  kMakeTable = 2,
  kAppend = 3,
  kUpdate = 4,
  kDelete = 5,
  kCrosstab = 6,
  kDataDefinition = 7,
  kPassThrough = 8,
  kUnion = 9,
};

// Bits of the options row.
inline constexpr std::int16_t kOptionAllFields = 1, kOptionDistinct = 2, kOptionOwnerAccess = 4,
                              kOptionDistinctRow = 8, kOptionTop = 16, kOptionPercent = 32,
                              kOptionUnion = 2;

jet::QueryDefinition ToRows(const SelectText& statement);

// What kind of query the rows say. kBadQuery.
QueryKind KindOf(const jet::QueryDefinition& definition);

// The clauses of a query, of any kind that has them. Expressions are texts
// without trees. kBadQuery for rows that name what is not there.
Select FromRows(const jet::QueryDefinition& definition);

// Reads every expression of `select`; what cannot be read is kBadQuery.
void ParseExpressions(Select& select);

}  // namespace sql
