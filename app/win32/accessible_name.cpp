#include "app/win32/accessible_name.h"

#include <initguid.h>
#include <oleacc.h>

namespace app {

void SetAccessibleName(HWND control, const std::wstring& name) {
  IAccPropServices* services = nullptr;
  if (FAILED(::CoCreateInstance(CLSID_AccPropServices, nullptr, CLSCTX_INPROC_SERVER,
                                IID_IAccPropServices, reinterpret_cast<void**>(&services)))) {
    return;
  }
  services->SetHwndPropStr(control, static_cast<DWORD>(OBJID_CLIENT), CHILDID_SELF, PROPID_ACC_NAME,
                           name.c_str());
  services->Release();
}

}  // namespace app
