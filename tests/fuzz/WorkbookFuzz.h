#pragma once
// What the workbook fuzz targets check on every workbook that reads: cells
// ordered and inside the used range, the range within the limits, and each
// sheet a table with one row per data row of the range.

#include "FuzzSupport.h"
#include "data/DataSet.h"
#include "data/WorkbookDriver.h"
#include "util/Exceptions.h"

namespace lnqfuzz {

// Small enough that a run stays far below the fuzzer's memory limits.
inline lnq::TWorkbookLimits workbookLimits() {
    lnq::TWorkbookLimits limits;
    limits.maxFileBytes = 1 << 20;
    limits.maxPartBytes = 4 << 20;
    limits.maxTotalBytes = 8 << 20;
    limits.maxCells = 20000;
    limits.maxSharedStrings = 20000;
    limits.maxSheets = 64;
    return limits;
}

inline bool plainName(const QString& name) {
    for (QChar c : name)
        if (!(c.isLetterOrNumber() || c == u'$' || c == u'_')) return false;
    return !name.isEmpty() && !name.front().isDigit();
}

inline void checkWorkbook(const lnq::TWorkbook& book, const lnq::TWorkbookLimits& limits) {
    for (const lnq::TWorksheet& sheet : book.sheets) {
        LNQ_FUZZ_CHECK(qint64(sheet.rowCount) * sheet.colCount <= limits.maxCells, "range within the limit");
        int lastRow = -1, lastCol = -1;
        for (const auto& c : sheet.cells) {
            LNQ_FUZZ_CHECK(c.row >= 0 && c.row < sheet.rowCount && c.col >= 0 && c.col < sheet.colCount,
                           "cell inside the used range");
            LNQ_FUZZ_CHECK(c.row > lastRow || (c.row == lastRow && c.col > lastCol),
                           "cells ordered, none twice");
            lastRow = c.row;
            lastCol = c.col;
        }
    }
    for (bool header : {true, false}) {
        lnq::TWorkbookDriver driver(book, lnq::TWorkbookOptions{header, !header});
        const QStringList tables = driver.TableNames();
        LNQ_FUZZ_CHECK(tables.size() <= book.sheets.size(), "a table per sheet");
        for (int i = 0; i < tables.size(); ++i) {
            if (!plainName(tables[i])) continue;
            const lnq::TWorksheet* sheet = nullptr;
            for (const auto& s : book.sheets)
                if (s.name + QLatin1Char('$') == tables[i]) {
                    sheet = &s;
                    break;
                }
            LNQ_FUZZ_CHECK(sheet != nullptr, "each table named after its sheet");
            lnq::TClientDataSet ds;
            driver.OpenDataSet(QStringLiteral("select count(*) from [") + tables[i] + QLatin1Char(']'), ds);
            const int expected = header ? qMax(0, sheet->rowCount - 1) : sheet->rowCount;
            LNQ_FUZZ_CHECK(ds.Fields(0).AsInteger() == expected, "one row per data row of the range");
        }
    }
}

} // namespace lnqfuzz
