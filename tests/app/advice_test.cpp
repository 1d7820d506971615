#include "app/advice.h"

#include <gmock/gmock.h>

#include "ado/error.h"

namespace app_test {
namespace {

using app::Event;
using app::Saved;
using jet::ErrorCode;
using testing::HasSubstr;

struct Case {
  const char* name;
  Event event;
  std::int32_t number;
  std::optional<ErrorCode> cause;
  Saved saved;
  const char *state, *to_do;
};

class AdviceTest : public testing::TestWithParam<Case> {};

TEST_P(AdviceTest, GoesByTheCauseAndTheStateOfTheFile) {
  const Case& given = GetParam();
  const std::string advice =
      app::Advice(given.event, {.number = given.number, .cause = given.cause}, given.saved);
  EXPECT_THAT(advice, HasSubstr(given.state));
  EXPECT_THAT(advice, HasSubstr(given.to_do));
}

const Case kCases[] = {
    {"FullDiskAtTheSave", Event::kUpgrade, ado::kErrFail, ErrorCode::kDiskFull, Saved::kFailed,
     "変更されていません", "原因を取り除いて"},
    {"NoWriteAtTheSave", Event::kUpgrade, ado::kErrFail, ErrorCode::kIo, Saved::kFailed,
     "変更されていません", "原因を取り除いて"},
    {"InterruptedSave", Event::kUpgrade, ado::kErrFail, ErrorCode::kUnfinished, Saved::kPending,
     "終わった変更は記録されていて", "更新の前にとったコピー"},
    {"DamageBeforeAnyChange", Event::kUpgrade, ado::kErrFail, ErrorCode::kDamaged, Saved::kNothing,
     "変更されていません", "コピーしておいたファイルに戻し"},
    {"DamageBetweenSteps", Event::kUpgrade, ado::kErrFail, ErrorCode::kDamaged, Saved::kYes,
     "元のままです", "更新の前にとったコピー"},
    {"MissingStep",
     Event::kUpgrade,
     ado::kErrMissingStep,
     {},
     Saved::kNothing,
     "変更されていません。このメッセージを",
     "管理者に"},
    {"VersionTooLarge",
     Event::kUpgrade,
     ado::kErrOverflow,
     {},
     Saved::kNothing,
     "変更されていません",
     "番号が大きすぎます"},
    {"RepairInPart", Event::kRepair, 3021, {}, Saved::kYes, "残っています", "続ける前に"},
    {"RepairOfAnotherFile",
     Event::kRepair,
     3265,
     {},
     Saved::kNothing,
     "変更されていません",
     "管理者に"},
    {"RepairWithoutAFile",
     Event::kRepair,
     ado::kErrNoConnection,
     {},
     Saved::kNothing,
     "変更されていません",
     "データベース選択"},
    {"RepairWithAnUncertainSave",
     Event::kRepair,
     7,
     {},
     Saved::kUnknown,
     "分かりません",
     "バージョンを確かめて"},
    {"RepairThatWasDropped",
     Event::kRepair,
     7,
     {},
     Saved::kDropped,
     "変更されていません",
     "ほかのプログラムを終了"},
    {"VersionThatCannotBeShown",
     Event::kChoose,
     ado::kErrOverflow,
     {},
     Saved::kNothing,
     "変更していません。ファイルを選び",
     ""},
    {"PathThatLeadsNowhere",
     Event::kChoose,
     ado::kErrFail,
     {},
     Saved::kNothing,
     "変更していません",
     "原因を取り除いて"},
    {"FileInUse", Event::kChoose, ado::kErrFail, ErrorCode::kInUse, Saved::kNothing,
     "変更していません", "原因を取り除いて"},
    {"FileOfAnotherFormat", Event::kChoose, ado::kErrFail, ErrorCode::kNotJet4, Saved::kNothing,
     "変更していません", "選び間違えて"},
    {"WriteOfAnotherProgramInTheMiddle", Event::kChoose, ado::kErrFail, ErrorCode::kNeedsRepair,
     Saved::kNothing, "変更していません", "管理者の手引き「壊れたファイル」"},
    {"FileThatIsTooLarge", Event::kUpgrade, ado::kErrFail, ErrorCode::kFileTooLarge, Saved::kFailed,
     "変更されていません", "管理者の手引き「膨らんだファイル」"},
    {"DamagedFile", Event::kChoose, ado::kErrFail, ErrorCode::kDamaged, Saved::kNothing,
     "変更していません", "コピーしておいたファイルに戻し"},
};

INSTANTIATE_TEST_SUITE_P(On, AdviceTest, testing::ValuesIn(kCases),
                         [](const auto& info) { return info.param.name; });

}  // namespace
}  // namespace app_test
