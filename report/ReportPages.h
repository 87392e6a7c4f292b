#pragma once
// The default report library's page layout: a provider's data read once
// (TReportData) and laid out on pages (TReportPages) by a template.
//
// Every page carries the title, the page-header line, the column header (two
// levels when titles have "parent.child") and the footer line; rows fill the
// space between; the totals row follows the last row (on a page of its own
// when the last page is full). Pages are computed arithmetically from the row
// height, so any page can be painted without laying out the ones before it.

#include "report/ReportInterface.h"
#include "report/ReportTemplate.h"

#include <QPainter>
#include <QStringList>
#include <functional>
#include <vector>

namespace lnq {

struct TReportDataColumn {
    QString Field;
    QString Title;
    int Width = 64; // screen pixels
    TReportDataKind Kind = TReportDataKind::rdText;
};

struct TReportData {
    QString Title;
    std::vector<std::pair<QString, QString>> Master; // name, value
    std::vector<TReportDataColumn> Columns;
    std::vector<QStringList> Rows;

    QString MasterValue(const QString& name) const;
    int ColumnOf(const QString& fieldOrTitle) const; // -1 when none
    // Reads everything the provider serves. progress(done, total) may return
    // false to stop (the rows read so far are kept; the result says so).
    bool Read(ICanReportOut& provider, const std::function<bool(qint64, qint64)>& progress = {});
};

// The template's columns resolved against the data (all data columns when the
// template names none); columns of the template that the data lacks are left
// out.
std::vector<TReportColumn> ResolveColumns(const TReportTemplate& t, const TReportData& data);

class TReportPages {
public:
    // Lays out for a device of the given resolution (dots per inch).
    TReportPages(const TReportTemplate& t, const TReportData& data, int dpi);
    int PageCount() const { return m_pageCount; }
    int RowsPerPage() const { return m_rowsPerPage; }
    // Paints page (0-based) with the painter's origin at the printable area's
    // top left (what a printer's painter gives with full-page off).
    void PaintPage(QPainter& painter, int page) const;
    // Header and footer texts of a page with their fields replaced.
    QString PageText(const QString& pattern, int page) const;
    // The totals row's texts (by resolved column), empty strings where no total.
    QStringList Totals() const;
    const std::vector<TReportColumn>& Columns() const { return m_columns; }

private:
    const TReportTemplate& m_t;
    const TReportData& m_data;
    std::vector<TReportColumn> m_columns;
    std::vector<int> m_dataCol; // resolved column -> data column
    std::vector<double> m_x;    // left edges, device units; back() is the right edge
    QRectF m_area;              // printable area inside the margins
    double m_titleH = 0, m_lineH = 0, m_headRowH = 0, m_rowH = 0;
    int m_headRows = 1;
    int m_rowsPerPage = 1;
    int m_pageCount = 1;
    bool m_hasTotals = false;
    int m_dpi;
};

// Money text: two decimals, thousands separators ("1,234.50").
QString MoneyText(double value);

} // namespace lnq
