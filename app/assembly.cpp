#include "app/assembly.h"

#include <utility>

#include "upgrade/ladders.h"

namespace app {

Assembly::Assembly(jet::FileSystem& files, jet::Clock clock)
    : environment_(files, std::move(clock)),
      module_(environment_),
      repairs_(upgrade::MakeRepairs(module_.data())) {
  module_.SetLadders(upgrade::MakeLadder(db::Kind::kData, module_.data()),
                     upgrade::MakeLadder(db::Kind::kTenkai, module_.tenkai()));
}

}  // namespace app
