// .xlsx workbooks: any bytes either read (and then hold together, see
// WorkbookFuzz.h) or raise EDatabaseError; never more memory than the limits
// allow. Stored (uncompressed) members get their checksums made right, so
// that mutations reach the XML behind them.

#include "WorkbookFuzz.h"

#include <zlib.h>

namespace {

quint32 le32(const QByteArray& b, qsizetype at) {
    return quint32(quint8(b[at])) | quint32(quint8(b[at + 1])) << 8 | quint32(quint8(b[at + 2])) << 16 |
           quint32(quint8(b[at + 3])) << 24;
}

quint16 le16(const QByteArray& b, qsizetype at) {
    return quint16(quint8(b[at]) | quint8(b[at + 1]) << 8);
}

void put32(QByteArray& b, qsizetype at, quint32 v) {
    for (int i = 0; i < 4; ++i)
        b[at + i] = char((v >> (8 * i)) & 0xFF);
}

// Recomputes the checksum of every stored member in its local header and in
// its central directory entry.
QByteArray fixStoredChecksums(QByteArray zip) {
    for (qsizetype c = zip.indexOf("PK\x01\x02"); c >= 0 && c + 46 <= zip.size();
         c = zip.indexOf("PK\x01\x02", c + 4)) {
        const qsizetype local = le32(zip, c + 42);
        if (local < 0 || local + 30 > zip.size() || zip.mid(local, 4) != "PK\x03\x04") continue;
        if (le16(zip, local + 8) != 0) continue; // compressed: left alone
        const qsizetype data = local + 30 + le16(zip, local + 26) + le16(zip, local + 28);
        const qsizetype size = le32(zip, local + 18);
        if (data + size > zip.size()) continue;
        const quint32 crc =
            quint32(crc32(0, reinterpret_cast<const Bytef*>(zip.constData() + data), uInt(size)));
        put32(zip, local + 14, crc);
        put32(zip, c + 16, crc);
    }
    return zip;
}

void readAndCheck(const QByteArray& input) {
    const lnq::TWorkbookLimits limits = lnqfuzz::workbookLimits();
    lnq::TWorkbook book;
    try {
        book = lnq::ReadXlsx(input, limits);
    } catch (const lnq::EDatabaseError&) {
        return;
    }
    lnqfuzz::checkWorkbook(book, limits);
}

} // namespace

LNQ_FUZZ_INITIALIZE(false, "PK\x05\x06")

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    lnqfuzz::init();
    const QByteArray input = lnqfuzz::bytes(data, size);
    readAndCheck(input);
    const QByteArray fixed = fixStoredChecksums(input);
    if (fixed != input) readAndCheck(fixed);
    return 0;
}
