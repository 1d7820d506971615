#include "fuzz/content.h"

#include <fmt/format.h>

namespace fuzz {
namespace {

struct TextOfValue {
  std::string operator()(jet::Null) const { return "-"; }
  std::string operator()(bool value) const { return value ? "yes" : "no"; }
  std::string operator()(std::uint8_t value) const { return std::to_string(value); }
  std::string operator()(std::int16_t value) const { return std::to_string(value); }
  std::string operator()(std::int32_t value) const { return std::to_string(value); }
  std::string operator()(jet::Currency value) const {
    return std::to_string(value.ten_thousandths);
  }
  std::string operator()(float value) const { return fmt::format("{}", value); }
  std::string operator()(double value) const { return fmt::format("{}", value); }
  std::string operator()(jet::DateTime value) const { return fmt::format("{}", value.days); }
  std::string operator()(const std::string& value) const { return value; }
  std::string operator()(const jet::Bytes& value) const { return ToImage(value); }
  std::string operator()(const jet::Guid& value) const { return jet::FormatGuid(value); }
  std::string operator()(const jet::Numeric& value) const { return jet::FormatNumeric(value, 0); }
};

}  // namespace

std::string ToImage(jet::ByteView file) { return {file.begin(), file.end()}; }

std::string TextOf(const jet::Table::Row& row, std::size_t columns) {
  std::string text;
  for (std::size_t i = 0; i < columns; ++i) text += std::visit(TextOfValue(), row.Get(i)) + '\x1F';
  return text;
}

void ForEachRow(jet::Database& database,
                const std::function<void(const jet::Table&, const jet::Table::Row&)>& visit,
                jet::ObjectKind kind) {
  for (const jet::ObjectInfo& object : database.Objects()) {
    if (object.kind != kind) continue;
    const auto table = database.OpenTable(object);
    for (jet::TableScan scan(*table); scan.Next();) visit(*table, scan.row());
  }
}

}  // namespace fuzz
