// Fonts in which everything that the window says can be read.
#pragma once

#include <windows.h>

#include <memory>
#include <string>

namespace app {

// The fonts for a screen of this DPI, gone with the object.
class Fonts {
 public:
  explicit Fonts(UINT dpi);
  HFONT window() const { return window_.get(); }
  // The Mincho font of the version labels, somewhat larger.
  HFONT version() const { return version_.get(); }

 private:
  struct Delete {
    void operator()(HFONT font) const { ::DeleteObject(font); }
  };
  using Font = std::unique_ptr<std::remove_pointer_t<HFONT>, Delete>;
  Font window_, version_;
};

// The size of a text's widest line in a font, and the height of one line.
SIZE TextSize(HFONT font, const std::wstring& text);

}  // namespace app
