// The tables of the pickup transfer: the flat work table, and the tables that
// translate names or hold a selection.
#pragma once

#include <span>

#include "upgrade/rows.h"

namespace upgrade {

inline constexpr const char* kTransferBase = "拾い転送_Base";
inline constexpr const char* kTransferBaseKey = "通し番号";

inline constexpr ColumnRow kTransferBaseColumns[] = {
    {"見積選択", ado::adWChar, kTextChars},
    {"通し番号", ado::adDouble, 0},
    {"入力ＩＤ", ado::adDouble, 0},
    {"形状名", ado::adWChar, kTextChars},
    {"拾い形状名", ado::adWChar, kTextChars},
    {"形状分類名", ado::adWChar, kTextChars},
    {"入力分類", ado::adWChar, kTextChars},
    {"材質分岐", ado::adWChar, kTextChars},
    {"複数登録", ado::adInteger, 0},
    {"㎡数", ado::adDouble, 0},
    {"プラズマ㎡数", ado::adDouble, 0},
    {"Kg数", ado::adDouble, 0},
    {"材質", ado::adWChar, kTextChars},
    {"数量", ado::adDouble, 0},
    {"計算数量", ado::adDouble, 0},
    {"現場名", ado::adWChar, kTextChars},
    {"階", ado::adWChar, kTextChars},
    {"単品番号", ado::adWChar, kTextChars},
    {"系統", ado::adWChar, kTextChars},
    {"板厚", ado::adWChar, kTextChars},
    {"板厚基準", ado::adWChar, kTextChars},
    {"工法", ado::adWChar, kTextChars},
    {"サイズ1", ado::adDouble, 0},
    {"サイズ2", ado::adDouble, 0},
    {"サイズ3", ado::adDouble, 0},
    {"サイズ4", ado::adDouble, 0},
    {"内貼", ado::adWChar, kTextChars},
    {"リブ種類", ado::adWChar, kTextChars},
    {"ハゼ種類", ado::adWChar, kTextChars},
    {"FG", ado::adDouble, 0},
    {"SUSFG", ado::adDouble, 0},
    {"亜鉛FG", ado::adDouble, 0},
    {"補強", ado::adDouble, 0},
    {"SUS補強", ado::adDouble, 0},
    {"亜鉛補強", ado::adDouble, 0},
    {"縦補強", ado::adDouble, 0},
    {"SUS縦補強", ado::adDouble, 0},
    {"亜鉛縦補強", ado::adDouble, 0},
    {"タイロット", ado::adDouble, 0},
    {"ボックスペンキ㎡", ado::adDouble, 0},
    {"ボックスペンキ㎡（プラズマ）", ado::adDouble, 0},
    {"日付", ado::adDate, 0},
    {"開口数", ado::adInteger, 0},
    {"数量表示", ado::adWChar, kTextChars},
    {"排煙ダクトシール㎡", ado::adDouble, 0},
    {"排煙ダクトシール㎡(プラズマ)", ado::adDouble, 0},
    {"ダクトシール㎡", ado::adDouble, 0},
    {"ダクトシール㎡（プラズマ）", ado::adDouble, 0},
    {"特殊ダクトシール㎡", ado::adDouble, 0},
    {"特殊ダクトシール㎡（プラズマ）", ado::adDouble, 0},
    {"三井ハゼ㎡", ado::adDouble, 0},
    {"三井ハゼ㎡（プラズマ）", ado::adDouble, 0},
    {"リブ㎡", ado::adDouble, 0},
    {"リブ㎡（プラズマ）", ado::adDouble, 0},
    {"高所_表示", ado::adWChar, kTextChars},
    {"防振_表示", ado::adWChar, kTextChars},
    {"仕上_表示", ado::adWChar, kTextChars},
    {"材質_表示", ado::adWChar, kTextChars},
    {"板厚_表示", ado::adWChar, kTextChars},
    {"工法_表示", ado::adWChar, kTextChars},
    {"はぜ_表示", ado::adWChar, kTextChars},
    {"内貼_表示", ado::adWChar, kTextChars},
    {"リブ_表示", ado::adWChar, kTextChars},
    {"寸度_表示", ado::adWChar, kTextChars},
    {"面積_表示", ado::adWChar, kTextChars},
    {"工法分類_表示", ado::adWChar, kTextChars},
};

inline constexpr ColumnRow kCanvasColumns[] = {
    {"ｷｬﾝﾊﾞｽ材質ID", ado::adDouble, 0},
    {"材質名", ado::adWChar, kTextChars},
    {"変換名称", ado::adWChar, kTextChars},
};
inline constexpr ColumnRow kFlexibleColumns[] = {
    {"ﾌﾚｷ種類ID", ado::adDouble, 0},
    {"ﾌﾚｷ名称", ado::adWChar, kTextChars},
    {"変換名称", ado::adWChar, kTextChars},
};
inline constexpr ColumnRow kShapeColumns[] = {
    {"形状名ＩＤ", ado::adDouble, 0},         {"形状名", ado::adWChar, kTextChars},
    {"変更形状名", ado::adWChar, kTextChars}, {"形状分類名", ado::adWChar, kTextChars},
    {"サイズ表示", ado::adWChar, kTextChars}, {"数量表示", ado::adWChar, kTextChars},
};
inline constexpr ColumnRow kAccessoryColumns[] = {
    {"形状名ＩＤ", ado::adDouble, 0},         {"形状名", ado::adWChar, kTextChars},
    {"変更形状名", ado::adWChar, kTextChars}, {"形状分類名", ado::adWChar, kTextChars},
    {"複数登録", ado::adInteger, 0},          {"材質分岐", ado::adWChar, kTextChars},
    {"サイズ表示", ado::adWChar, kTextChars}, {"数量表示", ado::adWChar, kTextChars},
};
inline constexpr ColumnRow kSystemColumns[] = {
    {"ＩＤ", ado::adDouble, 0},
    {"系統名", ado::adWChar, kTextChars},
    {"拾い系統名", ado::adWChar, kTextChars},
    {"板厚基準", ado::adWChar, kTextChars},
};
inline constexpr ColumnRow kMethodColumns[] = {
    {"工法ＩＤ", ado::adDouble, 0},
    {"工法名", ado::adWChar, kTextChars},
    {"拾い工法名", ado::adWChar, kTextChars},
};
inline constexpr ColumnRow kMaterialColumns[] = {
    {"材質名ＩＤ", ado::adDouble, 0},
    {"ＺＶＴ６材質", ado::adWChar, kTextChars},
    {"拾い材質", ado::adWChar, kTextChars},
};
inline constexpr ColumnRow kChosenShapesColumns[] = {
    {"入力ID", ado::adDouble, 0},
};
inline constexpr ColumnRow kChosenJobsColumns[] = {
    {"選択物件ID", ado::adDouble, 0},
    {"順番", ado::adDouble, 0},
};
inline constexpr ColumnRow kPickupIdsColumns[] = {
    {"入力ＩＤ", ado::adDouble, 0},
};

struct NewTable {
  const char* name;
  std::span<const ColumnRow> columns;
};

inline constexpr NewTable kTransferTables[] = {
    {"拾い転送_キャンバス変換", kCanvasColumns},
    {"拾い転送_フレキ変換", kFlexibleColumns},
    {"拾い転送_形状名称変換", kShapeColumns},
    {"拾い転送_形状名称変換_副資材", kAccessoryColumns},
    {"拾い転送_系統変換", kSystemColumns},
    {"拾い転送_工法変換", kMethodColumns},
    {"拾い転送_材質変換", kMaterialColumns},
    {"拾い転送_選択形状", kChosenShapesColumns},
    {"拾い転送_選択物件", kChosenJobsColumns},
    {"Data_拾いＩＤ", kPickupIdsColumns},
};

}  // namespace upgrade
