#include "filter/ViewStream.h"

#include "util/Exceptions.h"
#include "util/Gbk.h"
#include "util/Plat_streams.h"

#include <QBuffer>
#include <QtEndian>

namespace lnq {

namespace {

// What is being read, for the error texts. The text is built only when an
// error needs it: a view may hold thousands of conditions.
struct What {
    QStringView name; // holds %1 for the condition's number
    qint32 condition = 0;
    bool length = false; // the length field in front of a text
    QString text() const {
        const QString base = condition > 0 ? name.toString().arg(condition) : name.toString();
        return length ? base + QStringLiteral("的长度") : base;
    }
};

// Reads the layout with every length checked against what is left, so that a
// damaged or hostile view cannot make us allocate from a wild length.
class Reader {
public:
    explicit Reader(QIODevice& device) : m_device(device) {
        if (!device.isReadable()) throw EReadError(QStringLiteral("视图数据无法读取：数据流未以读方式打开"));
        if (!device.isSequential() && !device.seek(0))
            throw EReadError(QStringLiteral("视图数据无法读取：不能回到数据流开头"));
    }

    quint8 byte(const What& what) {
        char c = 0;
        need(1, what);
        readExactly(&c, 1, what);
        return static_cast<quint8>(c);
    }

    qint32 int32(const What& what) {
        char b[4];
        need(4, what);
        readExactly(b, 4, what);
        return qFromLittleEndian<qint32>(b);
    }

    QString text(const What& what) {
        const qint32 length = int32(What{what.name, what.condition, true});
        if (length < 0)
            throw EReadError(QStringLiteral("视图数据已损坏：%1的长度 %2 无效（位置 %3）")
                                 .arg(what.text())
                                 .arg(length)
                                 .arg(m_offset - 4));
        if (length > remaining())
            throw EReadError(QStringLiteral("视图数据已损坏：%1的长度 %2 超出剩余的 %3 字节（位置 %4）")
                                 .arg(what.text())
                                 .arg(length)
                                 .arg(remaining())
                                 .arg(m_offset - 4));
        QByteArray bytes(length, Qt::Uninitialized);
        readExactly(bytes.data(), length, what);
        return Gbk::decode(bytes);
    }

    qint64 remaining() const {
        if (m_device.isSequential()) return m_device.bytesAvailable();
        return qMax<qint64>(0, m_device.size() - m_device.pos());
    }
    qint64 offset() const { return m_offset; }

private:
    void need(qint64 n, const What& what) const {
        if (remaining() < n) truncated(what);
    }
    [[noreturn]] void truncated(const What& what) const {
        throw EReadError(
            QStringLiteral("视图数据不完整：读取%1时数据在第 %2 字节处结束").arg(what.text()).arg(m_offset));
    }
    void readExactly(char* data, qint64 n, const What& what) {
        qint64 done = 0;
        while (done < n) {
            const qint64 got = m_device.read(data + done, n - done);
            if (got <= 0) truncated(what);
            done += got;
        }
        m_offset += n;
    }

    QIODevice& m_device;
    qint64 m_offset = 0;
};

void writeByte(QIODevice& stream, quint8 b) {
    const char c = static_cast<char>(b);
    if (stream.write(&c, 1) != 1)
        throw EInOutError(QStringLiteral("视图数据写入失败：%1").arg(stream.errorString()));
}

} // namespace

QString TStoredView::ResultSQL() const {
    if (IsSQL) return SQL;
    const QString joiner = MatchAll ? QStringLiteral(" And ") : QStringLiteral(" OR ");
    QString sql;
    for (size_t i = 0; i < Conditions.size(); ++i)
        sql += (i == 0 ? QStringLiteral(" and (") : joiner) + Conditions[i].Piece;
    return sql + QStringLiteral(" )");
}

namespace {

TStoredView readView(QIODevice& stream);

// A sequential device tells neither its size nor what is still to come:
// its bytes are gathered first, up to the limit, and read from memory.
TStoredView readSequential(QIODevice& stream) {
    if (!stream.isReadable()) throw EReadError(QStringLiteral("视图数据无法读取：数据流未以读方式打开"));
    QByteArray data;
    char chunk[1 << 16];
    for (;;) {
        // -1 is the end of a closed sequential device as well as an error;
        // either way the bytes gathered so far are all there is, and a view
        // cut short is reported as such by the reader.
        const qint64 got = stream.read(chunk, sizeof chunk);
        if (got < 0 || (got == 0 && !stream.waitForReadyRead(-1))) break;
        if (data.size() + got > kMaxViewBytes)
            throw EReadError(QStringLiteral("视图数据超过 %1 字节的上限").arg(kMaxViewBytes));
        data.append(chunk, got);
    }
    QBuffer buffer(&data);
    buffer.open(QIODevice::ReadOnly);
    return readView(buffer);
}

} // namespace

TStoredView ReadStoredView(QIODevice& stream) {
    if (stream.isSequential()) return readSequential(stream);
    if (stream.size() > kMaxViewBytes)
        throw EReadError(
            QStringLiteral("视图数据超过 %1 字节的上限（共 %2 字节）").arg(kMaxViewBytes).arg(stream.size()));
    return readView(stream);
}

namespace {

TStoredView readView(QIODevice& stream) {
    Reader r(stream);
    TStoredView view;
    view.Version = r.byte({u"版本号"});
    view.IsSQL = view.Version >= 2 ? r.byte({u"SQL 标志"}) != 0 : false;
    view.MatchAll = view.Version >= 3 ? r.byte({u"匹配方式"}) != 0 : true;
    if (view.IsSQL) {
        view.SQL = r.text({u"SQL 文本"});
        return view;
    }
    const qint32 count = r.int32({u"条件数"});
    // Every condition takes at least its three length fields.
    if (count > 0 && count > r.remaining() / 12)
        throw EReadError(
            QStringLiteral("视图数据已损坏：条件数 %1 超出剩余的 %2 字节所能容纳的数量（位置 %3）")
                .arg(count)
                .arg(r.remaining())
                .arg(r.offset() - 4));
    if (count > kMaxViewConditions)
        throw EReadError(QStringLiteral("视图数据已损坏：条件数 %1 超过 %2 个的上限（位置 %3）")
                             .arg(count)
                             .arg(kMaxViewConditions)
                             .arg(r.offset() - 4));
    if (count > 0) view.Conditions.reserve(static_cast<size_t>(count));
    for (qint32 i = 1; i <= count; ++i) {
        TCondition c;
        c.Piece = r.text({u"第 %1 个条件的 SQL 片段", i});
        c.Row.Caption = r.text({u"第 %1 个条件的标题", i});
        c.Row.Description = r.text({u"第 %1 个条件的说明", i});
        view.Conditions.push_back(std::move(c));
    }
    return view;
}

} // namespace

void SaveToStream(QIODevice& stream, const TConditionList& conditions, bool matchAll) {
    writeByte(stream, 3);
    writeByte(stream, 0);
    writeByte(stream, matchAll ? 1 : 0);
    TUtils_Streams::WriteInt32(stream, conditions.Count());
    for (const TCondition& c : conditions.Items()) {
        TUtils_Streams::SaveStringToStream(stream, c.Piece);
        TUtils_Streams::SaveStringToStream(stream, c.Row.Caption);
        TUtils_Streams::SaveStringToStream(stream, c.Row.Description);
    }
}

void SaveSQLToStream(QIODevice& stream, const QString& sql) {
    writeByte(stream, 3);
    writeByte(stream, 1);
    writeByte(stream, 1);
    TUtils_Streams::SaveStringToStream(stream, sql);
}

QString LoadSQLFromStream(QIODevice& stream, bool& isSQL) {
    const TStoredView view = ReadStoredView(stream);
    isSQL = view.IsSQL;
    return view.ResultSQL();
}

} // namespace lnq
