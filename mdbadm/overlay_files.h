// Files that can be changed without changing them: what is written stays in
// memory and goes away with the file.
#pragma once

#include "jet/storage/file.h"

namespace mdbadm {

// Opens files of `files` to read only, whatever is asked for, and keeps writes
// apart. Files cannot be created, renamed or removed.
class OverlayFiles : public jet::FileSystem {
 public:
  explicit OverlayFiles(jet::FileSystem& files) : files_(files) {}

  std::unique_ptr<jet::File> Open(const std::string& path, jet::OpenMode mode) override;
  std::unique_ptr<jet::File> Create(const std::string& path) override;
  void Rename(const std::string& from, const std::string& to) override;
  void Remove(const std::string& path) override;
  bool Exists(const std::string& path) override { return files_.Exists(path); }
  std::optional<jet::FileId> Identify(const std::string& path) override {
    return files_.Identify(path);
  }
  std::optional<std::string> IdleLockFile(const std::string& path) override {
    return files_.IdleLockFile(path);
  }

 private:
  jet::FileSystem& files_;
};

}  // namespace mdbadm
