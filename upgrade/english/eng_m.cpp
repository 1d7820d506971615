#include "upgrade/english/eng_m.h"

#include <iterator>

#include "upgrade/english/english_names.h"
#include "upgrade/rows.h"

namespace upgrade {

void Eng_M::Eng_Apply() {
  constexpr std::string_view kColumn = "形状名_英語";
  db_.ClearError();
  const db::Catalog catalog = db_.BindCatalog();
  const db::Table shapes = db_.GetTable(catalog, "Spec_形状名（角）");
  bool there = false;
  db_.EachColumn(shapes, [&](const ado::Column& column) {
    there = column.name == kColumn;
    return !there;
  });
  if (there) return;

  db_.AppendColumn(shapes, kColumn, db::adWChar, kTextChars);
  db_.ReopenDb();

  db_.OpenTable("Spec_形状名（角）");
  for (std::size_t slot = 0; slot < std::size(kEnglishNames); ++slot) {
    if (slot == kSkippedSlot) continue;
    db_.SetField(kColumn, kEnglishNames[slot]);
    db_.SaveRow();
    db_.NextRow();
  }
  db_.CloseTable();
}

}  // namespace upgrade
