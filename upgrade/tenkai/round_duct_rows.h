// The columns and rows of the round-duct settings.
#pragma once

#include "upgrade/rows.h"

namespace upgrade {

inline constexpr const char* kRoundDuctTable = "丸ダクト設定";

inline constexpr ColumnRow kRoundDuctColumns[] = {
    {"材質", ado::adWChar, kTextChars},
    {"ﾊｾﾞ種類", ado::adWChar, kTextChars},
    {"ﾊｾﾞ形状", ado::adWChar, kTextChars},
    {"05t", ado::adDouble, 0},
    {"06t", ado::adDouble, 0},
    {"08t", ado::adDouble, 0},
    {"10t", ado::adDouble, 0},
    {"12t", ado::adDouble, 0},
    {"16t", ado::adDouble, 0},
    {"S1", ado::adDouble, 0},
    {"S2", ado::adDouble, 0},
    {"接合部カット", ado::adSmallInt, 0},
    {"05tMax_Size", ado::adInteger, 0},
    {"06tMax_Size", ado::adInteger, 0},
    {"08tMax_Size", ado::adInteger, 0},
    {"10tMax_Size", ado::adInteger, 0},
    {"12tMax_Size", ado::adInteger, 0},
};

inline constexpr ColumnRow kCutWidthColumns[] = {
    {"切幅05t", ado::adDouble, 0},      {"切幅06t", ado::adDouble, 0},
    {"切幅08t", ado::adDouble, 0},      {"切幅10t", ado::adDouble, 0},
    {"切幅12t", ado::adDouble, 0},      {"切幅16t", ado::adDouble, 0},
    {"重ねシロ線", ado::adSmallInt, 0},
};
inline constexpr const char* kCutWidths[] = {"切幅05t", "切幅06t", "切幅08t",
                                             "切幅10t", "切幅12t", "切幅16t"};
inline constexpr const char* kOverlapLine = "重ねシロ線";

inline constexpr const char* kSeamMaterials[] = {"亜鉛鉄板", "SUS", "塩ビ両面", "鋼板"};
inline constexpr const char* kSeamKinds[] = {"繋ぎﾊｾﾞ", "接合ﾊｾﾞ"};
inline constexpr const char* kSeamShapes[] = {"S", "W"};
// By generated row.
inline constexpr double kSeamAllowances[] = {5, 10, 0, 10, 5, 10, 0, 10,
                                             5, 10, 0, 10, 5, 10, 0, 10};
inline constexpr const char* kSeamAllowanceFields[] = {"05t", "06t", "08t", "10t", "12t"};
inline constexpr const char* kSeamZeroFields[] = {"16t", "S1", "S2"};

struct JointCutRow {
  const char* field;
  std::int16_t first_row;
};

// Joint cut and size limits: of the first generated row; 0 in all others.
inline constexpr JointCutRow kJointCuts[] = {
    {"接合部カット", 1},   {"05tMax_Size", 800},  {"06tMax_Size", 1000},
    {"08tMax_Size", 1500}, {"10tMax_Size", 2000}, {"12tMax_Size", 9999},
};

// Take-off seams: every value is text.
inline constexpr const char* kTakeOffKind = "取出し口ﾊｾﾞ";
inline constexpr const char* kTakeOffShapes[] = {"T", "Y"};
inline constexpr const char* kTakeOffZeroFields4[] = {"16t",          "S1",          "S2",
                                                      "接合部カット", "05tMax_Size", "06tMax_Size",
                                                      "08tMax_Size",  "10tMax_Size", "12tMax_Size"};
inline constexpr const char* kTakeOffZeroFields7[] = {
    "16t",         "S1",          "S2",          "接合部カット", "切幅05t",    "切幅06t",
    "切幅08t",     "切幅10t",     "切幅12t",     "切幅16t",      "重ねシロ線", "05tMax_Size",
    "06tMax_Size", "08tMax_Size", "10tMax_Size", "12tMax_Size"};

}  // namespace upgrade
