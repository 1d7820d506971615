// The steps of the Tenkai database, from version 2 to 22.
//
// Each works on the open session and leaves it open. An error leaves the step
// where it happened; what was done before stays.
#pragma once

#include <span>
#include <string_view>

#include "db/db_handle.h"

namespace upgrade {

struct SettingRow;

class Tenkai_UP_M {
 public:
  explicit Tenkai_UP_M(db::DbHandle& db) : db_(db) {}

  void Tenkai_Up_3();
  void Tenkai_Up_4();
  void Tenkai_Up_5();
  void Tenkai_Up_6();
  void Tenkai_Up_7();
  void Tenkai_Up_8();
  void Tenkai_Up_9();
  void Tenkai_Up_10();
  void Tenkai_Up_11();
  void Tenkai_Up_12();
  void Tenkai_Up_13();
  void Tenkai_Up_14();
  void Tenkai_Up_15();
  void Tenkai_Up_16();
  void Tenkai_Up_17();
  void Tenkai_Up_18();
  void Tenkai_Up_19();
  void Tenkai_Up_20();
  void Tenkai_Up_21();
  void Tenkai_Up_22();

 private:
  // Two rows a material, all values text; the last one is left pending.
  void AddTakeOffRows(std::span<const char* const> zero_fields);
  // Adds the columns, reopens, and writes the values into the first row.
  void AppendSettings(std::string_view table, std::span<const SettingRow> settings);
  void WriteSettings(std::string_view table, std::span<const SettingRow> settings);
  void WriteThicknessCodes();

  db::DbHandle& db_;
};

}  // namespace upgrade
