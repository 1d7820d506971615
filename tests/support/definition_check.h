// Table definitions, written anew beside the bytes that they were read from.
#pragma once

#include <string>
#include <vector>

#include "jet/database/database.h"

namespace test_support {

struct DefinitionCheck {
  std::size_t definitions = 0, chains = 0;  // chains: of several pages
  std::vector<std::string> changed;         // tables whose bytes do not come back
};
// All tables of the file, those of the system included.
DefinitionCheck RewriteDefinitions(jet::Database& database);

}  // namespace test_support
