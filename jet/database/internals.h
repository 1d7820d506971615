// What stands behind a Database, for tests, fuzzing and benchmarks that look at pages.
#pragma once

#include <memory>
#include <string>

#include "jet/database/database.h"
#include "jet/index/index.h"
#include "jet/pages/page_allocator.h"
#include "jet/storage/header.h"
#include "jet/storage/pager.h"
#include "jet/table/internals.h"

namespace jet {

class Internals {
 public:
  // As Database::Open and Create, with limits that no other caller chooses.
  static std::unique_ptr<Database> Open(FileSystem& files, const std::string& path,
                                        const OpenOptions& options, PagerLimits limits) {
    auto pager = std::make_unique<Pager>(files.Open(path, options.mode),
                                         options.mode == OpenMode::kExclusive, limits);
    return std::unique_ptr<Database>(new Database(std::move(pager), options));
  }
  static std::unique_ptr<Database> Create(FileSystem& files, const std::string& path,
                                          const CreateOptions& options, PagerLimits limits) {
    auto pager = std::make_unique<Pager>(files.Create(path), true, limits, FlushMode::kPlain);
    return std::unique_ptr<Database>(new Database(std::move(pager), options));
  }

  // REQUIRES: the database outlives what is taken from here.
  explicit Internals(Database& database) : database_(&database) {}

  Pager& pager() const { return *database_->pager_; }
  PageAllocator& allocator() const { return *database_->allocator_; }
  const Header& header() const { return *database_->header_; }
  // A tree of a table, by ordinal of TableDef::real_indexes.
  Index OpenIndex(const Table& table, std::size_t real) const {
    return Index(pager(), DefOf(table), real);
  }

 private:
  Database* database_;
};

}  // namespace jet
