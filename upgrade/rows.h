// What steps share: columns and values as rows of a table, and the few moves
// that steps of both ladders make.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>
#include <variant>

#include "db/db_handle.h"

namespace upgrade {

struct ColumnRow {
  const char* name;
  ado::DataType type;
  std::size_t size;  // characters of text, else 0
};
inline constexpr std::size_t kTextChars = 50;

// A value in the kind in which a step assigns it: text, Integer, Long, Double.
// The provider converts it to the column's type.
using Literal = std::variant<const char*, std::int16_t, std::int32_t, double>;
constexpr Literal Integer(std::int16_t value) { return value; }
constexpr Literal Long(std::int32_t value) { return value; }
db::Value ToValue(const Literal& literal);

struct FieldRow {
  const char* field;
  Literal value;
};

// A column that a step adds, and the value that it then gives it.
struct SettingRow {
  const char* field;
  ado::DataType type;
  Literal value;
};

void AppendColumns(db::DbHandle& db, const db::Table& table, std::span<const ColumnRow> columns);
void AppendColumns(db::DbHandle& db, const db::Table& table, std::span<const SettingRow> settings);
// On the current row, in this order, without saving.
void SetFields(db::DbHandle& db, std::span<const FieldRow> fields);
void SetFields(db::DbHandle& db, std::span<const SettingRow> settings);
void SetFields(db::DbHandle& db, std::span<const char* const> fields, const Literal& value);

// Appends a new table, error-tolerant for this one operation. False if it
// failed: the table, or a query of its name, is there already.
bool TryAppendTable(db::DbHandle& db, const db::Catalog& catalog, const db::Table& table);

// Null equals no number.
bool HasNumber(const db::Value& value, double number);
// Walks from the current row to the first one whose `field` equals `number`.
// False at the end of the table.
bool FindRow(db::DbHandle& db, std::string_view field, double number);

// Row counters are 16 bits wide. Throws error 6 behind the last of them.
void AddOne(std::int16_t& counter);

}  // namespace upgrade
