// The tables of a version-2 Tenkai database, in the order of its catalog.
#include "samples/columns.h"
#include "samples/schema.h"

namespace samples {

std::vector<BaseTable> TenkaiSchema() {
  std::vector<BaseTable> tables;
  Add(tables, "ﾊﾞｰｼﾞｮﾝ番号", {Double("Ver_No")});
  for (const char* name : {"ｼﾛ_ｱﾝｸﾞﾙ別設定_亜鉛鉄板", "ｼﾛ_ｱﾝｸﾞﾙ別設定_SUS", "ｼﾛ_ｱﾝｸﾞﾙ別設定_塩ﾋﾞ",
                           "ｼﾛ_ｱﾝｸﾞﾙ別設定_鋼板"}) {
    Add(tables, name,
        {Text("接続口形状", 50), Text("ｼﾛ", 50), Double("25"), Double("30"), Double("40"),
         Double("50"), Double("65"), Double("S1"), Double("S2"), Double("S3")});
  }
  for (const char* name : {"ｼﾛ_接合種類別設定_亜鉛鉄板", "ｼﾛ_接合種類別設定_SUS",
                           "ｼﾛ_接合種類別設定_塩ﾋﾞ", "ｼﾛ_接合種類別設定_鋼板"}) {
    Add(tables, name,
        {Text("接続口形状", 50), Text("ｼﾛ", 50), Double("05t"), Double("06t"), Double("08t"),
         Double("10t"), Double("12t"), Double("16t"), Double("S1"), Double("S2")});
  }
  Add(tables, "接続口基本設定", {Key(Long("設定ID")), Double("ｷｻﾞﾐ寸法"), Double("ｷｻﾞﾐ角度")});
  Add(tables, "板取設定_角丸", {Key(Long("設定ID")), Long("2枚取り種類")});
  Add(tables, "設定_NEST", {Key(Long("設定ID")), Double("ﾈｽﾄ間隔")});
  Add(tables, "ﾂﾏ板設定",
      {Key(Long("設定ID")), Required(Double("Box繋ぎﾊｾﾞ_ｾﾝﾀｰ_S")),
       Required(Double("Box繋ぎﾊｾﾞ_ｾﾝﾀｰ_W")), Required(Double("Box繋ぎﾊｾﾞ_ｺｰﾅｰ_S")),
       Required(Double("Box繋ぎﾊｾﾞ_ｺｰﾅｰ_W")), Required(Long("Boxハゼ抜きパターン")),
       Required(Long("Boxﾊｾﾞ抜きミミ")), Double("ハゼ抜き長さ"), Double("ﾊｾﾞ抜きミミ高さ")});
  Add(tables, "形状別設定",
      {Key(Long("設定ID")), Double("直管・短管接続サイズ（共板）"),
       Required(Double("直管・短管接続サイズ（その他）"))});
  Add(tables, "印刷初期値", {Key(Long("設定ID")), Text("用紙", 50)});
  Add(tables, "設定_円弧分割数", {Key(Long("分割ID")), Double("半径上限"), Double("分割数")});
  Add(tables, "設定_CADLink", {Key(Long("設定ID")), Text("出力ﾌｫﾙﾀﾞ", 255)});
  Add(tables, "設定_直管板取形状", {Text("板取り形状", 50)});
  Add(tables, "設定_材質板厚ｺｰﾄﾞ",
      {Key(Long("材質名ID")), Text("材質名", 50), Double("05"), Double("06"), Double("08"),
       Double("10"), Double("12"), Double("15"), Double("16"), Double("23")});
  Add(tables, "設定_材質別ｺｰﾄﾞ", {Key(Long("材質ID")), Text("材質", 50), Long("材質・板厚ID")});
  Add(tables, "設定_Box板取形状",
      {Key(Long("行番号")), Text("5面Box", 50), Text("6面Box", 50), Text("BL5面Box", 50),
       Text("BL6面Box", 50)});
  for (const char* name : {"ﾀﾞｸﾄｻｲｽﾞの寸法補正値_BP", "ﾀﾞｸﾄｻｲｽﾞの寸法補正値_三井ﾊｾﾞ"}) {
    Add(tables, name,
        {Indexed(Long("ID")), Text("ﾀﾞｸﾄ形状", 50), Text("板取", 50), Text("ﾊｾﾞ形状", 50),
         Double("05t"), Double("06t"), Double("08t"), Double("10t"), Double("12t"), Double("16t"),
         Double("S1"), Double("S2")});
  }
  return tables;
}

}  // namespace samples
