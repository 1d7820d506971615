// Programs run as a user or a script runs them.
#pragma once

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace test_support {

struct Ending {
  std::optional<int> status;  // nothing: killed
  std::string out, err;
};

// Runs a program and kills it if it takes longer than `limit`.
Ending RunProcess(const std::string& program, const std::vector<std::string>& arguments,
                  std::chrono::microseconds limit = std::chrono::minutes(10));

// Whether the shell finds a program of that name, for judges that are not
// installed everywhere. None does on Windows.
bool HasProgram(const std::string& name);

}  // namespace test_support
