// The fixed rows of the pickup transfer's code tables: a number of this system's
// own lists, its name there, and what the pickup side calls it.
#pragma once

#include <cstdint>
#include <span>

namespace upgrade {

inline constexpr std::size_t kMaxCodeTexts = 3;

struct CodeRow {
  std::int16_t id;
  const char* texts[kMaxCodeTexts];
};

// Field names as the rows are written, some of them narrower than the columns.
struct CodeTable {
  const char* name;
  const char* id_field;
  std::span<const char* const> text_fields;
  std::span<const CodeRow> rows;
};

inline constexpr const char* kCanvasTexts[] = {"材質名", "変換名称"};
inline constexpr CodeRow kCanvasRows[] = {
    {1, {"ﾅｲﾛﾝﾀｰﾎﾟﾘﾝ", "ナイロンターポリン"}},
    {2, {"ｻｰﾓｸﾛｽｼﾙﾊﾞ", "サーモクロスシルバ"}},
    {3, {"AS-110", "ＡＳ-１１０"}},
    {4, {"AS-123", "ＡＳ-１２３"}},
    {5, {"AS-132", "ＡＳ-１３２"}},
    {6, {"AS-800", "ＡＳ-８００"}},
};

inline constexpr const char* kFlexibleTexts[] = {"ﾌﾚｷ名称", "変換名称"};
inline constexpr CodeRow kFlexibleRows[] = {
    {1, {"ｱﾙﾐﾌﾚｷ", "アルミフレキ"}},
    {2, {"鉄ﾌﾚｷ", "鉄フレキ"}},
    {3, {"ﾜｲﾔｰｱﾙﾐﾌﾚｷ", "ワイヤーアルミフレキ"}},
    {4, {"ﾊﾟﾜｰﾌﾚｷ", "鉄フレキ"}},
    {5, {"SDﾌﾚｷ", "ＳＴフレキ"}},
    {6, {"SUSﾌﾚｷ", "ＳＵＳフレキ"}},
    {7, {"硬質ﾌﾚｷ", "硬質フレキ"}},
    {8, {"二重ｱﾙﾐﾌﾚｷ", "アルミ二重フレキ"}},
    {9, {"ｱﾙﾐｼﾞｬｹｯﾄ保温ﾌﾚｷ", "消音フレキ"}},
    {10, {"ﾎﾟﾘｼﾞｬｹｯﾄ保温ﾌﾚｷ", "消音フレキ"}},
    {11, {"HH16M", "消音フレキ"}},
    {12, {"HH24ACNN", "消音フレキ"}},
    {13, {"高圧保温ﾌﾚｷ", "消音フレキ耐圧型"}},
    {14, {"耐湿保温ﾌﾚｷ", "消音フレキ"}},
    {15, {"HH16M端末なし", "消音フレキ"}},
    {16, {"HH24ACNN端末なし", "消音フレキ"}},
};

inline constexpr const char* kSystemTexts[] = {"系統名", "拾い系統名", "板厚基準"};
inline constexpr CodeRow kSystemRows[] = {
    {1, {"SA", "ＳＡ", "低圧１"}},      {2, {"RA", "ＲＡ", "低圧１"}},
    {3, {"SOA", "空調ＯＡ", "低圧１"}}, {4, {"OA", "ＯＡ", "低圧１"}},
    {5, {"EA", "ＥＡ", "低圧１"}},      {6, {"SEA", "排煙", "高圧１"}},
};

inline constexpr const char* kMethodTexts[] = {"工法名", "拾い工法名"};
inline constexpr CodeRow kMethodRows[] = {
    {0, {"なし", "なし"}},      {1, {"共板", "共板"}},     {2, {"FG", "FG"}},
    {3, {"相FG", "FG"}},        {4, {"共板FG", "共板"}},   {5, {"内FG", "FG"}},
    {6, {"内共板", "共板"}},    {7, {"切放", "共板"}},     {8, {"ﾄﾞﾝ付共板", "共板"}},
    {9, {"ﾄﾞﾝ付FG", "FG"}},     {10, {"内ﾋｮｯﾄｺ", "共板"}}, {11, {"内曲げ", "共板"}},
    {12, {"外曲げ", "共板"}},   {13, {"ｸﾞﾙ巻き", "共板"}}, {14, {"ﾒｯﾂ", "メッツ"}},
    {15, {"ﾊｾﾞ抜き", "共板"}},  {16, {"差込S", "共板"}},   {17, {"差込W", "共板"}},
    {18, {"ﾐﾐ付共板", "共板"}}, {19, {"KD共板", "共板"}},  {20, {"KDFG", "FG"}},
};

inline constexpr const char* kMaterialTexts[] = {"ＺＶＴ６材質", "拾い材質"};
inline constexpr CodeRow kMaterialRows[] = {
    {0, {"なし", "なし"}},        {1, {"亜鉛", "亜鉛"}},        {2, {"ｶﾞﾙﾊﾞ", "ガルバ"}},
    {3, {"SUS304", "ＳＵＳ"}},    {4, {"塩ﾋﾞ片面", "塩ビ"}},    {5, {"塩ﾋﾞ両面", "塩ビ"}},
    {6, {"鋼板", "１．６鋼板"}},  {7, {"ﾎﾞﾝﾃﾞ", "１．６鋼板"}}, {8, {"SUS430", "ＳＵＳ"}},
    {9, {"ｽｰﾊﾟｰﾀﾞｲﾏ", "ダイマ"}}, {10, {"SS", "１．６鋼板"}},
};

inline constexpr CodeTable kCodeTables[] = {
    {"拾い転送_キャンバス変換", "ｷｬﾝﾊﾞｽ材質ID", kCanvasTexts, kCanvasRows},
    {"拾い転送_フレキ変換", "ﾌﾚｷ種類ID", kFlexibleTexts, kFlexibleRows},
    {"拾い転送_系統変換", "ID", kSystemTexts, kSystemRows},
    {"拾い転送_工法変換", "工法ID", kMethodTexts, kMethodRows},
    {"拾い転送_材質変換", "材質名ID", kMaterialTexts, kMaterialRows},
};

}  // namespace upgrade
