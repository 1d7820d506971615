#include "samples/memory_files.h"

#include <algorithm>

#include "jet/base/bytes.h"

namespace samples {
namespace {

class MemoryFile : public jet::File {
 public:
  MemoryFile(std::string path, std::shared_ptr<jet::Bytes> bytes)
      : path_(std::move(path)), bytes_(std::move(bytes)) {}

  std::uint64_t Size() override { return bytes_->size(); }
  void Read(std::uint64_t at, std::span<std::uint8_t> into) override {
    const jet::ByteView from = jet::Slice(*bytes_, static_cast<std::size_t>(at), into.size());
    std::ranges::copy(from, into.begin());
  }
  void Write(std::uint64_t at, jet::ByteView bytes) override {
    Reserve(at + bytes.size());
    jet::PutBytes(*bytes_, static_cast<std::size_t>(at), bytes);
  }
  void Reserve(std::uint64_t size) override {
    if (size > bytes_->size()) Truncate(size);
  }
  void Truncate(std::uint64_t size) override { bytes_->resize(static_cast<std::size_t>(size)); }
  void Sync() override {}
  const std::string& path() const override { return path_; }
  std::optional<jet::FileId> Id() override { return std::nullopt; }

 private:
  std::string path_;
  std::shared_ptr<jet::Bytes> bytes_;
};

}  // namespace

std::unique_ptr<jet::File> MemoryFiles::Open(const std::string& path, jet::OpenMode) {
  const auto found = files_.find(jet::NormalisePath(path));
  if (found == files_.end()) throw jet::Error(jet::ErrorCode::kFileNotFound).In(path);
  return std::make_unique<MemoryFile>(path, found->second);
}

std::unique_ptr<jet::File> MemoryFiles::Create(const std::string& path) {
  files_[jet::NormalisePath(path)] = std::make_shared<jet::Bytes>();
  return Open(path, jet::OpenMode::kExclusive);
}

void MemoryFiles::Rename(const std::string& from, const std::string& to) {
  auto file = files_.extract(jet::NormalisePath(from));
  if (file.empty()) throw jet::Error(jet::ErrorCode::kFileNotFound).In(from);
  Remove(to);
  file.key() = jet::NormalisePath(to);
  files_.insert(std::move(file));
}

void MemoryFiles::Remove(const std::string& path) { files_.erase(jet::NormalisePath(path)); }

bool MemoryFiles::Exists(const std::string& path) {
  return files_.contains(jet::NormalisePath(path));
}

std::optional<jet::FileId> MemoryFiles::Identify(const std::string&) { return std::nullopt; }

}  // namespace samples
