// The name that a screen reader speaks where the text of a control is not enough.
#pragma once

#include <windows.h>

#include <string>

namespace app {

// Does nothing where the system has no such service, or COM is not ready.
void SetAccessibleName(HWND control, const std::wstring& name);

}  // namespace app
