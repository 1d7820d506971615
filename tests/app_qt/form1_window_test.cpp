#include "app/qt/form1_window.h"

#include <gmock/gmock.h>

#include <QAccessible>
#include <QApplication>
#include <QDragEnterEvent>
#include <QFontInfo>
#include <QGroupBox>
#include <QLabel>
#include <QListWidget>
#include <QMimeData>
#include <QTest>
#include <QTimer>
#include <chrono>
#include <filesystem>

#include "app/qt/columns_delegate.h"
#include "app/qt/dialogs.h"
#include "app/qt/fonts.h"
#include "tests/app/program.h"
#include "tests/support/process.h"
#include "upgrade/ladders.h"

namespace app_test {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// Answers the file dialog with a prepared path and keeps what is shown.
class PreparedDialogs : public app::Dialogs {
 public:
  QString answer;
  std::vector<std::string> asked, boxes;
  std::function<void()> while_open;

  QString AskFile(QWidget*, const QString& initial_path, const QString& filter) override {
    asked = {initial_path.toStdString(), filter.toStdString()};
    if (while_open) while_open();
    return answer;
  }
  void ShowMessage(QWidget*, const QString& text, const QString& title) override {
    boxes.push_back((title + ": " + text).toStdString());
    if (while_open) while_open();
  }
  void ShowError(QWidget*, const QString& text) override { boxes.push_back(text.toStdString()); }
};

class Form1WindowTest : public ::testing::Test {
 protected:
  Form1WindowTest() {
    db::Repairs repairs = program.repairs();
    repairs.flex_names = [this, flex_names = repairs.flex_names] {
      if (while_running) while_running();
      flex_names();
    };
    form = std::make_unique<app::Form1>(program.module(), repairs, window, "/opt/program");
    window.Connect(*form);
    form->Form_Load();
    window.show();
    window.activateWindow();
    EXPECT_TRUE(QTest::qWaitForWindowActive(&window));
  }

  template <class Control>
  Control& Find(const char* name, int index = -1) {
    for (Control* found : window.findChildren<Control*>(QString::fromUtf8(name))) {
      if (index < 0 || found->property(app::kIndexProperty) == index) return *found;
    }
    throw std::runtime_error(std::string("no control ") + name);
  }
  QPushButton& Button(const char* name) { return Find<QPushButton>(name); }
  std::string Version(int element) { return Find<QLabel>("L_Ver", element).text().toStdString(); }
  void Click(const char* name) { QTest::mouseClick(&Button(name), Qt::LeftButton); }
  void Choose(const char* button, const std::string& path) {
    dialogs.answer = QString::fromStdString(path);
    Click(button);
  }
  std::vector<std::string> List() {
    std::vector<std::string> items;
    const auto& list = Find<QListWidget>("List1");
    for (int row = 0; row < list.count(); ++row) {
      items.push_back(list.item(row)->text().toStdString());
    }
    return items;
  }

  test_support::TempFolder folder;
  std::unique_ptr<jet::FileSystem> files = jet::MakeSystemFiles();
  app::Assembly program{*files, FixedNow};
  PreparedDialogs dialogs;
  app::Form1Window window{dialogs};
  std::function<void()> while_running;
  std::unique_ptr<app::Form1> form;
};

TEST_F(Form1WindowTest, ShowsEveryControlByItsNameWithItsCaption) {
  const std::string latest_data = "最新　            Ver " + std::to_string(upgrade::kDataLatest);
  const std::string latest_tenkai =
      "最新　            Ver " + std::to_string(upgrade::kTenkaiLatest);
  struct Control {
    const char* name;
    int index;
    const char* caption;
    bool visible;
  };
  const Control controls[] = {
      {"Frame1", 0, "Data.mdb", true},
      {"CB_DataDB", -1, "データベース選択", true},
      {"CB_DB_Up", -1, "DB更新", false},
      {"Label1", 0, "バージョン", true},
      {"L_Ver", 0, "未選択", true},
      {"L_Ver", 2, latest_data.c_str(), true},
      {"Frame1", 1, "展開Data.mdb", true},
      {"CB_TenkaiDB", -1, "データベース選択", true},
      {"CB_TenkaiDB_Up", -1, "DB更新", false},
      {"Label1", 1, "バージョン", true},
      {"L_Ver", 1, "未選択", true},
      {"L_Ver", 3, latest_tenkai.c_str(), true},
      {"Command1", -1, "補強修正", false},
      {"Command4", -1, "ﾌﾚｷ名称変換", true},
      {"Command5", -1, "英語適用", true},
      {"Command2", -1, "取り込み", true},
      {"Command3", -1, "コード", true},
      {"Label2", -1, "Up Date 2019/6/4", true},
  };
  for (const Control& each : controls) {
    SCOPED_TRACE(each.name);
    auto& control = Find<QWidget>(each.name, each.index);
    EXPECT_EQ(control.property(control.inherits("QGroupBox") ? "title" : "text").toString(),
              QString::fromUtf8(each.caption));
    EXPECT_EQ(control.isVisible(), each.visible);
    EXPECT_FALSE(control.accessibleName().isEmpty());
    EXPECT_GE(control.width(), control.sizeHint().width()) << "cut off";
  }
  EXPECT_EQ(window.windowTitle(), "DB情報");
  EXPECT_THAT(List(), IsEmpty());
  EXPECT_FALSE(Find<QListWidget>("List1").accessibleName().isEmpty());
  const app::Form1Window untouched(dialogs);
  for (const QLabel* label : untouched.findChildren<QLabel*>("L_Ver")) {
    EXPECT_EQ(label->text(), "バージョン");
    EXPECT_EQ(label->font().family(), "ＭＳ Ｐ明朝");
  }
}

TEST_F(Form1WindowTest, NothingMovesWhenHiddenButtonsAppear) {
  const QRect list = Find<QListWidget>("List1").geometry();
  const QSize size = window.size();
  window.SetVisible(app::Button::kCB_DB_Up, true);
  window.SetVisible(app::Button::kCommand1, true);
  QCoreApplication::processEvents();
  EXPECT_EQ(Find<QListWidget>("List1").geometry(), list);
  EXPECT_EQ(window.size(), size);
}

TEST_F(Form1WindowTest, KeyboardAloneUpgradesBothFilesAsTheLaddersDo) {
  const std::string data = Sample(folder.path(), Kind::kData, 2);
  const std::string tenkai = Sample(folder.path(), Kind::kTenkai, 2);
  dialogs.answer = QString::fromStdString(data);
  QTest::keyClick(window.focusWidget(), Qt::Key_Space);
  EXPECT_THAT(dialogs.asked, ElementsAre("/opt/program/Data.mdb", "ﾃﾞｰﾀﾌｧｲﾙ (*.mdb)"));
  EXPECT_EQ(Version(0), " Ver 2");
  ASSERT_TRUE(Button("CB_DB_Up").isVisible());
  EXPECT_EQ(window.focusWidget(), &Button("CB_DataDB"));
  QTest::keyClick(window.focusWidget(), Qt::Key_Tab);
  QTest::keyClick(window.focusWidget(), Qt::Key_Return);
  EXPECT_EQ(Version(0), " Ver " + std::to_string(upgrade::kDataLatest));
  EXPECT_FALSE(Button("CB_DB_Up").isVisible());
  EXPECT_EQ(window.focusWidget(), &Button("CB_TenkaiDB")) << "the next control takes over";
  dialogs.answer = QString::fromStdString(tenkai);
  QTest::keyClick(window.focusWidget(), Qt::Key_Enter);
  EXPECT_EQ(Version(1), " Ver 2");
  QTest::keyClick(window.focusWidget(), Qt::Key_Tab);
  QTest::keyClick(window.focusWidget(), Qt::Key_Space);
  EXPECT_EQ(Version(1), " Ver " + std::to_string(upgrade::kTenkaiLatest));
  EXPECT_THAT(dialogs.boxes, IsEmpty());

  program.module().DataDB_Access("Close");
  program.module().TenkaiDB_Access("Close");
  const test_support::TempFolder direct;
  EXPECT_EQ(Content(data), Content(Sample(direct.path(), Kind::kData, upgrade::kDataLatest)));
  EXPECT_EQ(Content(tenkai), Content(Sample(direct.path(), Kind::kTenkai, upgrade::kTenkaiLatest)));
  test_support::ExpectSound(data);
  test_support::ExpectSound(tenkai);
}

TEST_F(Form1WindowTest, ListStandsInTwoColumns) {
  Choose("CB_DataDB", Sample(folder.path(), Kind::kData, upgrade::kDataLatest));
  ASSERT_EQ(List().size(), 12u);
  EXPECT_EQ(List()[4], "相FG            \t相ＦＧ");
  EXPECT_TRUE(Button("Command1").isVisible());
  EXPECT_FALSE(Button("CB_DB_Up").isVisible());
  auto& list = Find<QListWidget>("List1");
  const auto& delegate = dynamic_cast<const app::ColumnsDelegate&>(*list.itemDelegate());
  const int stop = delegate.TabStop(list.font());
  EXPECT_GT(stop, list.fontMetrics().horizontalAdvance("L-40×40×3"));
  window.AddListItem(std::string("x").append(200, ' ') + "\t転送");
  EXPECT_EQ(delegate.TabStop(list.font()), stop) << "blanks behind a name";
  QCoreApplication::processEvents();
  const QImage shown = list.viewport()->grab().toImage();
  list.item(0)->setText("なし\t別");
  EXPECT_NE(list.viewport()->grab().toImage(), shown) << "the second column is not there";
  window.AddListItem("一二三四五六七八九十一二三四五\t転送");
  EXPECT_GT(delegate.TabStop(list.font()), stop) << "a wider name moves the column";
  QStyleOptionViewItem option;
  option.initFrom(&list);
  option.widget = &list;
  EXPECT_GT(delegate.sizeHint(option, list.model()->index(13, 0)).width(),
            delegate.TabStop(list.font()) + list.fontMetrics().horizontalAdvance("転送"));
}

TEST_F(Form1WindowTest, ButtonsAreInactiveWhileAnActionRuns) {
  Choose("CB_DataDB", Sample(folder.path(), Kind::kData, 26));
  bool ran = false;
  while_running = [&] {
    ran = true;
    for (const QPushButton* button : window.findChildren<QPushButton*>()) {
      EXPECT_FALSE(button->isEnabled()) << button->objectName().toStdString();
    }
    ASSERT_NE(QGuiApplication::overrideCursor(), nullptr);
    EXPECT_EQ(QGuiApplication::overrideCursor()->shape(), Qt::WaitCursor);
    Click("CB_DB_Up");
    EXPECT_FALSE(window.close()) << "in the middle of an action";
    // Typed meanwhile, looked at afterwards.
    QCoreApplication::postEvent(&Button("CB_DB_Up"),
                                new QKeyEvent(QEvent::KeyPress, Qt::Key_Space, Qt::NoModifier));
    QCoreApplication::postEvent(&Button("CB_DB_Up"),
                                new QKeyEvent(QEvent::KeyRelease, Qt::Key_Space, Qt::NoModifier));
  };
  Button("Command4").setFocus();
  QTest::keyClick(&Button("Command4"), Qt::Key_Space);
  EXPECT_TRUE(ran);
  QCoreApplication::processEvents();
  EXPECT_EQ(Version(0), " Ver 26");
  EXPECT_EQ(QGuiApplication::overrideCursor(), nullptr);
  EXPECT_TRUE(Button("Command4").isEnabled());
  EXPECT_EQ(window.focusWidget(), &Button("Command4"));
  EXPECT_TRUE(window.close());
}

// A drag that enters the window and is let go over it, as if to move the files; whether it was
// taken.
bool Drop(QWidget& window, const QList<QUrl>& urls) {
  QMimeData data;
  data.setUrls(urls);
  QDragEnterEvent enter({9, 9}, Qt::CopyAction | Qt::MoveAction, &data, Qt::LeftButton,
                        Qt::ShiftModifier);
  enter.ignore();
  QCoreApplication::sendEvent(&window, &enter);
  if (!enter.isAccepted()) return false;
  QDropEvent drop({9, 9}, Qt::CopyAction | Qt::MoveAction, &data, Qt::LeftButton,
                  Qt::ShiftModifier);
  QCoreApplication::sendEvent(&window, &drop);
  EXPECT_EQ(drop.dropAction(), Qt::CopyAction) << "the file must stay";
  QCoreApplication::processEvents();
  return true;
}

TEST_F(Form1WindowTest, DraggedFilesAreChosen) {
  const auto url = [](const std::string& path) {
    return QUrl::fromLocalFile(QString::fromStdString(path));
  };
  EXPECT_FALSE(Drop(window, {}));
  EXPECT_FALSE(Drop(window, {QUrl("mailto:x@example.org")}));
  EXPECT_TRUE(Drop(window, {url(Sample(folder.path(), Kind::kTenkai, 22)),
                            url(Sample(folder.path(), Kind::kData, 26))}));
  EXPECT_EQ(Version(0), " Ver 26");
  EXPECT_EQ(Version(1), " Ver 22");
  EXPECT_TRUE(Button("CB_DB_Up").isVisible());
  EXPECT_THAT(dialogs.boxes, IsEmpty());
  EXPECT_TRUE(Drop(window, {url("/x/data.mdb")}));
  EXPECT_THAT(dialogs.boxes,
              ElementsAre("選択エラー: 選択されたファイルはZVTデータファイルではありません"));
  while_running = [&] { EXPECT_FALSE(Drop(window, {url("/x/Data.mdb")})) << "busy"; };
  Click("Command4");
  EXPECT_EQ(dialogs.boxes.size(), 1u);
}

TEST_F(Form1WindowTest, DraggedFilesAreRefusedWhileADialogOrBoxIsOpen) {
  const QList<QUrl> file{
      QUrl::fromLocalFile(QString::fromStdString(Sample(folder.path(), Kind::kTenkai, 22)))};
  int refused = 0;
  dialogs.while_open = [&] { refused += Drop(window, file) ? 0 : 1; };
  Choose("CB_DataDB", "");
  EXPECT_EQ(refused, 2) << "by the dialog, and by the message";
  EXPECT_EQ(Version(1), "未選択");
  dialogs.while_open = nullptr;
  EXPECT_TRUE(Drop(window, file));
  EXPECT_EQ(Version(1), " Ver 22");
}

// The real program, from its start to its end: both dialogs start in its own
// folder, and nothing is left behind but the database.
TEST(ProgramTest, WritesNothingBesideTheDatabases) {
  const test_support::TempFolder home, databases;
  const std::string data = Sample(databases.path(), Kind::kData, 27);
  const std::string program = std::string(PROGRAM_FOLDER) + "/db-update";
  std::vector<std::string> words{"-i",
                                 "HOME=" + home.path(),
                                 "QT_QPA_PLATFORM=offscreen",
                                 "QT_PLUGIN_PATH=" OPERATOR_PLUGINS,
                                 "QT_QPA_GENERIC_PLUGINS=operator",
                                 "OPERATOR_FILE=" + data};
  for (const char* name : {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_STATE_HOME"}) {
    words.push_back(name + ("=" + home.path()));
  }
  words.push_back(program);
  const test_support::Ending ending =
      test_support::RunProcess("/usr/bin/env", words, std::chrono::minutes(2));
  EXPECT_EQ(ending.status, 0) << ending.err;
  const std::string folder = std::filesystem::canonical(PROGRAM_FOLDER).string();
  EXPECT_EQ(ending.out, folder + "\n" + folder + "\n Ver 27\n");
  for (const auto& entry : std::filesystem::recursive_directory_iterator(home.path())) {
    ADD_FAILURE() << entry.path() << " is left behind";
  }
  for (const auto& entry : std::filesystem::directory_iterator(databases.path())) {
    EXPECT_EQ(entry.path(), data);
  }
}

TEST_F(Form1WindowTest, ButtonsWithoutActionDoNothing) {
  Click("Command2");
  Click("Command3");
  EXPECT_THAT(dialogs.boxes, IsEmpty());
  EXPECT_FALSE(form->ended());
}

TEST_F(Form1WindowTest, UnhandledErrorEndsTheProgramWithStatusOne) {
  QTimer::singleShot(0, &window, [this] { Click("Command5"); });
  EXPECT_EQ(QApplication::exec(), 1);
  ASSERT_EQ(dialogs.boxes.size(), 1u);
  EXPECT_THAT(dialogs.boxes[0], ::testing::StartsWith("実行時エラー '3709':\n\n"));
}

TEST_F(Form1WindowTest, ScreenReaderHearsTheVersion) {
  Choose("CB_DataDB", Sample(folder.path(), Kind::kData, 26));
  QAccessibleInterface* label = QAccessible::queryAccessibleInterface(&Find<QLabel>("L_Ver", 0));
  ASSERT_NE(label, nullptr);
  EXPECT_TRUE(label->text(QAccessible::Name).endsWith(" Ver 26"));
}

TEST(DialogsTest, BoxesShowTheirTextAndCloseByKey) {
  const auto error = app::MakeErrorBox(nullptr, "実行時エラー '3265':\n\n<b>&x");
  EXPECT_EQ(error->windowTitle(), "DB更新");
  EXPECT_EQ(error->textFormat(), Qt::PlainText);
  EXPECT_TRUE(error->textInteractionFlags().testFlag(Qt::TextSelectableByMouse));
  EXPECT_TRUE(error->textInteractionFlags().testFlag(Qt::TextSelectableByKeyboard));
  app::SystemDialogs dialogs;
  const auto answer = [](const char* title, Qt::Key key) {
    QTimer::singleShot(0, qApp, [=] {
      auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
      ASSERT_NE(box, nullptr);
      EXPECT_EQ(box->windowTitle(), QString::fromUtf8(title));
      EXPECT_EQ(box->text(), "A\n<b>B");
      EXPECT_EQ(box->standardButtons(), QMessageBox::Ok);
      QTest::keyClick(box, key);
    });
  };
  answer("選択エラー", Qt::Key_Return);
  dialogs.ShowMessage(nullptr, "A\n<b>B", "選択エラー");
  answer("DB更新", Qt::Key_Escape);
  dialogs.ShowError(nullptr, "A\n<b>B");
}

TEST(DialogsTest, FilterAndPathBecomeTheToolkits) {
  EXPECT_EQ(app::ToolkitFilter("ﾃﾞｰﾀﾌｧｲﾙ (*.mdb)|*.mdb"), "ﾃﾞｰﾀﾌｧｲﾙ (*.mdb)");
  EXPECT_EQ(app::ToolkitFilter("A|*.a;*.b|B (*.c)|*.c"), "A (*.a *.b);;B (*.c)");
  EXPECT_EQ(app::ToolkitPath("/opt/a\\b\\Data.mdb"), "/opt/a\\b/Data.mdb");
  EXPECT_EQ(app::ToolkitPath("Data.mdb"), "Data.mdb");
}

}  // namespace
}  // namespace app_test

int main(int argc, char** argv) {
  ::testing::InitGoogleMock(&argc, argv);
  QApplication application(argc, argv);
  app::UseJapaneseFont();
  QApplication::setQuitOnLastWindowClosed(false);
  return RUN_ALL_TESTS();
}
