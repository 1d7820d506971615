// What stands behind a Database, for tests, fuzzing and benchmarks that look at pages.
#pragma once

#include "jet/database/database.h"
#include "jet/index/index.h"
#include "jet/pages/page_allocator.h"
#include "jet/storage/pager.h"

namespace jet {

class Internals {
 public:
  // REQUIRES: the database outlives what is taken from here.
  explicit Internals(Database& database) : database_(&database) {}

  Pager& pager() const { return *database_->pager_; }
  PageAllocator& allocator() const { return *database_->allocator_; }
  // A tree of a table, by ordinal of def().real_indexes.
  Index OpenIndex(const Table& table, std::size_t real) const {
    return Index(pager(), table.def(), real);
  }

 private:
  Database* database_;
};

}  // namespace jet
