// Damage to whole files, as disks and programs do it: pages and sectors that are lost,
// wild, doubled, or another's.
#pragma once

#include <string>

#include "fuzz/random.h"
#include "jet/base/types.h"

namespace fuzz {

// Says in words what was done.
std::string DamageFile(jet::Bytes& file, Random& random);

}  // namespace fuzz
