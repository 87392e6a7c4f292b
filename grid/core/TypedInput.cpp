#include "grid/core/TypedInput.h"

#include "util/Plat_sysutils.h"

#include <algorithm>
#include <cstdint>

namespace lnq {

namespace {

bool isAsciiDigit(QChar c) {
    return c >= u'0' && c <= u'9';
}

// The code-column rule shared by the grid and the masked edit.
QChar codeKey(QChar key) {
    const char16_t u = key.unicode();
    if ((u >= u'0' && u <= u'9') || (u >= u'A' && u <= u'Z') || u == u'_' || u == kKeyBackspace ||
        u == u'*' || u == u'-' || u == u'.')
        return key;
    if (u >= u'a' && u <= u'z') return QChar(char16_t(u - (u'a' - u'A')));
    return QChar();
}

// Trim() of the platform treats every character up to the blank as blank.
bool blankAfterTrim(const QString& s) {
    return std::all_of(s.begin(), s.end(), [](QChar c) { return c.unicode() <= u' '; });
}

QString asciiUpper(const QString& s) {
    QString r = s;
    for (QChar& c : r)
        if (c >= u'a' && c <= u'z') c = QChar(char16_t(c.unicode() - (u'a' - u'A')));
    return r;
}

// 10^n as the platform computed it: repeated multiplication in a 32-bit
// integer that wraps silently (10^10 = 1410065408, 10^32 and beyond = 0).
std::int32_t wrappedPowerOfTen(std::int64_t n) {
    if (n >= 32) return 0;
    std::uint32_t p = 1;
    for (std::int64_t i = 0; i < n; ++i)
        p *= 10u;
    return static_cast<std::int32_t>(p);
}

QString spaces(qsizetype n) {
    return n > 0 ? QString(n, u' ') : QString();
}

} // namespace

QChar FoldFullWidth(QChar c) {
    const char16_t u = c.unicode();
    if (u >= 0xFF01 && u <= 0xFF5E) return QChar(char16_t(u - 0xFEE0));
    if (u == 0x3002) return QChar(u'.');
    return c;
}

QChar GridTypeCheck(TLNQDataTypePro pro, int dataDec, const QString& editorText, QChar key,
                    TypeCheckState& state) {
    if (IsNumericDataTypePro(pro)) {
        key = FoldFullWidth(key);
        state.previous = key;
        if (key == u'-') return editorText.contains(u'-') ? QChar() : key;
        if (key == u'.') return (dataDec >= 1 && !editorText.contains(u'.')) ? key : QChar();
        return isAsciiDigit(key) ? key : QChar();
    }
    if (pro == dpCode) return codeKey(key);
    return key;
}

QChar MaskEditTypeCheck(TLNQDataTypePro pro, int dataDec, const QString& editorText, QChar key) {
    if (pro == dpDecimal || pro == dpComboCount) {
        if (key == u'-') return editorText.contains(u'-') ? QChar() : key;
        if (key == u'.') return (dataDec < 1 || editorText.contains(u'.')) ? QChar() : key;
        return isAsciiDigit(key) ? key : QChar();
    }
    if (pro == dpCode) return codeKey(key);
    return key;
}

QString GridNumAdjust(TLNQDataTypePro pro, int dataDec, const QString& text) {
    if (!IsNumericDataTypePro(pro)) return text;

    QString s = text;
    bool negative = false;
    const qsizetype minus = s.indexOf(u'-');
    if (minus >= 0 && !(minus > 0 && s[minus - 1] == u'E')) {
        negative = true;
        s = s.mid(minus + 1);
    }
    s.remove(u' ');
    if (blankAfterTrim(s)) return text;

    const qsizetype point = s.indexOf(u'.');
    const qsizetype decimals = point < 0 ? 0 : s.size() - (point + 1);

    const QString upper = asciiUpper(s);
    const qsizetype e = upper.indexOf(u'E');
    int exponent = 0;
    QString mantissa = upper;
    if (e >= 0) {
        if (!TryStrToInt(upper.mid(e + 1), exponent)) return text;
        mantissa = upper.left(e + 1);
    }

    double value = 0;
    for (QChar c : mantissa)
        if (isAsciiDigit(c)) value = value * 10 + (c.unicode() - u'0');
    for (qsizetype i = 0; i < decimals; ++i)
        value /= 10;
    if (s.startsWith(u'-')) value = -value;
    const std::int64_t magnitude = exponent < 0 ? -std::int64_t(exponent) : std::int64_t(exponent);
    const std::int32_t power = wrappedPowerOfTen(magnitude);
    if (exponent >= 0) {
        value *= power;
    } else {
        // The platform raises a division-by-zero here; the guard keeps the text.
        if (power == 0) return text;
        value /= power;
    }

    QString result = FormatFixed(value, dataDec);
    if (negative) result.prepend(u'-');
    return result;
}

QString MaskEditNumAdjust(TLNQDataTypePro pro, int dataDec, int dataWidth, const QString& text) {
    if (pro != dpDecimal && pro != dpComboCount) return text;

    QString s = text;
    bool negative = false;
    const qsizetype minus = s.indexOf(u'-');
    if (minus >= 0 && minus < s.size() - 1) {
        negative = true;
        s = s.mid(minus + 1);
    }
    s.remove(u' ');
    if (dataDec > 0) {
        if (!s.contains(u'.')) s += u'.';
        s += QStringLiteral("000000");
        s.truncate(s.indexOf(u'.') + 1 + dataDec);
    }
    if (dataWidth > s.size()) s.prepend(spaces(std::min<qsizetype>(dataWidth - s.size(), 16)));
    if (negative) s.prepend(u'-');
    return s;
}

TFilteredCommit FilterCommitText(const QString& before, const QString& commit,
                                 const std::function<QChar(QChar key, const QString& textSoFar)>& filter) {
    TFilteredCommit out;
    QString sofar = before;
    for (QChar c : commit) {
        const QChar r = filter(c, sofar);
        if (r.isNull()) {
            out.Refused = true;
            continue;
        }
        out.Accepted += r;
        sofar += r;
    }
    return out;
}

} // namespace lnq
