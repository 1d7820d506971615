// Tables and rows that the benchmarks work on. Row n follows from n alone.
#pragma once

#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "jet/database/database.h"

namespace bench {

// What a table of five columns has beside its rows.
enum class Key { kNone, kLong, kText, kBoth };

inline constexpr const char* kTableName = "明細";

// id, 名称, 区分, 金額, 日付; the texts of a table of `rows` rows come in no order.
std::shared_ptr<jet::Table> MakeTable(jet::Database& database, Key key,
                                      std::string_view name = kTableName);
void FillRow(std::int32_t number, std::int32_t rows, std::vector<jet::Value>& row);
void InsertRows(jet::Table& table, std::int32_t rows);

// For the saved queries of a Data database at its latest version: chooses every
// `step`-th of `jobs` jobs, and puts `rows` rows into the work table.
void FillTransfer(jet::Database& database, std::int32_t jobs, std::int32_t step, std::int32_t rows);

}  // namespace bench
