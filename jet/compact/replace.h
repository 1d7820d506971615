// Putting a new file in the place of an old one that is open.
#pragma once

#include <memory>
#include <string>

#include "jet/storage/file.h"

namespace jet::compact {

// `from`, closed, becomes `to`, which `held` has locked until now, and takes over its
// access rights. The lock goes after the change where the system allows that.
void Replace(FileSystem& files, const std::string& from, const std::string& to,
             std::unique_ptr<File> held);

}  // namespace jet::compact
