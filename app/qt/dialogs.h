// The boxes that wait for the operator, apart from the window, so that a test
// can answer them.
#pragma once

#include <QMessageBox>
#include <QString>
#include <memory>

class QWidget;

namespace app {

class Dialogs {
 public:
  virtual ~Dialogs() = default;
  // The path of an existing file, or empty if the operator cancelled.
  virtual QString AskFile(QWidget* parent, const QString& initial_path, const QString& filter) = 0;
  virtual void ShowMessage(QWidget* parent, const QString& text, const QString& title) = 0;
  virtual void ShowError(QWidget* parent, const QString& text) = 0;
};

// Those of the system.
class SystemDialogs : public Dialogs {
 public:
  SystemDialogs();
  QString AskFile(QWidget* parent, const QString& initial_path, const QString& filter) override;
  void ShowMessage(QWidget* parent, const QString& text, const QString& title) override;
  void ShowError(QWidget* parent, const QString& text) override;
};

// The boxes themselves, not shown yet.
std::unique_ptr<QMessageBox> MakeMessageBox(QWidget* parent, const QString& text,
                                            const QString& title);
std::unique_ptr<QMessageBox> MakeErrorBox(QWidget* parent, const QString& text);

// "text|pattern", pairs joined by more bars, as the toolkit writes it.
QString ToolkitFilter(const QString& filter);
// `initial_name` with the separator of this system before the name.
QString ToolkitPath(const QString& initial_name);

}  // namespace app
