// Verbs that look at a database and change nothing: info, tables, columns,
// indexes, props, queries, check.
#include <algorithm>

#include "ado/catalog.h"
#include "db/version_record.h"
#include "jet/check/check.h"
#include "jet/sort/name.h"
#include "mdbadm/failure.h"
#include "mdbadm/output.h"
#include "mdbadm/verbs.h"
#include "sql/sql.h"

namespace mdbadm {
namespace {

std::string_view KindName(jet::ObjectKind kind) {
  switch (kind) {
    case jet::ObjectKind::kTable:
      return "table";
    case jet::ObjectKind::kSystemTable:
      return "system table";
    case jet::ObjectKind::kLinkedTable:
      return "linked table";
    case jet::ObjectKind::kQuery:
      return "query";
    case jet::ObjectKind::kOther:
      break;
  }
  return "other";
}

bool IsReadable(const jet::ObjectInfo& object, bool system) {
  return object.kind == jet::ObjectKind::kTable ||
         (system && object.kind == jet::ObjectKind::kSystemTable);
}

// The tables that the options name.
std::vector<jet::ObjectInfo> ChosenTables(jet::Database& database, const ReadOptions& options) {
  if (!options.object.empty()) {
    const std::optional<jet::ObjectInfo> found = database.Find(options.object);
    if (!found) throw jet::Error(jet::ErrorCode::kTableMissing).OfTable(options.object);
    return {*found};
  }
  std::vector<jet::ObjectInfo> tables;
  for (jet::ObjectInfo& object : database.Objects()) {
    if (IsReadable(object, options.system)) tables.push_back(std::move(object));
  }
  return tables;
}

std::string SortOrderName(jet::SortOrder order) {
  const char* name = order == jet::kJapanese  ? " Japanese"
                     : order == jet::kGeneral ? " General"
                                              : "";
  return fmt::format("{}/{}/{}{}", order.language, order.sort_id, order.version, name);
}

Json Size(const jet::ColumnInfo& column) {
  if (column.type == jet::ColumnType::kText) return column.max_chars();
  if (jet::IsLongValue(column.type)) return nullptr;
  return column.size_bytes;
}

Json FindingJson(const jet::Finding& finding) {
  Json object;
  object["severity"] = jet::NameOf(finding.severity);
  object["code"] = jet::NameOf(finding.code);
  object["table"] = finding.table;
  if (!finding.other_table.empty()) object["other_table"] = finding.other_table;
  if (finding.page) object["page"] = finding.page->value;
  if (finding.row) object["row"] = *finding.row;
  object["text"] = finding.text;
  return object;
}

}  // namespace

ExitCode Info(Program& program, const ReadOptions& options) {
  const auto database = OpenToRead(program, options.file, options.password);
  const jet::FileInfo file = database->info();
  std::size_t tables = 0, queries = 0;
  for (const jet::ObjectInfo& object : database->Objects()) {
    if (object.kind == jet::ObjectKind::kTable) ++tables;
    if (object.kind == jet::ObjectKind::kQuery) ++queries;
  }
  Json info;
  info["file"] = options.file;
  info["format"] = "Jet 4.0";
  info["sort_order"] = SortOrderName(file.order);
  info["code_page"] = file.code_page;
  info["password"] = file.has_password;
  info["encoded"] = file.encoded;
  info["created"] = jet::FormatDateTime(file.created);
  info["pages"] = file.page_count;
  info["tables"] = tables;
  info["queries"] = queries;
  if (const std::optional<double> version = db::FindVersion(*database)) {
    info["version"] = VersionNumber(*version);
  }
  PrintObject(options.json, info);
  return ExitCode::kDone;
}

ExitCode Tables(Program& program, const ReadOptions& options) {
  const auto database = OpenToRead(program, options.file, options.password);
  Listing list(options.json, {"table", "kind", "rows", "columns", "created", "updated"});
  for (const jet::ObjectInfo& object : database->Objects()) {
    if (object.kind == jet::ObjectKind::kOther || object.kind == jet::ObjectKind::kQuery) continue;
    if (object.kind == jet::ObjectKind::kSystemTable && !options.system) continue;
    Json rows, columns;
    if (object.kind != jet::ObjectKind::kLinkedTable) {
      const std::shared_ptr<jet::Table> table = database->OpenTable(object);
      rows = table->row_count();
      columns = table->columns().size();
    }
    list.Add({object.name, KindName(object.kind), rows, columns,
              jet::FormatDateTime(object.created), jet::FormatDateTime(object.updated)});
  }
  return ExitCode::kDone;
}

ExitCode Columns(Program& program, const ReadOptions& options) {
  const auto database = OpenToRead(program, options.file, options.password);
  Listing list(options.json, {"table", "column", "type", "size", "required", "empty_allowed",
                              "default", "compressed", "autonumber"});
  for (const jet::ObjectInfo& object : ChosenTables(*database, options)) {
    const std::shared_ptr<jet::Table> table = database->OpenTable(object);
    for (const jet::ColumnInfo& column : table->columns()) {
      Json default_value;
      if (!column.default_expression.empty()) default_value = column.default_expression;
      list.Add({table->name(), column.name, jet::TypeName(column.type), Size(column),
                column.required, column.allow_zero_length, default_value, column.compressed,
                column.auto_number});
    }
  }
  return ExitCode::kDone;
}

ExitCode Indexes(Program& program, const ReadOptions& options) {
  const auto database = OpenToRead(program, options.file, options.password);
  Listing list(options.json,
               {"table", "index", "columns", "primary", "unique", "required", "ignore_nulls"});
  for (const jet::ObjectInfo& object : ChosenTables(*database, options)) {
    const std::shared_ptr<jet::Table> table = database->OpenTable(object);
    for (const jet::IndexInfo& index : table->indexes()) {
      std::string columns;
      for (const jet::IndexInfo::Column& part : index.columns) {
        if (!columns.empty()) columns += ", ";
        columns += part.ordinal ? table->columns()[*part.ordinal].name : "?";
        if (part.descending) columns += " desc";
      }
      list.Add({table->name(), index.name, columns, index.primary, index.unique, index.required,
                index.ignore_nulls});
    }
  }
  return ExitCode::kDone;
}

ExitCode Props(Program& program, const ReadOptions& options) {
  const auto database = OpenToRead(program, options.file, options.password);
  std::vector<jet::ObjectInfo> objects;
  if (options.object.empty()) {
    objects = database->Objects();
  } else {
    objects = ChosenTables(*database, options);
  }
  Listing list(options.json, {"object", "column", "property", "type", "value"});
  for (const jet::ObjectInfo& object : objects) {
    if (object.kind == jet::ObjectKind::kOther) continue;
    if (object.kind == jet::ObjectKind::kSystemTable && !options.system) continue;
    const jet::Properties properties = database->LoadProperties(object);
    for (const jet::Properties::Group& group : properties.groups()) {
      for (const jet::Property& property : group.values) {
        list.Add({object.name, group.column, property.name, jet::TypeName(property.type),
                  ToJson(property)});
      }
    }
  }
  return ExitCode::kDone;
}

ExitCode Queries(Program& program, const ReadOptions& options) {
  const auto database = OpenToRead(program, options.file, options.password);
  Listing list(options.json, {"query", "kind", "created", "text"});
  ExitCode code = ExitCode::kDone;
  for (const jet::ObjectInfo& object : database->Objects()) {
    if (object.kind != jet::ObjectKind::kQuery) continue;
    if (!options.object.empty() && !jet::SameName(database->order(), object.name, options.object)) {
      continue;
    }
    Json kind, text;
    try {
      kind = sql::KindName(sql::KindOf(database->LoadQuery(object)));
      text = ado::QueryText(*database, object);
    } catch (const sql::Error& error) {
      Failure failure = FailureOf(error);
      failure.text = fmt::format("{}: {}", object.name, failure.text);
      failure.file = options.file;
      Complain(program, failure);
      code = failure.code;
    }
    list.Add({object.name, kind, jet::FormatDateTime(object.created), text});
  }
  return code;
}

std::optional<std::string> WhyNotSound(Program& program, const std::string& path,
                                       const std::string& password) {
  const jet::CheckResult result = jet::CheckFile(program.files, path, {.password = password});
  if (result.sound()) return std::nullopt;
  const auto first =
      std::find_if(result.findings.begin(), result.findings.end(), [](const jet::Finding& finding) {
        return finding.severity == jet::Finding::Severity::kProblem;
      });
  return fmt::format("the file is not sound: {} problem{}, first: {}", result.problems,
                     result.problems == 1 ? "" : "s", jet::FormatFinding(*first));
}

ExitCode Check(Program& program, const ReadOptions& options) {
  const jet::CheckResult result = jet::CheckFile(
      program.files, options.file, {.password = options.password, .jobs = options.jobs});
  WarnOfLockFile(program, options.file);
  if (options.json) {
    Json report;
    report["sound"] = result.sound();
    report["pages"] = result.pages;
    report["tables"] = result.tables;
    report["rows"] = result.rows;
    report["index_entries"] = result.index_entries;
    report["unverified_keys"] = result.unverified_keys;
    report["problems"] = result.problems;
    report["warnings"] = result.warnings;
    report["unusual"] = result.unusual;
    report["not_checked"] = result.not_checked;
    report["findings"] = Json::array();
    for (const jet::Finding& finding : result.findings) {
      report["findings"].push_back(FindingJson(finding));
    }
    Print(Dump(report) + "\n");
  } else {
    for (const jet::Finding& finding : result.findings) {
      Print(fmt::format("{}\t{}\t{}\n", jet::NameOf(finding.severity), jet::NameOf(finding.code),
                        Escaped(jet::FormatFinding(finding))));
    }
  }
  return result.sound() ? ExitCode::kDone : ExitCode::kFailed;
}

}  // namespace mdbadm
