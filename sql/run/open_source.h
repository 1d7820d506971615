// A table, a saved query or one in parentheses, opened to be read.
#pragma once

#include <memory>

#include "sql/run/environment.h"
#include "sql/run/source.h"
#include "sql/text/select_ast.h"

namespace sql {

// `item` is a source of `query`. kNoTable, kNotSupported for a linked table, errors of the query.
std::unique_ptr<Source> OpenSource(Environment& environment, const SourceItem& item,
                                   const Select& query);

}  // namespace sql
