#pragma once
// Writes one spreadsheet (.xlsx) the way the framework exports a list: a
// title row merged across the columns, a one- or two-level header (titles
// "parent.child"; a parent spans its adjacent children, a title without "."
// spans both header rows), then the data rows, typed:
//   numbers as numbers; money (currency, BCD) with two decimals and thousands
//   separators; booleans as the texts "是" / "否"; dates and date-times as
//   date cells; everything else as text.
//
// The workbook is written in constant-memory mode: each row goes to a
// temporary file as soon as the next one starts, so memory does not grow with
// the number of rows. Rows must be written in order.

#include "report/ReportInterface.h"

#include <QString>
#include <QStringList>
#include <memory>
#include <vector>

namespace lnq {

class TXlsxBook {
public:
    // Creates the workbook (EInOutError when the library refuses).
    explicit TXlsxBook(const QString& fileName);
    ~TXlsxBook();
    TXlsxBook(const TXlsxBook&) = delete;
    TXlsxBook& operator=(const TXlsxBook&) = delete;

    // Title row (row 1) and header (rows 2-3, or row 2 alone when no title
    // has a "."); kinds give the cell types of the data columns; widths are
    // screen pixels (0 or less: the sheet's default width).
    void WriteHead(const QString& title, const QStringList& titles, const std::vector<TReportDataKind>& kinds,
                   const std::vector<int>& widths = {});
    // Data, row by row. NextRow raises EInOutError beyond the sheet's last
    // row (1,048,576). The text overload converts by the column's kind:
    // numbers and dates that do not parse are written as text.
    void NextRow();
    void WriteNull(int col);
    void WriteText(int col, const QString& text);
    void WriteUtf8(int col, const char* utf8);
    void WriteNumber(int col, double value); // number, money or date by the column's kind
    void WriteBoolean(int col, bool value);
    void WriteValue(int col, const QString& text); // converts by the column's kind

    // Rows written so far, header rows included.
    int Row() const { return m_row; }
    // Finishes the file; EInOutError naming the library's reason on failure.
    // The destructor closes an unfinished workbook without reporting.
    void Close();

    // Splits "parent.child" titles into header cells (first row, second row,
    // spans). Shared with the HTML header and the report pages.
    struct HeadCell {
        QString Text;
        int Col = 0;
        int ColSpan = 1;
        int RowSpan = 1;
        int Row = 0; // 0 or 1
    };
    static std::vector<HeadCell> HeadCells(const QStringList& titles, bool* twoLevel = nullptr);

private:
    struct Private;
    std::unique_ptr<Private> d;
    int m_row = 0;
};

} // namespace lnq
