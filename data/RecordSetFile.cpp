// The record-set file: a whole record set (field definitions and rows) in one
// binary file, recognised by its content.
//
// Layout (little-endian):
//   magic   8 bytes  "LNQRSET" 0x1A
//   version u32      1
//   fields  u32      count, then per field:
//           text name, u8 type (TFieldType), i32 size, i32 scale,
//           u8 flags (1 required, 2 read-only, 4 key), text base table, text base column
//   rows    i64
//   per column: null bitmap of ceil(rows / 8) bytes (bit set = null, LSB
//           first), then the values of the non-null rows in order:
//           integers i64, booleans u8, floats and date-times f64 (IEEE),
//           texts and bytes as u32 length + bytes (texts in UTF-8)
//   crc     u32      CRC-32 (IEEE) of everything before it
// "text" is u32 byte length + UTF-8. Calculated columns are not written, nor
// are hidden ones (a database's row identity means nothing in a file).
//
// Limits on reading: every count and length is checked against the bytes that
// remain before anything is allocated. A null cell costs one bit in the file
// but a whole slot in memory (8 bytes for numbers, a text or byte-array
// object otherwise), so the memory the rows take is estimated from the row
// count and the field types first: a file may need at most
// kMaxMemoryPerFileByte times its own size plus kMemorySlack bytes. Real data
// stays far below that (a file of numbers takes about its own size); a file
// of nothing but null rows is refused instead of growing 200-fold.

#include "data/RecordStore.h"

#include <QIODevice>
#include <algorithm>
#include <array>
#include <cstring>
#include <limits>

namespace lnq {

namespace {

// The widest decimal type holds 38 digits.
constexpr qint32 kMaxScale = 38;

constexpr char kMagic[8] = {'L', 'N', 'Q', 'R', 'S', 'E', 'T', 0x1A};
constexpr quint32 kVersion = 1;
constexpr qint64 kMaxMemoryPerFileByte = 64;
constexpr qint64 kMemorySlack = qint64(16) << 20;

// Memory one cell of a column takes, present or null.
qint64 cellCost(TStorageKind kind) {
    switch (kind) {
    case TStorageKind::Integer:
    case TStorageKind::Boolean:
        return sizeof(qint64);
    case TStorageKind::Float:
    case TStorageKind::DateTime:
        return sizeof(double);
    case TStorageKind::Text:
        return sizeof(QString);
    case TStorageKind::Bytes:
        return sizeof(QByteArray);
    }
    return sizeof(QString);
}

const std::array<quint32, 256>& crcTable() {
    static const std::array<quint32, 256> table = [] {
        std::array<quint32, 256> t{};
        for (quint32 i = 0; i < 256; ++i) {
            quint32 c = i;
            for (int k = 0; k < 8; ++k)
                c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
            t[i] = c;
        }
        return t;
    }();
    return table;
}

quint32 crcUpdate(quint32 crc, const char* data, qsizetype len) {
    const auto& t = crcTable();
    crc = ~crc;
    for (qsizetype i = 0; i < len; ++i)
        crc = t[(crc ^ static_cast<quint8>(data[i])) & 0xFF] ^ (crc >> 8);
    return ~crc;
}

class Writer {
public:
    explicit Writer(QIODevice& out) : m_out(out) { m_buf.reserve(kChunk + 64); }
    void raw(const void* p, qsizetype n) {
        m_buf.append(static_cast<const char*>(p), n);
        if (m_buf.size() >= kChunk) flush();
    }
    template <typename T> void le(T v) {
        unsigned char b[sizeof(T)];
        std::memcpy(b, &v, sizeof(T));
        if constexpr (Q_BYTE_ORDER == Q_BIG_ENDIAN) std::reverse(b, b + sizeof(T));
        raw(b, sizeof(T));
    }
    void u8(quint8 v) { raw(&v, 1); }
    void u32(quint32 v) { le(v); }
    void i32(qint32 v) { le(v); }
    void i64(qint64 v) { le(v); }
    void f64(double v) {
        quint64 bits;
        std::memcpy(&bits, &v, sizeof bits);
        le(bits);
    }
    void bytes(const QByteArray& b) {
        u32(static_cast<quint32>(b.size()));
        raw(b.constData(), b.size());
    }
    void text(const QString& s) { bytes(s.toUtf8()); }
    void finish() {
        flush();
        quint32 crc = m_crc;
        unsigned char b[4];
        std::memcpy(b, &crc, 4);
        if constexpr (Q_BYTE_ORDER == Q_BIG_ENDIAN) std::reverse(b, b + 4);
        if (m_out.write(reinterpret_cast<const char*>(b), 4) != 4)
            throw EInOutError(QStringLiteral("写入记录集失败: %1").arg(m_out.errorString()));
    }

private:
    void flush() {
        if (m_buf.isEmpty()) return;
        m_crc = crcUpdate(m_crc, m_buf.constData(), m_buf.size());
        if (m_out.write(m_buf) != m_buf.size())
            throw EInOutError(QStringLiteral("写入记录集失败: %1").arg(m_out.errorString()));
        m_buf.clear();
    }
    static constexpr qsizetype kChunk = 1 << 16;
    QIODevice& m_out;
    QByteArray m_buf;
    quint32 m_crc = 0;
};

[[noreturn]] void bad(const QString& why) {
    throw EReadError(QStringLiteral("记录集文件无效：%1").arg(why));
}

class Reader {
public:
    Reader(const char* p, qsizetype n) : m_p(p), m_n(n) {}
    qsizetype remaining() const { return m_n - m_pos; }
    qsizetype pos() const { return m_pos; }
    const char* take(qsizetype n) {
        if (n < 0 || n > remaining()) bad(QStringLiteral("数据提前结束"));
        const char* p = m_p + m_pos;
        m_pos += n;
        return p;
    }
    template <typename T> T le() {
        unsigned char b[sizeof(T)];
        std::memcpy(b, take(sizeof(T)), sizeof(T));
        if constexpr (Q_BYTE_ORDER == Q_BIG_ENDIAN) std::reverse(b, b + sizeof(T));
        T v;
        std::memcpy(&v, b, sizeof(T));
        return v;
    }
    quint8 u8() { return static_cast<quint8>(*take(1)); }
    quint32 u32() { return le<quint32>(); }
    qint32 i32() { return le<qint32>(); }
    qint64 i64() { return le<qint64>(); }
    double f64() {
        const quint64 bits = le<quint64>();
        double v;
        std::memcpy(&v, &bits, sizeof v);
        return v;
    }
    QByteArray bytes() {
        const quint32 len = u32();
        if (len > static_cast<quint64>(remaining()))
            bad(QStringLiteral("长度 %1 超出文件剩余的数据").arg(len));
        const char* p = take(static_cast<qsizetype>(len));
        return QByteArray(p, static_cast<qsizetype>(len));
    }
    QString text() {
        const quint32 len = u32();
        if (len > static_cast<quint64>(remaining()))
            bad(QStringLiteral("长度 %1 超出文件剩余的数据").arg(len));
        const char* p = take(static_cast<qsizetype>(len));
        return QString::fromUtf8(p, static_cast<qsizetype>(len));
    }

private:
    const char* m_p;
    qsizetype m_n;
    qsizetype m_pos = 0;
};

} // namespace

void writeRecordSet(QIODevice& out, const TRecordStore& s) {
    std::vector<int> cols;
    for (int c = 0; c < s.columnCount(); ++c)
        if (s.defs[static_cast<size_t>(c)].Kind == TFieldKind::fkData &&
            !s.defs[static_cast<size_t>(c)].Hidden)
            cols.push_back(c);
    const std::vector<qint32> rows = s.naturalOrder();

    Writer w(out);
    w.raw(kMagic, sizeof kMagic);
    w.u32(kVersion);
    w.u32(static_cast<quint32>(cols.size()));
    for (int c : cols) {
        const TFieldDef& f = s.defs[static_cast<size_t>(c)];
        w.text(f.Name);
        w.u8(static_cast<quint8>(f.DataType));
        w.i32(f.Size);
        w.i32(f.Scale);
        w.u8(static_cast<quint8>((f.Required ? 1 : 0) | (f.ReadOnly ? 2 : 0) | (f.IsKey ? 4 : 0)));
        w.text(f.BaseTable);
        w.text(f.BaseColumn);
    }
    w.i64(static_cast<qint64>(rows.size()));
    for (int ci : cols) {
        const TStoreColumn& c = s.cols[static_cast<size_t>(ci)];
        quint8 byte = 0;
        int bit = 0;
        for (qint32 r : rows) {
            if (c.isNull(r)) byte |= static_cast<quint8>(1u << bit);
            if (++bit == 8) {
                w.u8(byte);
                byte = 0;
                bit = 0;
            }
        }
        if (bit) w.u8(byte);
        for (qint32 r : rows) {
            if (c.isNull(r)) continue;
            const auto i = static_cast<size_t>(r);
            switch (c.kind) {
            case TStorageKind::Integer:
                w.i64(c.ints[i]);
                break;
            case TStorageKind::Boolean:
                w.u8(c.ints[i] ? 1 : 0);
                break;
            case TStorageKind::Float:
            case TStorageKind::DateTime:
                w.f64(c.reals[i]);
                break;
            case TStorageKind::Text: // stored as UTF-8 already
            case TStorageKind::Bytes: {
                const QByteArrayView v = c.cells.view(r);
                w.bytes(QByteArray::fromRawData(v.data(), v.size()));
                break;
            }
            }
        }
    }
    w.finish();
}

std::shared_ptr<TRecordStore> readRecordSet(const QByteArray& data) {
    constexpr qsizetype kMinSize = sizeof kMagic + 4 + 4 + 8 + 4;
    if (data.size() < static_cast<qsizetype>(sizeof kMagic) ||
        std::memcmp(data.constData(), kMagic, sizeof kMagic) != 0)
        throw EReadError(QStringLiteral("文件不是记录集格式"));
    if (data.size() < kMinSize) bad(QStringLiteral("数据提前结束"));
    // The checksum first: a damaged file is reported as such, not by the
    // first odd value the damage happens to produce.
    const qsizetype body = data.size() - 4;
    Reader tail(data.constData() + body, 4);
    if (tail.u32() != crcUpdate(0, data.constData(), body))
        bad(QStringLiteral("校验和不符，文件已损坏或不完整"));

    Reader in(data.constData(), body);
    in.take(sizeof kMagic);
    const quint32 version = in.u32();
    if (version != kVersion) bad(QStringLiteral("不支持的版本 %1").arg(version));

    const quint32 fieldCount = in.u32();
    // name, type, size, scale, flags, base table, base column: 23 bytes at least.
    if (fieldCount > static_cast<quint64>(in.remaining()) / 23)
        bad(QStringLiteral("字段数 %1 超出文件大小").arg(fieldCount));
    TFieldDefs defs;
    defs.reserve(fieldCount);
    for (quint32 i = 0; i < fieldCount; ++i) {
        TFieldDef f;
        f.Name = in.text();
        const quint8 type = in.u8();
        if (type > static_cast<quint8>(TFieldType::ftFMTBcd))
            bad(QStringLiteral("字段 '%1' 的类型 %2 无效").arg(f.Name).arg(type));
        f.DataType = static_cast<TFieldType>(type);
        f.Size = in.i32();
        f.Scale = in.i32();
        // Decimal places beyond the widest decimal type would only serve to
        // make a display text of that many digits.
        if (f.Scale < 0 || f.Scale > kMaxScale)
            bad(QStringLiteral("字段 '") + f.Name + QStringLiteral("' 的小数位数 ") +
                QString::number(f.Scale) + QStringLiteral(" 无效"));
        const quint8 flags = in.u8();
        if (flags & ~7u) bad(QStringLiteral("字段 '%1' 的标志无效").arg(f.Name));
        f.Required = flags & 1;
        f.ReadOnly = flags & 2;
        f.IsKey = flags & 4;
        f.BaseTable = in.text();
        f.BaseColumn = in.text();
        defs.push_back(f);
    }
    const qint64 rows = in.i64();
    if (rows < 0 || rows > std::numeric_limits<qint32>::max())
        bad(QStringLiteral("记录数 %1 无效").arg(rows));
    if (fieldCount == 0 && rows != 0) bad(QStringLiteral("没有字段却有 %1 条记录").arg(rows));
    const qint64 bitmapBytes = (rows + 7) / 8;
    if (fieldCount > 0 && bitmapBytes > in.remaining() / static_cast<qint64>(fieldCount))
        bad(QStringLiteral("记录数 %1 超出文件大小").arg(rows));

    qint64 perRow = 0;
    for (const TFieldDef& f : defs)
        perRow += cellCost(StorageKindOf(f.DataType));
    // The null bitmaps bound rows * fields by 8 times the file's size, so the
    // product cannot overflow.
    const qint64 memory = rows * perRow;
    if (memory > kMaxMemoryPerFileByte * qint64(data.size()) + kMemorySlack)
        bad(QStringLiteral("%1 条记录在内存中约需 %2 字节，超过文件大小 %3 字节所允许的上限")
                .arg(rows)
                .arg(memory)
                .arg(data.size()));

    auto s = std::make_shared<TRecordStore>(defs);
    for (size_t ci = 0; ci < defs.size(); ++ci) {
        TStoreColumn& c = s->cols[ci];
        const char* bitmap = in.take(bitmapBytes);
        qint64 present = 0;
        for (qint64 r = 0; r < rows; ++r)
            if (!((static_cast<quint8>(bitmap[r >> 3]) >> (r & 7)) & 1)) ++present;
        // Every present value takes at least this many bytes.
        qint64 minBytes = 1;
        switch (c.kind) {
        case TStorageKind::Integer:
        case TStorageKind::Float:
        case TStorageKind::DateTime:
            minBytes = 8;
            break;
        case TStorageKind::Text:
        case TStorageKind::Bytes:
            minBytes = 4;
            break;
        case TStorageKind::Boolean:
            minBytes = 1;
            break;
        }
        if (present > in.remaining() / minBytes)
            bad(QStringLiteral("字段 '%1' 的数据超出文件大小").arg(defs[ci].Name));
        c.reserve(rows);
        c.nulls.assign(static_cast<size_t>((rows + 63) / 64), 0);
        for (qint64 r = 0; r < rows; ++r) {
            const bool isNull = (static_cast<quint8>(bitmap[r >> 3]) >> (r & 7)) & 1;
            if (isNull) {
                c.appendNull();
                c.setNullBit(r, true);
                continue;
            }
            switch (c.kind) {
            case TStorageKind::Integer:
                c.ints.push_back(in.i64());
                break;
            case TStorageKind::Boolean: {
                const quint8 b = in.u8();
                if (b > 1) bad(QStringLiteral("字段 '%1' 的布尔值 %2 无效").arg(defs[ci].Name).arg(b));
                c.ints.push_back(b);
                break;
            }
            case TStorageKind::Float:
            case TStorageKind::DateTime:
                c.reals.push_back(in.f64());
                break;
            case TStorageKind::Text: // invalid UTF-8 reads as U+FFFD, as the text reader gives it
                c.cells.append(in.text().toUtf8());
                break;
            case TStorageKind::Bytes:
                c.cells.append(in.bytes());
                break;
            }
        }
    }
    if (in.remaining() != 0) bad(QStringLiteral("记录之后有多余的数据"));
    s->rows = rows;
    s->liveRows = rows;
    return s;
}

} // namespace lnq
