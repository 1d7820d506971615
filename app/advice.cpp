#include "app/advice.h"

#include <string_view>

#include "ado/error.h"

namespace app {
namespace {

using jet::ErrorCode;

constexpr std::string_view kUnchanged = "ファイルは変更されていません。";
constexpr std::string_view kUnchangedByChoice = "この操作ではファイルを変更していません。";
constexpr std::string_view kStays = "ここまでに終わった変更はファイルに残っています。";
constexpr std::string_view kStaysBelowVersion =
    "ここまでに終わった変更はファイルに残り、バージョンの番号は元のままです。";
constexpr std::string_view kNotSaved = "変更を保存できませんでした。ファイルは変更されていません。";
constexpr std::string_view kPendingWhole =
    "変更はすべて記録されていて、次にこのファイルを選んだときに保存が完了します。";
constexpr std::string_view kPendingPart =
    "ここまでに終わった変更は記録されていて、次にこのファイルを選んだときに保存が完了します。";
constexpr std::string_view kUnknown = "変更が保存されたかどうか分かりません。";

constexpr std::string_view kChooseFirst =
    "先に［データベース選択］で Data.mdb を選んでから、このボタンを押してください。";
constexpr std::string_view kOtherFile =
    "ファイルを選び間違えていないか確かめてください。このシステムのファイルに間違いがなければ、"
    "このメッセージを管理者に伝えてください。";
constexpr std::string_view kVersionTooLarge =
    "ファイルのバージョンの番号が大きすぎます。ファイルを選び間違えていないか確かめ、この"
    "メッセージを管理者に伝えてください。";
constexpr std::string_view kRemoveTheCause =
    "上の原因を取り除いてから、プログラムを起動し直してください。";
// The guide has a chapter for each of these two.
constexpr std::string_view kRestoreDamaged =
    "コピーしておいたファイルに戻し、このメッセージを管理者に伝えてください。コピーがないときは、"
    "管理者が残っている内容を救い出せます（管理者の手引き「壊れたファイル」）。";
constexpr std::string_view kCompact =
    "このメッセージを管理者に伝え、ファイルを小さくしてもらってください（管理者の手引き「膨らんだ"
    "ファイル」）。";
constexpr std::string_view kRestore =
    "もう一度［DB更新］を押すのではなく、更新の前にとったコピーにファイルを戻し、この"
    "メッセージを管理者に伝えてください。";
constexpr std::string_view kTellBeforeGoingOn =
    "続ける前に、このメッセージを管理者に伝えてください。";
constexpr std::string_view kTell = "このメッセージを管理者に伝えてください。";
constexpr std::string_view kLookAtVersion =
    "上の原因を取り除いてからプログラムを起動し直し、同じファイルを選んでバージョンを確かめて"
    "ください。";
constexpr std::string_view kTryAgain =
    "ほかのプログラムを終了してから、プログラムを起動し直してください。また起きるときは、この"
    "メッセージを管理者に伝えてください。";

bool LiesOutsideTheFile(ErrorCode cause) {
  switch (cause) {
    case ErrorCode::kFileNotFound:
    case ErrorCode::kNoPermission:
    case ErrorCode::kInUse:
    case ErrorCode::kIo:
    case ErrorCode::kDiskFull:
    case ErrorCode::kReadOnly:
      return true;
    default:
      return false;
  }
}

std::string_view StateOfFile(Event event, const Failure& failure, Saved saved) {
  switch (saved) {
    case Saved::kNothing:
      return event == Event::kChoose ? kUnchangedByChoice : kUnchanged;
    case Saved::kYes:
      return event == Event::kUpgrade ? kStaysBelowVersion : kStays;
    case Saved::kDropped:
      return kUnchanged;
    case Saved::kFailed:
      return kNotSaved;
    case Saved::kPending:
      return failure.incomplete ? kPendingPart : kPendingWhole;
    case Saved::kUnknown:
      return kUnknown;
  }
  return {};
}

// For a file that is as it was.
std::string_view WhatToDoFirst(Event event, const Failure& failure) {
  if (failure.cause) {
    const bool damaged =
        *failure.cause == ErrorCode::kDamaged || *failure.cause == ErrorCode::kNeedsRepair;
    if (damaged) return kRestoreDamaged;
    if (*failure.cause == ErrorCode::kFileTooLarge) return kCompact;
    if (LiesOutsideTheFile(*failure.cause)) return kRemoveTheCause;
  }
  if (event == Event::kRepair) {
    return failure.number == ado::kErrNoConnection ? kChooseFirst : kTell;
  }
  if (failure.number == ado::kErrMissingStep) return kTell;
  if (event == Event::kUpgrade && failure.number == ado::kErrOverflow) return kVersionTooLarge;
  // Nothing below the provider has refused: the path itself is the matter.
  if (failure.number == ado::kErrFail && !failure.cause) return kRemoveTheCause;
  return kOtherFile;
}

std::string_view WhatToDo(Event event, const Failure& failure, Saved saved) {
  switch (saved) {
    case Saved::kNothing:
    case Saved::kFailed:
      return WhatToDoFirst(event, failure);
    case Saved::kDropped:
      return kTryAgain;
    case Saved::kUnknown:
      return kLookAtVersion;
    case Saved::kPending:
      if (!failure.incomplete) return kLookAtVersion;
      break;
    case Saved::kYes:
      break;
  }
  return event == Event::kUpgrade ? kRestore : kTellBeforeGoingOn;
}

}  // namespace

std::string Advice(Event event, const Failure& failure, Saved saved) {
  std::string advice(StateOfFile(event, failure, saved));
  advice += WhatToDo(event, failure, saved);
  return advice;
}

}  // namespace app
