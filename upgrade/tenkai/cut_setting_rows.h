// The settings of round-duct cuts and what the last steps add beside them.
#pragma once

#include <cstdint>

#include "upgrade/rows.h"

namespace upgrade {

inline constexpr const char* kCutTable = "丸ダクトカット設定";

// A column (adInteger), and its values in both rows.
struct CutRow {
  const char* field;
  Literal first;
  Literal second;
};

inline constexpr CutRow kCuts[] = {
    {"重ねシロハゼカットパターン", Integer(1), Integer(1)},
    {"重ねシロVカット_W", Integer(2), Integer(2)},
    {"重ねシロVカット_H", Integer(2), Integer(2)},
    {"重ねシロコーナーカットS_W", Integer(5), Integer(5)},
    {"重ねシロコーナーカットW_W", Integer(7), Integer(7)},
    {"センターカットパターン", Integer(0), Integer(0)},
    {"センターカットVカット_W", Integer(3), Integer(3)},
    {"センターカットVカット_H", Integer(4), Integer(4)},
    {"R管等重ねシロカットパターン_S側上", Integer(1), Integer(1)},
    {"R管等重ねシロカットパターン_S側下", Integer(1), Integer(1)},
    {"R管等重ねシロカットパターン_W側上", Integer(1), Integer(1)},
    {"R管等重ねシロカットパターン_W側下", Integer(2), Integer(2)},
    {"R管等重ねシロVカット_W", Integer(2), Integer(2)},
    {"R管等重ねシロVカット_H", Integer(2), Integer(2)},
    {"R管等重ねシロコーナーカットW上限サイズ", Integer(200), Long(99999)},
    {"R管等重ねシロコーナーカットW_S側上", Integer(3), Integer(5)},
    {"R管等重ねシロコーナーカットW_S側下", Integer(3), Integer(5)},
    {"R管等重ねシロコーナーカットW_W側上", Integer(7), Integer(8)},
    {"R管等重ねシロコーナーカットW_W側下", Integer(7), Integer(8)},
    {"丸ダクト入力方法", Integer(1), Integer(1)},
};

inline constexpr SettingRow kEndPlateJoints[] = {
    {"その他ｺｰﾅｰ繋ぎ", ado::adDouble, Integer(0)},
    {"その他ｾﾝﾀｰ繋ぎ", ado::adDouble, Integer(2)},
    {"6面ボックスｺｰﾅｰ繋ぎ", ado::adDouble, Integer(0)},
    {"6面ボックスｾﾝﾀｰ繋ぎ", ado::adDouble, Integer(2)},
    {"5面ボックスｺｰﾅｰ繋ぎ", ado::adDouble, Integer(0)},
    {"5面ボックスｾﾝﾀｰ繋ぎ", ado::adDouble, Integer(2)},
};
inline constexpr SettingRow kOvals[] = {
    {"オーバル板取りパターン", ado::adDouble, Integer(2)},
    {"オーバル開口補正", ado::adDouble, Integer(2)},
};
inline constexpr SettingRow kElbowSettings[] = {
    {"丸ｴﾙﾎﾞ板取りﾊﾟﾀｰﾝ", ado::adDouble, Integer(0)},
    {"丸ﾀﾞｸﾄﾏｰｷﾝｸﾞ設定", ado::adDouble, Integer(2)},
    {"丸T・Y管繋ぎ部ﾊﾟﾀｰﾝ設定", ado::adDouble, Integer(0)},
};

// The material of step 19: every value is text.
inline constexpr FieldRow kSuperDyma[] = {
    {"材質名ID", "7"}, {"材質名", "ｽｰﾊﾟｰﾀﾞｲﾏ"},
    {"05", "71"},      {"06", "72"},
    {"08", "73"},      {"10", "74"},
    {"12", "75"},      {"15", "76"},
    {"16", "77"},      {"23", "78"},
};

}  // namespace upgrade
