// Runs the maintenance program as a user does.
#pragma once

#include <sys/wait.h>

#include <cstdlib>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/support/temp_db.h"

namespace test_support {

struct Outcome {
  int status = -1;
  std::string out, err;
};

// `prelude`: what the shell does first.
inline Outcome MdbAdm(const std::vector<std::string>& arguments, const std::string& prelude = {}) {
  const TempFolder folder;
  std::string command = prelude + PROGRAM_FOLDER "/mdbadm";
  for (const std::string& argument : arguments) {
    command += " '";
    for (char c : argument) command += c == '\'' ? std::string("'\\''") : std::string(1, c);
    command += "'";
  }
  command += " >'" + folder.File("out") + "' 2>'" + folder.File("err") + "'";
  const int result = std::system(command.c_str());
  return {WIFEXITED(result) ? WEXITSTATUS(result) : -1, ReadFileBytes(folder.File("out")),
          ReadFileBytes(folder.File("err"))};
}

// The same, for a call that must succeed: what it printed.
inline std::string MdbAdmOut(const std::vector<std::string>& arguments) {
  const Outcome outcome = MdbAdm(arguments);
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  return outcome.out;
}

inline nlohmann::json MdbAdmJson(std::vector<std::string> arguments) {
  arguments.emplace_back("--json");
  return nlohmann::json::parse(MdbAdmOut(arguments));
}

}  // namespace test_support
