// The rows that step 18 adds to the tables of duct-size corrections.
#pragma once

namespace upgrade {

inline constexpr const char* kCorrectionTables[] = {"ﾀﾞｸﾄｻｲｽﾞの寸法補正値_BP",
                                                    "ﾀﾞｸﾄｻｲｽﾞの寸法補正値_三井ﾊｾﾞ"};
inline constexpr const char* kCorrectionFields[] = {"05t", "06t", "08t", "10t",
                                                    "12t", "16t", "S1",  "S2"};

struct CorrectionRow {
  const char* duct;
  const char* layout;
  const char* seam;
};

inline constexpr CorrectionRow kCorrections[] = {
    {"直管", "共通", "L寸"},     {"その他", "なし", "L寸"},     {"ホッパー", "共通", "S"},
    {"ホッパー", "共通", "W"},   {"ホッパー", "ハゴイタ", "S"}, {"ホッパー", "ハゴイタ", "W"},
    {"ホッパー", "共通", "L寸"}, {"エルボ", "なし", "S"},       {"エルボ", "なし", "W"},
    {"エルボ", "なし", "L寸"},   {"S管", "なし", "S"},          {"S管", "なし", "W"},
    {"S管", "なし", "L寸"},      {"ハリマキ", "なし", "S"},     {"ハリマキ", "なし", "W"},
    {"ハリマキ", "なし", "L寸"}, {"T管", "なし", "S"},          {"T管", "なし", "W"},
    {"T管", "なし", "L寸"},      {"閉止板", "なし", "W"},       {"閉止板", "なし", "H"},
    {"切板", "なし", "W"},       {"切板", "なし", "H"},
};

}  // namespace upgrade
