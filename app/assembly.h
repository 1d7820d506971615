// What the main of the window ties together, whatever the toolkit: the sessions,
// their ladders, the repairs.
#pragma once

#include "ado/environment.h"
#include "db/module1.h"

namespace app {

class Assembly {
 public:
  // `files` must outlive it. An empty `clock` is the machine's own.
  explicit Assembly(jet::FileSystem& files, jet::Clock clock = {});

  db::Module1& module() { return module_; }
  // Callable while the assembly lives.
  db::Repairs repairs() { return repairs_; }

 private:
  ado::Environment environment_;
  db::Module1 module_;
  db::Repairs repairs_;
};

}  // namespace app
