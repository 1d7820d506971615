// The entries that a change of a row takes out of the table's trees and puts in.
// Only the table's own sources include this.
#pragma once

#include <optional>

#include "jet/table.h"

namespace jet {

// What an operation does to one tree.
struct Table::KeyChange {
  std::size_t real = 0;
  std::optional<Bytes> erase;
  bool erase_by_row = false;  // the old key cannot be built
  std::optional<Bytes> insert;
};

}  // namespace jet
