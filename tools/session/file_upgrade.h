// The upgrade of one database file, whatever its name, without a window.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "db/db_handle.h"
#include "db/kind.h"
#include "db/ladder.h"

namespace tools {

// A session with one file and the ladder of its kind.
// Open inside an Environment::Action: the caller decides whether changes stay.
class FileUpgrade {
 public:
  // Throws ado::Error, as do all calls.
  FileUpgrade(ado::Environment& environment, const std::string& path, const std::string& password,
              db::Kind kind);
  ~FileUpgrade();

  // As the sessions of the window read it: the leading number of the text.
  double StoredVersion();
  const db::Ladder& ladder() const { return ladder_; }
  // Runs the steps above the stored version, rounded half to even, up to `to`,
  // and stores `to`.
  void Run(std::int16_t to, db::LadderObserver* observer = nullptr);

  // Of a Data database only.
  db::Repairs repairs();

  // For looking at the file while the session holds it.
  jet::Database& database();

 private:
  class FileSession;
  std::unique_ptr<FileSession> session_;
  db::DbHandle db_;
  db::Ladder ladder_;
};

}  // namespace tools
