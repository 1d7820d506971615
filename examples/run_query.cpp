// Runs a SELECT, or a saved query of that name: run_query FILE QUERY
#include <cstdio>
#include <memory>
#include <optional>
#include <string>

#include "jet/database/database.h"
#include "sql/sql.h"
#include "value_text.h"

namespace {

jet::QueryDefinition FindQuery(jet::Database& database, const std::string& query) {
  const std::optional<jet::ObjectInfo> saved = database.Find(query);
  if (saved && saved->kind == jet::ObjectKind::kQuery) return database.LoadQuery(*saved);
  return sql::Parse(query);
}

void PrintRows(sql::RowSet& rows) {
  for (const sql::OutputColumn& column : rows.columns()) {
    std::printf("%s (%s)\n", column.name.c_str(), jet::TypeName(column.type).c_str());
  }
  while (rows.Next()) {
    std::string line;
    for (std::size_t i = 0; i < rows.columns().size(); ++i) {
      line += i == 0 ? "  " : " | ";
      line += examples::ValueText(rows.value(i));
    }
    std::printf("%s\n", line.c_str());
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fprintf(stderr, "run_query FILE QUERY\n");
    return 2;
  }
  try {
    const std::unique_ptr<jet::FileSystem> files = jet::MakeSystemFiles();
    const std::unique_ptr<jet::Database> database = jet::Database::Open(*files, argv[1], {});
    const std::unique_ptr<sql::RowSet> rows = sql::Run(*database, FindQuery(*database, argv[2]));
    PrintRows(*rows);
    return 0;
  } catch (const sql::Error& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  } catch (const jet::Error& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}
