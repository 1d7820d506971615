#include "tests/support/sqlite.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <utility>

#include "tests/support/process.h"
#include "tests/support/temp_db.h"

namespace test_support {

std::string Hex(std::string_view bytes) {
  std::string hex;
  for (const char c : bytes) hex += fmt::format("{:02X}", static_cast<unsigned char>(c));
  return hex;
}

std::string Replace(std::string text, std::string_view from, std::string_view to) {
  for (std::size_t at = 0; (at = text.find(from, at)) != text.npos; at += to.size()) {
    text.replace(at, from.size(), to);
  }
  return text;
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
