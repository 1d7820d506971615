#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <utility>
#include <vector>

#include "jet/base/ascii.h"
#include "jet/base/error.h"
#include "jet/storage/file.h"

namespace jet {
namespace {

[[noreturn]] void ThrowErrno(int number, const std::string& path, const char* what) {
  ErrorCode code = ErrorCode::kIo;
  if (number == ENOENT || number == ENOTDIR) code = ErrorCode::kFileNotFound;
  if (number == EACCES || number == EPERM || number == EROFS) code = ErrorCode::kNoPermission;
  if (number == ENOSPC || number == EDQUOT) code = ErrorCode::kDiskFull;
  if (number == EFBIG) code = ErrorCode::kFileTooLarge;
  throw Error(code, std::string(what) + ": " + std::strerror(number)).In(path);
}

class Descriptor {
 public:
  explicit Descriptor(int fd) : fd_(fd) {}
  ~Descriptor() {
    if (fd_ >= 0) ::close(fd_);
  }
  Descriptor(Descriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
  Descriptor& operator=(Descriptor&&) = delete;
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;
  int get() const { return fd_; }

 private:
  int fd_;
};

std::optional<FileId> IdOf(const struct stat& status) {
  return FileId{static_cast<std::uint64_t>(status.st_dev),
                static_cast<std::uint64_t>(status.st_ino)};
}

class PosixFile : public File {
 public:
  PosixFile(Descriptor fd, std::string path) : fd_(std::move(fd)), path_(std::move(path)) {}

  std::uint64_t Size() override {
    struct stat status {};
    if (::fstat(fd_.get(), &status) != 0) ThrowErrno(errno, path_, "size");
    return static_cast<std::uint64_t>(status.st_size);
  }

  void Read(std::uint64_t at, std::span<std::uint8_t> into) override {
    while (!into.empty()) {
      const ssize_t got = ::pread(fd_.get(), into.data(), into.size(), static_cast<off_t>(at));
      if (got < 0 && errno == EINTR) continue;
      if (got < 0) ThrowErrno(errno, path_, "read");
      if (got == 0) throw Error(ErrorCode::kIo, "read beyond the end").In(path_);
      at += static_cast<std::uint64_t>(got);
      into = into.subspan(static_cast<std::size_t>(got));
    }
  }

  void Write(std::uint64_t at, ByteView bytes) override {
    while (!bytes.empty()) {
      const ssize_t put = ::pwrite(fd_.get(), bytes.data(), bytes.size(), static_cast<off_t>(at));
      if (put < 0 && errno == EINTR) continue;
      if (put < 0) ThrowErrno(errno, path_, "write");
      at += static_cast<std::uint64_t>(put);
      bytes = bytes.subspan(static_cast<std::size_t>(put));
    }
  }

  void Reserve(std::uint64_t size) override {
    const std::uint64_t now = Size();
    if (size <= now) return;
    int failure = 0;
    do {
      failure =
          ::posix_fallocate(fd_.get(), static_cast<off_t>(now), static_cast<off_t>(size - now));
    } while (failure == EINTR);
    if (failure != 0) {
      // What was allocated before the disk ran full goes back.
      if (::ftruncate(fd_.get(), static_cast<off_t>(now)) != 0) failure = errno;
      ThrowErrno(failure, path_, "reserve");
    }
  }

  void Truncate(std::uint64_t size) override {
    if (::ftruncate(fd_.get(), static_cast<off_t>(size)) != 0) ThrowErrno(errno, path_, "truncate");
  }

  void Sync() override {
    while (::fsync(fd_.get()) != 0) {
      if (errno != EINTR) ThrowErrno(errno, path_, "sync");
    }
  }

  const std::string& path() const override { return path_; }

  std::optional<FileId> Id() override {
    struct stat status {};
    if (::fstat(fd_.get(), &status) != 0) return std::nullopt;
    return IdOf(status);
  }

 private:
  Descriptor fd_;
  std::string path_;
};

// Locks die with the descriptor. flock keeps out other copies of this program,
// the range lock also programs that lock byte ranges.
void Lock(int fd, OpenMode mode, const std::string& path) {
  const bool exclusive = mode == OpenMode::kExclusive;
  while (::flock(fd, (exclusive ? LOCK_EX : LOCK_SH) | LOCK_NB) != 0) {
    if (errno == EINTR) continue;
    if (errno == EWOULDBLOCK) throw Error(ErrorCode::kInUse).In(path);
    break;  // a file system without such locks
  }
  struct flock range {};
  range.l_type = exclusive ? F_WRLCK : F_RDLCK;
  range.l_whence = SEEK_SET;
  if (::fcntl(fd, F_OFD_SETLK, &range) != 0 && (errno == EAGAIN || errno == EACCES)) {
    throw Error(ErrorCode::kInUse).In(path);
  }
}

// Whether a lock of either kind is held on the file. A file that cannot even be opened
// to read counts as held. Readers probe with a shared lock, so that two probes do not
// mistake each other for a holder.
bool IsHeld(const std::string& path, OpenMode mode) {
  const Descriptor fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  if (fd.get() < 0) return errno != ENOENT;
  struct flock range {};
  range.l_type = F_WRLCK;
  range.l_whence = SEEK_SET;
  if (::fcntl(fd.get(), F_OFD_GETLK, &range) == 0 && range.l_type != F_UNLCK) return true;
  const int kind = mode == OpenMode::kExclusive ? LOCK_EX : LOCK_SH;
  return ::flock(fd.get(), kind | LOCK_NB) != 0 && errno == EWOULDBLOCK;
}

// Other programs lock through a file of the same name with the ending ".ldb",
// in any letter case.
std::vector<std::string> LockFilesOf(const std::string& path) {
  namespace fs = std::filesystem;
  const fs::path file(path);
  const std::string wanted = AsciiLower(file.stem().string() + ".ldb");
  std::vector<std::string> found;
  std::error_code failure;
  fs::directory_iterator entry(file.parent_path(), failure);
  if (failure) {  // a folder that may be entered but not listed
    for (const char* ending : {".ldb", ".LDB"}) {
      const std::string other = fs::path(file).replace_extension(ending).string();
      if (::access(other.c_str(), F_OK) == 0) found.push_back(other);
    }
    return found;
  }
  for (; !failure && entry != fs::directory_iterator(); entry.increment(failure)) {
    if (AsciiLower(entry->path().filename().string()) == wanted) {
      found.push_back(entry->path().string());
    }
  }
  return found;
}

void RequireNoLockFileHeld(const std::string& path, OpenMode mode) {
  for (const std::string& other : LockFilesOf(path)) {
    if (IsHeld(other, mode)) {
      throw Error(ErrorCode::kInUse, "another program holds " + other).In(path);
    }
  }
}

class PosixFileSystem : public FileSystem {
 public:
  std::unique_ptr<File> Open(const std::string& path, OpenMode mode) override {
    const std::string real = NormalisePath(path);
    const bool exclusive = mode == OpenMode::kExclusive;
    Descriptor fd(::open(real.c_str(), (exclusive ? O_RDWR : O_RDONLY) | O_CLOEXEC));
    if (fd.get() < 0) ThrowErrno(errno, real, "open");
    struct stat status {};
    if (::fstat(fd.get(), &status) != 0) ThrowErrno(errno, real, "open");
    if (!S_ISREG(status.st_mode)) {
      throw Error(ErrorCode::kNotJet4, "not a regular file").In(real);
    }
    Lock(fd.get(), mode, real);
    RequireNoLockFileHeld(real, mode);
    return std::make_unique<PosixFile>(std::move(fd), real);
  }

  std::unique_ptr<File> Create(const std::string& path) override {
    const std::string real = NormalisePath(path);
    Descriptor fd(::open(real.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0666));
    if (fd.get() < 0) ThrowErrno(errno, real, "create");
    Lock(fd.get(), OpenMode::kExclusive, real);
    if (::ftruncate(fd.get(), 0) != 0) ThrowErrno(errno, real, "create");
    return std::make_unique<PosixFile>(std::move(fd), real);
  }

  void Rename(const std::string& from, const std::string& to) override {
    const std::string real_from = NormalisePath(from), real_to = NormalisePath(to);
    if (::rename(real_from.c_str(), real_to.c_str()) != 0) ThrowErrno(errno, real_to, "rename");
    // The new name survives a power cut once the folder is on the disk. Folders of
    // some file systems cannot be synced; the file itself is whole either way.
    const std::filesystem::path folder = std::filesystem::path(real_to).parent_path();
    const Descriptor fd(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (fd.get() >= 0) ::fsync(fd.get());
  }

  void Remove(const std::string& path) override {
    const std::string real = NormalisePath(path);
    if (::unlink(real.c_str()) != 0) ThrowErrno(errno, real, "remove");
  }

  bool Exists(const std::string& path) override {
    return ::access(NormalisePath(path).c_str(), F_OK) == 0;
  }

  std::optional<FileId> Identify(const std::string& path) override {
    struct stat status {};
    if (::stat(NormalisePath(path).c_str(), &status) != 0) return std::nullopt;
    return IdOf(status);
  }

  std::optional<std::string> IdleLockFile(const std::string& path) override {
    for (const std::string& other : LockFilesOf(NormalisePath(path))) {
      if (!IsHeld(other, OpenMode::kRead)) return other;
    }
    return std::nullopt;
  }
};

}  // namespace

std::unique_ptr<FileSystem> MakeSystemFiles() { return std::make_unique<PosixFileSystem>(); }

std::string NormalisePath(const std::string& path) {
  std::error_code failure;
  const std::filesystem::path absolute = std::filesystem::absolute(path, failure);
  return (failure ? std::filesystem::path(path) : absolute).lexically_normal().string();
}

std::string_view PathSeparators() { return "/"; }

}  // namespace jet
