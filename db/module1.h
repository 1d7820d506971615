// The state and the procedures that the window works with, by the names that the
// product gives them, over one session a database.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "db/file_session.h"
#include "db/session_view.h"

namespace db {

class Module1 {
 public:
  explicit Module1(ado::Environment& environment);
  Module1(const Module1&) = delete;
  Module1& operator=(const Module1&) = delete;
  // Not null while the list is shown; without one, captions go nowhere.
  void SetView(SessionView* view) { view_ = view; }
  // The ladders use the handles of the sessions, so they come after construction.
  void SetLadders(Ladder data, Ladder tenkai);

  FileSession DataDB, TenkaiDB;
  std::string &DataDB_Path = DataDB.folder, &TenkaiDB_Path = TenkaiDB.folder;
  const std::string& DataDB_ConStr = DataDB.connection_string();
  const std::string& TenkaiDB_ConStr = TenkaiDB.connection_string();
  const std::unique_ptr<ado::Connection>& DataDB_Con = DataDB.connection_reference();
  const std::unique_ptr<ado::Connection>& TenkaiDB_Con = TenkaiDB.connection_reference();
  double &DataDB_Ver = DataDB.version, &TenkaiDB_Ver = TenkaiDB.version;
  double DataDB_NewVer() const { return data_ladder_.latest(); }
  double TenkaiDB_NewVer() const { return tenkai_ladder_.latest(); }

  // `mode` is "Open" or "Close", in exactly this case; anything else does nothing.
  void DataDB_Access(std::string_view mode) { Access(DataDB, mode); }
  void TenkaiDB_Access(std::string_view mode) { Access(TenkaiDB, mode); }
  void Get_DataVer() { GetVersion(DataDB); }
  void Get_TenkaiVer() { GetVersion(TenkaiDB); }
  // `ver` is the stored version, rounded. Run the steps above it and store the
  // latest version.
  void Data_Up(std::int16_t ver) { DataDB.Run(data_ladder_, ver, data_ladder_.latest()); }
  void Tenkai_Up(std::int16_t ver) { TenkaiDB.Run(tenkai_ladder_, ver, tenkai_ladder_.latest()); }
  void Show_HokyoList();

  FileSession& session(Kind kind) { return kind == Kind::kData ? DataDB : TenkaiDB; }
  ado::Environment& environment() { return DataDB.environment(); }

 private:
  static void Access(FileSession& session, std::string_view mode);
  void GetVersion(FileSession& session);
  SessionView* view_ = nullptr;
  Ladder data_ladder_, tenkai_ladder_;
};

}  // namespace db
