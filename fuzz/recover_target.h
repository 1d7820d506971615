// Damaged files whose sound state is known: the number of a seed, then the file.
#pragma once

#include <string>
#include <vector>

#include "fuzz/random.h"
#include "jet/base/types.h"

namespace fuzz {

std::vector<jet::Bytes> DamageSeeds();
std::vector<jet::Bytes> RealDamageSeeds();  // of files that other programs wrote; may be none
std::string MutateDamage(jet::Bytes& input, Random& random);

}  // namespace fuzz
