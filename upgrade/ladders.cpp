#include "upgrade/ladders.h"

#include "upgrade/data/data_up_m.h"
#include "upgrade/english/eng_m.h"
#include "upgrade/tenkai/tenkai_up_m.h"

namespace upgrade {
namespace {

// The module of a step holds nothing but the handle, so each run makes its own.
template <class Module>
std::function<void()> Step(db::DbHandle& db, void (Module::*procedure)()) {
  return [&db, procedure] { (Module(db).*procedure)(); };
}

db::Ladder MakeDataLadder(db::DbHandle& db) {
  return {kDataLatest,
          {
              {2, 3, "Data_Up_3", Step(db, &Data_Up_M::Data_Up_3)},
              {3, 4, "Data_Up_4", Step(db, &Data_Up_M::Data_Up_4)},
              {4, 5, "Data_Up_5", Step(db, &Data_Up_M::Data_Up_5)},
              {5, 6, "Data_Up_6", Step(db, &Data_Up_M::Data_Up_6)},
              {6, 7, "Data_Up_7", Step(db, &Data_Up_M::Data_Up_7)},
              {7, 8, "Data_Up_8", Step(db, &Data_Up_M::Data_Up_8)},
              {8, 9, "Data_Up_9", Step(db, &Data_Up_M::Data_Up_9)},
              {9, 10, "Data_Up_10", Step(db, &Data_Up_M::Data_Up_10)},
              {10, 11, "Data_Up_11", Step(db, &Data_Up_M::Data_Up_11)},
              {11, 12, "Data_Up_12", Step(db, &Data_Up_M::Data_Up_12)},
              {12, 13, "Data_Up_13", Step(db, &Data_Up_M::Data_Up_13)},
              {13, 14, "Data_Up_14", Step(db, &Data_Up_M::Data_Up_14)},
              {14, 15, "Data_Up_15", Step(db, &Data_Up_M::Data_Up_15)},
              {15, 16, "Data_Up_16a", Step(db, &Data_Up_M::Data_Up_16a)},
              {15, 16, "Data_Up_16b", Step(db, &Data_Up_M::Data_Up_16b)},
              {16, 17, "Data_Up_17", Step(db, &Data_Up_M::Data_Up_17)},
              {17, 18, "Data_Up_18", Step(db, &Data_Up_M::Data_Up_18)},
              {18, 19, "Eng_Apply", Step(db, &Eng_M::Eng_Apply)},
              {18, 19, "Data_Up_19", Step(db, &Data_Up_M::Data_Up_19)},
              {19, 20, "Data_Up_20", Step(db, &Data_Up_M::Data_Up_20)},
              {20, 21, "Data_Up_21", Step(db, &Data_Up_M::Data_Up_21)},
              {21, 22, "Data_Up_22", Step(db, &Data_Up_M::Data_Up_22)},
              {22, 23, "Data_Up_23", Step(db, &Data_Up_M::Data_Up_23)},
              {23, 24, "Data_Up_24", Step(db, &Data_Up_M::Data_Up_24)},
              {24, 25, "Data_Up_25", Step(db, &Data_Up_M::Data_Up_25)},
              {25, 26, "Data_Up_26", Step(db, &Data_Up_M::Data_Up_26)},
              {26, 27, "Data_Up_27", Step(db, &Data_Up_M::Data_Up_27)},
          }};
}

db::Ladder MakeTenkaiLadder(db::DbHandle& db) {
  // Step 4 has given a database of version 3 the rows that step 7 adds.
  constexpr std::int16_t kHasTakeOffRows = 3;
  return {kTenkaiLatest,
          {
              {2, 3, "Tenkai_Up_3", Step(db, &Tenkai_UP_M::Tenkai_Up_3)},
              {3, 4, "Tenkai_Up_4", Step(db, &Tenkai_UP_M::Tenkai_Up_4)},
              {4, 5, "Tenkai_Up_5", Step(db, &Tenkai_UP_M::Tenkai_Up_5)},
              {5, 6, "Tenkai_Up_6", Step(db, &Tenkai_UP_M::Tenkai_Up_6)},
              {6, 7, "Tenkai_Up_7", Step(db, &Tenkai_UP_M::Tenkai_Up_7), kHasTakeOffRows},
              {7, 8, "Tenkai_Up_8", Step(db, &Tenkai_UP_M::Tenkai_Up_8)},
              {8, 9, "Tenkai_Up_9", Step(db, &Tenkai_UP_M::Tenkai_Up_9)},
              {9, 10, "Tenkai_Up_10", Step(db, &Tenkai_UP_M::Tenkai_Up_10)},
              {10, 11, "Tenkai_Up_11", Step(db, &Tenkai_UP_M::Tenkai_Up_11)},
              {11, 12, "Tenkai_Up_12", Step(db, &Tenkai_UP_M::Tenkai_Up_12)},
              {12, 13, "Tenkai_Up_13", Step(db, &Tenkai_UP_M::Tenkai_Up_13)},
              {13, 14, "Tenkai_Up_14", Step(db, &Tenkai_UP_M::Tenkai_Up_14)},
              {14, 15, "Tenkai_Up_15", Step(db, &Tenkai_UP_M::Tenkai_Up_15)},
              {15, 16, "Tenkai_Up_16", Step(db, &Tenkai_UP_M::Tenkai_Up_16)},
              {16, 17, "Tenkai_Up_17", Step(db, &Tenkai_UP_M::Tenkai_Up_17)},
              {17, 18, "Tenkai_Up_18", Step(db, &Tenkai_UP_M::Tenkai_Up_18)},
              {18, 19, "Tenkai_Up_19", Step(db, &Tenkai_UP_M::Tenkai_Up_19)},
              {19, 20, "Tenkai_Up_20", Step(db, &Tenkai_UP_M::Tenkai_Up_20)},
              {20, 21, "Tenkai_Up_21", Step(db, &Tenkai_UP_M::Tenkai_Up_21)},
              {21, 22, "Tenkai_Up_22", Step(db, &Tenkai_UP_M::Tenkai_Up_22)},
          }};
}

}  // namespace

db::Ladder MakeLadder(db::Kind kind, db::DbHandle& db) {
  return kind == db::Kind::kData ? MakeDataLadder(db) : MakeTenkaiLadder(db);
}

db::Repairs MakeRepairs(db::DbHandle& db) {
  return {.reinforcements = Step(db, &Data_Up_M::Data_Up_15),
          .flex_names = Step(db, &Data_Up_M::Data_Up_16b),
          .english_names = Step(db, &Eng_M::Eng_Apply)};
}

void RunLadder(db::FileSession& session, std::int16_t to, db::LadderObserver* observer) {
  session.ReadVersion();
  session.Run(MakeLadder(session.kind(), session.handle()), ado::ToInt16(session.version), to,
              observer);
}

}  // namespace upgrade
