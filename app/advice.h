// What the error box says below the provider's text: how the file stands, and
// what to do.
#pragma once

#include <cstdint>
#include <string_view>

namespace app {

// What the operator had asked for.
enum class Event { kChoose, kUpgrade, kRepair };

// What became of the changes made until the error.
enum class Saved {
  kYes,     // completed operations are in the file
  kNo,      // none is
  kFailed,  // the save itself went wrong
};

std::string_view Advice(Event event, std::int32_t number, Saved saved);

}  // namespace app
