#include "upgrade/data/data_up_m.h"
#include "upgrade/data/reinforcement.h"
#include "upgrade/data/specification_rows.h"
#include "upgrade/rows.h"

namespace upgrade {
namespace {

constexpr ColumnRow kFlangeColumns[] = {
    {"入力ＩＤ", ado::adDouble, 0},     {"階", ado::adWChar, kTextChars},
    {"系統", ado::adWChar, kTextChars}, {"サイズW", ado::adDouble, 0},
    {"サイズH", ado::adDouble, 0},      {"数量", ado::adDouble, 0},
    {"m数", ado::adDouble, 0},
};

constexpr ColumnRow kTransferSettings[] = {
    {"転送㎡", ado::adDouble, 0},
    {"㎡制限", ado::adDouble, 0},
};

constexpr ColumnRow kSecondSeams[] = {
    {"ﾎﾞｯｸｽﾊｾﾞｼﾛ_S_2", ado::adDouble, 0},
    {"ﾎﾞｯｸｽﾊｾﾞｼﾛ_W_2", ado::adDouble, 0},
    {"繋ぎﾊｾﾞｼﾛ_S_2", ado::adDouble, 0},
    {"繋ぎﾊｾﾞｼﾛ_W_2", ado::adDouble, 0},
};

constexpr ColumnRow kOpeningPoints[] = {
    {"基準点", ado::adDouble, 0},
    {"開口基点", ado::adDouble, 0},
};

}  // namespace

void Data_Up_M::Data_Up_15() {
  db_.ClearError();
  db_.OpenTable("Spec_補強名称");
  std::int16_t row = 0;
  while (!db_.AtEnd()) {
    db_.SetField("転送名称", ReinforcementTransferName(row));
    db_.SaveRow();
    AddOne(row);
    db_.NextRow();
  }
  db_.CloseTable();
}

void Data_Up_M::Data_Up_16a() {
  constexpr std::int16_t kFifth = 4;  // counted from 0
  db_.ClearError();
  db_.OpenTable("Spec_補強名称");
  std::int16_t row = 0;
  while (!db_.AtEnd() && row != kFifth) {
    ++row;
    db_.NextRow();
  }
  if (!db_.AtEnd()) {
    db_.SetField("転送名称", "なし");
    db_.SaveRow();
  }
  db_.CloseTable();

  db::Catalog catalog = db_.BindCatalog();
  db_.AppendTable(catalog, db_.CreateTable("拾い転送_共板FG"));
  AppendColumns(db_, db_.GetTable(catalog, "拾い転送_共板FG"), kFlangeColumns);

  if (!TryAppendTable(db_, catalog, db_.CreateTable("拾い転送_設定"))) return;
  AppendColumns(db_, db_.GetTable(catalog, "拾い転送_設定"), kTransferSettings);
  db_.ReopenDb();

  db_.OpenTable("拾い転送_設定");
  db_.AddRow();
  db_.SetField("転送㎡", std::int16_t{1});
  db_.SetField("㎡制限", std::int16_t{1});
  db_.SaveRow();
  db_.ReleaseTable();
}

void Data_Up_M::Data_Up_16b() {
  db_.ClearError();
  NameByPosition("Spec_ﾌﾚｷ種類名", "ﾌﾚｷ種類名", kFlexibleNames);
  NameByPosition("仕様_名称", "ﾌﾚｷ種類2", kFlexibleChoices);
  NameByPosition("拾い転送_ﾌﾚｷ変換", "ﾌﾚｷ名称", kFlexibleNames);
  db_.ReleaseTable();
}

// Saves every row that it passes, and leaves the table open.
void Data_Up_M::NameByPosition(std::string_view table, std::string_view field,
                               std::span<const PositionName> names) {
  db_.OpenTable(table);
  std::int16_t row = 1;
  while (!db_.AtEnd()) {
    for (const PositionName& name : names) {
      if (name.row == row) db_.SetField(field, name.name);
    }
    db_.SaveRow();
    AddOne(row);
    db_.NextRow();
  }
}

void Data_Up_M::Data_Up_17() {
  db_.ClearError();
  db::Catalog catalog = db_.BindCatalog();
  db_.AppendColumn(db_.GetTable(catalog, "Data_ﾒｲﾝ_設定"), "伝票番号", db::adWChar, kTextChars);

  if (!TryAppendTable(db_, catalog, db_.CreateTable("ZVT6設定"))) return;
  db_.AppendColumn(db_.GetTable(catalog, "ZVT6設定"), "表示項目追加", db::adDouble, 0);
  db_.ReopenDb();

  db_.OpenTable("ZVT6設定");
  db_.AddRow();
  db_.SetField("表示項目追加", std::int16_t{0});
  db_.SaveRow();
  db_.ReleaseTable();
}

void Data_Up_M::Data_Up_18() {
  db_.ClearError();
  AppendColumns(db_, db_.GetTable(db_.BindCatalog(), "Data_角_展開設定"), kSecondSeams);
  AppendColumns(db_, db_.GetTable(db_.BindCatalog(), "Data_角_開口"), kOpeningPoints);
  AppendShapes(kShapes18);
}

}  // namespace upgrade
