// The steps of the Tenkai database, from version 2 to 22.
//
// Each works on the open session and leaves it open. An error leaves the step
// where it happened; what was done before stays.
#pragma once

#include <span>

#include "db/db_handle.h"

namespace upgrade {

class Tenkai_UP_M {
 public:
  explicit Tenkai_UP_M(db::DbHandle& db) : db_(db) {}

  void Tenkai_Up_3();
  void Tenkai_Up_4();

 private:
  // Two rows a material, all values text; the last one is left pending.
  void AddTakeOffRows(std::span<const char* const> zero_fields);

  db::DbHandle& db_;
};

}  // namespace upgrade
