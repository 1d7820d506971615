#include <string>

#include "upgrade/data/data_up_m.h"
#include "upgrade/data/specification_rows.h"
#include "upgrade/data/transfer_queries.h"
#include "upgrade/rows.h"

namespace upgrade {
namespace {

constexpr ColumnRow kAccessoryTotals[] = {
    {"補強ID", ado::adInteger, 0},     {"鋼材ｻｲｽﾞID", ado::adInteger, 0},
    {"鋼材材質ID", ado::adInteger, 0}, {"W", ado::adInteger, 0},
    {"H", ado::adInteger, 0},          {"数量", ado::adInteger, 0},
    {"重量", ado::adDouble, 0},
};

constexpr ColumnRow kAreaQuantities[] = {
    {"系統", ado::adWChar, kTextChars},
    {"階", ado::adWChar, kTextChars},
    {"㎡分類", ado::adWChar, kTextChars},
    {"数量", ado::adInteger, 0},
};

struct PickupName {
  std::int16_t id;
  const char* name;
};

// By shape; 31 keeps the name it has.
constexpr PickupName kPickupNames[] = {
    {29, "FＧ（副資材） "}, {30, "FＧ（副資材） "}, {32, "FＧ（副資材） "}, {33, "FＧ（副資材） "},
    {34, "FＧ（副資材） "}, {35, "FＧ（副資材） "}, {36, "FＧ（副資材） "}, {37, "FＧ（副資材） "},
    {38, "その他"},         {39, "その他"},         {40, "その他"},         {41, "その他"},
    {42, "その他"},         {43, "その他"},         {44, "加工品"},         {45, "アングル"},
    {46, "アングル"},       {47, "その他"},         {48, "その他"},         {59, "その他"},
};

constexpr std::int16_t kMatingFlange = 4;
constexpr std::int16_t kPlainFlange = 30;

}  // namespace

void Data_Up_M::Data_Up_19() {
  db_.ClearError();
  AppendEnglishShapes(kShapes19);
}

void Data_Up_M::Data_Up_20() {
  db_.ClearError();
  AppendEnglishShapes(kShapes20);
}

void Data_Up_M::AppendEnglishShapes(std::span<const ShapeRow> shapes) {
  db_.OpenTable("Spec_形状名（角）");
  for (const ShapeRow& shape : shapes) AddEnglishShape(shape);
  db_.CloseTable();
}

void Data_Up_M::AddEnglishShape(const ShapeRow& shape) {
  db_.AddRow();
  SetShape(shape);
  db_.SetField("形状名_英語", shape.english);
  db_.SaveRow();
}

void Data_Up_M::Data_Up_21() {
  db_.ClearError();
  db::Catalog catalog = db_.BindCatalog();
  if (!TryAppendTable(db_, catalog, db_.CreateTable("Data_丸副_集計"))) return;
  AppendColumns(db_, db_.GetTable(catalog, "Data_丸副_集計"), kAccessoryTotals);

  catalog = db_.BindCatalog();
  if (!TryAppendTable(db_, catalog, db_.CreateTable("拾い転送_㎡別数量"))) return;
  AppendColumns(db_, db_.GetTable(catalog, "拾い転送_㎡別数量"), kAreaQuantities);

  db_.OpenTable("拾い転送_形状名称変換_副資材");
  if (FindRow(db_, "形状名ID", kPlainFlange)) {
    db_.SetField("変更形状名", "ＦＧ");
    db_.SaveRow();
  }
  db_.CloseTable();

  db_.OpenTable("Spec_補強名称");
  if (FindRow(db_, "補強ID", kMatingFlange)) {
    db_.SetField("転送名称", "ＦＧ");
    db_.SaveRow();
  }
  db_.CloseTable();

  AppendSetting("拾い転送_設定", "1㎡以下の追加", "0");
  db_.CloseTable();
}

void Data_Up_M::Data_Up_22() {
  db_.ClearError();
  AppendSetting("仕様_その他設定", "鋼板重量", "35.32");
  db_.CloseTable();
}

// Adds a Double column to a table and sets it on the first row, where the
// recordset stays open.
void Data_Up_M::AppendSetting(std::string_view table, std::string_view column, const char* value) {
  db_.AppendColumn(db_.GetTable(db_.BindCatalog(), table), column, db::adDouble, 0);
  db_.ReopenDb();
  db_.OpenTable(table);
  db_.SetField(column, value);
  db_.SaveRow();
}

void Data_Up_M::Data_Up_23() {
  db_.ClearError();
  AppendSetting("仕様_その他設定", "ＦＧ補正値", "0");
  db_.ReleaseTable();

  db_.AppendColumn(db_.GetTable(db_.BindCatalog(), "拾い転送_Base"), "相ＦＧ", db::adDouble, 0);

  db_.OpenTable("拾い転送_形状名称変換_副資材");
  while (!db_.AtEnd()) {
    const db::Value id = db_.GetField("形状名ID");
    for (const PickupName& row : kPickupNames) {
      if (HasNumber(id, row.id)) db_.SetField("変更形状名", row.name);
    }
    db_.SaveRow();
    db_.NextRow();
  }
  db_.CloseTable();

  db_.OpenTable("Spec_補強名称");
  while (!db_.AtEnd()) {
    if (HasNumber(db_.GetField("補強ID"), kMatingFlange)) {
      db_.SetField("転送名称", "相ＦＧ");
      db_.SaveRow();
    }
    db_.NextRow();
  }
  db_.CloseTable();

  db_.AddQuery(db_.BindCatalog(), kClassSumQuery,
               std::string(kClassSumQueryHead) + kTransferSums1 + " " + kTransferSums2 +
                   kClassSumQuerySum + kClassSumQueryFrom + kClassSumQueryGroups);
}

}  // namespace upgrade
