// The window as those meet it who have only a keyboard, or only a voice.
#include <gmock/gmock.h>

#include <QAccessible>
#include <QApplication>
#include <QListWidget>
#include <QSignalSpy>
#include <QTest>

#include "app/qt/dialogs.h"
#include "app/qt/form1_window.h"

namespace app_test {
namespace {

// The window with every hidden button shown and two items in its list, apart
// from the program.
class WalkTest : public ::testing::Test {
 protected:
  WalkTest() {
    for (const app::Button hidden :
         {app::Button::kCB_DB_Up, app::Button::kCB_TenkaiDB_Up, app::Button::kCommand1}) {
      window.SetVisible(hidden, true);
    }
    window.AddListItem("なし\tなし");
    window.AddListItem("相FG            \t相ＦＧ");
    window.show();
    window.activateWindow();
    EXPECT_TRUE(QTest::qWaitForWindowActive(&window));
  }

  // Where Tab (or, backwards, Shift+Tab) leads from here, until it comes round.
  std::vector<QWidget*> Round(bool backwards) {
    std::vector<QWidget*> visited;
    const QWidget* const start = window.focusWidget();
    do {
      visited.push_back(window.focusWidget());
      QTest::keyClick(window.focusWidget(), Qt::Key_Tab,
                      backwards ? Qt::ShiftModifier : Qt::NoModifier);
    } while (window.focusWidget() != start && visited.size() < 100);
    return visited;
  }

  app::SystemDialogs dialogs;
  app::Form1Window window{dialogs};
};

struct Element {
  std::string role, name;
  bool operator==(const Element&) const = default;
  friend void PrintTo(const Element& element, std::ostream* out) {
    *out << element.role << " \"" << element.name << '"';
  }
};

std::string RoleName(QAccessible::Role role) {
  switch (role) {
    case QAccessible::Grouping:
      return "group";
    case QAccessible::Button:
      return "button";
    case QAccessible::StaticText:
      return "text";
    case QAccessible::List:
      return "list";
    case QAccessible::ListItem:
      return "item";
    default:
      return "role " + std::to_string(role);
  }
}

// Everything below `element` that is shown, depth first.
void Collect(const QAccessibleInterface& element, std::vector<Element>& all) {
  for (int i = 0; i < element.childCount(); ++i) {
    const QAccessibleInterface* child = element.child(i);
    ASSERT_NE(child, nullptr);
    ASSERT_TRUE(child->isValid());
    if (child->state().invisible) continue;
    all.push_back({RoleName(child->role()), child->text(QAccessible::Name).toStdString()});
    Collect(*child, all);
  }
}

TEST_F(WalkTest, AccessibleTreeHoldsEveryControlWithRoleAndName) {
  const QAccessibleInterface* root = QAccessible::queryAccessibleInterface(&window);
  ASSERT_NE(root, nullptr);
  EXPECT_EQ(root->text(QAccessible::Name), "DB情報");
  std::vector<Element> all;
  Collect(*root, all);
  // Before Form_Load the version labels still say what they are.
  const std::vector<Element> expected = {
      {"group", "Data.mdb"},
      {"text", "Data.mdb バージョン"},
      {"button", "Data.mdb データベース選択"},
      {"button", "Data.mdb DB更新"},
      {"text", "Data.mdb バージョン バージョン"},
      {"text", "Data.mdb バージョン"},
      {"group", "展開Data.mdb"},
      {"text", "展開Data.mdb バージョン"},
      {"button", "展開Data.mdb データベース選択"},
      {"button", "展開Data.mdb DB更新"},
      {"text", "展開Data.mdb バージョン バージョン"},
      {"text", "展開Data.mdb バージョン"},
      {"list", "補強名と転送名称"},
      {"item", "なし\tなし"},
      {"item", "相FG            \t相ＦＧ"},
      {"button", "補強修正"},
      {"text", "Up Date 2019/6/4"},
      {"button", "ﾌﾚｷ名称変換"},
      {"button", "英語適用"},
      {"button", "取り込み"},
      {"button", "コード"},
  };
  EXPECT_EQ(all, expected);
}

TEST_F(WalkTest, TabVisitsEveryControlOnceInReadingOrder) {
  const std::vector<QWidget*> forwards = Round(false);
  std::vector<QWidget*> backwards = Round(true);
  std::reverse(backwards.begin() + 1, backwards.end());
  EXPECT_EQ(backwards, forwards);
  std::vector<std::string> names;
  for (const QWidget* widget : forwards) names.push_back(widget->objectName().toStdString());
  EXPECT_THAT(names, ::testing::ElementsAre("CB_DataDB", "CB_DB_Up", "CB_TenkaiDB",
                                            "CB_TenkaiDB_Up", "List1", "Command1", "Command4",
                                            "Command5", "Command2", "Command3"));
}

TEST_F(WalkTest, EnterAndSpaceAndTheScreenReaderPressEveryButton) {
  int pressed = 0;
  for (QWidget* control : Round(false)) {
    auto* button = qobject_cast<QPushButton*>(control);
    if (button == nullptr) continue;
    SCOPED_TRACE(button->objectName().toStdString());
    const QSignalSpy clicks(button, &QPushButton::clicked);
    button->setFocus();
    for (const Qt::Key key : {Qt::Key_Space, Qt::Key_Return, Qt::Key_Enter}) {
      QTest::keyClick(window.focusWidget(), key);
    }
    EXPECT_EQ(clicks.count(), 3);
    QAccessibleInterface* element = QAccessible::queryAccessibleInterface(button);
    ASSERT_NE(element, nullptr);
    EXPECT_TRUE(element->state().focused);
    ASSERT_NE(element->actionInterface(), nullptr);
    element->actionInterface()->doAction(QAccessibleActionInterface::pressAction());
    QTRY_COMPARE(clicks.count(), 4);
    ++pressed;
  }
  EXPECT_EQ(pressed, 9);
}

TEST_F(WalkTest, ArrowsMoveThroughTheListAndTheScreenReaderFollows) {
  auto* list = window.findChild<QListWidget*>("List1");
  ASSERT_NE(list, nullptr);
  list->setFocus();
  QTest::keyClick(list, Qt::Key_Home);
  QTest::keyClick(list, Qt::Key_Down);
  EXPECT_EQ(list->currentRow(), 1);
  const QAccessibleInterface* focused = QAccessible::queryAccessibleInterface(list)->focusChild();
  ASSERT_NE(focused, nullptr);
  EXPECT_EQ(focused->text(QAccessible::Name), "相FG            \t相ＦＧ");
  QTest::keyClick(list, Qt::Key_Up);
  EXPECT_EQ(list->currentRow(), 0);
}

// Hidden buttons are neither read out nor stops on the way.
TEST_F(WalkTest, HiddenButtonsAreNotMet) {
  window.SetVisible(app::Button::kCB_DB_Up, false);
  window.SetVisible(app::Button::kCommand1, false);
  EXPECT_EQ(Round(false).size(), 8U);
  std::vector<Element> all;
  Collect(*QAccessible::queryAccessibleInterface(&window), all);
  for (const Element& element : all) EXPECT_THAT(element.name, ::testing::Not("Data.mdb DB更新"));
}

}  // namespace
}  // namespace app_test
