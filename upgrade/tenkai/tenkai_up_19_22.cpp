#include "upgrade/rows.h"
#include "upgrade/tenkai/cut_setting_rows.h"
#include "upgrade/tenkai/round_duct_rows.h"
#include "upgrade/tenkai/tenkai_up_m.h"

namespace upgrade {

void Tenkai_UP_M::Tenkai_Up_19() {
  db_.ClearError();
  db_.OpenTable("設定_材質別ｺｰﾄﾞ");
  db_.FirstRow();
  for (int move = 1; move <= 8; ++move) db_.NextRow();
  db_.SetField("材質・板厚ID", std::int16_t{7});
  db_.SaveRow();

  db_.OpenTable("設定_材質板厚ｺｰﾄﾞ");
  db_.AddRow();
  SetFields(db_, kSuperDyma);
  db_.SaveRow();
  db_.CloseTable();
}

void Tenkai_UP_M::Tenkai_Up_20() {
  db_.ClearError();
  db::Catalog catalog = db_.BindCatalog();
  if (!TryAppendTable(db_, catalog, db_.CreateTable(kCutTable))) return;
  const db::Table cuts = db_.GetTable(catalog, kCutTable);
  for (const CutRow& cut : kCuts) db_.AppendColumn(cuts, cut.field, db::adInteger, 0);
  AppendColumns(db_, db_.GetTable(catalog, "ﾂﾏ板設定"), kEndPlateJoints);
  db_.ReopenDb();

  db_.OpenTable(kCutTable);
  for (const auto value : {&CutRow::first, &CutRow::second}) {
    db_.AddRow();
    for (const CutRow& cut : kCuts) db_.SetField(cut.field, ToValue(cut.*value));
    db_.SaveRow();
  }

  WriteSettings("ﾂﾏ板設定", kEndPlateJoints);
}

void Tenkai_UP_M::Tenkai_Up_21() {
  db_.ClearError();
  db::Catalog catalog = db_.BindCatalog();
  AppendColumns(db_, db_.GetTable(catalog, kCutTable), kOvals);
  db_.ReopenDb();

  db_.OpenTable(kCutTable);
  SetFields(db_, kOvals);
  db_.SaveRow();
  db_.NextRow();
  SetFields(db_, kOvals);
  db_.SaveRow();
  db_.CloseTable();
}

void Tenkai_UP_M::Tenkai_Up_22() {
  db_.ClearError();
  db::Catalog catalog = db_.BindCatalog();
  AppendColumns(db_, db_.GetTable(catalog, kRoundDuctTable), kElbowSettings);
  db_.ReopenDb();

  db_.OpenTable(kRoundDuctTable);
  SetFields(db_, kElbowSettings);
  db_.SaveRow();
  db_.SaveRow();
  db_.CloseTable();

  db_.OpenTable("設定_Box板取形状");
  for (int move = 1; move <= 5; ++move) db_.NextRow();
  db_.SetField("BL5面Box", "4枚取り　特殊");
  db_.SaveRow();
  db_.SaveRow();
  db_.CloseTable();
}

}  // namespace upgrade
