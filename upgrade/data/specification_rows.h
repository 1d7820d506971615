// The rows that steps add to the specification tables (square-duct shapes, joint
// methods, opening shapes), and the names that they change there.
#pragma once

#include <cstdint>

namespace upgrade {

struct ShapeRow {
  std::int16_t id;
  const char* name;
  const char* english = nullptr;  // of steps that write it themselves
};

inline constexpr ShapeRow kShapes5[] = {
    {119, "丸ｴﾙﾎﾞ_外繋ぎ"},
    {120, "丸ｴﾙﾎﾞ_分割"},
};
inline constexpr ShapeRow kShapes6[] = {
    {121, "丸S管_一筆書き"}, {122, "丸ﾋﾟﾝｷｰ"}, {123, "丸異径S管"}, {124, "丸WRE管"},
    {125, "丸WRE90°管"},     {126, "丸RTB管"}, {127, "丸WRTB管"},  {128, "額縁"},
};
inline constexpr ShapeRow kShapes7[] = {
    {129, "丸FG"}, {130, "２又_R-C"}, {131, "Y管"}, {132, "分割分岐"}, {133, "ﾀﾞｷ短管"},
};
inline constexpr ShapeRow kShapes8[] = {
    {134, "２又_S-C"}, {135, "ﾌｰﾄﾞ角"},    {136, "ﾌｰﾄﾞR"},     {137, "陣笠_角"},
    {138, "陣笠_丸"},  {139, "丸ｺﾆｶﾙT管"}, {140, "切板_三角"},
};
inline constexpr ShapeRow kShapes9[] = {
    {141, "勾配ﾎﾞｯｸｽ"},
};
inline constexpr ShapeRow kShapes10[] = {
    {142, "勾配角度ｴﾙﾎﾞ_R"},
    {143, "勾配角度ｴﾙﾎﾞ_内"},
    {144, "勾配閉止板"},
};
inline constexpr ShapeRow kShapes13[] = {
    {145, "勾配閉止板_共板"},
    {146, "勾配閉止板_FG"},
};
inline constexpr ShapeRow kShapes18[] = {
    {147, "丸WRTYB管"}, {148, "丸RB管"}, {149, "丸WOT"},    {150, "丸Oﾋﾟﾝｷｰ"},
    {151, "丸Oｶﾗｰ"},    {152, "S90"},    {153, "変形短管"},
};
inline constexpr ShapeRow kShapes19[] = {
    {154, "丸TY管", "SP TY"},
    {155, "丸RTY管", "SP RTY"},
};
inline constexpr ShapeRow kShapes20[] = {
    {156, "丸両角度短管", "SP Short Angle"},
    {157, "丸H管", "SP H"},
};
inline constexpr ShapeRow kShapes26[] = {
    {158, "BL6面ﾎﾞｯｸｽ分離", "BL 6BoxSeparate"},
    {159, "ｴﾙﾎﾞ横繋ぎ", "SP Elbow　Side"},
};
inline constexpr ShapeRow kLouverBox = {160, "ｶﾞﾗﾘﾁｬﾝﾊﾞｰﾎﾞｯｸｽ型", "Louver Box"};

struct MethodRow {
  const char* id;
  const char* name;
};

inline constexpr MethodRow kMethods4[] = {
    {"15", "ﾊｾﾞ抜き"},
    {"16", "差込S"},
    {"17", "差込W"},
    {"18", "ﾐﾐ付共板"},
};
inline constexpr MethodRow kMethods11[] = {
    {"19", "KD共板"},
    {"20", "KDFG"},
};

struct OpeningRow {
  std::int16_t id;
  const char* shape;
};

inline constexpr OpeningRow kOvalOpenings[] = {
    {3, "ｵｰﾊﾞﾙ"},
    {4, "ｵｰﾊﾞﾙφ横"},
    {5, "ｵｰﾊﾞﾙφ縦"},
};

// The name that a row gets by its position, counted from 1.
struct PositionName {
  std::int16_t row;
  const char* name;
};

inline constexpr PositionName kFlexibleNames[] = {
    {11, "HH214"},
    {12, "HH24ACNN"},
    {15, "HH214端末なし"},
    {16, "HH24ACNN端末なし"},
};
inline constexpr PositionName kFlexibleChoices[] = {
    {3, "HH214"},
    {4, "HH24ACNN"},
};

}  // namespace upgrade
