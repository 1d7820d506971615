#include <string>

#include "upgrade/data/data_up_m.h"
#include "upgrade/data/specification_rows.h"
#include "upgrade/rows.h"

namespace upgrade {
namespace {

constexpr ColumnRow kProcessFlags[] = {
    {"ネスティングフラグ", ado::adBoolean, 0},
    {"切断フラグ", ado::adBoolean, 0},
    {"組み立てフラグ", ado::adBoolean, 0},
    {"取り付けフラグ", ado::adBoolean, 0},
};

}  // namespace

void Data_Up_M::Data_Up_3() {
  db_.ClearError();
  db::Catalog catalog = db_.BindCatalog();
  AppendColumns(db_, db_.GetTable(catalog, "Data_角_単体設定"), kProcessFlags);

  // The column is there if its field can be read; nothing below may fail the step.
  db::Tolerant tolerant(db_);
  db_.OpenTable("仕様_名称");
  db_.GetField("工法");
  if (!db_.error()) return;

  db_.CloseTable();
  catalog = db_.BindCatalog();
  db_.AppendColumn(db_.GetTable(catalog, "仕様_名称"), "工法", db::adWChar, kTextChars);
  db_.ReopenDb();

  db_.OpenTable("仕様_名称");
  db_.SetField("工法", "共板");
  db_.NextRow();
  db_.SetField("工法", "FG");
  db_.SaveRow();
  db_.CloseTable();
}

void Data_Up_M::Data_Up_4() {
  db_.ClearError();
  AppendMethods(kMethods4);

  db_.OpenTable("仕様_名称");
  if (db_.GetField("工法") == db::Value(std::string("なし"))) {
    db_.SetField("工法", "共板");
    db_.NextRow();
    db_.SetField("工法", "FG");
    db_.NextRow();
    db_.SetField("工法", " ");
    db_.SaveRow();
  }
  db_.CloseTable();
}

void Data_Up_M::Data_Up_5() {
  db_.ClearError();
  AppendShapes(kShapes5);
}

void Data_Up_M::Data_Up_6() {
  db_.ClearError();
  AppendShapes(kShapes6);
}

void Data_Up_M::Data_Up_7() {
  db_.ClearError();
  AppendShapes(kShapes7);
}

void Data_Up_M::Data_Up_8() {
  db_.ClearError();
  AppendShapes(kShapes8);
}

// A row is saved by the AddRow of the next one.
void Data_Up_M::AppendMethods(std::span<const MethodRow> methods) {
  db_.OpenTable("Spec_工法");
  for (const MethodRow& method : methods) {
    db_.AddRow();
    db_.SetField("工法ID", method.id);
    db_.SetField("工法名", method.name);
  }
  db_.SaveRow();
  db_.CloseTable();
}

void Data_Up_M::SetShape(const ShapeRow& shape) {
  constexpr std::int16_t kNone = 0, kUnfold = 1;
  db_.SetField("形状名ID", shape.id);
  db_.SetField("形状名", shape.name);
  db_.SetField("単品図ID", kNone);
  db_.SetField("ﾘｽﾄID", kNone);
  db_.SetField("展開ﾌﾗｸﾞ", kUnfold);
}

void Data_Up_M::AddShapes(std::span<const ShapeRow> shapes) {
  for (const ShapeRow& shape : shapes) {
    db_.AddRow();
    SetShape(shape);
    db_.SaveRow();
  }
}

void Data_Up_M::AppendShapes(std::span<const ShapeRow> shapes) {
  db_.OpenTable("Spec_形状名（角）");
  AddShapes(shapes);
  db_.CloseTable();
}

}  // namespace upgrade
