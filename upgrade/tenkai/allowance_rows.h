// The rows that steps add to the allowance tables, one table a material.
#pragma once

#include <cstdint>

namespace upgrade {

inline constexpr const char* kAllowanceMaterials[] = {"亜鉛鉄板", "SUS", "塩ﾋﾞ", "鋼板"};
inline constexpr const char* kAngleAllowances = "ｼﾛ_ｱﾝｸﾞﾙ別設定_";
inline constexpr const char* kJointAllowances = "ｼﾛ_接合種類別設定_";

// One value goes into all fields of a row.
inline constexpr const char* kAngleSizes[] = {"25", "30", "40", "50", "65"};
inline constexpr const char* kAngleAuxiliaries[] = {"S1", "S2", "S3"};
inline constexpr const char* kJointFields[] = {"05t", "06t", "08t", "10t",
                                               "12t", "16t", "S1",  "S2"};

struct AngleAllowanceRow {
  const char* shape;
  const char* kind;
  double value;
};

struct JointAllowanceRow {
  const char* shape;
  const char* kind;
  std::int16_t value;
};

inline constexpr AngleAllowanceRow kAngleRows[] = {
    {"ﾒｯﾂ", "ﾌﾗﾝｼﾞｼﾛ", 30.0},
    {"ﾒｯﾂ", "返しｼﾛ", -5.0},
};
inline constexpr JointAllowanceRow kJointRows[] = {
    {"ﾊｾﾞ抜き", "ﾌﾗﾝｼﾞｼﾛ", 50},  {"ﾊｾﾞ抜き", "返しｼﾛ", 0},   {"差込S", "ﾌﾗﾝｼﾞｼﾛ", 20},
    {"差込S", "返しｼﾛ", 20},     {"差込W", "ﾌﾗﾝｼﾞｼﾛ", 20},   {"差込W", "返しｼﾛ", 0},
    {"ﾐﾐ付共板", "ﾌﾗﾝｼﾞｼﾛ", 18}, {"ﾐﾐ付共板", "返しｼﾛ", 45},
};

}  // namespace upgrade
