// Runs the maintenance program as a user does.
#pragma once

#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "db/kind.h"
#include "jet/database/database.h"
#include "tests/support/jet_fixture.h"
#include "tests/support/process.h"
#include "tests/support/temp_db.h"

namespace test_support {

struct Outcome {
  int status = -1;
  std::string out, err;
};

// `prelude`: what the shell does first, where there is one.
inline Outcome MdbAdm(const std::vector<std::string>& arguments, const std::string& prelude = {}) {
  std::string program = PROGRAM_FOLDER "/mdbadm";
  std::vector<std::string> words = arguments;
  if (!prelude.empty()) {
    words.insert(words.begin(), {"-c", prelude + R"("$0" "$@")", program});
    program = "/bin/sh";
  }
  const Ending ending = RunProcess(program, words);
  return {ending.status.value_or(-1), ending.out, ending.err};
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

// Takes most pieces out of a Data file, so that it has holes.
inline void MakeHoles(const std::string& path) {
  const auto files = jet::MakeSystemFiles();
  const auto database = jet::Database::Open(
      *files, path,
      {.mode = jet::OpenMode::kExclusive, .password = std::string(db::kDatabasePassword)});
  const auto table = database->OpenTable("Data_角_単体設定");
  std::size_t met = 0;
  for (const jet::RowId id : RowIds(*table)) {
    if (++met % 3 != 0) table->Delete(id);
  }
  database->Commit();
}

// With databases made for it, which have no password.
class MadeFilesTest : public ::testing::Test {
 protected:
  std::string Make(std::string_view name, const std::function<void(jet::Database&)>& fill) {
    std::string path = folder_.File(name);
    const auto database = jet::Database::Create(*files_, path, {});
    fill(*database);
    database->Commit();
    return path;
  }

  std::unique_ptr<jet::FileSystem> files_ = jet::MakeSystemFiles();
  TempFolder folder_;
};

}  // namespace test_support
