// What every database has, by number and by name: system tables, containers, types and
// flags of objects, security ids.
#pragma once

#include <array>
#include <cstdint>

#include "jet/base/types.h"

namespace jet {

// The definitions of the system tables stand on these pages.
inline constexpr PageNumber kObjectsPage{2}, kAccessPage{3}, kQueriesPage{4}, kRelationshipsPage{5};
inline constexpr const char *kObjectsTable = "MSysObjects", *kAccessTable = "MSysACEs",
                            *kQueriesTable = "MSysQueries",
                            *kRelationshipsTable = "MSysRelationships";

// Types of MSysObjects rows.
inline constexpr std::int16_t kTableObject = 1, kContainerDatabase = 2, kContainer = 3,
                              kOdbcLink = 4, kQueryObject = 5, kFileLink = 6;

// Ids and names of the containers, and of the object that stands for the database.
inline constexpr std::int32_t kRootContainer = 0x0F000000, kTablesContainer = 0x0F000001,
                              kDatabasesContainer = 0x0F000002,
                              kRelationshipsContainer = 0x0F000003, kDatabaseObject = 0x10000000;
inline constexpr const char *kTablesName = "Tables", *kDatabasesName = "Databases",
                            *kRelationshipsName = "Relationships", *kDatabaseName = "MSysDb";

// Flags of MSysObjects rows.
inline constexpr std::uint32_t kSystemObjectFlag = 0x8000'0000;
inline constexpr std::uint32_t kHiddenSystemFlag = 0x2;
inline constexpr std::uint32_t kProviderQueryFlag = 0x1000'0000;

// The security ids that every file has, in clear.
using ShortSid = std::array<std::uint8_t, 2>;
inline constexpr ShortSid kAdminSid{0x03, 0x01}, kUsersSid{0x02, 0x01}, kEngineSid{0x02, 0x03},
    kCreatorSid{0x02, 0x04};

}  // namespace jet
