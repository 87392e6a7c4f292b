#include "data/RecordStore.h"

#include "util/Plat_sysutils.h"

#include "util/Gbk.h"

#include <QDate>
#include <QDateTime>
#include <QStringEncoder>
#include <QTime>
#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

namespace lnq {

// ---------------------------------------------------------------------------
// Text and byte cells.

QByteArrayView TCellBuffer::longView(const char* p) {
    quint64 len = 0;
    std::memcpy(&len, p, sizeof len);
    return QByteArrayView(p + sizeof len, static_cast<qsizetype>(len));
}

qint64 TCellBuffer::storedBytes(quint64 span) const {
    const quint64 len = span & kLongLength;
    if (len != kLongLength) return static_cast<qint64>(len);
    return static_cast<qint64>(sizeof(quint64)) + longView(m_buf.data() + (span >> kLengthBits)).size();
}

quint64 TCellBuffer::place(QByteArrayView v) {
    if (v.isEmpty()) return 0;
    const auto len = static_cast<quint64>(v.size());
    const bool isLong = len >= kLongLength;
    const quint64 offset = m_buf.size();
    if (offset + len + sizeof(quint64) >= (quint64(1) << (64 - kLengthBits)))
        throw EDatabaseError(
            QStringLiteral("文本列的数据超过了 %1 字节").arg(quint64(1) << (64 - kLengthBits)));
    if (isLong) {
        const char* prefix = reinterpret_cast<const char*>(&len);
        m_buf.insert(m_buf.end(), prefix, prefix + sizeof len);
    }
    m_buf.insert(m_buf.end(), v.data(), v.data() + v.size());
    return offset << kLengthBits | (isLong ? kLongLength : len);
}

quint64 TCellBuffer::placeText(QStringView v) {
    if (v.isEmpty()) return 0;
    // At most three bytes per UTF-16 unit; texts that long are rare and go
    // through a converted copy. An unpaired surrogate becomes U+FFFD, as an
    // invalid UTF-8 sequence reads.
    const auto most = static_cast<quint64>(v.size()) * 3;
    if (most >= kLongLength) return place(QByteArray(QStringEncoder(QStringEncoder::Utf8).encode(v)));
    const size_t offset = m_buf.size();
    if (offset + most >= (quint64(1) << (64 - kLengthBits)))
        throw EDatabaseError(
            QStringLiteral("文本列的数据超过了 %1 字节").arg(quint64(1) << (64 - kLengthBits)));
    m_buf.resize(offset + static_cast<size_t>(most));
    QStringEncoder utf8(QStringEncoder::Utf8);
    char* const begin = m_buf.data() + offset;
    const char* const end = utf8.appendToBuffer(begin, v);
    const auto len = static_cast<quint64>(end - begin);
    m_buf.resize(offset + static_cast<size_t>(len));
    return quint64(offset) << kLengthBits | len;
}

void TCellBuffer::setText(qint64 r, QStringView v) {
    const qint64 old = storedBytes(m_spans[static_cast<size_t>(r)]);
    m_spans[static_cast<size_t>(r)] = placeText(v);
    m_unused += old;
    if (m_unused > (1 << 16) && m_unused * 2 > static_cast<qint64>(m_buf.size())) pack();
}

void TCellBuffer::popBack() {
    const quint64 s = m_spans.back();
    m_spans.pop_back();
    if ((s & kLongLength) == 0) return;
    // The last row's bytes are usually the buffer's last bytes.
    const qint64 n = storedBytes(s);
    if (static_cast<qint64>(s >> kLengthBits) + n == static_cast<qint64>(m_buf.size()))
        m_buf.resize(m_buf.size() - static_cast<size_t>(n));
    else
        m_unused += n;
}

void TCellBuffer::set(qint64 r, QByteArrayView v) {
    quint64& span = m_spans[static_cast<size_t>(r)];
    const qint64 old = storedBytes(span);
    const QByteArrayView current = view(r);
    if (!v.isEmpty() && current.size() == v.size() && (span & kLongLength) != kLongLength) {
        // Same length: overwrite in place (also when v is this very cell).
        std::memmove(m_buf.data() + (span >> kLengthBits), v.data(), static_cast<size_t>(v.size()));
        return;
    }
    if (!v.isEmpty() && v.data() >= m_buf.data() && v.data() < m_buf.data() + m_buf.size()) {
        // Bytes of this buffer, which placing may move: copy them first.
        const QByteArray copy = v.toByteArray();
        set(r, copy);
        return;
    }
    m_spans[static_cast<size_t>(r)] = place(v);
    m_unused += old;
    if (m_unused > (1 << 16) && m_unused * 2 > static_cast<qint64>(m_buf.size())) pack();
}

void TCellBuffer::pack() {
    std::vector<char> packed;
    packed.reserve(m_buf.size() - static_cast<size_t>(m_unused));
    for (quint64& s : m_spans) {
        const qint64 n = storedBytes(s);
        if (n == 0) continue;
        const char* p = m_buf.data() + (s >> kLengthBits);
        const quint64 offset = packed.size();
        packed.insert(packed.end(), p, p + n);
        s = offset << kLengthBits | (s & kLongLength);
    }
    m_buf.swap(packed);
    m_unused = 0;
}

bool isValidUtf8(QByteArrayView bytes) {
    auto p = reinterpret_cast<const unsigned char*>(bytes.data());
    const unsigned char* const e = p + bytes.size();
    while (p < e) {
        // ASCII eight bytes at a time.
        while (e - p >= 8) {
            quint64 w;
            std::memcpy(&w, p, sizeof w);
            if (w & 0x8080808080808080ull) break;
            p += 8;
        }
        if (p == e) break;
        const unsigned c = *p;
        if (c < 0x80) {
            ++p;
            continue;
        }
        // Three-byte forms (the Chinese characters) first.
        if ((c & 0xF0) == 0xE0 && e - p >= 3) {
            const unsigned b1 = p[1];
            if ((b1 & 0xC0) != 0x80 || (p[2] & 0xC0) != 0x80) return false;
            if ((c == 0xE0 && b1 < 0xA0) || (c == 0xED && b1 > 0x9F)) return false;
            p += 3;
            continue;
        }
        int extra;
        unsigned lo = 0x80, hi = 0xBF; // allowed range of the second byte
        if (c >= 0xC2 && c <= 0xDF) {
            extra = 1;
        } else if (c >= 0xE0 && c <= 0xEF) {
            extra = 2;
            if (c == 0xE0) lo = 0xA0;
            if (c == 0xED) hi = 0x9F;
        } else if (c >= 0xF0 && c <= 0xF4) {
            extra = 3;
            if (c == 0xF0) lo = 0x90;
            if (c == 0xF4) hi = 0x8F;
        } else {
            return false;
        }
        if (e - p <= extra) return false;
        if (p[1] < lo || p[1] > hi) return false;
        for (int i = 2; i <= extra; ++i)
            if ((p[i] & 0xC0) != 0x80) return false;
        p += extra + 1;
    }
    return true;
}

// ---------------------------------------------------------------------------
// Columns and the store.

void TStoreColumn::reserve(qint64 rows) {
    const auto n = static_cast<size_t>(rows);
    switch (kind) {
    case TStorageKind::Integer:
    case TStorageKind::Boolean:
        ints.reserve(n);
        break;
    case TStorageKind::Float:
    case TStorageKind::DateTime:
        reals.reserve(n);
        break;
    case TStorageKind::Text:
    case TStorageKind::Bytes:
        cells.reserve(rows);
        break;
    }
    nulls.reserve((n + 63) / 64);
}

void TStoreColumn::appendNull() {
    switch (kind) {
    case TStorageKind::Integer:
    case TStorageKind::Boolean:
        ints.push_back(0);
        break;
    case TStorageKind::Float:
    case TStorageKind::DateTime:
        reals.push_back(0);
        break;
    case TStorageKind::Text:
    case TStorageKind::Bytes:
        cells.appendEmpty();
        break;
    }
}

void TStoreColumn::popValue() {
    switch (kind) {
    case TStorageKind::Integer:
    case TStorageKind::Boolean:
        ints.pop_back();
        break;
    case TStorageKind::Float:
    case TStorageKind::DateTime:
        reals.pop_back();
        break;
    case TStorageKind::Text:
    case TStorageKind::Bytes:
        cells.popBack();
        break;
    }
}

void TStoreColumn::clearValue(qint64 r) {
    const auto i = static_cast<size_t>(r);
    switch (kind) {
    case TStorageKind::Integer:
    case TStorageKind::Boolean:
        ints[i] = 0;
        break;
    case TStorageKind::Float:
    case TStorageKind::DateTime:
        reals[i] = 0;
        break;
    case TStorageKind::Text:
    case TStorageKind::Bytes:
        cells.clear(r);
        break;
    }
    setNullBit(r, true);
}

TRecordStore::TRecordStore(const TFieldDefs& d) : defs(d) {
    cols.resize(defs.size());
    for (size_t i = 0; i < defs.size(); ++i) {
        cols[i].type = defs[i].DataType;
        cols[i].kind = StorageKindOf(defs[i].DataType);
    }
    while (fieldCount < static_cast<int>(defs.size()) && !defs[static_cast<size_t>(fieldCount)].Hidden)
        ++fieldCount;
}

void TRecordStore::reserve(qint64 n) {
    if (n <= 0) return;
    for (TStoreColumn& c : cols)
        c.reserve(n);
}

qint64 TRecordStore::appendNullRow() {
    const qint64 r = rows;
    if ((r & 63) == 0)
        for (TStoreColumn& c : cols)
            c.nulls.push_back(0);
    for (TStoreColumn& c : cols) {
        c.appendNull();
        c.setNullBit(r, true);
    }
    if (!dead.empty()) dead.push_back(0);
    ++rows;
    return r;
}

void TRecordStore::materializeOrder() {
    if (!identityOrder) return;
    order.resize(static_cast<size_t>(rows));
    for (qint64 i = 0; i < rows; ++i)
        order[static_cast<size_t>(i)] = static_cast<qint32>(i);
    identityOrder = false;
}

std::vector<qint32> TRecordStore::naturalOrder() const {
    if (!identityOrder) return order;
    std::vector<qint32> v(static_cast<size_t>(rows));
    for (qint64 i = 0; i < rows; ++i)
        v[static_cast<size_t>(i)] = static_cast<qint32>(i);
    return v;
}

qint64 TRecordStore::naturalRank(qint64 record) const {
    if (identityOrder) return record >= 0 && record < rows ? record : -1;
    const auto it = std::find(order.begin(), order.end(), static_cast<qint32>(record));
    return it == order.end() ? -1 : static_cast<qint64>(it - order.begin());
}

void TRecordStore::insertInOrder(qint64 record, qint64 rank) {
    // Appending the newest row at the end keeps the cheap identity order.
    if (identityOrder && record == rows - 1 && rank >= record) {
        ++liveRows;
        return;
    }
    if (identityOrder) {
        // The identity order covers every row, the new one included: take
        // the new one out before placing it.
        materializeOrder();
        order.erase(std::remove(order.begin(), order.end(), static_cast<qint32>(record)), order.end());
    }
    rank = std::clamp<qint64>(rank, 0, static_cast<qint64>(order.size()));
    order.insert(order.begin() + rank, static_cast<qint32>(record));
    ++liveRows;
}

void TRecordStore::markDead(qint64 record) {
    if (!isLive(record)) return;
    const qint64 rank = naturalRank(record);
    materializeOrder();
    if (dead.empty()) dead.assign(static_cast<size_t>(rows), 0);
    dead[static_cast<size_t>(record)] = 1;
    if (rank >= 0) order.erase(order.begin() + rank);
    --liveRows;
}

void TRecordStore::copyCell(int col, qint64 dst, const TRecordStore& src, qint64 srcRow) {
    TStoreColumn& d = cols[static_cast<size_t>(col)];
    const TStoreColumn& s = src.cols[static_cast<size_t>(col)];
    if (s.isNull(srcRow)) {
        d.clearValue(dst);
        return;
    }
    const auto di = static_cast<size_t>(dst);
    const auto si = static_cast<size_t>(srcRow);
    if (d.kind == s.kind) {
        switch (d.kind) {
        case TStorageKind::Integer:
        case TStorageKind::Boolean:
            d.ints[di] = s.ints[si];
            break;
        case TStorageKind::Float:
        case TStorageKind::DateTime:
            d.reals[di] = s.reals[si];
            break;
        case TStorageKind::Text:
        case TStorageKind::Bytes:
            d.cells.set(dst, s.cells.view(srcRow));
            break;
        }
        d.setNullBit(dst, false);
    } else {
        cell::setVariant(d, dst, cell::toVariant(s, srcRow), QString());
    }
}

// ---------------------------------------------------------------------------
// Text helpers.

// Floats read as text the way the platform shows them: 15 significant digits,
// so a stored 0.1 + 0.2 reads "0.3" and money sums do not show binary noise.
QString formatFloat(double v) {
    return FloatToStr(v);
}

QString formatDateTime(TFieldType t, TDateTime v) {
    const QDateTime dt = DateTimeToQt(v);
    switch (t) {
    case TFieldType::ftDate:
        if (v == std::trunc(v)) return dt.date().toString(QStringLiteral("yyyy-MM-dd"));
        break;
    case TFieldType::ftTime:
        return dt.time().toString(QStringLiteral("HH:mm:ss"));
    default:
        break;
    }
    return dt.toString(QStringLiteral("yyyy-MM-dd HH:mm:ss"));
}

bool parseDateTimeText(const QString& text, TDateTime* out) {
    const QString s = text.trimmed();
    if (s.isEmpty()) return false;
    static const char* const dateTimeFormats[] = {
        "yyyy-MM-dd HH:mm:ss.zzz", "yyyy-MM-dd HH:mm:ss", "yyyy-MM-dd H:mm:ss",  "yyyy-M-d H:mm:ss",
        "yyyy-MM-dd HH:mm",        "yyyy-M-d H:mm",       "yyyy-MM-ddTHH:mm:ss", "yyyy-MM-ddTHH:mm:ss.zzz",
        "yyyy/M/d H:mm:ss",        "yyyy/M/d H:mm",       "yyyy.M.d H:mm:ss"};
    for (const char* f : dateTimeFormats) {
        const QDateTime dt = QDateTime::fromString(s, QLatin1String(f));
        if (dt.isValid()) {
            *out = DateTimeFromQt(dt);
            return true;
        }
    }
    static const char* const dateFormats[] = {"yyyy-MM-dd", "yyyy-M-d", "yyyy/M/d",
                                              "yyyy.M.d",   "yyyyMMdd", "yyyy年M月d日"};
    for (const char* f : dateFormats) {
        const QDate d = QDate::fromString(s, QString::fromUtf8(f));
        if (d.isValid()) {
            *out = DateFromQt(d);
            return true;
        }
    }
    static const char* const timeFormats[] = {"HH:mm:ss", "H:mm:ss", "HH:mm", "H:mm", "HH:mm:ss.zzz"};
    for (const char* f : timeFormats) {
        const QTime t = QTime::fromString(s, QLatin1String(f));
        if (t.isValid()) {
            *out = t.msecsSinceStartOfDay() / 86400000.0;
            return true;
        }
    }
    return false;
}

bool parseBoolText(const QString& text, bool* out) {
    const QString s = text.trimmed().toLower();
    if (s == u"true" || s == u"t" || s == u"1" || s == u"yes" || s == u"y" || s == u"是" || s == u"-1") {
        *out = true;
        return true;
    }
    if (s == u"false" || s == u"f" || s == u"0" || s == u"no" || s == u"n" || s == u"否") {
        *out = false;
        return true;
    }
    return false;
}

namespace {

[[noreturn]] void convertError(const QString& text, const QString& fieldName, const char* what) {
    if (fieldName.isEmpty())
        throw EConvertError(QStringLiteral("'%1' 不是有效的%2").arg(text, QString::fromUtf8(what)));
    throw EConvertError(
        QStringLiteral("'%1' 不是字段 '%2' 的有效%3").arg(text, fieldName, QString::fromUtf8(what)));
}

qint64 parseIntText(const QString& text, const QString& fieldName) {
    bool ok = false;
    const QString s = text.trimmed();
    if (s.isEmpty()) return 0;
    const qint64 v = s.toLongLong(&ok);
    if (!ok) convertError(text, fieldName, "整数");
    return v;
}

double parseFloatText(const QString& text, const QString& fieldName) {
    bool ok = false;
    const QString s = text.trimmed();
    if (s.isEmpty()) return 0;
    const double v = s.toDouble(&ok);
    if (!ok) convertError(text, fieldName, "数值");
    return v;
}

bool isDateType(TFieldType t) {
    return t == TFieldType::ftDate || t == TFieldType::ftTime || t == TFieldType::ftDateTime;
}

} // namespace

// ---------------------------------------------------------------------------
// Reading cells.

namespace cell {

QString toText(const TStoreColumn& c, qint64 r) {
    if (c.isNull(r)) return QString();
    const auto i = static_cast<size_t>(r);
    switch (c.kind) {
    case TStorageKind::Text:
        return c.textAt(r);
    case TStorageKind::Integer:
        return QString::number(c.ints[i]);
    case TStorageKind::Boolean:
        return c.ints[i] ? QStringLiteral("True") : QStringLiteral("False");
    case TStorageKind::Float:
        return formatFloat(c.reals[i]);
    case TStorageKind::DateTime:
        return formatDateTime(c.type, c.reals[i]);
    case TStorageKind::Bytes:
        return Gbk::decode(c.cells.view(r));
    }
    return QString();
}

qint64 toInt(const TStoreColumn& c, qint64 r, const QString& fieldName) {
    if (c.isNull(r)) return 0;
    const auto i = static_cast<size_t>(r);
    switch (c.kind) {
    case TStorageKind::Integer:
    case TStorageKind::Boolean:
        return c.ints[i];
    case TStorageKind::Float: {
        const double v = c.reals[i];
        if (!(v > -9.2e18 && v < 9.2e18)) convertError(formatFloat(v), fieldName, "整数");
        return std::llround(v);
    }
    case TStorageKind::DateTime:
        return static_cast<qint64>(std::trunc(c.reals[i]));
    case TStorageKind::Text:
        return parseIntText(c.textAt(r), fieldName);
    case TStorageKind::Bytes:
        return parseIntText(Gbk::decode(c.cells.view(r)), fieldName);
    }
    return 0;
}

double toFloat(const TStoreColumn& c, qint64 r, const QString& fieldName) {
    if (c.isNull(r)) return 0;
    const auto i = static_cast<size_t>(r);
    switch (c.kind) {
    case TStorageKind::Float:
    case TStorageKind::DateTime:
        return c.reals[i];
    case TStorageKind::Integer:
    case TStorageKind::Boolean:
        return static_cast<double>(c.ints[i]);
    case TStorageKind::Text:
        return parseFloatText(c.textAt(r), fieldName);
    case TStorageKind::Bytes:
        return parseFloatText(Gbk::decode(c.cells.view(r)), fieldName);
    }
    return 0;
}

TDateTime toDateTime(const TStoreColumn& c, qint64 r, const QString& fieldName) {
    if (c.isNull(r)) return 0;
    const auto i = static_cast<size_t>(r);
    switch (c.kind) {
    case TStorageKind::Float:
    case TStorageKind::DateTime:
        return c.reals[i];
    case TStorageKind::Integer:
    case TStorageKind::Boolean:
        return static_cast<double>(c.ints[i]);
    case TStorageKind::Text:
    case TStorageKind::Bytes: {
        const QString s = c.kind == TStorageKind::Text ? c.textAt(r) : Gbk::decode(c.cells.view(r));
        if (s.trimmed().isEmpty()) return 0;
        TDateTime v = 0;
        if (!parseDateTimeText(s, &v)) convertError(s, fieldName, "日期时间");
        return v;
    }
    }
    return 0;
}

bool toBool(const TStoreColumn& c, qint64 r, const QString& fieldName) {
    if (c.isNull(r)) return false;
    const auto i = static_cast<size_t>(r);
    switch (c.kind) {
    case TStorageKind::Integer:
    case TStorageKind::Boolean:
        return c.ints[i] != 0;
    case TStorageKind::Float:
    case TStorageKind::DateTime:
        return c.reals[i] != 0;
    case TStorageKind::Text:
    case TStorageKind::Bytes: {
        const QString s = c.kind == TStorageKind::Text ? c.textAt(r) : Gbk::decode(c.cells.view(r));
        if (s.trimmed().isEmpty()) return false;
        bool v = false;
        if (!parseBoolText(s, &v)) convertError(s, fieldName, "布尔值");
        return v;
    }
    }
    return false;
}

QByteArray toBytes(const TStoreColumn& c, qint64 r) {
    if (c.isNull(r)) return QByteArray();
    if (c.kind == TStorageKind::Bytes) return c.bytesAt(r);
    return Gbk::encode(toText(c, r));
}

QVariant toVariant(const TStoreColumn& c, qint64 r) {
    if (c.isNull(r)) return QVariant();
    const auto i = static_cast<size_t>(r);
    switch (c.kind) {
    case TStorageKind::Text:
        return c.textAt(r);
    case TStorageKind::Integer:
        switch (c.type) {
        case TFieldType::ftLargeint:
            return QVariant::fromValue<qlonglong>(c.ints[i]);
        default:
            if (c.ints[i] >= std::numeric_limits<int>::min() && c.ints[i] <= std::numeric_limits<int>::max())
                return QVariant(static_cast<int>(c.ints[i]));
            return QVariant::fromValue<qlonglong>(c.ints[i]);
        }
    case TStorageKind::Boolean:
        return QVariant(c.ints[i] != 0);
    case TStorageKind::Float:
        return QVariant(c.reals[i]);
    case TStorageKind::DateTime:
        switch (c.type) {
        case TFieldType::ftDate:
            return QVariant(DateToQt(c.reals[i]));
        case TFieldType::ftTime:
            return QVariant(DateTimeToQt(c.reals[i]).time());
        default:
            return QVariant(DateTimeToQt(c.reals[i]));
        }
    case TStorageKind::Bytes:
        return QVariant(c.bytesAt(r));
    }
    return QVariant();
}

// ---------------------------------------------------------------------------
// Writing cells.

void setNull(TStoreColumn& c, qint64 r) {
    c.clearValue(r);
}

void setText(TStoreColumn& c, qint64 r, const QString& v, const QString& fieldName) {
    const auto i = static_cast<size_t>(r);
    if (c.kind == TStorageKind::Text) {
        c.cells.setText(r, v);
        c.setNullBit(r, false);
        return;
    }
    if (c.kind == TStorageKind::Bytes) {
        c.cells.set(r, Gbk::encode(v));
        c.setNullBit(r, false);
        return;
    }
    // Numbers, dates and booleans: an empty text clears the field.
    if (v.trimmed().isEmpty()) {
        c.clearValue(r);
        return;
    }
    switch (c.kind) {
    case TStorageKind::Integer: {
        bool ok = false;
        qint64 n = v.trimmed().toLongLong(&ok);
        if (!ok) convertError(v, fieldName, "整数");
        c.ints[i] = n;
        break;
    }
    case TStorageKind::Float:
        c.reals[i] = parseFloatText(v, fieldName);
        break;
    case TStorageKind::DateTime: {
        TDateTime d = 0;
        if (!parseDateTimeText(v, &d)) convertError(v, fieldName, "日期时间");
        c.reals[i] = d;
        break;
    }
    case TStorageKind::Boolean: {
        bool b = false;
        if (!parseBoolText(v, &b)) convertError(v, fieldName, "布尔值");
        c.ints[i] = b ? 1 : 0;
        break;
    }
    default:
        break;
    }
    c.setNullBit(r, false);
}

void setInt(TStoreColumn& c, qint64 r, qint64 v) {
    const auto i = static_cast<size_t>(r);
    switch (c.kind) {
    case TStorageKind::Integer:
        c.ints[i] = v;
        break;
    case TStorageKind::Boolean:
        c.ints[i] = v != 0 ? 1 : 0;
        break;
    case TStorageKind::Float:
    case TStorageKind::DateTime:
        c.reals[i] = static_cast<double>(v);
        break;
    case TStorageKind::Text:
        c.cells.set(r, QByteArray::number(v));
        break;
    case TStorageKind::Bytes:
        c.cells.set(r, QByteArray::number(v));
        break;
    }
    c.setNullBit(r, false);
}

void setFloat(TStoreColumn& c, qint64 r, double v) {
    const auto i = static_cast<size_t>(r);
    switch (c.kind) {
    case TStorageKind::Integer:
        if (!(v > -9.2e18 && v < 9.2e18)) convertError(formatFloat(v), QString(), "整数");
        c.ints[i] = std::llround(v);
        break;
    case TStorageKind::Boolean:
        c.ints[i] = v != 0 ? 1 : 0;
        break;
    case TStorageKind::Float:
    case TStorageKind::DateTime:
        c.reals[i] = v;
        break;
    case TStorageKind::Text:
        c.cells.set(r, formatFloat(v).toUtf8());
        break;
    case TStorageKind::Bytes:
        c.cells.set(r, formatFloat(v).toLatin1());
        break;
    }
    c.setNullBit(r, false);
}

void setDateTime(TStoreColumn& c, qint64 r, TDateTime v) {
    const auto i = static_cast<size_t>(r);
    switch (c.kind) {
    case TStorageKind::Text:
        c.cells.set(r, formatDateTime(TFieldType::ftDateTime, v).toUtf8());
        c.setNullBit(r, false);
        return;
    case TStorageKind::Bytes:
        c.cells.set(r, formatDateTime(TFieldType::ftDateTime, v).toLatin1());
        c.setNullBit(r, false);
        return;
    case TStorageKind::Integer:
        c.ints[i] = static_cast<qint64>(std::trunc(v));
        c.setNullBit(r, false);
        return;
    default:
        setFloat(c, r, v);
    }
}

void setBool(TStoreColumn& c, qint64 r, bool v) {
    switch (c.kind) {
    case TStorageKind::Text:
        c.cells.set(r, v ? QByteArrayView("True") : QByteArrayView("False"));
        c.setNullBit(r, false);
        return;
    case TStorageKind::Bytes:
        c.cells.set(r, v ? QByteArrayView("True") : QByteArrayView("False"));
        c.setNullBit(r, false);
        return;
    default:
        setInt(c, r, v ? 1 : 0);
    }
}

void setBytes(TStoreColumn& c, qint64 r, const QByteArray& v, const QString& fieldName) {
    if (c.kind == TStorageKind::Bytes) {
        c.cells.set(r, v);
        c.setNullBit(r, false);
        return;
    }
    setText(c, r, Gbk::decode(v), fieldName);
}

void setVariant(TStoreColumn& c, qint64 r, const QVariant& v, const QString& fieldName) {
    if (v.isNull() || !v.isValid()) {
        c.clearValue(r);
        return;
    }
    switch (v.typeId()) {
    case QMetaType::Bool:
        setBool(c, r, v.toBool());
        return;
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::LongLong:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::Char:
    case QMetaType::SChar:
    case QMetaType::UChar:
    case QMetaType::Long:
        setInt(c, r, v.toLongLong());
        return;
    case QMetaType::ULongLong:
    case QMetaType::ULong:
        setFloat(c, r, v.toDouble());
        return;
    case QMetaType::Double:
    case QMetaType::Float:
        if (isDateType(c.type))
            setDateTime(c, r, v.toDouble());
        else
            setFloat(c, r, v.toDouble());
        return;
    case QMetaType::QDateTime:
        setDateTime(c, r, DateTimeFromQt(v.toDateTime()));
        return;
    case QMetaType::QDate:
        setDateTime(c, r, DateFromQt(v.toDate()));
        return;
    case QMetaType::QTime:
        setDateTime(c, r, v.toTime().msecsSinceStartOfDay() / 86400000.0);
        return;
    case QMetaType::QByteArray:
        setBytes(c, r, v.toByteArray(), fieldName);
        return;
    default:
        setText(c, r, v.toString(), fieldName);
        return;
    }
}

} // namespace cell
} // namespace lnq
