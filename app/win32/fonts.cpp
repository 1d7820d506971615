#include "app/win32/fonts.h"

#include <algorithm>
#include <cwchar>

#include "app/form1_texts.h"
#include "jet/base/wide_text.h"

namespace app {
namespace {

// The screen, to measure on.
class Screen {
 public:
  Screen() : context_(::GetDC(nullptr)) {}
  ~Screen() { ::ReleaseDC(nullptr, context_); }
  Screen(const Screen&) = delete;
  Screen& operator=(const Screen&) = delete;
  HDC get() const { return context_; }

 private:
  HDC context_;
};

void SetFamily(LOGFONTW& font, const std::wstring& family) {
  const std::size_t length = std::min<std::size_t>(family.size(), LF_FACESIZE - 1);
  std::fill(std::begin(font.lfFaceName), std::end(font.lfFaceName), L'\0');
  std::copy_n(family.begin(), length, font.lfFaceName);
}

bool IsInstalled(const std::wstring& family) {
  LOGFONTW wanted{};
  wanted.lfCharSet = DEFAULT_CHARSET;
  SetFamily(wanted, family);
  bool found = false;
  const auto note = [](const LOGFONTW*, const TEXTMETRICW*, DWORD, LPARAM result) {
    *reinterpret_cast<bool*>(result) = true;
    return 0;
  };
  ::EnumFontFamiliesExW(Screen().get(), &wanted, note, reinterpret_cast<LPARAM>(&found), 0);
  return found;
}

// The first of these that is there.
void Prefer(LOGFONTW& font, std::initializer_list<std::wstring> families) {
  for (const std::wstring& family : families) {
    if (!IsInstalled(family)) continue;
    SetFamily(font, family);
    font.lfCharSet = DEFAULT_CHARSET;
    return;
  }
}

}  // namespace

Fonts::Fonts(UINT dpi) {
  NONCLIENTMETRICSW metrics{};
  metrics.cbSize = sizeof metrics;
  ::SystemParametersInfoForDpi(SPI_GETNONCLIENTMETRICS, sizeof metrics, &metrics, 0, dpi);
  LOGFONTW font = metrics.lfMessageFont;
  Prefer(font, {L"Yu Gothic UI", L"Meiryo UI", L"MS UI Gothic"});
  window_.reset(::CreateFontIndirectW(&font));
  Prefer(font, {jet::ToWide(kVersionFontFamily), L"MS PMincho", L"Yu Mincho", L"IPAPMincho"});
  font.lfHeight = static_cast<LONG>(font.lfHeight * kVersionFontScale);
  version_.reset(::CreateFontIndirectW(&font));
}

SIZE TextSize(HFONT font, const std::wstring& text) {
  const Screen screen;
  const HGDIOBJ before = ::SelectObject(screen.get(), font);
  RECT area{};
  ::DrawTextW(screen.get(), text.empty() ? L" " : text.c_str(), -1, &area,
              DT_CALCRECT | DT_NOPREFIX | DT_SINGLELINE);
  ::SelectObject(screen.get(), before);
  return {area.right, area.bottom};
}

}  // namespace app
