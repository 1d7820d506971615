// The integrity checker on table definitions. Decodes a definition by itself,
// more leniently than TableDef::Load, so that a table with a damaged definition
// can still be looked at.
#pragma once

#include <optional>
#include <string_view>

#include "jet/check/pages.h"
#include "jet/row/table_def.h"
#include "jet/storage/header.h"

namespace jet::check {

// What all parts of the checker work with.
struct Context {
  Pager& pager;
  const Header& header;
  Report& report;
  Ledger& ledger;
  CheckResult& result;
};

// Bytes that a column of this type takes in the fixed region or, for types of
// one width, as a variable; nothing where the width differs from value to value.
std::optional<std::size_t> ExactSize(const ColumnDef& column);

// Reads the definition of `table`, claims its pages and reports what is wrong.
// Nothing if its parts cannot be told apart; a definition that comes back may
// still contradict itself, which has then been reported.
std::optional<TableDef> ReadDefinition(const Context& context, PageNumber page,
                                       std::string_view table);

}  // namespace jet::check
