// The string grid's text file: any bytes load into a grid of fixed columns
// without error, and the grid never gains columns from the file.

#include "FuzzSupport.h"
#include "grid/core/Ctrl_LNQStringGrid.h"
#include "util/Exceptions.h"

#include <QBuffer>

LNQ_FUZZ_INITIALIZE(true, "vNo\x07"
                          "nQty\x07\r\n1\x07"
                          "12.5\x07\r\n==END==\r\n")

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    lnqfuzz::init(true);
    static lnq::TLNQStringGrid* grid = [] {
        static lnqfuzz::Immortal<lnq::TLNQStringGrid> holder;
        lnq::TLNQStringGrid& g = holder.get();
        const QStringList names{QStringLiteral("vNo"), QStringLiteral("品名"), QStringLiteral("nQty"),
                                QStringLiteral("TColor")};
        g.SetColCount(int(names.size()));
        for (int i = 0; i < names.size(); ++i) {
            g.GridCols()[i]->SetColName(names[i]);
            g.GridCols()[i]->SetCaption(names[i]);
        }
        return &g;
    }();
    grid->SetRowCount(2);
    QByteArray input = lnqfuzz::bytes(data, size);
    QBuffer buffer(&input);
    buffer.open(QIODevice::ReadOnly);
    grid->LoadFromStream(buffer);
    LNQ_FUZZ_CHECK(grid->ColCount() == 4, "the file does not add columns");
    // One row per line at most (the title row included).
    LNQ_FUZZ_CHECK(grid->RowCount() <= qMax<int>(2, int(input.count('\n')) + 1), "rows come from lines");
    for (int r = 0; r < qMin(grid->RowCount(), 50); ++r)
        for (int c = 0; c < grid->ColCount(); ++c)
            (void)grid->DisplayText(c, r);
    return 0;
}
