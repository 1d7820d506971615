#include "app/main_program.h"

#include "upgrade/ladders.h"

namespace app {

struct Program::Objects {
  Objects(jet::FileSystem& files, jet::Clock clock) : environment(files, std::move(clock)) {
    module.SetLadders(upgrade::MakeDataLadder(data, english), upgrade::MakeTenkaiLadder(tenkai));
  }

  ado::Environment environment;
  db::Module1 module{environment};
  upgrade::Data_Up_M data{module.data()};
  upgrade::Eng_M english{module.data()};
  upgrade::Tenkai_UP_M tenkai{module.tenkai()};
};

Program::Program(jet::FileSystem& files, jet::Clock clock)
    : objects_(std::make_unique<Objects>(files, std::move(clock))) {}

Program::~Program() = default;

db::Module1& Program::module() { return objects_->module; }

Repairs Program::Repairs() {
  Objects& objects = *objects_;
  return {.reinforcements = [&objects] { objects.data.Data_Up_15(); },
          .flex_names = [&objects] { objects.data.Data_Up_16b(); },
          .english_names = [&objects] { objects.english.Eng_Apply(); }};
}

}  // namespace app
