#include "db/module1.h"

#include <fmt/format.h>

#include <utility>

#include "jet/text.h"

namespace db {
namespace {

constexpr std::string_view kProvider = "Provider=Microsoft.jet.OLEDB.4.0;";

constexpr std::string_view kReinforcements = "Spec_補強名称";
constexpr std::string_view kReinforcementName = "補強名";
constexpr std::string_view kTransferName = "転送名称";
constexpr std::size_t kListNameWidth = 15;
constexpr double kLastVersionWithoutTransferNames = 14;

std::string ConnectionText(const std::string& folder, std::string_view file) {
  return fmt::format("{}Data Source={}\\{};Jet OLEDB:Database Password={};", kProvider, folder,
                     file, kDatabasePassword);
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

ado::Connection& Opened(const std::unique_ptr<ado::Connection>& connection) {
  if (connection == nullptr || !connection->is_open()) {
    throw ado::Error::Standard(ado::kErrNoConnection);
  }
  return *connection;
}

void CloseConnection(std::unique_ptr<ado::Connection>& connection) {
  if (connection == nullptr) throw ado::Error::Standard(ado::kErrClosed);
  connection->Close();
  connection.reset();
}

// The name, blanks up to 15 characters, a tab, the transfer name. Errors 94 for
// a name that is Null and 5 for one that leaves a negative number of blanks.
std::string ListItem(ado::Recordset& rows) {
  const std::string name = ado::ToText(rows.Get(kReinforcementName));
  const std::size_t length = jet::Utf16Length(name);
  if (length > kListNameWidth) throw ado::Error::Standard(ado::kErrInvalidCall);
  const ado::Value transfer = rows.Get(kTransferName);
  return name + std::string(kListNameWidth - length, ' ') + '\t' +
         (jet::IsNull(transfer) ? std::string() : ado::ToText(transfer));
}

}  // namespace

// A session as the operations see it: what Module1 keeps of it, by reference.
class Module1::FileSession : public Session {
 public:
  FileSession(Module1& module, void (Module1::*access)(std::string_view),
              std::unique_ptr<ado::Connection>& connection, const std::string& connection_string)
      : module_(module),
        access_(access),
        connection_(connection),
        connection_string_(connection_string) {}

  void Open() override { (module_.*access_)("Open"); }
  void Close() override { (module_.*access_)("Close"); }
  ado::Connection& connection() override { return Opened(connection_); }
  const std::string& connection_string() const override { return connection_string_; }
  ado::Environment& environment() override { return module_.environment_; }

 private:
  Module1& module_;
  void (Module1::*access_)(std::string_view);
  std::unique_ptr<ado::Connection>& connection_;
  const std::string& connection_string_;
};

Module1::Module1(ado::Environment& environment)
    : environment_(environment),
      data_session_(
          std::make_unique<FileSession>(*this, &Module1::DataDB_Access, DataDB_Con, DataDB_ConStr)),
      tenkai_session_(std::make_unique<FileSession>(*this, &Module1::TenkaiDB_Access, TenkaiDB_Con,
                                                    TenkaiDB_ConStr)),
      data_handle_(*data_session_),
      tenkai_handle_(*tenkai_session_) {}

Module1::~Module1() = default;

void Module1::SetLadders(Ladder data, Ladder tenkai) {
  data_ladder_ = std::move(data);
  tenkai_ladder_ = std::move(tenkai);
  DataDB_NewVer = data_ladder_.latest();
  TenkaiDB_NewVer = tenkai_ladder_.latest();
}

void Module1::DataDB_Access(std::string_view mode) {
  if (mode == "Open") {
    DataDB_Con = std::make_unique<ado::Connection>(environment_);
    DataDB_ConStr = ConnectionText(DataDB_Path, FileNameOf(Kind::kData));
    RequirePlainFolder(DataDB_Path);
    DataDB_Con->Open(DataDB_ConStr, "", "", ado::adOptionUnspecified);
  } else if (mode == "Close") {
    CloseConnection(DataDB_Con);
  }
}

void Module1::TenkaiDB_Access(std::string_view mode) {
  if (mode == "Open") {
    TenkaiDB_Con = std::make_unique<ado::Connection>(environment_);
    TenkaiDB_ConStr = ConnectionText(TenkaiDB_Path, FileNameOf(Kind::kTenkai));
    RequirePlainFolder(TenkaiDB_Path);
    TenkaiDB_Con->Open(TenkaiDB_ConStr, "", "", ado::adOptionUnspecified);
  } else if (mode == "Close") {
    CloseConnection(TenkaiDB_Con);
  }
}

void Module1::Get_DataVer() { DataDB_Ver = ReadVersion(DataDB_Con, Kind::kData); }

void Module1::Get_TenkaiVer() { TenkaiDB_Ver = ReadVersion(TenkaiDB_Con, Kind::kTenkai); }

double Module1::ReadVersion(const std::unique_ptr<ado::Connection>& connection, Kind kind) {
  return db::ReadVersion(Opened(connection), [&](double version) {
    if (view_ != nullptr) view_->SetVersionCaption(VersionElementOf(kind), VersionCaption(version));
  });
}

void Module1::Data_Up(std::int16_t ver) {
  data_ladder_.Run(ver, data_ladder_.latest());
  WriteVersion(Opened(DataDB_Con), DataDB_NewVer);
}

void Module1::Tenkai_Up(std::int16_t ver) {
  tenkai_ladder_.Run(ver, tenkai_ladder_.latest());
  WriteVersion(Opened(TenkaiDB_Con), TenkaiDB_NewVer);
}

void Module1::Data_Up_To(std::int16_t ver, std::int16_t to, LadderObserver* observer) {
  data_ladder_.Run(ver, to, observer);
  WriteVersion(Opened(DataDB_Con), to);
}

void Module1::Tenkai_Up_To(std::int16_t ver, std::int16_t to, LadderObserver* observer) {
  tenkai_ladder_.Run(ver, to, observer);
  WriteVersion(Opened(TenkaiDB_Con), to);
}

void Module1::Show_HokyoList() {
  const bool has_transfer_names = DataDB_Ver > kLastVersionWithoutTransferNames;
  view_->ShowReinforcementRepair(has_transfer_names);
  if (!has_transfer_names) return;
  ado::Recordset rows;
  rows.Open(kReinforcements, Opened(DataDB_Con), ado::adOpenKeyset, ado::adLockOptimistic,
            ado::adCmdTable);
  view_->ClearList();
  // Errors are passed over here: a row that cannot be shown is left out, and a
  // move that fails ends the walk.
  bool moved = true;
  const auto tolerated = [](const auto& operation) {
    try {
      operation();
      return true;
    } catch (const ado::Error&) {
      return false;
    }
  };
  while (moved && !rows.eof()) {
    tolerated([&] { view_->AddListItem(ListItem(rows)); });
    moved = tolerated([&] { rows.MoveNext(); });
  }
  rows.Close();
}

}  // namespace db
