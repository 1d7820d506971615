// An index tree judged from outside: decoded byte by byte, without the engine's
// own page code.
#pragma once

#include <string>
#include <vector>

#include "jet/pages/page_allocator.h"
#include "jet/row/table_def.h"

namespace test_support {

struct TreeReport {
  std::vector<std::string> faults;
  std::vector<jet::Bytes> entries;  // of the leaves, in order
  std::size_t pages = 0;
  std::size_t height = 0;
  std::size_t compressed_leaves = 0;
  std::size_t stale_separators = 0;  // legal: greater than all below
  jet::PageNumber first_node_child, a_leaf;
};

// Order, separators, chains, levels, free fields, and who owns the pages.
TreeReport CheckTree(jet::PageAllocator& allocator, const jet::TableDef& def,
                     std::size_t ordinal = 0);

}  // namespace test_support
