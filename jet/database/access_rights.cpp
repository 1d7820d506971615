#include "jet/database/access_rights.h"

#include <optional>
#include <utility>
#include <vector>

#include "jet/base/system_ids.h"

namespace jet {
namespace {

// Ordinals of the columns.
struct RightColumns {
  explicit RightColumns(const Table& table)
      : object(table.OrdinalOf("ObjectId")),
        sid(table.OrdinalOf("SID")),
        rights(table.OrdinalOf("ACM")),
        inheritable(table.OrdinalOf("FInheritable")) {}
  std::size_t object, sid, rights, inheritable;
};

struct Right {
  Bytes sid;
  std::int32_t rights = 0;
};

// What the container of tables hands on: its creator's rights go to the owner,
// together with those the owner has there by name; the rest is copied.
std::vector<Right> InheritedRights(const Table& table, const RightColumns& columns,
                                   const Header& header, const Bytes& owner) {
  // The stored ids are worth more than what the header computes: only they
  // are sure to carry the mask that the file was written with.
  Bytes creator = header.MaskSid(kCreatorSid);
  if (owner.size() == kAdminSid.size()) {
    for (std::size_t i = 0; i < creator.size(); ++i) {
      creator[i] = static_cast<std::uint8_t>(owner[i] ^ kAdminSid[i] ^ kCreatorSid[i]);
    }
  }
  std::vector<Right> inherited{{owner, 0}};
  for (TableScan scan(table); scan.Next();) {
    const Table::Row& row = scan.row();
    if (ValueOr<std::int32_t>(row.Get(columns.object), 0) != kTablesContainer) continue;
    if (!ValueOr<bool>(row.Get(columns.inheritable), false)) continue;
    Right found{ValueOr<Bytes>(row.Get(columns.sid), {}),
                ValueOr<std::int32_t>(row.Get(columns.rights), 0)};
    if (found.sid == creator || found.sid == owner) {
      inherited.front().rights |= found.rights;
    } else {
      inherited.push_back(std::move(found));
    }
  }
  return inherited;
}

}  // namespace

void GrantInherited(Table& rights, const Header& header, std::int32_t object, const Bytes& owner) {
  const RightColumns columns(rights);
  std::vector<Value> values;
  for (const Right& right : InheritedRights(rights, columns, header, owner)) {
    values.assign(rights.columns().size(), Null{});
    values[columns.object] = object;
    values[columns.sid] = right.sid;
    values[columns.rights] = right.rights;
    values[columns.inheritable] = false;
    rights.Insert(values);
  }
}

void RemaskColumn(Table& table, std::string_view column, const Header& from, const Header& to) {
  const std::size_t ordinal = table.OrdinalOf(column);
  Table::Row row;
  for (std::optional<RowId> at = table.First(); at; at = table.Next(*at)) {
    if (!table.Read(*at, row)) continue;
    const Value stored = row.Get(ordinal);
    const Bytes* sid = std::get_if<Bytes>(&stored);
    if (sid == nullptr || sid->empty()) continue;
    const FieldChange change{ordinal, to.MaskSid(from.MaskSid(*sid))};
    table.Update(*at, std::span(&change, 1));
  }
}

}  // namespace jet
