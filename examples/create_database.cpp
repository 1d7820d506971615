// Creates a database with one table and fills it: create_database FILE
#include <cstdio>
#include <memory>
#include <optional>
#include <string>

#include "jet/database/database.h"

namespace {

void CreateParts(jet::Database& database) {
  jet::TableSpec spec;
  spec.name = "Parts";
  spec.columns = {
      {.name = "ID", .type = jet::ColumnType::kLong, .auto_number = true},
      {.name = "Name", .type = jet::ColumnType::kText, .max_size = 50, .required = true},
      {.name = "Price", .type = jet::ColumnType::kCurrency},
      {.name = "Stock", .type = jet::ColumnType::kInteger, .default_expression = "0"}};
  spec.indexes = {
      {.name = "PrimaryKey", .columns = {"ID"}, .primary = true, .unique = true, .required = true},
      {.name = "Name", .columns = {"Name"}}};
  database.CreateTable(spec);
}

void AddPart(jet::Table& parts, const std::string& name, jet::Currency price) {
  const jet::FieldChange fields[] = {{parts.OrdinalOf("Name"), name},
                                     {parts.OrdinalOf("Price"), price}};
  parts.Insert(parts.NewRow(fields));
}

void FindPart(const jet::Table& parts, const std::string& name) {
  std::optional<jet::Table::Seek> seek = parts.SeekBy({parts.OrdinalOf("Name")});
  const jet::Value wanted = name;
  seek->Begin({&wanted, 1});
  jet::Table::Row row;
  while (const std::optional<jet::RowId> id = seek->Next()) {
    if (!parts.Read(*id, row)) continue;
    double number = 0;
    if (row.GetNumber(parts.OrdinalOf("ID"), number)) {
      std::printf("%s has the number %.0f\n", name.c_str(), number);
    }
  }
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "create_database FILE\n");
    return 2;
  }
  try {
    const std::unique_ptr<jet::FileSystem> files = jet::MakeSystemFiles();
    const std::unique_ptr<jet::Database> database =
        jet::Database::Create(*files, argv[1], {.order = jet::kGeneral});
    CreateParts(*database);

    const std::shared_ptr<jet::Table> parts = database->OpenTable("Parts");
    AddPart(*parts, "Elbow", jet::Currency{12'5000});
    AddPart(*parts, "Branch", jet::Currency{31'0000});
    AddPart(*parts, "Damper", jet::Currency{48'9900});
    database->Commit();

    FindPart(*parts, "Branch");
    std::printf("%u rows\n", static_cast<unsigned>(parts->row_count()));
    return 0;
  } catch (const jet::Error& error) {
    std::fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}
