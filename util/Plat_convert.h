#pragma once
// Value and text conversions shared by the edits, lookup lists and exports:
// money amounts in Chinese capital numerals, pinyin initials for quick search,
// number texts and the "[code]name" texts of lookup lists.

#include <QByteArray>
#include <QHash>
#include <QString>

namespace lnq {

class TUtils_Convert {
public:
    TUtils_Convert() = delete;

    // Format kinds of FloatToStrF (the runtime's numbering).
    enum TFloatFormat { ffGeneral = 0, ffExponent = 1, ffFixed = 2, ffNumber = 3, ffCurrency = 4 };

    // Amount in capital numerals as written on receipts: 1005 -> "壹仟零伍元整",
    // 12.05 -> "壹拾贰元零伍分", 0.5 -> "伍角", -3 -> "负叁元整", 0 -> "零元整".
    // The amount is taken with 15 significant digits and the cents rounded half
    // to even; a cents value that rounds up to 100 reads its first two digits
    // (1.999 -> "壹元壹角"), and no "整" follows a "角". An integer part above
    // 2147483647, or an amount whose 15-digit text is in exponent form (below
    // 0.00001 or 1E15 and up), raises EConvertError, as do NaN and infinities.
    static QString CurrencyToCapitalization2(long double amount);
    // The same for an amount given as text ("12.05", "-3", "1.5e3"; the
    // grammar of StrToFloat), taken as the exact decimal value of that text
    // rather than the nearest float: "0.015" is a half cent and gives
    // "零贰分", "0.005" gives "整", "2.675" gives "贰元陆角捌分". The integer
    // text is the amount with 15 significant digits (half away from zero), so
    // the same amounts as above raise EConvertError ("1.5E15", "0.0000015",
    // "-9.3e18"); a text that is no number raises it too.
    static QString CurrencyTextToCapitalization2(const QString& amount);

    // Pinyin initials of a GBK text: ASCII letters (upper-cased) and digits are
    // kept, other single bytes dropped; every two-byte character gives the
    // initial of its first-level code range, "Z" from 0xD4D1 on (all
    // second-level characters), and a raw byte 0xC0 below 0xB0A1 (symbols,
    // full-width punctuation, extension characters). Because of that byte the
    // result is bytes, not text. The QString forms encode the text to GBK first.
    static void PStrToPy(const QByteArray& text, QByteArray& result);
    static void PStrToPy(const QString& text, QByteArray& result);
    static QByteArray StrToPY(const QByteArray& text);
    static QByteArray StrToPY(const QString& text);

    // ffNumber: "%.*n" (thousands separators); ffCurrency: "%.*m" (the default
    // locale's currency); every other format: "%.*f". `digits` is the number of
    // decimals; `precision` is accepted and ignored.
    static QString FloatToStrF(long double value, int format, int precision, int digits);

    // "[0012]张三" -> "0012": the characters between the first and the first
    // "]" (the first character is taken to be "[" without checking). A text
    // without "]" comes back unchanged.
    static QString GetCode(const QString& text);

    // A text holding "]" comes back unchanged; any other is cut to its first
    // 1000 characters. The name behind the bracket is not split off: callers
    // that want it cut it themselves.
    static QString GetValue(const QString& text);
};

// A search text as users type it into a search box: a value passes when it contains the text
// (letter case ignored) or, for a text of ASCII letters and digits, when its
// pinyin initials contain the text. An empty (or blank) text passes every value.
class TQuickSearchText {
public:
    void SetText(const QString& text);
    QString Text() const { return m_text; }
    bool IsEmpty() const { return m_text.isEmpty(); }
    bool Matches(const QString& value) const;

private:
    QString m_text;
    QByteArray m_initials;
    // Initials of the values met so far: a list is searched again at every
    // keystroke, and looking a text up costs a fraction of working out its
    // initials. Bounded: emptied when it reaches kCacheLimit texts.
    static constexpr qsizetype kCacheLimit = 250000;
    mutable QHash<QString, QByteArray> m_initialsOf;
};

} // namespace lnq
