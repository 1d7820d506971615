#include "upgrade/data/data_up_m.h"
#include "upgrade/data/specification_rows.h"

namespace upgrade {

void Data_Up_M::Data_Up_9() {
  db_.ClearError();
  AppendShapes(kShapes9);
}

void Data_Up_M::Data_Up_10() {
  db_.ClearError();
  AppendShapes(kShapes10);
}

void Data_Up_M::Data_Up_11() {
  db_.ClearError();
  AppendMethods(kMethods11);
}

void Data_Up_M::Data_Up_12() {
  db_.ClearError();
  db_.OpenTable("Spec_形状名（丸副）");
  db_.AddRow();
  db_.SetField("形状名ID", std::int16_t{59});
  db_.SetField("形状名", "ﾌﾞﾗｹｯﾄ4");
  db_.SetField("単品図ID", std::int16_t{0});
  db_.SetField("ﾘｽﾄID", std::int16_t{0});
  db_.SaveRow();
  db_.CloseTable();
}

void Data_Up_M::Data_Up_13() {
  // The standard rows up to identifier 144, of which one does not exist.
  constexpr std::int32_t kStandardRows = 144;
  db_.ClearError();
  db_.OpenTable("Spec_形状名（角）");
  if (db_.RowCount() == kStandardRows) AddShapes(kShapes13);
  db_.CloseTable();
}

}  // namespace upgrade
