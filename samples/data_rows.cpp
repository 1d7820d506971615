// The small tables of a version-2 Data database, filled.
#include <span>

#include "samples/names.h"
#include "samples/schema.h"

namespace samples {
namespace {

constexpr int kBlankShape = 45;

// One row a name: identifier, name, and what else every row of the table holds.
void FillNames(BaseTable& table, std::span<const std::string_view> names, int first_id,
               const Row& rest = {}) {
  for (int id = first_id; std::string_view name : names) {
    Row row{id++, std::string(name)};
    row.insert(row.end(), rest.begin(), rest.end());
    table.rows.push_back(std::move(row));
  }
}

void FillShapes(BaseTable& table) {
  FillNames(table, kShapeNames, 0, {0, 0, 1});
  table.At(0, "展開ﾌﾗｸﾞ") = 0;
  table.rows.erase(table.rows.begin() + kBlankShape);
}

// One choice list a column, the shorter one ends in Null.
void FillChoices(BaseTable& table) {
  constexpr std::size_t kRows = 6, kSecondList = 4;
  for (std::size_t i = 0; i < kRows; ++i) {
    Row row{static_cast<int>(i + 1), std::string(kFlexNames[i])};
    if (i < kSecondList) row.emplace_back(std::string(kFlexNames[kRows + i]));
    table.rows.push_back(std::move(row));
  }
}

}  // namespace

std::vector<BaseTable> DataTables() {
  std::vector<BaseTable> tables = DataSchema();
  auto names = [&tables](std::string_view table, std::span<const std::string_view> list,
                         int first_id) { FillNames(TableNamed(tables, table), list, first_id); };
  TableNamed(tables, "ﾊﾞｰｼﾞｮﾝ番号").rows = {{2.0}};
  FillShapes(TableNamed(tables, "Spec_形状名（角）"));
  FillNames(TableNamed(tables, "Spec_形状名（丸副）"), kAccessoryNames, 1, {0, 0, 1});
  names("Spec_工法", kMethodNames, 0);
  names("Spec_ﾀﾞｸﾄ材質", kMaterialNames, 0);
  names("Spec_ﾌﾚｷ種類名", kFlexNames, 1);

  constexpr std::string_view kReinforcements[] = {
      "なし",      "FG-25×25",  "FG-30×30",  "FG-40×40",  "相FG",   "L-25×25×3",
      "L-30×30×3", "L-40×40×3", "L-40×40×5", "L-50×50×6", "縦補強", "L-65×65×6"};
  names("Spec_補強名称", kReinforcements, 0);
  constexpr std::string_view kThicknesses[] = {"なし", "0.5t", "0.6t", "0.8t", "1.0t",
                                               "1.2t", "1.5t", "1.6t", "2.3t"};
  names("Spec_板厚", kThicknesses, 0);
  constexpr std::string_view kLinings[] = {"なし", "GW25mm", "GW50mm"};
  names("Spec_内貼", kLinings, 0);
  constexpr std::string_view kRibs[] = {"なし", "横ﾘﾌﾞ", "ﾀﾞｲﾔﾓﾝﾄﾞ"};
  names("Spec_ﾘﾌﾞ", kRibs, 0);
  constexpr std::string_view kSeams[] = {"なし", "ﾋﾟｯﾂﾊﾞｰｸﾞ", "ﾎﾞﾀﾝﾊﾟﾝﾁ"};
  names("Spec_ﾊｾﾞ", kSeams, 0);
  constexpr std::string_view kReinforcementMaterials[] = {"なし", "鉄", "ﾒｯｷ", "SUS"};
  names("Spec_補強_材質", kReinforcementMaterials, 0);
  constexpr std::string_view kOpenings[] = {"角", "丸"};
  names("Spec_開口形状", kOpenings, 1);

  FillChoices(TableNamed(tables, "仕様_名称"));
  TableNamed(tables, "仕様_その他設定").rows = {{1, 0, 1.25}};
  return tables;
}

}  // namespace samples
