// Changes rows while the disk is full, and shows that the file is as it was. Then there
// is room again: full_disk FILE
#include <cstdio>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "jet/database/database.h"

namespace {

// A file that cannot grow while `full` is set.
class FileOnFullDisk : public jet::File {
 public:
  FileOnFullDisk(std::unique_ptr<jet::File> file, const bool& full)
      : file_(std::move(file)), full_(full) {}

  void Reserve(std::uint64_t size) override {
    RequireRoom(size);
    file_->Reserve(size);
  }
  void Write(std::uint64_t at, jet::ByteView bytes) override {
    RequireRoom(at + bytes.size());
    file_->Write(at, bytes);
  }

  std::uint64_t Size() override { return file_->Size(); }
  void Read(std::uint64_t at, std::span<std::uint8_t> into) override { file_->Read(at, into); }
  void Truncate(std::uint64_t size) override { file_->Truncate(size); }
  void Sync() override { file_->Sync(); }
  const std::string& path() const override { return file_->path(); }
  std::optional<jet::FileId> Id() override { return file_->Id(); }

 private:
  void RequireRoom(std::uint64_t size) {
    if (full_ && size > file_->Size()) throw jet::Error(jet::ErrorCode::kDiskFull).In(path());
  }

  std::unique_ptr<jet::File> file_;
  const bool& full_;
};

class FullDisk : public jet::FileSystem {
 public:
  explicit FullDisk(jet::FileSystem& files) : files_(files) {}
  void set_full(bool full) { full_ = full; }

  std::unique_ptr<jet::File> Open(const std::string& path, jet::OpenMode mode) override {
    return std::make_unique<FileOnFullDisk>(files_.Open(path, mode), full_);
  }
  std::unique_ptr<jet::File> Create(const std::string& path) override {
    return std::make_unique<FileOnFullDisk>(files_.Create(path), full_);
  }

  void Rename(const std::string& from, const std::string& to) override { files_.Rename(from, to); }
  void Remove(const std::string& path) override { files_.Remove(path); }
  bool Exists(const std::string& path) override { return files_.Exists(path); }
  std::optional<jet::FileId> Identify(const std::string& path) override {
    return files_.Identify(path);
  }

 private:
  jet::FileSystem& files_;
  bool full_ = false;
};

jet::Bytes ContentOf(jet::FileSystem& files, const std::string& path) {
  const std::unique_ptr<jet::File> file = files.Open(path, jet::OpenMode::kRead);
  jet::Bytes content(static_cast<std::size_t>(file->Size()));
  file->Read(0, content);
  return content;
}

// One operation after the other; all wait in memory.
void CountStock(jet::Table& parts) {
  const std::size_t stock = parts.OrdinalOf("Stock");
  for (std::optional<jet::RowId> id = parts.First(); id; id = parts.Next(*id)) {
    const jet::FieldChange change{stock, std::int16_t{7}};
    parts.Update(*id, {&change, 1});
  }
}

bool TryToCommit(jet::Database& database) {
  try {
    database.Commit();
    return true;
  } catch (const jet::Error& error) {
    if (error.code() != jet::ErrorCode::kDiskFull) throw;
    std::printf("not written: %s\n", std::string(jet::ErrorText(error.code())).c_str());
    return false;
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "full_disk FILE\n");
    return 2;
  }
  try {
    const std::unique_ptr<jet::FileSystem> files = jet::MakeSystemFiles();
    FullDisk disk(*files);
    const jet::Bytes before = ContentOf(*files, argv[1]);
    std::unique_ptr<jet::Database> database =
        jet::Database::Open(disk, argv[1], {.mode = jet::OpenMode::kExclusive});

    disk.set_full(true);
    CountStock(*database->OpenTable("Parts"));
    if (TryToCommit(*database)) return 1;
    database.reset();  // drops the changes, as Discard() does
    const bool same = ContentOf(*files, argv[1]) == before;
    std::printf("%s\n", same ? "the file is as it was" : "the file is another");
    if (!same) return 1;

    database = jet::Database::Open(disk, argv[1], {.mode = jet::OpenMode::kExclusive});
    CountStock(*database->OpenTable("Parts"));
    if (TryToCommit(*database)) return 1;
    disk.set_full(false);  // what was changed is still there
    if (!TryToCommit(*database)) return 1;
    std::printf("written\n");
    return 0;
  } catch (const jet::Error& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}
