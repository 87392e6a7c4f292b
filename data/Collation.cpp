#include "data/Collation.h"

#include "util/Gbk.h"

#include <QChar>
#include <QString>

#include <algorithm>
#include <array>
#include <memory>

namespace lnq::Collation {

namespace {

using Table = std::array<std::uint32_t, 0x10000>;

// Built once from the GBK codec: every two-byte code is decoded on its own
// line, so an unassigned code cannot shift the ones after it; the lowest code
// of a character wins. The folded character's weight is stored for each code
// unit, so comparing needs one table read per unit.
std::unique_ptr<Table> buildTable() {
    Table gbk{};
    QByteArray all;
    all.reserve(126 * 191 * 3);
    for (int lead = 0x81; lead <= 0xFE; ++lead)
        for (int trail = 0x40; trail <= 0xFE; ++trail) {
            if (trail == 0x7F) continue;
            all.append(char(lead)).append(char(trail)).append('\n');
        }
    const QString decoded = Gbk::decode(all);
    int lead = 0x81, trail = 0x40;
    for (qsizetype start = 0; start <= decoded.size() && lead <= 0xFE;) {
        qsizetype end = decoded.indexOf(u'\n', start);
        if (end < 0) end = decoded.size();
        const QStringView ch = QStringView(decoded).mid(start, end - start);
        if (ch.size() == 1 && ch[0] != QChar::ReplacementCharacter && ch[0].unicode() >= 0x80 &&
            gbk[ch[0].unicode()] == 0)
            gbk[ch[0].unicode()] = std::uint32_t(lead << 8 | trail);
        start = end + 1;
        if (++trail == 0x7F) ++trail;
        if (trail > 0xFE) {
            trail = 0x40;
            ++lead;
        }
    }
    auto t = std::make_unique<Table>();
    for (std::uint32_t u = 0; u < 0x10000; ++u) {
        const QChar c{char16_t(u)};
        const char16_t f = c.isSurrogate() ? char16_t(u) : c.toCaseFolded().unicode();
        std::uint32_t w;
        if (f < 0x80)
            w = f;
        else if (gbk[f] != 0)
            w = gbk[f];
        else
            w = 0x10000 + f;
        (*t)[u] = w;
    }
    return t;
}

const Table& table() {
    static const std::unique_ptr<Table> t = buildTable();
    return *t;
}

// Reads one code point of UTF-8 and returns its UTF-16 units (1 or 2).
int nextUnits(const unsigned char*& p, const unsigned char* end, char16_t out[2]) {
    const unsigned c = *p++;
    std::uint32_t cp = 0xFFFD;
    if (c < 0x80) {
        cp = c;
    } else {
        int extra = c >= 0xF0 && c < 0xF5 ? 3 : c >= 0xE0 ? 2 : c >= 0xC2 && c < 0xE0 ? 1 : -1;
        if (c >= 0xF5) extra = -1;
        if (extra > 0 && end - p >= extra) {
            std::uint32_t v = c & (0x3F >> extra);
            bool ok = true;
            for (int i = 0; i < extra; ++i) {
                if ((p[i] & 0xC0) != 0x80) {
                    ok = false;
                    break;
                }
                v = v << 6 | (p[i] & 0x3F);
            }
            static constexpr std::uint32_t kMin[] = {0, 0x80, 0x800, 0x10000};
            if (ok && v >= kMin[extra] && v <= 0x10FFFF && (v < 0xD800 || v > 0xDFFF)) {
                cp = v;
                p += extra;
            }
        }
    }
    if (cp > 0xFFFF) {
        out[0] = QChar::highSurrogate(cp);
        out[1] = QChar::lowSurrogate(cp);
        return 2;
    }
    out[0] = char16_t(cp);
    return 1;
}

qsizetype trimmedUtf8(const char* s, qsizetype n) {
    while (n > 0 && s[n - 1] == ' ')
        --n;
    return n;
}

void appendWeight(std::uint32_t w, QByteArray& out) {
    out.append(char(w >> 16)).append(char(w >> 8)).append(char(w));
}

} // namespace

std::uint32_t weight(char16_t unit) {
    return table()[unit];
}

QStringView trimmedForCompare(QStringView s) {
    qsizetype n = s.size();
    while (n > 0 && s[n - 1] == u' ')
        --n;
    return s.first(n);
}

int compare(QStringView a, QStringView b) {
    const Table& t = table();
    a = trimmedForCompare(a);
    b = trimmedForCompare(b);
    const qsizetype n = std::min(a.size(), b.size());
    for (qsizetype i = 0; i < n; ++i) {
        const char16_t x = a[i].unicode(), y = b[i].unicode();
        if (x == y) continue;
        const std::uint32_t wx = t[x], wy = t[y];
        if (wx != wy) return wx < wy ? -1 : 1;
    }
    return a.size() == b.size() ? 0 : a.size() < b.size() ? -1 : 1;
}

int compareUtf8(const char* a, qsizetype na, const char* b, qsizetype nb) {
    const Table& t = table();
    auto pa = reinterpret_cast<const unsigned char*>(a), pb = reinterpret_cast<const unsigned char*>(b);
    const unsigned char* ea = pa + trimmedUtf8(a, na);
    const unsigned char* eb = pb + trimmedUtf8(b, nb);
    char16_t ua[2], ub[2];
    int ia = 0, ib = 0, ka = 0, kb = 0;
    for (;;) {
        // ASCII runs are the common case: compare them without decoding.
        if (ia == ka && ib == kb && pa < ea && pb < eb && *pa < 0x80 && *pb < 0x80) {
            const std::uint32_t wx = t[*pa++], wy = t[*pb++];
            if (wx != wy) return wx < wy ? -1 : 1;
            continue;
        }
        if (ia == ka) {
            if (pa == ea) return (ib == kb && pb == eb) ? 0 : -1;
            ka = nextUnits(pa, ea, ua);
            ia = 0;
        }
        if (ib == kb) {
            if (pb == eb) return 1;
            kb = nextUnits(pb, eb, ub);
            ib = 0;
        }
        const char16_t x = ua[ia++], y = ub[ib++];
        if (x == y) continue;
        const std::uint32_t wx = t[x], wy = t[y];
        if (wx != wy) return wx < wy ? -1 : 1;
    }
}

void appendSortKey(QStringView s, QByteArray& out) {
    const Table& t = table();
    s = trimmedForCompare(s);
    for (QChar c : s)
        appendWeight(t[c.unicode()], out);
}

void appendSortKeyUtf8(const char* s, qsizetype n, QByteArray& out) {
    const Table& t = table();
    auto p = reinterpret_cast<const unsigned char*>(s);
    const unsigned char* e = p + trimmedUtf8(s, n);
    char16_t u[2];
    while (p < e) {
        const int k = nextUnits(p, e, u);
        for (int i = 0; i < k; ++i)
            appendWeight(t[u[i]], out);
    }
}

QByteArray sortKey(QStringView s) {
    QByteArray out;
    out.reserve(s.size() * 3);
    appendSortKey(s, out);
    return out;
}

} // namespace lnq::Collation
