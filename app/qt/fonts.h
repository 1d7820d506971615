// Fonts in which everything that the window says can be read.
#pragma once

#include <QFont>

namespace app {

// Where the system's own font has no Japanese characters, gives the program one
// that has them all, so that no text is pieced together from several fonts.
void UseJapaneseFont();

// The Mincho font of the version labels, somewhat larger than `base`.
QFont VersionFont(const QFont& base);

}  // namespace app
