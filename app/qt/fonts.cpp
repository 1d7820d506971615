#include "app/qt/fonts.h"

#include <QApplication>
#include <QFontDatabase>
#include <QFontInfo>

#include "app/form1_texts.h"

namespace app {

void UseJapaneseFont() {
  QFont font = QApplication::font();
  if (QFontDatabase::writingSystems(QFontInfo(font).family()).contains(QFontDatabase::Japanese)) {
    return;
  }
  for (const char* family : {"Noto Sans CJK JP", "IPAexGothic", "IPAPGothic"}) {
    if (!QFontDatabase::hasFamily(QString::fromUtf8(family))) continue;
    font.setFamily(QString::fromUtf8(family));
    QApplication::setFont(font);
    return;
  }
}

QFont VersionFont(const QFont& base) {
  const QString family = QString::fromUtf8(kVersionFontFamily);
  if (QFont::substitutes(family).isEmpty()) {
    // Where it is not installed: the same font by its other name, then others
    // like it, those of its width first.
    QFont::insertSubstitutions(family, {QStringLiteral("MS PMincho"), QStringLiteral("IPAPMincho"),
                                        QStringLiteral("IPA P明朝"), QStringLiteral("IPAMincho"),
                                        QStringLiteral("Noto Serif CJK JP")});
  }
  QFont font = base;
  font.setFamily(family);
  font.setStyleHint(QFont::Serif);
  if (base.pointSizeF() > 0) {
    font.setPointSizeF(base.pointSizeF() * kVersionFontScale);
  } else {
    font.setPixelSize(static_cast<int>(base.pixelSize() * kVersionFontScale));
  }
  return font;
}

}  // namespace app
