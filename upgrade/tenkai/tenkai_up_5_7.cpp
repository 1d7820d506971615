#include <string>

#include "upgrade/rows.h"
#include "upgrade/tenkai/allowance_rows.h"
#include "upgrade/tenkai/round_duct_rows.h"
#include "upgrade/tenkai/tenkai_up_m.h"

namespace upgrade {

// A row is saved by the AddRow of the next one.
void Tenkai_UP_M::Tenkai_Up_5() {
  db_.ClearError();
  for (const char* material : kAllowanceMaterials) {
    db_.OpenTable(std::string(kJointAllowances) + material);
    for (const JointAllowanceRow& row : kJointRows) {
      db_.AddRow();
      db_.SetField("接続口形状", row.shape);
      db_.SetField("ｼﾛ", row.kind);
      SetFields(db_, kJointFields, Integer(row.value));
    }
    db_.SaveRow();
    db_.CloseTable();
  }
}

void Tenkai_UP_M::Tenkai_Up_6() {
  constexpr int kGeneratedRows = 16;
  db_.ClearError();
  db::Catalog catalog = db_.BindCatalog();
  AppendColumns(db_, db_.GetTable(catalog, kRoundDuctTable), kCutWidthColumns);
  db_.ReopenDb();

  db_.OpenTable(kRoundDuctTable);
  SetFields(db_, kCutWidths, "0.5");
  db_.SetField(kOverlapLine, "0");
  db_.NextRow();
  for (int row = 1; row < kGeneratedRows; ++row) {
    SetFields(db_, kCutWidths, "0");
    db_.SetField(kOverlapLine, "0");
    if (row != kGeneratedRows - 1) db_.NextRow();
  }
  db_.SaveRow();
  db_.CloseTable();
}

void Tenkai_UP_M::Tenkai_Up_7() {
  db_.ClearError();
  db_.OpenTable(kRoundDuctTable);
  db_.LastRow();
  AddTakeOffRows(kTakeOffZeroFields7);
  db_.SaveRow();
  db_.CloseTable();
}

}  // namespace upgrade
