// Tree <-> rows. Joins are flat in the rows: one row for each ON term, innermost
// join first; the nesting is built again from that order and from the two tables
// that each row names.
#pragma once

#include "jet/database/stored_query.h"
#include "sql/sql.h"
#include "sql/text/parser.h"
#include "sql/text/select_ast.h"

namespace sql {

// Bits of the options row.
inline constexpr std::int16_t kOptionAllFields = 1, kOptionDistinct = 2, kOptionOwnerAccess = 4,
                              kOptionDistinctRow = 8, kOptionTop = 16, kOptionPercent = 32,
                              kOptionUnion = 2;

// Flags of output rows that say what an output is for.
inline constexpr std::int16_t kOutputValueOfCrosstab = 0, kOutputPivot = 1, kOutputHeading = 2,
                              kOutputValue = -32768;  // of an append without a SELECT
// The flag of the row that says in which file the tables lie.
inline constexpr std::int16_t kConnectFlag = 2;

// Whether two names mean the same source. The rows do not know their file's
// order; all proven orders agree on which names are the same.
bool SameSource(std::string_view a, std::string_view b);
// The name of a parameter as it is compared. Some programs store it with its
// brackets; those of a path are part of it.
std::string ParameterName(const std::string& name);

jet::QueryDefinition ToRows(const SelectText& statement, Wildcards wildcards);

// The clauses of a query, of any kind that has them. Expressions are texts
// without trees. kBadQuery for rows that name what is not there.
Select FromRows(const jet::QueryDefinition& definition);

// `e` of PIVOT e IN (list), and the list; PIVOT without a list has none.
struct PivotParts {
  ExprPtr heading;
  std::vector<ExprPtr> columns;
};
PivotParts SplitPivot(const ExprPtr& pivot);

// Reads every expression of `select`; what cannot be read is kBadQuery.
void ParseExpressions(Select& select);

}  // namespace sql
