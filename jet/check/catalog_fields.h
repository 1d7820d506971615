// What the parts of the integrity checker on the catalog share: fields of system
// tables, and security ids.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "jet/base/system_ids.h"
#include "jet/check/tables.h"

namespace jet::check {

std::optional<std::int32_t> Number(const RowFields& row, std::size_t ordinal);
std::optional<std::string> Text(const RowFields& row, std::size_t ordinal);
// The position of a column; behind the last one if there is none.
std::size_t Ordinal(const TableDef& def, std::string_view name);

bool Is(ByteView sid, const ShortSid& known);
bool IsKnownSid(ByteView sid);

}  // namespace jet::check
