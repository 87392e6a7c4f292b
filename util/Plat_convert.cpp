#include "util/Plat_convert.h"

#include "util/Exceptions.h"
#include "util/Gbk.h"
#include "util/Plat_sysutils.h"

#include <array>
#include <cfenv>
#include <cmath>

namespace lnq {

namespace {

const QString kDigits = QStringLiteral("零壹贰叁肆伍陆柒捌玖");
// Unit of each integer position; the last integer digit always takes "元".
const QString kUnits = QStringLiteral("万仟佰拾亿仟佰拾万仟佰拾元");
const QChar kZero = kDigits.at(0);
const QChar kYuan = kUnits.at(12);
const QChar kWan = kUnits.at(0);
const QChar kYi = kUnits.at(4);

bool isSectionUnit(const QString& unit) {
    return unit.size() == 1 && (unit[0] == kYuan || unit[0] == kWan || unit[0] == kYi);
}

QString lastChar(const QString& s) {
    return s.isEmpty() ? QString() : s.right(1);
}

QString capital(int digit) {
    return (digit >= 0 && digit <= 9) ? QString(kDigits.at(digit)) : QString();
}

// Round half to even, as the FPU does in its default mode.
long double roundEven(long double v) {
    const int mode = std::fegetround();
    std::fesetround(FE_TONEAREST);
    const long double r = std::nearbyintl(v);
    std::fesetround(mode);
    return r;
}

// First GBK code of each initial's range (first-level characters are ordered
// by pinyin); there are no I, U and V rows.
struct PinyinRow {
    quint16 code;
    char letter;
};
constexpr std::array<PinyinRow, 23> kPinyinRows{{
    {0xB0A1, 'A'}, {0xB0C5, 'B'}, {0xB2C1, 'C'}, {0xB4EE, 'D'}, {0xB6EA, 'E'}, {0xB7A2, 'F'},
    {0xB8C1, 'G'}, {0xB9FE, 'H'}, {0xBBF7, 'J'}, {0xBFA6, 'K'}, {0xC0AD, 'L'}, {0xC2E8, 'M'},
    {0xC4C3, 'N'}, {0xC5B6, 'O'}, {0xC5BE, 'P'}, {0xC6DA, 'Q'}, {0xC8BB, 'R'}, {0xC8F6, 'S'},
    {0xCBFA, 'T'}, {0xCDDA, 'W'}, {0xCEF4, 'X'}, {0xD1B9, 'Y'}, {0xD4D1, 'Z'},
}};

// Marker written for a two-byte character below the first pinyin code.
constexpr char kNoInitial = char(0xC0);

} // namespace

namespace {

// The written form from the parts the two entry points work out: the sign,
// whether the amount is above 0, the integer text (its length decides the
// first unit) and the rounded cents.
QString spell(bool negative, bool positive, const QString& intText, int centsValue) {
    QString result;
    QString previous; // the capital appended for the previous digit
    const qsizetype firstUnit = 13 - intText.size();
    for (qsizetype i = 0; i < intText.size(); ++i) {
        const int digit = intText[i].digitValue();
        const qsizetype unitIndex = firstUnit + i;
        QString d = capital(digit);
        QString u = (unitIndex >= 0 && unitIndex < kUnits.size()) ? QString(kUnits.at(unitIndex)) : QString();
        QString last = lastChar(result);
        const bool section = isSectionUnit(u);

        if (d == kZero && (last == kZero || previous == kZero || section)) d.clear();
        if (digit == 0 && !section) u.clear();
        if (section && last == kZero && digit == 0) {
            result.chop(1);
            last = lastChar(result);
            if (u == kYuan && last == kWan)
                u.clear();
            else if (u == kWan && last == kYi)
                u.clear();
        }
        result += d + u;
        previous = d;
    }
    if (result.endsWith(kWan)) result += kYuan;
    if (Gbk::byteLength(result) < 3) result.clear();

    if (centsValue < 10) {
        if (positive) {
            if (centsValue <= 0)
                result += QStringLiteral("整");
            else
                result += kZero + capital(centsValue) + QStringLiteral("分");
        }
    } else {
        const QString centsText = QString::number(centsValue);
        QString jiao = capital(centsText[0].digitValue());
        QString fen = capital(centsText[1].digitValue());
        if (jiao != kZero) jiao += QStringLiteral("角");
        if (fen == kZero)
            fen.clear();
        else
            fen += QStringLiteral("分");
        result += jiao + fen;
    }

    if (!positive) result = QStringLiteral("零元整");
    return (negative ? QStringLiteral("负") : QString()) + result;
}

[[noreturn]] void notAnInteger(const QString& text) {
    throw EConvertError(QStringLiteral("'%1' is not a valid integer value").arg(text));
}

// Rounds a non-negative decimal integer given by its digits and the digits
// after them to the nearest integer, ties to even. digits holds at most 18
// digits (the caller bounds the amount).
qint64 roundDigitsEven(QStringView digits, QStringView rest) {
    qint64 v = 0;
    for (QChar c : digits)
        v = v * 10 + c.digitValue();
    if (rest.isEmpty() || rest[0] < u'5') return v;
    bool above = rest[0] > u'5';
    for (qsizetype i = 1; i < rest.size() && !above; ++i)
        above = rest[i] != u'0';
    if (above || (v & 1)) ++v;
    return v;
}

} // namespace

QString TUtils_Convert::CurrencyToCapitalization2(long double amount) {
    const bool negative = amount < 0;
    if (negative) amount = -amount;

    QString text = FloatToStr(amount);
    // The exponent form ("1.5E15", "1.5E-6") has no integer text to spell:
    // its mantissa must not pass for one.
    if (text.contains(u'E')) notAnInteger(text);
    if (amount > 0 && amount < 1) text.prepend(u'0');
    const qsizetype dot = text.indexOf(u'.');
    const QString intText = dot < 0 ? text : text.left(dot);
    const int intPart = StrToInt(intText); // EConvertError beyond the integer range

    long double cents = 0;
    if (amount > 0 && amount >= 1)
        cents = roundEven((amount - intPart) * 100);
    else if (amount > 0)
        cents = roundEven(amount * 100);
    else
        cents = roundEven((amount - intPart) * 100);
    return spell(negative, amount > 0, intText, int(cents));
}

QString TUtils_Convert::CurrencyTextToCapitalization2(const QString& amount) {
    // The number's grammar is StrToFloat's: blanks around, a sign, digits with
    // one optional ".", an optional exponent.
    const auto invalid = [&]() {
        throw EConvertError(QStringLiteral("'%1' is not a valid floating point value").arg(amount));
    };
    qsizetype i = 0;
    qsizetype n = amount.size();
    while (i < n && amount[i] == u' ')
        ++i;
    while (n > i && amount[n - 1] == u' ')
        --n;
    const QStringView text(amount); // the number is text[i0, n)
    const qsizetype i0 = i;
    bool negative = false;
    if (i < n && (text[i] == u'+' || text[i] == u'-')) negative = text[i++] == u'-';
    QString digits;       // every mantissa digit
    qsizetype point = -1; // digits before the "."
    for (; i < n; ++i) {
        const QChar c = text[i];
        if (c >= u'0' && c <= u'9') {
            digits += c;
        } else if (c == u'.' && point < 0) {
            point = digits.size();
        } else {
            break;
        }
    }
    if (digits.isEmpty()) invalid();
    if (point < 0) point = digits.size();
    qint64 exponent = 0;
    if (i < n && (text[i] == u'e' || text[i] == u'E')) {
        ++i;
        bool expNegative = false;
        if (i < n && (text[i] == u'+' || text[i] == u'-')) expNegative = text[i++] == u'-';
        if (i >= n) invalid();
        for (; i < n && text[i] >= u'0' && text[i] <= u'9'; ++i)
            exponent = qMin<qint64>(exponent * 10 + text[i].digitValue(), 1'000'000); // beyond any range
        if (expNegative) exponent = -exponent;
    }
    if (i != n) invalid();

    // value = 0.D * 10^e with D the significant digits.
    qsizetype lead = 0;
    while (lead < digits.size() && digits[lead] == u'0')
        ++lead;
    if (lead == digits.size()) return spell(false, false, QStringLiteral("0"), 0);
    QString sig = digits.mid(lead);
    while (sig.endsWith(u'0'))
        sig.chop(1);
    const qint64 e = qint64(point) - lead + exponent;

    // The integer text, from the amount written with 15 significant digits
    // (half away from zero) as the float path writes it.
    QString d15 = sig.left(15);
    qint64 e15 = e;
    if (sig.size() > 15 && sig[15] >= u'5') {
        qsizetype k = d15.size() - 1;
        while (k >= 0 && d15[k] == u'9')
            d15[k--] = u'0';
        if (k < 0) {
            d15.prepend(u'1');
            d15.chop(1);
            ++e15;
        } else {
            d15[k] = QChar(d15[k].unicode() + 1);
        }
    }
    // Plain digits only from 0.00001 up to 15 integer digits; anything else
    // would be written in exponent form, which has no integer text.
    if (e15 > 15 || e15 < -4) notAnInteger(text.mid(i0, n - i0).toString());
    const QString intText =
        e15 <= 0 ? QStringLiteral("00") : d15.left(e15).leftJustified(int(e15), u'0', true);
    const int intPart = StrToInt(intText); // EConvertError beyond the integer range

    // Cents from the exact value: round(value * 100) - intPart * 100, ties to
    // even. value * 100 has e + 2 integer digits, at most 12 here.
    const qint64 k = e + 2;
    qint64 hundredths = 0;
    if (k >= 0) {
        const QString whole = sig.left(k).leftJustified(int(k), u'0', true);
        hundredths = roundDigitsEven(whole, QStringView(sig).mid(qMin<qsizetype>(k, sig.size())));
    }
    const qint64 cents = hundredths - qint64(intPart) * 100;
    return spell(negative, true, intText, int(cents));
}

void TUtils_Convert::PStrToPy(const QByteArray& text, QByteArray& result) {
    result.clear();
    const qsizetype n = text.size();
    qsizetype i = 0;
    while (i < n) {
        const auto b = static_cast<unsigned char>(text[i]);
        if (b <= 128) {
            const char c = (b >= 'a' && b <= 'z') ? char(b - 'a' + 'A') : char(b);
            if ((c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9')) result += c;
            ++i;
            continue;
        }
        // A lone lead byte at the end sorts below every code with that lead
        // byte, as the shorter byte string does.
        const int key = (b << 8) | (i + 1 < n ? static_cast<unsigned char>(text[i + 1]) : 0);
        qsizetype row = 0;
        while (row < qsizetype(kPinyinRows.size()) && kPinyinRows[row].code <= key)
            ++row;
        if (row == 0)
            result += kNoInitial;
        else
            result += kPinyinRows[row - 1].letter;
        i += 2;
    }
}

void TUtils_Convert::PStrToPy(const QString& text, QByteArray& result) {
    PStrToPy(Gbk::encode(text), result);
}

QByteArray TUtils_Convert::StrToPY(const QByteArray& text) {
    QByteArray result;
    PStrToPy(text, result);
    return result;
}

QByteArray TUtils_Convert::StrToPY(const QString& text) {
    return StrToPY(Gbk::encode(text));
}

QString TUtils_Convert::FloatToStrF(long double value, int format, int precision, int digits) {
    Q_UNUSED(precision); // kept for the classic signature; the digits decide
    switch (format) {
    case ffNumber:
        return FormatNumber(value, digits);
    case ffCurrency:
        return FormatCurrency(value, digits);
    default:
        return FormatFixed(value, digits);
    }
}

QString TUtils_Convert::GetCode(const QString& text) {
    const qsizetype p = text.indexOf(u']') + 1; // 1-based, 0 when absent
    if (p == 0) return text;
    const qsizetype count = p - 2;
    return count > 0 ? text.mid(1, count) : QString();
}

QString TUtils_Convert::GetValue(const QString& text) {
    if (text.contains(u']')) return text;
    return text.left(1000);
}

// ---------------------------------------------------------------- search text

void TQuickSearchText::SetText(const QString& text) {
    m_text = text.trimmed();
    m_initials.clear();
    bool ascii = !m_text.isEmpty();
    for (const QChar c : m_text)
        ascii = ascii && c.unicode() < 128 && c.isLetterOrNumber();
    // Initials are upper-case letters and digits: only such a text can be them.
    if (ascii) m_initials = m_text.toUpper().toLatin1();
}

bool TQuickSearchText::Matches(const QString& value) const {
    if (m_text.isEmpty() || value.contains(m_text, Qt::CaseInsensitive)) return true;
    if (m_initials.isEmpty()) return false;
    auto it = m_initialsOf.constFind(value);
    if (it == m_initialsOf.constEnd()) {
        if (m_initialsOf.size() >= kCacheLimit) m_initialsOf.clear();
        it = m_initialsOf.insert(value, TUtils_Convert::StrToPY(value));
    }
    return it->contains(m_initials);
}

} // namespace lnq
