// Lists the tables of a file with their columns, indexes and rows: list_tables FILE
#include <cstdio>
#include <memory>
#include <string>

#include "jet/database/database.h"
#include "value_text.h"

namespace {

void ListColumns(const jet::Table& table) {
  for (const jet::ColumnInfo& column : table.columns()) {
    std::printf("  %s: %s", column.name.c_str(), jet::TypeName(column.type).c_str());
    if (column.type == jet::ColumnType::kText) std::printf(" of %zu", column.max_chars());
    std::printf("%s\n", column.required ? ", required" : "");
  }
  for (const jet::IndexInfo& index : table.indexes()) {
    std::printf("  index %s%s\n", index.name.c_str(), index.unique ? ", unique" : "");
  }
}

void ListRows(const jet::Table& table) {
  for (jet::TableScan scan(table); scan.Next();) {
    std::string line;
    for (std::size_t i = 0; i < table.columns().size(); ++i) {
      line += i == 0 ? "  " : " | ";
      line += examples::ValueText(scan.row().Get(i), table.columns()[i].scale);
    }
    std::printf("%s\n", line.c_str());
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "list_tables FILE\n");
    return 2;
  }
  try {
    const std::unique_ptr<jet::FileSystem> files = jet::MakeSystemFiles();
    const std::unique_ptr<jet::Database> database = jet::Database::Open(*files, argv[1], {});
    for (const jet::ObjectInfo& object : database->Objects()) {
      if (object.kind != jet::ObjectKind::kTable) continue;
      const std::shared_ptr<jet::Table> table = database->OpenTable(object);
      std::printf("%s, %u rows\n", object.name.c_str(), static_cast<unsigned>(table->row_count()));
      ListColumns(*table);
      ListRows(*table);
    }
    return 0;
  } catch (const jet::Error& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}
