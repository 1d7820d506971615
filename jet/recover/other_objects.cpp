#include "jet/recover/other_objects.h"

#include <fmt/format.h>

#include <map>

#include "jet/base/error.h"

namespace jet::recover {
namespace {

bool IsFixed(std::int32_t container) {
  return container == kRootContainer || container == kTablesContainer ||
         container == kDatabasesContainer || container == kRelationshipsContainer;
}

bool IsOther(const OldObject& object) {
  return object.id < 0 && object.type != kQueryObject && object.type != kRelationObject;
}

}  // namespace

void CopyOtherObjects(const OldCatalog& old, NewFile& file, RecoverReport& report) {
  std::map<std::int32_t, std::int32_t> ids;  // old to new
  const auto copy = [&](const OldObject& object) {
    const auto parent = ids.find(object.parent);
    NewObject entry;
    entry.name = object.name;
    entry.type = object.type;
    entry.flags = object.flags;
    entry.created = object.created;
    entry.updated = object.updated;
    entry.properties = object.properties;
    entry.parent = parent == ids.end() ? object.parent : parent->second;
    entry.other_fields = object.other_fields;
    try {
      if (parent == ids.end() && !IsFixed(entry.parent)) {
        throw Error(ErrorCode::kDamaged, "what it belongs to is lost");
      }
      ids[object.id] = file.AddObject(std::nullopt, entry).id;
    } catch (const Error& error) {
      if (error.code() == ErrorCode::kIo || error.code() == ErrorCode::kDiskFull) throw;
      report.losses.push_back(fmt::format("the object {}: {}", object.name, error.what()));
    }
  };
  // Containers come before what is in them.
  for (const bool containers : {true, false}) {
    for (const OldObject& object : old.objects) {
      if (IsOther(object) && (object.type == kContainer) == containers) copy(object);
    }
  }
}

}  // namespace jet::recover
