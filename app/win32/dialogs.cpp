#include "app/win32/dialogs.h"

#include <algorithm>
#include <vector>

#include "app/win32/error_box.h"
#include "jet/base/wide_text.h"

namespace app {
namespace {

constexpr std::size_t kLongestPath = 32767;

// Asks with this as the name to start with; empty if nothing was chosen.
std::wstring Ask(HWND parent, const std::wstring& start, const std::wstring& filter) {
  std::vector<wchar_t> path(kLongestPath + 1);
  std::copy_n(start.begin(), std::min(start.size(), kLongestPath), path.begin());
  OPENFILENAMEW question{};
  question.lStructSize = sizeof question;
  question.hwndOwner = parent;
  question.lpstrFilter = filter.c_str();
  question.lpstrFile = path.data();
  question.nMaxFile = static_cast<DWORD>(path.size());
  // Nothing of the choice is kept outside the program.
  question.Flags = OFN_EXPLORER | OFN_FILEMUSTEXIST | OFN_PATHMUSTEXIST | OFN_HIDEREADONLY |
                   OFN_NOCHANGEDIR | OFN_DONTADDTORECENT;
  return ::GetOpenFileNameW(&question) != 0 ? std::wstring(path.data()) : std::wstring();
}

}  // namespace

std::string SystemDialogs::AskFile(HWND parent, const std::string& initial_path,
                                   const std::string& filter) {
  std::wstring pairs = jet::ToWide(filter) + L'|';
  std::replace(pairs.begin(), pairs.end(), L'|', L'\0');
  const std::wstring start = jet::ToWide(initial_path);
  std::wstring chosen = Ask(parent, start, pairs);
  // Not every folder can be started in: one whose name is too long, for one.
  if (chosen.empty() && ::CommDlgExtendedError() != 0) {
    chosen = Ask(parent, start.substr(start.find_last_of(L'\\') + 1), pairs);
  }
  return jet::FromWide(chosen);
}

void SystemDialogs::ShowMessage(HWND parent, const std::string& text, const std::string& title) {
  ::MessageBoxW(parent, jet::ToWide(text).c_str(), jet::ToWide(title).c_str(), MB_OK);
}

void SystemDialogs::ShowError(HWND parent, const std::string& text) { ShowErrorBox(parent, text); }

}  // namespace app
