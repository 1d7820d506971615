#include "mdbadm/view_scope.h"

#include <fmt/format.h>

namespace mdbadm {

ViewKind ViewKindOf(jet::ColumnType type) {
  switch (type) {
    case jet::ColumnType::kBoolean:
      return ViewKind::kFlag;
    case jet::ColumnType::kByte:
    case jet::ColumnType::kInteger:
    case jet::ColumnType::kLong:
      return ViewKind::kWhole;
    case jet::ColumnType::kCurrency:
      return ViewKind::kMoney;
    case jet::ColumnType::kDouble:
    case jet::ColumnType::kNumeric:
      return ViewKind::kReal;
    case jet::ColumnType::kSingle:
      return ViewKind::kSingle;
    case jet::ColumnType::kDateTime:
      return ViewKind::kDate;
    case jet::ColumnType::kText:
    case jet::ColumnType::kMemo:
      return ViewKind::kText;
    case jet::ColumnType::kGuid:
      return ViewKind::kGuid;
    default:
      return ViewKind::kBytes;
  }
}

bool IsNumber(ViewKind kind) {
  return kind == ViewKind::kWhole || kind == ViewKind::kMoney || kind == ViewKind::kReal;
}

std::string Bracketed(const std::string& name) {
  if (name.find(']') != std::string::npos) throw NoCounterpart("name " + name);
  return '[' + name + ']';
}

std::optional<Piece> ViewScope::Find(const std::string& qualifier, const std::string& name) const {
  std::optional<Piece> found;
  for (const ViewSource& source : sources_) {
    if (!qualifier.empty() && !jet::SameName(order_, source.name, qualifier)) continue;
    for (const ViewColumn& column : source.columns) {
      if (!jet::SameName(order_, column.name, name)) continue;
      if (found) throw NoCounterpart("the place of " + name);
      found = Piece{Bracketed(source.name) + '.' + Bracketed(column.name), column.kind};
    }
  }
  return found;
}

std::optional<Piece> ViewScope::OwnColumn(const sql::Expr& column) const {
  if (auto found = Find(column.qualifier, column.name)) return found;
  // [table.column] in one pair of brackets.
  const std::size_t point = column.name.find('.');
  if (!column.qualifier.empty() || point == std::string::npos) return std::nullopt;
  return Find(column.name.substr(0, point), column.name.substr(point + 1));
}

std::optional<Piece> ViewScope::Column(const sql::Expr& column) const {
  for (const ViewScope* each = this; each != nullptr; each = each->outer_) {
    if (auto found = each->OwnColumn(column)) return found;
  }
  return std::nullopt;
}

const ViewSource& ViewScope::Source(const std::string& name) const {
  for (const ViewSource& source : sources_) {
    if (jet::SameName(order_, source.name, name)) return source;
  }
  throw NoCounterpart("source " + name);
}

}  // namespace mdbadm
