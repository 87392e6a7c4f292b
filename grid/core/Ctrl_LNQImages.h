#pragma once
// The bitmaps the grid controls show by name, and the colour values of the
// original platform (TColor) turned into Qt colours.
//
// Bitmaps are drawn with QPainter on first use, at the application's device
// pixel ratio, and cached; they need a QGuiApplication. Sizes in
// device-independent pixels:
//   "3DOT"   16 x 16  a raised button face with three dots: the "..." button
//                     of a LoadButton grid cell, drawn as it stands;
//   "DETAIL" 12 x 12  three dots on a transparent ground: the glyph of the
//                     masked edit's "..." button;
//   "DROPDOWN" 12 x 12 a downward triangle on a transparent ground: the glyph
//                     of the lookup edit's button;
//   "LOCK"   10 x 12  the lock mark of frozen grid columns (DrawLockGlyph at
//                     the origin) on a transparent ground.
// Names are matched ignoring ASCII case; an unknown name gives a null pixmap.

#include <QColor>
#include <QPixmap>
#include <QPoint>
#include <QString>

class QPainter;

namespace lnq {

// The lock mark's fill as the platform stored it: TColor 16776960
// ($00FFFF00, blue-green-red order), i.e. aqua RGB(0,255,255).
inline constexpr quint32 kLockColor = 16776960u;

// TColor -> QColor. Plain values hold blue in bits 16-23, green in 8-15 and
// red in 0-7. Values with the high byte 0x80 are system colours (clWindow
// 0x80000005, clBtnFace 0x8000000F ...) and are taken from the
// application's palette; other high bytes are ignored like the platform's
// ColorToRGB does with palette-relative values.
QColor TColorToQColor(quint32 color);

QPixmap LnqBitmap(const QString& name);

// Draws the lock mark with its top-left corner at `origin`: the pentagon
// (0,0), (9,0), (9,7), (4,11), (0,7) filled with kLockColor, outlined in
// black, with white highlight lines along the inner top and left edges.
// The painter's state is restored afterwards.
void DrawLockGlyph(QPainter& painter, QPoint origin);

} // namespace lnq
