#include "report/Ctrl_ReportDesigner.h"

#include "report/ReportOutput_ui.h"

#include <QCheckBox>
#include <QComboBox>
#include <QDialogButtonBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLineEdit>
#include <QPainter>
#include <QPrintPreviewWidget>
#include <QPrinter>
#include <QPushButton>
#include <QSplitter>
#include <QTableWidget>
#include <QTimer>
#include <QVBoxLayout>

namespace lnq {

namespace {
// The live preview shows this many rows at most: enough for the first pages,
// cheap to lay out again on every keystroke.
constexpr size_t kPreviewRows = 120;

enum Col { cPrint, cField, cTitle, cWidth, cAlign, cTotal, cCount };

const struct {
    const char* text;
    Qt::Alignment align;
} kAligns[] = {{"自动", {}}, {"左", Qt::AlignLeft}, {"中", Qt::AlignHCenter}, {"右", Qt::AlignRight}};

const struct {
    const char* text;
    QPageSize::PageSizeId id;
} kSizes[] = {{"A4", QPageSize::A4}, {"A3", QPageSize::A3},         {"A5", QPageSize::A5},
              {"B5", QPageSize::B5}, {"Letter", QPageSize::Letter}, {"Legal", QPageSize::Legal}};
} // namespace

TCtrl_ReportDesigner::TCtrl_ReportDesigner(const TReportTemplate& t, const TReportData& data, QWidget* parent)
    : QDialog(parent), m_data(data), m_base(t) {
    setWindowTitle(QStringLiteral("报表设计"));
    m_sample.Title = data.Title;
    m_sample.Master = data.Master;
    m_sample.Columns = data.Columns;
    m_sample.Rows.assign(data.Rows.begin(), data.Rows.begin() + qMin(data.Rows.size(), kPreviewRows));

    auto* form = new QFormLayout;
    m_title = new QLineEdit(t.Title);
    m_title->setPlaceholderText(data.Title);
    form->addRow(QStringLiteral("标题"), m_title);
    m_size = new QComboBox;
    for (const auto& s : kSizes)
        m_size->addItem(QString::fromLatin1(s.text), int(s.id));
    m_size->setCurrentIndex(qMax(0, m_size->findData(int(t.PageSize))));
    form->addRow(QStringLiteral("纸张"), m_size);
    m_orientation = new QComboBox;
    m_orientation->addItem(QStringLiteral("纵向"), int(QPageLayout::Portrait));
    m_orientation->addItem(QStringLiteral("横向"), int(QPageLayout::Landscape));
    m_orientation->setCurrentIndex(t.Orientation == QPageLayout::Landscape ? 1 : 0);
    form->addRow(QStringLiteral("方向"), m_orientation);
    auto* marginRow = new QHBoxLayout;
    const double ms[4] = {t.Margins.left(), t.Margins.top(), t.Margins.right(), t.Margins.bottom()};
    const char* marginNames[4] = {"左", "上", "右", "下"};
    for (int i = 0; i < 4; ++i) {
        m_margins[i] = new QDoubleSpinBox;
        m_margins[i]->setRange(0, 100);
        m_margins[i]->setDecimals(1);
        m_margins[i]->setSuffix(QStringLiteral(" mm"));
        m_margins[i]->setValue(ms[i]);
        m_margins[i]->setToolTip(QString::fromUtf8(marginNames[i]));
        marginRow->addWidget(m_margins[i]);
    }
    form->addRow(QStringLiteral("边距(左上右下)"), marginRow);
    m_fontSize = new QDoubleSpinBox;
    m_fontSize->setRange(5, 30);
    m_fontSize->setValue(t.BodyFont.Size);
    form->addRow(QStringLiteral("字号"), m_fontSize);
    m_header = new QLineEdit(t.PageHeader);
    m_header->setToolTip(QStringLiteral("[页码] [页数] [日期] [时间] [主:名称]"));
    form->addRow(QStringLiteral("页眉"), m_header);
    m_footer = new QLineEdit(t.PageFooter);
    m_footer->setToolTip(m_header->toolTip());
    form->addRow(QStringLiteral("页脚"), m_footer);

    m_columns = new QTableWidget(0, cCount);
    m_columns->setHorizontalHeaderLabels({QStringLiteral("打印"), QStringLiteral("字段"),
                                          QStringLiteral("标题"), QStringLiteral("宽度(mm)"),
                                          QStringLiteral("对齐"), QStringLiteral("合计")});
    m_columns->verticalHeader()->hide();
    m_columns->horizontalHeader()->setStretchLastSection(true);
    fillColumns(t);
    auto* up = new QPushButton(QStringLiteral("上移"));
    auto* down = new QPushButton(QStringLiteral("下移"));
    connect(up, &QPushButton::clicked, this, [this] { moveRow(-1); });
    connect(down, &QPushButton::clicked, this, [this] { moveRow(1); });
    auto* moveRowButtons = new QHBoxLayout;
    moveRowButtons->addWidget(up);
    moveRowButtons->addWidget(down);
    moveRowButtons->addStretch();

    auto* left = new QWidget;
    auto* leftLayout = new QVBoxLayout(left);
    leftLayout->addLayout(form);
    leftLayout->addWidget(m_columns, 1);
    leftLayout->addLayout(moveRowButtons);

    m_printer = std::make_unique<QPrinter>(QPrinter::ScreenResolution);
    m_preview = new QPrintPreviewWidget(m_printer.get());
    m_preview->setViewMode(QPrintPreviewWidget::SinglePageView);
    connect(m_preview, &QPrintPreviewWidget::paintRequested, this,
            [this](QPrinter* printer) { RenderReport(*printer, Template(), m_sample); });

    auto* split = new QSplitter;
    split->addWidget(left);
    split->addWidget(m_preview);
    split->setStretchFactor(1, 1);
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Ok | QDialogButtonBox::Cancel);
    buttons->button(QDialogButtonBox::Ok)->setText(QStringLiteral("保存"));
    buttons->button(QDialogButtonBox::Cancel)->setText(QStringLiteral("取消"));
    connect(buttons, &QDialogButtonBox::accepted, this, &QDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(split, 1);
    layout->addWidget(buttons);
    resize(1000, 640);

    m_timer = new QTimer(this);
    m_timer->setSingleShot(true);
    m_timer->setInterval(150);
    connect(m_timer, &QTimer::timeout, m_preview, &QPrintPreviewWidget::updatePreview);
    for (QLineEdit* e : {m_title, m_header, m_footer})
        connect(e, &QLineEdit::textChanged, this, &TCtrl_ReportDesigner::schedulePreview);
    for (QComboBox* c : {m_size, m_orientation})
        connect(c, &QComboBox::currentIndexChanged, this, &TCtrl_ReportDesigner::schedulePreview);
    for (QDoubleSpinBox* s : {m_margins[0], m_margins[1], m_margins[2], m_margins[3], m_fontSize})
        connect(s, &QDoubleSpinBox::valueChanged, this, &TCtrl_ReportDesigner::schedulePreview);
    connect(m_columns, &QTableWidget::itemChanged, this, &TCtrl_ReportDesigner::schedulePreview);
}

TCtrl_ReportDesigner::~TCtrl_ReportDesigner() = default;

void TCtrl_ReportDesigner::schedulePreview() {
    m_timer->start();
}

void TCtrl_ReportDesigner::fillColumns(const TReportTemplate& t) {
    // Every data column appears once: the template's first, in its order, then
    // the others unticked.
    std::vector<TReportColumn> rows;
    std::vector<bool> printed;
    for (const TReportColumn& c : ResolveColumns(t, m_data)) {
        rows.push_back(c);
        printed.push_back(true);
    }
    for (const TReportDataColumn& d : m_data.Columns) {
        bool listed = false;
        for (const TReportColumn& c : rows)
            listed = listed || c.Field.compare(d.Field, Qt::CaseInsensitive) == 0;
        if (listed) continue;
        TReportColumn c;
        c.Field = d.Field;
        c.Title = d.Title;
        c.Width = qRound(qBound(5.0, d.Width * 25.4 / 96.0, 200.0) * 10) / 10.0;
        rows.push_back(c);
        printed.push_back(false);
    }
    const QSignalBlocker block(m_columns);
    m_columns->setRowCount(int(rows.size()));
    for (int r = 0; r < int(rows.size()); ++r) {
        const TReportColumn& c = rows[r];
        auto* print = new QTableWidgetItem;
        print->setFlags(Qt::ItemIsEnabled | Qt::ItemIsUserCheckable | Qt::ItemIsSelectable);
        print->setCheckState(printed[r] ? Qt::Checked : Qt::Unchecked);
        m_columns->setItem(r, cPrint, print);
        auto* field = new QTableWidgetItem(c.Field);
        field->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable);
        m_columns->setItem(r, cField, field);
        m_columns->setItem(r, cTitle, new QTableWidgetItem(c.Title));
        auto* width = new QTableWidgetItem;
        width->setData(Qt::EditRole, c.Width);
        m_columns->setItem(r, cWidth, width);
        auto* align = new QComboBox;
        for (const auto& a : kAligns)
            align->addItem(QString::fromUtf8(a.text), int(a.align));
        align->setCurrentIndex(qMax(0, align->findData(int(c.Align))));
        connect(align, &QComboBox::currentIndexChanged, this, &TCtrl_ReportDesigner::schedulePreview);
        m_columns->setCellWidget(r, cAlign, align);
        auto* total = new QTableWidgetItem;
        total->setFlags(Qt::ItemIsEnabled | Qt::ItemIsUserCheckable | Qt::ItemIsSelectable);
        total->setCheckState(c.Total ? Qt::Checked : Qt::Unchecked);
        m_columns->setItem(r, cTotal, total);
    }
    m_columns->resizeColumnsToContents();
}

void TCtrl_ReportDesigner::moveRow(int delta) {
    const int r = m_columns->currentRow();
    const int to = r + delta;
    if (r < 0 || to < 0 || to >= m_columns->rowCount()) return;
    TReportTemplate t = Template();
    // Rebuild from the current state with the two rows swapped (unticked rows
    // keep their place through the table, not the template).
    std::vector<std::pair<TReportColumn, bool>> rows;
    for (int i = 0; i < m_columns->rowCount(); ++i) {
        TReportColumn c;
        c.Field = m_columns->item(i, cField)->text();
        c.Title = m_columns->item(i, cTitle)->text();
        c.Width = m_columns->item(i, cWidth)->data(Qt::EditRole).toDouble();
        c.Align =
            Qt::Alignment(qobject_cast<QComboBox*>(m_columns->cellWidget(i, cAlign))->currentData().toInt());
        c.Total = m_columns->item(i, cTotal)->checkState() == Qt::Checked;
        rows.emplace_back(c, m_columns->item(i, cPrint)->checkState() == Qt::Checked);
    }
    std::swap(rows[r], rows[to]);
    t.Columns.clear();
    for (const auto& [c, printed] : rows)
        t.Columns.push_back(c);
    fillColumns(t);
    for (int i = 0; i < int(rows.size()); ++i)
        m_columns->item(i, cPrint)->setCheckState(rows[i].second ? Qt::Checked : Qt::Unchecked);
    m_columns->setCurrentCell(to, cTitle);
    schedulePreview();
}

TReportTemplate TCtrl_ReportDesigner::Template() const {
    TReportTemplate t = m_base;
    t.Title = m_title->text();
    t.PageSize = QPageSize::PageSizeId(m_size->currentData().toInt());
    t.Orientation = QPageLayout::Orientation(m_orientation->currentData().toInt());
    t.Margins =
        QMarginsF(m_margins[0]->value(), m_margins[1]->value(), m_margins[2]->value(), m_margins[3]->value());
    t.BodyFont.Size = m_fontSize->value();
    t.HeaderFont.Size = m_fontSize->value();
    t.PageHeader = m_header->text();
    t.PageFooter = m_footer->text();
    t.Columns.clear();
    for (int i = 0; i < m_columns->rowCount(); ++i) {
        if (m_columns->item(i, cPrint)->checkState() != Qt::Checked) continue;
        TReportColumn c;
        c.Field = m_columns->item(i, cField)->text();
        c.Title = m_columns->item(i, cTitle)->text();
        c.Width = qBound(1.0, m_columns->item(i, cWidth)->data(Qt::EditRole).toDouble(), 1000.0);
        c.Align =
            Qt::Alignment(qobject_cast<QComboBox*>(m_columns->cellWidget(i, cAlign))->currentData().toInt());
        c.Total = m_columns->item(i, cTotal)->checkState() == Qt::Checked;
        t.Columns.push_back(c);
    }
    return t;
}

int TCtrl_ReportDesigner::PreviewPageCount() const {
    return m_preview->pageCount();
}

} // namespace lnq
