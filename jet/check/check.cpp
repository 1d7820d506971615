#include "jet/check/check.h"

#include <fmt/format.h>

#include "jet/base/error.h"
#include "jet/base/threads.h"
#include "jet/check/catalog.h"
#include "jet/check/header.h"
#include "jet/database/database.h"
#include "jet/storage/lent_file.h"
#include "jet/storage/pager.h"

namespace jet {

namespace {

using Code = Finding::Code;

void Walk(Pager& pager, const Header& header, const check::Parallel& parallel,
          CheckResult& result) {
  result.pages = pager.page_count();
  check::Report report(result);
  check::CheckHeader(pager.Read(PageNumber{0}).bytes(), report);
  check::Ledger ledger(pager, report);
  ledger.ReadGlobalMap();
  const check::Context context{pager, header, report, ledger, result};
  const bool complete = check::CatalogCheck(context, parallel).Run();
  ledger.CompareWithFreeMap(complete);
}

bool IsDamage(const Error& error) {
  return error.code() == ErrorCode::kDamaged || error.code() == ErrorCode::kNeedsRepair;
}

// What keeps the engine from opening a file is damage even where the checker's own
// rules are silent.
void TryToOpen(FileSystem& files, const std::string& path, const CheckOptions& options,
               CheckResult& result) {
  try {
    Database::Open(
        files, path,
        {.password = options.password.value_or(""), .cache_bytes = options.limits.clean_bytes});
  } catch (const Error& error) {
    if (IsDamage(error)) check::Report(result).Problem({}, Code::kCannotOpen, error.detail());
    if (error.code() == ErrorCode::kIo) throw;
  }
}

}  // namespace

CheckResult CheckFile(FileSystem& files, const std::string& path, const CheckOptions& options) {
  CheckResult result;
  std::unique_ptr<File> file = files.Open(path, OpenMode::kRead);
  const std::uint64_t size = file->Size();
  Bytes first(std::min<std::uint64_t>(size, kPageSize));
  file->Read(0, first);
  Header::Parse(first);  // is the file ours?
  {
    LentFile lent(*file);
    const auto open = [&](PagerLimits limits) {
      return std::make_unique<Pager>(lent.Open(path, OpenMode::kRead), false, limits);
    };
    const std::unique_ptr<Pager> whole = open(options.limits);
    Pager& pager = *whole;
    const Header header = Header::Parse(pager.Read(PageNumber{0}).bytes());
    // Passwords are masked with the date.
    if (options.password && check::IsCreationDate(header.created()) &&
        !header.Accepts(*options.password)) {
      throw Error(ErrorCode::kWrongPassword).In(path);
    }
    pager.SetPageKey(header.page_key());
    check::Parallel parallel{ThreadsFor(options.jobs)};
    parallel.open = [&] {
      PagerLimits limits = options.limits;
      limits.clean_bytes /= parallel.threads;
      std::unique_ptr<Pager> another = open(limits);
      another->SetPageKey(header.page_key());
      return another;
    };
    try {
      Walk(pager, header, parallel, result);
    } catch (const Error& error) {
      // A fault of a kind that was not foreseen; what was found so far is true.
      if (!IsDamage(error)) throw;
      check::Report report(result);
      report.Problem({{}, error.page()}, Code::kUnreadable, error.detail());
      report.NotChecked({}, "what would come behind this damage");
    }
  }
  file.reset();
  if (result.sound()) TryToOpen(files, path, options, result);
  if (size % kPageSize != 0) {
    check::Report(result).Problem(
        {}, Code::kFileSize,
        fmt::format("the file's size of {} bytes is not a whole number of "
                    "pages",
                    size));
  }
  return result;
}

}  // namespace jet
