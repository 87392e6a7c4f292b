#pragma once
// Spreadsheet workbooks read as plain cell values: the .xlsx format (a zip of
// XML parts) and the older binary .xls format. A workbook is read whole; the
// connection layer turns each sheet into a read-only table (see
// data/WorkbookDriver.h).
//
// Everything a file claims about its own size (part sizes, dimensions, string
// counts) is untrusted: nothing is reserved from it, and what is actually read
// is held against TWorkbookLimits. A file beyond a limit, a damaged file and a
// password-protected file are refused with EDatabaseError; a file that cannot
// be opened or read gives EInOutError.

#include "util/DateUtils.h"

#include <QByteArray>
#include <QList>
#include <QString>
#include <cstdint>
#include <vector>

namespace lnq {

struct TWorkbookCell {
    enum class Kind : std::uint8_t { Number, Text, Boolean, DateTime, Error };
    int row = 0; // 0-based, relative to the sheet's first used row
    int col = 0; // 0-based, relative to the sheet's first used column
    Kind kind = Kind::Text;
    double number = 0; // Number, Boolean (0/1), DateTime (days since 1899-12-30)
    QString text;      // Text; Error: the error text ("#N/A")
};

struct TWorksheet {
    QString name;
    // The used range: the smallest rectangle holding every cell with a value.
    // Cells that only carry formatting do not count, so empty rows at the end
    // of a sheet are not part of it.
    int rowCount = 0;
    int colCount = 0;
    int firstRow = 0; // where the used range starts in the sheet (0-based)
    int firstCol = 0;
    std::vector<TWorkbookCell> cells; // non-empty cells, ordered by row, then column
};

struct TWorkbook {
    QList<TWorksheet> sheets;
};

// Upper bounds on what one workbook may make the reader hold.
struct TWorkbookLimits {
    qint64 maxFileBytes = 256ll << 20;   // the file itself
    qint64 maxPartBytes = 128ll << 20;   // one decompressed part of an .xlsx
    qint64 maxTotalBytes = 512ll << 20;  // all decompressed parts together
    qint64 maxCells = 4'000'000;         // all sheets together; also any used range's area
    qint64 maxSharedStrings = 2'000'000; // distinct strings of an .xlsx
    int maxSheets = 1024;
};

enum class TWorkbookFormat { Unknown, Xlsx, Xls };

// The format from the first bytes: a zip archive is an .xlsx, a compound
// document an .xls (or an encrypted .xlsx, which the reader refuses).
TWorkbookFormat DetectWorkbookFormat(const QByteArray& head);

// Reads the file, whatever its extension says.
TWorkbook ReadWorkbookFile(const QString& path, const TWorkbookLimits& limits = {});
// An .xlsx held in memory.
TWorkbook ReadXlsx(const QByteArray& bytes, const TWorkbookLimits& limits = {});
// A compound-document file on disk (.xls; an encrypted .xlsx is refused).
TWorkbook ReadXls(const QString& path, const TWorkbookLimits& limits = {});

// Day number of a spreadsheet date serial (1900 or 1904 system) as the
// framework's date-time value; false when the serial is no date a workbook
// can hold (negative, beyond 9999-12-31).
bool WorkbookSerialToDateTime(double serial, bool date1904, TDateTime& value);

// A range of a sheet, "A1:C10" or whole columns "A:C" (0-based, inclusive;
// whole columns run to the last row). False for anything else.
bool ParseWorkbookRange(const QString& text, int& row1, int& col1, int& row2, int& col2);

// The cells of a range of a sheet as a sheet of their own: positions
// relative to the range's top left, as wide as the range, as long as its last
// row holding a value. EDatabaseError when its area exceeds the cell limit.
TWorksheet WorksheetRange(const TWorksheet& sheet, int row1, int col1, int row2, int col2,
                          const TWorkbookLimits& limits = {});

// Whether a number format (built-in id, or a custom format code) shows a
// date or a time.
bool IsDateNumberFormat(int id, const QString& code);

} // namespace lnq
