// What all parts of the integrity checker share.
#pragma once

#include <optional>

#include "jet/check/pages.h"
#include "jet/row/table_def.h"
#include "jet/storage/header.h"

namespace jet::check {

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

}  // namespace jet::check
