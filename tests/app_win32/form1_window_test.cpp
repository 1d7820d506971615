#include "app/win32/form1_window.h"

#include <commctrl.h>
#include <gmock/gmock.h>
#include <shlobj.h>

#include "app/win32/controls.h"
#include "app/win32/dialogs.h"
#include "app/win32/error_box.h"
#include "jet/base/wide_text.h"
#include "tests/app/program.h"

namespace app_test {
namespace {

using app::Button;
using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;

// Answers the file dialog with a prepared path and keeps what is shown.
class PreparedDialogs : public app::Dialogs {
 public:
  std::string answer;
  std::vector<std::string> asked, boxes;
  std::function<void()> while_open;

  std::string AskFile(HWND, const std::string& initial, const std::string& filter) override {
    asked = {initial, filter};
    if (while_open) while_open();
    return answer;
  }
  void ShowMessage(HWND, const std::string& text, const std::string& title) override {
    boxes.push_back(title + ": " + text);
    if (while_open) while_open();
  }
  void ShowError(HWND, const std::string& text) override { boxes.push_back(text); }
};

std::string TextOf(HWND window) {
  std::wstring text(4096, L'\0');
  text.resize(static_cast<std::size_t>(
      ::SendMessageW(window, WM_GETTEXT, text.size(), reinterpret_cast<LPARAM>(text.data()))));
  return jet::FromWide(text);
}

class Form1WindowTest : public ::testing::Test {
 protected:
  Form1WindowTest() {
    db::Repairs repairs = program.repairs();
    repairs.flex_names = [this, flex_names = repairs.flex_names] {
      if (while_running) while_running();
      flex_names();
    };
    form = std::make_unique<app::Form1>(program.module(), repairs, window, "C:\\program");
    window.Connect(*form);
    form->Form_Load();
    window.Show(SW_SHOWNORMAL);
    ::SetForegroundWindow(window.handle());
  }

  HWND Control(int id) { return ::GetDlgItem(window.handle(), id); }
  HWND Control(Button button) { return Control(app::IdOf(button)); }
  bool IsVisible(Button button) { return ::IsWindowVisible(Control(button)) != 0; }
  std::string Version(int element) { return TextOf(Control(app::kFirstVersion + element)); }
  void Click(Button button) { ::SendMessageW(Control(button), BM_CLICK, 0, 0); }
  void Choose(Button button, const std::string& path) {
    dialogs.answer = path;
    Click(button);
  }
  // In the coordinates of the client area.
  RECT Place(int id) {
    RECT place{};
    ::GetWindowRect(Control(id), &place);
    ::MapWindowPoints(nullptr, window.handle(), reinterpret_cast<POINT*>(&place), 2);
    return place;
  }
  // Every control is inside the window, in a frame or free, with nothing over it.
  void ExpectTidy() {
    RECT client{};
    ::GetClientRect(window.handle(), &client);
    std::vector<int> ids{app::kList, app::kDate, app::kFirstLabel, app::kFirstLabel + 1};
    for (int i = 0; i < app::kButtons; ++i) ids.push_back(app::kFirstButton + i);
    for (int i = 0; i < app::kVersions; ++i) ids.push_back(app::kFirstVersion + i);
    for (const int id : ids) {
      const RECT place = Place(id);
      RECT common{};
      ::IntersectRect(&common, &place, &client);
      EXPECT_TRUE(::EqualRect(&common, &place)) << id << " is cut off";
      EXPECT_GT(place.right, place.left) << id;
      EXPECT_GT(place.bottom, place.top) << id;
      for (const int other : ids) {
        const RECT its = Place(other);
        EXPECT_TRUE(other == id || ::IntersectRect(&common, &place, &its) == 0)
            << id << ' ' << other;
      }
    }
  }
  // Lets go of these files over the window.
  void Drop(const std::vector<std::string>& paths) {
    std::wstring names;
    for (const std::string& path : paths) names += jet::ToWide(path) + L'\0';
    names += L'\0';
    const HGLOBAL memory = ::GlobalAlloc(GHND, sizeof(DROPFILES) + names.size() * sizeof(wchar_t));
    auto* files = static_cast<DROPFILES*>(::GlobalLock(memory));
    files->pFiles = sizeof(DROPFILES);
    files->fWide = TRUE;
    std::copy(names.begin(), names.end(), reinterpret_cast<wchar_t*>(files + 1));
    ::GlobalUnlock(memory);
    ::SendMessageW(window.handle(), WM_DROPFILES, reinterpret_cast<WPARAM>(memory), 0);
  }

  test_support::TempFolder folder;
  std::unique_ptr<jet::FileSystem> files = jet::MakeSystemFiles();
  app::Assembly program{*files, FixedNow};
  PreparedDialogs dialogs;
  app::Form1Window window{dialogs};
  std::function<void()> while_running;
  std::unique_ptr<app::Form1> form;
};

TEST_F(Form1WindowTest, ShowsEveryControlWithItsCaption) {
  struct Case {
    int id;
    const char* caption;
    bool visible;
  };
  const Case cases[] = {
      {app::kFirstFrame, "Data.mdb", true},
      {app::IdOf(Button::kCB_DataDB), "データベース選択", true},
      {app::IdOf(Button::kCB_DB_Up), "DB更新", false},
      {app::kFirstLabel, "バージョン", true},
      {app::kFirstVersion, "未選択", true},
      {app::kFirstVersion + 2, "最新　            Ver 27", true},
      {app::kFirstFrame + 1, "展開Data.mdb", true},
      {app::IdOf(Button::kCB_TenkaiDB), "データベース選択", true},
      {app::IdOf(Button::kCB_TenkaiDB_Up), "DB更新", false},
      {app::kFirstLabel + 1, "バージョン", true},
      {app::kFirstVersion + 1, "未選択", true},
      {app::kFirstVersion + 3, "最新　            Ver 22", true},
      {app::IdOf(Button::kCommand1), "補強修正", false},
      {app::IdOf(Button::kCommand2), "取り込み", true},
      {app::IdOf(Button::kCommand3), "コード", true},
      {app::IdOf(Button::kCommand4), "ﾌﾚｷ名称変換", true},
      {app::IdOf(Button::kCommand5), "英語適用", true},
      {app::kDate, "Up Date 2019/6/4", true},
  };
  for (const Case& each : cases) {
    EXPECT_EQ(TextOf(Control(each.id)), each.caption);
    EXPECT_EQ(::IsWindowVisible(Control(each.id)) != 0, each.visible) << each.caption;
  }
  EXPECT_EQ(TextOf(window.handle()), "DB情報");
  EXPECT_EQ(::SendMessageW(Control(app::kList), LB_GETCOUNT, 0, 0), 0);
  PreparedDialogs others;
  const app::Form1Window untouched(others);
  for (int element = 0; element < app::kVersions; ++element) {
    EXPECT_EQ(TextOf(::GetDlgItem(untouched.handle(), app::kFirstVersion + element)), "バージョン");
  }
}

TEST_F(Form1WindowTest, NothingIsCutOffOrCoveredAtAnySizeAndDpi) {
  ExpectTidy();
  for (const WORD dpi : {WORD{96}, WORD{120}, WORD{144}, WORD{192}}) {
    for (const RECT place : {RECT{0, 0, 1, 1}, RECT{0, 0, 1900, 1100}}) {
      SCOPED_TRACE(dpi);
      ::SendMessageW(window.handle(), WM_DPICHANGED, MAKEWPARAM(dpi, dpi),
                     reinterpret_cast<LPARAM>(&place));
      ExpectTidy();
    }
  }
}

TEST_F(Form1WindowTest, TabKeyWalksInReadingOrder) {
  for (const Button each : {Button::kCB_DB_Up, Button::kCB_TenkaiDB_Up, Button::kCommand1}) {
    window.SetVisible(each, true);
  }
  HWND at = Control(app::kTabOrder[0]);
  for (const int id : app::kTabOrder) {
    EXPECT_EQ(::GetDlgCtrlID(at), id);
    at = ::GetNextDlgTabItem(window.handle(), at, FALSE);
  }
  EXPECT_EQ(at, Control(app::kTabOrder[0]));
  ::SetFocus(Control(Button::kCommand5));
  EXPECT_EQ(::SendMessageW(window.handle(), DM_GETDEFID, 0, 0),
            MAKELONG(app::IdOf(Button::kCommand5), DC_HASDEFID))
      << "the Enter key";
}

TEST_F(Form1WindowTest, UpgradesBothFilesAsTheLaddersDo) {
  const std::string data = Sample(folder.path(), Kind::kData, 2);
  const std::string tenkai = Sample(folder.path(), Kind::kTenkai, 2);
  Choose(Button::kCB_DataDB, data);
  EXPECT_THAT(dialogs.asked, ElementsAre("C:\\program\\Data.mdb", "ﾃﾞｰﾀﾌｧｲﾙ (*.mdb)|*.mdb"));
  EXPECT_EQ(Version(0), " Ver 2");
  ASSERT_TRUE(IsVisible(Button::kCB_DB_Up));
  ::SetFocus(Control(Button::kCB_DB_Up));
  Click(Button::kCB_DB_Up);
  EXPECT_EQ(Version(0), " Ver 27");
  EXPECT_FALSE(IsVisible(Button::kCB_DB_Up));
  EXPECT_EQ(::GetFocus(), Control(Button::kCB_TenkaiDB)) << "the next control takes over";
  Choose(Button::kCB_TenkaiDB, tenkai);
  Click(Button::kCB_TenkaiDB_Up);
  EXPECT_EQ(Version(1), " Ver 22");
  EXPECT_THAT(dialogs.boxes, IsEmpty());
  program.module().DataDB_Access("Close");
  program.module().TenkaiDB_Access("Close");
  const test_support::TempFolder direct;
  EXPECT_EQ(Content(data), Content(Sample(direct.path(), Kind::kData, 27)));
  EXPECT_EQ(Content(tenkai), Content(Sample(direct.path(), Kind::kTenkai, 22)));
}

TEST_F(Form1WindowTest, DraggedFilesAreChosenAndShown) {
  Drop({Sample(folder.path(), Kind::kTenkai, 22), Sample(folder.path(), Kind::kData, 27)});
  EXPECT_EQ(Version(0), " Ver 27");
  EXPECT_EQ(Version(1), " Ver 22");
  EXPECT_TRUE(IsVisible(Button::kCommand1));
  ASSERT_EQ(::SendMessageW(Control(app::kList), LB_GETCOUNT, 0, 0), 12);
  std::wstring item(64, L'\0');
  item.resize(static_cast<std::size_t>(
      ::SendMessageW(Control(app::kList), LB_GETTEXT, 4, reinterpret_cast<LPARAM>(item.data()))));
  EXPECT_EQ(jet::FromWide(item), "相FG            \t相ＦＧ");
  ExpectTidy();
  Drop({"C:\\x\\data.mdb"});
  EXPECT_THAT(dialogs.boxes, ElementsAre(StartsWith("選択エラー: ")));
}

TEST_F(Form1WindowTest, DraggedFilesAreRefusedWhileADialogOrBoxIsOpen) {
  const std::string tenkai = Sample(folder.path(), Kind::kTenkai, 22);
  int dropped = 0;
  dialogs.while_open = [&] {
    ++dropped;
    Drop({tenkai});
  };
  Choose(Button::kCB_DataDB, "");
  EXPECT_EQ(dropped, 2) << "on the dialog, and on the message";
  EXPECT_EQ(Version(1), "未選択");
  dialogs.while_open = nullptr;
  Drop({tenkai});
  EXPECT_EQ(Version(1), " Ver 22");
}

TEST_F(Form1WindowTest, ButtonsAreInactiveWhileAnActionRuns) {
  Choose(Button::kCB_DataDB, Sample(folder.path(), Kind::kData, 26));
  bool ran = false;
  while_running = [&] {
    ran = true;
    for (int i = 0; i < app::kButtons; ++i) {
      EXPECT_FALSE(::IsWindowEnabled(Control(app::kFirstButton + i))) << i;
    }
    Click(Button::kCB_DB_Up);
    Drop({"C:\\x\\Data.mdb"});
    ::SendMessageW(window.handle(), WM_CLOSE, 0, 0);
    // Typed meanwhile.
    ::PostMessageW(Control(Button::kCB_DB_Up), WM_KEYDOWN, VK_SPACE, 0);
    ::PostMessageW(Control(Button::kCB_DB_Up), WM_KEYUP, VK_SPACE, 0);
  };
  ::SetFocus(Control(Button::kCommand4));
  Click(Button::kCommand4);
  EXPECT_TRUE(ran);
  MSG message{};
  while (::PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE) != 0) {
    EXPECT_NE(message.message, WM_QUIT);
    ::DispatchMessageW(&message);
  }
  EXPECT_EQ(Version(0), " Ver 26");
  EXPECT_THAT(dialogs.boxes, IsEmpty());
  EXPECT_TRUE(::IsWindowEnabled(Control(Button::kCommand4)));
  EXPECT_EQ(::GetFocus(), Control(Button::kCommand4));
}

TEST_F(Form1WindowTest, UnhandledErrorEndsTheProgramWithStatusOne) {
  Click(Button::kCommand2);
  Click(Button::kCommand3);
  EXPECT_THAT(dialogs.boxes, IsEmpty());
  Click(Button::kCommand5);
  EXPECT_THAT(dialogs.boxes, ElementsAre(StartsWith("実行時エラー '3709':\n\n")));
  MSG message{};
  ASSERT_TRUE(::PeekMessageW(&message, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE));
  EXPECT_EQ(message.wParam, 1U);
}

// What stands in a box, looked at by a timer while it waits.
struct SeenBox {
  HWND owner = nullptr;
  std::string title, text;
  bool read_only = false;
};

TEST_F(Form1WindowTest, ErrorBoxTextCanBeSelectedAndTheBoxClosedByKey) {
  static SeenBox seen;  // a timer takes no argument
  seen = {};
  seen.owner = window.handle();
  const auto look = [](HWND, UINT, UINT_PTR timer, DWORD) {
    const HWND box = ::GetLastActivePopup(seen.owner);
    const HWND edit = ::GetDlgItem(box, app::kErrorText);
    if (edit == nullptr) return;
    ::KillTimer(nullptr, timer);
    seen.title = TextOf(box);
    seen.text = TextOf(edit);
    seen.read_only = (::GetWindowLongPtrW(edit, GWL_STYLE) & ES_READONLY) != 0;
    ::PostMessageW(::GetFocus(), WM_KEYDOWN, VK_RETURN, 0);
  };
  ::SetTimer(nullptr, 0, 10, look);
  app::SystemDialogs().ShowError(window.handle(), "実行時エラー '3265':\n\n<b>&x");
  EXPECT_EQ(seen.title, "DB更新");
  EXPECT_EQ(seen.text, "実行時エラー '3265':\r\n\r\n<b>&x");
  EXPECT_TRUE(seen.read_only);
}

}  // namespace
}  // namespace app_test
