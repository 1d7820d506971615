#include "app/qt/form1_window.h"

#include <QApplication>
#include <QCloseEvent>
#include <QDragEnterEvent>
#include <QGridLayout>
#include <QGroupBox>
#include <QHBoxLayout>
#include <QLabel>
#include <QListWidget>
#include <QMimeData>
#include <QUrl>
#include <QVBoxLayout>

#include "app/form1_texts.h"
#include "app/qt/columns_delegate.h"
#include "app/qt/dialogs.h"
#include "app/qt/fonts.h"

namespace app {
namespace {

// The paths of the files that are being dragged.
std::vector<std::string> FilesIn(const QDropEvent& event) {
  std::vector<std::string> paths;
  for (const QUrl& url : event.mimeData()->urls()) {
    if (url.isLocalFile()) paths.push_back(url.toLocalFile().toStdString());
  }
  return paths;
}

QString Text(const std::string& text) { return QString::fromStdString(text); }

// A hidden control keeps its place, so that nothing moves when it appears.
void KeepPlaceWhileHidden(QWidget& widget) {
  QSizePolicy policy = widget.sizePolicy();
  policy.setRetainSizeWhenHidden(true);
  widget.setSizePolicy(policy);
}

void Name(QWidget& widget, const char* name, int index = -1) {
  widget.setObjectName(QString::fromUtf8(name));
  if (index >= 0) widget.setProperty(kIndexProperty, index);
}

}  // namespace

struct Form1Window::FrameControls {
  int index;
  const char* caption;
  Button choose;
  Button upgrade;
  int stored_version;
  int latest_version;
};

Form1Window::Form1Window(Dialogs& dialogs) : dialogs_(dialogs) {
  setObjectName(QStringLiteral("Form1"));
  setWindowTitle(QString::fromUtf8(kWindowTitle));
  setAcceptDrops(true);
  auto* grid = new QGridLayout(this);
  grid->addWidget(MakeFrame({0, kFrameCaptions[0], Button::kCB_DataDB, Button::kCB_DB_Up, 0, 2}), 0,
                  0);
  grid->addWidget(
      MakeFrame({1, kFrameCaptions[1], Button::kCB_TenkaiDB, Button::kCB_TenkaiDB_Up, 1, 3}), 1, 0);
  grid->addLayout(MakeListColumn(), 0, 1, 2, 1);
  grid->addLayout(MakeBottomRow(), 2, 0, 1, 2);
  grid->setColumnStretch(1, 1);
  grid->setRowStretch(0, 1);
  grid->setRowStretch(1, 1);

  for (const Button hidden : {Button::kCB_DB_Up, Button::kCB_TenkaiDB_Up, Button::kCommand1}) {
    KeepPlaceWhileHidden(*button(hidden));
    button(hidden)->hide();
  }
  SetTabOrder();
  button(Button::kCB_DataDB)->setFocus();
}

QPushButton* Form1Window::MakeButton(Button which) {
  const ButtonText& text = kButtonTexts[static_cast<std::size_t>(which)];
  auto* made = new QPushButton(QString::fromUtf8(text.caption), this);
  Name(*made, text.name);
  made->setAccessibleName(QString::fromUtf8(text.accessible_name));
  made->setAutoDefault(true);  // the Enter key presses it, too
  // Captions in other scripts are of other heights; all buttons of a row get one.
  made->setSizePolicy(QSizePolicy::Minimum, QSizePolicy::Minimum);
  buttons_[static_cast<std::size_t>(which)] = made;
  return made;
}

QLabel* Form1Window::MakeVersionLabel(int element) {
  auto* label = new QLabel(this);
  Name(*label, "L_Ver", element);
  label->setTextFormat(Qt::PlainText);
  label->setFont(VersionFont(font()));
  label->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
  version_labels_[static_cast<std::size_t>(element)] = label;
  SetVersionCaption(element, kLabelCaption);
  return label;
}

QGroupBox* Form1Window::MakeFrame(const FrameControls& controls) {
  auto* frame = new QGroupBox(QString::fromUtf8(controls.caption), this);
  Name(*frame, "Frame1", controls.index);
  frame->setAccessibleName(frame->title());
  auto* label = new QLabel(QString::fromUtf8(kLabelCaption), frame);
  Name(*label, "Label1", controls.index);
  label->setAccessibleName(frame->title() + u' ' + label->text());

  // The latest version stands under the stored one, right edge under right edge.
  auto* versions = new QGridLayout;
  versions->addWidget(label, 0, 0);
  versions->addWidget(MakeVersionLabel(controls.stored_version), 0, 1);
  versions->addWidget(MakeVersionLabel(controls.latest_version), 1, 0, 1, 2);

  auto* buttons = new QHBoxLayout;
  buttons->addWidget(MakeButton(controls.choose));
  buttons->addWidget(MakeButton(controls.upgrade));
  buttons->addStretch(1);

  auto* column = new QVBoxLayout(frame);
  column->addLayout(buttons);
  column->addLayout(versions);
  column->setAlignment(versions, Qt::AlignLeft);
  column->addStretch(1);
  return frame;
}

QBoxLayout* Form1Window::MakeListColumn() {
  list_ = new QListWidget(this);
  Name(*list_, "List1");
  list_->setAccessibleName(QString::fromUtf8(kListMeaning));
  list_->setItemDelegate(new ColumnsDelegate(*list_));
  list_->setHorizontalScrollMode(QAbstractItemView::ScrollPerPixel);
  list_->setTabKeyNavigation(false);
  auto* column = new QVBoxLayout;
  column->addWidget(list_, 1);
  column->addWidget(MakeButton(Button::kCommand1), 0, Qt::AlignLeft);
  return column;
}

QBoxLayout* Form1Window::MakeBottomRow() {
  auto* date = new QLabel(QString::fromUtf8(kBuildDate), this);
  Name(*date, "Label2");
  date->setAccessibleName(date->text());
  auto* row = new QHBoxLayout;
  for (const Button which :
       {Button::kCommand4, Button::kCommand5, Button::kCommand2, Button::kCommand3}) {
    row->addWidget(MakeButton(which));
  }
  row->addStretch(1);
  row->addWidget(date);
  return row;
}

void Form1Window::SetTabOrder() {
  QWidget* const order[] = {button(Button::kCB_DataDB),
                            button(Button::kCB_DB_Up),
                            button(Button::kCB_TenkaiDB),
                            button(Button::kCB_TenkaiDB_Up),
                            list_,
                            button(Button::kCommand1),
                            button(Button::kCommand4),
                            button(Button::kCommand5),
                            button(Button::kCommand2),
                            button(Button::kCommand3)};
  for (std::size_t i = 1; i < std::size(order); ++i) setTabOrder(order[i - 1], order[i]);
}

void Form1Window::Connect(Form1& form) {
  form_ = &form;
  struct Event {
    Button button;
    void (Form1::*handler)();
  };
  constexpr Event kEvents[] = {
      {Button::kCB_DataDB, &Form1::CB_DataDB_Click},
      {Button::kCB_DB_Up, &Form1::CB_DB_Up_Click},
      {Button::kCB_TenkaiDB, &Form1::CB_TenkaiDB_Click},
      {Button::kCB_TenkaiDB_Up, &Form1::CB_TenkaiDB_Up_Click},
      {Button::kCommand1, &Form1::Command1_Click},
      {Button::kCommand4, &Form1::Command4_Click},
      {Button::kCommand5, &Form1::Command5_Click},
  };
  for (const Event& event : kEvents) {
    connect(button(event.button), &QPushButton::clicked, this,
            [&form, handler = event.handler] { (form.*handler)(); });
  }
}

void Form1Window::SetVersionCaption(int element, const std::string& caption) {
  QLabel& label = *version_labels_.at(static_cast<std::size_t>(element));
  label.setText(Text(caption));
  label.setAccessibleName(QString::fromUtf8(kVersionMeanings[static_cast<std::size_t>(element)]) +
                          u' ' + Text(caption));
}

void Form1Window::SetVisible(Button which, bool visible) { button(which)->setVisible(visible); }

void Form1Window::ClearList() { list_->clear(); }

void Form1Window::AddListItem(const std::string& text) { list_->addItem(Text(text)); }

std::string Form1Window::AskFile(const std::string& initial_name, const std::string& filter) {
  return dialogs_.AskFile(this, ToolkitPath(Text(initial_name)), ToolkitFilter(Text(filter)))
      .toStdString();
}

void Form1Window::ShowMessage(const std::string& text, const std::string& title) {
  dialogs_.ShowMessage(this, Text(text), Text(title));
}

void Form1Window::ShowError(const std::string& text) { dialogs_.ShowError(this, Text(text)); }

void Form1Window::SetBusy(bool busy) {
  if (busy) {
    busy_ = true;
    focus_before_ = focusWidget();
    QGuiApplication::setOverrideCursor(Qt::WaitCursor);
    for (QPushButton* each : buttons_) each->setEnabled(false);
    QCoreApplication::processEvents(QEventLoop::ExcludeUserInputEvents);  // to be seen
    return;
  }
  // What was clicked and typed meanwhile finds the buttons still inactive.
  QCoreApplication::processEvents();
  for (QPushButton* each : buttons_) each->setEnabled(true);
  QGuiApplication::restoreOverrideCursor();
  GiveFocusBack();
  busy_ = false;
}

// An inactive button loses the focus. Where it has gone for good, the next
// control in tab order takes over.
void Form1Window::GiveFocusBack() {
  QWidget* const before = focus_before_;
  if (before == nullptr) return;
  QWidget* next = before;
  while (!next->isVisibleTo(this) || (next->focusPolicy() & Qt::TabFocus) == 0) {
    next = next->nextInFocusChain();
    if (next == before) return;
  }
  next->setFocus();
}

void Form1Window::End(int exit_status) { QCoreApplication::exit(exit_status); }

bool Form1Window::TakesFiles() const { return !busy_ && form_ != nullptr && form_->ready(); }

void Form1Window::dragEnterEvent(QDragEnterEvent* event) {
  if (!TakesFiles() || FilesIn(*event).empty()) return;
  event->setDropAction(Qt::CopyAction);  // the file stays where it is
  event->accept();
}

void Form1Window::dropEvent(QDropEvent* event) {
  if (!TakesFiles()) return;
  event->setDropAction(Qt::CopyAction);
  event->accept();
  // Later, so that the program it comes from need not wait.
  QMetaObject::invokeMethod(
      this, [form = form_, paths = FilesIn(*event)] { form->FilesDropped(paths); },
      Qt::QueuedConnection);
}

void Form1Window::closeEvent(QCloseEvent* event) {
  // Closing in the middle of an action would end the program behind its back.
  if (busy_) {
    event->ignore();
  } else {
    QWidget::closeEvent(event);
  }
}

}  // namespace app
