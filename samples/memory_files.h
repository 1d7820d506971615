// Files that live in memory and go away with this object. Paths are those of the system,
// in any spelling of it.
#pragma once

#include <map>
#include <memory>

#include "jet/storage/file.h"

namespace samples {

class MemoryFiles : public jet::FileSystem {
 public:
  std::unique_ptr<jet::File> Open(const std::string& path, jet::OpenMode mode) override;
  std::unique_ptr<jet::File> Create(const std::string& path) override;
  void Rename(const std::string& from, const std::string& to) override;
  void Remove(const std::string& path) override;
  bool Exists(const std::string& path) override;
  std::optional<jet::FileId> Identify(const std::string& path) override;

 private:
  std::map<std::string, std::shared_ptr<jet::Bytes>> files_;  // by normalised path
};

}  // namespace samples
