// The files outside the process. Everything the engine reads or writes passes
// through these two interfaces, so that a caller can put files elsewhere, and a test
// fail, tear or stop at any write.
//
// A database calls them from the thread that uses it. A file system must outlive the
// files and databases opened through it; one for several threads must allow for that.
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "jet/base/types.h"

namespace jet {

enum class OpenMode {
  kRead,       // shared with other readers; nothing is ever written
  kExclusive,  // nobody else may have the file open; read and write
};

// What a file is, whatever path leads to it: the volume, and its number there.
struct FileId {
  std::uint64_t volume = 0, number = 0;
  bool operator==(const FileId&) const = default;
};

// One open file. All sizes and offsets in bytes. Errors are jet::Error with
// the path in it: kIo, kDiskFull, kFileTooLarge. Closed with the object.
class File {
 public:
  virtual ~File() = default;
  virtual std::uint64_t Size() = 0;
  // Fills `into` whole; reading beyond the end is kIo. Several threads may read at once.
  virtual void Read(std::uint64_t at, std::span<std::uint8_t> into) = 0;
  virtual void Write(std::uint64_t at, ByteView bytes) = 0;
  // Makes sure that `size` bytes have room on the disk and that the file is at
  // least that long (new bytes are zero).
  virtual void Reserve(std::uint64_t size) = 0;
  virtual void Truncate(std::uint64_t size) = 0;
  // Returns when all earlier writes would survive a power cut.
  virtual void Sync() = 0;
  virtual const std::string& path() const = 0;
  // Nothing where the volume has no such numbers.
  virtual std::optional<FileId> Id() = 0;
};

// Paths are UTF-8, with the separators of this system, which may be doubled.
class FileSystem {
 public:
  virtual ~FileSystem() = default;
  // kFileNotFound, kNoPermission, kInUse. Locks are released with the object,
  // or by the system when the process dies.
  virtual std::unique_ptr<File> Open(const std::string& path, OpenMode mode) = 0;
  // A new file, open as kExclusive; one that exists is emptied.
  virtual std::unique_ptr<File> Create(const std::string& path) = 0;
  virtual void Rename(const std::string& from, const std::string& to) = 0;
  virtual void Remove(const std::string& path) = 0;
  virtual bool Exists(const std::string& path) = 0;
  // The file that the path leads to, also while somebody holds it; nothing if
  // there is none or its volume has no such numbers.
  virtual std::optional<FileId> Identify(const std::string& path) = 0;
  // The lock file of other programs beside the database of this path, if there is
  // one that nobody is seen to hold: left behind by a crash, or held on a machine
  // whose locks do not show here.
  virtual std::optional<std::string> IdleLockFile(const std::string& path) {
    static_cast<void>(path);
    return std::nullopt;
  }
};

// The files of this machine; any number of threads may use them.
std::unique_ptr<FileSystem> MakeSystemFiles();

// One spelling for one file: separators folded, made absolute. Does not follow
// links and needs no file there.
std::string NormalisePath(const std::string& path);

// The characters that part the names of a path on this system.
std::string_view PathSeparators();

}  // namespace jet
