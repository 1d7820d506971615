// The rows of a database as texts, to be compared.
#pragma once

#include <functional>
#include <string>

#include "jet/database/database.h"
#include "jet/table/table.h"

namespace fuzz {

std::string ToImage(jet::ByteView file);

// The values of a row that has so many columns.
std::string TextOf(const jet::Table::Row& row, std::size_t columns);

// `visit` gets every row of every table but those of the system.
void ForEachRow(jet::Database& database,
                const std::function<void(const jet::Table&, const jet::Table::Row&)>& visit,
                jet::ObjectKind kind = jet::ObjectKind::kTable);

}  // namespace fuzz
