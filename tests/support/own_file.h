// Files that this process itself has open.
#pragma once

#include <optional>
#include <string>

namespace test_support {

// What `path` holds that this process itself has open, with a share mode that
// keeps even itself out; nothing where it is not open, or where locks do not work
// that way.
std::optional<std::string> ReadOwnFile(const std::string& path);

}  // namespace test_support
