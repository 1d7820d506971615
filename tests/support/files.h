// Files for tests: whole in memory, and in a folder that goes away again.
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace test_support {

// A UTF-8 path for the standard library, which on Windows takes a plain string to
// be in another code page.
inline std::filesystem::path PathOf(std::string_view path) {
  return {std::u8string(path.begin(), path.end())};
}

// An empty folder, removed with everything in it at the end.
class TempFolder {
 public:
  TempFolder();
  ~TempFolder();
  TempFolder(const TempFolder&) = delete;
  TempFolder& operator=(const TempFolder&) = delete;

  const std::string& path() const { return path_; }
  // The path of a file in the folder; makes none.
  std::string File(std::string_view name) const;

 private:
  std::string path_;
};

std::string ReadFileBytes(const std::string& path);
void WriteFileBytes(const std::string& path, std::string_view bytes);

}  // namespace test_support
