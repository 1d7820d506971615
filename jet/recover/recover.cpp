#include "jet/recover/recover.h"

#include <fmt/format.h>

#include <algorithm>

#include "jet/base/error.h"
#include "jet/check/check.h"
#include "jet/database/system_tables.h"
#include "jet/recover/copy_tables.h"
#include "jet/recover/old_file.h"
#include "jet/recover/old_queries.h"
#include "jet/recover/old_relations.h"
#include "jet/recover/other_objects.h"
#include "jet/row/table_def_chain.h"
#include "jet/sort/collation.h"

namespace jet {
namespace recover {
namespace {

NewFileSettings SettingsFor(const OldFile& old, const RecoverOptions& options,
                            RecoverReport& report) {
  NewFileSettings settings;
  settings.limits = options.limits;
  Header::NewFile& file = settings.header;
  file.order = old.order();
  if (!IsSupportedOrder(file.order)) {
    report.losses.push_back(
        fmt::format("the sort order {}; the new file has the General one", file.order.language));
    file.order = kGeneral;
  }
  file.code_page = file.order == kJapanese ? 932 : 1252;
  file.created = (options.clock ? options.clock : SystemClock())();
  file.password = options.password;
  if (!old.header()) {
    report.losses.emplace_back("page 0: the new file has the password that was given");
    return settings;
  }
  const Header& header = *old.header();
  if (!header.has_password()) file.password.clear();
  if (header.created().days > 1 && header.created().days < 110'000) file.created = header.created();
  file.engine_build = header.engine_build();
  settings.page_key = header.page_key();
  if (file.order == header.order()) file.code_page = header.code_page();
  return settings;
}

class Recovery {
 public:
  Recovery(FileSystem& files, const std::string& path, const std::string& temporary,
           const RecoverOptions& options)
      : options_(options),
        old_(files, path, options),
        settings_(SettingsFor(old_, options, report_)) {
    if (!old_.has_content()) {
      throw Error(
          ErrorCode::kDamaged,
          "no page can be recognised; if the pages were encoded, their key is lost with page 0")
          .In(path);
    }
    file_.emplace(files, temporary, settings_);
  }

  // `plain`: tables with their rows and indexes, and nothing else of the catalog.
  RecoverReport Run(bool plain);

 private:
  void ReportCatalog();
  void ReportPages();

  const RecoverOptions& options_;
  RecoverReport report_;
  OldFile old_;
  NewFileSettings settings_;
  std::optional<NewFile> file_;
};

void Recovery::ReportCatalog() {
  const OldCatalog& catalog = old_.catalog();
  if (catalog.broken != 0 || !catalog.lost_pages.empty() || catalog.objects.empty()) {
    report_.losses.push_back(
        fmt::format("{} of the objects' rows",
                    catalog.broken != 0 ? std::to_string(catalog.broken) : std::string("some")));
  }
}

void Recovery::ReportPages() {
  for (std::uint32_t number = 1; number < old_.scan().page_count(); ++number) {
    const PageNumber page{number};
    if (old_.scan()[page].kind != PageKind::kUnknown || old_.owners().IsFree(page)) continue;
    report_.pages.push_back({page, "holds nothing that can be recognised"});
  }
  for (const PageNumber page : old_.owners().foreign()) {
    report_.pages.push_back(
        {page, fmt::format("names the table of page {}, but is a copy or is not its page",
                           old_.scan()[page].owner)});
  }
  std::ranges::sort(report_.pages, {}, &RecoverReport::Page::page);
}

RecoverReport Recovery::Run(bool plain) {
  std::vector<TableDef> system_tables;
  for (const SystemTableSpec& spec : SystemTables()) {
    system_tables.push_back(LoadTableDef(file_->pager(), spec.page));
  }
  old_.Complete(system_tables);
  if (plain) old_.catalog().KeepNames();
  const CopiedTables tables = CopyTables(old_, *file_, options_, settings_.header.created, report_);
  if (plain) {
    report_.losses.emplace_back("queries, relationships and all other objects");
  } else {
    CopyQueries(old_, *file_, report_);
    CopyRelations(old_, *file_, tables, report_);
    CopyOtherObjects(old_.catalog(), *file_, report_);
  }
  ReportCatalog();
  ReportPages();
  file_->Flush();
  if (report_.tables.empty() && old_.catalog().objects.empty())
    throw Error(ErrorCode::kDamaged, "no table can be saved");
  return std::move(report_);
}

// Why the file is not sound; empty if it is.
std::string FaultOf(FileSystem& files, const std::string& path, const RecoverOptions& options) {
  const CheckResult result =
      CheckFile(files, path, {.password = options.password, .jobs = options.jobs});
  if (result.sound()) return {};
  return FormatFinding(
      *std::ranges::find(result.findings, Finding::Severity::kProblem, &Finding::severity));
}

// What looks whole may still not fit together: then the tables come without the rest.
RecoverReport RecoverSound(FileSystem& files, const std::string& path, const std::string& temporary,
                           const RecoverOptions& options) {
  std::string fault;
  for (const bool plain : {false, true}) {
    RecoverReport report = Recovery(files, path, temporary, options).Run(plain);
    fault = FaultOf(files, temporary, options);
    if (fault.empty()) return report;
  }
  throw Error(ErrorCode::kDamaged, "the new file is not sound: " + fault);
}

}  // namespace
}  // namespace recover

RecoverReport RecoverFile(FileSystem& files, const std::string& path, const std::string& new_path,
                          const RecoverOptions& options) {
  const std::string temporary = new_path + ".new";
  const bool is_there = files.Exists(temporary);  // not ours until it is written to
  return Named({.file = path}, [&] {
    try {
      RecoverReport report = recover::RecoverSound(files, path, temporary, options);
      if (options.dry_run) {
        files.Remove(temporary);
      } else {
        files.Rename(temporary, new_path);
      }
      return report;
    } catch (...) {
      if (!is_there && files.Exists(temporary)) files.Remove(temporary);
      throw;
    }
  });
}

}  // namespace jet
