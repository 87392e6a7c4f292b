#include "grid/core/GridText.h"

#include "util/Exceptions.h"
#include "util/Gbk.h"
#include "util/Plat_sysutils.h"

#include <cfenv>
#include <cmath>

namespace lnq {

QString TruncateShortString(const QString& text) {
    if (text.size() <= kShortStringBytes / 2) return text; // cannot exceed 255 bytes
    if (Gbk::byteLength(text) <= kShortStringBytes) return text;
    // Count character by character; GBK characters beyond ASCII take two bytes.
    int bytes = 0;
    qsizetype i = 0;
    while (i < text.size()) {
        const qsizetype len = text[i].isHighSurrogate() && i + 1 < text.size() ? 2 : 1;
        const int add = text[i].unicode() < 0x80 ? 1 : int(Gbk::byteLength(QStringView(text).mid(i, len)));
        if (bytes + add > kShortStringBytes) break;
        bytes += add;
        i += len;
    }
    return text.left(i);
}

TTwoLines SplitAutoEnterLines(const QString& text, int capacityBytes) {
    const QByteArray bytes = Gbk::encode(text);
    const int n = int(bytes.size());
    int i = 0;
    while (i < capacityBytes && i < n && bytes[i] != '\n')
        i += static_cast<unsigned char>(bytes[i]) >= 129 ? 2 : 1;
    if (i > capacityBytes) i = capacityBytes - 1; // a double-byte character at the limit
    if (i < 0) i = 0;
    if (i > n) i = n;
    TTwoLines out;
    QByteArray first = bytes.left(i);
    QByteArray second = bytes.mid(i);
    if (second.startsWith('\n')) {
        second.remove(0, 1);
        if (first.endsWith('\r')) first.chop(1);
    }
    out.First = Gbk::decode(first);
    out.Second = Gbk::decode(second);
    return out;
}

QString ComboCountText(double quantity, const QString& unitText) {
    struct Unit {
        QString name;
        double factor;
    };
    std::vector<Unit> units;
    for (const QString& part : unitText.split(u';')) {
        const qsizetype slash = part.indexOf(u'/');
        if (slash < 0) {
            units.push_back({part, 1.0});
            continue;
        }
        double factor = 0;
        if (!TryStrToFloat(part.mid(slash + 1), factor) || !(factor > 0)) continue;
        units.push_back({part.left(slash), factor});
    }
    QString out;
    const int oldRounding = std::fegetround();
    std::fesetround(FE_TONEAREST); // ties to even, as the platform's Round
    for (auto it = units.rbegin(); it != units.rend(); ++it) {
        const double whole = std::nearbyint(quantity / it->factor - 0.499);
        if (whole != 0) out += QString::number(qint64(whole)) + it->name;
        quantity -= whole * it->factor;
    }
    std::fesetround(oldRounding);
    return out;
}

QString CurrencyDigitText(double value) {
    if (value == 0) return QString(kCurrencyDigitCells, u' ');
    QString text = FormatFixed(value, 2, 9);
    text.remove(u'.');
    text = QString(kCurrencyDigitCells, u' ') + text;
    return text.right(kCurrencyDigitCells);
}

QString CurrencyCaptionLabels() {
    return QStringLiteral("千百十万千百十元角分");
}

double ReadCellNumber(const QString& text) {
    const long double sign = text.startsWith(u'-') ? -1 : 1;
    long double value = 0;
    for (QChar c : text)
        if (c >= u'0' && c <= u'9') value = value * 10 + (c.unicode() - u'0');
    const qsizetype point = text.indexOf(u'.');
    const qsizetype decimals = point < 0 ? 0 : text.size() - (point + 1);
    const QString upper = text.toUpper();
    const qsizetype e = upper.indexOf(u'E');
    int exponent = 0;
    bool negativeExponent = false;
    if (e >= 0) {
        QString rest = upper.mid(e + 1);
        if (rest.startsWith(u'-')) {
            negativeExponent = true;
            rest.remove(0, 1);
        }
        exponent = StrToInt(rest);
        if (exponent < 0) exponent = -exponent;
    }
    for (qsizetype i = 0; i < decimals; ++i)
        value /= 10;
    value *= sign;
    if (e >= 0) {
        quint32 power = 1; // 10^exponent as the 32-bit integer it was computed in
        for (int i = 0; i < exponent; ++i)
            power *= 10u;
        const auto p = static_cast<qint32>(power);
        if (negativeExponent) {
            if (p == 0)
                throw EConvertError(QStringLiteral("'%1' is not a valid floating point value").arg(text));
            value /= p;
        } else {
            value *= p;
        }
    }
    return double(value);
}

bool SameTextAscii(const QString& a, const QString& b) {
    if (a.size() != b.size()) return false;
    for (qsizetype i = 0; i < a.size(); ++i) {
        char16_t x = a[i].unicode();
        char16_t y = b[i].unicode();
        if (x >= u'a' && x <= u'z') x -= 32;
        if (y >= u'a' && y <= u'z') y -= 32;
        if (x != y) return false;
    }
    return true;
}

namespace {

struct NamedColor {
    quint32 value;
    const char* name;
};

// The platform's colour names, in its own order (standard, extended, system).
constexpr NamedColor kNamedColors[] = {
    {0x000000, "clBlack"},
    {0x000080, "clMaroon"},
    {0x008000, "clGreen"},
    {0x008080, "clOlive"},
    {0x800000, "clNavy"},
    {0x800080, "clPurple"},
    {0x808000, "clTeal"},
    {0x808080, "clGray"},
    {0xC0C0C0, "clSilver"},
    {0x0000FF, "clRed"},
    {0x00FF00, "clLime"},
    {0x00FFFF, "clYellow"},
    {0xFF0000, "clBlue"},
    {0xFF00FF, "clFuchsia"},
    {0xFFFF00, "clAqua"},
    {0xFFFFFF, "clWhite"},
    {0xC0DCC0, "clMoneyGreen"},
    {0xF0CAA6, "clSkyBlue"},
    {0xF0FBFF, "clCream"},
    {0xA4A0A0, "clMedGray"},
    {0x80000000, "clScrollBar"},
    {0x80000001, "clBackground"},
    {0x80000002, "clActiveCaption"},
    {0x80000003, "clInactiveCaption"},
    {0x80000004, "clMenu"},
    {0x80000005, "clWindow"},
    {0x80000006, "clWindowFrame"},
    {0x80000007, "clMenuText"},
    {0x80000008, "clWindowText"},
    {0x80000009, "clCaptionText"},
    {0x8000000A, "clActiveBorder"},
    {0x8000000B, "clInactiveBorder"},
    {0x8000000C, "clAppWorkSpace"},
    {0x8000000D, "clHighlight"},
    {0x8000000E, "clHighlightText"},
    {0x8000000F, "clBtnFace"},
    {0x80000010, "clBtnShadow"},
    {0x80000011, "clGrayText"},
    {0x80000012, "clBtnText"},
    {0x80000013, "clInactiveCaptionText"},
    {0x80000014, "clBtnHighlight"},
    {0x80000015, "cl3DDkShadow"},
    {0x80000016, "cl3DLight"},
    {0x80000017, "clInfoText"},
    {0x80000018, "clInfoBk"},
    {0x1FFFFFFF, "clNone"},
    {0x20000000, "clDefault"},
};

} // namespace

QString ColorValueToString(quint32 color) {
    for (const NamedColor& n : kNamedColors)
        if (n.value == color) return QString::fromLatin1(n.name);
    return QStringLiteral("$%1").arg(color, 8, 16, QLatin1Char('0')).toUpper();
}

bool StringToColorValue(const QString& text, quint32& color) {
    for (const NamedColor& n : kNamedColors) {
        if (SameTextAscii(text, QString::fromLatin1(n.name))) {
            color = n.value;
            return true;
        }
    }
    const QString t = text.trimmed();
    bool ok = false;
    quint32 v = 0;
    if (t.startsWith(u'$'))
        v = t.mid(1).toUInt(&ok, 16);
    else if (t.startsWith(QLatin1String("0x"), Qt::CaseInsensitive))
        v = t.mid(2).toUInt(&ok, 16);
    else {
        const qint64 d = t.toLongLong(&ok, 10);
        if (ok && (d < -2147483648LL || d > 0xFFFFFFFFLL)) ok = false;
        v = quint32(d);
    }
    if (!ok || t.isEmpty()) return false;
    color = v;
    return true;
}

} // namespace lnq
