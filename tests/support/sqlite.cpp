#include "tests/support/sqlite.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <utility>

#include "tests/support/process.h"

namespace test_support {

std::string Hex(std::string_view bytes) {
  std::string hex;
  for (const char c : bytes) hex += fmt::format("{:02X}", static_cast<unsigned char>(c));
  return hex;
}

bool Sqlite::Installed() { return HasProgram("sqlite3"); }

std::vector<std::vector<std::string>> Sqlite::Ask(const std::vector<std::string>& queries,
                                                  std::string_view null) const {
  const TempFolder folder;
  std::string script = fmt::format("{}.nullvalue {}\n", script_, null);
  for (const std::string& query : queries) script += query + ";\nSELECT '#';\n";
  const std::string path = folder.File("q.sql");
  WriteFileBytes(path, script);
  std::vector<std::vector<std::string>> answers(1);
  std::string line;
  FILE* pipe = popen(("sqlite3 -bail :memory: < '" + path + "'").c_str(), "r");
  for (int c; (c = std::fgetc(pipe)) != EOF;) {
    if (c != '\n') {
      line += static_cast<char>(c);
    } else if (line == "#") {
      answers.emplace_back();
      line.clear();
    } else {
      answers.back().push_back(std::exchange(line, {}));
    }
  }
  EXPECT_EQ(pclose(pipe), 0);
  answers.resize(queries.size());
  return answers;
}

}  // namespace test_support
