#include "mdbadm/overlay_files.h"

#include <algorithm>
#include <unordered_map>

#include "jet/base/error.h"

namespace mdbadm {
namespace {

class OverlayFile : public jet::File {
 public:
  explicit OverlayFile(std::unique_ptr<jet::File> file)
      : file_(std::move(file)), below_(file_->Size()), size_(below_) {}

  std::uint64_t Size() override { return size_; }

  void Read(std::uint64_t at, std::span<std::uint8_t> into) override {
    if (at > size_ || into.size() > size_ - at) {
      throw jet::Error(jet::ErrorCode::kIo, "read beyond the end").In(path());
    }
    EachBlock(at, into.size(), [&](std::uint64_t block, std::size_t from, std::size_t count) {
      const Block bytes = Load(block);
      std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(from), count, into.begin());
      into = into.subspan(count);
    });
  }

  void Write(std::uint64_t at, jet::ByteView bytes) override {
    size_ = std::max(size_, at + bytes.size());
    EachBlock(at, bytes.size(), [&](std::uint64_t block, std::size_t from, std::size_t count) {
      Block changed = Load(block);
      std::copy_n(bytes.begin(), count, changed.begin() + static_cast<std::ptrdiff_t>(from));
      changed_[block] = std::move(changed);
      bytes = bytes.subspan(count);
    });
  }

  void Reserve(std::uint64_t size) override { size_ = std::max(size_, size); }

  void Truncate(std::uint64_t size) override {
    // What lies behind the new end must read as zero should the file grow again.
    if (size < size_ && size % kBlock != 0) {
      Write(size, jet::Bytes(static_cast<std::size_t>(kBlock - size % kBlock)));
    }
    std::erase_if(changed_, [&](const auto& entry) { return entry.first * kBlock >= size; });
    below_ = std::min(below_, size);
    size_ = size;
  }

  void Sync() override {}
  const std::string& path() const override { return file_->path(); }
  std::optional<jet::FileId> Id() override { return file_->Id(); }

 private:
  using Block = jet::Bytes;
  static constexpr std::uint64_t kBlock = jet::kPageSize;

  template <class Visit>
  static void EachBlock(std::uint64_t at, std::size_t count, Visit visit) {
    while (count != 0) {
      const auto from = static_cast<std::size_t>(at % kBlock);
      const std::size_t here = std::min(count, static_cast<std::size_t>(kBlock) - from);
      visit(at / kBlock, from, here);
      at += here;
      count -= here;
    }
  }

  // The block as it reads now; zero where the file below has none.
  Block Load(std::uint64_t block) {
    if (const auto found = changed_.find(block); found != changed_.end()) return found->second;
    Block bytes(kBlock);
    const std::uint64_t at = block * kBlock;
    if (at < below_) {
      file_->Read(at,
                  std::span(bytes).first(static_cast<std::size_t>(std::min(kBlock, below_ - at))));
    }
    return bytes;
  }

  std::unique_ptr<jet::File> file_;
  std::uint64_t below_;  // bytes of the file below that still show
  std::uint64_t size_;
  std::unordered_map<std::uint64_t, Block> changed_;
};

[[noreturn]] void Refuse(const std::string& path) {
  throw jet::Error(jet::ErrorCode::kReadOnly).In(path);
}

}  // namespace

std::unique_ptr<jet::File> OverlayFiles::Open(const std::string& path, jet::OpenMode) {
  return std::make_unique<OverlayFile>(files_.Open(path, jet::OpenMode::kRead));
}
std::unique_ptr<jet::File> OverlayFiles::Create(const std::string& path) { Refuse(path); }
void OverlayFiles::Rename(const std::string& from, const std::string&) { Refuse(from); }
void OverlayFiles::Remove(const std::string& path) { Refuse(path); }

}  // namespace mdbadm
