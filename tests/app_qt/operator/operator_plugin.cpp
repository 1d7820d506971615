// An operator inside the real program: a plugin that the toolkit loads on request.
// Chooses the file in the environment variable OPERATOR_FILE for the Data database,
// cancels the dialog of the other, answers the message, and closes the window. On
// standard output: where each dialog starts, and the version that is then shown.

#include <QApplication>
#include <QFileDialog>
#include <QGenericPlugin>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QThread>
#include <QTimer>
#include <cstdio>

namespace {

template <class Control>
Control* Find(const char* name) {
  for (QWidget* window : QApplication::topLevelWidgets()) {
    if (auto* found = window->findChild<Control*>(QString::fromUtf8(name))) return found;
  }
  return nullptr;
}

class Operator : public QObject {
 public:
  Operator() {
    connect(&timer_, &QTimer::timeout, this, &Operator::Look);
    timer_.start(1);
  }

 private:
  // Does what the state of the program asks for, if it has come to that.
  void Look() {
    QWidget* const modal = QApplication::activeModalWidget();
    if (auto* dialog = qobject_cast<QFileDialog*>(modal);
        dialog != nullptr && dialogs_ < pressed_) {
      std::printf("%s\n", qPrintable(dialog->directory().path()));
      const bool first = dialogs_++ == 0;
      if (first) {
        dialog->findChild<QLineEdit*>("fileNameEdit")
            ->setText(qEnvironmentVariable("OPERATOR_FILE"));
      }
      QMetaObject::invokeMethod(dialog, first ? "accept" : "reject", Qt::QueuedConnection);
      return;
    }
    if (auto* box = qobject_cast<QMessageBox*>(modal)) {
      box->accept();
      answered_ = true;
      return;
    }
    // Answered, and about to close; or closed, but its own loop of events has not ended.
    if (modal != nullptr || QThread::currentThread()->loopLevel() > 1) return;
    if (pressed_ < 2 && pressed_ == dialogs_) {
      auto* button = Find<QPushButton>(pressed_ == 0 ? "CB_DataDB" : "CB_TenkaiDB");
      if (button == nullptr || !button->isVisible() || !button->isEnabled()) return;
      ++pressed_;
      // Later: it returns when its dialog has been answered, and a timer does not
      // fire inside its own event.
      QMetaObject::invokeMethod(button, "click", Qt::QueuedConnection);
      return;
    }
    if (!answered_) return;
    timer_.stop();
    std::printf("%s\n", Find<QLabel>("L_Ver")->text().toUtf8().constData());
    std::fflush(stdout);
    Find<QLabel>("L_Ver")->window()->close();
  }

  QTimer timer_;
  int pressed_ = 0, dialogs_ = 0;
  bool answered_ = false;
};

class OperatorPlugin : public QGenericPlugin {
  Q_OBJECT
  Q_PLUGIN_METADATA(IID QGenericPluginFactoryInterface_iid FILE "operator.json")

 public:
  QObject* create(const QString&, const QString&) override { return new Operator; }
};

}  // namespace

#include "operator_plugin.moc"
