// The steps of the Data database, from version 2 to 27.
//
// Each works on the open session and leaves it open. An error leaves the step
// where it happened; what was done before stays.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "db/db_handle.h"

namespace upgrade {

struct MethodRow;
struct PositionName;
struct ShapeRow;

class Data_Up_M {
 public:
  explicit Data_Up_M(db::DbHandle& db) : db_(db) {}

  void Data_Up_3();
  void Data_Up_4();
  void Data_Up_5();
  void Data_Up_6();
  void Data_Up_7();
  void Data_Up_8();
  void Data_Up_9();
  void Data_Up_10();
  void Data_Up_11();
  void Data_Up_12();
  void Data_Up_13();
  void Data_Up_14();
  void Data_Up_15();
  // Step 16 is two procedures, the second of which also runs by itself.
  void Data_Up_16a();
  void Data_Up_16b();
  void Data_Up_17();
  void Data_Up_18();
  void Data_Up_19();
  void Data_Up_20();
  void Data_Up_21();
  void Data_Up_22();
  void Data_Up_23();
  void Data_Up_24();
  void Data_Up_25();
  void Data_Up_26();
  void Data_Up_27();

 private:
  void AppendMethods(std::span<const MethodRow> methods);
  // The five fields of a shape on the current row.
  void SetShape(const ShapeRow& shape);
  void AddShapes(std::span<const ShapeRow> shapes);
  void AppendShapes(std::span<const ShapeRow> shapes);
  void AddEnglishShape(const ShapeRow& shape);
  void AppendEnglishShapes(std::span<const ShapeRow> shapes);

  // The stages of step 14. False: a table was there, and the step is over.
  bool CreateTransferTables();
  void AddCodeRows();
  void AddShapeConversions();
  void AddAccessoryConversions();
  void NameReinforcements();
  void StoreTransferQueries();

  void NameByPosition(std::string_view table, std::string_view field,
                      std::span<const PositionName> names);
  void AppendSetting(std::string_view table, std::string_view column, const char* value);

  db::DbHandle& db_;
};

}  // namespace upgrade
