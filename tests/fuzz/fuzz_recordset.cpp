// The record-set file: any bytes either raise EReadError or load, and what
// loaded saves to a file that loads and saves again to the same bytes. Each
// input is tried as it is and with its checksum made right.

#include "FuzzSupport.h"
#include "data/DataSet.h"
#include "util/Exceptions.h"

#include <QBuffer>
#include <array>

namespace {

QByteArray save(const lnq::TDataSet& ds) {
    QByteArray out;
    QBuffer buffer(&out);
    buffer.open(QIODevice::WriteOnly);
    ds.SaveToStream(buffer);
    return out;
}

// CRC-32 (IEEE), as the file's trailer holds it; a byte at a time from a
// table, since it runs over every input.
quint32 crc32(const char* p, qsizetype n) {
    static const std::array<quint32, 256> table = [] {
        std::array<quint32, 256> t{};
        for (quint32 b = 0; b < 256; ++b) {
            quint32 c = b;
            for (int k = 0; k < 8; ++k)
                c = (c & 1) ? 0xEDB88320u ^ (c >> 1) : c >> 1;
            t[b] = c;
        }
        return t;
    }();
    quint32 crc = 0xFFFFFFFFu;
    for (qsizetype i = 0; i < n; ++i)
        crc = table[(crc ^ quint8(p[i])) & 0xFF] ^ (crc >> 8);
    return ~crc;
}

void loadAndCheck(QByteArray input) {
    QBuffer buffer(&input);
    buffer.open(QIODevice::ReadOnly);
    lnq::TClientDataSet ds;
    try {
        ds.LoadFromStream(buffer);
    } catch (const lnq::EReadError&) {
        return;
    }
    // Every cell reads as text and as a display text.
    for (ds.First(); !ds.Eof(); ds.Next())
        for (int f = 0; f < ds.FieldCount(); ++f)
            (void)(ds.Fields(f).AsString().size() + ds.Fields(f).DisplayText().size());

    const QByteArray first = save(ds);
    QByteArray copy = first;
    QBuffer again(&copy);
    again.open(QIODevice::ReadOnly);
    lnq::TClientDataSet reloaded;
    reloaded.LoadFromStream(again); // a file just written must load
    LNQ_FUZZ_CHECK(reloaded.RecordCount() == ds.RecordCount(), "the rows survive a save");
    LNQ_FUZZ_CHECK(save(reloaded) == first, "saving is stable");
}

} // namespace

LNQ_FUZZ_INITIALIZE(false, "LNQRSET")

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    lnqfuzz::init();
    const QByteArray input = lnqfuzz::bytes(data, size);
    loadAndCheck(input);
    // The same bytes with a correct checksum, so that mutations reach the
    // structure behind it.
    if (input.size() >= 4) {
        QByteArray fixed = input;
        const quint32 crc = crc32(fixed.constData(), fixed.size() - 4);
        for (int i = 0; i < 4; ++i)
            fixed[fixed.size() - 4 + i] = char((crc >> (8 * i)) & 0xFF);
        if (fixed != input) loadAndCheck(fixed);
    }
    return 0;
}
