// The five saved queries of an upgraded database, as stored: lone carriage
// returns and no line feed.
#pragma once

#include <array>
#include <string_view>

namespace sql_tests {

struct SavedQuery {
  std::string_view name, text;
};

inline constexpr std::array<SavedQuery, 5> kSavedQueries = {{
    {"拾い転送_クエリー",
     "SELECT Data_角_単体設定.入力ＩＤ, [Spec_形状名(角）].形状名, 拾い転送_形状名称変換."
     "変更形状名, 拾い転送_形状名称変換.形状分類名, Data_角_単体設定.定尺板寸法ID, Data_角"
     "_㎡数.[㎡数], Data_角_㎡数.[ﾌﾟﾗｽﾞﾏ㎡数], 拾い転送_材質変換.拾い材質, Data_角_単体設"
     "定.数量, 拾い転送_選択物件.順番, Spec_現場名.現場名, Data_ﾒｲﾝ_設定.階, 拾い転送_系統"
     "変換.拾い系統名, 拾い転送_系統変換.板厚基準, Spec_板厚.板厚名, 拾い転送_工法変換.拾"
     "い工法名, 拾い転送_工法変換_1.拾い工法名, 拾い転送_工法変換_2.拾い工法名, 拾い転送_"
     "工法変換_3.拾い工法名, Data_角_ｻｲｽﾞ.*, Spec_内貼.内貼名称, Spec_ﾘﾌﾞ.[ﾘﾌﾞ名称], Spec_"
     "ﾊｾﾞ.[ﾊｾﾞ種類], Data_角_単体設定.開口ﾌﾗｸﾞ, Data_角_単体設定.入力日付, Data_ﾒｲﾝ_設定.["
     "ｼｰﾙ場所（ﾊｾﾞ）], Data_ﾒｲﾝ_設定.[ｼｰﾙ場所（ｱﾝｸﾞﾙ）], Data_ﾒｲﾝ_設定.[ｼｰﾙ場所（ﾘﾍﾞｯﾄ）],"
     " Data_角_単体設定.単品番号1, Data_角_単体設定.単品番号2, 拾い転送_形状名称変換.数量"
     "表示, 拾い転送_形状名称変換.[サイズ表示]\r"
     "FROM (拾い転送_選択物件 INNER JOIN ((Spec_ﾘﾌﾞ INNER JOIN (Spec_ﾊｾﾞ INNER JOIN (((拾"
     "い転送_工法変換 AS 拾い転送_工法変換_1 INNER JOIN (拾い転送_工法変換 INNER JOIN (拾"
     "い転送_材質変換 INNER JOIN (Spec_内貼 INNER JOIN ((((Data_ﾒｲﾝ_設定 INNER JOIN (Spec_"
     "ﾀﾞｸﾄ材質 INNER JOIN (Spec_板厚 INNER JOIN (([Spec_形状名(角）] INNER JOIN Data_角_単"
     "体設定 ON [Spec_形状名(角）].形状名ＩＤ = Data_角_単体設定.形状名ID)\r"
     "INNER JOIN Data_角_㎡数 ON Data_角_単体設定.入力ＩＤ = Data_角_㎡数.入力ＩＤ) ON Spe"
     "c_板厚.板厚ＩＤ = Data_角_単体設定.板厚ＩＤ1) ON Spec_ﾀﾞｸﾄ材質.[ﾀﾞｸﾄ材質ＩＤ] = Data"
     "_角_単体設定.[ﾀﾞｸﾄ材質ＩＤ]) ON Data_ﾒｲﾝ_設定.[ﾃﾞｰﾀＩＤ] = Data_角_単体設定.[ﾃﾞｰﾀＩ"
     "Ｄ]) INNER JOIN 拾い転送_系統変換 ON Data_ﾒｲﾝ_設定.系統ＩＤ = 拾い転送_系統変換.ＩＤ"
     ") INNER JOIN Data_角_ｻｲｽﾞ ON Data_角_単体設定.入力ＩＤ = Data_角_ｻｲｽﾞ.入力ＩＤ) INNE"
     "R JOIN Data_角_接続口 ON Data_角_単体設定.入力ＩＤ = Data_角_接続口.入力ＩＤ) ON Spe"
     "c_内貼.内貼ＩＤ = Data_角_単体設定.内貼ID) ON 拾い転送_材質変換.材質名ＩＤ = Spec_ﾀﾞ"
     "ｸﾄ材質.[ﾀﾞｸﾄ材質ＩＤ]) ON 拾い転送_工法変換.工法ＩＤ = Data_角_接続口.[1工法ID]) ON "
     "拾い転送_工法変換_1.工法ＩＤ = Data_角_接続口.[2工法ID])\r"
     "INNER JOIN 拾い転送_工法変換 AS 拾い転送_工法変換_2 ON Data_角_接続口.[3工法ID] = 拾"
     "い転送_工法変換_2.工法ＩＤ) INNER JOIN 拾い転送_工法変換 AS 拾い転送_工法変換_3 ON D"
     "ata_角_接続口.[4工法ID] = 拾い転送_工法変換_3.工法ＩＤ) ON (Spec_ﾊｾﾞ.[ﾊｾﾞID] = Data_"
     "角_単体設定.[ﾊｾﾞＩＤ]) AND (Spec_ﾊｾﾞ.[ﾊｾﾞID] = Data_角_単体設定.[ﾊｾﾞＩＤ])) ON Spec_"
     "ﾘﾌﾞ.[ﾘﾌﾞＩＤ] = Data_角_単体設定.[ﾘﾌﾞＩＤ]) INNER JOIN Spec_現場名 ON Data_ﾒｲﾝ_設定."
     "物件名ID = Spec_現場名.物件名ID) ON 拾い転送_選択物件.選択物件ID = Data_角_単体設定."
     "[ﾃﾞｰﾀＩＤ]) INNER JOIN 拾い転送_形状名称変換 ON [Spec_形状名(角）].形状名ＩＤ = 拾い"
     "転送_形状名称変換.形状名ＩＤ;"},
    {"拾い転送_副資材",
     "SELECT Data_丸副_単体設定.丸副入力ID, 拾い転送_選択物件.順番, Spec_現場名.現場名, Da"
     "ta_ﾒｲﾝ_設定.階, 拾い転送_系統変換.拾い系統名, 拾い転送_系統変換.板厚基準, 拾い転送_"
     "形状名称変換_副資材.形状名, 拾い転送_形状名称変換_副資材.変更形状名, 拾い転送_形状名"
     "称変換_副資材.形状分類名, Data_丸副_単体設定.[ｱﾝｸﾞﾙ材質], Spec_補強_材質.材質名, Dat"
     "a_丸副_単体設定.鉄板材質, Spec_ﾀﾞｸﾄ材質.材質名, 拾い転送_材質変換.拾い材質, 拾い転送"
     "_形状名称変換_副資材.複数登録, 拾い転送_形状名称変換_副資材.材質分岐, Data_丸副_単体"
     "設定.数量, Data_丸副_単体設定.[ﾌﾗﾝｼﾞ数量], Data_丸副_ｻｲｽﾞ.W1, 拾い転送_形状名称変換_"
     "副資材.[サイズ表示], Data_丸副_ｻｲｽﾞ.H1, Data_丸副_ｻｲｽﾞ.L1, Data_丸副_ｻｲｽﾞ.C1, Data_"
     "丸副_ｻｲｽﾞ.C2, Data_丸副_ｻｲｽﾞ.C3, Data_丸副_ｻｲｽﾞ.C4, Data_丸副_ｻｲｽﾞ.F1, Data_丸副_単"
     "体設定.入力日付, Data_丸副_単体設定.単品No1, Data_丸副_単体設定.単品No2, 拾い転送_形"
     "状名称変換_副資材.数量表示\r"
     "FROM (((Data_丸副_ｻｲｽﾞ INNER JOIN (((拾い転送_形状名称変換_副資材 INNER JOIN (拾い転"
     "送_選択物件 INNER JOIN (Data_ﾒｲﾝ_設定 INNER JOIN Data_丸副_単体設定 ON Data_ﾒｲﾝ_設定"
     ".[ﾃﾞｰﾀＩＤ] = Data_丸副_単体設定.[ﾃﾞｰﾀID]) ON 拾い転送_選択物件.選択物件ID = Data_ﾒｲ"
     "ﾝ_設定.[ﾃﾞｰﾀＩＤ]) ON 拾い転送_形状名称変換_副資材.形状名ＩＤ = Data_丸副_単体設定."
     "丸副名ID) INNER JOIN Spec_現場名 ON Data_ﾒｲﾝ_設定.物件名ID = Spec_現場名.物件名ID) I"
     "NNER JOIN 拾い転送_系統変換 ON Data_ﾒｲﾝ_設定.系統ＩＤ = 拾い転送_系統変換.ＩＤ) ON D"
     "ata_丸副_ｻｲｽﾞ.丸副入力ＩＤ = Data_丸副_単体設定.丸副入力ID) INNER JOIN Spec_補強_材"
     "質 ON Data_丸副_単体設定.[ｱﾝｸﾞﾙ材質] = Spec_補強_材質.補強材質ＩＤ) INNER JOIN Spec_"
     "ﾀﾞｸﾄ材質 ON Data_丸副_単体設定.鉄板材質 = Spec_ﾀﾞｸﾄ材質.[ﾀﾞｸﾄ材質ＩＤ]) INNER JOIN "
     "拾い転送_材質変換 ON Spec_ﾀﾞｸﾄ材質.[ﾀﾞｸﾄ材質ＩＤ] = 拾い転送_材質変換.材質名ＩＤ;"},
    {"拾い転送_データ転記",
     "SELECT 拾い転送_Base.見積選択, 拾い転送_Base.入力分類, 拾い転送_Base.拾い形状名, 拾"
     "い転送_Base.形状名, 拾い転送_Base.形状分類名, 拾い転送_Base.[㎡数], 拾い転送_Base.["
     "プラズマ㎡数], 拾い転送_Base.Kg数, 拾い転送_Base.材質, 拾い転送_Base.数量, 拾い転送_"
     "Base.複数登録, 拾い転送_Base.数量表示, 拾い転送_Base.計算数量, 拾い転送_Base.系統, "
     "拾い転送_Base.階, 拾い転送_Base.板厚, 拾い転送_Base.板厚基準, 拾い転送_Base.工法, 拾"
     "い転送_Base.[サイズ1], 拾い転送_Base.[サイズ2], 拾い転送_Base.[サイズ3], 拾い転送_Ba"
     "se.[サイズ4], 拾い転送_Base.内貼, 拾い転送_Base.[リブ種類], 拾い転送_Base.[ハゼ種類]"
     ", 拾い転送_Base.高所_表示, 拾い転送_Base.防振_表示, 拾い転送_Base.仕上_表示, 拾い転"
     "送_Base.材質_表示, 拾い転送_Base.板厚_表示, 拾い転送_Base.工法_表示, 拾い転送_Base.["
     "はぜ_表示], 拾い転送_Base.[リブ_表示], 拾い転送_Base.内貼_表示, 拾い転送_Base.寸度_"
     "表示, 拾い転送_Base.面積_表示, 拾い転送_Base.工法分類_表示\r"
     "From 拾い転送_Base\r"
     "WHERE (((拾い転送_Base.見積選択)=True));"},
    {"拾い転送_データ転記_追加",
     "SELECT 拾い転送_Base.見積選択, 拾い転送_Base.現場名, 拾い転送_Base.階, 拾い転送_Base"
     ".系統, Sum(拾い転送_Base.FG) AS FGの合計, Sum(拾い転送_Base.SUSFG) AS SUSFGの合計, S"
     "um(拾い転送_Base.亜鉛FG) AS 亜鉛FGの合計, Sum(拾い転送_Base.補強) AS 補強の合計, Sum"
     "(拾い転送_Base.SUS補強) AS SUS補強の合計, Sum(拾い転送_Base.亜鉛補強) AS 亜鉛補強の"
     "合計, Sum(拾い転送_Base.[ボックスペンキ㎡]) AS ボックスペンキ㎡の合計, Sum(拾い転送_"
     "Base.[ボックスペンキ㎡（プラズマ）]) AS ボックスペンキ㎡（プラズマ）の合計, Sum(拾い"
     "転送_Base.開口数) AS 開口数の合計, Sum(拾い転送_Base.排煙ダクトシール㎡) AS 排煙ダク"
     "トシール㎡の合計, Sum(拾い転送_Base.[排煙ダクトシール㎡(プラズマ)]) AS [排煙ダクトシ"
     "ール㎡(プラズマ)の合計], Sum(拾い転送_Base.[ダクトシール㎡]) AS ダクトシール㎡の合計"
     ", Sum(拾い転送_Base.[ダクトシール㎡（プラズマ）]) AS ダクトシール㎡（プラズマ）の合"
     "計, Sum(拾い転送_Base.特殊ダクトシール㎡) AS 特殊ダクトシール㎡の合計,Sum(拾い転送_B"
     "ase.特殊ダクトシール㎡（プラズマ）) AS 特殊ダクトシール㎡（プラズマ）の合計, Sum(拾"
     "い転送_Base.三井ハゼ㎡) AS 三井ハゼ㎡の合計, Sum(拾い転送_Base.三井ハゼ㎡（プラズマ"
     "）) AS 三井ハゼ㎡（プラズマ）の合計, Sum(拾い転送_Base.[リブ㎡]) AS リブ㎡の合計, Su"
     "m(拾い転送_Base.[リブ㎡（プラズマ）]) AS リブ㎡（プラズマ）の合計, Sum(拾い転送_Base"
     ".縦補強) AS 縦補強の合計, Sum(拾い転送_Base.SUS縦補強) AS SUS縦補強の合計, Sum(拾い"
     "転送_Base.亜鉛縦補強) AS 亜鉛縦補強の合計\r"
     "From 拾い転送_Base\r"
     "GROUP BY 拾い転送_Base.見積選択, 拾い転送_Base.現場名, 拾い転送_Base.階, 拾い転送_Ba"
     "se.系統;"},
    {"拾い転送_データ転記Add",
     "SELECT 拾い転送_Base.見積選択, 拾い転送_Base.入力分類, 拾い転送_Base.現場名, 拾い転"
     "送_Base.階, 拾い転送_Base.系統, Sum(拾い転送_Base.FG) AS FGの合計, Sum(拾い転送_Base"
     ".SUSFG) AS SUSFGの合計, Sum(拾い転送_Base.亜鉛FG) AS 亜鉛FGの合計, Sum(拾い転送_Base"
     ".補強) AS 補強の合計, Sum(拾い転送_Base.SUS補強) AS SUS補強の合計, Sum(拾い転送_Base"
     ".亜鉛補強) AS 亜鉛補強の合計, Sum(拾い転送_Base.[ボックスペンキ㎡]) AS ボックスペン"
     "キ㎡の合計, Sum(拾い転送_Base.[ボックスペンキ㎡（プラズマ）]) AS ボックスペンキ㎡（"
     "プラズマ）の合計, Sum(拾い転送_Base.開口数) AS 開口数の合計, Sum(拾い転送_Base.排煙"
     "ダクトシール㎡) AS 排煙ダクトシール㎡の合計, Sum(拾い転送_Base.[排煙ダクトシール㎡("
     "プラズマ)]) AS [排煙ダクトシール㎡(プラズマ)の合計], Sum(拾い転送_Base.[ダクトシール"
     "㎡]) AS ダクトシール㎡の合計, Sum(拾い転送_Base.[ダクトシール㎡（プラズマ）]) AS ダ"
     "クトシール㎡（プラズマ）の合計, Sum(拾い転送_Base.特殊ダクトシール㎡) AS 特殊ダクト"
     "シール㎡の合計, Sum(拾い転送_Base.特殊ダクトシール㎡（プラズマ）) AS 特殊ダクトシー"
     "ル㎡（プラズマ）の合計, Sum(拾い転送_Base.三井ハゼ㎡) AS 三井ハゼ㎡の合計, Sum(拾い"
     "転送_Base.三井ハゼ㎡（プラズマ）) AS 三井ハゼ㎡（プラズマ）の合計, Sum(拾い転送_Base"
     ".[リブ㎡]) AS リブ㎡の合計, Sum(拾い転送_Base.[リブ㎡（プラズマ）]) AS リブ㎡（プラ"
     "ズマ）の合計, Sum(拾い転送_Base.縦補強) AS 縦補強の合計, Sum(拾い転送_Base.SUS縦補強"
     ") AS SUS縦補強の合計, Sum(拾い転送_Base.亜鉛縦補強) AS 亜鉛縦補強の合計, Sum(拾い転"
     "送_Base.相FG) AS 相FGの合計 From 拾い転送_Base GROUP BY 拾い転送_Base.見積選択, 拾い"
     "転送_Base.入力分類, 拾い転送_Base.現場名, 拾い転送_Base.階, 拾い転送_Base.系統;"},
}};

}  // namespace sql_tests
