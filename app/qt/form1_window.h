// The one window, in Qt.
//
// Every control carries its name as object name. Controls of an array share
// one: their element number is the dynamic property "Index".
#pragma once

#include <QPointer>
#include <QPushButton>
#include <QWidget>
#include <array>
#include <string>

#include "app/form1.h"
#include "app/form1_view.h"

class QBoxLayout;
class QGroupBox;
class QLabel;
class QListWidget;

namespace app {

class Dialogs;

inline constexpr char kIndexProperty[] = "Index";

class Form1Window : public QWidget, public Form1View {
 public:
  // `dialogs` must outlive the window.
  explicit Form1Window(Dialogs& dialogs);

  // Hands what the operator presses to `form`, which must outlive the window's
  // use.
  void Connect(Form1& form);

  void SetVersionCaption(int element, const std::string& caption) override;
  void SetVisible(Button button, bool visible) override;
  void ClearList() override;
  void AddListItem(const std::string& text) override;
  std::string AskFile(const std::string& initial_name, const std::string& filter) override;
  void ShowMessage(const std::string& text, const std::string& title) override;
  void ShowError(const std::string& text) override;
  void SetBusy(bool busy) override;
  void End(int exit_status) override;

 protected:
  void closeEvent(QCloseEvent* event) override;
  void dragEnterEvent(QDragEnterEvent* event) override;
  void dropEvent(QDropEvent* event) override;

 private:
  struct FrameControls;
  static constexpr std::size_t kButtons = 9;
  static constexpr std::size_t kVersionLabels = 4;

  QPushButton* MakeButton(Button button);
  QLabel* MakeVersionLabel(int element);
  QGroupBox* MakeFrame(const FrameControls& controls);
  QBoxLayout* MakeListColumn();
  QBoxLayout* MakeBottomRow();
  QPushButton* button(Button which) const { return buttons_[static_cast<std::size_t>(which)]; }
  void SetTabOrder();
  void GiveFocusBack();
  bool TakesFiles() const;

  Dialogs& dialogs_;
  Form1* form_ = nullptr;
  std::array<QPushButton*, kButtons> buttons_{};
  std::array<QLabel*, kVersionLabels> version_labels_{};
  QListWidget* list_ = nullptr;
  QPointer<QWidget> focus_before_;
  bool busy_ = false;
};

}  // namespace app
