#include "tests/support/own_file.h"

namespace test_support {

std::optional<std::string> ReadOwnFile(const std::string&) { return std::nullopt; }

}  // namespace test_support
