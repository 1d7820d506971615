// The objects of a damaged file, as far as the rows of its catalog are whole.
#pragma once

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "jet/database/property.h"
#include "jet/recover/old_rows.h"

namespace jet::recover {

inline constexpr std::int16_t kRelationObject = 8;

struct OldObject {
  std::int32_t id = 0, parent = 0;
  std::int16_t type = 0;
  std::string name;
  std::uint32_t flags = 0;
  DateTime created, updated;
  Properties properties;
  bool lost_properties = false;
  // Columns that tables of one's own have nothing in, and their values.
  std::vector<std::pair<std::string, Value>> other_fields;

  bool is_table() const;  // or a link that has a definition
};

struct OldCatalog {
  std::vector<OldObject> objects;  // of each id the first, in stored order
  std::uint64_t broken = 0;        // rows that could not be read
  bool doubtful = false;           // rows are on pages that show damage
  std::vector<PageNumber> lost_pages;

  const OldObject* Find(PageNumber definition) const;
  // Forgets all but which tables there are.
  void KeepNames();
};

// `def`: of MSysObjects.
OldCatalog ReadOldCatalog(OldRows& rows, const RowJudge& judge);

}  // namespace jet::recover
