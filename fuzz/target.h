// What is fuzzed: functions that take any bytes and keep their promises.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "fuzz/random.h"
#include "jet/base/types.h"

namespace fuzz {

struct Target {
  const char* name;
  // Comes back, or throws Broken with the promise that was not kept; any other
  // way out is a finding, too.
  void (*run)(jet::ByteView input);
  std::vector<jet::Bytes> (*seeds)();
  std::string (*mutate)(jet::Bytes& input, Random& random);
  bool whole_file;
  std::uint64_t inputs;  // of a long run
};

std::span<const Target> Targets();
// Null if there is none of this name.
const Target* FindTarget(std::string_view name);

// Input `number` of a run with `seed`: a seed, mutated. What was done to it goes
// to `said`.
jet::Bytes MakeInput(const Target& target, std::span<const jet::Bytes> seeds, std::uint64_t seed,
                     std::uint64_t number, std::string& said);

}  // namespace fuzz
