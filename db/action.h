// What the window and the programs need of the floors below: the action that
// every event is, its errors, and the arithmetic of versions and paths.
#pragma once

#include <cstdint>
#include <string>

#include "ado/environment.h"
#include "ado/error.h"

namespace db {

using Environment = ado::Environment;
using Action = ado::Environment::Action;
using Error = ado::Error;

// Half to even; error 6 outside 16 bits.
std::int16_t RoundVersion(double version);
// A version in its shortest decimal form.
std::string VersionText(double version);
// A path without its last `characters` UTF-16 units, as the folder of a connection
// string.
std::string FolderOf(const std::string& path, std::size_t characters);

}  // namespace db
