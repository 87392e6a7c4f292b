#pragma once
// Putting report pages on devices: a printer (paper, PDF, the print preview)
// or an image.

#include "report/ReportPages.h"

#include <QImage>
#include <functional>

class QPrinter;

namespace lnq {

// Paints every page on the printer (page layout from the template). progress
// (pages done, page count) returning false stops and aborts the printer; the
// result is false then.
bool RenderReport(QPrinter& printer, const TReportTemplate& t, const TReportData& data,
                  const std::function<bool(qint64, qint64)>& progress = {});
// One page as a white image of the template's page size at dpi.
QImage RenderReportPage(const TReportTemplate& t, const TReportData& data, int page, int dpi);

} // namespace lnq
