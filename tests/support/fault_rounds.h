// An action under every fault: whatever happens, the file holds the state before
// it or the state after it.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>

#include "tests/support/fault_file.h"

namespace test_support {

// How thoroughly: every k-th operation, from the variable FAULT_STRIDE; else
// `otherwise`.
std::uint64_t FaultStride(std::uint64_t otherwise);

class FaultRounds {
 public:
  struct Plan {
    std::string name;    // for messages
    std::string before;  // bytes of the file
    std::string password;
    // Opens the file kPath, changes it and commits. Lets errors through.
    std::function<void(jet::FileSystem&)> action;
    std::uint64_t stride = 1;            // of the pages written, every k-th
    std::uint64_t recovery_stride = 50;  // rounds whose recovery is interrupted in turn
  };
  static constexpr char kPath[] = "/faults/Data.mdb";

  explicit FaultRounds(Plan plan);

  // All of the following, and a line of counts on standard output.
  void RunAll();
  // The process is killed after each operation, and in each write after each of
  // its sectors.
  void Kills();
  // The power goes at each operation; what was not synced arrives in part.
  void PowerCuts(int seeds);
  // Each operation is refused, in a real run; the action must not claim success
  // unless the file has it.
  void Refusals(Fault::Kind kind);

  const std::string& after() const { return after_; }
  const OperationLog& log() const { return log_; }
  std::uint64_t rounds() const { return rounds_; }

  enum class State { kBefore, kAfter, kNeither };
  // Judges a file left behind: reading it, then recovering it by opening.
  State Judge(const std::string& image, const std::string& what);

 private:
  // Of operation n: all that are not one of many pages, and every k-th of those.
  bool IsTaken(std::size_t n) const;
  State Recover(std::string image, const std::string& what, OperationLog* log);
  State StateOf(FaultFiles& files, jet::OpenMode mode, const std::string& what);
  void CutPowerAfterKill(std::size_t done);
  void ExpectWholeForOthers(const std::string& image, const std::string& what);
  void InterruptRecovery(const std::string& image, const OperationLog& log,
                         const std::string& what);

  Plan plan_;
  std::string after_, content_before_, content_after_;
  OperationLog log_;
  std::map<std::uint64_t, State> known_;  // by the hash of all pages as they are read
  std::map<std::string, std::uint64_t> counts_;
  std::uint64_t rounds_ = 0, before_rounds_ = 0, after_rounds_ = 0;
};

}  // namespace test_support
