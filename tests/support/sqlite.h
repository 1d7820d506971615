// The same questions to sqlite3, over tables given to it as a script.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "tests/support/temp_db.h"

namespace test_support {

std::string Hex(std::string_view bytes);

class Sqlite {
 public:
  static bool Installed();
  void Tell(std::string_view statements) { script_ += statements; }
  // A text as a literal.
  static std::string Quoted(const std::string& text) {
    return "'" + Replace(text, "'", "''") + "'";
  }
  // The lines that each query answers, "a|b|c", from one run of the program.
  std::vector<std::vector<std::string>> Ask(const std::vector<std::string>& queries,
                                            std::string_view null) const;

 private:
  std::string script_;
};

}  // namespace test_support
