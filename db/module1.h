// The two database sessions of the program, their version records, and the
// ladders that end in them.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "db/db_handle.h"
#include "db/kind.h"
#include "db/ladder.h"
#include "db/session_view.h"
#include "db/version_record.h"

namespace db {

class Module1 {
 public:
  explicit Module1(ado::Environment& environment);
  ~Module1();
  Module1(const Module1&) = delete;
  Module1& operator=(const Module1&) = delete;
  // Not null while the list is shown; without one, captions go nowhere.
  void SetView(SessionView* view) { view_ = view; }
  // The ladders use the handles below, so they come after construction. Sets
  // the latest versions.
  void SetLadders(Ladder data, Ladder tenkai);

  // The state of the sessions.
  std::string DataDB_Path, TenkaiDB_Path;
  std::string DataDB_ConStr, TenkaiDB_ConStr;
  std::unique_ptr<ado::Connection> DataDB_Con, TenkaiDB_Con;
  double DataDB_Ver = 0, TenkaiDB_Ver = 0;
  double DataDB_NewVer = 0, TenkaiDB_NewVer = 0;

  // `mode` is "Open" or "Close", in exactly this case; anything else does nothing.
  void DataDB_Access(std::string_view mode);
  void TenkaiDB_Access(std::string_view mode);
  void Get_DataVer();
  void Get_TenkaiVer();
  // `ver` is the stored version, rounded. Run the steps above it and store the
  // latest version.
  void Data_Up(std::int16_t ver);
  void Tenkai_Up(std::int16_t ver);
  // The same up to a version on the way, which is then stored.
  void Data_Up_To(std::int16_t ver, std::int16_t to, LadderObserver* observer);
  void Tenkai_Up_To(std::int16_t ver, std::int16_t to, LadderObserver* observer);
  void Show_HokyoList();

  DbHandle& data() { return data_handle_; }
  DbHandle& tenkai() { return tenkai_handle_; }
  const Ladder& data_ladder() const { return data_ladder_; }
  const Ladder& tenkai_ladder() const { return tenkai_ladder_; }
  ado::Environment& environment() { return environment_; }

 private:
  class FileSession;
  double ReadVersion(const std::unique_ptr<ado::Connection>& connection, Kind kind);
  ado::Environment& environment_;
  SessionView* view_ = nullptr;
  std::unique_ptr<Session> data_session_, tenkai_session_;
  DbHandle data_handle_, tenkai_handle_;
  Ladder data_ladder_, tenkai_ladder_;
};

}  // namespace db
