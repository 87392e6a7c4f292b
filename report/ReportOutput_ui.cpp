#include "report/ReportOutput_ui.h"

#include <QPainter>
#include <QPrinter>

namespace lnq {

bool RenderReport(QPrinter& printer, const TReportTemplate& t, const TReportData& data,
                  const std::function<bool(qint64, qint64)>& progress) {
    printer.setFullPage(false);
    printer.setPageLayout(t.pageLayout());
    const TReportPages pages(t, data, printer.resolution());
    QPainter painter;
    if (!painter.begin(&printer)) return false;
    for (int i = 0; i < pages.PageCount(); ++i) {
        if (i > 0) printer.newPage();
        pages.PaintPage(painter, i);
        if (progress && !progress(i + 1, pages.PageCount())) {
            printer.abort();
            painter.end();
            return false;
        }
    }
    painter.end();
    return true;
}

QImage RenderReportPage(const TReportTemplate& t, const TReportData& data, int page, int dpi) {
    const QPageLayout layout = t.pageLayout();
    const QRect full = layout.fullRectPixels(dpi);
    QImage image(full.size(), QImage::Format_RGB32);
    image.setDotsPerMeterX(qRound(dpi / 0.0254));
    image.setDotsPerMeterY(qRound(dpi / 0.0254));
    image.fill(Qt::white);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.setRenderHint(QPainter::TextAntialiasing);
    painter.translate(layout.paintRectPixels(dpi).topLeft());
    const TReportPages pages(t, data, dpi);
    pages.PaintPage(painter, qBound(0, page, pages.PageCount() - 1));
    return image;
}

} // namespace lnq
