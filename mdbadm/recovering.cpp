// The verb that saves what a damaged file holds.
#include <algorithm>

#include "jet/recover/recover.h"
#include "mdbadm/output.h"
#include "mdbadm/verbs.h"
#include "samples/known.h"

namespace mdbadm {
namespace {

using Table = jet::RecoverReport::Table;

// "5, 7 to 9".
std::string PageList(const std::vector<jet::PageNumber>& pages) {
  std::string list;
  for (std::size_t i = 0; i < pages.size(); ++i) {
    std::size_t last = i;
    while (last + 1 < pages.size() && pages[last + 1].value == pages[last].value + 1) ++last;
    if (!list.empty()) list += ", ";
    list += std::to_string(pages[i].value);
    if (last != i) list += fmt::format(" to {}", pages[last].value);
    i = last;
  }
  return list;
}

// All that is not as it was, in one sentence a matter.
std::string Why(const Table& table) {
  std::string why;
  const auto add = [&why](const std::string& text) { why += (why.empty() ? "" : "; ") + text; };
  for (const std::string& loss : table.losses) add(loss);
  if (!table.lost_pages.empty()) add("lost pages " + PageList(table.lost_pages));
  if (!table.flawed_pages.empty()) add("damaged pages " + PageList(table.flawed_pages));
  return why;
}

Json PageArray(const std::vector<jet::PageNumber>& pages) {
  Json array = Json::array();
  for (const jet::PageNumber page : pages) array.push_back(page.value);
  return array;
}

Json TableJson(const Table& table) {
  Json object;
  object["table"] = table.name;
  object["page"] = table.page.value;
  object["rows"] = table.whole;
  object["partly"] = table.partly;
  object["lost"] = table.lost;
  object["doubtful"] = table.doubtful;
  object["beside"] = table.beside;
  object["definition"] = jet::NameOf(table.definition);
  object["named"] = jet::NameOf(table.named);
  object["losses"] = table.losses;
  object["lost_pages"] = PageArray(table.lost_pages);
  object["damaged_pages"] = PageArray(table.flawed_pages);
  return object;
}

std::string AsJson(const RecoverVerbOptions& options, const jet::RecoverReport& report) {
  Json object;
  object["file"] = options.file;
  object["new"] = options.dry_run ? Json() : Json(options.new_file);
  object["complete"] = report.complete();
  object["losses"] = report.losses;
  object["tables"] = Json::array();
  for (const Table& table : report.tables) object["tables"].push_back(TableJson(table));
  object["pages"] = Json::array();
  for (const jet::RecoverReport::Page& page : report.pages) {
    object["pages"].push_back({{"page", page.page.value}, {"text", page.text}});
  }
  return Dump(object) + "\n";
}

std::string AsLines(const jet::RecoverReport& report) {
  std::string text = "table\trows\tpartly\tlost\tdoubtful\tbeside\tdefinition\tnamed\twhy\n";
  for (const Table& table : report.tables) {
    text +=
        fmt::format("{}\t{}\t{}\t{}\t{}\t{}\t{}\t{}\t{}\n", Escaped(table.name), table.whole,
                    table.partly, table.lost, table.doubtful, table.beside,
                    jet::NameOf(table.definition), jet::NameOf(table.named), Escaped(Why(table)));
  }
  if (!report.losses.empty()) text += "\nlost\n";
  for (const std::string& loss : report.losses) text += Escaped(loss) + "\n";
  if (!report.pages.empty()) text += "\npage\ttext\n";
  for (const jet::RecoverReport::Page& page : report.pages) {
    text += fmt::format("{}\t{}\n", page.page.value, Escaped(page.text));
  }
  return text;
}

void WriteReport(Program& program, const std::string& path, const std::string& text) {
  const auto file = program.files.Create(path);
  file->Write(0, jet::Bytes(text.begin(), text.end()));
  file->Sync();
}

}  // namespace

ExitCode Recover(Program& program, const RecoverVerbOptions& options) {
  RefuseExisting(program, options.new_file);
  if (!options.report.empty()) RefuseExisting(program, options.report);
  jet::RecoverOptions recover;
  recover.password = options.password;
  recover.jobs = options.jobs;
  recover.dry_run = options.dry_run;
  recover.known = [&] { return samples::KnownDatabases(options.kind); };
  recover.progress = [&](const std::string& what) { ShowProgress(options.file + ": " + what); };
  const jet::RecoverReport report =
      jet::RecoverFile(program.files, options.file, options.new_file, recover);
  ShowProgress({});
  const std::string text = options.json ? AsJson(options, report) : AsLines(report);
  if (!options.report.empty()) WriteReport(program, options.report, text);
  Print(text);
  return report.complete() ? ExitCode::kDone : ExitCode::kSavedWithLosses;
}

}  // namespace mdbadm
