// db-update for Windows: the operator's window over the engine, the sessions and
// the steps.
#include <windows.h>

#include "app/assembly.h"
#include "app/form1.h"
#include "app/win32/dialogs.h"
#include "app/win32/form1_window.h"
#include "jet/base/wide_text.h"

namespace {

// Without a separator at its end.
std::string ApplicationFolder() {
  std::wstring path(MAX_PATH, L'\0');
  for (;;) {
    const DWORD length =
        ::GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    if (length < path.size()) return jet::FromWide(path.substr(0, path.find_last_of(L'\\')));
    path.resize(2 * path.size());
  }
}

int RunWindow(HWND window) {
  MSG message{};
  while (::GetMessageW(&message, nullptr, 0, 0) > 0) {
    if (::IsDialogMessageW(window, &message) != 0) continue;
    ::TranslateMessage(&message);
    ::DispatchMessageW(&message);
  }
  return static_cast<int>(message.wParam);
}

int Run(int how_shown) {
  const std::unique_ptr<jet::FileSystem> files = jet::MakeSystemFiles();
  app::Assembly assembly(*files);

  app::SystemDialogs dialogs;
  app::Form1Window window(dialogs);
  app::Form1 form(assembly.module(), assembly.repairs(), window, ApplicationFolder());
  window.Connect(form);
  form.Form_Load();
  window.Show(how_shown);
  return RunWindow(window.handle());
}

}  // namespace

int WINAPI WinMain(HINSTANCE, HINSTANCE, LPSTR, int how_shown) {
  // The window does not answer during an action; it has not crashed.
  ::DisableProcessWindowsGhosting();
  const HRESULT com = ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  const int status = Run(how_shown);
  if (SUCCEEDED(com)) ::CoUninitialize();
  return status;
}
