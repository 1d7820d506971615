// The steps of the Data database, from version 2 to 27.
//
// Each works on the open session and leaves it open. An error leaves the step
// where it happened; what was done before stays.
#pragma once

#include <cstdint>
#include <span>

#include "db/db_handle.h"

namespace upgrade {

struct MethodRow;
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

 private:
  void AppendMethods(std::span<const MethodRow> methods);
  // The five fields of a shape on the current row.
  void SetShape(const ShapeRow& shape);
  void AppendShapes(std::span<const ShapeRow> shapes);

  db::DbHandle& db_;
};

}  // namespace upgrade
