#include "grid/core/Ctrl_LNQGridHeader.h"

#include <QPaintEvent>
#include <QPainter>

namespace lnq {

TLNQGridHeaderView::TLNQGridHeaderView(TGridBandSource& source, QWidget* parent)
    : QHeaderView(Qt::Horizontal, parent), m_source(&source) {
    setSectionsClickable(true);
    setHighlightSections(false);
    setStretchLastSection(false);
    setDefaultAlignment(Qt::AlignCenter);
}

QSize TLNQGridHeaderView::sizeHint() const {
    // Only the height matters to the table view; the length would force a
    // layout of every section.
    return QSize(minimumSectionSize(), m_source ? m_source->BandHeight(true) : 0);
}

void TLNQGridHeaderView::paintEvent(QPaintEvent* event) {
    QPainter painter(viewport());
    painter.setClipRegion(event->region());
    painter.fillRect(viewport()->rect(), palette().color(QPalette::Window));
    if (!m_source) return;
    PaintHeaderLayout(painter, m_source->BandLayout(true), m_source->BandStyle(true));
    m_source->PaintFixedRows(painter, event->rect());
    painter.end();
    if (m_reportsPaint) m_source->BandPainted(true);
}

TLNQGridFooter::TLNQGridFooter(TGridBandSource& source, QWidget* parent)
    : QWidget(parent), m_source(&source) {
    setAttribute(Qt::WA_OpaquePaintEvent);
}

void TLNQGridFooter::paintEvent(QPaintEvent* event) {
    QPainter painter(this);
    painter.setClipRegion(event->region());
    painter.fillRect(rect(), palette().color(QPalette::Window));
    if (!m_source) return;
    PaintHeaderLayout(painter, m_source->BandLayout(false), m_source->BandStyle(false));
    painter.end();
    m_source->BandPainted(false);
}

} // namespace lnq
