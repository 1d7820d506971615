// The tables of a version-2 Data database, in the order of its catalog.
#include "samples/columns.h"
#include "samples/schema.h"

namespace samples {

std::vector<BaseTable> DataSchema() {
  std::vector<BaseTable> tables;
  Add(tables, "ﾊﾞｰｼﾞｮﾝ番号", {Double("Ver_No")});
  Add(tables, "Data_ﾒｲﾝ_設定",
      {Key(Long("ﾃﾞｰﾀＩＤ")), Indexed(Long("物件名ID")), Required(Long("系統ＩＤ")), Text("階", 50),
       Short("ｼｰﾙ場所（ﾊｾﾞ）"), Short("ｼｰﾙ場所（ｱﾝｸﾞﾙ）"), Short("ｼｰﾙ場所（ﾘﾍﾞｯﾄ）"),
       Memo("備考")});
  Add(tables, "Data_角_単体設定",
      {Key(Long("入力ＩＤ")), Required(Long("形状名ID")), Required(Long("定尺板寸法ID")),
       Double("数量"), Required(Long("板厚ＩＤ1")), Required(Long("ﾀﾞｸﾄ材質ＩＤ")),
       Indexed(Long("ﾃﾞｰﾀＩＤ")), Required(Long("内貼ID")), Required(Long("ﾘﾌﾞＩＤ")),
       Required(Long("ﾊｾﾞＩＤ")), Required(Short("開口ﾌﾗｸﾞ")), Required(Date("入力日付")),
       Text("単品番号1", 50), Text("単品番号2", 50)});
  Add(tables, "Data_角_㎡数", {Key(Long("入力ＩＤ")), Double("㎡数"), Double("ﾌﾟﾗｽﾞﾏ㎡数")});
  Add(tables, "Data_角_ｻｲｽﾞ",
      {Key(Long("入力ＩＤ")), Double("W1"), Double("H1"), Double("L1"), Double("R1"), Double("F1"),
       Double("F2"), Double("W2"), Double("W3")});
  Add(tables, "Data_角_接続口",
      {Key(Long("入力ＩＤ")), Required(Long("1工法ID")), Required(Long("2工法ID")),
       Required(Long("3工法ID")), Required(Long("4工法ID"))});
  Add(tables, "Data_角_展開設定",
      {Key(Long("入力ＩＤ")), Double("ﾎﾞｯｸｽﾊｾﾞｼﾛ_S"), Double("ﾎﾞｯｸｽﾊｾﾞｼﾛ_W"), Double("繋ぎﾊｾﾞｼﾛ_S"),
       Double("繋ぎﾊｾﾞｼﾛ_W")});
  Add(tables, "Data_角_開口",
      {Key(Long("入力ＩＤ")), Key(Long("開口番号")), Required(Long("開口形状ID")), Double("開口X"),
       Double("開口Y"), Double("開口W"), Double("開口H")});
  Add(tables, "Data_丸副_単体設定",
      {Key(Long("丸副入力ID")), Indexed(Long("ﾃﾞｰﾀID")), Required(Long("丸副名ID")),
       Required(Long("ｱﾝｸﾞﾙ材質")), Required(Long("鉄板材質")), Double("数量"), Double("ﾌﾗﾝｼﾞ数量"),
       Date("入力日付"), Text("単品No1", 50), Text("単品No2", 50)});
  Add(tables, "Data_丸副_ｻｲｽﾞ",
      {Key(Long("丸副入力ＩＤ")), Double("W1"), Double("H1"), Double("L1"), Double("C1"),
       Double("C2"), Double("C3"), Double("C4"), Double("F1")});
  Add(tables, "Spec_形状名（角）",
      {Key(Long("形状名ID")), Indexed(Text("形状名", 50)), Short("単品図ID"), Short("ﾘｽﾄID"),
       Short("展開ﾌﾗｸﾞ")});
  Add(tables, "Spec_形状名（丸副）",
      {Key(Long("形状名ID")), Text("形状名", 50), Short("単品図ID"), Short("ﾘｽﾄID"),
       Default(Short("展開ﾌﾗｸﾞ"), "1")});
  Add(tables, "Spec_工法", {Key(Long("工法ID")), Text("工法名", 50)});
  Add(tables, "Spec_補強名称", {Key(Long("補強ID")), Text("補強名", 50)});
  Add(tables, "Spec_ﾌﾚｷ種類名", {Key(Long("ﾌﾚｷ種類ID")), Text("ﾌﾚｷ種類名", 50)});
  Add(tables, "仕様_名称", {Key(Long("行番号")), Text("ﾌﾚｷ種類1", 50), Text("ﾌﾚｷ種類2", 50)});
  Add(tables, "仕様_その他設定", {Key(Long("設定ID")), Short("端数処理"), Double("ﾛｽ率")});
  Add(tables, "Spec_開口形状", {Key(Long("開口形状ID")), Text("形状", 50)});
  Add(tables, "Spec_現場名", {Key(Long("物件名ID")), Indexed(Text("現場名", 50))});
  Add(tables, "Spec_板厚", {Key(Long("板厚ＩＤ")), Text("板厚名", 50)});
  Add(tables, "Spec_ﾀﾞｸﾄ材質", {Key(Long("ﾀﾞｸﾄ材質ＩＤ")), Text("材質名", 50)});
  Add(tables, "Spec_内貼", {Key(Long("内貼ＩＤ")), Text("内貼名称", 50)});
  Add(tables, "Spec_ﾘﾌﾞ", {Key(Long("ﾘﾌﾞＩＤ")), Text("ﾘﾌﾞ名称", 50)});
  Add(tables, "Spec_ﾊｾﾞ", {Key(Long("ﾊｾﾞID")), Text("ﾊｾﾞ種類", 50)});
  Add(tables, "Spec_補強_材質", {Key(Long("補強材質ＩＤ")), Text("材質名", 50)});
  return tables;
}

}  // namespace samples
