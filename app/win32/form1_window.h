// The one window, of the system's own controls. controls.h has their numbers.
#pragma once

#include <windows.h>

#include <map>
#include <memory>
#include <string>

#include "app/form1.h"
#include "app/form1_view.h"
#include "app/win32/fonts.h"
#include "app/win32/layout.h"

namespace app {

class Dialogs;

class Form1Window : public Form1View {
 public:
  // Makes the window, not shown yet. `dialogs` must outlive it.
  explicit Form1Window(Dialogs& dialogs);
  ~Form1Window() override;
  Form1Window(const Form1Window&) = delete;
  Form1Window& operator=(const Form1Window&) = delete;

  // Hands what the operator presses to `form`, which must outlive the window's
  // use.
  void Connect(Form1& form) { form_ = &form; }
  void Show(int how);
  HWND handle() const { return handle_; }

  void SetVersionCaption(int element, const std::string& caption) override;
  void SetVisible(Button button, bool visible) override;
  void ClearList() override;
  void AddListItem(const std::string& text) override;
  std::string AskFile(const std::string& initial_name, const std::string& filter) override;
  void ShowMessage(const std::string& text, const std::string& title) override;
  void ShowError(const std::string& text) override;
  void SetBusy(bool busy) override;
  void End(int exit_status) override;

 private:
  static LRESULT CALLBACK Procedure(HWND window, UINT message, WPARAM first, LPARAM second);
  LRESULT Handle(UINT message, WPARAM first, LPARAM second);

  void MakeControls();
  HWND Add(int id, const wchar_t* window_class, const char* text, DWORD style,
           const char* accessible_name = nullptr);
  HWND control(int id) const { return ::GetDlgItem(handle_, id); }

  // All that depends on DPI or system fonts.
  void UseFonts();
  void Measure(int id);
  void Arrange();
  // The size of the whole window around a client area.
  SIZE Outside(SIZE client) const;
  void MeasureRow(int row);
  void WidenList();

  void Press(int id);
  void TakeDropped(HDROP dropped);
  void DropInput();
  void GiveFocusBack();

  Dialogs& dialogs_;
  Form1* form_ = nullptr;
  HWND handle_ = nullptr;
  UINT dpi_ = 96;
  std::unique_ptr<Fonts> fonts_;
  Measures measures_;
  int list_first_ = 0, list_second_ = 0;  // widest text of each column
  HWND focus_before_ = nullptr;
  bool busy_ = false;
};

}  // namespace app
