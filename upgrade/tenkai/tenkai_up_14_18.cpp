#include "upgrade/rows.h"
#include "upgrade/tenkai/correction_rows.h"
#include "upgrade/tenkai/setting_rows.h"
#include "upgrade/tenkai/tenkai_up_m.h"

namespace upgrade {

void Tenkai_UP_M::Tenkai_Up_14() {
  db_.ClearError();
  db::Catalog catalog = db_.BindCatalog();
  const db::Table table = db_.GetTable(catalog, "ﾂﾏ板設定");
  for (const SuccessorRow& row : kFiveFaceBox) db_.AppendColumn(table, row.field, row.type, 0);
  db_.ReopenDb();

  db_.OpenTable("ﾂﾏ板設定");
  for (const SuccessorRow& row : kFiveFaceBox) db_.SetField(row.field, db_.GetField(row.older));
  db_.SaveRow();
  db_.CloseTable();
}

void Tenkai_UP_M::Tenkai_Up_15() {
  db_.ClearError();
  db::Catalog catalog = db_.BindCatalog();
  AppendColumns(db_, db_.GetTable(catalog, "形状別設定"), kShapeSettings);
  db_.ReopenDb();

  db_.OpenTable("形状別設定");
  db_.SetField("FG0幅", db_.GetField("直管・短管接続サイズ（その他）"));
  db_.SetField("接合部カットH_共板", std::int16_t{0});
  db_.SetField("接合部カットH_その他", std::int16_t{0});
  db_.SetField("接合部カットH_0", std::int16_t{0});
  db_.SaveRow();
  db_.CloseTable();

  AppendSettings("接続口基本設定", kButtNotches);
}

void Tenkai_UP_M::Tenkai_Up_16() {
  db_.ClearError();
  AppendSettings("設定_NEST", kNestSettings);
  AppendSettings("印刷初期値", kPrintSettings);

  db::Catalog catalog = db_.BindCatalog();
  db_.AppendColumn(db_.GetTable(catalog, "設定_円弧分割数"), "丸ダクト分割数", db::adDouble, 0);
  db_.ReopenDb();

  db_.OpenTable("設定_円弧分割数");
  for (std::size_t row = 0; row < std::size(kRoundDuctDivisions); ++row) {
    if (row != 0) db_.NextRow();
    db_.SetField("丸ダクト分割数", kRoundDuctDivisions[row]);
  }
  db_.SaveRow();
  db_.CloseTable();
}

void Tenkai_UP_M::Tenkai_Up_17() {
  db_.ClearError();
  AppendSettings("設定_CADLink", kCadLink);
}

void Tenkai_UP_M::Tenkai_Up_18() {
  constexpr std::int16_t kFirstId = 25;
  db_.ClearError();
  for (const char* table : kCorrectionTables) {
    db_.OpenTable(table);
    db_.LastRow();
    std::int16_t id = kFirstId;
    for (const CorrectionRow& row : kCorrections) {
      db_.AddRow();
      db_.SetField("ID", id);
      db_.SetField("ﾀﾞｸﾄ形状", row.duct);
      db_.SetField("板取", row.layout);
      db_.SetField("ﾊｾﾞ形状", row.seam);
      SetFields(db_, kCorrectionFields, Integer(0));
      db_.SaveRow();
      ++id;
    }
    db_.CloseTable();
  }
}

}  // namespace upgrade
