#include "jet/recover/old_catalog.h"

#include <algorithm>
#include <set>

#include "jet/base/bytes.h"
#include "jet/base/error.h"
#include "jet/base/system_ids.h"

namespace jet::recover {
namespace {

// Of a table of its own they are Null.
constexpr const char* kOtherFields[] = {"Connect", "Database", "ForeignName", "Lv",
                                        "LvExtra", "LvModule", "RmtInfoLong", "RmtInfoShort"};

// Parsing keeps what it does not know; here that is damage.
void RequireKnownChunks(ByteView blob) {
  for (std::size_t at = 4; at < blob.size();) {
    const std::uint16_t kind = GetU16(blob, at + 4);
    if (kind > 1 && kind != 0x80) throw Error(ErrorCode::kDamaged, "an unknown kind of chunk");
    at += std::max<std::size_t>(4, GetU32(blob, at));
  }
}

class ObjectReader {
 public:
  explicit ObjectReader(const RowJudge& judge) : judge_(&judge) {}

  // Nothing for a row that no object can have.
  std::optional<OldObject> Read(const OldRow& row) const {
    OldObject object;
    const Value id = Field(row, "Id"), name = Field(row, "Name"), type = Field(row, "Type");
    const auto* number = std::get_if<std::int32_t>(&id);
    const auto* text = std::get_if<std::string>(&name);
    if (number == nullptr || text == nullptr || text->empty()) return std::nullopt;
    object.id = *number;
    object.name = *text;
    object.type = ValueOr<std::int16_t>(type, 0);
    object.parent = ValueOr<std::int32_t>(Field(row, "ParentId"), kTablesContainer);
    object.flags = static_cast<std::uint32_t>(ValueOr<std::int32_t>(Field(row, "Flags"), 0));
    object.created = ValueOr<DateTime>(Field(row, "DateCreate"), {});
    object.updated = ValueOr<DateTime>(Field(row, "DateUpdate"), {});
    ReadProperties(row, object);
    for (const char* column : kOtherFields) {
      Value value = Field(row, column);
      if (!IsNull(value)) object.other_fields.emplace_back(column, std::move(value));
    }
    return object;
  }

 private:
  Value Field(const OldRow& row, const char* column) const {
    const auto ordinal = judge_->def().FindColumn(column, kGeneral);
    return ordinal ? judge_->ValueOf(row, *ordinal) : Value(Null{});
  }

  void ReadProperties(const OldRow& row, OldObject& object) const {
    const auto ordinal = judge_->def().FindColumn("LvProp", kGeneral);
    if (!ordinal) return;
    object.lost_properties = std::ranges::count(row.gone, *ordinal) != 0;
    const Value blob = judge_->ValueOf(row, *ordinal);
    const auto* bytes = std::get_if<Bytes>(&blob);
    if (bytes == nullptr || bytes->empty()) return;
    try {
      RequireKnownChunks(*bytes);
      object.properties = Properties::Parse(*bytes);
    } catch (const Error&) {
      object.lost_properties = true;
    }
  }

  const RowJudge* judge_;
};

}  // namespace

bool OldObject::is_table() const {
  return (type == kTableObject || type == kOdbcLink) && id > 0 && id < kRootContainer;
}

void OldCatalog::KeepNames() {
  std::erase_if(objects, [](const OldObject& object) { return object.type != kTableObject; });
  for (OldObject& object : objects) {
    object.flags = 0;
    object.properties = {};
    object.lost_properties = true;
    object.other_fields.clear();
  }
}

const OldObject* OldCatalog::Find(PageNumber definition) const {
  const auto found = std::ranges::find_if(objects, [definition](const OldObject& object) {
    return object.is_table() && static_cast<std::uint32_t>(object.id) == definition.value;
  });
  return found == objects.end() ? nullptr : &*found;
}

OldCatalog ReadOldCatalog(OldRows& rows, const RowJudge& judge) {
  OldCatalog catalog;
  const ObjectReader reader(judge);
  std::set<std::int32_t> ids;
  rows.Visit([&](const OldRow& row) {
    std::optional<OldObject> object = reader.Read(row);
    if (!object) {
      ++catalog.broken;
      return;
    }
    catalog.doubtful = catalog.doubtful || row.doubtful;
    if (ids.insert(object->id).second) catalog.objects.push_back(std::move(*object));
  });
  catalog.broken += rows.broken();
  catalog.lost_pages = rows.lost_pages();
  return catalog;
}

}  // namespace jet::recover
