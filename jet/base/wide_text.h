// Between our UTF-8 and the UTF-16 of the Windows interfaces.
#pragma once

#include <string>
#include <string_view>

#include "jet/base/text.h"

namespace jet {

inline std::wstring ToWide(std::string_view text) {
  const std::u16string units = ToUtf16(text);
  return {units.begin(), units.end()};
}

inline std::string FromWide(std::wstring_view text) {
  return ToUtf8(std::u16string(text.begin(), text.end()));
}

}  // namespace jet
