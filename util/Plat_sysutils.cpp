#include "util/Plat_sysutils.h"

#include "util/Exceptions.h"

#include <QLocale>
#include <charconv>
#include <cmath>
#include <limits>
#include <string>

namespace lnq {

namespace {

// ---------------------------------------------------------------------------
// Integer scan shared by Val and StrToInt.

struct IntScan {
    quint64 magnitude = 0;
    bool negative = false;
    bool hex = false;
    int errorPos = 0; // 1-based, 0 = clean
};

int hexDigit(QChar c) {
    const char16_t u = c.unicode();
    if (u >= '0' && u <= '9') return u - '0';
    if (u >= 'a' && u <= 'f') return u - 'a' + 10;
    if (u >= 'A' && u <= 'F') return u - 'A' + 10;
    return -1;
}

int decDigit(QChar c) {
    const char16_t u = c.unicode();
    return (u >= '0' && u <= '9') ? u - '0' : -1;
}

// maxPositive / maxNegative bound decimal magnitudes; maxHex bounds hexadecimal
// ones, which wrap into the signed type the way the runtime's casts do.
IntScan scanInt(const QString& s, quint64 maxPositive, quint64 maxNegative, quint64 maxHex) {
    IntScan r;
    const qsizetype n = s.size();
    qsizetype i = 0;
    while (i < n && s[i] == u' ')
        ++i;
    if (i < n && (s[i] == u'-' || s[i] == u'+')) {
        r.negative = s[i] == u'-';
        ++i;
    }
    if (i < n && (s[i] == u'$' || s[i] == u'x' || s[i] == u'X')) {
        r.hex = true;
        ++i;
    } else if (i + 1 < n && s[i] == u'0' && (s[i + 1] == u'x' || s[i + 1] == u'X')) {
        r.hex = true;
        i += 2;
    }
    const quint64 base = r.hex ? 16 : 10;
    const quint64 limit = r.hex ? maxHex : (r.negative ? maxNegative : maxPositive);
    int digits = 0;
    for (; i < n; ++i) {
        const int d = r.hex ? hexDigit(s[i]) : decDigit(s[i]);
        if (d < 0) break;
        if (r.magnitude > (limit - quint64(d)) / base) {
            r.errorPos = int(i) + 1;
            return r;
        }
        r.magnitude = r.magnitude * base + quint64(d);
        ++digits;
    }
    if (digits == 0 || i < n) r.errorPos = int(i) + 1;
    return r;
}

qint32 toInt32(const IntScan& r) {
    quint32 v = quint32(r.magnitude); // hexadecimal up to 0xFFFFFFFF wraps like a cast
    if (r.negative) v = 0u - v;
    return qint32(v);
}

qint64 toInt64(const IntScan& r) {
    quint64 v = r.magnitude;
    if (r.negative) v = 0u - v;
    return qint64(v);
}

IntScan scanInt32(const QString& s) {
    return scanInt(s, 2147483647u, 2147483648u, 0xFFFFFFFFu);
}

IntScan scanInt64(const QString& s) {
    return scanInt(s, quint64(std::numeric_limits<qint64>::max()), quint64(1) << 63,
                   std::numeric_limits<quint64>::max());
}

[[noreturn]] void invalidInteger(const QString& text) {
    throw EConvertError(QStringLiteral("'%1' is not a valid integer value").arg(text));
}

[[noreturn]] void invalidFloat(const QString& text) {
    throw EConvertError(QStringLiteral("'%1' is not a valid floating point value").arg(text));
}

// ---------------------------------------------------------------------------
// Float scan shared by Val and StrToFloat.

struct FloatScan {
    double value = 0;
    qsizetype end = 0; // index after the last character of the valid number
    int errorPos = 0;  // 1-based, 0 = the number ran to the end of the text
    bool outOfRange = false;
};

FloatScan scanFloat(const QString& s) {
    FloatScan r;
    const qsizetype n = s.size();
    qsizetype i = 0;
    while (i < n && s[i] == u' ')
        ++i;
    std::string ascii;
    if (i < n && (s[i] == u'-' || s[i] == u'+')) {
        if (s[i] == u'-') ascii += '-';
        ++i;
    }
    const qsizetype mantissaStart = i;
    std::string intDigits, fracDigits;
    while (i < n && decDigit(s[i]) >= 0)
        intDigits += char(s[i++].unicode());
    qsizetype afterMantissa = i;
    if (i < n && s[i] == u'.') {
        ++i;
        while (i < n && decDigit(s[i]) >= 0)
            fracDigits += char(s[i++].unicode());
        afterMantissa = i;
    }
    if (intDigits.empty() && fracDigits.empty()) {
        r.end = mantissaStart;
        r.errorPos = int(mantissaStart) + 1;
        return r;
    }
    ascii += intDigits.empty() ? std::string("0") : intDigits;
    if (!fracDigits.empty()) ascii += '.' + fracDigits;
    r.end = afterMantissa;
    if (i < n && (s[i] == u'e' || s[i] == u'E')) {
        qsizetype j = i + 1;
        std::string exp = "e";
        if (j < n && (s[j] == u'-' || s[j] == u'+')) {
            exp += char(s[j].unicode());
            ++j;
        }
        const qsizetype expDigitsStart = j;
        while (j < n && decDigit(s[j]) >= 0)
            exp += char(s[j++].unicode());
        if (j == expDigitsStart) {
            // "1e" / "1e+": the exponent needs a digit here.
            r.errorPos = int(j) + 1;
        } else {
            ascii += exp;
            r.end = j;
        }
        i = j;
    }
    if (r.errorPos == 0 && r.end < n) r.errorPos = int(r.end) + 1;

    double v = 0;
    const auto res = std::from_chars(ascii.data(), ascii.data() + ascii.size(), v);
    if (res.ec == std::errc::result_out_of_range) {
        // Underflow reads as zero; overflow has no value.
        const bool negative = ascii.front() == '-';
        // The exponent decides which of the two it was.
        const auto e = ascii.find('e');
        const bool tiny = e != std::string::npos && ascii.size() > e + 1 && ascii[e + 1] == '-';
        if (tiny) {
            v = negative ? -0.0 : 0.0;
        } else {
            r.outOfRange = true;
            v = negative ? -HUGE_VAL : HUGE_VAL;
        }
    }
    r.value = v;
    return r;
}

// ---------------------------------------------------------------------------
// Float to text.

// Significant digits (no trailing zeros) and the decimal exponent of the first
// one, for a finite non-zero value rounded to `precision` significant digits.
template <typename F>
void decimalDigits(F value, int precision, std::string& digits, int& exponent, bool& negative) {
    char buf[128];
    const auto res =
        std::to_chars(buf, buf + sizeof buf, value, std::chars_format::scientific, precision - 1);
    const std::string text(buf, res.ptr);
    std::size_t p = 0;
    negative = text[0] == '-';
    if (negative) p = 1;
    const std::size_t e = text.find('e');
    digits.clear();
    for (std::size_t k = p; k < e; ++k)
        if (text[k] != '.') digits += text[k];
    exponent = std::stoi(text.substr(e + 1));
    while (digits.size() > 1 && digits.back() == '0')
        digits.pop_back();
}

template <typename F> QString generalText(F value, int precision) {
    if (std::isnan(value)) return QStringLiteral("NAN");
    if (std::isinf(value)) return value > 0 ? QStringLiteral("INF") : QStringLiteral("-INF");
    if (value == 0) return QStringLiteral("0");
    precision = qBound(1, precision, 18);
    std::string digits;
    int exponent = 0;
    bool negative = false;
    decimalDigits(value, precision, digits, exponent, negative);
    std::string out = negative ? "-" : "";
    if (exponent >= precision || exponent < -5) {
        out += digits[0];
        if (digits.size() > 1) out += '.' + digits.substr(1);
        out += 'E' + std::to_string(exponent);
    } else if (exponent >= 0) {
        const std::size_t intLen = std::size_t(exponent) + 1;
        if (digits.size() <= intLen) {
            out += digits + std::string(intLen - digits.size(), '0');
        } else {
            out += digits.substr(0, intLen) + '.' + digits.substr(intLen);
        }
    } else {
        out += "0." + std::string(std::size_t(-exponent - 1), '0') + digits;
    }
    return QString::fromLatin1(out);
}

// Plain fixed text with "." and "-". Like the classic runtime, the value is
// first taken to 18 significant decimal digits and then rounded half away from
// zero at the requested place, so 0.125 gives "0.13" and 2.5 at no decimals
// gives "3", while 2.675 (stored as 2.67499999...) stays "2.67". A value that
// rounds to zero loses its sign.
QString fixedText(long double value, int decimals) {
    decimals = qBound(0, decimals, 18);
    if (!std::isfinite(value) || std::fabs(value) >= 1e18L) return generalText(value, 15);
    const bool negative = value < 0;
    const long double magnitude = std::fabs(value);
    std::string digits = "0"; // significant digits d1 d2 ... ; value = 0.d1d2... x 10^(exp10 + 1)
    int exp10 = 0;
    if (magnitude != 0) {
        char buf[64];
        const auto res = std::to_chars(buf, buf + sizeof buf, magnitude, std::chars_format::scientific, 17);
        const std::string sci(buf, res.ptr);
        const std::size_t e = sci.find('e');
        digits = sci.substr(0, 1) + sci.substr(2, e - 2);
        exp10 = std::stoi(sci.substr(e + 1));
    }
    // m = round(magnitude x 10^decimals) as a digit string.
    const int keep = exp10 + 1 + decimals;
    std::string m;
    if (keep <= 0) {
        m = (keep == 0 && digits[0] >= '5') ? "1" : "0";
    } else if (keep >= int(digits.size())) {
        m = digits + std::string(std::size_t(keep) - digits.size(), '0');
    } else {
        m = digits.substr(0, std::size_t(keep));
        if (digits[std::size_t(keep)] >= '5') {
            int i = keep - 1;
            while (i >= 0 && m[std::size_t(i)] == '9')
                m[std::size_t(i--)] = '0';
            if (i < 0)
                m.insert(m.begin(), '1');
            else
                ++m[std::size_t(i)];
        }
    }
    while (m.size() > std::size_t(decimals) + 1 && m[0] == '0')
        m.erase(0, 1);
    if (m.size() < std::size_t(decimals) + 1) m.insert(0, std::size_t(decimals) + 1 - m.size(), '0');
    std::string out = m.substr(0, m.size() - std::size_t(decimals));
    if (decimals > 0) out += '.' + m.substr(m.size() - std::size_t(decimals));
    if (negative && m.find_first_not_of('0') != std::string::npos) out.insert(0, 1, '-');
    return QString::fromLatin1(out.data(), qsizetype(out.size()));
}

// Fixed text with the default locale's separators and three-digit groups.
QString numberText(long double value, int decimals) {
    const QString plain = fixedText(value, decimals);
    if (plain.contains(u'E') || plain.contains(u'N') || plain.contains(u'I')) return plain;
    const QLocale loc;
    const bool negative = plain.startsWith(u'-');
    const QString body = negative ? plain.mid(1) : plain;
    const qsizetype dot = body.indexOf(u'.');
    const QString intPart = dot < 0 ? body : body.left(dot);
    QString out;
    for (qsizetype k = 0; k < intPart.size(); ++k) {
        if (k > 0 && (intPart.size() - k) % 3 == 0) out += loc.groupSeparator();
        out += intPart[k];
    }
    if (dot >= 0) out += loc.decimalPoint() + body.mid(dot + 1);
    return negative ? loc.negativeSign() + out : out;
}

// The locale's currency pattern around numberText: the locale formats a probe
// amount and the number takes the probe's place.
QString currencyText(long double value, int decimals) {
    const QString number = numberText(std::fabs(value), decimals);
    const bool negative = value < 0 && !fixedText(value, decimals).startsWith(u'0');
    const QLocale loc;
    const QString probe = loc.toCurrencyString(negative ? -7.0 : 7.0, QString(), 0);
    const qsizetype at = probe.indexOf(u'7');
    if (at < 0) return number;
    return probe.left(at) + number + probe.mid(at + 1);
}

QString pad(const QString& text, int width, bool left) {
    if (width <= text.size()) return text;
    const QString fill(width - text.size(), u' ');
    return left ? text + fill : fill + text;
}

QString withMinDigits(quint64 magnitude, bool negative, int minDigits, int base, bool upper) {
    QString digits = QString::number(magnitude, base);
    if (upper) digits = digits.toUpper();
    if (digits.size() < minDigits) digits.prepend(QString(minDigits - digits.size(), u'0'));
    return negative ? u'-' + digits : digits;
}

bool isIntegerVariant(const QVariant& v) {
    switch (v.metaType().id()) {
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::ULongLong:
    case QMetaType::Long:
    case QMetaType::ULong:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Char:
    case QMetaType::SChar:
    case QMetaType::UChar:
        return true;
    default:
        return false;
    }
}

bool isFloatVariant(const QVariant& v) {
    const int id = v.metaType().id();
    return id == QMetaType::Double || id == QMetaType::Float || isIntegerVariant(v);
}

} // namespace

// ---------------------------------------------------------------------------

int StrToInt(const QString& text) {
    const IntScan r = scanInt32(text);
    if (r.errorPos != 0) invalidInteger(text);
    return toInt32(r);
}

qint64 StrToInt64(const QString& text) {
    const IntScan r = scanInt64(text);
    if (r.errorPos != 0) invalidInteger(text);
    return toInt64(r);
}

int StrToIntDef(const QString& text, int defaultValue) {
    int v = 0;
    return TryStrToInt(text, v) ? v : defaultValue;
}

bool TryStrToInt(const QString& text, int& value) {
    const IntScan r = scanInt32(text);
    if (r.errorPos != 0) return false;
    value = toInt32(r);
    return true;
}

bool TryStrToFloat(const QString& text, double& value) {
    // Unlike Val, blanks after the number are allowed.
    qsizetype end = text.size();
    while (end > 0 && text[end - 1] == u' ')
        --end;
    const FloatScan r = scanFloat(text.left(end));
    if (r.errorPos != 0 || r.outOfRange) return false;
    value = r.value;
    return true;
}

double StrToFloat(const QString& text) {
    double v = 0;
    if (!TryStrToFloat(text, v)) invalidFloat(text);
    return v;
}

double StrToFloatDef(const QString& text, double defaultValue) {
    double v = 0;
    return TryStrToFloat(text, v) ? v : defaultValue;
}

int ValInt(const QString& text, int* errorPos) {
    const IntScan r = scanInt32(text);
    if (errorPos) *errorPos = r.errorPos;
    return toInt32(r);
}

double ValFloat(const QString& text, int* errorPos) {
    const FloatScan r = scanFloat(text);
    if (errorPos) *errorPos = r.outOfRange && r.errorPos == 0 ? int(text.size()) + 1 : r.errorPos;
    return r.value;
}

QString FloatToStr(double value) {
    return generalText(value, 15);
}

QString FloatToStr(long double value) {
    return generalText(value, 15);
}

QString FormatInt(qint64 value, int width) {
    return pad(QString::number(value), width, false);
}

QString FormatFixed(long double value, int decimals, int width) {
    return pad(fixedText(value, decimals), width, false);
}

QString FormatNumber(long double value, int decimals, int width) {
    return pad(numberText(value, decimals), width, false);
}

QString FormatCurrency(long double value, int decimals, int width) {
    return pad(currencyText(value, decimals), width, false);
}

QString Format(const QString& format, const QVariantList& args) {
    auto fail = [&]() -> QString {
        throw EConvertError(QStringLiteral("Format '%1' invalid or incompatible with argument").arg(format));
    };
    QString out;
    qsizetype argIndex = 0;
    auto nextArg = [&]() -> const QVariant& {
        if (argIndex >= args.size()) fail();
        return args[argIndex++];
    };
    auto nextInt = [&]() -> int {
        const QVariant& v = nextArg();
        if (!isIntegerVariant(v)) fail();
        return int(v.toLongLong());
    };
    const qsizetype n = format.size();
    for (qsizetype i = 0; i < n; ++i) {
        const QChar c = format[i];
        if (c != u'%') {
            out += c;
            continue;
        }
        if (++i >= n) fail();
        if (format[i] == u'%') {
            out += u'%';
            continue;
        }
        bool left = false;
        if (format[i] == u'-') {
            left = true;
            if (++i >= n) fail();
        }
        int width = 0;
        if (format[i] == u'*') {
            width = nextInt();
            ++i;
        } else {
            while (i < n && decDigit(format[i]) >= 0)
                width = width * 10 + decDigit(format[i++]);
        }
        int prec = -1;
        if (i < n && format[i] == u'.') {
            ++i;
            if (i < n && format[i] == u'*') {
                prec = nextInt();
                ++i;
            } else {
                prec = 0;
                while (i < n && decDigit(format[i]) >= 0)
                    prec = prec * 10 + decDigit(format[i++]);
            }
        }
        if (i >= n) fail();
        if (width < 0) {
            left = true;
            width = -width;
        }
        const char16_t type = QChar::toLower(format[i].unicode());
        const QVariant& arg = nextArg();
        QString text;
        switch (type) {
        case u'd': {
            if (!isIntegerVariant(arg)) fail();
            if (arg.metaType().id() == QMetaType::ULongLong) {
                text = withMinDigits(arg.toULongLong(), false, prec, 10, false);
            } else {
                const qint64 v = arg.toLongLong();
                text = withMinDigits(v < 0 ? 0u - quint64(v) : quint64(v), v < 0, prec, 10, false);
            }
            break;
        }
        case u'u':
        case u'x': {
            if (!isIntegerVariant(arg)) fail();
            const qint64 v = arg.toLongLong();
            quint64 bits = arg.metaType().id() == QMetaType::ULongLong ? arg.toULongLong() : quint64(v);
            if (v < 0 && v >= std::numeric_limits<qint32>::min()) bits = quint32(qint32(v));
            text = withMinDigits(bits, false, prec, type == u'x' ? 16 : 10, true);
            break;
        }
        case u'f':
            if (!isFloatVariant(arg)) fail();
            text = fixedText(arg.toDouble(), prec < 0 ? 2 : prec);
            break;
        case u'n':
            if (!isFloatVariant(arg)) fail();
            text = numberText(arg.toDouble(), prec < 0 ? 2 : prec);
            break;
        case u'm':
            if (!isFloatVariant(arg)) fail();
            text = currencyText(arg.toDouble(), prec < 0 ? 2 : prec);
            break;
        case u'g':
            if (!isFloatVariant(arg)) fail();
            text = generalText(arg.toDouble(), prec < 0 ? 15 : prec);
            break;
        case u'e': {
            if (!isFloatVariant(arg)) fail();
            const double v = arg.toDouble();
            if (!std::isfinite(v)) {
                text = generalText(v, 15);
                break;
            }
            const int digits = qBound(1, prec < 0 ? 15 : prec, 18);
            char buf[128];
            const auto res =
                std::to_chars(buf, buf + sizeof buf, v, std::chars_format::scientific, digits - 1);
            const std::string t(buf, res.ptr);
            const std::size_t e = t.find('e');
            const int exponent = std::stoi(t.substr(e + 1));
            std::string expText = std::to_string(std::abs(exponent));
            if (expText.size() < 3) expText.insert(0, 3 - expText.size(), '0');
            text = QString::fromLatin1(t.substr(0, e) + 'E' + (exponent < 0 ? '-' : '+') + expText);
            break;
        }
        case u's':
            if (!arg.canConvert<QString>() || isFloatVariant(arg)) fail();
            text = arg.toString();
            if (prec >= 0 && text.size() > prec) text.truncate(prec);
            break;
        default:
            fail();
        }
        out += pad(text, width, left);
    }
    return out;
}

} // namespace lnq
