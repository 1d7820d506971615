// Verbs that print rows and saved queries: rows, sql.
#include "ado/catalog.h"
#include "jet/collation.h"
#include "sql/sql.h"
#include "tools/mdbadm/output.h"
#include "tools/mdbadm/verbs.h"

namespace mdbadm {
namespace {

// Prints rows one by one; the buffer is reused, so a long table costs no more
// memory than a short one.
class RowPrinter {
 public:
  RowPrinter(bool json, std::vector<std::string> names) : json_(json), names_(std::move(names)) {
    for (const std::string& name : names_) {
      if (!line_.empty()) line_ += '\t';
      line_ += Escaped(name);
    }
    Print(json_ ? "[" : line_ + "\n");
  }
  void Begin() {
    line_.clear();
    object_ = Json::object();
    at_ = 0;
  }
  void Add(const jet::Value& value, int scale) {
    if (json_) {
      object_[names_[at_]] = ToJson(value, scale);
    } else {
      if (at_ != 0) line_ += '\t';
      AppendCell(line_, value, scale);
    }
    ++at_;
  }
  void End() {
    if (json_)
      line_ = (first_ ? "\n" : ",\n") + Dump(object_);
    else
      line_ += '\n';
    Print(line_);
    first_ = false;
  }
  void Finish() {
    if (json_) Print("\n]\n");
  }

 private:
  bool json_;
  bool first_ = true;
  std::vector<std::string> names_;
  std::string line_;
  Json object_;
  std::size_t at_ = 0;
};

// The saved query of that name, or the text.
std::unique_ptr<sql::RowSet> RunSource(jet::Database& database, const std::string& source) {
  const std::optional<jet::ObjectInfo> saved = database.Find(source);
  if (!saved || saved->kind != jet::ObjectKind::kQuery) {
    return sql::Run(database, sql::Parse(source));
  }
  try {
    return sql::Run(database, database.LoadQuery(*saved));
  } catch (const sql::Error& error) {
    throw sql::Error(error.code(), fmt::format("{}: {}", saved->name, error.what()));
  }
}

}  // namespace

ExitCode Rows(Program& program, const RowOptions& options) {
  const auto database = OpenToRead(program, options.file, options.password);
  const std::shared_ptr<jet::Table> table = database->OpenTable(options.source);
  const std::vector<jet::ColumnDef>& columns = table->def().columns;
  std::vector<std::string> names;
  for (const jet::ColumnDef& column : columns) names.push_back(column.name);
  RowPrinter printer(options.json, names);
  jet::TableScan scan(*table);
  for (std::uint64_t n = 0; n < options.limit && scan.Next(); ++n) {
    printer.Begin();
    for (std::size_t i = 0; i < columns.size(); ++i) {
      printer.Add(scan.row().Get(i), columns[i].scale);
    }
    printer.End();
  }
  printer.Finish();
  return ExitCode::kDone;
}

ExitCode Sql(Program& program, const RowOptions& options) {
  const auto database = OpenToRead(program, options.file, options.password);
  const std::unique_ptr<sql::RowSet> rows = RunSource(*database, options.source);
  std::vector<std::string> names;
  for (const sql::OutputColumn& column : rows->columns()) names.push_back(column.name);
  RowPrinter printer(options.json, names);
  for (std::uint64_t n = 0; n < options.limit && rows->Next(); ++n) {
    printer.Begin();
    for (std::size_t i = 0; i < names.size(); ++i) printer.Add(rows->value(i), 0);
    printer.End();
  }
  printer.Finish();
  return ExitCode::kDone;
}

}  // namespace mdbadm
