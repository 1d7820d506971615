// Where the controls stand in the window, whatever its size, font and DPI.
#pragma once

#include <windows.h>

#include <map>

namespace app {

struct Measures {
  int dpi = 96;
  int text_height = 0;        // of a line in the font of the window
  int version_height = 0;     // in that of the version labels
  std::map<int, int> widths;  // of each control's text
};

struct Layout {
  SIZE client;  // large enough for everything
  std::map<int, RECT> places;
};

// Fills a client area of this size, or of the least that holds all controls.
Layout LayOut(const Measures& measures, SIZE client);

}  // namespace app
