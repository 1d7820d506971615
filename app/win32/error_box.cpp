#include "app/win32/error_box.h"

#include <commctrl.h>

#include <algorithm>

#include "app/form1_texts.h"
#include "app/win32/fonts.h"
#include "jet/base/wide_text.h"

namespace app {
namespace {

// In pixels of a 96 DPI screen.
constexpr int kMargin = 16;
constexpr int kTextWidth = 460;
constexpr int kTallestText = 400;
constexpr int kIconSize = 32;
constexpr int kButtonWidth = 92;
constexpr int kButtonExtraHeight = 12;

// An edit control breaks lines only where both characters stand.
std::wstring WithLineEnds(const std::string& text) {
  std::wstring lines;
  for (const wchar_t c : jet::ToWide(text)) {
    if (c == L'\n') lines += L'\r';
    lines += c;
  }
  return lines;
}

LRESULT CALLBACK SelectAllByKey(HWND edit, UINT message, WPARAM first, LPARAM second, UINT_PTR,
                                DWORD_PTR) {
  constexpr WPARAM kControlA = 1;
  if (message == WM_CHAR && first == kControlA) {
    ::SendMessageW(edit, EM_SETSEL, 0, -1);
    return 0;
  }
  return ::DefSubclassProc(edit, message, first, second);
}

class ErrorBox {
 public:
  explicit ErrorBox(const std::string& text) : text_(WithLineEnds(text)) {}

  void Show(HWND parent) {
    // A dialog without controls: their sizes depend on the font, which is known later.
    struct Template {
      DLGTEMPLATE head;
      WORD menu, window_class, title;
    };
    Template box{};
    box.head.style = WS_POPUP | WS_CAPTION | WS_SYSMENU | DS_MODALFRAME;
    ::MessageBeep(MB_ICONERROR);
    ::DialogBoxIndirectParamW(::GetModuleHandleW(nullptr), &box.head, parent, &ErrorBox::Procedure,
                              reinterpret_cast<LPARAM>(this));
  }

 private:
  static INT_PTR CALLBACK Procedure(HWND box, UINT message, WPARAM first, LPARAM second) {
    switch (message) {
      case WM_INITDIALOG:
        reinterpret_cast<ErrorBox*>(second)->Fill(box);
        return FALSE;          // the focus is set
      case WM_CTLCOLORSTATIC:  // the text stands on the box's own ground
        return reinterpret_cast<INT_PTR>(::GetSysColorBrush(COLOR_BTNFACE));
      case WM_COMMAND:
        if (LOWORD(first) != IDOK && LOWORD(first) != IDCANCEL) return FALSE;
        ::EndDialog(box, 0);
        return TRUE;
      default:
        return FALSE;
    }
  }

  int Scaled(int pixels) const { return ::MulDiv(pixels, static_cast<int>(dpi_), 96); }

  SIZE MeasureText(HWND box) const {
    const HDC context = ::GetDC(box);
    const HGDIOBJ before = ::SelectObject(context, fonts_->window());
    RECT area{0, 0, Scaled(kTextWidth), 0};
    ::DrawTextW(context, text_.c_str(), -1, &area,
                DT_CALCRECT | DT_WORDBREAK | DT_EDITCONTROL | DT_NOPREFIX);
    ::SelectObject(context, before);
    ::ReleaseDC(box, context);
    return {Scaled(kTextWidth), area.bottom};
  }

  HWND Add(HWND box, const wchar_t* window_class, const wchar_t* text, DWORD style, int id,
           RECT place) const {
    const HWND made = ::CreateWindowExW(
        0, window_class, text, WS_CHILD | WS_VISIBLE | style, place.left, place.top,
        place.right - place.left, place.bottom - place.top, box,
        reinterpret_cast<HMENU>(static_cast<INT_PTR>(id)), ::GetModuleHandleW(nullptr), nullptr);
    ::SendMessageW(made, WM_SETFONT, reinterpret_cast<WPARAM>(fonts_->window()), FALSE);
    return made;
  }

  void Fill(HWND box) {
    dpi_ = ::GetDpiForWindow(box);
    fonts_ = std::make_unique<Fonts>(dpi_);
    ::SetWindowTextW(box, jet::ToWide(kProgramTitle).c_str());
    const SIZE text = MeasureText(box);
    const int shown_height = std::min<int>(text.cy, Scaled(kTallestText));
    const bool scrolls = shown_height < text.cy;
    const int margin = Scaled(kMargin), icon = Scaled(kIconSize);
    // An edit control keeps a little free at both sides of its text.
    const int text_left = 2 * margin + icon;
    const int text_right = text_left + text.cx + margin + (scrolls ? margin : 0);
    const int text_bottom = margin + std::max(shown_height, icon);
    const HWND picture = Add(box, L"STATIC", L"", SS_ICON | SS_REALSIZECONTROL, 0,
                             {margin, margin, margin + icon, margin + icon});
    ::SendMessageW(picture, STM_SETICON,
                   reinterpret_cast<WPARAM>(
                       ::LoadImageW(nullptr, IDI_ERROR, IMAGE_ICON, icon, icon, LR_SHARED)),
                   0);
    const HWND edit = Add(box, L"EDIT", text_.c_str(),
                          ES_MULTILINE | ES_READONLY | WS_TABSTOP | (scrolls ? WS_VSCROLL : 0),
                          kErrorText, {text_left, margin, text_right, text_bottom});
    ::SetWindowSubclass(edit, &SelectAllByKey, 0, 0);

    const int width = text_right + margin, button_top = text_bottom + margin;
    const int button_height = TextSize(fonts_->window(), L"OK").cy + Scaled(kButtonExtraHeight);
    const HWND button = Add(box, L"BUTTON", L"OK", BS_DEFPUSHBUTTON | WS_TABSTOP, IDOK,
                            {width - margin - Scaled(kButtonWidth), button_top, width - margin,
                             button_top + button_height});
    Centre(box, {width, button_top + button_height + margin});
    ::SetFocus(button);
  }

  void Centre(HWND box, SIZE client) const {
    RECT frame{0, 0, client.cx, client.cy};
    ::AdjustWindowRectExForDpi(&frame, static_cast<DWORD>(::GetWindowLongPtrW(box, GWL_STYLE)),
                               FALSE, static_cast<DWORD>(::GetWindowLongPtrW(box, GWL_EXSTYLE)),
                               dpi_);
    const int width = frame.right - frame.left, height = frame.bottom - frame.top;
    MONITORINFO monitor{};
    monitor.cbSize = sizeof monitor;
    ::GetMonitorInfoW(::MonitorFromWindow(box, MONITOR_DEFAULTTONEAREST), &monitor);
    const RECT& work = monitor.rcWork;
    RECT over = work;
    if (const HWND owner = ::GetWindow(box, GW_OWNER); owner != nullptr) {
      ::GetWindowRect(owner, &over);
    }
    const auto within = [](LONG middle, LONG size, LONG low, LONG high) {
      return std::max(low, std::min(middle - size / 2, high - size));
    };
    ::SetWindowPos(box, nullptr, within((over.left + over.right) / 2, width, work.left, work.right),
                   within((over.top + over.bottom) / 2, height, work.top, work.bottom), width,
                   height, SWP_NOZORDER | SWP_NOACTIVATE);
  }

  std::wstring text_;
  std::unique_ptr<Fonts> fonts_;
  UINT dpi_ = 96;
};

}  // namespace

void ShowErrorBox(HWND parent, const std::string& text) { ErrorBox(text).Show(parent); }

}  // namespace app
