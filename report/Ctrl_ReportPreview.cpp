#include "report/Ctrl_ReportPreview.h"

#include "report/ReportOutput_ui.h"

#include <QApplication>
#include <QLabel>
#include <QPageSetupDialog>
#include <QPaintEvent>
#include <QPainter>
#include <QPrintDialog>
#include <QPrinter>
#include <QProgressDialog>
#include <QScrollBar>
#include <QToolBar>
#include <QVBoxLayout>

namespace lnq {

namespace {
constexpr int kScreenDpi = 96;
}

TReportPagesView::TReportPagesView(const TReportTemplate& t, const TReportData& data, QWidget* parent)
    : QAbstractScrollArea(parent), m_t(t), m_data(data) {
    viewport()->setBackgroundRole(QPalette::Dark);
    viewport()->setAutoFillBackground(true);
    Relayout();
}

void TReportPagesView::Relayout() {
    m_pages = std::make_unique<TReportPages>(m_t, m_data, kScreenDpi);
    updateScrollBars();
    viewport()->update();
}

QSize TReportPagesView::pageSize() const {
    const QRect full = m_t.pageLayout().fullRectPixels(kScreenDpi);
    return QSize(qRound(full.width() * m_zoom), qRound(full.height() * m_zoom));
}

void TReportPagesView::SetZoom(double zoom) {
    const int page = CurrentPage();
    m_zoom = qBound(0.25, zoom, 4.0);
    updateScrollBars();
    ShowPage(page);
    viewport()->update();
}

void TReportPagesView::updateScrollBars() {
    const QSize page = pageSize();
    const qint64 height = qint64(PageCount()) * (page.height() + kGap) + kGap;
    verticalScrollBar()->setRange(0,
                                  int(qMin<qint64>(INT_MAX, qMax<qint64>(0, height - viewport()->height()))));
    verticalScrollBar()->setPageStep(viewport()->height());
    verticalScrollBar()->setSingleStep(40);
    horizontalScrollBar()->setRange(0, qMax(0, page.width() + 2 * kGap - viewport()->width()));
    horizontalScrollBar()->setPageStep(viewport()->width());
}

int TReportPagesView::CurrentPage() const {
    const int step = pageSize().height() + kGap;
    return qBound(0, (verticalScrollBar()->value() + step / 3) / qMax(1, step), qMax(0, PageCount() - 1));
}

void TReportPagesView::ShowPage(int page) {
    page = qBound(0, page, qMax(0, PageCount() - 1));
    verticalScrollBar()->setValue(page * (pageSize().height() + kGap));
}

void TReportPagesView::resizeEvent(QResizeEvent* event) {
    QAbstractScrollArea::resizeEvent(event);
    updateScrollBars();
}

void TReportPagesView::scrollContentsBy(int, int) {
    viewport()->update();
    Q_EMIT currentPageChanged(CurrentPage());
}

void TReportPagesView::paintEvent(QPaintEvent* event) {
    QPainter p(viewport());
    const QSize page = pageSize();
    const int step = page.height() + kGap;
    const int top = verticalScrollBar()->value();
    const int left = qMax(kGap, (viewport()->width() - page.width()) / 2) - horizontalScrollBar()->value();
    const int first = qMax(0, (top - kGap) / step);
    const QRect paint = m_t.pageLayout().paintRectPixels(kScreenDpi);
    for (int i = first; i < PageCount(); ++i) {
        const int y = kGap + i * step - top;
        if (y > viewport()->height()) break;
        const QRect rect(left, y, page.width(), page.height());
        if (!rect.intersects(event->rect())) continue;
        p.fillRect(rect.translated(3, 3), QColor(0, 0, 0, 60));
        p.fillRect(rect, Qt::white);
        p.save();
        p.setClipRect(rect);
        p.translate(rect.topLeft());
        p.scale(m_zoom, m_zoom);
        p.translate(paint.topLeft());
        m_pages->PaintPage(p, i);
        p.restore();
        ++m_painted;
    }
}

TCtrl_ReportPreview::TCtrl_ReportPreview(TReportTemplate& t, const TReportData& data, QWidget* parent)
    : QDialog(parent), m_t(t), m_data(data) {
    setWindowTitle(QStringLiteral("打印预览"));
    m_view = new TReportPagesView(t, data, this);
    auto* bar = new QToolBar(this);
    bar->addAction(QStringLiteral("打印"), this, [this] {
        if (PrintAll()) accept();
    });
    bar->addAction(QStringLiteral("页面设置"), this, [this] { PageSetup(); });
    bar->addSeparator();
    bar->addAction(QStringLiteral("放大"), this, [this] { m_view->SetZoom(m_view->Zoom() * 1.25); });
    bar->addAction(QStringLiteral("缩小"), this, [this] { m_view->SetZoom(m_view->Zoom() / 1.25); });
    bar->addSeparator();
    bar->addAction(QStringLiteral("首页"), this, [this] { m_view->ShowPage(0); });
    bar->addAction(QStringLiteral("上一页"), this, [this] { m_view->ShowPage(m_view->CurrentPage() - 1); });
    bar->addAction(QStringLiteral("下一页"), this, [this] { m_view->ShowPage(m_view->CurrentPage() + 1); });
    bar->addAction(QStringLiteral("末页"), this, [this] { m_view->ShowPage(m_view->PageCount() - 1); });
    m_label = new QLabel(this);
    bar->addWidget(m_label);
    bar->addSeparator();
    bar->addAction(QStringLiteral("关闭"), this, &QDialog::reject);
    connect(m_view, &TReportPagesView::currentPageChanged, this, &TCtrl_ReportPreview::updateLabel);
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->addWidget(bar);
    layout->addWidget(m_view, 1);
    resize(900, 720);
    updateLabel();
}

void TCtrl_ReportPreview::updateLabel() {
    m_label->setText(
        QStringLiteral(" 第 %1 / %2 页 ").arg(m_view->CurrentPage() + 1).arg(m_view->PageCount()));
}

bool TCtrl_ReportPreview::PrintAll() {
    QPrinter printer(QPrinter::HighResolution);
    printer.setPageLayout(m_t.pageLayout());
    QPrintDialog dlg(&printer, this);
    if (dlg.exec() != QDialog::Accepted) return false;
    QProgressDialog progress(QStringLiteral("正在打印..."), QStringLiteral("取消"), 0, 100, this);
    progress.setWindowModality(Qt::WindowModal);
    progress.setMinimumDuration(400);
    return RenderReport(printer, m_t, m_data, [&](qint64 done, qint64 total) {
        progress.setValue(int(done * 100 / qMax<qint64>(total, 1)));
        QCoreApplication::processEvents();
        return !progress.wasCanceled();
    });
}

bool TCtrl_ReportPreview::PageSetup() {
    QPrinter printer(QPrinter::HighResolution);
    printer.setPageLayout(m_t.pageLayout());
    QPageSetupDialog dlg(&printer, this);
    if (dlg.exec() != QDialog::Accepted) return false;
    m_t.setPageLayout(printer.pageLayout());
    m_view->Relayout();
    updateLabel();
    return true;
}

} // namespace lnq
