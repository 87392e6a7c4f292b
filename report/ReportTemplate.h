#pragma once
// Report templates (".RPT"): how the default report library lays out a
// provider's data on paper.
//
// File format: a JSON object in UTF-8 (an empty or missing file means "the
// default template"):
//
//   {
//     "format": "LNQ-RPT", "version": 1,
//     "title": "客户清单",                 // "" prints the provider's report title
//     "page": { "size": "A4",              // A3 A4 A5 B5 Letter Legal
//               "orientation": "portrait", // or "landscape"
//               "margins": [15, 15, 15, 15] },  // left top right bottom, mm
//     "fonts": { "title":  { "family": "", "size": 16, "bold": true },
//                "header": { "family": "", "size": 9,  "bold": true },
//                "body":   { "family": "", "size": 9,  "bold": false } },
//     "pageHeader": "打印日期：[日期]",      // left of the line above the table
//     "pageFooter": "第[页码]页 共[页数]页", // centred under the table
//     "columns": [ { "field": "vName", "title": "客户.名称", "width": 40,
//                    "align": "left", "total": false } ],  // width in mm
//     "totalCaption": "合计"
//   }
//
// Header and footer texts replace "[页码]" (page number), "[页数]" (page
// count), "[日期]" (today, yyyy-MM-dd), "[时间]" (now, HH:mm) and
// "[主:NAME]" (the provider's master item NAME). "columns" empty or absent:
// every detail column of the provider, at its screen width. A column's
// "align" is left, center or right ("" : right for numbers, else left);
// "total" sums the column on the last page. Titles with "." print as a
// two-level header, parent cells spanning adjacent columns.
//
// Unknown keys are ignored; wrong types fall back to the defaults; a file
// that is not JSON raises EReadError.

#include <QFont>
#include <QMarginsF>
#include <QPageLayout>
#include <QPageSize>
#include <QString>
#include <vector>

namespace lnq {

struct TReportFont {
    QString Family;
    double Size = 9;
    bool Bold = false;
    QFont toFont() const;
    bool operator==(const TReportFont&) const = default;
};

struct TReportColumn {
    QString Field;
    QString Title;
    double Width = 25;        // mm
    Qt::Alignment Align = {}; // none: by the value kind
    bool Total = false;
    bool operator==(const TReportColumn&) const = default;
};

struct TReportTemplate {
    QString Title;
    QPageSize::PageSizeId PageSize = QPageSize::A4;
    QPageLayout::Orientation Orientation = QPageLayout::Portrait;
    QMarginsF Margins{15, 15, 15, 15};
    TReportFont TitleFont{QString(), 16, true};
    TReportFont HeaderFont{QString(), 9, true};
    TReportFont BodyFont{QString(), 9, false};
    QString PageHeader = QStringLiteral("打印日期：[日期]");
    QString PageFooter = QStringLiteral("第[页码]页 共[页数]页");
    std::vector<TReportColumn> Columns;
    QString TotalCaption = QStringLiteral("合计");

    QPageLayout pageLayout() const;
    void setPageLayout(const QPageLayout& layout);
    bool operator==(const TReportTemplate&) const = default;
};

QByteArray SaveReportTemplate(const TReportTemplate& t);
TReportTemplate LoadReportTemplate(const QByteArray& json);
// Files: a missing or empty file gives the default template; EInOutError
// when the file cannot be read or written (written through a temporary file).
TReportTemplate LoadReportTemplateFile(const QString& fileName);
void SaveReportTemplateFile(const QString& fileName, const TReportTemplate& t);

} // namespace lnq
