#include "app/assembly.h"

#include <utility>

#include "upgrade/ladders.h"

namespace app {

Assembly::Assembly(jet::FileSystem& files, jet::Clock clock)
    : environment_(files, std::move(clock)),
      module_(environment_),
      repairs_(upgrade::MakeRepairs(module_.DataDB.handle())) {
  module_.SetLadders(upgrade::MakeLadder(db::Kind::kData, module_.DataDB.handle()),
                     upgrade::MakeLadder(db::Kind::kTenkai, module_.TenkaiDB.handle()));
}

}  // namespace app
