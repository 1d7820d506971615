#include "jet/compact/compact.h"

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <memory>

#include "jet/base/error.h"
#include "jet/base/threads.h"
#include "jet/check/check.h"
#include "jet/compact/file_copy.h"
#include "jet/compact/replace.h"
#include "jet/storage/header.h"
#include "jet/storage/lent_file.h"
#include "jet/storage/pager.h"

namespace jet {
namespace {

constexpr const char* kUnfinished = ".compacting";

// The file itself where `path` is a link to it.
std::string FollowLinks(const std::string& path) {
  std::error_code failure;
  const std::filesystem::path link(std::u8string(path.begin(), path.end()));
  const std::u8string real = std::filesystem::canonical(link, failure).u8string();
  return failure ? path : std::string(real.begin(), real.end());
}

void Report(const CompactOptions& options, const std::string& what) {
  if (options.progress) options.progress(what);
}

CheckResult CheckOpen(File& file, const CompactOptions& options, unsigned jobs) {
  LentFile lent(file);
  return CheckFile(lent, file.path(),
                   {.password = options.password, .limits = options.limits, .jobs = jobs});
}

const Finding& FirstProblem(const CheckResult& result) {
  return *std::ranges::find(result.findings, Finding::Severity::kProblem, &Finding::severity);
}

void RequireSound(const CheckResult& result) {
  if (result.sound()) return;
  const Finding& first = FirstProblem(result);
  const std::string text = std::to_string(result.problems) + " problems, the first: " + first.text;
  Error error = first.page ? Error::Damaged(*first.page, text) : Error(ErrorCode::kDamaged, text);
  throw Error(error.OfTable(first.table));
}

// What is not as in the old file would be lost with it.
void RequireSame(const CheckResult& before, const CheckResult& after) {
  if (!after.sound()) {
    throw Error(ErrorCode::kNotSupported,
                "the new file would not be sound: " + FormatFinding(FirstProblem(after)));
  }
  if (after.tables != before.tables || after.rows != before.rows ||
      after.index_entries != before.index_entries) {
    throw Error(ErrorCode::kNotSupported, "the new file would not hold as much as the old one");
  }
}

compact::CopyCounts Copy(File& from, File& to, const CompactOptions& options,
                         const std::atomic<bool>& stop) {
  LentFile lent(from);
  Pager pager(lent.Open(from.path(), OpenMode::kRead), false, options.limits);
  const Header header = Header::Parse(pager.Read(PageNumber{0}).bytes());
  pager.SetPageKey(header.page_key());
  return compact::CopyDatabase(pager, header, to,
                               {[&](const std::string& table) { Report(options, table); }, stop});
}

// The old file is checked while it is copied, the new one while it is synced: each with
// pages of its own. Only what was found sound is used.
CompactResult WriteAnew(File& from, File& to, const CompactOptions& options) {
  const unsigned threads = ThreadsFor(options.jobs);
  std::atomic<bool> stop = false;
  auto old_check = StartBeside(threads, [&] {
    try {
      CheckResult result = CheckOpen(from, options, 1);
      stop = !result.sound();
      return result;
    } catch (...) {
      stop = true;
      throw;
    }
  });
  compact::CopyCounts counts;
  CheckResult after;
  try {
    counts = Copy(from, to, options, stop);
    auto sync = StartBeside(threads, [&] { to.Sync(); });
    Report(options, "checking");
    after = CheckOpen(to, options, options.jobs);
    sync.get();
  } catch (...) {
    RequireSound(old_check.get());  // else that is the reason
    throw;
  }
  const CheckResult before = old_check.get();
  RequireSound(before);
  RequireSame(before, after);
  return {from.Size(), to.Size(), counts.tables, counts.rows, counts.index_entries};
}

// What cannot be removed is written over the next time.
void Discard(FileSystem& files, const std::string& unfinished) noexcept {
  try {
    if (files.Exists(unfinished)) files.Remove(unfinished);
  } catch (const std::exception&) {
    return;
  }
}

// `finish` gets the new file under the name it has until then, closed.
template <typename Finish>
CompactResult Compact(FileSystem& files, File& from, const std::string& unfinished,
                      const CompactOptions& options, const Finish& finish) {
  std::unique_ptr<File> to = files.Create(unfinished);
  try {
    const CompactResult result = WriteAnew(from, *to, options);
    to.reset();
    finish();
    return result;
  } catch (const std::exception&) {
    to.reset();
    Discard(files, unfinished);
    throw;
  }
}

}  // namespace

CompactResult CompactFile(FileSystem& files, const std::string& path, const std::string& new_path,
                          const CompactOptions& options) {
  const std::string unfinished = new_path + kUnfinished;
  const auto require_free = [&] {
    if (files.Exists(new_path)) {
      throw Error(ErrorCode::kNoPermission, "the file exists already").In(new_path);
    }
  };
  return Named({.file = path}, [&] {
    require_free();
    const std::unique_ptr<File> from = files.Open(path, OpenMode::kRead);
    return Compact(files, *from, unfinished, options, [&] {
      require_free();
      files.Rename(unfinished, new_path);
    });
  });
}

CompactResult CompactInPlace(FileSystem& files, const std::string& path,
                             const CompactOptions& options) {
  return Named({.file = path}, [&] {
    const std::string real = FollowLinks(path);
    const std::string unfinished = real + kUnfinished;
    std::unique_ptr<File> from = files.Open(real, OpenMode::kExclusive);
    File& open = *from;
    return Compact(files, open, unfinished, options, [&] {
      if (options.before_replacing) options.before_replacing(open);
      compact::Replace(files, unfinished, real, std::move(from));
    });
  });
}

}  // namespace jet
