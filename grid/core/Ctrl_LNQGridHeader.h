#pragma once
// The widgets that show a grid's title band and footer band. They draw what
// their source lays out (LayoutHeader / LayoutFooter) with PaintHeaderLayout,
// so the data grid can reuse them over its own columns.

#include "grid/core/Ctrl_LNQGridPaint.h"

#include <QHeaderView>
#include <QWidget>

namespace lnq {

class TGridBandSource {
public:
    virtual ~TGridBandSource() = default;
    // header: the title band; otherwise the footer band. Coordinates are the
    // grid's cell-area coordinates.
    virtual THeaderLayout BandLayout(bool header) const = 0;
    virtual THeaderPaintStyle BandStyle(bool header) const = 0;
    virtual int BandHeight(bool header) const = 0;
    // Called after the title band was painted (OnDrawHeader).
    virtual void BandPainted(bool header) = 0;
    // Paints what the title band holds under the column titles (a grid's
    // fixed rows), within BandHeight(true); nothing by default.
    virtual void PaintFixedRows(QPainter& painter, const QRect& exposed) {
        Q_UNUSED(painter);
        Q_UNUSED(exposed);
    }
};

// A horizontal header view that paints the two-level title band. Section
// geometry, clicks, double-clicks and divider drags stay Qt's.
class TLNQGridHeaderView : public QHeaderView {
    Q_OBJECT
public:
    TLNQGridHeaderView(TGridBandSource& source, QWidget* parent);
    QSize sizeHint() const override;
    // A second header over the same band (the frozen columns') does not
    // report its painting.
    void SetReportsPaint(bool on) { m_reportsPaint = on; }
    // The source is going away (the grid's destructor): draw nothing more.
    void DetachSource() { m_source = nullptr; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    TGridBandSource* m_source;
    bool m_reportsPaint = true;
};

// The footer band under a grid's cells.
class TLNQGridFooter : public QWidget {
    Q_OBJECT
public:
    TLNQGridFooter(TGridBandSource& source, QWidget* parent);
    void DetachSource() { m_source = nullptr; }

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    TGridBandSource* m_source;
};

} // namespace lnq
