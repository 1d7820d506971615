// The one window's event procedures, apart from any toolkit.
//
// Each event is one action on the files: what it changed reaches them at its
// end. An unhandled error keeps what completed operations did, shows
// the standard error box and ends the program.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "app/advice.h"
#include "app/form1_view.h"
#include "db/module1.h"

namespace app {

class Form1 : private db::SessionView {
 public:
  // All must outlive the form. `application_folder` without a trailing separator.
  Form1(db::Module1& module, db::Repairs repairs, Form1View& view, std::string application_folder);
  ~Form1() override;
  Form1(const Form1&) = delete;
  Form1& operator=(const Form1&) = delete;

  void Form_Load();
  // Files from outside, dragged onto the window: each is chosen for the database
  // whose name it has.
  void FilesDropped(const std::vector<std::string>& paths);

  void CB_DataDB_Click();
  void CB_DB_Up_Click();
  void CB_TenkaiDB_Click();
  void CB_TenkaiDB_Up_Click();
  void Command1_Click();
  void Command4_Click();
  void Command5_Click();

  // True once an unhandled error has been shown; events do nothing from then on.
  bool ended() const { return ended_; }
  // False while an event runs or a dialog or box waits for its answer: no button
  // and no dropped file does anything then.
  bool ready() const { return !ended_ && !occupied_; }

 private:
  void Choose(db::Kind kind);
  // Runs what the operator asked for, unless the form is not ready for it.
  void Enter(const std::function<void()>& body);
  void RefuseFile(std::string_view why);
  void OpenChosen(db::Kind kind, const std::string& path);
  void Upgrade(db::Kind kind);
  void Repair(const std::function<void()>& repair);
  // Runs an event's body as one action, busy meanwhile; `show_done` once what it did
  // is in the file.
  void RunEvent(Event event, const std::function<void()>& body,
                const std::function<void()>& show_done = {});
  void FailWith(std::int32_t number, const std::string& text, std::string_view advice);

  void SetVersionCaption(int element, const std::string& caption) override;
  void ShowReinforcementRepair(bool visible) override;
  void ClearList() override;
  void AddListItem(const std::string& text) override;

  db::Module1& module_;
  db::Repairs repairs_;
  Form1View& view_;
  std::string application_folder_;  // where the dialog starts
  std::array<std::string, 4> captions_;
  bool ended_ = false;
  bool occupied_ = false;
};

// "実行時エラー '3265':" and what follows, as the standard error box shows it;
// below that, what to do.
std::string ErrorBoxText(std::int32_t number, const std::string& description,
                         std::string_view advice);

}  // namespace app
