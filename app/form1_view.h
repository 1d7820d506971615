// What Form1 needs of a window. A view shows and asks; it decides nothing.
#pragma once

#include <string>

namespace app {

enum class Button {
  kCB_DataDB,
  kCB_DB_Up,
  kCB_TenkaiDB,
  kCB_TenkaiDB_Up,
  kCommand1,
  kCommand2,
  kCommand3,
  kCommand4,
  kCommand5,
};

class Form1View {
 public:
  virtual ~Form1View() = default;
  virtual void SetVersionCaption(int element, const std::string& caption) = 0;
  virtual void SetVisible(Button button, bool visible) = 0;
  virtual void ClearList() = 0;
  virtual void AddListItem(const std::string& text) = 0;
  // CommonDialog1, to open a file. The full path, or empty if the operator cancelled.
  // `initial_name` joins with a backslash on every system; the view may turn
  // separators. The filter is "text|pattern".
  virtual std::string AskFile(const std::string& initial_name, const std::string& filter) = 0;
  // A message box with an OK button only.
  virtual void ShowMessage(const std::string& text, const std::string& title) = 0;
  // The standard error box, its text selectable; returns when it is dismissed.
  virtual void ShowError(const std::string& text) = 0;
  // Busy cursor, and buttons that do nothing.
  virtual void SetBusy(bool busy) = 0;
  // Ends the program.
  virtual void End(int exit_status) = 0;
};

}  // namespace app
