// Fuzz target: column layout files. Any byte string must either decode to a
// layout or raise EReadError; never crash, hang or allocate beyond the
// input's size. A decoded layout, written and read again, must write the same
// bytes a second time (bytes that are not GBK become "?" on the first write).

#include "FuzzSupport.h"
#include "grid/data/LayoutFile.h"
#include "util/Exceptions.h"

#include <QBuffer>
#include <QByteArray>
#include <cstdint>
#include <cstdlib>

LNQ_FUZZ_INITIALIZE(false, "\x01\x00\x00\x00\x05\x00\x00\x00vCode\x40\x00\x00\x00\x02\x00\x00\x00ab")

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    QByteArray bytes = QByteArray::fromRawData(reinterpret_cast<const char*>(data), qsizetype(size));
    QBuffer in(&bytes);
    in.open(QIODevice::ReadOnly);
    try {
        const lnq::TLayoutEntries entries = lnq::ReadLayout(in);
        QBuffer out;
        out.open(QIODevice::WriteOnly);
        lnq::WriteLayout(out, entries);
        QBuffer again(&out.buffer());
        again.open(QIODevice::ReadOnly);
        QBuffer second;
        second.open(QIODevice::WriteOnly);
        lnq::WriteLayout(second, lnq::ReadLayout(again));
        if (second.buffer() != out.buffer()) std::abort();
    } catch (const lnq::EReadError&) {
    }
    return 0;
}
