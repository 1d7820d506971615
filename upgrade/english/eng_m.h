// The English names of the square-duct shapes.
#pragma once

#include "db/db_handle.h"

namespace upgrade {

class Eng_M {
 public:
  explicit Eng_M(db::DbHandle& db) : db_(db) {}

  // Adds the column of English names and fills it by row position. Does nothing
  // at all where the column is there.
  void Eng_Apply();

 private:
  db::DbHandle& db_;
};

}  // namespace upgrade
