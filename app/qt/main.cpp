// db-update: the operator's window over the engine, the sessions and the steps.

#include <QApplication>
#include <QLibraryInfo>
#include <QLocale>
#include <QTranslator>

#include "app/assembly.h"
#include "app/form1.h"
#include "app/qt/dialogs.h"
#include "app/qt/fonts.h"
#include "app/qt/form1_window.h"

int main(int argc, char** argv) {
  QApplication application(argc, argv);
  app::UseJapaneseFont();
  // The toolkit's own dialogs speak as the window does, whatever the locale.
  QTranslator translator;
  if (translator.load(QLocale(QLocale::Japanese), QStringLiteral("qtbase"), QStringLiteral("_"),
                      QLibraryInfo::path(QLibraryInfo::TranslationsPath))) {
    QApplication::installTranslator(&translator);
  }

  const std::unique_ptr<jet::FileSystem> files = jet::MakeSystemFiles();
  app::Assembly assembly(*files);

  app::SystemDialogs dialogs;
  app::Form1Window window(dialogs);
  app::Form1 form(assembly.module(), assembly.repairs(), window,
                  QApplication::applicationDirPath().toStdString());
  window.Connect(form);
  form.Form_Load();
  window.show();
  return QApplication::exec();
}
