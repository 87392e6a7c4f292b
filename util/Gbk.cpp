#include "util/Gbk.h"

#include "util/Exceptions.h"

#include <QStringDecoder>
#include <QStringEncoder>

namespace lnq::Gbk {

namespace {

// A converter per call keeps every conversion independent: Qt's ICU-backed
// converters cannot be reset and reused once they have seen an error.
QStringEncoder makeEncoder() {
    QStringEncoder e("GBK", QStringConverter::Flag::Stateless);
    if (!e.isValid()) throw Exception(QStringLiteral("the platform has no GBK (code page 936) text codec"));
    return e;
}

QStringDecoder makeDecoder() {
    QStringDecoder d("GBK", QStringConverter::Flag::Stateless);
    if (!d.isValid()) throw Exception(QStringLiteral("the platform has no GBK (code page 936) text codec"));
    return d;
}

bool isAscii(QStringView s) {
    for (QChar c : s)
        if (c.unicode() >= 0x80) return false;
    return true;
}

bool isAscii(QByteArrayView b) {
    for (char c : b)
        if (static_cast<unsigned char>(c) >= 0x80) return false;
    return true;
}

} // namespace

void ensureAvailable() {
    static const bool available = [] {
        (void)makeEncoder();
        (void)makeDecoder();
        return true;
    }();
    (void)available;
}

QByteArray encode(QStringView text, Error* error) {
    if (error) *error = Error{};
    // ASCII is identical in GBK; skipping the converter keeps hot paths cheap.
    if (isAscii(text)) return text.toLatin1();
    QStringEncoder enc = makeEncoder();
    QByteArray out = enc.encode(text);
    if (enc.hasError() && error) {
        // Find the first character the codec cannot represent.
        for (qsizetype i = 0; i < text.size(); ++i) {
            const qsizetype len = text[i].isHighSurrogate() && i + 1 < text.size() ? 2 : 1;
            QStringEncoder one = makeEncoder();
            const QByteArray probe = one.encode(text.mid(i, len));
            Q_UNUSED(probe);
            if (one.hasError()) {
                error->position = i;
                break;
            }
            i += len - 1;
        }
        if (error->position < 0) error->position = 0;
    }
    return out;
}

QString decode(QByteArrayView bytes, Error* error) {
    if (error) *error = Error{};
    if (isAscii(bytes)) return QString::fromLatin1(bytes);
    QStringDecoder dec = makeDecoder();
    QString out = dec.decode(bytes);
    // The codec drops a lead byte that ends the buffer; keep it visible.
    if (dec.hasError() && isLeadByte(static_cast<unsigned char>(bytes.back()))) {
        qsizetype i = 0;
        while (i < bytes.size())
            i += isLeadByte(static_cast<unsigned char>(bytes[i])) ? 2 : 1;
        if (i > bytes.size()) out.append(QChar(QChar::ReplacementCharacter));
    }
    if (dec.hasError() && error) {
        // Walk character by character (one or two bytes) to locate the first bad unit.
        qsizetype i = 0;
        while (i < bytes.size()) {
            const auto b = static_cast<unsigned char>(bytes[i]);
            const qsizetype len = (isLeadByte(b) && b != 0xFF && i + 1 < bytes.size()) ? 2 : 1;
            QStringDecoder one = makeDecoder();
            const QString probe = one.decode(bytes.sliced(i, len));
            Q_UNUSED(probe);
            if (one.hasError() || (isLeadByte(b) && len == 1)) {
                error->position = i;
                break;
            }
            i += len;
        }
        if (error->position < 0) error->position = 0;
    }
    return out;
}

qsizetype byteLength(QStringView text) {
    if (isAscii(text)) return text.size();
    return encode(text).size();
}

} // namespace lnq::Gbk
