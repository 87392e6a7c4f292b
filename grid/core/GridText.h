#pragma once
// Text rules of the grid core that have nothing to do with widgets: the
// 255-byte short strings of the column model, the two-line break of AutoEnter
// cells, the unit breakdown of combo-count cells, the ten digit cells of money
// columns, the hand-written number reader of GetCellValF and the colour names
// of the row-colour column.

#include <QString>
#include <QStringList>

namespace lnq {

// Short text fields of the column model hold at most 255 GBK bytes. A
// double-byte character that would straddle the limit is dropped whole (a
// QString cannot hold half a character).
inline constexpr int kShortStringBytes = 255;
QString TruncateShortString(const QString& text);

// Two-line drawing of an AutoEnter cell. The text is scanned in GBK bytes
// (one for a byte below 129, two for a lead byte), stopping at the capacity,
// at the end or at a line feed; a double-byte character at the limit moves
// the break one byte before the capacity, so a character is never split. The
// line feed that ended the first line is not shown on the second.
struct TTwoLines {
    QString First;
    QString Second;
};
TTwoLines SplitAutoEnterLines(const QString& text, int capacityBytes);

// Unit breakdown of a dpComboCount quantity. unitText lists the units from
// the smallest to the largest, separated by ";", each "name" or
// "name/factor" (factor = number of smallest units it holds; 1 without "/").
// Units are taken from the largest: whole := round-half-even(q / factor -
// 0.499), appended as decimal whole + name when not 0, q -= whole * factor.
// "piece;box/6;case/24" and 53 give "2case5piece". A unit whose factor is not
// a positive number is left out.
QString ComboCountText(double quantity, const QString& unitText);

// The ten characters drawn in the digit cells of a money amount: eight
// integer places and two decimals, Format("%9.2f") without the point,
// right-aligned in ten; leading digits of larger amounts are lost and a
// minus sign takes a cell. Zero gives ten blanks.
inline constexpr int kCurrencyDigitCells = 10;
QString CurrencyDigitText(double value);
// Labels of the ten digit cells in a money column's title.
QString CurrencyCaptionLabels();

// GetCellValF's own number reader (not StrToFloat): sign from a leading "-",
// every digit of the whole text accumulated left to right, divided by 10 per
// character after the first "." and scaled by 10^exponent for an "E" (the
// power computed as a wrapping 32-bit integer). An exponent that is not an
// integer raises EConvertError.
double ReadCellNumber(const QString& text);

// ASCII-only case folding: the column-name comparison of ColByName.
bool SameTextAscii(const QString& a, const QString& b);

// TColor values (blue in bits 16-23, red in 0-7) as the platform names them:
// the standard colour names ("clBlack", "clSilver", ...) and system colour
// names ("clBtnFace", ...), otherwise "$" and eight upper-case hex digits of
// the value ("$00F0F0F0" for RGB(240,240,240), "$00F0F0E6" for
// RGB(230,240,240)). StringToColorValue reads both forms back, plus plain
// decimal numbers; false for anything else.
QString ColorValueToString(quint32 color);
bool StringToColorValue(const QString& text, quint32& color);
constexpr quint32 RgbToColorValue(int r, int g, int b) {
    return quint32(r & 0xFF) | (quint32(g & 0xFF) << 8) | (quint32(b & 0xFF) << 16);
}

} // namespace lnq
