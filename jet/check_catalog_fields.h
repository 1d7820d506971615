// What the parts of the integrity checker on the catalog share: names, types of
// objects, and fields of system tables.
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "jet/check_tables.h"

namespace jet::check {

inline constexpr std::string_view kObjectsTable = "MSysObjects", kAcesTable = "MSysACEs",
                                  kQueriesTable = "MSysQueries",
                                  kRelationshipsTable = "MSysRelationships";
inline constexpr std::int32_t kTable = 1, kDatabase = 2, kContainer = 3, kLinkedOdbc = 4,
                              kQuery = 5, kLinked = 6;
inline constexpr std::int32_t kRootId = 0x0F000000;

// Security ids of two bytes, in clear.
inline constexpr std::array<std::uint8_t, 2> kAdmin{3, 1}, kUsers{2, 1}, kEngine{2, 3},
    kCreator{2, 4};

std::optional<std::int32_t> Number(const RowFields& row, std::size_t ordinal);
std::optional<std::string> Text(const RowFields& row, std::size_t ordinal);
// The position of a column; behind the last one if there is none.
std::size_t Ordinal(const TableDef& def, std::string_view name);

bool Is(ByteView sid, const std::array<std::uint8_t, 2>& known);
bool IsKnownSid(ByteView sid);

}  // namespace jet::check
