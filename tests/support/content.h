// What a database says, whatever its bytes: to compare files by content.
#pragma once

#include <string>

#include "jet/database/database.h"

namespace test_support {

// Every object, column, index, query and row, one a line.
std::string ContentOf(jet::Database& database);

}  // namespace test_support
