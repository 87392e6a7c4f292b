#pragma once
// The application font of programs built on the framework. Han characters
// need a Simplified Chinese face: a generic sans-serif picks Japanese glyph
// shapes for them on many Linux desktops.

#include <QString>
#include <QStringList>

namespace lnq {

// Faces tried in order; the first one installed wins.
QStringList ChineseFontFamilies();

// Sets the application font to the first installed face of
// ChineseFontFamilies() at the given point size and returns its family, or
// returns an empty text and leaves the font alone when none is installed.
// Call after the QApplication exists.
QString UseChineseApplicationFont(int pointSize = 9);

} // namespace lnq
