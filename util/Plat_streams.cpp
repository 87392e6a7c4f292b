#include "util/Plat_streams.h"

#include "util/Exceptions.h"
#include "util/Gbk.h"

#include <QtEndian>
#include <limits>

namespace lnq {

namespace {

void writeAll(QIODevice& stream, const char* data, qint64 size) {
    if (size == 0) return;
    const qint64 written = stream.write(data, size);
    if (written != size) {
        throw EInOutError(QStringLiteral("Stream write error (%1 of %2 bytes written): %3")
                              .arg(qMax<qint64>(written, 0))
                              .arg(size)
                              .arg(stream.errorString()));
    }
}

// Reads up to `length` bytes, growing the buffer with what arrives so that
// a corrupt length field cannot make us allocate what the stream does not hold.
QByteArray readUpTo(QIODevice& stream, qint32 length) {
    QByteArray bytes;
    if (length <= 0) return bytes;
    if (!stream.isSequential()) bytes.reserve(qMin<qint64>(length, qMax<qint64>(stream.bytesAvailable(), 0)));
    constexpr qint64 chunk = 64 * 1024;
    qint64 remaining = length;
    while (remaining > 0) {
        const qint64 want = qMin(remaining, chunk);
        const qsizetype old = bytes.size();
        bytes.resize(old + want);
        const qint64 got = stream.read(bytes.data() + old, want);
        if (got <= 0) {
            bytes.resize(old);
            break;
        }
        bytes.resize(old + got);
        remaining -= got;
        if (got < want && stream.atEnd()) break;
    }
    return bytes;
}

// Reads one text record; false when its length field could not be read whole.
bool readRecord(QIODevice& stream, QByteArray& bytes) {
    qint32 length = 0;
    if (!TUtils_Streams::ReadInt32(stream, length)) {
        bytes.clear();
        return false;
    }
    bytes = readUpTo(stream, length);
    return true;
}

template <typename Fn> void peek(QIODevice& stream, Fn load) {
    if (!stream.isSequential()) {
        const qint64 start = stream.pos();
        load();
        stream.seek(start);
        return;
    }
    if (stream.isTransactionStarted())
        throw EReadError(
            QStringLiteral("Cannot peek a text on a sequential stream inside a read transaction"));
    stream.startTransaction();
    load();
    stream.rollbackTransaction();
}

} // namespace

void TUtils_Streams::WriteInt32(QIODevice& stream, qint32 value) {
    char buf[4];
    qToLittleEndian<qint32>(value, buf);
    writeAll(stream, buf, 4);
}

bool TUtils_Streams::ReadInt32(QIODevice& stream, qint32& value) {
    char buf[4];
    qint64 got = 0;
    while (got < 4) {
        const qint64 n = stream.read(buf + got, 4 - got);
        if (n <= 0) return false;
        got += n;
    }
    value = qFromLittleEndian<qint32>(buf);
    return true;
}

void TUtils_Streams::SaveStringToStream(QIODevice& stream, const QString& text) {
    SaveStringToStream(stream, Gbk::encode(text));
}

void TUtils_Streams::SaveStringToStream(QIODevice& stream, const QByteArray& bytes) {
    if (bytes.size() > std::numeric_limits<qint32>::max())
        throw EInOutError(
            QStringLiteral("Text of %1 bytes is too long for a stream record").arg(bytes.size()));
    WriteInt32(stream, qint32(bytes.size()));
    writeAll(stream, bytes.constData(), bytes.size());
}

void TUtils_Streams::LoadStringFromStream(QIODevice& stream, QString& text) {
    QByteArray bytes;
    readRecord(stream, bytes);
    text = Gbk::decode(bytes);
}

void TUtils_Streams::LoadStringFromStream(QIODevice& stream, QByteArray& bytes) {
    readRecord(stream, bytes);
}

void TUtils_Streams::PeekStringFromStream(QIODevice& stream, QString& text) {
    peek(stream, [&] { LoadStringFromStream(stream, text); });
}

void TUtils_Streams::PeekStringFromStream(QIODevice& stream, QByteArray& bytes) {
    peek(stream, [&] { LoadStringFromStream(stream, bytes); });
}

void TUtils_Streams::SaveStringsToStream(QIODevice& stream, const QStringList& list) {
    QByteArrayList encoded;
    encoded.reserve(list.size());
    for (const QString& s : list)
        encoded.append(Gbk::encode(s));
    SaveStringsToStream(stream, encoded);
}

void TUtils_Streams::SaveStringsToStream(QIODevice& stream, const QByteArrayList& list) {
    if (list.size() > std::numeric_limits<qint32>::max())
        throw EInOutError(
            QStringLiteral("List of %1 texts is too long for a stream record").arg(list.size()));
    WriteInt32(stream, qint32(list.size()));
    for (const QByteArray& b : list)
        SaveStringToStream(stream, b);
}

void TUtils_Streams::LoadStringsFromStream(QIODevice& stream, QStringList& list) {
    QByteArrayList raw;
    LoadStringsFromStream(stream, raw);
    list.clear();
    list.reserve(raw.size());
    for (const QByteArray& b : raw)
        list.append(Gbk::decode(b));
}

void TUtils_Streams::LoadStringsFromStream(QIODevice& stream, QByteArrayList& list) {
    list.clear();
    qint32 count = 0;
    if (!ReadInt32(stream, count)) return;
    for (qint32 i = 0; i < count; ++i) {
        QByteArray b;
        if (!readRecord(stream, b)) break;
        list.append(std::move(b));
    }
}

} // namespace lnq
