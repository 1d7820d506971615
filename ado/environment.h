// What one program shares: the open files, and the action under way.
//
// A file is opened when the first connection asks for it and kept, with its
// lock and its changed pages, until the last connection is closed and no action
// is under way. Changes reach the disk when the action commits; outside an
// action every operation commits by itself.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "jet/database/database.h"

namespace ado {

class Environment {
 public:
  // An empty clock is the system's. REQUIRES: `files` outlives the environment.
  explicit Environment(jet::FileSystem& files, jet::Clock clock = {},
                       std::size_t cache_bytes = jet::kCacheBytes);
  ~Environment();
  Environment(const Environment&) = delete;
  Environment& operator=(const Environment&) = delete;

  // One press of a button, one command. Not nested. The destructor without
  // Commit() drops all changes since the beginning, in every file.
  class Action {
   public:
    explicit Action(Environment& environment);
    ~Action();
    Action(const Action&) = delete;
    Action& operator=(const Action&) = delete;
    // Throws ado::Error. Then nothing has reached that file, unless the cause is
    // kUnfinished, where the next opening does the rest, or kUncertain.
    void Commit();
    // Whether there is anything to commit.
    bool changed() const;

   private:
    Environment* environment_;
  };

  // For Connection and Catalog. The database of this path, opened exclusively
  // when it is not open yet; which file a path leads to counts, not how it is
  // spelt. Throws ado::Error.
  std::shared_ptr<jet::Database> Use(const std::string& path, const std::string& password);
  // Called after every operation that may have changed `database`.
  void Changed(jet::Database& database);
  // Called when a connection lets go of a file.
  void Release();
  jet::DateTime now() const { return (clock_ ? clock_ : jet::SystemClock())(); }

 private:
  void EndAction();
  std::shared_ptr<jet::Database> FindOpen(const std::string& path) const;
  // Back to what the file holds. False if that cannot be read.
  static bool Drop(jet::Database& database) noexcept;
  jet::FileSystem& files_;
  jet::Clock clock_;
  std::size_t cache_bytes_;
  std::vector<std::shared_ptr<jet::Database>> open_;
  bool in_action_ = false;
};

}  // namespace ado
