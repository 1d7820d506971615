// Damage to inputs, drawn from a seed. Each call changes the input and says in
// words what it did.
#pragma once

#include <string>

#include "fuzz/random.h"
#include "jet/base/types.h"

namespace fuzz {

// Knows the format: fields that lie and point in circles, pages that are
// swapped, cleared, owned by another table; now and then plain bytes.
std::string MutateFile(jet::Bytes& file, Random& random);

// Flips, removes, repeats and inserts bytes; numbers take their extremes.
std::string MutateBytes(jet::Bytes& input, Random& random);
// The same in words of SQL.
std::string MutateSql(jet::Bytes& text, Random& random);
// The same in UTF-16 units of the kinds that sort keys distinguish.
std::string MutateUnits(jet::Bytes& units, Random& random);

}  // namespace fuzz
