#include "app/form1.h"

#include <fmt/format.h>

#include <new>
#include <utility>

#include "ado/environment.h"
#include "ado/error.h"
#include "ado/value.h"
#include "db/version_record.h"

namespace app {
namespace {

constexpr std::string_view kNotSelected = "未選択";
constexpr std::string_view kLatestPrefix = "最新　            Ver ";
constexpr std::string_view kFilter = "ﾃﾞｰﾀﾌｧｲﾙ (*.mdb)|*.mdb";
constexpr std::string_view kNoFile = "ファイルが選択されていません";
constexpr std::string_view kWrongFile = "選択されたファイルはZVTデータファイルではありません";
constexpr std::string_view kSelectionError = "選択エラー";
constexpr int kLatestElementOffset = 2;  // the latest version's label stands two behind

// What the runtime says of faults that are our own.
constexpr std::int32_t kOutOfMemory = 7;
constexpr std::string_view kOutOfMemoryText = "メモリが不足しています。";
constexpr std::int32_t kInternalError = 51;
constexpr std::string_view kInternalErrorText = "内部エラーです。";

// What an event ended with, for the error box.
struct Outcome {
  Failure failure;
  std::string text;
  Saved saved = Saved::kDropped;

  // The first error gives the number, the last the cause.
  void Add(std::int32_t number, std::string_view why,
           std::optional<jet::ErrorCode> cause = std::nullopt) {
    if (failure.number == 0) failure.number = number;
    failure.cause = cause;
    if (!text.empty()) text += "\n\n";
    text += why;
  }
  void Add(const ado::Error& error) { Add(error.number(), error.text(), error.cause()); }
};

// Saves what the event did until it ended, whether well or by an error.
void Save(ado::Environment::Action& action, Outcome& outcome) {
  if (!action.changed()) {
    outcome.saved = Saved::kNothing;
    return;
  }
  outcome.saved = Saved::kUnknown;
  outcome.failure.incomplete = outcome.failure.number != 0;
  try {
    action.Commit();
    outcome.saved = Saved::kYes;
  } catch (const ado::Error& error) {
    const auto cause = error.cause();
    if (cause == jet::ErrorCode::kUnfinished) outcome.saved = Saved::kPending;
    if (cause && cause != jet::ErrorCode::kUnfinished && cause != jet::ErrorCode::kUncertain) {
      outcome.saved = Saved::kFailed;
    }
    outcome.Add(error);
  }
}

// What the buttons of one database work with.
struct Procedures {
  Button upgrade_button;
  double (db::Module1::*latest)() const;
  void (db::Module1::*access)(std::string_view);
  void (db::Module1::*read_version)();
  void (db::Module1::*upgrade)(std::int16_t);
};

const Procedures& ProceduresOf(db::Kind kind) {
  using db::Module1;
  static constexpr Procedures kData{Button::kCB_DB_Up, &Module1::DataDB_NewVer,
                                    &Module1::DataDB_Access, &Module1::Get_DataVer,
                                    &Module1::Data_Up};
  static constexpr Procedures kTenkai{Button::kCB_TenkaiDB_Up, &Module1::TenkaiDB_NewVer,
                                      &Module1::TenkaiDB_Access, &Module1::Get_TenkaiVer,
                                      &Module1::Tenkai_Up};
  return kind == db::Kind::kData ? kData : kTenkai;
}

}  // namespace

Form1::Form1(db::Module1& module, db::Repairs repairs, Form1View& view,
             std::string application_folder)
    : module_(module),
      repairs_(std::move(repairs)),
      view_(view),
      application_folder_(std::move(application_folder)) {
  module_.SetView(this);
}

Form1::~Form1() { module_.SetView(nullptr); }

void Form1::Form_Load() {
  for (const db::Kind kind : db::kKinds) {
    const int element = db::VersionElementOf(kind);
    const double latest = (module_.*ProceduresOf(kind).latest)();
    SetVersionCaption(element, std::string(kNotSelected));
    SetVersionCaption(element + kLatestElementOffset,
                      std::string(kLatestPrefix) + ado::ToText(latest));
  }
}

void Form1::CB_DataDB_Click() { Choose(db::Kind::kData); }
void Form1::CB_TenkaiDB_Click() { Choose(db::Kind::kTenkai); }
void Form1::CB_DB_Up_Click() {
  Enter([this] { Upgrade(db::Kind::kData); });
}
void Form1::CB_TenkaiDB_Up_Click() {
  Enter([this] { Upgrade(db::Kind::kTenkai); });
}
void Form1::Command1_Click() { Repair(repairs_.reinforcements); }
void Form1::Command4_Click() { Repair(repairs_.flex_names); }
void Form1::Command5_Click() { Repair(repairs_.english_names); }

void Form1::Enter(const std::function<void()>& body) {
  if (!ready()) return;
  struct Occupied {
    explicit Occupied(bool& flag) : flag_(flag) { flag_ = true; }
    ~Occupied() { flag_ = false; }
    bool& flag_;
  };
  const Occupied occupied(occupied_);
  body();
}

void Form1::Choose(db::Kind kind) {
  Enter([&] {
    const std::string_view file_name = db::FileNameOf(kind);
    const std::string path =
        view_.AskFile(application_folder_ + "\\" + std::string(file_name), std::string(kFilter));
    const std::string_view name = db::NameInPath(path);
    if (name.empty()) return RefuseFile(kNoFile);
    if (name != file_name) return RefuseFile(kWrongFile);
    RunEvent(Event::kChoose, [&] { OpenChosen(kind, path); });
  });
}

void Form1::FilesDropped(const std::vector<std::string>& paths) {
  Enter([&] {
    for (const std::string& path : paths) {
      if (ended_) return;
      const std::optional<db::Kind> kind = db::KindOfFile(path);
      if (!kind) return RefuseFile(kWrongFile);
      RunEvent(Event::kChoose, [&] { OpenChosen(*kind, path); });
    }
  });
}

void Form1::Repair(const std::function<void()>& repair) {
  Enter([&] { RunEvent(Event::kRepair, repair); });
}

void Form1::RefuseFile(std::string_view why) {
  view_.ShowMessage(std::string(why), std::string(kSelectionError));
}

void Form1::OpenChosen(db::Kind kind, const std::string& path) {
  const Procedures& of = ProceduresOf(kind);
  db::FileSession& session = module_.session(kind);
  session.folder = db::FolderOf(kind, path);
  if (captions_.at(static_cast<std::size_t>(db::VersionElementOf(kind))) != kNotSelected) {
    (module_.*of.access)("Close");
  }
  (module_.*of.access)("Open");
  (module_.*of.read_version)();
  if (session.version != (module_.*of.latest)()) view_.SetVisible(of.upgrade_button, true);
  if (kind == db::Kind::kData) module_.Show_HokyoList();
}

void Form1::Upgrade(db::Kind kind) {
  const Procedures& of = ProceduresOf(kind);
  // g++ 12 with the sanitizer for undefined behaviour takes a closure for the form where
  // a pointer to a member is called on a member of the form.
  db::Module1& module = module_;
  double& version = module.session(kind).version;
  RunEvent(
      Event::kUpgrade, [&] { (module.*of.upgrade)(ado::ToInt16(version)); },
      [&] {
        version = (module.*of.latest)();
        SetVersionCaption(db::VersionElementOf(kind), db::VersionCaption(version));
        view_.SetVisible(of.upgrade_button, false);
      });
}

void Form1::RunEvent(Event event, const std::function<void()>& body,
                     const std::function<void()>& show_done) {
  view_.SetBusy(true);
  Outcome outcome;
  try {
    ado::Environment::Action action(module_.environment());
    try {
      body();
    } catch (const ado::Error& error) {
      outcome.Add(error);
    }
    Save(action, outcome);
  } catch (const std::bad_alloc&) {
    outcome.Add(kOutOfMemory, kOutOfMemoryText);
  } catch (const std::exception&) {
    outcome.Add(kInternalError, kInternalErrorText);
  }
  const Failure& failure = outcome.failure;
  if (failure.number == 0 && show_done) show_done();
  view_.SetBusy(false);
  if (failure.number == 0) return;
  FailWith(failure.number, outcome.text, Advice(event, failure, outcome.saved));
}

void Form1::FailWith(std::int32_t number, const std::string& text, std::string_view advice) {
  ended_ = true;
  view_.ShowError(ErrorBoxText(number, text, advice));
  view_.End(1);
}

void Form1::SetVersionCaption(int element, const std::string& caption) {
  captions_.at(static_cast<std::size_t>(element)) = caption;
  view_.SetVersionCaption(element, caption);
}

void Form1::ShowReinforcementRepair(bool visible) { view_.SetVisible(Button::kCommand1, visible); }
void Form1::ClearList() { view_.ClearList(); }
void Form1::AddListItem(const std::string& text) { view_.AddListItem(text); }

std::string ErrorBoxText(std::int32_t number, const std::string& description,
                         std::string_view advice) {
  std::string head = fmt::format("実行時エラー '{}", number);
  if (number < 0) head += fmt::format(" ({:08X})", static_cast<std::uint32_t>(number));
  return fmt::format("{}':\n\n{}\n\n{}", head, description, advice);
}

}  // namespace app
