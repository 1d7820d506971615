#include "db/module1.h"

#include <utility>

#include "db/version_record.h"
#include "jet/base/text.h"

namespace db {
namespace {

constexpr std::string_view kReinforcements = "Spec_補強名称";
constexpr std::string_view kReinforcementName = "補強名";
constexpr std::string_view kTransferName = "転送名称";
constexpr std::size_t kListNameWidth = 15;
constexpr double kLastVersionWithoutTransferNames = 14;

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

Module1::Module1(ado::Environment& environment)
    : DataDB(environment, Kind::kData), TenkaiDB(environment, Kind::kTenkai) {}

void Module1::SetLadders(Ladder data, Ladder tenkai) {
  data_ladder_ = std::move(data);
  tenkai_ladder_ = std::move(tenkai);
}

void Module1::Access(FileSession& session, std::string_view mode) {
  if (mode == "Open") session.Open();
  if (mode == "Close") session.Close();
}

void Module1::GetVersion(FileSession& session) {
  session.ReadVersion([&](double version) {
    if (view_ == nullptr) return;
    view_->SetVersionCaption(VersionElementOf(session.kind()), VersionCaption(version));
  });
}

void Module1::Show_HokyoList() {
  const bool has_transfer_names = DataDB_Ver > kLastVersionWithoutTransferNames;
  view_->ShowReinforcementRepair(has_transfer_names);
  if (!has_transfer_names) return;
  ado::Recordset rows;
  rows.Open(kReinforcements, DataDB.connection(), ado::adOpenKeyset, ado::adLockOptimistic,
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
