#include "app/qt/dialogs.h"

#include <QDir>
#include <QFileDialog>
#include <QSettings>
#include <QStringList>

#include "app/form1_texts.h"

namespace app {

// Nothing but the databases is written. The toolkit's file dialog keeps its size,
// view and last folder in a settings file as it closes; below a device no file and
// no folder can be made, so that there it finds none and leaves none.
SystemDialogs::SystemDialogs() {
  QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, QStringLiteral("/dev/null"));
}

// The dialogs of a desktop keep lists of their own, so it is the toolkit's, in which
// nothing can be made, renamed or deleted either.
QString SystemDialogs::AskFile(QWidget* parent, const QString& initial_path,
                               const QString& filter) {
  return QFileDialog::getOpenFileName(parent, QString(), initial_path, filter, nullptr,
                                      QFileDialog::DontUseNativeDialog | QFileDialog::ReadOnly);
}

void SystemDialogs::ShowMessage(QWidget* parent, const QString& text, const QString& title) {
  MakeMessageBox(parent, text, title)->exec();
}

void SystemDialogs::ShowError(QWidget* parent, const QString& text) {
  MakeErrorBox(parent, text)->exec();
}

std::unique_ptr<QMessageBox> MakeMessageBox(QWidget* parent, const QString& text,
                                            const QString& title) {
  auto box =
      std::make_unique<QMessageBox>(QMessageBox::NoIcon, title, text, QMessageBox::Ok, parent);
  box->setTextFormat(Qt::PlainText);
  return box;
}

std::unique_ptr<QMessageBox> MakeErrorBox(QWidget* parent, const QString& text) {
  auto box = std::make_unique<QMessageBox>(QMessageBox::Critical, QString::fromUtf8(kProgramTitle),
                                           text, QMessageBox::Ok, parent);
  box->setTextFormat(Qt::PlainText);
  box->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
  return box;
}

QString ToolkitFilter(const QString& filter) {
  const QStringList parts = filter.split(u'|');
  QStringList filters;
  for (qsizetype i = 0; i + 1 < parts.size(); i += 2) {
    QString pattern = parts[i + 1];
    pattern = u'(' + pattern.replace(u';', u' ') + u')';
    filters.append(parts[i].endsWith(pattern) ? parts[i] : parts[i] + u' ' + pattern);
  }
  return filters.join(QStringLiteral(";;"));
}

QString ToolkitPath(const QString& initial_name) {
  // Only the last separator is ours; others may be part of a folder's name.
  const qsizetype separator = initial_name.lastIndexOf(u'\\');
  if (separator < 0) return initial_name;
  return initial_name.left(separator) + u'/' + initial_name.mid(separator + 1);
}

}  // namespace app
