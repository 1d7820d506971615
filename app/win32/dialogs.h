// The boxes that wait for the operator, apart from the window, so that a test
// can answer them.
#pragma once

#include <windows.h>

#include <string>

namespace app {

class Dialogs {
 public:
  virtual ~Dialogs() = default;
  // The path of an existing file, or empty if the operator cancelled.
  virtual std::string AskFile(HWND parent, const std::string& initial_path,
                              const std::string& filter) = 0;
  virtual void ShowMessage(HWND parent, const std::string& text, const std::string& title) = 0;
  virtual void ShowError(HWND parent, const std::string& text) = 0;
};

// Those of the system.
class SystemDialogs : public Dialogs {
 public:
  std::string AskFile(HWND parent, const std::string& initial_path,
                      const std::string& filter) override;
  void ShowMessage(HWND parent, const std::string& text, const std::string& title) override;
  void ShowError(HWND parent, const std::string& text) override;
};

}  // namespace app
