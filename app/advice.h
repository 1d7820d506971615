// What the error box says below the provider's text: how the file stands, and
// what to do.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "jet/base/error.h"

namespace app {

// What the operator had asked for.
enum class Event { kChoose, kUpgrade, kRepair };

// What became of the changes made until the error.
enum class Saved {
  kNothing,  // there were none
  kYes,      // completed operations are in the file
  kDropped,  // none is
  kFailed,   // the save went wrong and left the file as it was
  kPending,  // the save was interrupted; the next opening does the rest
  kUnknown,  // the save failed; the next opening shows how it ended
};

struct Failure {
  std::int32_t number = 0;
  std::optional<jet::ErrorCode> cause;  // of the error that decides what to do
  bool incomplete = true;               // the event has not done all its work
};

std::string Advice(Event event, const Failure& failure, Saved saved);

}  // namespace app
