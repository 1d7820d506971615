// Files in memory that fail as real ones do: an operation refused, a process
// killed in the middle of a write, a power cut that loses what was not synced.
//
// Every write, sync, truncate and reserve counts as one operation, from 1 on, and
// is kept in a log. What the process can react to (errors) is injected by SetFault
// into a real run; where nothing runs any more (a kill, a power cut) the bytes
// left behind are computed from the log of a run that went well.
#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "jet/storage/file.h"

namespace test_support {

struct Fault {
  enum class Kind {
    kNone,
    kFail,         // operation `at` is refused, and the next ones up to `times`
    kFailForEver,  // and so is everything after it, reads too
    kFull,         // operation `at` and all that need room find the disk full
    kStop,         // like kFailForEver, by an exception that nothing handles
  };
  Kind kind = Kind::kNone;
  std::uint64_t at = 0;
  // Of a write that is refused: how many 512-byte sectors of it arrive.
  std::uint32_t sectors = 0;
  std::uint64_t times = 1;
};

// The process is no more: not an error that the engine knows.
struct Stopped {};

struct FileOperation {
  enum class Kind { kWrite, kSync, kTruncate, kReserve };
  Kind kind = Kind::kSync;
  std::uint64_t at = 0;  // or the size
  std::string bytes;
};
using OperationLog = std::vector<FileOperation>;

// What `before` has become when the process is killed after `done` operations
// of the log, with the first `sectors` of the next one written.
std::string AfterKill(std::string before, const OperationLog& log, std::size_t done,
                      std::size_t sectors = 0);
// The same where of the next operation, a write, only `count` sectors from the one
// numbered `first` on arrive.
std::string AfterTear(std::string before, const OperationLog& log, std::size_t done,
                      std::size_t first, std::size_t count);
// The same for the power of the machine: of what was not synced, each sector and
// each change of size may have arrived or not, as `seed` decides.
std::string AfterPowerCut(std::string before, const OperationLog& log, std::size_t done,
                          std::uint64_t seed);

class FaultFiles : public jet::FileSystem {
 public:
  FaultFiles();
  ~FaultFiles() override;
  std::unique_ptr<jet::File> Open(const std::string& path, jet::OpenMode mode) override;
  std::unique_ptr<jet::File> Create(const std::string& path) override;
  void Rename(const std::string& from, const std::string& to) override;
  void Remove(const std::string& path) override;
  bool Exists(const std::string& path) override;
  std::optional<jet::FileId> Identify(const std::string& path) override;

  // The bytes of a file; may be set while it is not open.
  std::string& bytes(const std::string& path);

  // Counts from 0 again and forgets the log.
  void SetFault(const Fault& fault);
  void ClearFault() { SetFault({}); }
  std::uint64_t operations() const;
  // Of the file that is written to; empty after a fault.
  const OperationLog& log() const;

 private:
  class MemoryFile;
  struct State;
  std::shared_ptr<State> state_;
};

}  // namespace test_support
