// The two ladder tables: which step runs from which version; and the repairs.
#pragma once

#include "db/db_handle.h"
#include "db/kind.h"
#include "db/ladder.h"

namespace upgrade {

inline constexpr std::int16_t kDataLatest = 27;
inline constexpr std::int16_t kTenkaiLatest = 22;
constexpr std::int16_t LatestVersion(db::Kind kind) {
  return kind == db::Kind::kData ? kDataLatest : kTenkaiLatest;
}

// All run on `db`, a handle of that kind, which must outlive what is made.
db::Ladder MakeLadder(db::Kind kind, db::DbHandle& db);
db::Repairs MakeRepairs(db::DbHandle& db);  // of a Data database

}  // namespace upgrade
