#include "jet/database/catalog_queries.h"

#include <algorithm>
#include <array>

#include "jet/base/error.h"

namespace jet {

namespace {

// Ordinals of the columns that we use.
struct QueryColumns {
  explicit QueryColumns(const Table& table)
      : object(table.OrdinalOf("ObjectId")),
        attribute(table.OrdinalOf("Attribute")),
        order(table.OrdinalOf("Order")),
        flag(table.OrdinalOf("Flag")),
        name1(table.OrdinalOf("Name1")),
        name2(table.OrdinalOf("Name2")),
        expression(table.OrdinalOf("Expression")) {}
  std::size_t object, attribute, order, flag, name1, name2, expression;
};

// The place of an attribute among the rows of a query: start, end, the rest.
int Rank(std::uint8_t attribute) {
  if (attribute == QueryRow::kStart) return 0;
  return attribute == QueryRow::kEnd ? 1 : attribute + 2;
}

std::optional<std::string> OptionalText(const Table::Row& row, std::size_t ordinal) {
  std::string text;
  if (!row.GetText(ordinal, text)) return std::nullopt;
  return text;
}

Value TextOrNull(const std::optional<std::string>& text) {
  return text ? Value(*text) : Value(Null{});
}

struct StoredRow {
  Bytes order;
  QueryRow row;
};

}  // namespace

QueryDefinition ReadQueryRows(const Table& table, std::int32_t id) {
  const QueryColumns columns(table);
  std::vector<StoredRow> found;
  for (TableScan scan(table); scan.Next();) {
    const Table::Row& row = scan.row();
    if (row.Get(columns.object) != Value(id)) continue;
    const Value attribute = row.Get(columns.attribute);
    const Value number = row.Get(columns.order);
    if (!std::holds_alternative<std::uint8_t>(attribute)) {
      throw Error::Damaged(row.id().page, "a row of a query has no attribute");
    }
    StoredRow stored;
    if (const Bytes* bytes = std::get_if<Bytes>(&number)) stored.order = *bytes;
    stored.row.attribute = std::get<std::uint8_t>(attribute);
    const Value flag = row.Get(columns.flag);
    if (const auto* set = std::get_if<std::int16_t>(&flag)) stored.row.flag = *set;
    stored.row.name1 = OptionalText(row, columns.name1);
    stored.row.name2 = OptionalText(row, columns.name2);
    stored.row.expression = OptionalText(row, columns.expression);
    found.push_back(std::move(stored));
  }
  std::stable_sort(found.begin(), found.end(), [](const StoredRow& a, const StoredRow& b) {
    const int left = Rank(a.row.attribute), right = Rank(b.row.attribute);
    return left != right ? left < right : a.order < b.order;
  });
  QueryDefinition definition;
  for (StoredRow& stored : found) definition.rows.push_back(std::move(stored.row));
  return definition;
}

void AddQueryRows(Table& table, std::int32_t id, const QueryDefinition& definition) {
  const QueryColumns columns(table);
  std::array<std::uint32_t, 256> numbers{};
  std::vector<Value> values;
  for (const QueryRow& row : definition.rows) {
    const std::uint32_t number = ++numbers[row.attribute];
    values.assign(table.columns().size(), Null{});
    values[columns.object] = id;
    values[columns.attribute] = row.attribute;
    // Most significant byte first, so that the index counts in order.
    values[columns.order] =
        Bytes{static_cast<std::uint8_t>(number >> 24), static_cast<std::uint8_t>(number >> 16),
              static_cast<std::uint8_t>(number >> 8), static_cast<std::uint8_t>(number)};
    if (row.flag) values[columns.flag] = *row.flag;
    values[columns.name1] = TextOrNull(row.name1);
    values[columns.name2] = TextOrNull(row.name2);
    values[columns.expression] = TextOrNull(row.expression);
    table.Insert(values);
  }
}

}  // namespace jet
