// Where the rows of a table went: their old addresses against the new ones.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "jet/base/types.h"

namespace jet::compact {

// Holds about 60 bytes an old page, whatever the number of rows.
class RowIdMap {
 public:
  // Of a file of `old_pages`.
  explicit RowIdMap(std::uint32_t old_pages) : place_(old_pages) {}

  // Forgets all rows.
  void Clear();
  // REQUIRES: both ascend from call to call, the new rows of a page from 0 on.
  void Add(RowId from, RowId to);
  // kDamaged for a row that was not added.
  RowId Find(RowId from) const;
  std::uint32_t size() const { return rows_; }

 private:
  struct OldPage {
    std::uint32_t page = 0;
    std::uint32_t first = 0;     // rows before it
    std::uint32_t new_page = 0;  // in new_, where its first row went
    std::array<std::uint64_t, 4> slots{};
  };
  struct NewPage {
    std::uint32_t page = 0;
    std::uint32_t first = 0;  // rows before it
  };
  std::vector<std::uint32_t> place_;  // by old page: place in old_, from 1 on
  std::vector<OldPage> old_;
  std::vector<NewPage> new_;
  std::uint32_t rows_ = 0;
};

}  // namespace jet::compact
