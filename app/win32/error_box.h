// The box that an unhandled error ends the program with.
#pragma once

#include <windows.h>

#include <string>

namespace app {

// The numbers of its controls.
inline constexpr int kErrorText = 400;

// Shows the text, which can be selected and copied; returns when the box is
// closed.
void ShowErrorBox(HWND parent, const std::string& text);

}  // namespace app
