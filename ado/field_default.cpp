#include "ado/field_default.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>

#include "ado/error.h"
#include "ado/value.h"
#include "jet/base/ascii.h"
#include "sql/sql.h"

namespace ado {
namespace {

// Nothing for what is not an expression that runs.
std::optional<jet::Value> Evaluate(jet::Database& database, std::string_view expression,
                                   jet::DateTime now) {
  if (const std::size_t sign = expression.find_first_not_of(' ');
      sign != expression.npos && expression[sign] == '=') {
    expression.remove_prefix(sign + 1);
  }
  try {
    const jet::QueryDefinition query = sql::Parse(fmt::format("SELECT {} AS [value]", expression));
    using Row = jet::QueryRow;
    const auto count = [&](Row::Attribute attribute) {
      return std::ranges::count(query.rows, attribute, &Row::attribute);
    };
    if (count(Row::kSource) != 0 || count(Row::kOutput) != 1) return std::nullopt;
    sql::Inputs inputs;
    inputs.now = now;
    const auto rows = sql::Run(database, query, inputs);
    if (!rows->Next()) return std::nullopt;
    return rows->value(0);
  } catch (const sql::Error&) {
    return std::nullopt;
  }
}

}  // namespace

jet::Value DefaultOf(jet::Database& database, const jet::Table& table, std::size_t ordinal,
                     jet::DateTime now) {
  try {
    return table.DefaultOf(ordinal);
  } catch (const jet::Error& error) {
    if (error.code() != jet::ErrorCode::kNotSupported) throw;
    const jet::ColumnInfo& column = table.columns()[ordinal];
    if (const auto value = Evaluate(database, column.default_expression, now)) {
      return ConvertTo(column, *value);
    }
    throw Error(kErrFail,
                fmt::format("テーブル '{}' のフィールド '{}' の既定値の式 {} はまだ計算できません。"
                            "このフィールドに値を設定していないため、レコードを追加できません。",
                            error.table(), error.column(), column.default_expression),
                error.code());
  }
}

std::vector<jet::Value> NewRow(jet::Database& database, const jet::Table& table,
                               std::vector<jet::FieldChange> given, jet::DateTime now) {
  try {
    return table.NewRow(given);
  } catch (const jet::Error& error) {
    if (error.code() != jet::ErrorCode::kNotSupported) throw;
  }
  for (std::size_t i = 0; i < table.columns().size(); ++i) {
    if (std::ranges::find(given, i, &jet::FieldChange::ordinal) != given.end()) continue;
    given.push_back({i, DefaultOf(database, table, i, now)});
  }
  return table.NewRow(given);
}

}  // namespace ado
