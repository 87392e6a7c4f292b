// The record-set file: any bytes either raise EReadError or load, and what
// loaded saves to a file that loads and saves again to the same bytes.

#include "FuzzSupport.h"
#include "data/DataSet.h"
#include "util/Exceptions.h"

#include <QBuffer>

namespace {

QByteArray save(const lnq::TDataSet& ds) {
    QByteArray out;
    QBuffer buffer(&out);
    buffer.open(QIODevice::WriteOnly);
    ds.SaveToStream(buffer);
    return out;
}

} // namespace

LNQ_FUZZ_INITIALIZE(false, "LNQRSET")

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    lnqfuzz::init();
    QByteArray input = lnqfuzz::bytes(data, size);
    QBuffer buffer(&input);
    buffer.open(QIODevice::ReadOnly);
    lnq::TClientDataSet ds;
    try {
        ds.LoadFromStream(buffer);
    } catch (const lnq::EReadError&) {
        return 0;
    }
    // Every cell reads as text and as a display text.
    qsizetype chars = 0;
    for (ds.First(); !ds.Eof(); ds.Next())
        for (int f = 0; f < ds.FieldCount(); ++f)
            chars += ds.Fields(f).AsString().size() + ds.Fields(f).DisplayText().size();
    Q_UNUSED(chars);

    const QByteArray first = save(ds);
    QByteArray copy = first;
    QBuffer again(&copy);
    again.open(QIODevice::ReadOnly);
    lnq::TClientDataSet reloaded;
    reloaded.LoadFromStream(again); // a file just written must load
    LNQ_FUZZ_CHECK(reloaded.RecordCount() == ds.RecordCount(), "the rows survive a save");
    LNQ_FUZZ_CHECK(save(reloaded) == first, "saving is stable");
    return 0;
}
