// A session with one database: its connection string, the connection, the handle
// that steps work through, and its version.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "db/db_handle.h"
#include "db/kind.h"
#include "db/ladder.h"

namespace db {

// All calls throw ado::Error.
class FileSession : public Session {
 public:
  // With the file of its kind in `folder`, which is set before Open.
  FileSession(ado::Environment& environment, Kind kind);
  // With the file of this path, whatever its name.
  FileSession(ado::Environment& environment, Kind kind, std::string_view path,
              std::string_view password);
  FileSession(const FileSession&) = delete;
  FileSession& operator=(const FileSession&) = delete;

  // Lets go of a connection that is still there. One that could not be opened stays,
  // closed.
  void Open() override;
  void Close() override;  // 3704 while closed
  ado::Connection& connection() override;
  // The last one that was built.
  const std::string& connection_string() const override { return connection_string_; }
  ado::Environment& environment() override { return environment_; }

  // Reads twice: for `show`, and for `version`.
  void ReadVersion(const std::function<void(double)>& show = {});
  // Runs the steps of `ladder` for `from` up to `to`, and stores `to` in the file.
  void Run(const Ladder& ladder, std::int16_t from, std::int16_t to,
           LadderObserver* observer = nullptr);

  Kind kind() const { return kind_; }
  DbHandle& handle() { return handle_; }
  // Empty from Close to the next Open.
  const std::unique_ptr<ado::Connection>& connection_reference() const { return connection_; }

  std::string folder;  // as FolderOf makes it
  double version = 0;  // the last one read, unless the caller has set it since

 private:
  ado::Environment& environment_;
  Kind kind_;
  bool in_folder_;
  std::string connection_string_;
  std::unique_ptr<ado::Connection> connection_;
  DbHandle handle_{*this};
};

// The folder of the path of a file, as the connection string of its kind needs it.
std::string FolderOf(Kind kind, std::string_view path);

}  // namespace db
