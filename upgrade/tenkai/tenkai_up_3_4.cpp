#include <string>

#include "upgrade/rows.h"
#include "upgrade/tenkai/allowance_rows.h"
#include "upgrade/tenkai/round_duct_rows.h"
#include "upgrade/tenkai/tenkai_up_m.h"

namespace upgrade {

void Tenkai_UP_M::Tenkai_Up_3() {
  db_.ClearError();
  for (const char* material : kAllowanceMaterials) {
    db_.OpenTable(std::string(kAngleAllowances) + material);
    for (const AngleAllowanceRow& row : kAngleRows) {
      db_.AddRow();
      db_.SetField("接続口形状", row.shape);
      db_.SetField("ｼﾛ", row.kind);
      SetFields(db_, kAngleSizes, row.value);
      SetFields(db_, kAngleAuxiliaries, Integer(0));
      db_.SaveRow();
    }
    db_.CloseTable();
  }
}

void Tenkai_UP_M::Tenkai_Up_4() {
  db_.ClearError();
  db::Catalog catalog = db_.BindCatalog();
  if (!TryAppendTable(db_, catalog, db_.CreateTable(kRoundDuctTable))) return;
  AppendColumns(db_, db_.GetTable(catalog, kRoundDuctTable), kRoundDuctColumns);
  db_.ReopenDb();

  db_.OpenTable(kRoundDuctTable);
  for (std::size_t i = 0; i < std::size(kSeamAllowances); ++i) {
    db_.AddRow();
    db_.SetField("材質", kSeamMaterials[i / 4]);
    db_.SetField("ﾊｾﾞ種類", kSeamKinds[i % 4 / 2]);
    db_.SetField("ﾊｾﾞ形状", kSeamShapes[i % 2]);
    SetFields(db_, kSeamAllowanceFields, kSeamAllowances[i]);
    SetFields(db_, kSeamZeroFields, Integer(0));
    for (const JointCutRow& cut : kJointCuts) {
      db_.SetField(cut.field, ToValue(Integer(i == 0 ? cut.first_row : std::int16_t{0})));
    }
    db_.SaveRow();
  }
  AddTakeOffRows(kTakeOffZeroFields4);
  db_.SaveRow();
  db_.CloseTable();
}

void Tenkai_UP_M::AddTakeOffRows(std::span<const char* const> zero_fields) {
  for (const char* material : kSeamMaterials) {
    for (const char* shape : kTakeOffShapes) {
      db_.AddRow();
      db_.SetField("材質", material);
      db_.SetField("ﾊｾﾞ種類", kTakeOffKind);
      db_.SetField("ﾊｾﾞ形状", shape);
      SetFields(db_, kSeamAllowanceFields, "15");
      SetFields(db_, zero_fields, "0");
    }
  }
}

}  // namespace upgrade
