#include "tests/support/files.h"

#include <fstream>
#include <random>
#include <sstream>
#include <stdexcept>

#include "tests/support/own_file.h"

namespace test_support {
namespace fs = std::filesystem;

TempFolder::TempFolder() {
  std::random_device random;
  fs::path folder;
  do {
    folder = fs::temp_directory_path() / ("dbu-test-" + std::to_string(random()));
  } while (!fs::create_directory(folder));  // the name was taken
  path_ = folder.string();
}

TempFolder::~TempFolder() {
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

std::string TempFolder::File(std::string_view name) const {
  return path_ + static_cast<char>(fs::path::preferred_separator) + std::string(name);
}

std::string ReadFileBytes(const std::string& path) {
  std::ifstream in(PathOf(path), std::ios::binary);
  if (!in) {
    if (auto own = ReadOwnFile(path)) return *std::move(own);
    throw std::runtime_error("cannot read " + path);
  }
  std::ostringstream bytes;
  bytes << in.rdbuf();
  return bytes.str();
}

void WriteFileBytes(const std::string& path, std::string_view bytes) {
  std::ofstream out(PathOf(path), std::ios::binary | std::ios::trunc);
  out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  if (!out) throw std::runtime_error("cannot write " + path);
}

}  // namespace test_support
