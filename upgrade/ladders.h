// The two ladder tables: which step runs from which version; and the repairs.
#pragma once

#include "db/file_session.h"

namespace upgrade {

inline constexpr std::int16_t kDataLatest = 27;
inline constexpr std::int16_t kTenkaiLatest = 22;
constexpr std::int16_t LatestVersion(db::Kind kind) {
  return kind == db::Kind::kData ? kDataLatest : kTenkaiLatest;
}

// All run on `db`, a handle of that kind, which must outlive what is made.
db::Ladder MakeLadder(db::Kind kind, db::DbHandle& db);
db::Repairs MakeRepairs(db::DbHandle& db);  // of a Data database

// Runs the steps above the stored version, rounded half to even, up to `to`, and
// stores `to`. Throws ado::Error.
void RunLadder(db::FileSession& session, std::int16_t to, db::LadderObserver* observer = nullptr);

}  // namespace upgrade
