// What the main of the window ties together, whatever the toolkit: the sessions,
// their ladders, the repairs.
#pragma once

#include <memory>

#include "app/form1.h"

namespace app {

class Program {
 public:
  // `files` must outlive it. An empty `clock` is the machine's own.
  explicit Program(jet::FileSystem& files, jet::Clock clock = {});
  ~Program();

  db::Module1& module();
  // Callable while the program lives.
  app::Repairs Repairs();

 private:
  struct Objects;
  std::unique_ptr<Objects> objects_;
};

}  // namespace app
