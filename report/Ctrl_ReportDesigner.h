#pragma once
// TCtrl_ReportDesigner: the template editor of the default report library.
// The left side edits the template (title, page, margins, font size, header
// and footer texts, the columns with order, title, width, alignment, total
// and whether they print); the right side is a print preview of the data that
// follows every change.

#include "report/ReportPages.h"

#include <QDialog>
#include <memory>

class QComboBox;
class QDoubleSpinBox;
class QLineEdit;
class QPrintPreviewWidget;
class QPrinter;
class QTableWidget;
class QTimer;

namespace lnq {

class TCtrl_ReportDesigner : public QDialog {
    Q_OBJECT
public:
    // data is borrowed for the dialog's life.
    TCtrl_ReportDesigner(const TReportTemplate& t, const TReportData& data, QWidget* parent = nullptr);
    ~TCtrl_ReportDesigner() override;

    // The template as the controls now say.
    TReportTemplate Template() const;
    // Page count of the live preview (follows the edits).
    int PreviewPageCount() const;

    QLineEdit* TitleEdit() const { return m_title; }
    QTableWidget* ColumnTable() const { return m_columns; }
    QComboBox* OrientationBox() const { return m_orientation; }

private:
    void fillColumns(const TReportTemplate& t);
    void moveRow(int delta);
    void schedulePreview();

    const TReportData& m_data;
    TReportData m_sample; // the rows the live preview shows
    QLineEdit* m_title;
    QComboBox* m_size;
    QComboBox* m_orientation;
    QDoubleSpinBox* m_margins[4];
    QDoubleSpinBox* m_fontSize;
    QLineEdit* m_header;
    QLineEdit* m_footer;
    QTableWidget* m_columns;
    std::unique_ptr<QPrinter> m_printer;
    QPrintPreviewWidget* m_preview;
    QTimer* m_timer;
    TReportTemplate m_base; // fonts and texts the controls do not show
};

} // namespace lnq
