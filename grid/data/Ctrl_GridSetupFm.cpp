#include "grid/data/Ctrl_GridSetupFm.h"

#include "grid/core/GridText.h"

#include <QHBoxLayout>
#include <QMessageBox>
#include <QMouseEvent>
#include <QVBoxLayout>

namespace lnq {

namespace {
const QString kShown = QStringLiteral("显示");
const QString kHidden = QStringLiteral("不显示");

struct SetupColumn {
    const char* name;
    const char* header;
    int width;
    bool editable;
};
constexpr SetupColumn kColumns[] = {
    {"SerialNo", "序号", 45, false},          {"DataCaption", "字段名称", 82, false},
    {"FieldDescribe", "数据标题", 171, true}, {"UserCaption", "自定义标题", 85, true},
    {"IsDisplay", "是否显示", 64, false},     {"TColor", "A4", 64, true},
};
} // namespace

TCtrl_GridSetupFm::TCtrl_GridSetupFm(QWidget* parent) : QDialog(parent) {
    setWindowTitle(QStringLiteral(" 表格列设置"));
    auto* bar = new QHBoxLayout;
    BitBtn6 = new QPushButton(kShown, this);
    BitBtn5 = new QPushButton(kHidden, this);
    BitBtn3 = new QPushButton(QStringLiteral("全选"), this);
    BitBtn4 = new QPushButton(QStringLiteral("反选"), this);
    BitBtn1 = new QPushButton(QStringLiteral("确定"), this);
    BitBtn2 = new QPushButton(QStringLiteral("取消"), this);
    BitBtn1->setDefault(true);
    for (QPushButton* b : {BitBtn6, BitBtn5, BitBtn3, BitBtn4, BitBtn1, BitBtn2})
        bar->addWidget(b);
    bar->addStretch();

    m_grid = new TLNQStringGrid(this);
    m_grid->SetColCount(int(std::size(kColumns)));
    for (int i = 0; i < int(std::size(kColumns)); ++i) {
        TGridCol* c = m_grid->GridCols()[i];
        c->SetColName(QString::fromLatin1(kColumns[i].name));
        c->SetCaption(QString::fromUtf8(kColumns[i].header));
        c->SetWidth(kColumns[i].width);
        c->SetReadOnly(!kColumns[i].editable);
    }
    m_grid->SetOptions(m_grid->Options() | TGridOption::goEditing);
    m_grid->HideCol(QStringLiteral("TColor"));

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(bar);
    layout->addWidget(m_grid, 1);
    resize(560, 420);

    connect(BitBtn6, &QPushButton::clicked, this, [this] { setCurrent(kShown); });
    connect(BitBtn5, &QPushButton::clicked, this, [this] { setCurrent(kHidden); });
    connect(BitBtn3, &QPushButton::clicked, this, [this] {
        for (int r = 1; r < m_grid->RowCount(); ++r)
            m_grid->SetCellValS(r, QStringLiteral("IsDisplay"), kShown);
    });
    connect(BitBtn4, &QPushButton::clicked, this, [this] {
        for (int r = 1; r < m_grid->RowCount(); ++r)
            flip(r);
    });
    connect(BitBtn1, &QPushButton::clicked, this, &TCtrl_GridSetupFm::confirm);
    connect(BitBtn2, &QPushButton::clicked, this, &QDialog::reject);
    m_grid->viewport()->installEventFilter(this);
}

bool TCtrl_GridSetupFm::eventFilter(QObject* watched, QEvent* event) {
    // A double-click anywhere on a data row flips it, read-only cells included.
    if (watched == m_grid->viewport() && event->type() == QEvent::MouseButtonDblClick) {
        const QModelIndex index = m_grid->indexAt(static_cast<QMouseEvent*>(event)->position().toPoint());
        if (index.isValid() && index.row() >= 1) {
            flip(index.row());
            return true;
        }
    }
    return QDialog::eventFilter(watched, event);
}

void TCtrl_GridSetupFm::InitUI(const QStringList& fieldNames, const TLayoutColumns& columns,
                               TitleLookup titleOf, bool plainGrid) {
    m_columns = &columns;
    m_plainGrid = plainGrid;
    m_grid->SetRowCount(int(fieldNames.size()) + 1);
    for (int i = 0; i < fieldNames.size(); ++i) {
        const QString& name = fieldNames[i];
        const int row = i + 1;
        const QString dictionary = titleOf ? titleOf(name) : name;
        const QString display = GetIsDisplayText(name);
        m_grid->SetCellValS(row, QStringLiteral("SerialNo"), QString::number(row));
        m_grid->SetCellValS(row, QStringLiteral("DataCaption"), name);
        m_grid->SetCellValS(row, QStringLiteral("FieldDescribe"), dictionary);
        m_grid->SetCellValS(row, QStringLiteral("IsDisplay"), display);
        m_grid->SetCellValS(row, QStringLiteral("UserCaption"),
                            display == kShown ? GetCaption(name) : dictionary);
        m_grid->SetCellValS(
            row, QStringLiteral("TColor"),
            ColorValueToString(i % 2 ? RgbToColorValue(230, 240, 240) : RgbToColorValue(240, 240, 240)));
    }
}

QString TCtrl_GridSetupFm::GetCaption(const QString& FieldName) const {
    if (!m_columns) return QString();
    for (int i = 0; i < m_columns->ColumnCount(); ++i)
        if (m_columns->FieldName(i) == FieldName) return StripSortMarks(m_columns->Title(i));
    return QString();
}

QString TCtrl_GridSetupFm::GetIsDisplayText(const QString& FieldName) const {
    if (!m_columns) return kHidden;
    for (int i = 0; i < m_columns->ColumnCount(); ++i)
        if (m_columns->FieldName(i) == FieldName && (m_plainGrid || m_columns->Width(i) != 0)) return kShown;
    return kHidden;
}

bool TCtrl_GridSetupFm::IsDisplay(int Row) const {
    QString v;
    return m_grid->GetCellValS(Row, QStringLiteral("IsDisplay"), v) && v == kShown;
}

std::vector<TGridSetupRow> TCtrl_GridSetupFm::Rows() const {
    std::vector<TGridSetupRow> rows;
    for (int r = 1; r < m_grid->RowCount(); ++r) {
        TGridSetupRow row;
        m_grid->GetCellValS(r, QStringLiteral("DataCaption"), row.FieldName);
        m_grid->GetCellValS(r, QStringLiteral("UserCaption"), row.UserCaption);
        row.Shown = IsDisplay(r);
        rows.push_back(row);
    }
    return rows;
}

void TCtrl_GridSetupFm::setCurrent(const QString& text) {
    if (m_grid->RowCount() < 2) return;
    const int row = m_grid->Row();
    if (row >= 1) m_grid->SetCellValS(row, QStringLiteral("IsDisplay"), text);
}

void TCtrl_GridSetupFm::flip(int row) {
    m_grid->SetCellValS(row, QStringLiteral("IsDisplay"), IsDisplay(row) ? kHidden : kShown);
}

void TCtrl_GridSetupFm::confirm() {
    for (int r = 1; r < m_grid->RowCount(); ++r)
        if (IsDisplay(r)) return accept();
    QMessageBox::information(this, QStringLiteral("提示"), QStringLiteral("至少需要一项显示"));
}

bool FieldSetup(TLayoutColumns& columns, const QStringList& fieldNames,
                TCtrl_GridSetupFm::TitleLookup titleOf, QWidget* parent) {
    TCtrl_GridSetupFm form(parent);
    form.InitUI(fieldNames, columns, std::move(titleOf));
    if (form.exec() != QDialog::Accepted) return false;
    UpdateFormat(columns, form.Rows());
    return true;
}

} // namespace lnq
