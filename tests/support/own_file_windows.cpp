#include <windows.h>

#include <cstdint>

#include "jet/base/wide_text.h"
#include "jet/storage/file.h"
#include "tests/support/own_file.h"

namespace test_support {

std::optional<std::string> ReadOwnFile(const std::string& path) {
  constexpr std::uintptr_t kHandles = 0x4000, kStep = 4;
  const std::wstring wanted = L"\\\\?\\" + jet::ToWide(jet::NormalisePath(path));
  std::wstring name(wanted.size() + 1, L'\0');
  for (std::uintptr_t number = kStep; number < kHandles; number += kStep) {
    const auto handle = reinterpret_cast<HANDLE>(number);
    if (::GetFileType(handle) != FILE_TYPE_DISK) continue;
    const DWORD length = ::GetFinalPathNameByHandleW(
        handle, name.data(), static_cast<DWORD>(name.size()), FILE_NAME_NORMALIZED);
    if (length != wanted.size() || ::_wcsicmp(name.c_str(), wanted.c_str()) != 0) continue;
    LARGE_INTEGER size{};
    if (::GetFileSizeEx(handle, &size) == 0) continue;
    std::string bytes(static_cast<std::size_t>(size.QuadPart), '\0');
    OVERLAPPED from_start{};
    DWORD got = 0;
    if (::ReadFile(handle, bytes.data(), static_cast<DWORD>(bytes.size()), &got, &from_start) ==
        0) {
      continue;
    }
    bytes.resize(got);
    return bytes;
  }
  return std::nullopt;
}

}  // namespace test_support
