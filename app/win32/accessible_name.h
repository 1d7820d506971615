// What a screen reader says of a control, where its text alone does not tell.
#pragma once

#include <windows.h>

#include <string>

namespace app {

// Does nothing where the system has no such service, or COM is not ready.
void SetAccessibleName(HWND control, const std::wstring& name);

}  // namespace app
