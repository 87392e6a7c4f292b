#pragma once
// The one GBK (code page 936) codec of the project. Everything the framework
// defines in bytes (stream layouts, text files, byte limits, pinyin ranges)
// passes through here; inside the program text is QString.
//
// Conversions are stateless: each call converts one whole buffer on its own.
// Problems are reported, never dropped silently: a character GBK cannot hold
// is encoded as '?' and a byte sequence that is not GBK decodes to U+FFFD, and
// in both cases the optional error out-parameter says where the first one was.

#include <QByteArray>
#include <QByteArrayView>
#include <QString>
#include <QStringView>

namespace lnq::Gbk {

// Position (in characters for encode, in bytes for decode) of the first
// invalid unit, or -1 when the conversion was clean.
struct Error {
    qsizetype position = -1;
    bool ok() const { return position < 0; }
};

QByteArray encode(QStringView text, Error* error = nullptr);
QString decode(QByteArrayView bytes, Error* error = nullptr);

// Length of the text in GBK bytes (what byte limits of the framework count).
qsizetype byteLength(QStringView text);

// True for a byte that starts a two-byte GBK character (0x81 and above).
constexpr bool isLeadByte(unsigned char b) {
    return b >= 0x81;
}

// Throws lnq::Exception when the platform's codec library has no GBK. Called
// once at start-up by the tool, the demo and every test; the codec functions
// call it themselves on first use too.
void ensureAvailable();

} // namespace lnq::Gbk
