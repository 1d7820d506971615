#include "upgrade/rows.h"

#include <limits>
#include <string>

namespace upgrade {

db::Value ToValue(const Literal& literal) {
  if (const auto* text = std::get_if<const char*>(&literal)) return std::string(*text);
  if (const auto* integer = std::get_if<std::int16_t>(&literal)) return *integer;
  if (const auto* number = std::get_if<std::int32_t>(&literal)) return *number;
  return std::get<double>(literal);
}

void AppendColumns(db::DbHandle& db, const db::Table& table, std::span<const ColumnRow> columns) {
  for (const ColumnRow& column : columns) {
    db.AppendColumn(table, column.name, column.type, column.size);
  }
}

void AppendColumns(db::DbHandle& db, const db::Table& table, std::span<const SettingRow> settings) {
  for (const SettingRow& row : settings) db.AppendColumn(table, row.field, row.type, 0);
}

void SetFields(db::DbHandle& db, std::span<const FieldRow> fields) {
  for (const FieldRow& row : fields) db.SetField(row.field, ToValue(row.value));
}

void SetFields(db::DbHandle& db, std::span<const SettingRow> settings) {
  for (const SettingRow& row : settings) db.SetField(row.field, ToValue(row.value));
}

void SetFields(db::DbHandle& db, std::span<const char* const> fields, const Literal& value) {
  for (const char* field : fields) db.SetField(field, ToValue(value));
}

bool TryAppendTable(db::DbHandle& db, const db::Catalog& catalog, const db::Table& table) {
  db::Tolerant tolerant(db);
  db.AppendTable(catalog, table);
  return !db.error();
}

bool HasNumber(const db::Value& value, double number) {
  return !jet::IsNull(value) && ado::ToDouble(value) == number;
}

bool FindRow(db::DbHandle& db, std::string_view field, double number) {
  while (!db.AtEnd()) {
    if (HasNumber(db.GetField(field), number)) return true;
    db.NextRow();
  }
  return false;
}

void AddOne(std::int16_t& counter) {
  if (counter == std::numeric_limits<std::int16_t>::max()) {
    throw ado::Error::Standard(ado::kErrOverflow);
  }
  ++counter;
}

}  // namespace upgrade
