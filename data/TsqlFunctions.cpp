#include "data/TsqlFunctions.h"

#include "data/Collation.h"
#include "data/TsqlDialect.h"
#include "util/Clock.h"

#include <QUuid>
#include <cmath>
#include <limits>
#include <memory>
#include <sqlite3.h>

namespace lnq::tsql {

namespace {

constexpr qint64 kMsPerDay = 86400000;
constexpr qint64 kMaxResultChars = 100'000'000; // REPLICATE and friends never allocate beyond this

const char* const kBigintOverflow = "Arithmetic overflow error converting expression to data type bigint.";
const char* const kFloatOverflow = "Arithmetic overflow error converting expression to data type float.";
const char* const kInvalidFloatOp = "An invalid floating point operation occurred.";

qint64 julian1900() {
    static const qint64 jd = QDate(1900, 1, 1).toJulianDay();
    return jd;
}

qint64 floorDiv(qint64 a, qint64 b) {
    qint64 q = a / b;
    if ((a % b != 0) && ((a < 0) != (b < 0))) --q;
    return q;
}

// ---------------------------------------------------------------- text parsing

struct Cursor {
    QStringView s;
    qsizetype i = 0;
    bool end() const { return i >= s.size(); }
    QChar ch() const { return end() ? QChar() : s[i]; }
    int digits(int maxLen, int& value) {
        int count = 0;
        value = 0;
        while (!end() && count < maxLen && s[i] >= u'0' && s[i] <= u'9') {
            value = value * 10 + (s[i].unicode() - u'0');
            ++i;
            ++count;
        }
        return count;
    }
    void spaces() {
        while (!end() && s[i].isSpace())
            ++i;
    }
};

bool parseTime(Cursor& c, qint64& ms) {
    int h = 0, mi = 0, sec = 0, frac = 0;
    if (c.digits(2, h) == 0) return false;
    if (c.ch() != u':') return false;
    ++c.i;
    if (c.digits(2, mi) != 2) return false;
    if (c.ch() == u':') {
        ++c.i;
        if (c.digits(2, sec) != 2) return false;
        if (c.ch() == u'.' || c.ch() == u':') {
            ++c.i;
            int v = 0;
            const int n = c.digits(3, v);
            if (n == 0) return false;
            frac = n == 1 ? v * 100 : n == 2 ? v * 10 : v;
            int skip = 0;
            c.digits(4, skip); // datetime2 precision beyond milliseconds is dropped
        }
    }
    c.spaces();
    if (!c.end()) {
        const QChar a = c.ch().toUpper();
        if ((a == u'A' || a == u'P') && c.i + 1 < c.s.size() && c.s[c.i + 1].toUpper() == u'M') {
            if (h < 1 || h > 12) return false;
            if (a == u'A' && h == 12) h = 0;
            if (a == u'P' && h < 12) h += 12;
            c.i += 2;
        }
    }
    if (h > 23 || mi > 59 || sec > 59) return false;
    ms = ((qint64(h) * 60 + mi) * 60 + sec) * 1000 + frac;
    return true;
}

QString monthName(int m, bool abbreviated) {
    static const char* names[] = {"January", "February", "March",     "April",   "May",      "June",
                                  "July",    "August",   "September", "October", "November", "December"};
    const QString n = QString::fromLatin1(names[m - 1]);
    return abbreviated ? n.left(3) : n;
}

QString weekdayName(const QDate& d) {
    static const char* names[] = {"Monday", "Tuesday",  "Wednesday", "Thursday",
                                  "Friday", "Saturday", "Sunday"};
    return QString::fromLatin1(names[d.dayOfWeek() - 1]);
}

// ---------------------------------------------------------------- sqlite helpers

QString qstr(sqlite3_value* v) {
    const void* p = sqlite3_value_text16(v);
    const int bytes = sqlite3_value_bytes16(v);
    if (!p) return QString();
    return QString(static_cast<const QChar*>(p), bytes / 2);
}

void resultText(sqlite3_context* ctx, const QString& s) {
    sqlite3_result_text16(ctx, s.utf16(), int(s.size() * 2), SQLITE_TRANSIENT);
}

void resultError(sqlite3_context* ctx, const QString& msg) {
    const QByteArray u = msg.toUtf8();
    sqlite3_result_error(ctx, u.constData(), int(u.size()));
}

bool anyNull(int argc, sqlite3_value** argv) {
    for (int i = 0; i < argc; ++i)
        if (sqlite3_value_type(argv[i]) == SQLITE_NULL) return true;
    return false;
}

enum class Conv { Ok, Null, Error, Range };

// Strict integer conversion of text as SQL Server does it for int targets.
bool textToInt(const QString& text, qint64& out) {
    const QString t = text.trimmed();
    // The number parser stops at a zero character: "2\0x" must not read as 2.
    if (t.contains(QChar(0))) return false;
    if (t.isEmpty()) {
        out = 0; // '' converts to 0 in SQL Server
        return true;
    }
    bool ok = false;
    out = t.toLongLong(&ok);
    if (!ok && t.startsWith(u'+')) out = t.mid(1).toLongLong(&ok);
    return ok;
}

bool textToFloat(const QString& text, double& out) {
    const QString t = text.trimmed();
    if (t.contains(QChar(0))) return false;
    if (t.isEmpty()) {
        out = 0;
        return true;
    }
    bool ok = false;
    out = t.toDouble(&ok);
    return ok && std::isfinite(out);
}

QString truncatedForMessage(const QString& s) {
    return s.size() > 60 ? s.left(57) + QStringLiteral("...") : s;
}

Conv valueToDateTime(sqlite3_value* v, DateTimeValue& out, int style = -1) {
    switch (sqlite3_value_type(v)) {
    case SQLITE_NULL:
        return Conv::Null;
    case SQLITE_INTEGER:
    case SQLITE_FLOAT: {
        const double days = sqlite3_value_double(v);
        if (!std::isfinite(days) || std::fabs(days) > 3.0e6) return Conv::Error;
        const double whole = std::floor(days);
        out.date = QDate::fromJulianDay(julian1900() + qint64(whole));
        out.msOfDay = qint64(std::llround((days - whole) * double(kMsPerDay)));
        if (out.msOfDay >= kMsPerDay) {
            out.date = out.date.addDays(1);
            out.msOfDay -= kMsPerDay;
        }
        return inDateTimeRange(out) ? Conv::Ok : Conv::Range;
    }
    case SQLITE_TEXT: {
        auto p = parseDateTime(qstr(v), style);
        if (!p) return Conv::Error;
        if (!inDateTimeRange(*p)) return Conv::Range;
        out = *p;
        return Conv::Ok;
    }
    default:
        return Conv::Error;
    }
}

const char* kDateConversionError =
    "Conversion failed when converting date and/or time from character string.";

// Reads a date-time argument; on NULL or error the result is already set.
bool dateArg(sqlite3_context* ctx, sqlite3_value* v, DateTimeValue& out, int style = -1) {
    switch (valueToDateTime(v, out, style)) {
    case Conv::Ok:
        return true;
    case Conv::Null:
        sqlite3_result_null(ctx);
        return false;
    case Conv::Error:
        sqlite3_result_error(ctx, kDateConversionError, -1);
        return false;
    case Conv::Range:
        sqlite3_result_error(ctx, kDateTimeRangeError, -1);
        return false;
    }
    return false;
}

qint64 totalMs(const DateTimeValue& v) {
    return v.date.toJulianDay() * kMsPerDay + v.msOfDay;
}

DateTimeValue fromTotalMs(qint64 ms) {
    DateTimeValue v;
    v.date = QDate::fromJulianDay(floorDiv(ms, kMsPerDay));
    v.msOfDay = ms - floorDiv(ms, kMsPerDay) * kMsPerDay;
    return v;
}

bool validDate(const DateTimeValue& v) {
    return inDateTimeRange(v);
}

QString dateStyle(const DateTimeValue& v, int style, bool& ok) {
    ok = true;
    const QDate d = v.date;
    const qint64 ms = v.msOfDay;
    const int h = int(ms / 3600000), mi = int(ms / 60000 % 60), s = int(ms / 1000 % 60), z = int(ms % 1000);
    const bool century = style >= 100 || style == 20 || style == 21 || style == 23 || style == 126 ||
                         style == 0 || style == 8 || style == 24;
    const int base = style >= 100 ? style - 100 : style;
    const QString yyyy = QString::asprintf("%04d", d.year());
    const QString yy = QString::asprintf("%02d", d.year() % 100);
    const QString y = century ? yyyy : yy;
    const QString mm = QString::asprintf("%02d", d.month());
    const QString dd = QString::asprintf("%02d", d.day());
    const QString time = QString::asprintf("%02d:%02d:%02d", h, mi, s);
    switch (style) {
    case 20:
    case 120:
        return yyyy + u'-' + mm + u'-' + dd + u' ' + time;
    case 21:
    case 121:
        return yyyy + u'-' + mm + u'-' + dd + u' ' + time + QString::asprintf(".%03d", z);
    case 23:
        return yyyy + u'-' + mm + u'-' + dd;
    case 126:
        return yyyy + u'-' + mm + u'-' + dd + u'T' + time + (z ? QString::asprintf(".%03d", z) : QString());
    case 8:
    case 108:
    case 24:
        return time;
    case 0:
    case 100: {
        const int h12 = h % 12 == 0 ? 12 : h % 12;
        return QString::asprintf("%s %2d %04d %2d:%02d%s", qPrintable(monthName(d.month(), true)), d.day(),
                                 d.year(), h12, mi, h < 12 ? "AM" : "PM");
    }
    default:
        break;
    }
    switch (base) {
    case 1:
        return mm + u'/' + dd + u'/' + y;
    case 2:
        return y + u'.' + mm + u'.' + dd;
    case 3:
        return dd + u'/' + mm + u'/' + y;
    case 4:
        return dd + u'.' + mm + u'.' + y;
    case 5:
        return dd + u'-' + mm + u'-' + y;
    case 10:
        return mm + u'-' + dd + u'-' + y;
    case 11:
        return y + u'/' + mm + u'/' + dd;
    case 12:
        return y + mm + dd;
    default:
        ok = false;
        return {};
    }
}

// ---------------------------------------------------------------- LIKE

// One pattern element: a literal character, "_" (any), "%" (any run) or a
// [class]. Characters are held as their collation weights, so that matching
// ignores case as the text collation does (beyond ASCII too) and a range
// [a-c] or [啊-座] follows the collation's order.
struct LikeElem {
    enum Kind { Char, Any, Run, Class } kind = Char;
    std::uint32_t w = 0;
    bool negated = false;
    std::vector<std::uint32_t> set; // pairs (lo, hi) of weights for Class
};

std::uint32_t weightOf(QChar c) {
    return Collation::weight(c.unicode());
}

std::vector<LikeElem> compileLike(const QString& p, QChar esc, bool hasEsc) {
    std::vector<LikeElem> out;
    for (qsizetype i = 0; i < p.size(); ++i) {
        const QChar c = p[i];
        LikeElem e;
        if (hasEsc && c == esc && i + 1 < p.size()) {
            e.w = weightOf(p[++i]);
        } else if (c == u'%') {
            if (!out.empty() && out.back().kind == LikeElem::Run) continue;
            e.kind = LikeElem::Run;
        } else if (c == u'_') {
            e.kind = LikeElem::Any;
        } else if (c == u'[') {
            const qsizetype close = p.indexOf(u']', i + 2 <= p.size() ? i + 2 : i + 1);
            if (close < 0) {
                e.w = weightOf(c); // an unclosed bracket matches itself
            } else {
                e.kind = LikeElem::Class;
                qsizetype j = i + 1;
                if (p[j] == u'^') {
                    e.negated = true;
                    ++j;
                }
                for (; j < close; ++j) {
                    const std::uint32_t lo = weightOf(p[j]);
                    std::uint32_t hi = lo;
                    if (j + 2 < close && p[j + 1] == u'-') {
                        hi = weightOf(p[j + 2]);
                        j += 2;
                    }
                    e.set.push_back(lo);
                    e.set.push_back(hi);
                }
                i = close;
            }
        } else {
            e.w = weightOf(c);
        }
        out.push_back(std::move(e));
    }
    return out;
}

bool elemMatches(const LikeElem& e, std::uint32_t w) {
    switch (e.kind) {
    case LikeElem::Any:
    case LikeElem::Run:
        return true;
    case LikeElem::Char:
        return e.w == w;
    case LikeElem::Class: {
        bool in = false;
        for (size_t k = 0; k + 1 < e.set.size(); k += 2)
            if (w >= e.set[k] && w <= e.set[k + 1]) {
                in = true;
                break;
            }
        return in != e.negated;
    }
    }
    return false;
}

// Wildcard matching with a single backtracking point (the last "%"): every
// other element consumes exactly one character, so greedy retry is complete
// and the cost stays O(text x pattern). The match may end anywhere from
// `core` on: the blanks after it (the value's trailing blanks) do not count.
bool likeMatch(const std::vector<LikeElem>& pat, size_t pstart, QStringView text, qsizetype tstart,
               qsizetype core) {
    size_t p = pstart;
    qsizetype t = tstart;
    size_t starP = SIZE_MAX;
    qsizetype starT = 0;
    const qsizetype n = text.size();
    for (;;) {
        if (p == pat.size() && t >= core) return true;
        if (t < n) {
            if (p < pat.size() && pat[p].kind == LikeElem::Run) {
                starP = p++;
                starT = t;
                continue;
            }
            if (p < pat.size() && elemMatches(pat[p], weightOf(text[t]))) {
                ++p;
                ++t;
                continue;
            }
        } else {
            while (p < pat.size() && pat[p].kind == LikeElem::Run)
                ++p;
            if (p == pat.size()) return true;
        }
        if (starP == SIZE_MAX || starT >= n) return false;
        p = starP + 1;
        t = ++starT;
    }
}

// PATINDEX: the 1-based start of the first match of pattern "%rest" within
// the text, 0 when none. The rest is split at its "%" into fixed-length
// segments; the middle ones are placed as far right as they go (which leaves
// the most room), then the first segment is searched from the left, so the
// cost is O(text x pattern) instead of a full match per start position.
qint64 patternIndex(const std::vector<LikeElem>& pat, QStringView text) {
    const qsizetype n = text.size();
    if (pat.empty() || pat.front().kind != LikeElem::Run) return likeMatch(pat, 0, text, 0, n) ? 1 : 0;
    struct Segment {
        size_t begin, len;
    };
    std::vector<Segment> segs;
    size_t i = 1;
    while (i < pat.size()) {
        const size_t b = i;
        while (i < pat.size() && pat[i].kind != LikeElem::Run)
            ++i;
        segs.push_back({b, i - b});
        if (i < pat.size()) ++i; // the "%"
    }
    if (segs.empty()) return 1; // "%" alone matches at the start
    const bool anchoredEnd = pat.back().kind != LikeElem::Run;
    std::vector<std::uint32_t> w(static_cast<size_t>(n));
    for (qsizetype k = 0; k < n; ++k)
        w[size_t(k)] = weightOf(text[k]);
    auto matchesAt = [&](const Segment& sg, qsizetype at) {
        for (size_t k = 0; k < sg.len; ++k)
            if (!elemMatches(pat[sg.begin + k], w[size_t(at) + k])) return false;
        return true;
    };
    const qsizetype firstLen = qsizetype(segs[0].len);
    if (segs.size() == 1 && anchoredEnd) {
        const qsizetype at = n - firstLen;
        return at >= 0 && matchesAt(segs[0], at) ? at + 1 : 0;
    }
    qsizetype limit = n; // the middle segments end at or before this
    size_t lastMiddle = segs.size() - 1;
    if (anchoredEnd) {
        const Segment& last = segs.back();
        const qsizetype at = n - qsizetype(last.len);
        if (at < firstLen || !matchesAt(last, at)) return 0;
        limit = at;
        --lastMiddle;
    }
    for (size_t k = lastMiddle; k >= 1 && k < segs.size(); --k) {
        qsizetype q = limit - qsizetype(segs[k].len);
        while (q >= 0 && !matchesAt(segs[k], q))
            --q;
        if (q < 0) return 0;
        limit = q;
    }
    for (qsizetype at = 0; at + firstLen <= limit; ++at)
        if (matchesAt(segs[0], at)) return at + 1;
    return 0;
}

// ---------------------------------------------------------------- functions

void fnAdd(sqlite3_context* ctx, int, sqlite3_value** argv) {
    const int ta = sqlite3_value_type(argv[0]), tb = sqlite3_value_type(argv[1]);
    if (ta == SQLITE_NULL || tb == SQLITE_NULL) return sqlite3_result_null(ctx);
    if (ta == SQLITE_TEXT && tb == SQLITE_TEXT) {
        if (qint64(sqlite3_value_bytes(argv[0])) + sqlite3_value_bytes(argv[1]) > kMaxResultChars)
            return sqlite3_result_error_toobig(ctx);
        return resultText(ctx, qstr(argv[0]) + qstr(argv[1]));
    }
    if (ta == SQLITE_BLOB || tb == SQLITE_BLOB) {
        if (ta == SQLITE_BLOB && tb == SQLITE_BLOB) {
            QByteArray a(static_cast<const char*>(sqlite3_value_blob(argv[0])), sqlite3_value_bytes(argv[0]));
            a.append(static_cast<const char*>(sqlite3_value_blob(argv[1])), sqlite3_value_bytes(argv[1]));
            return sqlite3_result_blob(ctx, a.constData(), int(a.size()), SQLITE_TRANSIENT);
        }
        return sqlite3_result_error(ctx, "Operand type clash: binary data cannot be added to this operand",
                                    -1);
    }
    // At least one number: the text operand is converted to the number's type.
    const bool floatMath = ta == SQLITE_FLOAT || tb == SQLITE_FLOAT;
    if (!floatMath) {
        qint64 a = 0, b = 0;
        for (int k = 0; k < 2; ++k) {
            qint64& dst = k == 0 ? a : b;
            if (sqlite3_value_type(argv[k]) == SQLITE_TEXT) {
                const QString s = qstr(argv[k]);
                if (!textToInt(s, dst))
                    return resultError(
                        ctx, QStringLiteral("Conversion failed when converting the varchar value '%1' "
                                            "to data type int.")
                                 .arg(truncatedForMessage(s)));
            } else {
                dst = sqlite3_value_int64(argv[k]);
            }
        }
        qint64 r = 0;
        if (__builtin_add_overflow(a, b, &r))
            return sqlite3_result_error(
                ctx, "Arithmetic overflow error converting expression to data type int.", -1);
        return sqlite3_result_int64(ctx, r);
    }
    double a = 0, b = 0;
    for (int k = 0; k < 2; ++k) {
        double& dst = k == 0 ? a : b;
        if (sqlite3_value_type(argv[k]) == SQLITE_TEXT) {
            if (!textToFloat(qstr(argv[k]), dst))
                return sqlite3_result_error(ctx, "Error converting data type varchar to float.", -1);
        } else {
            dst = sqlite3_value_double(argv[k]);
        }
    }
    sqlite3_result_double(ctx, a + b);
}

// Operands of / and % as numbers; false (result set) for NULL or bad text.
bool arithmeticArgs(sqlite3_context* ctx, sqlite3_value** argv, bool& integral, qint64 (&i)[2],
                    double (&d)[2]) {
    integral = true;
    for (int k = 0; k < 2; ++k) {
        switch (sqlite3_value_type(argv[k])) {
        case SQLITE_NULL:
            sqlite3_result_null(ctx);
            return false;
        case SQLITE_INTEGER:
            i[k] = sqlite3_value_int64(argv[k]);
            d[k] = double(i[k]);
            break;
        case SQLITE_FLOAT:
            d[k] = sqlite3_value_double(argv[k]);
            integral = false;
            break;
        default: {
            const QString s = qstr(argv[k]);
            if (textToInt(s, i[k])) {
                d[k] = double(i[k]);
            } else if (textToFloat(s, d[k])) {
                integral = false;
            } else {
                resultError(ctx,
                            QStringLiteral("Conversion failed when converting the varchar value '%1' to data "
                                           "type int.")
                                .arg(truncatedForMessage(s)));
                return false;
            }
        }
        }
    }
    return true;
}

void fnDiv(sqlite3_context* ctx, int, sqlite3_value** argv) {
    bool integral = true;
    qint64 i[2] = {0, 0};
    double d[2] = {0, 0};
    if (!arithmeticArgs(ctx, argv, integral, i, d)) return;
    if (integral ? i[1] == 0 : d[1] == 0.0)
        return sqlite3_result_error(ctx, "Divide by zero error encountered.", -1);
    if (integral) {
        if (i[0] == std::numeric_limits<qint64>::min() && i[1] == -1)
            return sqlite3_result_error(
                ctx, "Arithmetic overflow error converting expression to data type int.", -1);
        return sqlite3_result_int64(ctx, i[0] / i[1]); // truncates toward zero, as SQL Server does
    }
    sqlite3_result_double(ctx, d[0] / d[1]);
}

void fnMod(sqlite3_context* ctx, int, sqlite3_value** argv) {
    bool integral = true;
    qint64 i[2] = {0, 0};
    double d[2] = {0, 0};
    if (!arithmeticArgs(ctx, argv, integral, i, d)) return;
    if (integral ? i[1] == 0 : d[1] == 0.0)
        return sqlite3_result_error(ctx, "Divide by zero error encountered.", -1);
    if (integral) return sqlite3_result_int64(ctx, i[1] == -1 ? 0 : i[0] % i[1]);
    sqlite3_result_double(ctx, std::fmod(d[0], d[1]));
}

void fnToInt(sqlite3_context* ctx, int, sqlite3_value** argv) {
    switch (sqlite3_value_type(argv[0])) {
    case SQLITE_NULL:
        return sqlite3_result_null(ctx);
    case SQLITE_INTEGER:
        return sqlite3_result_int64(ctx, sqlite3_value_int64(argv[0]));
    case SQLITE_FLOAT: {
        const double d = sqlite3_value_double(argv[0]);
        if (!std::isfinite(d) || std::fabs(d) >= 9.2e18)
            return sqlite3_result_error(
                ctx, "Arithmetic overflow error converting expression to data type int.", -1);
        return sqlite3_result_int64(ctx, qint64(std::trunc(d)));
    }
    default: {
        const QString s = qstr(argv[0]);
        qint64 v = 0;
        if (!textToInt(s, v))
            return resultError(
                ctx,
                QStringLiteral("Conversion failed when converting the varchar value '%1' to data type int.")
                    .arg(truncatedForMessage(s)));
        return sqlite3_result_int64(ctx, v);
    }
    }
}

void fnToFloat(sqlite3_context* ctx, int, sqlite3_value** argv) {
    switch (sqlite3_value_type(argv[0])) {
    case SQLITE_NULL:
        return sqlite3_result_null(ctx);
    case SQLITE_INTEGER:
    case SQLITE_FLOAT:
        return sqlite3_result_double(ctx, sqlite3_value_double(argv[0]));
    default: {
        double d = 0;
        if (!textToFloat(qstr(argv[0]), d))
            return sqlite3_result_error(ctx, "Error converting data type varchar to numeric.", -1);
        return sqlite3_result_double(ctx, d);
    }
    }
}

// Text to a number of whichever kind it spells (for operands of unknown type).
void fnNum(sqlite3_context* ctx, int, sqlite3_value** argv) {
    switch (sqlite3_value_type(argv[0])) {
    case SQLITE_NULL:
        return sqlite3_result_null(ctx);
    case SQLITE_INTEGER:
    case SQLITE_FLOAT:
        return sqlite3_result_value(ctx, argv[0]);
    default: {
        const QString s = qstr(argv[0]);
        qint64 i = 0;
        if (textToInt(s, i)) return sqlite3_result_int64(ctx, i);
        double d = 0;
        if (textToFloat(s, d)) return sqlite3_result_double(ctx, d);
        return resultError(
            ctx, QStringLiteral("Conversion failed when converting the varchar value '%1' to data type int.")
                     .arg(truncatedForMessage(s)));
    }
    }
}

void fnToBit(sqlite3_context* ctx, int, sqlite3_value** argv) {
    switch (sqlite3_value_type(argv[0])) {
    case SQLITE_NULL:
        return sqlite3_result_null(ctx);
    case SQLITE_INTEGER:
    case SQLITE_FLOAT:
        return sqlite3_result_int(ctx, sqlite3_value_double(argv[0]) != 0.0 ? 1 : 0);
    default: {
        const QString s = qstr(argv[0]).trimmed();
        if (s.compare(QLatin1String("TRUE"), Qt::CaseInsensitive) == 0) return sqlite3_result_int(ctx, 1);
        if (s.compare(QLatin1String("FALSE"), Qt::CaseInsensitive) == 0) return sqlite3_result_int(ctx, 0);
        double d = 0;
        if (textToFloat(s, d)) return sqlite3_result_int(ctx, d != 0.0 ? 1 : 0);
        return resultError(
            ctx, QStringLiteral("Conversion failed when converting the varchar value '%1' to data type bit.")
                     .arg(truncatedForMessage(s)));
    }
    }
}

int styleArg(int argc, sqlite3_value** argv, int index) {
    if (argc <= index || sqlite3_value_type(argv[index]) == SQLITE_NULL) return -1;
    return sqlite3_value_int(argv[index]);
}

void fnDateTime(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
    DateTimeValue v;
    if (!dateArg(ctx, argv[0], v, styleArg(argc, argv, 1))) return;
    resultText(ctx, formatCanonical(v));
}

void fnToDate(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
    DateTimeValue v;
    if (!dateArg(ctx, argv[0], v, styleArg(argc, argv, 1))) return;
    v.msOfDay = 0;
    resultText(ctx, formatCanonical(v));
}

void fnAddDays(sqlite3_context* ctx, int, sqlite3_value** argv) {
    DateTimeValue v;
    if (!dateArg(ctx, argv[0], v)) return;
    if (sqlite3_value_type(argv[1]) == SQLITE_NULL) return sqlite3_result_null(ctx);
    double days = 0;
    if (sqlite3_value_type(argv[1]) == SQLITE_TEXT) {
        if (!textToFloat(qstr(argv[1]), days))
            return sqlite3_result_error(ctx, "Error converting data type varchar to datetime.", -1);
    } else {
        days = sqlite3_value_double(argv[1]);
    }
    if (!std::isfinite(days) || std::fabs(days) > 3.7e6)
        return sqlite3_result_error(
            ctx, "Arithmetic overflow error converting expression to data type datetime.", -1);
    const DateTimeValue r = fromTotalMs(totalMs(v) + std::llround(days * double(kMsPerDay)));
    if (!validDate(r))
        return sqlite3_result_error(
            ctx, "Arithmetic overflow error converting expression to data type datetime.", -1);
    resultText(ctx, formatCanonical(r));
}

// GETDATE() is read once per run of a statement, as SQL Server evaluates it
// once per query: every row sees the same moment. The call carries a constant
// argument so that SQLite keeps the first value as auxiliary data for the rest
// of the run and drops it when the statement is reset.
void currentDateTime(sqlite3_context* ctx, bool utc) {
    if (const auto* cached = static_cast<const QString*>(sqlite3_get_auxdata(ctx, 0))) {
        resultText(ctx, *cached);
        return;
    }
    const QDateTime now = utc ? Clock::now().toUTC() : Clock::now();
    const DateTimeValue v{now.date(), qint64(now.time().msecsSinceStartOfDay() / 1000) * 1000};
    auto text = std::make_unique<QString>(formatCanonical(v));
    resultText(ctx, *text);
    // SQLite owns the value from here and frees it when the run ends.
    sqlite3_set_auxdata(ctx, 0, text.release(), [](void* p) { delete static_cast<QString*>(p); });
}

void fnGetDate(sqlite3_context* ctx, int, sqlite3_value**) {
    currentDateTime(ctx, false);
}

void fnGetUtcDate(sqlite3_context* ctx, int, sqlite3_value**) {
    currentDateTime(ctx, true);
}

QString partArg(sqlite3_value* v) {
    return QString::fromUtf8(reinterpret_cast<const char*>(sqlite3_value_text(v)));
}

void fnDateAdd(sqlite3_context* ctx, int, sqlite3_value** argv) {
    const QString part = partArg(argv[0]);
    if (sqlite3_value_type(argv[1]) == SQLITE_NULL) return sqlite3_result_null(ctx);
    DateTimeValue v;
    if (!dateArg(ctx, argv[2], v)) return;
    qint64 n = 0;
    if (sqlite3_value_type(argv[1]) == SQLITE_TEXT) {
        if (!textToInt(qstr(argv[1]), n))
            return sqlite3_result_error(
                ctx, "Conversion failed when converting the varchar value to data type int.", -1);
    } else {
        const double d = sqlite3_value_double(argv[1]);
        if (!std::isfinite(d) || std::fabs(d) > 2147483647.0)
            return sqlite3_result_error(
                ctx, "Arithmetic overflow error converting expression to data type int.", -1);
        n = qint64(std::trunc(d));
    }
    DateTimeValue r = v;
    auto addMs = [&](qint64 unit) {
        if (std::fabs(double(n) * double(unit)) > 4.0e17) return false;
        r = fromTotalMs(totalMs(v) + n * unit);
        return true;
    };
    bool ok = true;
    if (std::llabs(n) > 120000 &&
        (part == QLatin1String("year") || part == QLatin1String("quarter") || part == QLatin1String("month")))
        ok = false;
    else if (part == QLatin1String("year"))
        r.date = v.date.addYears(int(n));
    else if (part == QLatin1String("quarter"))
        r.date = v.date.addMonths(int(n * 3));
    else if (part == QLatin1String("month"))
        r.date = v.date.addMonths(int(n));
    else if (part == QLatin1String("day") || part == QLatin1String("dayofyear") ||
             part == QLatin1String("weekday"))
        ok = addMs(kMsPerDay);
    else if (part == QLatin1String("week"))
        ok = addMs(7 * kMsPerDay);
    else if (part == QLatin1String("hour"))
        ok = addMs(3600000);
    else if (part == QLatin1String("minute"))
        ok = addMs(60000);
    else if (part == QLatin1String("second"))
        ok = addMs(1000);
    else if (part == QLatin1String("millisecond"))
        ok = addMs(1);
    else
        return resultError(ctx, QStringLiteral("unsupported DATEADD datepart: ") + part);
    if (!ok || !validDate(r))
        return sqlite3_result_error(ctx, "Adding a value to a 'datetime' column caused an overflow.", -1);
    resultText(ctx, formatCanonical(r));
}

// SQL Server counts the datepart boundaries crossed between the two values.
void fnDateDiff(sqlite3_context* ctx, int, sqlite3_value** argv) {
    const QString part = partArg(argv[0]);
    DateTimeValue a, b;
    if (!dateArg(ctx, argv[1], a)) return;
    if (!dateArg(ctx, argv[2], b)) return;
    qint64 r = 0;
    const qint64 ja = a.date.toJulianDay(), jb = b.date.toJulianDay();
    if (part == QLatin1String("year")) {
        r = b.date.year() - a.date.year();
    } else if (part == QLatin1String("quarter")) {
        r = (qint64(b.date.year()) * 4 + (b.date.month() - 1) / 3) -
            (qint64(a.date.year()) * 4 + (a.date.month() - 1) / 3);
    } else if (part == QLatin1String("month")) {
        r = (qint64(b.date.year()) * 12 + b.date.month()) - (qint64(a.date.year()) * 12 + a.date.month());
    } else if (part == QLatin1String("day") || part == QLatin1String("dayofyear") ||
               part == QLatin1String("weekday")) {
        r = jb - ja;
    } else if (part == QLatin1String("week")) {
        // Julian day 0 is a Monday, so jd + 1 is a multiple of 7 on Sundays: weeks begin on Sunday.
        r = floorDiv(jb + 1, 7) - floorDiv(ja + 1, 7);
    } else if (part == QLatin1String("hour")) {
        r = floorDiv(totalMs(b), 3600000) - floorDiv(totalMs(a), 3600000);
    } else if (part == QLatin1String("minute")) {
        r = floorDiv(totalMs(b), 60000) - floorDiv(totalMs(a), 60000);
    } else if (part == QLatin1String("second")) {
        r = floorDiv(totalMs(b), 1000) - floorDiv(totalMs(a), 1000);
    } else if (part == QLatin1String("millisecond")) {
        r = totalMs(b) - totalMs(a);
    } else {
        return resultError(ctx, QStringLiteral("unsupported DATEDIFF datepart: ") + part);
    }
    sqlite3_result_int64(ctx, r);
}

qint64 datePartValue(const QString& part, const DateTimeValue& v, bool& ok) {
    ok = true;
    const QDate& d = v.date;
    if (part == QLatin1String("year")) return d.year();
    if (part == QLatin1String("quarter")) return (d.month() - 1) / 3 + 1;
    if (part == QLatin1String("month")) return d.month();
    if (part == QLatin1String("dayofyear")) return d.dayOfYear();
    if (part == QLatin1String("day")) return d.day();
    if (part == QLatin1String("weekday")) return d.dayOfWeek() % 7 + 1; // Sunday = 1
    if (part == QLatin1String("week")) {
        const int jan1 = QDate(d.year(), 1, 1).dayOfWeek() % 7 + 1;
        return (d.dayOfYear() - 1 + jan1 - 1) / 7 + 1;
    }
    if (part == QLatin1String("hour")) return v.msOfDay / 3600000;
    if (part == QLatin1String("minute")) return v.msOfDay / 60000 % 60;
    if (part == QLatin1String("second")) return v.msOfDay / 1000 % 60;
    if (part == QLatin1String("millisecond")) return v.msOfDay % 1000;
    ok = false;
    return 0;
}

void fnDatePart(sqlite3_context* ctx, int, sqlite3_value** argv) {
    const QString part = partArg(argv[0]);
    DateTimeValue v;
    if (!dateArg(ctx, argv[1], v)) return;
    bool ok = false;
    const qint64 r = datePartValue(part, v, ok);
    if (!ok) return resultError(ctx, QStringLiteral("unsupported DATEPART datepart: ") + part);
    sqlite3_result_int64(ctx, r);
}

void fnDateName(sqlite3_context* ctx, int, sqlite3_value** argv) {
    const QString part = partArg(argv[0]);
    DateTimeValue v;
    if (!dateArg(ctx, argv[1], v)) return;
    if (part == QLatin1String("month")) return resultText(ctx, monthName(v.date.month(), false));
    if (part == QLatin1String("weekday")) return resultText(ctx, weekdayName(v.date));
    bool ok = false;
    const qint64 r = datePartValue(part, v, ok);
    if (!ok) return resultError(ctx, QStringLiteral("unsupported DATENAME datepart: ") + part);
    resultText(ctx, QString::number(r));
}

QString fitLength(QString s, int len, bool pad) {
    if (len > 0 && s.size() > len) s.truncate(len);
    if (pad && len > 0 && s.size() < len) s += QString(len - s.size(), u' ');
    return s;
}

// lnq_fmtdate(value, style, length): CONVERT(varchar(length), datetime, style)
void fnFmtDate(sqlite3_context* ctx, int, sqlite3_value** argv) {
    DateTimeValue v;
    if (sqlite3_value_type(argv[0]) == SQLITE_TEXT) {
        // A text that is no date-time is already text: CONVERT leaves it alone.
        auto p = parseDateTime(qstr(argv[0]));
        if (!p) return resultText(ctx, fitLength(qstr(argv[0]), sqlite3_value_int(argv[2]), false));
        v = *p;
    } else if (!dateArg(ctx, argv[0], v)) {
        return;
    }
    bool ok = false;
    const QString s = dateStyle(v, sqlite3_value_int(argv[1]), ok);
    if (!ok)
        return resultError(ctx, QStringLiteral("%1 is not a valid style number when converting from datetime "
                                               "to a character string.")
                                    .arg(sqlite3_value_int(argv[1])));
    resultText(ctx, fitLength(s, sqlite3_value_int(argv[2]), false));
}

QString floatStyle0(double d) {
    // SQL Server's float-to-text: six significant digits, three-digit exponent.
    QString s = QString::number(d, 'g', 6);
    const qsizetype e = s.indexOf(u'e');
    if (e >= 0) {
        QString mant = s.left(e);
        QString exp = s.mid(e + 1);
        const QChar sign = exp[0];
        exp = exp.mid(1);
        while (exp.size() < 3)
            exp.prepend(u'0');
        s = mant + u'e' + sign + exp;
    }
    return s;
}

// lnq_tostr(value, length, pad, mode): mode -1 natural, -2 float style 0, >= 0 decimals
void fnToStr(sqlite3_context* ctx, int, sqlite3_value** argv) {
    const int len = sqlite3_value_int(argv[1]);
    const bool pad = sqlite3_value_int(argv[2]) != 0;
    const int mode = std::min(sqlite3_value_int(argv[3]), 38); // decimals never beyond the largest scale
    QString s;
    switch (sqlite3_value_type(argv[0])) {
    case SQLITE_NULL:
        return sqlite3_result_null(ctx);
    case SQLITE_INTEGER:
        s = mode > 0 ? QString::number(double(sqlite3_value_int64(argv[0])), 'f', mode)
                     : QString::number(sqlite3_value_int64(argv[0]));
        break;
    case SQLITE_FLOAT: {
        const double d = sqlite3_value_double(argv[0]);
        if (mode >= 0)
            s = QString::number(d, 'f', mode);
        else if (mode == -2)
            s = floatStyle0(d);
        else
            s = qstr(argv[0]);
        break;
    }
    default:
        s = qstr(argv[0]);
    }
    resultText(ctx, fitLength(s, len, pad));
}

void fnSubstring(sqlite3_context* ctx, int, sqlite3_value** argv) {
    if (anyNull(3, argv)) return sqlite3_result_null(ctx);
    const QString s = qstr(argv[0]);
    const qint64 start = sqlite3_value_int64(argv[1]);
    const qint64 len = sqlite3_value_int64(argv[2]);
    if (len < 0)
        return sqlite3_result_error(ctx, "Invalid length parameter passed to the substring function.", -1);
    const qint64 from = std::max<qint64>(start, 1);
    const qint64 to =
        std::min<qint64>(start + std::min<qint64>(len, s.size() + 1), s.size() + 1); // exclusive
    if (to <= from) return resultText(ctx, QString());
    resultText(ctx, s.mid(from - 1, to - from));
}

void fnLeft(sqlite3_context* ctx, int, sqlite3_value** argv) {
    if (anyNull(2, argv)) return sqlite3_result_null(ctx);
    const qint64 n = sqlite3_value_int64(argv[1]);
    if (n < 0) return sqlite3_result_error(ctx, "Invalid length parameter passed to the left function.", -1);
    resultText(ctx, qstr(argv[0]).left(qsizetype(std::min<qint64>(n, 1 << 30))));
}

void fnRight(sqlite3_context* ctx, int, sqlite3_value** argv) {
    if (anyNull(2, argv)) return sqlite3_result_null(ctx);
    const qint64 n = sqlite3_value_int64(argv[1]);
    if (n < 0) return sqlite3_result_error(ctx, "Invalid length parameter passed to the right function.", -1);
    resultText(ctx, qstr(argv[0]).right(qsizetype(std::min<qint64>(n, 1 << 30))));
}

// REPLACE follows the column collation: case-insensitive here.
void fnReplace(sqlite3_context* ctx, int, sqlite3_value** argv) {
    if (anyNull(3, argv)) return sqlite3_result_null(ctx);
    QString s = qstr(argv[0]);
    const QString a = qstr(argv[1]);
    if (a.isEmpty()) return resultText(ctx, s);
    const QString b = qstr(argv[2]);
    if (b.size() > a.size() &&
        double(s.size()) / double(a.size()) * double(b.size()) > double(kMaxResultChars))
        return sqlite3_result_error_toobig(ctx);
    s.replace(a, b, Qt::CaseInsensitive);
    resultText(ctx, s);
}

void fnCharIndex(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
    if (anyNull(2, argv)) return sqlite3_result_null(ctx);
    const QString needle = qstr(argv[0]);
    const QString hay = qstr(argv[1]);
    qint64 start = 1;
    if (argc > 2) {
        if (sqlite3_value_type(argv[2]) == SQLITE_NULL) return sqlite3_result_null(ctx);
        start = std::max<qint64>(1, sqlite3_value_int64(argv[2]));
    }
    if (needle.isEmpty() || start > hay.size()) return sqlite3_result_int(ctx, 0);
    const qsizetype idx = hay.indexOf(needle, qsizetype(start - 1), Qt::CaseInsensitive);
    sqlite3_result_int64(ctx, idx < 0 ? 0 : idx + 1);
}

void fnUpper(sqlite3_context* ctx, int, sqlite3_value** argv) {
    if (sqlite3_value_type(argv[0]) == SQLITE_NULL) return sqlite3_result_null(ctx);
    resultText(ctx, qstr(argv[0]).toUpper());
}

void fnLower(sqlite3_context* ctx, int, sqlite3_value** argv) {
    if (sqlite3_value_type(argv[0]) == SQLITE_NULL) return sqlite3_result_null(ctx);
    resultText(ctx, qstr(argv[0]).toLower());
}

void fnStuff(sqlite3_context* ctx, int, sqlite3_value** argv) {
    if (anyNull(3, argv)) return sqlite3_result_null(ctx);
    const QString s = qstr(argv[0]);
    const qint64 start = sqlite3_value_int64(argv[1]);
    const qint64 len = sqlite3_value_int64(argv[2]);
    if (start < 1 || start > s.size() || len < 0) return sqlite3_result_null(ctx);
    const QString ins = sqlite3_value_type(argv[3]) == SQLITE_NULL ? QString() : qstr(argv[3]);
    if (qint64(s.size()) + qint64(ins.size()) > kMaxResultChars) return sqlite3_result_error_toobig(ctx);
    resultText(ctx, s.left(start - 1) + ins + s.mid(qsizetype(std::min<qint64>(start - 1 + len, s.size()))));
}

void fnReplicate(sqlite3_context* ctx, int, sqlite3_value** argv) {
    if (anyNull(2, argv)) return sqlite3_result_null(ctx);
    const QString s = qstr(argv[0]);
    const qint64 n = sqlite3_value_int64(argv[1]);
    if (n < 0) return sqlite3_result_null(ctx);
    // Compared by division: the product of two large inputs would wrap.
    if (!s.isEmpty() && n > kMaxResultChars / qint64(s.size())) return sqlite3_result_error_toobig(ctx);
    resultText(ctx, s.repeated(qsizetype(n)));
}

void fnReverse(sqlite3_context* ctx, int, sqlite3_value** argv) {
    if (sqlite3_value_type(argv[0]) == SQLITE_NULL) return sqlite3_result_null(ctx);
    QString s = qstr(argv[0]);
    std::reverse(s.begin(), s.end());
    resultText(ctx, s);
}

void fnLike(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
    if (anyNull(argc, argv)) return sqlite3_result_null(ctx);
    QChar esc;
    bool hasEsc = false;
    if (argc > 2) {
        const QString e = qstr(argv[2]);
        if (e.size() != 1)
            return sqlite3_result_error(ctx,
                                        "The invalid escape character was specified in a LIKE "
                                        "predicate.",
                                        -1);
        esc = e[0];
        hasEsc = true;
    }
    // The compiled pattern is kept while the pattern argument stays constant.
    auto* compiled = static_cast<std::vector<LikeElem>*>(sqlite3_get_auxdata(ctx, 1));
    if (!compiled) {
        compiled = new std::vector<LikeElem>(compileLike(qstr(argv[1]), esc, hasEsc));
        sqlite3_set_auxdata(ctx, 1, compiled, [](void* p) { delete static_cast<std::vector<LikeElem>*>(p); });
        compiled = static_cast<std::vector<LikeElem>*>(sqlite3_get_auxdata(ctx, 1));
    }
    const QString text = qstr(argv[0]);
    const qsizetype core = Collation::trimmedForCompare(text).size();
    if (!compiled) {
        const auto local = compileLike(qstr(argv[1]), esc, hasEsc);
        return sqlite3_result_int(ctx, likeMatch(local, 0, text, 0, core) ? 1 : 0);
    }
    sqlite3_result_int(ctx, likeMatch(*compiled, 0, text, 0, core) ? 1 : 0);
}

void fnPatIndex(sqlite3_context* ctx, int, sqlite3_value** argv) {
    if (anyNull(2, argv)) return sqlite3_result_null(ctx);
    sqlite3_result_int64(ctx, patternIndex(compileLike(qstr(argv[0]), QChar(), false), qstr(argv[1])));
}

void fnRound(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
    if (anyNull(2, argv)) return sqlite3_result_null(ctx);
    const int places = std::clamp(sqlite3_value_int(argv[1]), -400, 400);
    const bool truncate =
        argc > 2 && sqlite3_value_type(argv[2]) != SQLITE_NULL && sqlite3_value_int(argv[2]) != 0;
    if (sqlite3_value_type(argv[0]) == SQLITE_INTEGER) {
        qint64 v = sqlite3_value_int64(argv[0]);
        if (places >= 0) return sqlite3_result_int64(ctx, v);
        if (places < -18) return sqlite3_result_int64(ctx, 0);
        qint64 f = 1;
        for (int k = 0; k < -places; ++k)
            f *= 10;
        qint64 q = v / f * f;
        const qint64 rem = v - q;
        if (!truncate && std::llabs(rem) * 2 >= f && __builtin_add_overflow(q, v < 0 ? -f : f, &q))
            return sqlite3_result_error(ctx, kBigintOverflow, -1);
        return sqlite3_result_int64(ctx, q);
    }
    double v = 0;
    if (sqlite3_value_type(argv[0]) == SQLITE_TEXT) {
        if (!textToFloat(qstr(argv[0]), v))
            return sqlite3_result_error(ctx, "Error converting data type varchar to float.", -1);
    } else {
        v = sqlite3_value_double(argv[0]);
    }
    const double f = std::pow(10.0, places);
    double scaled = v * f;
    // Decimal rounding: nudge values sitting within binary noise of .5 upward.
    scaled = truncate ? std::trunc(scaled) : std::round(scaled + (scaled >= 0 ? 1e-9 : -1e-9));
    const double r = scaled / f;
    if (!std::isfinite(r) && std::isfinite(v)) return sqlite3_result_error(ctx, kFloatOverflow, -1);
    sqlite3_result_double(ctx, r);
}

void fnStr(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
    if (anyNull(argc, argv)) return sqlite3_result_null(ctx);
    const double v = sqlite3_value_double(argv[0]);
    const int len = argc > 1 ? sqlite3_value_int(argv[1]) : 10;
    const int dec = argc > 2 ? std::clamp(sqlite3_value_int(argv[2]), 0, 16) : 0;
    if (len <= 0 || len > 8000) return sqlite3_result_null(ctx);
    QString s = QString::number(v, 'f', dec);
    if (s.size() > len) {
        // Fewer decimals when they do not fit; asterisks when the integer part does not.
        const QString whole = QString::number(v, 'f', 0);
        if (whole.size() > len) return resultText(ctx, QString(len, u'*'));
        const int room = len - int(whole.size()) - 1;
        s = room > 0 ? QString::number(v, 'f', room) : whole;
    }
    resultText(ctx, QString(len - s.size(), u' ') + s);
}

void fnIsDate(sqlite3_context* ctx, int, sqlite3_value** argv) {
    if (sqlite3_value_type(argv[0]) != SQLITE_TEXT) return sqlite3_result_int(ctx, 0);
    const auto v = parseDateTime(qstr(argv[0]));
    sqlite3_result_int(ctx, v && inDateTimeRange(*v) ? 1 : 0);
}

void fnIsNumeric(sqlite3_context* ctx, int, sqlite3_value** argv) {
    switch (sqlite3_value_type(argv[0])) {
    case SQLITE_INTEGER:
    case SQLITE_FLOAT:
        return sqlite3_result_int(ctx, 1);
    case SQLITE_TEXT: {
        const QString s = qstr(argv[0]).trimmed();
        double d = 0;
        return sqlite3_result_int(ctx, !s.isEmpty() && textToFloat(s, d) ? 1 : 0);
    }
    default:
        return sqlite3_result_int(ctx, 0);
    }
}

void fnNewId(sqlite3_context* ctx, int, sqlite3_value**) {
    resultText(ctx, QUuid::createUuid().toString(QUuid::WithoutBraces).toUpper());
}

void fnGetFilePath(sqlite3_context* ctx, int, sqlite3_value** argv) {
    if (sqlite3_value_type(argv[0]) == SQLITE_NULL) return sqlite3_result_null(ctx);
    const QString s = qstr(argv[0]);
    const qsizetype i = s.lastIndexOf(u'\\');
    resultText(ctx, i < 0 ? QString() : s.left(i));
}

void fnGetFileName(sqlite3_context* ctx, int, sqlite3_value** argv) {
    if (sqlite3_value_type(argv[0]) == SQLITE_NULL) return sqlite3_result_null(ctx);
    const QString s = qstr(argv[0]);
    const qsizetype i = s.lastIndexOf(u'\\');
    resultText(ctx, i < 0 ? s : s.mid(i + 1));
}

// Entries of a rights list: comma-separated names (",a,b,"), or group keys
// each beginning with "[" and written without separators ("[1[2").
QStringList rightsEntries(const QString& list) {
    QStringList out;
    for (const QString& piece : list.split(u',', Qt::SkipEmptyParts)) {
        qsizetype start = 0;
        for (qsizetype i = 1; i <= piece.size(); ++i) {
            if (i == piece.size() || piece[i] == u'[') {
                const QString entry = piece.mid(start, i - start).trimmed();
                if (!entry.isEmpty()) out << entry;
                start = i;
            }
        }
    }
    return out;
}

void fnIntersectStr(sqlite3_context* ctx, int, sqlite3_value** argv) {
    if (anyNull(2, argv)) return sqlite3_result_int(ctx, 0);
    const QStringList a = rightsEntries(qstr(argv[0]));
    const QStringList b = rightsEntries(qstr(argv[1]));
    int shared = 0;
    for (const QString& x : a)
        if (b.contains(x, Qt::CaseInsensitive)) ++shared;
    sqlite3_result_int(ctx, shared);
}

// ---------------------------------------------------------------- range checks

// An integer expression's result: a real arriving here is an overflow that
// SQLite turned into a real (a real that is not whole is a value a column
// holds, passed on).
void fnChkInt(sqlite3_context* ctx, int, sqlite3_value** argv) {
    if (sqlite3_value_type(argv[0]) == SQLITE_FLOAT) {
        const double d = sqlite3_value_double(argv[0]);
        if (!std::isfinite(d) || d == std::trunc(d)) return sqlite3_result_error(ctx, kBigintOverflow, -1);
    }
    sqlite3_result_value(ctx, argv[0]);
}

void fnChkFloat(sqlite3_context* ctx, int, sqlite3_value** argv) {
    if (sqlite3_value_type(argv[0]) == SQLITE_FLOAT) {
        const double d = sqlite3_value_double(argv[0]);
        if (std::isnan(d)) return sqlite3_result_error(ctx, kInvalidFloatOp, -1);
        if (std::isinf(d)) return sqlite3_result_error(ctx, kFloatOverflow, -1);
    }
    sqlite3_result_value(ctx, argv[0]);
}

// Numeric argument of the math functions; false when the result is set (NULL or error).
bool mathArg(sqlite3_context* ctx, sqlite3_value* v, double& out) {
    switch (sqlite3_value_type(v)) {
    case SQLITE_NULL:
        sqlite3_result_null(ctx);
        return false;
    case SQLITE_INTEGER:
    case SQLITE_FLOAT:
        out = sqlite3_value_double(v);
        return true;
    default:
        if (textToFloat(qstr(v), out)) return true;
        sqlite3_result_error(ctx, "Error converting data type varchar to float.", -1);
        return false;
    }
}

void floatResult(sqlite3_context* ctx, double r) {
    if (std::isnan(r)) return sqlite3_result_error(ctx, kInvalidFloatOp, -1);
    if (std::isinf(r)) return sqlite3_result_error(ctx, kFloatOverflow, -1);
    sqlite3_result_double(ctx, r);
}

template <double (*F)(double), bool (*Domain)(double)>
void fnMath(sqlite3_context* ctx, int, sqlite3_value** argv) {
    double x = 0;
    if (!mathArg(ctx, argv[0], x)) return;
    if (!Domain(x)) return sqlite3_result_error(ctx, kInvalidFloatOp, -1);
    floatResult(ctx, F(x));
}

bool anyReal(double x) {
    return std::isfinite(x);
}
bool notNegative(double x) {
    return x >= 0;
}
bool positive(double x) {
    return x > 0;
}
double squareOf(double x) {
    return x * x;
}
double sqrtOf(double x) {
    return std::sqrt(x);
}
double expOf(double x) {
    return std::exp(x);
}
double log10Of(double x) {
    return std::log10(x);
}
double sinOf(double x) {
    return std::sin(x);
}
double cosOf(double x) {
    return std::cos(x);
}
double tanOf(double x) {
    return std::tan(x);
}

// LOG(x [, base])
void fnLog(sqlite3_context* ctx, int argc, sqlite3_value** argv) {
    double x = 0, base = 0;
    if (!mathArg(ctx, argv[0], x)) return;
    if (argc > 1 && !mathArg(ctx, argv[1], base)) return;
    if (x <= 0 || (argc > 1 && (base <= 0 || base == 1)))
        return sqlite3_result_error(ctx, kInvalidFloatOp, -1);
    floatResult(ctx, argc > 1 ? std::log(x) / std::log(base) : std::log(x));
}

// lnq_power(x, y, integral): POWER, its result of x's type.
void fnPower(sqlite3_context* ctx, int, sqlite3_value** argv) {
    double x = 0, y = 0;
    if (!mathArg(ctx, argv[0], x) || !mathArg(ctx, argv[1], y)) return;
    if (x == 0 && y < 0) return sqlite3_result_error(ctx, kInvalidFloatOp, -1);
    const double r = std::pow(x, y);
    if (std::isnan(r)) return sqlite3_result_error(ctx, kInvalidFloatOp, -1);
    if (sqlite3_value_int(argv[2]) == 0) return floatResult(ctx, r);
    if (!std::isfinite(r) || std::fabs(r) >= 9223372036854775808.0)
        return sqlite3_result_error(ctx, kBigintOverflow, -1);
    sqlite3_result_int64(ctx, qint64(std::trunc(r)));
}

void fnBitXor(sqlite3_context* ctx, int, sqlite3_value** argv) {
    if (anyNull(2, argv)) return sqlite3_result_null(ctx);
    sqlite3_result_int64(ctx, sqlite3_value_int64(argv[0]) ^ sqlite3_value_int64(argv[1]));
}

// lnq_rows(n, kind): the row count of TOP (0), OFFSET (1) or FETCH (2).
void fnRows(sqlite3_context* ctx, int, sqlite3_value** argv) {
    const int kind = sqlite3_value_int(argv[1]);
    double d = 0;
    if (!mathArg(ctx, argv[0], d)) return;
    if (kind == 0 && d < 0)
        return sqlite3_result_error(ctx, "A TOP N or FETCH rows count value may not be negative.", -1);
    if (kind == 1 && d < 0)
        return sqlite3_result_error(ctx, "The offset specified in a OFFSET clause may not be negative.", -1);
    if (kind == 2 && d <= 0)
        return sqlite3_result_error(
            ctx, "The number of rows provided for a FETCH clause must be greater then zero.", -1);
    if (d >= 9223372036854775807.0) return sqlite3_result_int64(ctx, std::numeric_limits<qint64>::max());
    sqlite3_result_int64(ctx, qint64(d));
}

// lnq_toppercent(rows, percent): how many of rows TOP (percent) PERCENT returns (rounded up).
void fnTopPercent(sqlite3_context* ctx, int, sqlite3_value** argv) {
    const qint64 rows = sqlite3_value_int64(argv[0]);
    double pct = 0;
    if (!mathArg(ctx, argv[1], pct)) return;
    if (!(pct >= 0 && pct <= 100))
        return sqlite3_result_error(ctx, "Percent values must be between 0 and 100.", -1);
    sqlite3_result_int64(ctx, qint64(std::ceil(double(rows) * pct / 100.0)));
}

} // namespace

// ---------------------------------------------------------------- public helpers

namespace {

// An English month name at the cursor, full or its first three letters: 1-12, 0 when none.
int monthAt(Cursor& c) {
    const qsizetype start = c.i;
    while (!c.end() && ((c.ch() >= u'a' && c.ch() <= u'z') || (c.ch() >= u'A' && c.ch() <= u'Z')))
        ++c.i;
    const QStringView word = c.s.mid(start, c.i - start);
    if (word.size() < 3) return 0;
    for (int m = 1; m <= 12; ++m) {
        const QString name = monthName(m, false);
        if (word.size() == 3 ? word.compare(name.left(3), Qt::CaseInsensitive) == 0
                             : word.compare(name, Qt::CaseInsensitive) == 0)
            return m;
    }
    return 0;
}

// "Mon dd yyyy" and "dd Mon yyyy", then the optional time.
std::optional<DateTimeValue> parseMonthNameDate(Cursor& c) {
    int y = 0, m = 0, d = 0;
    if (c.ch().isDigit()) {
        if (c.digits(2, d) == 0) return std::nullopt;
        c.spaces();
        if ((m = monthAt(c)) == 0) return std::nullopt;
    } else {
        if ((m = monthAt(c)) == 0) return std::nullopt;
        c.spaces();
        if (c.digits(2, d) == 0) return std::nullopt;
    }
    if (c.ch() == u',') ++c.i;
    c.spaces();
    if (c.digits(4, y) != 4) return std::nullopt;
    DateTimeValue v;
    v.date = QDate(y, m, d);
    if (!v.date.isValid() || y < 1) return std::nullopt;
    c.spaces();
    if (!c.end() && !parseTime(c, v.msOfDay)) return std::nullopt;
    c.spaces();
    if (!c.end()) return std::nullopt;
    return v;
}

} // namespace

bool inDateTimeRange(const DateTimeValue& v) {
    return v.date.isValid() && v.date.year() >= 1753 && v.date.year() <= 9999;
}

std::optional<DateTimeValue> parseDateTime(const QString& text, int style) {
    Cursor c{QStringView(text).trimmed()};
    DateTimeValue v;
    if (c.s.isEmpty()) {
        v.date = QDate(1900, 1, 1); // SQL Server turns '' into its base date
        return v;
    }
    if (c.ch().isLetter()) return parseMonthNameDate(c);
    {
        // "24 Nov 2026": digits, blanks, then a letter.
        Cursor probe = c;
        int ignored = 0;
        if (probe.digits(2, ignored) > 0) {
            probe.spaces();
            if (probe.ch().isLetter() && !(probe.ch() == u'T' || probe.ch() == u't'))
                return parseMonthNameDate(c);
        }
    }
    int a = 0;
    const qsizetype startA = c.i;
    const int lenA = c.digits(8, a);
    if (lenA == 0) return std::nullopt;
    int y = 0, m = 0, d = 0;
    if (c.ch() == u':') {
        c.i = startA;
        y = 1900, m = 1, d = 1;
    } else if (lenA == 8) {
        y = a / 10000;
        m = a / 100 % 100;
        d = a % 100;
    } else if (lenA == 4 && (c.ch() == u'-' || c.ch() == u'/' || c.ch() == u'.')) {
        const QChar sep = c.ch();
        ++c.i;
        y = a;
        if (c.digits(2, m) == 0 || c.ch() != sep) return std::nullopt;
        ++c.i;
        if (c.digits(2, d) == 0) return std::nullopt;
    } else if (lenA <= 2 && (c.ch() == u'-' || c.ch() == u'/' || c.ch() == u'.')) {
        const QChar sep = c.ch();
        ++c.i;
        int b = 0;
        if (c.digits(2, b) == 0 || c.ch() != sep) return std::nullopt;
        ++c.i;
        const int lenY = c.digits(4, y);
        if (lenY != 2 && lenY != 4) return std::nullopt;
        if (lenY == 2) y += y < 50 ? 2000 : 1900;
        const bool dmy =
            style == 3 || style == 103 || style == 4 || style == 104 || style == 5 || style == 105;
        m = dmy ? b : a;
        d = dmy ? a : b;
    } else {
        return std::nullopt;
    }
    v.date = QDate(y, m, d);
    if (!v.date.isValid() || y < 1) return std::nullopt;
    if (c.ch() == u'T') {
        ++c.i;
        if (!parseTime(c, v.msOfDay)) return std::nullopt;
    } else {
        c.spaces();
        if (!c.end() && !parseTime(c, v.msOfDay)) return std::nullopt;
    }
    c.spaces();
    if (!c.end()) return std::nullopt;
    return v;
}

QString formatCanonical(const DateTimeValue& v) {
    const qint64 ms = v.msOfDay;
    QString s = QString::asprintf("%04d-%02d-%02d %02d:%02d:%02d", v.date.year(), v.date.month(),
                                  v.date.day(), int(ms / 3600000), int(ms / 60000 % 60), int(ms / 1000 % 60));
    if (ms % 1000) s += QString::asprintf(".%03d", int(ms % 1000));
    return s;
}

std::optional<QString> canonicalDateTimeText(const QString& text, int style) {
    auto v = parseDateTime(text, style);
    if (!v) return std::nullopt;
    return formatCanonical(*v);
}

void registerFunctions(sqlite3* db) {
    struct Def {
        const char* name;
        int nargs;
        void (*fn)(sqlite3_context*, int, sqlite3_value**);
        bool deterministic;
    };
    static const Def defs[] = {
        {"lnq_add", 2, fnAdd, true},
        {"lnq_toint", 1, fnToInt, true},
        {"lnq_div", 2, fnDiv, true},
        {"lnq_mod", 2, fnMod, true},
        {"lnq_tofloat", 1, fnToFloat, true},
        {"lnq_num", 1, fnNum, true},
        {"lnq_tobit", 1, fnToBit, true},
        {"lnq_datetime", 1, fnDateTime, true},
        {"lnq_datetime", 2, fnDateTime, true},
        {"lnq_todate", 1, fnToDate, true},
        {"lnq_todate", 2, fnToDate, true},
        {"lnq_adddays", 2, fnAddDays, true},
        {"lnq_getdate", 1, fnGetDate, false},
        {"lnq_getutcdate", 1, fnGetUtcDate, false},
        {"lnq_dateadd", 3, fnDateAdd, true},
        {"lnq_datediff", 3, fnDateDiff, true},
        {"lnq_datepart", 2, fnDatePart, true},
        {"lnq_datename", 2, fnDateName, true},
        {"lnq_fmtdate", 3, fnFmtDate, true},
        {"lnq_tostr", 4, fnToStr, true},
        {"lnq_substring", 3, fnSubstring, true},
        {"lnq_left", 2, fnLeft, true},
        {"lnq_right", 2, fnRight, true},
        {"lnq_replace", 3, fnReplace, true},
        {"lnq_charindex", 2, fnCharIndex, true},
        {"lnq_charindex", 3, fnCharIndex, true},
        {"lnq_upper", 1, fnUpper, true},
        {"lnq_lower", 1, fnLower, true},
        {"lnq_stuff", 4, fnStuff, true},
        {"lnq_replicate", 2, fnReplicate, true},
        {"lnq_reverse", 1, fnReverse, true},
        {"lnq_like", 2, fnLike, true},
        {"lnq_like", 3, fnLike, true},
        {"lnq_patindex", 2, fnPatIndex, true},
        {"lnq_round", 2, fnRound, true},
        {"lnq_round", 3, fnRound, true},
        {"lnq_str", 1, fnStr, true},
        {"lnq_str", 2, fnStr, true},
        {"lnq_str", 3, fnStr, true},
        {"lnq_isdate", 1, fnIsDate, true},
        {"lnq_isnumeric", 1, fnIsNumeric, true},
        {"lnq_newid", 0, fnNewId, false},
        {"lnq_getfilepath", 1, fnGetFilePath, true},
        {"lnq_getfilename", 1, fnGetFileName, true},
        {"lnq_intersectstr", 2, fnIntersectStr, true},
        {"lnq_chkint", 1, fnChkInt, true},
        {"lnq_chkfloat", 1, fnChkFloat, true},
        {"lnq_square", 1, fnMath<squareOf, anyReal>, true},
        {"lnq_sqrt", 1, fnMath<sqrtOf, notNegative>, true},
        {"lnq_exp", 1, fnMath<expOf, anyReal>, true},
        {"lnq_log10", 1, fnMath<log10Of, positive>, true},
        {"lnq_sin", 1, fnMath<sinOf, anyReal>, true},
        {"lnq_cos", 1, fnMath<cosOf, anyReal>, true},
        {"lnq_tan", 1, fnMath<tanOf, anyReal>, true},
        {"lnq_log", 1, fnLog, true},
        {"lnq_log", 2, fnLog, true},
        {"lnq_power", 3, fnPower, true},
        {"lnq_bitxor", 2, fnBitXor, true},
        {"lnq_rows", 2, fnRows, true},
        {"lnq_toppercent", 2, fnTopPercent, true},
    };
    for (const Def& d : defs) {
        const int flags = SQLITE_UTF8 | SQLITE_INNOCUOUS | (d.deterministic ? SQLITE_DETERMINISTIC : 0);
        const int rc =
            sqlite3_create_function_v2(db, d.name, d.nargs, flags, nullptr, d.fn, nullptr, nullptr, nullptr);
        if (rc != SQLITE_OK)
            throw ETsqlError(QStringLiteral("cannot register SQL function %1: %2")
                                 .arg(QLatin1String(d.name), QString::fromUtf8(sqlite3_errmsg(db))));
    }
    registerTextCollation(db);
}

void registerTextCollation(sqlite3* db) {
    const auto compare = [](void*, int na, const void* a, int nb, const void* b) {
        return Collation::compareUtf8(static_cast<const char*>(a), na, static_cast<const char*>(b), nb);
    };
    if (sqlite3_create_collation_v2(db, Collation::kName, SQLITE_UTF8, nullptr, compare, nullptr) !=
        SQLITE_OK)
        throw ETsqlError(QStringLiteral("cannot register the text collation: ") +
                         QString::fromUtf8(sqlite3_errmsg(db)));
}

} // namespace lnq::tsql
