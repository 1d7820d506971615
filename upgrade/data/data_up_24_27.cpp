#include "upgrade/data/data_up_m.h"
#include "upgrade/data/specification_rows.h"
#include "upgrade/rows.h"

namespace upgrade {
namespace {

struct ConversionRow {
  std::int16_t id;
  const char* texts[5];
};

constexpr const char* kConversionTexts[] = {"形状名", "変更形状名", "形状分類名", "サイズ表示",
                                            "数量表示"};

constexpr ConversionRow kConversions27[] = {
    {147, {"丸WRTYB管", "-", "-", "-", "-"}},
    {148, {"丸RB管", "-", "-", "-", "-"}},
    {149, {"丸WOT", "-", "-", "-", "-"}},
    {150, {"丸Oﾋﾟﾝｷｰ", "-", "-", "-", "-"}},
    {151, {"丸Oｶﾗｰ", "-", "-", "-", "-"}},
    {152, {"S90", "角ダクト㎡", "角ダクト", "特殊", "ダクト㎡"}},
    {153, {"変形短管", "短管", "角ダクト", "特殊", "㎡数"}},
    {154, {"丸TY管", "-", "-", "-", "-"}},
    {155, {"丸RTY管", "-", "-", "-", "-"}},
    {156, {"丸両角度短管", "直管", "丸ダクト", "W1", "個数"}},
    {157, {"丸H管", "-", "-", "-", "-"}},
    {158, {"BL6面ﾎﾞｯｸｽ分離", "６面ボックス", "角ダクト", "W1_L1_H1", "個数"}},
    {159, {"丸ｴﾙﾎﾞ_横繋ぎ", "９０°エルボ", "丸ダクト", "W1", "個数"}},
    {160, {"ｶﾞﾗﾘﾁｬﾝﾊﾞｰﾎﾞｯｸｽ型", "ガラリ", "角ダクト", "W1_L1_H1", "個数"}},
};

}  // namespace

void Data_Up_M::Data_Up_24() {
  db_.ClearError();
  db_.OpenTable("Spec_開口形状");
  for (const OpeningRow& opening : kOvalOpenings) {
    db_.AddRow();
    db_.SetField("開口形状ID", opening.id);
    db_.SetField("形状", opening.shape);
    db_.SaveRow();
  }
  db_.CloseTable();
}

void Data_Up_M::Data_Up_25() {
  db_.ClearError();
  db_.OpenTable("Spec_開口形状");
  db_.SetField("形状", "四角");
  db_.SaveRow();
  db_.NextRow();
  db_.NextRow();
  db_.NextRow();
  db_.SetField("形状", "ｵｰﾊﾞﾙ横指定");
  db_.SaveRow();
  db_.NextRow();
  db_.SetField("形状", "ｵｰﾊﾞﾙ縦指定");
  db_.SaveRow();
  db_.CloseTable();
}

void Data_Up_M::Data_Up_26() {
  db_.ClearError();
  AppendEnglishShapes(kShapes26);
}

void Data_Up_M::Data_Up_27() {
  constexpr std::int16_t kSideElbow = 159;
  db_.ClearError();
  db_.OpenTable("Spec_形状名（角）");
  if (FindRow(db_, "形状名ID", kSideElbow)) {
    db_.SetField("形状名", "丸ｴﾙﾎﾞ_横繋ぎ");
    db_.SaveRow();
  }
  AddEnglishShape(kLouverBox);
  db_.CloseTable();

  db_.OpenTable("拾い転送_形状名称変換");
  for (const ConversionRow& row : kConversions27) {
    db_.AddRow();
    db_.SetField("形状名ID", row.id);
    for (std::size_t i = 0; i < std::size(kConversionTexts); ++i) {
      db_.SetField(kConversionTexts[i], row.texts[i]);
    }
    db_.SaveRow();
  }
  db_.CloseTable();
}

}  // namespace upgrade
