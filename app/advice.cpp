#include "app/advice.h"

#include "ado/error.h"

namespace app {
namespace {

constexpr std::string_view kChooseFirst =
    "先に［データベース選択］で Data.mdb を選んでから、このボタンを押してください。"
    "ファイルは変更されていません。";
constexpr std::string_view kOtherFile =
    "ファイルは変更されていません。ファイルを選び間違えていないか確かめてください。"
    "このシステムのファイルに間違いがなければ、このメッセージを管理者に伝えてください。";
constexpr std::string_view kRemoveTheCause =
    "ファイルは変更されていません。上の原因を取り除いてから、プログラムを起動し直してください。";
constexpr std::string_view kRestore =
    "ここまでに終わった変更はファイルに残り、バージョンの番号は元のままです。もう一度［DB更新］を"
    "押すのではなく、更新の前にとったコピーにファイルを戻し、このメッセージを管理者に"
    "伝えてください。";
constexpr std::string_view kTellAboutRepair =
    "ここまでに終わった変更はファイルに残っています。続ける前に、このメッセージを管理者に"
    "伝えてください。";
constexpr std::string_view kLookAtVersion =
    "変更を保存できませんでした。上の原因を取り除いてからプログラムを起動し直し、ファイルを選んで"
    "バージョンを確かめてください。";
constexpr std::string_view kNothingHappened =
    "ファイルは変更されていません。ほかのプログラムを終了してから、プログラムを起動し直して"
    "ください。また起きるときは、このメッセージを管理者に伝えてください。";

}  // namespace

std::string_view Advice(Event event, std::int32_t number, Saved saved) {
  if (saved == Saved::kFailed) return kLookAtVersion;
  if (saved == Saved::kNo) return kNothingHappened;
  switch (event) {
    case Event::kChoose:
      return number == ado::kErrFail ? kRemoveTheCause : kOtherFile;
    case Event::kUpgrade:
      return number == ado::kErrMissingStep ? kNothingHappened : kRestore;
    case Event::kRepair:
      return number == ado::kErrNoConnection ? kChooseFirst : kTellAboutRepair;
  }
  return {};
}

}  // namespace app
