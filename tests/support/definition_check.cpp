#include "tests/support/definition_check.h"

#include <algorithm>

#include "jet/base/bytes.h"
#include "jet/base/system_ids.h"
#include "jet/database/internals.h"
#include "jet/row/table_def_bytes.h"
#include "jet/row/table_def_chain.h"

namespace test_support {

DefinitionCheck RewriteDefinitions(jet::Database& database) {
  DefinitionCheck check;
  jet::Pager& pager = jet::Internals(database).pager();
  for (const jet::ObjectInfo& object : database.Objects()) {
    if (object.type != 1 || object.kind == jet::ObjectKind::kOther) continue;
    const jet::PageNumber page{static_cast<std::uint32_t>(object.id)};
    const jet::TableDef def = jet::LoadTableDef(pager, page);
    jet::Bytes stored;
    for (const jet::PageNumber part : def.pages) {
      const jet::PageRef ref = pager.Read(part);
      jet::AddBytes(stored, part == page ? jet::ByteView(ref.bytes()) : ref.bytes().subspan(8));
    }
    const jet::Bytes ours = jet::WriteDefinition(def);
    // The first eight bytes belong to the page, and behind the content stands what the
    // writer's memory held.
    const bool same = jet::GetU32(ours, 8) == jet::GetU32(stored, 8) &&
                      std::equal(ours.begin() + 8, ours.end(), stored.begin() + 8);
    if (!same) check.changed.push_back(object.name);
    ++check.definitions;
    check.chains += def.pages.size() > 1 ? 1 : 0;
  }
  return check;
}

}  // namespace test_support
