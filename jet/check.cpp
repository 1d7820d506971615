#include "jet/check.h"

#include <fmt/format.h>

#include "jet/check_catalog.h"
#include "jet/check_header.h"
#include "jet/error.h"

namespace jet {

std::string FormatFinding(const Finding& finding) {
  std::string place;
  const auto add = [&place](const std::string& part) {
    if (!place.empty()) place += ' ';
    place += part;
  };
  if (finding.page) add(fmt::format("page {}", finding.page->value));
  if (finding.row) add(fmt::format("row {}", *finding.row));
  if (!finding.table.empty()) {
    if (!place.empty()) place += ',';
    add(fmt::format("table {}", finding.table));
  }
  if (place.empty()) place = "file";
  return fmt::format("{}{}: {}", finding.severity == Finding::Severity::kWarning ? "warning: " : "",
                     place, finding.text);
}

CheckResult Check(Pager& pager, const Header& header) {
  CheckResult result;
  result.pages = pager.page_count();
  check::Report report(result);
  check::CheckHeader(pager.Read(PageNumber{0}).bytes(), report);
  check::Ledger ledger(pager, report);
  ledger.ReadGlobalMap();
  const check::Context context{pager, header, report, ledger, result};
  const bool complete = check::CatalogCheck(context).Run();
  ledger.CompareWithFreeMap(complete);
  return result;
}

CheckResult Check(Database& database) { return Check(database.pager(), database.header()); }

namespace {

CheckResult CheckUnopened(FileSystem& files, const std::string& path, const OpenOptions& options) {
  std::unique_ptr<File> file = files.Open(path, OpenMode::kRead);
  Bytes page(kPageSize);
  file->Read(0, std::span(page).first(std::min<std::uint64_t>(file->Size(), kPageSize)));
  const Header header = Header::Parse(page);
  Pager pager(std::move(file), false, options.limits);
  pager.SetPageKey(header.page_key());
  return Check(pager, header);
}

}  // namespace

CheckResult CheckFile(FileSystem& files, const std::string& path, const OpenOptions& options) {
  OpenOptions reading = options;
  reading.mode = OpenMode::kRead;
  const std::uint64_t size = files.Open(path, OpenMode::kRead)->Size();
  CheckResult result;
  try {
    result = Check(*Database::Open(files, path, reading));
  } catch (const Error& error) {
    if (error.code() != ErrorCode::kDamaged && error.code() != ErrorCode::kNeedsRepair) throw;
    result = CheckUnopened(files, path, reading);
    if (result.sound()) check::Report(result).Problem({}, error.detail());
  }
  if (size % kPageSize != 0) {
    check::Report(result).Problem({}, fmt::format("the file's size of {} bytes is no whole number "
                                                  "of pages",
                                                  size));
  }
  return result;
}

}  // namespace jet
