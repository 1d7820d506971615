// The two ladder tables: which step runs from which version.
#pragma once

#include "db/kind.h"
#include "db/ladder.h"
#include "upgrade/data/data_up_m.h"
#include "upgrade/english/eng_m.h"
#include "upgrade/tenkai/tenkai_up_m.h"

namespace upgrade {

inline constexpr std::int16_t kDataLatest = 27;
inline constexpr std::int16_t kTenkaiLatest = 22;
constexpr std::int16_t LatestVersion(db::Kind kind) {
  return kind == db::Kind::kData ? kDataLatest : kTenkaiLatest;
}

// The steps must outlive the ladder.
db::Ladder MakeDataLadder(Data_Up_M& steps, Eng_M& english);
db::Ladder MakeTenkaiLadder(Tenkai_UP_M& steps);

}  // namespace upgrade
