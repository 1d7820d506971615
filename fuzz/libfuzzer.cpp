// One target under libFuzzer; FUZZ_TARGET is its name.
#include <algorithm>
#include <cstdint>

#include "fuzz/target.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static const fuzz::Target& target = *fuzz::FindTarget(FUZZ_TARGET);
  target.run({data, size});
  return 0;
}

extern "C" std::size_t LLVMFuzzerCustomMutator(std::uint8_t* data, std::size_t size,
                                               std::size_t max_size, unsigned seed) {
  static const fuzz::Target& target = *fuzz::FindTarget(FUZZ_TARGET);
  jet::Bytes input(data, data + size);
  fuzz::Random random(seed);
  target.mutate(input, random);
  const std::size_t length = std::min(input.size(), max_size);
  std::copy_n(input.begin(), length, data);
  return length;
}
