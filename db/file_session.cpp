#include "db/file_session.h"

#include <fmt/format.h>

#include "db/version_record.h"
#include "jet/storage/file.h"

namespace db {
namespace {

constexpr std::string_view kProvider = "Provider=Microsoft.jet.OLEDB.4.0;";

std::string ConnectionText(const std::string& folder, Kind kind) {
  return fmt::format("{}Data Source={}\\{};Jet OLEDB:Database Password={};", kProvider, folder,
                     FileNameOf(kind), kDatabasePassword);
}

// Such a text would end in the middle of the path.
void RequirePlainFolder(const std::string& folder) {
  if (folder.find(';') == std::string::npos) return;
  throw ado::Error(
      ado::kErrFail,
      fmt::format("フォルダー '{}' の名前に ';' があるため、ファイルを開けません。フォルダーの"
                  "名前を変えるか、ファイルをほかのフォルダーに移してください。",
                  folder));
}

// A value of a connection string that may hold anything.
std::string Quoted(std::string_view text) {
  std::string quoted = "\"";
  for (const char c : text) quoted.append(c == '"' ? 2 : 1, c);
  return quoted += '"';
}

}  // namespace

FileSession::FileSession(ado::Environment& environment, Kind kind)
    : environment_(environment), kind_(kind), in_folder_(true) {}

FileSession::FileSession(ado::Environment& environment, Kind kind, std::string_view path,
                         std::string_view password)
    : environment_(environment),
      kind_(kind),
      in_folder_(false),
      connection_string_(fmt::format("{}Data Source={};Jet OLEDB:Database Password={};", kProvider,
                                     Quoted(path), Quoted(password))) {}

void FileSession::Open() {
  connection_ = std::make_unique<ado::Connection>(environment_);
  if (in_folder_) {
    connection_string_ = ConnectionText(folder, kind_);
    RequirePlainFolder(folder);
  }
  connection_->Open(connection_string_, "", "", ado::adOptionUnspecified);
}

void FileSession::Close() {
  if (connection_ == nullptr) throw ado::Error::Standard(ado::kErrClosed);
  connection_->Close();
  connection_.reset();
}

ado::Connection& FileSession::connection() {
  if (connection_ == nullptr || !connection_->is_open()) {
    throw ado::Error::Standard(ado::kErrNoConnection);
  }
  return *connection_;
}

void FileSession::ReadVersion(const std::function<void(double)>& show) {
  version = db::ReadVersion(connection(), show);
}

void FileSession::Run(const Ladder& ladder, std::int16_t from, std::int16_t to,
                      LadderObserver* observer) {
  ladder.Run(from, to, observer);
  WriteVersion(connection(), to);
}

std::string FolderOf(Kind kind, std::string_view path) {
  std::string folder = ado::WithoutLast(path, CutUnitsOf(kind));
  // The backslash that the connection string adds must not be taken for one with
  // that of a folder whose name ends in it.
  const std::string_view separators = jet::PathSeparators();
  const bool part_of_name = separators.find('\\') == std::string_view::npos;
  if (part_of_name && folder.ends_with('\\') && folder.find_first_of(separators) == 0) {
    folder += "/.";
  }
  return folder;
}

}  // namespace db
