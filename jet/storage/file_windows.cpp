#include <windows.h>

#include <algorithm>
#include <utility>

#include "jet/base/error.h"
#include "jet/base/wide_text.h"
#include "jet/storage/file.h"

namespace jet {
namespace {

ErrorCode CodeOf(DWORD number) {
  switch (number) {
    case ERROR_FILE_NOT_FOUND:
    case ERROR_PATH_NOT_FOUND:
    case ERROR_INVALID_DRIVE:
    case ERROR_INVALID_NAME:
    case ERROR_BAD_PATHNAME:
    case ERROR_BAD_NETPATH:
    case ERROR_BAD_NET_NAME:
    case ERROR_DIRECTORY:
    case ERROR_FILENAME_EXCED_RANGE:
      return ErrorCode::kFileNotFound;
    case ERROR_ACCESS_DENIED:
    case ERROR_NETWORK_ACCESS_DENIED:
    case ERROR_WRITE_PROTECT:
    case ERROR_PRIVILEGE_NOT_HELD:
      return ErrorCode::kNoPermission;
    case ERROR_SHARING_VIOLATION:
    case ERROR_LOCK_VIOLATION:
    case ERROR_USER_MAPPED_FILE:
      return ErrorCode::kInUse;
    case ERROR_DISK_FULL:
    case ERROR_HANDLE_DISK_FULL:
    case ERROR_NOT_ENOUGH_QUOTA:
      return ErrorCode::kDiskFull;
    case ERROR_FILE_TOO_LARGE:
      return ErrorCode::kFileTooLarge;
    default:
      return ErrorCode::kIo;
  }
}

// What the system says of an error, without the line end that it adds.
std::string SystemText(DWORD number) {
  wchar_t buffer[512];
  const DWORD length =
      ::FormatMessageW(FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS, nullptr, number,
                       0, buffer, static_cast<DWORD>(std::size(buffer)), nullptr);
  std::string text = FromWide({buffer, length});
  while (!text.empty() && (text.back() == '\n' || text.back() == '\r' || text.back() == ' ')) {
    text.pop_back();
  }
  return text.empty() ? "error " + std::to_string(number) : text;
}

[[noreturn]] void Throw(DWORD number, const std::string& path, const char* what) {
  throw Error(CodeOf(number), std::string(what) + ": " + SystemText(number)).In(path);
}

// The form of an absolute path that may be longer than the 260 characters of
// the older interfaces, and in which nothing is interpreted any more.
std::wstring SystemPath(const std::string& normalised) {
  constexpr std::string_view kVerbatim = "\\\\?\\", kNetwork = "\\\\", kDevice = "\\\\.\\";
  if (normalised.starts_with(kVerbatim) || normalised.starts_with(kDevice)) {
    return ToWide(normalised);
  }
  if (normalised.starts_with(kNetwork)) return L"\\\\?\\UNC" + ToWide(normalised.substr(1));
  const bool has_drive = normalised.size() > 1 && normalised[1] == ':';
  return (has_drive ? L"\\\\?\\" : L"") + ToWide(normalised);
}

class Handle {
 public:
  explicit Handle(HANDLE handle) : handle_(handle) {}
  ~Handle() {
    if (valid()) ::CloseHandle(handle_);
  }
  Handle(Handle&& other) noexcept : handle_(std::exchange(other.handle_, INVALID_HANDLE_VALUE)) {}
  Handle& operator=(Handle&&) = delete;
  Handle(const Handle&) = delete;
  Handle& operator=(const Handle&) = delete;
  bool valid() const { return handle_ != INVALID_HANDLE_VALUE; }
  HANDLE get() const { return handle_; }

 private:
  HANDLE handle_;
};

// Where a read or write of a file takes place.
OVERLAPPED At(std::uint64_t offset) {
  OVERLAPPED place{};
  place.Offset = static_cast<DWORD>(offset);
  place.OffsetHigh = static_cast<DWORD>(offset >> 32);
  return place;
}

DWORD PartOf(std::size_t size) {
  constexpr std::size_t kLargest = std::size_t{1} << 30;
  return static_cast<DWORD>(std::min(size, kLargest));
}

std::optional<FileId> IdOf(HANDLE handle) {
  BY_HANDLE_FILE_INFORMATION file{};
  if (::GetFileInformationByHandle(handle, &file) == 0) return std::nullopt;
  const std::uint64_t number = (std::uint64_t{file.nFileIndexHigh} << 32) | file.nFileIndexLow;
  if (number == 0) return std::nullopt;
  return FileId{file.dwVolumeSerialNumber, number};
}

class WindowsFile : public File {
 public:
  WindowsFile(Handle handle, std::string path)
      : handle_(std::move(handle)), path_(std::move(path)) {}

  std::uint64_t Size() override {
    LARGE_INTEGER size{};
    if (::GetFileSizeEx(handle_.get(), &size) == 0) Throw(::GetLastError(), path_, "size");
    return static_cast<std::uint64_t>(size.QuadPart);
  }

  void Read(std::uint64_t at, std::span<std::uint8_t> into) override {
    while (!into.empty()) {
      OVERLAPPED place = At(at);
      DWORD got = 0;
      if (::ReadFile(handle_.get(), into.data(), PartOf(into.size()), &got, &place) == 0 &&
          ::GetLastError() != ERROR_HANDLE_EOF) {
        ThrowUnlessIo(::GetLastError(), "read");
      }
      if (got == 0) throw Error(ErrorCode::kIo, "read beyond the end").In(path_);
      at += got;
      into = into.subspan(got);
    }
  }

  void Write(std::uint64_t at, ByteView bytes) override {
    while (!bytes.empty()) {
      OVERLAPPED place = At(at);
      DWORD put = 0;
      if (::WriteFile(handle_.get(), bytes.data(), PartOf(bytes.size()), &put, &place) == 0) {
        ThrowUnlessIo(::GetLastError(), "write");
      }
      at += put;
      bytes = bytes.subspan(put);
    }
  }

  // Setting the end allocates what lies before it, on every local file system.
  void Reserve(std::uint64_t size) override {
    const std::uint64_t now = Size();
    if (size <= now) return;
    const DWORD failure = SetEnd(size);
    if (failure == ERROR_SUCCESS) return;
    SetEnd(now);
    ThrowUnlessIo(failure, "reserve");
  }

  void Truncate(std::uint64_t size) override {
    if (const DWORD failure = SetEnd(size); failure != ERROR_SUCCESS) {
      ThrowUnlessIo(failure, "truncate");
    }
  }

  void Sync() override {
    if (::FlushFileBuffers(handle_.get()) == 0) ThrowUnlessIo(::GetLastError(), "sync");
  }

  const std::string& path() const override { return path_; }
  std::optional<FileId> Id() override { return IdOf(handle_.get()); }

 private:
  // For an open file only "disk full" and "too large" keep their codes; all else is kIo.
  [[noreturn]] void ThrowUnlessIo(DWORD number, const char* what) const {
    const ErrorCode code = CodeOf(number);
    if (code == ErrorCode::kDiskFull || code == ErrorCode::kFileTooLarge) {
      Throw(number, path_, what);
    }
    throw Error(ErrorCode::kIo, std::string(what) + ": " + SystemText(number)).In(path_);
  }

  DWORD SetEnd(std::uint64_t size) {
    FILE_END_OF_FILE_INFO end{};
    end.EndOfFile.QuadPart = static_cast<LONGLONG>(size);
    const bool done =
        ::SetFileInformationByHandle(handle_.get(), FileEndOfFileInfo, &end, sizeof end) != 0;
    return done ? DWORD{ERROR_SUCCESS} : ::GetLastError();
  }

  Handle handle_;
  std::string path_;
};

Handle OpenHandle(const std::string& normalised, DWORD access, DWORD share, DWORD creation) {
  return Handle(::CreateFileW(SystemPath(normalised).c_str(), access, share, nullptr, creation,
                              FILE_ATTRIBUTE_NORMAL, nullptr));
}

DWORD AttributesOf(const std::string& normalised) {
  return ::GetFileAttributesW(SystemPath(normalised).c_str());
}

// Other programs lock through a file of the same name with the ending ".ldb",
// which they keep open.
std::string LockFileOf(const std::string& path) {
  const std::size_t name = path.find_last_of('\\') + 1;
  const std::size_t ending = path.find_last_of('.');
  const bool has_ending = ending != std::string::npos && ending > name;
  return path.substr(0, has_ending ? ending : path.size()) + ".ldb";
}

enum class LockFile { kNone, kIdle, kHeld };

// What cannot be opened for another reason than that it is not there counts as
// held, to be safe. Two readers that probe do not mistake each other for a holder.
LockFile StateOf(const std::string& lock_file, OpenMode mode) {
  const DWORD share = mode == OpenMode::kRead ? FILE_SHARE_READ : 0;
  if (OpenHandle(lock_file, GENERIC_READ, share, OPEN_EXISTING).valid()) return LockFile::kIdle;
  const bool none = CodeOf(::GetLastError()) == ErrorCode::kFileNotFound;
  return none ? LockFile::kNone : LockFile::kHeld;
}

class WindowsFileSystem : public FileSystem {
 public:
  // The share mode is the lock: exclusively, no other program gets in; to read,
  // none that writes.
  std::unique_ptr<File> Open(const std::string& path, OpenMode mode) override {
    const std::string real = NormalisePath(path);
    const DWORD attributes = AttributesOf(real);
    if (attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) {
      throw Error(ErrorCode::kNotJet4, "not a regular file").In(real);
    }
    Handle handle = mode == OpenMode::kExclusive
                        ? OpenHandle(real, GENERIC_READ | GENERIC_WRITE, 0, OPEN_EXISTING)
                        : OpenHandle(real, GENERIC_READ, FILE_SHARE_READ, OPEN_EXISTING);
    if (!handle.valid()) Throw(::GetLastError(), real, "open");
    if (::GetFileType(handle.get()) != FILE_TYPE_DISK) {
      throw Error(ErrorCode::kNotJet4, "not a regular file").In(real);
    }
    const std::string lock_file = LockFileOf(real);
    if (StateOf(lock_file, mode) == LockFile::kHeld) {
      throw Error(ErrorCode::kInUse, "another program holds " + lock_file).In(real);
    }
    return std::make_unique<WindowsFile>(std::move(handle), real);
  }

  std::unique_ptr<File> Create(const std::string& path) override {
    const std::string real = NormalisePath(path);
    Handle handle = OpenHandle(real, GENERIC_READ | GENERIC_WRITE, 0, OPEN_ALWAYS);
    if (!handle.valid()) Throw(::GetLastError(), real, "create");
    auto file = std::make_unique<WindowsFile>(std::move(handle), real);
    file->Truncate(0);
    return file;
  }

  // The new name survives a power cut once this returns.
  void Rename(const std::string& from, const std::string& to) override {
    const std::string real_to = NormalisePath(to);
    if (::MoveFileExW(SystemPath(NormalisePath(from)).c_str(), SystemPath(real_to).c_str(),
                      MOVEFILE_REPLACE_EXISTING | MOVEFILE_WRITE_THROUGH) == 0) {
      Throw(::GetLastError(), real_to, "rename");
    }
  }

  void Remove(const std::string& path) override {
    const std::string real = NormalisePath(path);
    if (::DeleteFileW(SystemPath(real).c_str()) == 0) Throw(::GetLastError(), real, "remove");
  }

  bool Exists(const std::string& path) override {
    return AttributesOf(NormalisePath(path)) != INVALID_FILE_ATTRIBUTES;
  }

  std::optional<FileId> Identify(const std::string& path) override {
    // Without access to the contents no share mode stands in the way.
    const Handle handle =
        OpenHandle(NormalisePath(path), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                   OPEN_EXISTING);
    return handle.valid() ? IdOf(handle.get()) : std::nullopt;
  }

  std::optional<std::string> IdleLockFile(const std::string& path) override {
    std::string lock_file = LockFileOf(NormalisePath(path));
    if (StateOf(lock_file, OpenMode::kRead) != LockFile::kIdle) return std::nullopt;
    return lock_file;
  }
};

}  // namespace

std::unique_ptr<FileSystem> MakeSystemFiles() { return std::make_unique<WindowsFileSystem>(); }

// As the system itself reads a path: relative to folder or drive, with either
// separator, doubled ones and dots folded. Letter case stays as it is.
std::string NormalisePath(const std::string& path) {
  const std::wstring wide = ToWide(path);
  std::wstring full(wide.size() + MAX_PATH, L'\0');
  DWORD length = 0;
  while ((length = ::GetFullPathNameW(wide.c_str(), static_cast<DWORD>(full.size()), full.data(),
                                      nullptr)) > full.size()) {
    full.resize(length);
  }
  if (length == 0) return path;
  full.resize(length);
  if (!full.starts_with(L"\\\\?\\")) {
    // Not every version of the system folds those of a server's path.
    const auto both = [](wchar_t a, wchar_t b) { return a == L'\\' && b == L'\\'; };
    full.erase(std::unique(full.begin() + 1, full.end(), both), full.end());
  }
  return FromWide(full);
}

std::string_view PathSeparators() { return "/\\"; }

}  // namespace jet
