// The dataset's filter text: any text either raises EDatabaseError or
// filters, and a filter and its negation split the records between them.

#include "FuzzSupport.h"
#include "data/DataSet.h"
#include "util/Exceptions.h"

namespace {

lnq::TFieldDef def(const char* name, lnq::TFieldType type) {
    lnq::TFieldDef d;
    d.Name = QString::fromUtf8(name);
    d.DataType = type;
    return d;
}

lnq::TClientDataSet& dataSet() {
    static lnqfuzz::Immortal<lnq::TClientDataSet> holder;
    lnq::TClientDataSet& ds = holder.get();
    static bool loaded = false;
    if (!loaded) {
        loaded = true;
        lnq::TRecordSetBuilder& b =
            ds.BeginLoad({def("ID", lnq::TFieldType::ftInteger), def("Name", lnq::TFieldType::ftString),
                          def("Qty", lnq::TFieldType::ftInteger), def("Price", lnq::TFieldType::ftCurrency),
                          def("Day", lnq::TFieldType::ftDateTime), def("Flag", lnq::TFieldType::ftBoolean),
                          def("品名", lnq::TFieldType::ftWideString)});
        const char* names[] = {"apple", "Banana", "O'Neil 梨", "", "a%b_c"};
        for (int i = 0; i < 5; ++i) {
            b.SetInteger(0, i + 1);
            b.SetText(1, QString::fromUtf8(names[i]));
            if (i != 2) b.SetInteger(2, i * 4);
            b.SetFloat(3, 1.25 * i);
            b.SetText(4, QStringLiteral("2024-01-0%1 10:00:00").arg(i + 1));
            b.SetInteger(5, i % 2);
            if (i % 2 == 0) b.SetText(6, QStringLiteral("螺丝%1").arg(i));
            b.EndRow();
        }
        ds.EndLoad();
    }
    return ds;
}

// Records accepted by the filter, -1 when the text is refused.
int accepted(lnq::TClientDataSet& ds, const QString& filter) {
    ds.SetFiltered(false);
    try {
        ds.SetFilter(filter);
        ds.SetFiltered(true);
        return ds.RecordCount();
    } catch (const lnq::Exception& e) {
        // Messages quote pieces of the text, never the whole of a long one.
        LNQ_FUZZ_CHECK(e.Message().size() <= 300, "error messages stay short");
        ds.SetFiltered(false);
        return -1;
    }
}

} // namespace

LNQ_FUZZ_INITIALIZE(false, "Name like 'a%' and (Qty > 3 or Flag)")

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    lnqfuzz::init();
    lnq::TClientDataSet& ds = dataSet();
    const QString text = QString::fromUtf8(reinterpret_cast<const char*>(data), qsizetype(size));
    const int all = 5;
    const int yes = accepted(ds, text);
    LNQ_FUZZ_CHECK(yes <= all, "a filter accepts no more records than there are");
    if (yes >= 0) {
        const int no = accepted(ds, QStringLiteral("not (") + text + QStringLiteral(")"));
        if (no >= 0) LNQ_FUZZ_CHECK(yes + no == all, "a filter and its negation split the records");
    }
    return 0;
}
