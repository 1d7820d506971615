#include "tools/session/file_upgrade.h"

#include <fmt/format.h>

#include "db/version_record.h"
#include "upgrade/ladders.h"

namespace tools {
namespace {

// Quotes as they stand in a quoted value of a connection string.
std::string Doubled(std::string_view text) {
  std::string doubled;
  for (const char c : text) doubled.append(c == '"' ? 2 : 1, c);
  return doubled;
}

}  // namespace

// A session with the file of a path, which a ladder may close and reopen.
class FileUpgrade::FileSession : public db::Session {
 public:
  FileSession(ado::Environment& environment, const std::string& path, const std::string& password)
      : environment_(environment),
        connection_string_(fmt::format("Provider=Microsoft.jet.OLEDB.4.0;Data Source=\"{}\";"
                                       "Jet OLEDB:Database Password=\"{}\";",
                                       Doubled(path), Doubled(password))) {}

  void Open() override {
    auto connection = std::make_unique<ado::Connection>(environment_);
    connection->Open(connection_string_);
    connection_ = std::move(connection);
  }
  void Close() override {
    connection().Close();
    connection_.reset();
  }
  ado::Connection& connection() override {
    if (!connection_) throw ado::Error::Standard(ado::kErrNoConnection);
    return *connection_;
  }
  const std::string& connection_string() const override { return connection_string_; }
  ado::Environment& environment() override { return environment_; }

 private:
  ado::Environment& environment_;
  std::string connection_string_;
  std::unique_ptr<ado::Connection> connection_;
};

FileUpgrade::FileUpgrade(ado::Environment& environment, const std::string& path,
                         const std::string& password, db::Kind kind)
    : session_(std::make_unique<FileSession>(environment, path, password)),
      db_(*session_),
      ladder_(upgrade::MakeLadder(kind, db_)) {
  session_->Open();
}

FileUpgrade::~FileUpgrade() = default;

double FileUpgrade::StoredVersion() { return db::ReadVersion(session_->connection()); }

void FileUpgrade::Run(std::int16_t to, db::LadderObserver* observer) {
  ladder_.Run(ado::ToInt16(StoredVersion()), to, observer);
  db::WriteVersion(session_->connection(), to);
}

db::Repairs FileUpgrade::repairs() { return upgrade::MakeRepairs(db_); }

jet::Database& FileUpgrade::database() { return *session_->connection().database(); }

}  // namespace tools
