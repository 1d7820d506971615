// The verb dump: a database as statements for sqlite3.
#include <fmt/format.h>

#include <algorithm>
#include <set>

#include "mdbadm/dump_table.h"
#include "mdbadm/dump_view.h"
#include "mdbadm/output.h"
#include "mdbadm/sql_literal.h"
#include "mdbadm/verbs.h"
#include "sql/sql.h"

namespace mdbadm {
namespace {

using TableList = std::vector<std::shared_ptr<jet::Table>>;

struct View {
  std::string name, text, select;
  jet::QueryDefinition definition;
  std::vector<sql::OutputColumn> columns;
  std::vector<std::string> used;
  std::string why_not;  // empty: it becomes a view
};

// "form", "report" ...: what other programs keep in the file; nothing for what the format
// itself needs.
std::string_view ForeignKind(std::int16_t type) {
  switch (type) {
    case -32768:
      return "form";
    case -32766:
      return "macro";
    case -32764:
      return "report";
    case -32761:
      return "module";
    case -32756:
      return "data access page";
    default:
      return {};
  }
}

// The query, with its columns, as far as it runs here.
View LoadView(jet::Database& database, const jet::ObjectInfo& object) {
  View view{.name = object.name,
            .text = {},
            .select = {},
            .definition = {},
            .columns = {},
            .used = {},
            .why_not = {}};
  try {
    view.definition = database.LoadQuery(object);
    const sql::QueryKind kind = sql::KindOf(view.definition);
    view.text = sql::Format(view.definition);
    if (kind != sql::QueryKind::kSelect && kind != sql::QueryKind::kUnion) {
      view.why_not = fmt::format("{} query", sql::KindName(kind));
      return view;
    }
    view.columns = sql::Run(database, view.definition)->columns();
  } catch (const sql::Error& error) {
    view.why_not = error.what();
  } catch (const jet::Error& error) {
    view.why_not = error.what();
  }
  return view;
}

// A view over a query that is not one would fail.
void DropWithoutSources(std::vector<View>& views) {
  for (bool again = true; again;) {
    again = false;
    for (View& view : views) {
      for (const View& source : views) {
        if (!view.why_not.empty() || source.why_not.empty()) continue;
        if (std::find(view.used.begin(), view.used.end(), source.name) == view.used.end()) continue;
        view.why_not = "its source " + source.name + " is not a view";
        again = true;
      }
    }
  }
}

void PrintView(const View& view) {
  if (!view.why_not.empty()) {
    Print(SqlComment(fmt::format("query {} is not a view: {}", view.name, view.why_not)));
    if (!view.text.empty()) Print(SqlComment("  " + view.text));
    return;
  }
  std::string columns;
  for (const sql::OutputColumn& column : view.columns) {
    columns += (columns.empty() ? "" : ", ") + SqlName(column.name);
  }
  Print(fmt::format("CREATE VIEW {} ({}) AS\n{};\n", SqlName(view.name), columns, view.select));
}

void PrintViews(jet::Database& database, const TableList& tables) {
  KnownNames names{.order = database.order(), .sources = {}};
  for (const auto& table : tables) {
    if (DumpName(table->name()) != table->name()) continue;
    names.sources.push_back({table->name(), {}});
    for (const jet::ColumnInfo& column : table->columns()) {
      names.sources.back().columns.push_back({column.name, ViewKindOf(column.type)});
    }
  }
  std::vector<View> views;
  for (const jet::ObjectInfo& object : database.Objects()) {
    if (object.kind == jet::ObjectKind::kQuery) views.push_back(LoadView(database, object));
  }
  for (const View& view : views) {
    names.sources.push_back({view.name, {}});
    for (const sql::OutputColumn& column : view.columns) {
      names.sources.back().columns.push_back({column.name, ViewKindOf(column.type)});
    }
  }
  for (View& view : views) {
    if (!view.why_not.empty()) continue;
    try {
      view.select = TranslateSelect(view.definition, view.columns, names, view.used);
    } catch (const NoCounterpart& error) {
      view.why_not = fmt::format("sqlite3 would not run it alike: {}", error.what());
    } catch (const sql::Error& error) {
      view.why_not = error.what();
    }
  }
  DropWithoutSources(views);
  for (const View& view : views) PrintView(view);
}

void PrintOthers(jet::Database& database) {
  for (const jet::ObjectInfo& object : database.Objects()) {
    if (object.kind == jet::ObjectKind::kLinkedTable) {
      Print(SqlComment("linked table " + object.name + ": its rows are in another file"));
    } else if (object.kind == jet::ObjectKind::kOther && !ForeignKind(object.type).empty()) {
      Print(SqlComment(
          fmt::format("{} {} has no counterpart", ForeignKind(object.type), object.name)));
    }
  }
  Print(SqlComment("rights, passwords and how columns are shown have no counterpart"));
}

TableList TablesToDump(jet::Database& database, const std::vector<std::string>& names) {
  TableList tables;
  for (const std::string& name : names) {
    std::shared_ptr<jet::Table> table = database.OpenTable(name);
    if (std::find(tables.begin(), tables.end(), table) == tables.end()) tables.push_back(table);
  }
  if (!names.empty()) return tables;
  for (const jet::ObjectInfo& object : database.Objects()) {
    if (object.kind == jet::ObjectKind::kTable) tables.push_back(database.OpenTable(object));
  }
  return tables;
}

}  // namespace

ExitCode Dump(Program& program, const DumpOptions& options) {
  const auto database = OpenToRead(program, options.file, options.password);
  const TableList tables = TablesToDump(*database, options.tables);
  const std::vector<Relationship> relationships = LoadRelationships(*database);
  Print("PRAGMA foreign_keys=OFF;\nBEGIN TRANSACTION;\n");
  std::set<std::string> index_names;
  for (const auto& table : tables) {
    const jet::Properties properties = database->LoadProperties(*database->Find(table->name()));
    TableDump(*database, *table, tables, index_names).Print(properties, relationships);
  }
  if (options.tables.empty()) {
    PrintViews(*database, tables);
    PrintOthers(*database);
  }
  // Without it sqlite3 keeps nothing: an error before leaves no half a database.
  Print("COMMIT;\n");
  return ExitCode::kDone;
}

}  // namespace mdbadm
