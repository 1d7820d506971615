// db-update for Windows: the operator's window over the engine, the sessions and
// the steps.
#include <windows.h>

#include "app/form1.h"
#include "app/win32/dialogs.h"
#include "app/win32/form1_window.h"
#include "jet/wide_text.h"
#include "upgrade/ladders.h"

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
  ado::Environment environment(*files);
  db::Module1 module(environment);
  upgrade::Data_Up_M data(module.data());
  upgrade::Eng_M english(module.data());
  upgrade::Tenkai_UP_M tenkai(module.tenkai());
  module.SetLadders(upgrade::MakeDataLadder(data, english), upgrade::MakeTenkaiLadder(tenkai));

  app::SystemDialogs dialogs;
  app::Form1Window window(dialogs);
  app::Form1 form(module,
                  {.reinforcements = [&] { data.Data_Up_15(); },
                   .flex_names = [&] { data.Data_Up_16b(); },
                   .english_names = [&] { english.Eng_Apply(); }},
                  window, ApplicationFolder());
  window.Connect(form);
  form.Form_Load();
  window.Show(how_shown);
  return RunWindow(window.handle());
}

}  // namespace

int WINAPI WinMain(HINSTANCE, HINSTANCE, LPSTR, int how_shown) {
  // An action keeps the window from answering for a while; it is no crash.
  ::DisableProcessWindowsGhosting();
  const HRESULT com = ::CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
  const int status = Run(how_shown);
  if (SUCCEEDED(com)) ::CoUninitialize();
  return status;
}
