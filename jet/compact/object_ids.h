// The ids of objects where they change: that of a table is the page on which its
// definition begins. Which columns hold such ids, and what becomes of each.
#pragma once

#include <cstdint>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "jet/row/table_def.h"

namespace jet::compact {

class ObjectIds {
 public:
  void Add(PageNumber from, PageNumber to) { moved_[from.value] = to.value; }
  // Nothing for a page where no table began.
  PageNumber Find(PageNumber from) const;
  // Of any object. An id of a table that was dropped gets a number that no page can
  // have, so that it does not come to name another; ids without a page stay.
  std::int32_t Map(std::int32_t id) const;

 private:
  std::unordered_map<std::uint32_t, std::uint32_t> moved_;
};

// Whether an id is the number of a page.
bool IsPage(std::int32_t id);

// Ordinals of the columns that hold ids of objects. `name` counts for tables of the
// system only: among them are those in which the user interface keeps its groups.
std::vector<std::size_t> IdColumns(const TableDef& def, std::string_view name, bool system);

}  // namespace jet::compact
