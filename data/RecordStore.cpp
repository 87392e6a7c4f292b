#include "data/RecordStore.h"

#include "util/Plat_sysutils.h"

#include "util/Gbk.h"

#include <QDate>
#include <QDateTime>
#include <QTime>
#include <algorithm>
#include <cmath>
#include <limits>

namespace lnq {

// ---------------------------------------------------------------------------
// Columns and the store.

void TColumn::reserve(qint64 rows) {
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
        texts.reserve(n);
        break;
    case TStorageKind::Bytes:
        bytes.reserve(n);
        break;
    }
    nulls.reserve((n + 63) / 64);
}

void TColumn::appendNull() {
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
        texts.emplace_back();
        break;
    case TStorageKind::Bytes:
        bytes.emplace_back();
        break;
    }
}

void TColumn::clearValue(qint64 r) {
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
        texts[i] = QString();
        break;
    case TStorageKind::Bytes:
        bytes[i] = QByteArray();
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
    for (TColumn& c : cols)
        c.reserve(n);
}

qint64 TRecordStore::appendNullRow() {
    const qint64 r = rows;
    if ((r & 63) == 0)
        for (TColumn& c : cols)
            c.nulls.push_back(0);
    for (TColumn& c : cols) {
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
    TColumn& d = cols[static_cast<size_t>(col)];
    const TColumn& s = src.cols[static_cast<size_t>(col)];
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
            d.texts[di] = s.texts[si];
            break;
        case TStorageKind::Bytes:
            d.bytes[di] = s.bytes[si];
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

QString toText(const TColumn& c, qint64 r) {
    if (c.isNull(r)) return QString();
    const auto i = static_cast<size_t>(r);
    switch (c.kind) {
    case TStorageKind::Text:
        return c.texts[i];
    case TStorageKind::Integer:
        return QString::number(c.ints[i]);
    case TStorageKind::Boolean:
        return c.ints[i] ? QStringLiteral("True") : QStringLiteral("False");
    case TStorageKind::Float:
        return formatFloat(c.reals[i]);
    case TStorageKind::DateTime:
        return formatDateTime(c.type, c.reals[i]);
    case TStorageKind::Bytes:
        return Gbk::decode(c.bytes[i]);
    }
    return QString();
}

qint64 toInt(const TColumn& c, qint64 r, const QString& fieldName) {
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
        return parseIntText(c.texts[i], fieldName);
    case TStorageKind::Bytes:
        return parseIntText(Gbk::decode(c.bytes[i]), fieldName);
    }
    return 0;
}

double toFloat(const TColumn& c, qint64 r, const QString& fieldName) {
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
        return parseFloatText(c.texts[i], fieldName);
    case TStorageKind::Bytes:
        return parseFloatText(Gbk::decode(c.bytes[i]), fieldName);
    }
    return 0;
}

TDateTime toDateTime(const TColumn& c, qint64 r, const QString& fieldName) {
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
        const QString s = c.kind == TStorageKind::Text ? c.texts[i] : Gbk::decode(c.bytes[i]);
        if (s.trimmed().isEmpty()) return 0;
        TDateTime v = 0;
        if (!parseDateTimeText(s, &v)) convertError(s, fieldName, "日期时间");
        return v;
    }
    }
    return 0;
}

bool toBool(const TColumn& c, qint64 r, const QString& fieldName) {
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
        const QString s = c.kind == TStorageKind::Text ? c.texts[i] : Gbk::decode(c.bytes[i]);
        if (s.trimmed().isEmpty()) return false;
        bool v = false;
        if (!parseBoolText(s, &v)) convertError(s, fieldName, "布尔值");
        return v;
    }
    }
    return false;
}

QByteArray toBytes(const TColumn& c, qint64 r) {
    if (c.isNull(r)) return QByteArray();
    if (c.kind == TStorageKind::Bytes) return c.bytes[static_cast<size_t>(r)];
    return Gbk::encode(toText(c, r));
}

QVariant toVariant(const TColumn& c, qint64 r) {
    if (c.isNull(r)) return QVariant();
    const auto i = static_cast<size_t>(r);
    switch (c.kind) {
    case TStorageKind::Text:
        return c.texts[i];
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
        return QVariant(c.bytes[i]);
    }
    return QVariant();
}

// ---------------------------------------------------------------------------
// Writing cells.

void setNull(TColumn& c, qint64 r) {
    c.clearValue(r);
}

void setText(TColumn& c, qint64 r, const QString& v, const QString& fieldName) {
    const auto i = static_cast<size_t>(r);
    if (c.kind == TStorageKind::Text) {
        c.texts[i] = v;
        c.setNullBit(r, false);
        return;
    }
    if (c.kind == TStorageKind::Bytes) {
        c.bytes[i] = Gbk::encode(v);
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

void setInt(TColumn& c, qint64 r, qint64 v) {
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
        c.texts[i] = QString::number(v);
        break;
    case TStorageKind::Bytes:
        c.bytes[i] = QByteArray::number(v);
        break;
    }
    c.setNullBit(r, false);
}

void setFloat(TColumn& c, qint64 r, double v) {
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
        c.texts[i] = formatFloat(v);
        break;
    case TStorageKind::Bytes:
        c.bytes[i] = formatFloat(v).toLatin1();
        break;
    }
    c.setNullBit(r, false);
}

void setDateTime(TColumn& c, qint64 r, TDateTime v) {
    const auto i = static_cast<size_t>(r);
    switch (c.kind) {
    case TStorageKind::Text:
        c.texts[i] = formatDateTime(TFieldType::ftDateTime, v);
        c.setNullBit(r, false);
        return;
    case TStorageKind::Bytes:
        c.bytes[i] = formatDateTime(TFieldType::ftDateTime, v).toLatin1();
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

void setBool(TColumn& c, qint64 r, bool v) {
    const auto i = static_cast<size_t>(r);
    switch (c.kind) {
    case TStorageKind::Text:
        c.texts[i] = v ? QStringLiteral("True") : QStringLiteral("False");
        c.setNullBit(r, false);
        return;
    case TStorageKind::Bytes:
        c.bytes[i] = v ? QByteArray("True") : QByteArray("False");
        c.setNullBit(r, false);
        return;
    default:
        setInt(c, r, v ? 1 : 0);
    }
}

void setBytes(TColumn& c, qint64 r, const QByteArray& v, const QString& fieldName) {
    if (c.kind == TStorageKind::Bytes) {
        c.bytes[static_cast<size_t>(r)] = v;
        c.setNullBit(r, false);
        return;
    }
    setText(c, r, Gbk::decode(v), fieldName);
}

void setVariant(TColumn& c, qint64 r, const QVariant& v, const QString& fieldName) {
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
