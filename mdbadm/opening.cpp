#include "mdbadm/failure.h"
#include "mdbadm/verbs.h"

namespace mdbadm {

namespace {
// Joins take memory of their own beside it.
constexpr std::size_t kCacheBytes = std::size_t{16} << 20;
}  // namespace

std::unique_ptr<jet::Database> OpenToRead(Program& program, const std::string& path,
                                          const std::string& password) {
  jet::OpenOptions options;
  options.password = password;
  options.cache_bytes = kCacheBytes;
  auto database = jet::Database::Open(program.files, path, options);
  WarnOfLockFile(program, path);
  return database;
}

std::unique_ptr<jet::Database> OpenToChange(Program& program, const std::string& path,
                                            const std::string& password) {
  jet::OpenOptions options;
  options.mode = jet::OpenMode::kExclusive;
  options.password = password;
  auto database = jet::Database::Open(program.files, path, options);
  WarnOfLockFile(program, path);
  return database;
}

void RefuseExisting(Program& program, const std::string& path) {
  if (program.files.Exists(path)) throw std::runtime_error(path + ": exists already");
}

}  // namespace mdbadm
