#include "tests/support/content.h"

#include <fmt/format.h>

#include <type_traits>

#include "jet/table/internals.h"

namespace test_support {
namespace {

std::string TextOf(const jet::Value& value) {
  return std::visit(
      [](const auto& v) -> std::string {
        using T = std::decay_t<decltype(v)>;
        if constexpr (std::is_same_v<T, jet::Null>) {
          return "Null";
        } else if constexpr (std::is_arithmetic_v<T>) {
          return fmt::format("{}", v);
        } else if constexpr (std::is_same_v<T, std::string>) {
          return '"' + v + '"';
        } else if constexpr (std::is_same_v<T, jet::Bytes>) {
          return fmt::format("x{:02X}", fmt::join(v, ""));
        } else if constexpr (std::is_same_v<T, jet::Currency>) {
          return fmt::format("{}/10000", v.ten_thousandths);
        } else if constexpr (std::is_same_v<T, jet::DateTime>) {
          return fmt::format("d{}", v.days);
        } else if constexpr (std::is_same_v<T, jet::Guid>) {
          return jet::FormatGuid(v);
        } else {
          return jet::FormatNumeric(v, 0);
        }
      },
      value);
}

void AddTable(jet::Database& database, const jet::ObjectInfo& object, std::string& text) {
  const auto table = database.OpenTable(object);
  const jet::TableDef& def = DefOf(*table);
  for (const jet::ColumnDef& column : def.columns) {
    text +=
        fmt::format(" column {} {} {}\n", column.name, jet::TypeName(column.type), column.length);
  }
  for (const jet::LogicalIndex& index : def.logical_indexes) {
    text += fmt::format(" index {} {}\n", index.name, def.real_indexes.at(index.real).flags);
  }
  for (jet::TableScan scan(*table); scan.Next();) {
    for (std::size_t i = 0; i < def.columns.size(); ++i) {
      text += ' ' + TextOf(scan.row().Get(i));
    }
    text += '\n';
  }
}

}  // namespace

std::string ContentOf(jet::Database& database) {
  std::string text;
  for (const jet::ObjectInfo& object : database.Objects()) {
    text += fmt::format("{} kind {} type {}\n", object.name, static_cast<int>(object.kind),
                        object.type);
    if (object.kind == jet::ObjectKind::kTable) AddTable(database, object, text);
    const jet::Properties properties = database.LoadProperties(object);
    for (const auto& group : properties.groups()) {
      for (const jet::Property& property : group.values) {
        text += fmt::format(" property {} {} x{:02X}\n", group.column, property.name,
                            fmt::join(property.value, ""));
      }
    }
    if (object.kind != jet::ObjectKind::kQuery) continue;
    for (const jet::QueryRow& row : database.LoadQuery(object).rows) {
      text += fmt::format(" query {} {} {} {} {}\n", row.attribute, row.flag.value_or(-1),
                          row.name1.value_or("-"), row.name2.value_or("-"),
                          row.expression.value_or("-"));
    }
  }
  return text;
}

}  // namespace test_support
