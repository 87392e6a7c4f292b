#pragma once
// TCtrl_ReportPreview: the print preview of the default report library.
// Pages are laid out arithmetically (TReportPages) and painted only when
// they come into view, so the first page of a long report shows at once and
// further pages are painted as the user scrolls to them. The tool bar prints
// (the printer dialog, then every page with a progress window that can
// cancel), sets up the page, zooms and moves between pages.

#include "report/ReportPages.h"

#include <QAbstractScrollArea>
#include <QDialog>
#include <memory>

class QLabel;

namespace lnq {

class TReportPagesView : public QAbstractScrollArea {
    Q_OBJECT
public:
    TReportPagesView(const TReportTemplate& t, const TReportData& data, QWidget* parent = nullptr);
    // Lays the pages out again (after a page setup).
    void Relayout();
    int PageCount() const { return m_pages ? m_pages->PageCount() : 0; }
    int CurrentPage() const; // 0-based, the page at the top of the view
    void ShowPage(int page);
    double Zoom() const { return m_zoom; }
    void SetZoom(double zoom);
    // Pages painted since the view was made (they are painted on demand).
    int PaintedPages() const { return m_painted; }

Q_SIGNALS:
    void currentPageChanged(int page);

protected:
    void paintEvent(QPaintEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void scrollContentsBy(int dx, int dy) override;

private:
    void updateScrollBars();
    QSize pageSize() const; // on screen, zoomed
    static constexpr int kGap = 16;
    const TReportTemplate& m_t;
    const TReportData& m_data;
    std::unique_ptr<TReportPages> m_pages;
    double m_zoom = 1.0;
    int m_painted = 0;
};

class TCtrl_ReportPreview : public QDialog {
    Q_OBJECT
public:
    // The template may be changed by the page setup; both are borrowed.
    TCtrl_ReportPreview(TReportTemplate& t, const TReportData& data, QWidget* parent = nullptr);
    TReportPagesView* View() const { return m_view; }
    // Prints on the printer the user picks (false when cancelled).
    bool PrintAll();
    bool PageSetup();

private:
    void updateLabel();
    TReportTemplate& m_t;
    const TReportData& m_data;
    TReportPagesView* m_view;
    QLabel* m_label;
};

} // namespace lnq
