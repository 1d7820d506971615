#include "bench/folder.h"

#include <filesystem>
#include <random>
#include <system_error>

namespace bench {
namespace fs = std::filesystem;

Folder::Folder() {
  std::random_device random;
  fs::path folder;
  do {
    folder = fs::temp_directory_path() / ("dbu-bench-" + std::to_string(random()));
  } while (!fs::create_directory(folder));  // the name was taken
  path_ = folder.string();
}

Folder::~Folder() {
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

std::string Folder::File(std::string_view name) const { return (path_ + "/").append(name); }

}  // namespace bench
