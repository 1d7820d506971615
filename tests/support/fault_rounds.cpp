#include "tests/support/fault_rounds.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <exception>
#include <string_view>
#include <utility>

#include "jet/check/check.h"
#include "jet/database/internals.h"
#include "tests/support/content.h"
#include "tests/support/temp_db.h"

namespace test_support {
namespace {

constexpr std::size_t kSectorBytes = 512;

std::unique_ptr<jet::Database> Open(jet::FileSystem& files, const std::string& password,
                                    jet::OpenMode mode) {
  jet::OpenOptions options;
  options.mode = mode;
  options.password = password;
  return jet::Database::Open(files, FaultRounds::kPath, options);
}

// Of all pages in use.
std::uint64_t PagesHash(jet::Database& database) {
  const std::uint32_t end = jet::Internals(database).allocator().HighestTaken().value + 1;
  std::uint64_t hash = end;
  for (std::uint32_t i = 0; i < end; ++i) {
    const jet::PageRef page = jet::Internals(database).pager().Read({i});
    const std::string_view bytes(reinterpret_cast<const char*>(page.bytes().data()),
                                 jet::kPageSize);
    hash = hash * 0x9E3779B97F4A7C15u + std::hash<std::string_view>()(bytes);
  }
  return hash;
}

}  // namespace

std::uint64_t FaultStride(std::uint64_t otherwise) {
  const char* text = std::getenv("FAULT_STRIDE");
  const std::uint64_t stride = text == nullptr ? 0 : std::strtoull(text, nullptr, 10);
  return stride != 0 ? stride : otherwise;
}

FaultRounds::FaultRounds(Plan plan) : plan_(std::move(plan)) {
  FaultFiles files;
  files.bytes(kPath) = plan_.before;
  content_before_ = ContentOf(*Open(files, plan_.password, jet::OpenMode::kRead));
  files.ClearFault();
  plan_.action(files);
  log_ = files.log();
  after_ = files.bytes(kPath);
  content_after_ = ContentOf(*Open(files, plan_.password, jet::OpenMode::kRead));
  if (content_before_ == content_after_) throw std::logic_error("the action changes nothing");
}

void FaultRounds::RunAll() {
  Kills();
  PowerCuts(4);
  for (const auto kind :
       {Fault::Kind::kFail, Fault::Kind::kFailForEver, Fault::Kind::kFull, Fault::Kind::kStop}) {
    Refusals(kind);
  }
  EXPECT_TRUE(log_.back().kind == FileOperation::Kind::kSync) << "what is done is on the disk";
  EXPECT_GT(before_rounds_, 0u) << plan_.name;
  EXPECT_GT(after_rounds_, 0u) << plan_.name;
  std::string text;
  for (const auto& [what, count] : counts_) text += fmt::format(", {} {}", count, what);
  fmt::print("{}: {} operations, {} rounds{}; {} ended before, {} after\n", plan_.name, log_.size(),
             rounds_, text, before_rounds_, after_rounds_);
}

bool FaultRounds::IsTaken(std::size_t n) const {
  const bool of_pages = n < log_.size() && log_[n].kind == FileOperation::Kind::kWrite &&
                        log_[n].bytes.size() >= jet::kPageSize;
  return !of_pages || n % plan_.stride == 0;
}

void FaultRounds::Kills() {
  for (std::size_t n = 0; n <= log_.size(); ++n) {
    if (!IsTaken(n)) continue;
    Judge(AfterKill(plan_.before, log_, n), fmt::format("killed after {}", n));
    ++counts_["kills"];
    if (n == log_.size() || log_[n].kind != FileOperation::Kind::kWrite) continue;
    // The sectors before the tear arrive, or those behind it.
    const std::size_t sectors = (log_[n].bytes.size() + kSectorBytes - 1) / kSectorBytes;
    for (std::size_t k = 1; k < sectors; ++k) {
      Judge(AfterTear(plan_.before, log_, n, 0, k), fmt::format("torn after {} + {}", n, k));
      Judge(AfterTear(plan_.before, log_, n, k, sectors - k),
            fmt::format("torn after {}, without the first {}", n, k));
      counts_["tears"] += 2;
    }
  }
}

void FaultRounds::PowerCuts(int seeds) {
  // Right before a sync the most is at stake.
  const int seeds_before_sync = plan_.stride == 1 ? 40 : 12;
  for (std::uint64_t n = 1; n <= log_.size(); ++n) {
    const bool sync = n < log_.size() && log_[n].kind == FileOperation::Kind::kSync;
    if (!sync && n % plan_.stride != 0) continue;
    for (int seed = 1; seed <= (sync ? seeds_before_sync : seeds); ++seed) {
      const auto s = static_cast<std::uint64_t>(seed);
      Judge(AfterPowerCut(plan_.before, log_, n, s), fmt::format("power cut {} seed {}", n, seed));
      ++counts_["power cuts"];
    }
    if (sync) CutPowerAfterKill(n);
  }
}

// The process is killed before it synced, the next one begins to recover what it
// can read, and then the power goes.
void FaultRounds::CutPowerAfterKill(std::size_t done) {
  const std::string what = fmt::format("killed after {}, then recovery, power cut", done);
  OperationLog recovery;
  Recover(AfterKill(plan_.before, log_, done), what, &recovery);
  OperationLog both(log_.begin(), log_.begin() + static_cast<std::ptrdiff_t>(done));
  both.insert(both.end(), recovery.begin(), recovery.end());
  for (std::size_t n = done; n < both.size(); ++n) {
    if (both[n].kind != FileOperation::Kind::kSync) continue;
    const std::uint64_t seeds = plan_.stride == 1 ? 20 : 4;
    for (std::uint64_t seed = 1; seed <= seeds; ++seed) {
      Judge(AfterPowerCut(plan_.before, both, n, seed),
            fmt::format("{} {} seed {}", what, n, seed));
      ++counts_["power cuts after a kill"];
    }
  }
}

// Other programs know nothing of a tail, only of the mark.
void FaultRounds::ExpectWholeForOthers(const std::string& image, const std::string& what) {
  constexpr std::size_t kSlots = 0xE00, kSlotsEnd = 0x1000;
  if (image[kSlots] == 0 && image[kSlots + 1] == 0) return;
  const auto starts_with = [&](const std::string& bytes) {
    return image.size() >= bytes.size() && image.compare(0, kSlots, bytes, 0, kSlots) == 0 &&
           image.compare(kSlotsEnd, bytes.size() - kSlotsEnd, bytes, kSlotsEnd) == 0;
  };
  EXPECT_TRUE(starts_with(plan_.before) || starts_with(after_))
      << plan_.name << ": " << what << ": a mix of pages without the mark";
}

void FaultRounds::Refusals(Fault::Kind kind) {
  // Room is made sure of at the start; the disk need not be full later on.
  const std::uint64_t end = kind == Fault::Kind::kFull ? 20 : log_.size();
  for (std::uint64_t n = 1; n <= std::min<std::uint64_t>(end, log_.size()); ++n) {
    if (!IsTaken(n - 1)) continue;
    const std::string what = fmt::format("fault {} at {}", static_cast<int>(kind), n);
    FaultFiles files;
    files.bytes(kPath) = plan_.before;
    files.SetFault({kind, n, static_cast<std::uint32_t>(n % 8)});
    bool done = false;
    try {
      plan_.action(files);
      done = true;
    } catch (const std::exception&) {
    } catch (const Stopped&) {
    }
    files.ClearFault();
    const State state = Judge(files.bytes(kPath), what);
    if (done) {
      EXPECT_EQ(state, State::kAfter) << plan_.name << ": " << what;
    }
    ++counts_["refusals"];
  }
}

FaultRounds::State FaultRounds::Judge(const std::string& image, const std::string& what) {
  ++rounds_;
  ExpectWholeForOthers(image, what);
  FaultFiles files;
  files.bytes(kPath) = image;
  const State read = StateOf(files, jet::OpenMode::kRead, what + ", read");
  EXPECT_TRUE(files.bytes(kPath) == image) << plan_.name << ": " << what;
  OperationLog log;
  const State state = Recover(image, what, &log);
  EXPECT_EQ(read, state) << plan_.name << ": " << what << ": reading and recovery differ";
  if (rounds_ % plan_.recovery_stride == 0) InterruptRecovery(image, log, what);
  (state == State::kAfter ? after_rounds_ : before_rounds_)++;
  return state;
}

FaultRounds::State FaultRounds::Recover(std::string image, const std::string& what,
                                        OperationLog* log) {
  FaultFiles files;
  files.bytes(kPath) = std::move(image);
  files.ClearFault();
  const State state = StateOf(files, jet::OpenMode::kExclusive, what);
  if (log != nullptr) *log = files.log();
  return state;
}

void FaultRounds::InterruptRecovery(const std::string& image, const OperationLog& log,
                                    const std::string& what) {
  for (std::size_t n = 0; n <= log.size(); ++n) {
    const std::string again = fmt::format("{}, recovery killed after {}", what, n);
    Recover(AfterKill(image, log, n, n % 8), again, nullptr);
    if (n != 0) Recover(AfterPowerCut(image, log, n, n), again + " (power cut)", nullptr);
    ++counts_["recoveries interrupted"];
  }
}

FaultRounds::State FaultRounds::StateOf(FaultFiles& files, jet::OpenMode mode,
                                        const std::string& what) {
  try {
    auto database = Open(files, plan_.password, mode);
    const std::uint64_t hash = PagesHash(*database);
    if (const auto known = known_.find(hash); known != known_.end()) return known->second;
    const std::string content = ContentOf(*database);
    State state = State::kNeither;
    if (content == content_before_) state = State::kBefore;
    if (content == content_after_) state = State::kAfter;
    EXPECT_NE(state, State::kNeither) << plan_.name << ": " << what;
    database.reset();
    const jet::CheckResult check = jet::CheckFile(files, kPath, {.password = plan_.password});
    for (const jet::Finding& finding : check.findings) {
      if (finding.severity != jet::Finding::Severity::kProblem) continue;
      ADD_FAILURE() << plan_.name << ": " << what << ": " << jet::FormatFinding(finding);
    }
    if (known_.size() % 100 < 2 && mode == jet::OpenMode::kExclusive) {
      const TempFolder folder;
      WriteFileBytes(folder.File("round.mdb"), files.bytes(kPath));
      ExpectSound(folder.File("round.mdb"));
    }
    known_.emplace(hash, state);
    return state;
  } catch (const jet::Error& error) {
    ADD_FAILURE() << plan_.name << ": " << what << ": " << error.what();
  }
  return State::kNeither;
}

}  // namespace test_support
