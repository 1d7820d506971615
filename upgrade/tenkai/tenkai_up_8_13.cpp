#include "upgrade/rows.h"
#include "upgrade/tenkai/round_duct_rows.h"
#include "upgrade/tenkai/setting_rows.h"
#include "upgrade/tenkai/tenkai_up_m.h"

namespace upgrade {

void Tenkai_UP_M::Tenkai_Up_8() {
  db_.ClearError();
  AppendSettings("接続口基本設定", kInsertCuts);
}

void Tenkai_UP_M::Tenkai_Up_9() {
  db_.ClearError();
  AppendSettings(kRoundDuctTable, kBranchCorrections);
}

void Tenkai_UP_M::AppendSettings(std::string_view table, std::span<const SettingRow> settings) {
  db::Catalog catalog = db_.BindCatalog();
  AppendColumns(db_, db_.GetTable(catalog, table), settings);
  db_.ReopenDb();
  WriteSettings(table, settings);
}

void Tenkai_UP_M::WriteSettings(std::string_view table, std::span<const SettingRow> settings) {
  db_.OpenTable(table);
  SetFields(db_, settings);
  db_.SaveRow();
  db_.CloseTable();
}

void Tenkai_UP_M::Tenkai_Up_10() {
  db_.ClearError();
  db::Catalog catalog = db_.BindCatalog();
  AppendColumns(db_, db_.GetTable(catalog, "板取設定_角丸"), kLayoutSettings);
  AppendColumns(db_, db_.GetTable(catalog, "設定_NEST"), kNestController);
  AppendColumns(db_, db_.GetTable(catalog, "ﾂﾏ板設定"), kEndPlateSeams);
  db_.ReopenDb();

  WriteSettings("板取設定_角丸", kLayoutSettings);
  WriteSettings("設定_NEST", kNestController);
  WriteSettings("ﾂﾏ板設定", kEndPlateSeams);
}

// The first row is saved by the AddRow of the second.
void Tenkai_UP_M::Tenkai_Up_11() {
  db_.ClearError();
  db_.OpenTable("設定_直管板取形状");
  db_.AddRow();
  db_.SetField("板取り形状", "グル巻き 分割なし");
  db_.AddRow();
  db_.SetField("板取り形状", "グル巻き 分割あり");
  db_.SaveRow();
  db_.CloseTable();
}

void Tenkai_UP_M::Tenkai_Up_12() {
  db_.ClearError();
  WriteThicknessCodes();
}

void Tenkai_UP_M::Tenkai_Up_13() {
  db_.ClearError();
  WriteThicknessCodes();
}

// A code is the base of its row plus the place of its thickness. The bases of
// rows 3 and 4 are swapped.
void Tenkai_UP_M::WriteThicknessCodes() {
  constexpr const char* kThicknesses[] = {"05", "06", "08", "10", "12", "15", "16", "23"};
  constexpr double kBases[] = {10, 20, 40, 30, 50, 60};
  db_.OpenTable("設定_材質板厚ｺｰﾄﾞ");
  db_.FirstRow();
  for (std::size_t row = 0; row < std::size(kBases); ++row) {
    double code = kBases[row];
    for (const char* thickness : kThicknesses) db_.SetField(thickness, db::Value(++code));
    db_.SaveRow();
    if (row != std::size(kBases) - 1) db_.NextRow();
  }
  db_.CloseTable();
}

}  // namespace upgrade
