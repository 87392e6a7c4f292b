// The length-prefixed stream helpers: reading never throws on a random-access
// device, never holds more than the stream delivered, and a peek leaves the
// position where it was, on buffers and on pipes alike.

#include "FuzzSupport.h"
#include "util/Plat_streams.h"

#include <QBuffer>

LNQ_FUZZ_INITIALIZE(false, "\x02\x01\x00\x00\x00\x02\x00\x00\x00ab")

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    lnqfuzz::init();
    if (size == 0) return 0;
    const quint8 mode = data[0];
    QByteArray input = lnqfuzz::bytes(data + 1, size - 1);
    const qint64 total = input.size();

    QBuffer buffer(&input);
    buffer.open(QIODevice::ReadOnly);
    lnqtest::PipeDevice pipe(input, lnqfuzz::pipePieces(1 + (mode >> 4)));
    QIODevice& device = (mode & 1) ? static_cast<QIODevice&>(pipe) : static_cast<QIODevice&>(buffer);

    // The operations follow the bits of the mode byte, round and round.
    for (int step = 0; step < 64 && !device.atEnd(); ++step) {
        switch ((mode >> (1 + step % 3)) & 3) {
        case 0: {
            QByteArray peeked, loaded;
            const qint64 before = device.pos();
            lnq::TUtils_Streams::PeekStringFromStream(device, peeked);
            if (!device.isSequential()) LNQ_FUZZ_CHECK(device.pos() == before, "a peek keeps the position");
            lnq::TUtils_Streams::LoadStringFromStream(device, loaded);
            LNQ_FUZZ_CHECK(peeked == loaded, "a peek reads what the load reads");
            LNQ_FUZZ_CHECK(loaded.size() <= total, "a text holds no more than the stream");
            break;
        }
        case 1: {
            QByteArrayList list;
            lnq::TUtils_Streams::LoadStringsFromStream(device, list);
            qint64 sum = 0;
            for (const QByteArray& b : list)
                sum += b.size() + 4;
            LNQ_FUZZ_CHECK(sum <= total, "a list holds no more than the stream");
            break;
        }
        case 2: {
            QString text;
            lnq::TUtils_Streams::LoadStringFromStream(device, text);
            LNQ_FUZZ_CHECK(text.size() <= total, "a text holds no more than the stream");
            break;
        }
        default: {
            QStringList list;
            lnq::TUtils_Streams::LoadStringsFromStream(device, list);
            LNQ_FUZZ_CHECK(list.size() <= total / 4 + 1, "a list holds no more than the stream");
            break;
        }
        }
    }
    return 0;
}
