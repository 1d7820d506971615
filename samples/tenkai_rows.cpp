// The small tables of a version-2 Tenkai database, filled.
#include <span>

#include "samples/names.h"
#include "samples/schema.h"

namespace samples {
namespace {

constexpr std::size_t kAngleSizes = 5, kJointSizes = 8;

// Two rows a joint method: the flange allowance and the return allowance.
void FillAllowances(BaseTable& table, std::span<const int> methods, std::size_t sizes,
                    double allowance) {
  for (int method : methods) {
    const std::string name(kMethodNames[static_cast<std::size_t>(method)]);
    Row flange{name, "ﾌﾗﾝｼﾞｼﾛ"}, back{name, "返しｼﾛ"};
    for (std::size_t i = 0; i < sizes; ++i) {
      flange.emplace_back(allowance + static_cast<double>(i) + method);
      back.emplace_back(static_cast<double>(method) + 0.5);
    }
    for (Row* row : {&flange, &back}) {
      row->resize(table.columns.size(), 0.0);
      table.rows.push_back(*row);
    }
  }
}

void FillCorrections(BaseTable& table, double base) {
  constexpr std::string_view kShapes[] = {"直管", "短管",     "エルボ", "S管",
                                          "T管",  "ホッパー", "角丸",   "閉止板"};
  constexpr std::string_view kSeams[] = {"S", "W", "H"};
  int id = 0;
  for (std::string_view shape : kShapes) {
    for (std::string_view seam : kSeams) {
      Row row{++id, std::string(shape), "共通", std::string(seam)};
      for (std::size_t i = row.size(); i < table.columns.size(); ++i) {
        row.emplace_back(base + id + static_cast<double>(i) / 4);
      }
      table.rows.push_back(std::move(row));
    }
  }
}

// Materials 1 to `count`, then what `rest` makes of the number.
template <class Rest>
void FillMaterials(BaseTable& table, int count, Rest rest) {
  for (int id = 1; id <= count; ++id) {
    Row row{id, std::string(kMaterialNames[static_cast<std::size_t>(id)])};
    rest(id, row);
    table.rows.push_back(std::move(row));
  }
}

void FillSettings(std::vector<BaseTable>& tables) {
  TableNamed(tables, "接続口基本設定").rows = {{1, 5.0, 45.0}};
  TableNamed(tables, "板取設定_角丸").rows = {{1, 2}};
  TableNamed(tables, "設定_NEST").rows = {{1, 10.0}};
  TableNamed(tables, "ﾂﾏ板設定").rows = {{1, 21.5, 22.5, 23.5, 24.5, 3, 4, 18.0, 12.0}};
  TableNamed(tables, "形状別設定").rows = {{1, 20.0, 35.5}};
  TableNamed(tables, "印刷初期値").rows = {{1, "A4"}};
  TableNamed(tables, "設定_CADLink").rows = {{1, "C:\\CADLink"}};
}

}  // namespace

std::vector<BaseTable> TenkaiTables() {
  std::vector<BaseTable> tables = TenkaiSchema();
  TableNamed(tables, "ﾊﾞｰｼﾞｮﾝ番号").rows = {{2.0}};
  constexpr int kAngleMethods[] = {2, 3, 5};
  constexpr int kJointMethods[] = {1, 4, 6, 8};
  double allowance = 20;
  for (std::string_view material : {"亜鉛鉄板", "SUS", "塩ﾋﾞ", "鋼板"}) {
    const std::string ending(material);
    FillAllowances(TableNamed(tables, "ｼﾛ_ｱﾝｸﾞﾙ別設定_" + ending), kAngleMethods, kAngleSizes,
                   allowance);
    FillAllowances(TableNamed(tables, "ｼﾛ_接合種類別設定_" + ending), kJointMethods, kJointSizes,
                   allowance);
    allowance += 0.5;
  }
  FillSettings(tables);
  for (int i = 1; i <= 11; ++i) {
    TableNamed(tables, "設定_円弧分割数").rows.push_back({i, 100.0 * i, 4.0 * i});
  }
  TableNamed(tables, "設定_直管板取形状").rows = {
      {"1枚取り"}, {"L型 2枚取り"}, {"コの字 2枚取り"}, {"4枚取り"}};
  FillMaterials(TableNamed(tables, "設定_材質板厚ｺｰﾄﾞ"), 6, [](int id, Row& row) {
    for (int i = 1; i <= 8; ++i) row.emplace_back(100.0 * id + i);
  });
  FillMaterials(TableNamed(tables, "設定_材質別ｺｰﾄﾞ"), 10,
                [](int id, Row& row) { row.emplace_back(1 + (id - 1) % 6); });
  TableNamed(tables, "設定_Box板取形状").rows = {
      {1, "1枚取り", "1枚取り", "1枚取り", "1枚取り"},
      {2, "2枚取り", "2枚取り", "2枚取り", "2枚取り"},
      {3, "3枚取り", "3枚取り", "3枚取り", "3枚取り"},
      {4, "4枚取り", "4枚取り", "4枚取り", "4枚取り"},
      {5, "5枚取り", "5枚取り", "5枚取り", "5枚取り"},
      {6, jet::Null{}, "6枚取り", jet::Null{}, "6枚取り"}};
  FillCorrections(TableNamed(tables, "ﾀﾞｸﾄｻｲｽﾞの寸法補正値_BP"), 0.25);
  FillCorrections(TableNamed(tables, "ﾀﾞｸﾄｻｲｽﾞの寸法補正値_三井ﾊｾﾞ"), 100.25);
  return tables;
}

}  // namespace samples
