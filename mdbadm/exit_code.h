// The statuses that the program ends with. The numbers are a promise to
// scripts: none changes its meaning, new ones go to the end.
#pragma once

namespace mdbadm {

enum class ExitCode {
  kDone = 0,
  kFailed = 1,
  kUsage = 2,
  kSomeFailed = 3,
  kInUse = 4,
  kSavedWithLosses = 5,
};

struct ExitCodeMeaning {
  ExitCode code;
  const char* meaning;
};

inline constexpr ExitCodeMeaning kExitCodeMeanings[] = {
    {ExitCode::kDone, "done"},
    {ExitCode::kFailed, "failed; also: check found a problem, diff a difference"},
    {ExitCode::kUsage, "wrong usage; nothing was done"},
    {ExitCode::kSomeFailed, "of several files some were done and some were not"},
    {ExitCode::kInUse, "the file is in use by another program; try again later"},
    {ExitCode::kSavedWithLosses, "recover saved what there was, but not everything"},
};

// The code for work on several files, from that of each.
class ExitCodeOfMany {
 public:
  void Add(ExitCode code) {
    any_done_ |= code == ExitCode::kDone;
    if (code == ExitCode::kDone) return;
    all_failures_ =
        all_failures_ == ExitCode::kDone || all_failures_ == code ? code : ExitCode::kFailed;
  }
  ExitCode code() const {
    return any_done_ && all_failures_ != ExitCode::kDone ? ExitCode::kSomeFailed : all_failures_;
  }

 private:
  bool any_done_ = false;
  ExitCode all_failures_ = ExitCode::kDone;
};

}  // namespace mdbadm
