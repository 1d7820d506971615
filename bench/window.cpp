// bench_window FILE: the time from the press on "DB更新" until the window shows the
// latest version, in milliseconds. The file is a Data.mdb of an older version; it is
// changed. Runs off screen with QT_QPA_PLATFORM=offscreen.
#include <fmt/format.h>

#include <QApplication>
#include <QElapsedTimer>
#include <QLabel>

#include "app/assembly.h"
#include "app/form1.h"
#include "app/qt/dialogs.h"
#include "app/qt/fonts.h"
#include "app/qt/form1_window.h"

namespace {

// Chooses the one file, and ends the run where the window complains.
class OneFile : public app::Dialogs {
 public:
  explicit OneFile(QString path) : path_(std::move(path)) {}
  QString AskFile(QWidget*, const QString&, const QString&) override { return path_; }
  void ShowMessage(QWidget*, const QString& text, const QString&) override { ShowError({}, text); }
  void ShowError(QWidget*, const QString& text) override {
    fmt::print(stderr, "bench_window: {}\n", text.toStdString());
    std::exit(1);
  }

 private:
  QString path_;
};

QPushButton& ButtonOf(const QWidget& window, const char* name) {
  return *window.findChild<QPushButton*>(QLatin1String(name));
}

bool Shows(const QWidget& window, const QString& text) {
  for (const QLabel* label : window.findChildren<QLabel*>()) {
    if (label->text() == text) return true;
  }
  return false;
}

}  // namespace

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  if (argc != 2) return 2;
  app::UseJapaneseFont();
  const auto files = jet::MakeSystemFiles();
  app::Assembly assembly(*files);
  OneFile dialogs(QString::fromUtf8(argv[1]));
  app::Form1Window window(dialogs);
  app::Form1 form(assembly.module(), assembly.repairs(), window, ".");
  window.Connect(form);
  form.Form_Load();
  window.show();
  ButtonOf(window, "CB_DataDB").click();
  QApplication::processEvents();
  QElapsedTimer clock;
  clock.start();
  ButtonOf(window, "CB_DB_Up").click();
  QApplication::processEvents();
  const double took = static_cast<double>(clock.nsecsElapsed()) / 1e6;
  if (!Shows(window, QStringLiteral(" Ver 27"))) {
    fmt::print(stderr, "bench_window: the window does not show version 27\n");
    return 1;
  }
  fmt::print("{:.3f}\n", took);
  return 0;
}
