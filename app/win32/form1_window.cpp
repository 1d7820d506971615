#include "app/win32/form1_window.h"

#include <commctrl.h>

#include <algorithm>
#include <stdexcept>
#include <vector>

#include "app/form1_texts.h"
#include "app/win32/accessible_name.h"
#include "app/win32/controls.h"
#include "app/win32/dialogs.h"
#include "jet/base/wide_text.h"

namespace app {
namespace {

constexpr wchar_t kWindowClass[] = L"Form1";
constexpr int kIcon = 1;  // in the resources
constexpr DWORD kStyle = WS_OVERLAPPEDWINDOW;
constexpr DWORD kExtendedStyle = WS_EX_CONTROLPARENT | WS_EX_ACCEPTFILES;
constexpr SIZE kFirstClient = {700, 320};  // on a 96 DPI screen, if that is enough

HINSTANCE Instance() { return ::GetModuleHandleW(nullptr); }

HICON Icon(int metric) {
  const int size = ::GetSystemMetrics(metric);
  return static_cast<HICON>(
      ::LoadImageW(Instance(), MAKEINTRESOURCEW(kIcon), IMAGE_ICON, size, size, LR_SHARED));
}

void RegisterOnce(WNDPROC procedure) {
  WNDCLASSEXW form{};
  form.cbSize = sizeof form;
  if (::GetClassInfoExW(Instance(), kWindowClass, &form) != 0) return;
  const INITCOMMONCONTROLSEX standard{sizeof standard, ICC_STANDARD_CLASSES};
  ::InitCommonControlsEx(&standard);
  form.lpfnWndProc = procedure;
  form.hInstance = Instance();
  form.hIcon = Icon(SM_CXICON);
  form.hIconSm = Icon(SM_CXSMICON);
  form.hCursor = ::LoadCursorW(nullptr, IDC_ARROW);
  form.hbrBackground = ::GetSysColorBrush(COLOR_BTNFACE);
  form.lpszClassName = kWindowClass;
  if (::RegisterClassExW(&form) == 0) throw std::runtime_error("no window class");
}

std::wstring TextOf(HWND window) {
  std::wstring text(static_cast<std::size_t>(::GetWindowTextLengthW(window)) + 1, L'\0');
  text.resize(static_cast<std::size_t>(
      ::GetWindowTextW(window, text.data(), static_cast<int>(text.size()))));
  return text;
}

}  // namespace

Form1Window::Form1Window(Dialogs& dialogs) : dialogs_(dialogs) {
  RegisterOnce(&Form1Window::Procedure);
  ::CreateWindowExW(kExtendedStyle, kWindowClass, jet::ToWide(kWindowTitle).c_str(), kStyle,
                    CW_USEDEFAULT, CW_USEDEFAULT, CW_USEDEFAULT, CW_USEDEFAULT, nullptr, nullptr,
                    Instance(), this);
  if (handle_ == nullptr) throw std::runtime_error("no window");
  dpi_ = ::GetDpiForWindow(handle_);
  MakeControls();
  UseFonts();
  const SIZE client = LayOut(measures_, {::MulDiv(kFirstClient.cx, static_cast<int>(dpi_), 96),
                                         ::MulDiv(kFirstClient.cy, static_cast<int>(dpi_), 96)})
                          .client;
  const SIZE size = Outside(client);
  ::SetWindowPos(handle_, nullptr, 0, 0, size.cx, size.cy, SWP_NOMOVE | SWP_NOZORDER);
  ::SetFocus(control(kTabOrder[0]));
}

Form1Window::~Form1Window() {
  if (handle_ != nullptr) ::DestroyWindow(handle_);
}

void Form1Window::Show(int how) {
  ::ShowWindow(handle_, how);
  ::UpdateWindow(handle_);
}

HWND Form1Window::Add(int id, const wchar_t* window_class, const char* text, DWORD style,
                      const char* accessible_name) {
  const HWND made = ::CreateWindowExW(
      id == kList ? WS_EX_CLIENTEDGE : 0, window_class, jet::ToWide(text).c_str(), WS_CHILD | style,
      0, 0, 0, 0, handle_, reinterpret_cast<HMENU>(static_cast<INT_PTR>(id)), Instance(), nullptr);
  if (made == nullptr) throw std::runtime_error("no control");
  if (accessible_name != nullptr) SetAccessibleName(made, jet::ToWide(accessible_name));
  return made;
}

// In the order in which they are read, which is that of the Tab key. A frame
// comes before what stands in it.
void Form1Window::MakeControls() {
  static constexpr Button kHidden[] = {Button::kCB_DB_Up, Button::kCB_TenkaiDB_Up,
                                       Button::kCommand1};
  const auto add_button = [this](Button which) {
    const ButtonText& text = kButtonTexts[static_cast<std::size_t>(which)];
    const bool hidden = std::ranges::find(kHidden, which) != std::end(kHidden);
    Add(IdOf(which), WC_BUTTONW, text.caption,
        BS_PUSHBUTTON | WS_TABSTOP | (hidden ? 0 : WS_VISIBLE), text.accessible_name);
  };
  constexpr DWORD kLabel = WS_VISIBLE | SS_NOPREFIX | SS_CENTERIMAGE;
  constexpr Button kFrameButtons[][2] = {{Button::kCB_DataDB, Button::kCB_DB_Up},
                                         {Button::kCB_TenkaiDB, Button::kCB_TenkaiDB_Up}};
  for (int frame = 0; frame < kFrames; ++frame) {
    Add(kFirstFrame + frame, WC_BUTTONW, kFrameCaptions[static_cast<std::size_t>(frame)],
        BS_GROUPBOX | WS_VISIBLE | WS_GROUP);
    for (const Button each : kFrameButtons[frame]) add_button(each);
    Add(kFirstLabel + frame, WC_STATICW, kLabelCaption, kLabel);
    for (const int element : {frame, kFrames + frame}) {
      Add(kFirstVersion + element, WC_STATICW, kLabelCaption, kLabel | SS_RIGHT);
    }
  }
  Add(kList, WC_LISTBOXW, "",
      LBS_USETABSTOPS | LBS_NOINTEGRALHEIGHT | WS_VSCROLL | WS_HSCROLL | WS_TABSTOP | WS_VISIBLE |
          WS_GROUP,
      kListMeaning);
  for (const Button each : {Button::kCommand1, Button::kCommand4, Button::kCommand5,
                            Button::kCommand2, Button::kCommand3}) {
    add_button(each);
  }
  Add(kDate, WC_STATICW, kBuildDate, kLabel | SS_RIGHT);
}

void Form1Window::UseFonts() {
  auto fonts = std::make_unique<Fonts>(dpi_);
  measures_.dpi = static_cast<int>(dpi_);
  measures_.text_height = TextSize(fonts->window(), L"バージョン").cy;
  measures_.version_height = TextSize(fonts->version(), L"バージョン").cy;
  for (HWND child = ::GetWindow(handle_, GW_CHILD); child != nullptr;
       child = ::GetWindow(child, GW_HWNDNEXT)) {
    const int id = ::GetDlgCtrlID(child);
    const bool version = id >= kFirstVersion && id < kFirstVersion + kVersions;
    ::SendMessageW(child, WM_SETFONT,
                   reinterpret_cast<WPARAM>(version ? fonts->version() : fonts->window()), TRUE);
  }
  fonts_ = std::move(fonts);  // the former ones are not used any more
  measures_.widths.clear();
  for (HWND child = ::GetWindow(handle_, GW_CHILD); child != nullptr;
       child = ::GetWindow(child, GW_HWNDNEXT)) {
    Measure(::GetDlgCtrlID(child));
  }
  list_first_ = list_second_ = 0;
  const auto rows = static_cast<int>(::SendMessageW(control(kList), LB_GETCOUNT, 0, 0));
  for (int row = 0; row < rows; ++row) MeasureRow(row);
  WidenList();
}

// A version label keeps the widest room it has needed, so that nothing moves
// back and forth.
void Form1Window::Measure(int id) {
  const bool version = id >= kFirstVersion && id < kFirstVersion + kVersions;
  const HFONT font = version ? fonts_->version() : fonts_->window();
  int& width = measures_.widths[id];
  width = std::max<int>(width, TextSize(font, TextOf(control(id))).cx);
}

void Form1Window::MeasureRow(int row) {
  const HWND list = control(kList);
  const auto length = ::SendMessageW(list, LB_GETTEXTLEN, static_cast<WPARAM>(row), 0);
  std::wstring text(static_cast<std::size_t>(std::max<LRESULT>(length, 0)) + 1, L'\0');
  ::SendMessageW(list, LB_GETTEXT, static_cast<WPARAM>(row), reinterpret_cast<LPARAM>(text.data()));
  text.pop_back();
  const std::size_t tab = std::min(text.find(L'\t'), text.size());
  const std::wstring second = tab < text.size() ? text.substr(tab + 1) : std::wstring();
  list_first_ = std::max<int>(list_first_, TextSize(fonts_->window(), text.substr(0, tab)).cx);
  list_second_ = std::max<int>(list_second_, TextSize(fonts_->window(), second).cx);
}

// One tab stop behind the widest first column; room for the widest second.
void Form1Window::WidenList() {
  const HWND list = control(kList);
  const int gap = 2 * TextSize(fonts_->window(), L"　").cx;
  // The list counts in quarters of its font's mean width, over these letters.
  constexpr wchar_t kLetters[] = L"ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz";
  const int mean = std::max<int>(1, (TextSize(fonts_->window(), kLetters).cx / 26 + 1) / 2);
  int stop = ((list_first_ + gap) * 4 + mean - 1) / mean;
  ::SendMessageW(list, LB_SETTABSTOPS, 1, reinterpret_cast<LPARAM>(&stop));
  ::SendMessageW(list, LB_SETHORIZONTALEXTENT,
                 static_cast<WPARAM>(stop * mean / 4 + list_second_ + gap), 0);
}

void Form1Window::Arrange() {
  if (!fonts_) return;
  RECT client{};
  ::GetClientRect(handle_, &client);
  const Layout layout = LayOut(measures_, {client.right, client.bottom});
  HDWP moves = ::BeginDeferWindowPos(static_cast<int>(layout.places.size()));
  for (const auto& [id, place] : layout.places) {
    if (moves == nullptr) return;
    moves = ::DeferWindowPos(moves, control(id), nullptr, place.left, place.top,
                             place.right - place.left, place.bottom - place.top,
                             SWP_NOZORDER | SWP_NOACTIVATE);
  }
  ::EndDeferWindowPos(moves);
  ::InvalidateRect(handle_, nullptr, TRUE);
}

SIZE Form1Window::Outside(SIZE client) const {
  RECT frame{0, 0, client.cx, client.cy};
  ::AdjustWindowRectExForDpi(&frame, kStyle, FALSE, kExtendedStyle, dpi_);
  return {frame.right - frame.left, frame.bottom - frame.top};
}

LRESULT CALLBACK Form1Window::Procedure(HWND window, UINT message, WPARAM first, LPARAM second) {
  if (message == WM_NCCREATE) {
    const auto* creation = reinterpret_cast<const CREATESTRUCTW*>(second);
    auto* made = static_cast<Form1Window*>(creation->lpCreateParams);
    made->handle_ = window;
    ::SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(made));
  }
  auto* self = reinterpret_cast<Form1Window*>(::GetWindowLongPtrW(window, GWLP_USERDATA));
  if (self == nullptr) return ::DefWindowProcW(window, message, first, second);
  return self->Handle(message, first, second);
}

LRESULT Form1Window::Handle(UINT message, WPARAM first, LPARAM second) {
  switch (message) {
    case WM_COMMAND:
      if (second != 0 && HIWORD(first) == BN_CLICKED) Press(LOWORD(first));
      return 0;
    case DM_GETDEFID: {  // the Enter key presses the button that has the focus
      const int id = ::GetDlgCtrlID(::GetFocus());
      return id >= kFirstButton && id < kFirstButton + kButtons ? MAKELONG(id, DC_HASDEFID) : 0;
    }
    case WM_DROPFILES:
      TakeDropped(reinterpret_cast<HDROP>(first));
      return 0;
    case WM_SIZE:
      Arrange();
      return 0;
    case WM_GETMINMAXINFO:
      if (fonts_) {
        const SIZE least = Outside(LayOut(measures_, {}).client);
        reinterpret_cast<MINMAXINFO*>(second)->ptMinTrackSize = {least.cx, least.cy};
      }
      return 0;
    case WM_DPICHANGED: {
      dpi_ = HIWORD(first);
      UseFonts();
      const auto& place = *reinterpret_cast<const RECT*>(second);
      ::SetWindowPos(handle_, nullptr, place.left, place.top, place.right - place.left,
                     place.bottom - place.top, SWP_NOZORDER | SWP_NOACTIVATE);
      Arrange();
      return 0;
    }
    case WM_SETCURSOR:
      if (!busy_) break;
      ::SetCursor(::LoadCursorW(nullptr, IDC_WAIT));
      return TRUE;
    case WM_ACTIVATE:
      if (LOWORD(first) != WA_INACTIVE) break;
      if (::IsChild(handle_, ::GetFocus())) focus_before_ = ::GetFocus();
      return 0;
    case WM_SETFOCUS:
      GiveFocusBack();
      return 0;
    case WM_CLOSE:
      // In the middle of an action that would end the program behind its back.
      if (!busy_) End(0);
      return 0;
    case WM_DESTROY:
      handle_ = nullptr;
      return 0;
    default:
      break;
  }
  return ::DefWindowProcW(handle_, message, first, second);
}

void Form1Window::Press(int id) {
  if (form_ == nullptr || busy_) return;
  switch (static_cast<Button>(id - kFirstButton)) {
    case Button::kCB_DataDB:
      return form_->CB_DataDB_Click();
    case Button::kCB_DB_Up:
      return form_->CB_DB_Up_Click();
    case Button::kCB_TenkaiDB:
      return form_->CB_TenkaiDB_Click();
    case Button::kCB_TenkaiDB_Up:
      return form_->CB_TenkaiDB_Up_Click();
    case Button::kCommand1:
      return form_->Command1_Click();
    case Button::kCommand4:
      return form_->Command4_Click();
    case Button::kCommand5:
      return form_->Command5_Click();
    case Button::kCommand2:  // no action is attached
    case Button::kCommand3:
      return;
  }
}

void Form1Window::TakeDropped(HDROP dropped) {
  std::vector<std::string> paths;
  const UINT count = ::DragQueryFileW(dropped, 0xFFFFFFFF, nullptr, 0);
  for (UINT i = 0; i < count; ++i) {
    std::wstring path(::DragQueryFileW(dropped, i, nullptr, 0) + 1, L'\0');
    path.resize(::DragQueryFileW(dropped, i, path.data(), static_cast<UINT>(path.size())));
    paths.push_back(jet::FromWide(path));
  }
  ::DragFinish(dropped);
  if (form_ != nullptr && !busy_) form_->FilesDropped(paths);
}

void Form1Window::SetVersionCaption(int element, const std::string& caption) {
  const int id = kFirstVersion + element;
  ::SetWindowTextW(control(id), jet::ToWide(caption).c_str());
  SetAccessibleName(
      control(id),
      jet::ToWide(kVersionMeanings.at(static_cast<std::size_t>(element)) + (' ' + caption)));
  Measure(id);
  Arrange();
}

void Form1Window::SetVisible(Button button, bool visible) {
  ::ShowWindow(control(IdOf(button)), visible ? SW_SHOWNA : SW_HIDE);
}

void Form1Window::ClearList() {
  ::SendMessageW(control(kList), LB_RESETCONTENT, 0, 0);
  list_first_ = list_second_ = 0;
  WidenList();
}

void Form1Window::AddListItem(const std::string& text) {
  const LRESULT row = ::SendMessageW(control(kList), LB_ADDSTRING, 0,
                                     reinterpret_cast<LPARAM>(jet::ToWide(text).c_str()));
  if (row < 0) return;
  MeasureRow(static_cast<int>(row));
  WidenList();
}

std::string Form1Window::AskFile(const std::string& initial_name, const std::string& filter) {
  return dialogs_.AskFile(handle_, initial_name, filter);
}

void Form1Window::ShowMessage(const std::string& text, const std::string& title) {
  dialogs_.ShowMessage(handle_, text, title);
}

void Form1Window::ShowError(const std::string& text) { dialogs_.ShowError(handle_, text); }

void Form1Window::SetBusy(bool busy) {
  if (busy) {
    focus_before_ = ::GetFocus();
    busy_ = true;
    ::SetCursor(::LoadCursorW(nullptr, IDC_WAIT));
  } else {
    DropInput();
  }
  for (int i = 0; i < kButtons; ++i) ::EnableWindow(control(kFirstButton + i), busy ? FALSE : TRUE);
  if (busy) {
    ::RedrawWindow(handle_, nullptr, nullptr, RDW_UPDATENOW | RDW_ALLCHILDREN);
    return;
  }
  busy_ = false;
  ::SetCursor(::LoadCursorW(nullptr, IDC_ARROW));
  GiveFocusBack();
}

// What was clicked, typed and dropped meanwhile.
void Form1Window::DropInput() {
  constexpr UINT kRanges[][2] = {{WM_KEYFIRST, WM_KEYLAST},
                                 {WM_MOUSEFIRST, WM_MOUSELAST},
                                 {WM_NCMOUSEMOVE, WM_NCXBUTTONDBLCLK}};
  MSG message{};
  for (const auto& [from, to] : kRanges) {
    while (::PeekMessageW(&message, nullptr, from, to, PM_REMOVE) != 0) {
    }
  }
  while (::PeekMessageW(&message, handle_, WM_DROPFILES, WM_DROPFILES, PM_REMOVE) != 0) {
    ::DispatchMessageW(&message);
  }
}

// An inactive button loses the focus. Where it has gone for good, the next
// control in tab order takes over.
void Form1Window::GiveFocusBack() {
  if (busy_ || ::GetActiveWindow() != handle_) return;
  const int* const end = std::end(kTabOrder);
  const int* at = std::find(std::begin(kTabOrder), end, ::GetDlgCtrlID(focus_before_));
  if (at == end) at = std::begin(kTabOrder);
  for (std::size_t tried = 0; tried < std::size(kTabOrder); ++tried) {
    const HWND next = control(*at);
    if (::IsWindowVisible(next) != 0 && ::IsWindowEnabled(next) != 0) {
      ::SetFocus(next);
      return;
    }
    if (++at == end) at = std::begin(kTabOrder);
  }
}

void Form1Window::End(int exit_status) { ::PostQuitMessage(exit_status); }

}  // namespace app
