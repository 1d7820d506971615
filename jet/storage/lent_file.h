// An open file for those who open one by its path: so that it stays locked while it is
// checked and copied.
#pragma once

#include <memory>
#include <string>

#include "jet/base/error.h"
#include "jet/storage/file.h"

namespace jet {

// Whatever path is asked for, the one file, to be read. REQUIRES: it outlives what is
// opened here.
class LentFile final : public FileSystem {
 public:
  explicit LentFile(File& file) : file_(&file) {}

  std::unique_ptr<File> Open(const std::string& /*path*/, OpenMode /*mode*/) override {
    return std::make_unique<Borrowed>(*file_);
  }
  std::unique_ptr<File> Create(const std::string& path) override { Refuse(path); }
  void Rename(const std::string& /*from*/, const std::string& to) override { Refuse(to); }
  void Remove(const std::string& path) override { Refuse(path); }
  bool Exists(const std::string& /*path*/) override { return true; }
  std::optional<FileId> Identify(const std::string& /*path*/) override { return file_->Id(); }

 private:
  class Borrowed final : public File {
   public:
    explicit Borrowed(File& file) : file_(&file) {}
    std::uint64_t Size() override { return file_->Size(); }
    void Read(std::uint64_t at, std::span<std::uint8_t> into) override { file_->Read(at, into); }
    void Write(std::uint64_t /*at*/, ByteView /*bytes*/) override { Refuse(path()); }
    void Reserve(std::uint64_t /*size*/) override { Refuse(path()); }
    void Truncate(std::uint64_t /*size*/) override { Refuse(path()); }
    void Sync() override {}
    const std::string& path() const override { return file_->path(); }
    std::optional<FileId> Id() override { return file_->Id(); }

   private:
    File* file_;
  };
  [[noreturn]] static void Refuse(const std::string& path) {
    throw Error(ErrorCode::kReadOnly).In(path);
  }
  File* file_;
};

}  // namespace jet
