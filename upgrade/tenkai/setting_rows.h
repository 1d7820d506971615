// The columns that steps add to settings tables, and the values that their first
// row gets.
#pragma once

#include "upgrade/rows.h"

namespace upgrade {

inline constexpr SettingRow kInsertCuts[] = {
    {"差込ｶｯﾄ_Ha1", ado::adSmallInt, "10"},
    {"差込ｶｯﾄ_Ha2", ado::adSmallInt, "10"},
    {"ﾊｾﾞ差ミミフラグ", ado::adSmallInt, "0"},
};
inline constexpr SettingRow kBranchCorrections[] = {
    {"T管開口補正ｻｲｽﾞ", ado::adDouble, "0"},
    {"Y管開口補正ｻｲｽﾞ", ado::adDouble, "0"},
    {"R・RTﾊｾﾞ形式", ado::adSmallInt, "0"},
};

inline constexpr SettingRow kLayoutSettings[] = {
    {"4枚取り種類", ado::adInteger, "3"},
    {"折線印字設定", ado::adInteger, "0"},
};
inline constexpr SettingRow kNestController[] = {
    {"制御盤種類", ado::adInteger, "0"},
};
inline constexpr SettingRow kEndPlateSeams[] = {
    {"ハゼ抜き長さ_W", ado::adDouble, "20"},      {"ハゼ抜き長さ(重ね回避)_W", ado::adDouble, "12"},
    {"ﾊｾﾞ抜きミミ高さ_W", ado::adDouble, "15"},   {"ﾊｾﾞ抜きミミ高さHB", ado::adDouble, "15"},
    {"ﾊｾﾞ抜きミミ高さHB_W", ado::adDouble, "15"},
};

struct SuccessorRow {
  const char* field;
  ado::DataType type;
  const char* older;  // the field whose value it takes over
};

inline constexpr SuccessorRow kFiveFaceBox[] = {
    {"5面Box繋ぎﾊｾﾞ_ｾﾝﾀｰ_S", ado::adDouble, "Box繋ぎﾊｾﾞ_ｾﾝﾀｰ_S"},
    {"5面Box繋ぎﾊｾﾞ_ｾﾝﾀｰ_W", ado::adDouble, "Box繋ぎﾊｾﾞ_ｾﾝﾀｰ_W"},
    {"5面Box繋ぎﾊｾﾞ_ｺｰﾅｰ_S", ado::adDouble, "Box繋ぎﾊｾﾞ_ｺｰﾅｰ_S"},
    {"5面Box繋ぎﾊｾﾞ_ｺｰﾅｰ_W", ado::adDouble, "Box繋ぎﾊｾﾞ_ｺｰﾅｰ_W"},
    {"5面Boxハゼ抜きパターン", ado::adInteger, "Boxハゼ抜きパターン"},
    {"5面Boxﾊｾﾞ抜きミミ", ado::adInteger, "Boxﾊｾﾞ抜きミミ"},
};

inline constexpr ColumnRow kShapeSettings[] = {
    {"FG0幅", ado::adDouble, 0},
    {"接合部カットH_共板", ado::adDouble, 0},
    {"接合部カットH_その他", ado::adDouble, 0},
    {"接合部カットH_0", ado::adDouble, 0},
};
inline constexpr SettingRow kButtNotches[] = {
    {"ドン付キザミHa", ado::adDouble, Integer(30)},
    {"ドン付キザミHb", ado::adDouble, Integer(4)},
    {"ドン付キザミ最低寸法", ado::adDouble, Integer(20)},
};
inline constexpr SettingRow kNestSettings[] = {
    {"定尺外しフラグ", ado::adDouble, Integer(1)},
    {"初期形状向き", ado::adDouble, Integer(1)},
};
inline constexpr SettingRow kPrintSettings[] = {
    {"表示㎡", ado::adSmallInt, "1"},
};
inline constexpr SettingRow kCadLink[] = {
    {"定尺変換", ado::adSmallInt, "1"}, {"共板1", ado::adDouble, "0"},
    {"共板2", ado::adDouble, "0"},      {"共板3", ado::adDouble, "0"},
    {"共板4", ado::adDouble, "0"},      {"FG1", ado::adDouble, "0"},
    {"FG2", ado::adDouble, "0"},        {"FG3", ado::adDouble, "0"},
    {"FG4", ado::adDouble, "0"},
};

// Of the first ten rows.
inline constexpr std::int16_t kRoundDuctDivisions[] = {40, 40, 60, 60, 80, 80, 100, 100, 100, 100};

}  // namespace upgrade
