#include "filter/Ctrl_FilterSetupFM.h"

#include "data/DataSetModel.h"
#include "grid/core/Ctrl_LNQStringGrid.h"

#include <QComboBox>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QKeyEvent>
#include <QPushButton>
#include <QShortcut>
#include <QTableView>
#include <QVBoxLayout>

namespace lnq {

namespace {

struct FormColumn {
    const char* name;
    const char* title;
    int width;
    bool editable;
};

// The form's columns, addressed by name.
const FormColumn kColumns[] = {
    {"SerialNo", "序号", 36, false},      {"FieldName", "FieldName", 90, false},
    {"FieldType", "字段类型", 60, false}, {"FieldTitle", "字段标题", 110, false},
    {"FilterType", "过滤类型", 90, true}, {"EqualValue", "值", 120, true},
    {"MinValue", "a最小值", 70, true},    {"MaxValue", "a最大值", 70, true},
    {"LikeValue", "a包含", 70, true},     {"TColor", "TColor", 60, true},
};

} // namespace

TCtrl_FilterSetupFM::TCtrl_FilterSetupFM(QWidget* parent) : QDialog(parent) {
    setWindowTitle(QStringLiteral("过滤设置"));
    setObjectName(QStringLiteral("Ctrl_FilterSetupFM"));
    m_grid = new TLNQStringGrid(this);
    m_grid->setObjectName(QStringLiteral("LNQStringGrid"));
    m_grid->SetOptions(m_grid->Options() | TGridOption::goEditing | TGridOption::goColSizing);
    m_grid->SetColCount(int(std::size(kColumns)));
    m_grid->SetRowCount(2);
    TGridCols& cols = m_grid->GridCols();
    for (int i = 0; i < int(std::size(kColumns)); ++i) {
        TGridCol* c = cols[i];
        c->SetColName(QString::fromUtf8(kColumns[i].name));
        c->SetCaption(QString::fromUtf8(kColumns[i].title));
        c->SetWidth(kColumns[i].width);
        c->SetReadOnly(!kColumns[i].editable);
        c->SetAlignment(Qt::AlignLeft);
    }
    // The design-time list of the operator column; replaced per row whenever
    // the list drops down.
    TGridCol* op = cols[m_grid->ColByName(QStringLiteral("FilterType"))];
    op->SetPopComboBoxAllowed(true);
    const QStringList design{FilterOpAll(),          QStringLiteral("等于"), QStringLiteral("不等于"),
                             QStringLiteral("介于"), QStringLiteral("包含"), QStringLiteral("拼音")};
    op->SetPopListStrings(&design);
    m_grid->OnEditorPopup = [this](TLNQCustomGrid*, QWidget* editor, int, int row) {
        auto* list = qobject_cast<QComboBox*>(editor);
        if (!list) return;
        QString type, current;
        m_grid->GetCellValS(row, QStringLiteral("FieldType"), type);
        m_grid->GetCellValS(row, QStringLiteral("FilterType"), current);
        list->clear();
        list->addItems(OperatorsFor(type));
        list->setCurrentIndex(list->findText(current, Qt::MatchExactly));
    };

    m_ok = new QPushButton(QStringLiteral("确定"), this);
    m_cancel = new QPushButton(QStringLiteral("取消"), this);
    auto* del = new QPushButton(QStringLiteral("删除"), this);
    m_ok->setDefault(false);
    m_ok->setAutoDefault(false);
    m_cancel->setAutoDefault(false);
    del->setAutoDefault(false);
    connect(m_ok, &QPushButton::clicked, this, &TCtrl_FilterSetupFM::Apply);
    connect(m_cancel, &QPushButton::clicked, this, &QDialog::reject);
    connect(del, &QPushButton::clicked, this, &TCtrl_FilterSetupFM::DeleteCurrentRow);
    auto* buttons = new QHBoxLayout;
    buttons->addWidget(del);
    buttons->addStretch(1);
    buttons->addWidget(m_ok);
    buttons->addWidget(m_cancel);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(m_grid, 1);
    layout->addLayout(buttons);
    resize(720, 420);
}

TCtrl_FilterSetupFM::~TCtrl_FilterSetupFM() = default;

QString TCtrl_FilterSetupFM::GetFieldTypeName(TFieldType type) {
    return lnq::GetFieldTypeName(type);
}

QString TCtrl_FilterSetupFM::GetGridTitle(const QString& title) {
    QString t = title;
    t.remove(QStringLiteral("↑"));
    t.remove(QStringLiteral("↓"));
    return t;
}

TFilterItem* TCtrl_FilterSetupFM::FindFilterItem(const QString& fieldName) const {
    return m_list ? m_list->FindByField(fieldName) : nullptr;
}

QStringList TCtrl_FilterSetupFM::OperatorsFor(const QString& typeName) {
    if (typeName == QStringLiteral("文本"))
        return {FilterOpAll(), QStringLiteral("包含"), QStringLiteral("不包含"), QStringLiteral("等于"),
                QStringLiteral("不等于")};
    if (typeName == QStringLiteral("数值"))
        return {FilterOpAll(),           QStringLiteral("等于"),     QStringLiteral("大于"),
                QStringLiteral("小于"),  QStringLiteral("大于等于"), QStringLiteral("小于等于"),
                QStringLiteral("不等于")};
    if (typeName == QStringLiteral("日期"))
        return {FilterOpAll(),
                QStringLiteral("等于"),
                QStringLiteral("大于"),
                QStringLiteral("小于"),
                QStringLiteral("大于等于"),
                QStringLiteral("小于等于"),
                QStringLiteral("不等于"),
                QStringLiteral("昨天"),
                QStringLiteral("今天"),
                QStringLiteral("明天"),
                QStringLiteral("最近N天"),
                QStringLiteral("随后N天"),
                QStringLiteral("上个星期"),
                QStringLiteral("这个星期"),
                QStringLiteral("下个星期"),
                QStringLiteral("上月"),
                QStringLiteral("本月"),
                QStringLiteral("下月"),
                QStringLiteral("去年"),
                QStringLiteral("今年"),
                QStringLiteral("明年")};
    if (typeName == QStringLiteral("是否"))
        return {FilterOpAll(), QStringLiteral("是"), QStringLiteral("否")};
    return {};
}

void TCtrl_FilterSetupFM::InitUI(const TFilterSetupSource& grid, TFilterList& list) {
    QList<Row> rows;
    TDataSet* ds = grid.SetupDataSet();
    for (int i = 0; ds && i < grid.SetupColumnCount(); ++i) {
        if (grid.SetupWidth(i) <= 0) continue;
        const TField* f = ds->FindField(grid.SetupFieldName(i));
        if (!f) continue;
        rows.append({f->FieldName(), grid.SetupTitle(i), f->DataType()});
    }
    fill(rows, list);
}

void TCtrl_FilterSetupFM::InitUI(const QTableView& view, TFilterList& list) {
    QList<Row> rows;
    const auto* model = qobject_cast<const TDataSetModel*>(view.model());
    TDataSet* ds = model ? model->DataSet() : nullptr;
    const QHeaderView* header = view.horizontalHeader();
    for (int v = 0; ds && model && v < model->columnCount(); ++v) {
        const int logical = header->logicalIndex(v);
        if (view.isColumnHidden(logical) || view.columnWidth(logical) <= 0) continue;
        const QString name =
            model->headerData(logical, Qt::Horizontal, TDataSetModel::FieldNameRole).toString();
        const TField* f = ds->FindField(name);
        if (!f) continue;
        rows.append({f->FieldName(), model->headerData(logical, Qt::Horizontal).toString(), f->DataType()});
    }
    fill(rows, list);
}

void TCtrl_FilterSetupFM::fill(const QList<Row>& rows, TFilterList& list) {
    m_list = &list;
    m_grid->SetRowCount(std::max(2, int(rows.size()) + 1));
    for (int r = 1; r < m_grid->RowCount(); ++r)
        for (int c = 0; c < m_grid->ColCount(); ++c)
            m_grid->SetCells(c, r, QString());
    for (int i = 0; i < rows.size(); ++i) {
        const int r = i + 1;
        const Row& row = rows[i];
        m_grid->SetCellValS(r, QStringLiteral("SerialNo"), QString::number(r));
        m_grid->SetCellValS(r, QStringLiteral("FieldName"), row.FieldName);
        m_grid->SetCellValS(r, QStringLiteral("FieldTitle"), GetGridTitle(row.Title));
        m_grid->SetCellValS(r, QStringLiteral("FieldType"), GetFieldTypeName(row.Type));
        if (const TFilterItem* item = FindFilterItem(row.FieldName)) {
            m_grid->SetCellValS(r, QStringLiteral("FilterType"), item->FilterOP());
            m_grid->SetCellValS(r, QStringLiteral("EqualValue"), item->EqualValue());
        } else {
            m_grid->SetCellValS(r, QStringLiteral("FilterType"), FilterOpAll());
        }
    }
    m_grid->RefreshColor();
}

void TCtrl_FilterSetupFM::Apply() {
    if (m_grid->EditorMode()) m_grid->HideEditor(); // the value being typed counts
    if (m_list) {
        m_list->Clear();
        for (int r = 1; r < m_grid->RowCount(); ++r) {
            QString op, name, type, value;
            m_grid->GetCellValS(r, QStringLiteral("FilterType"), op);
            if (op == FilterOpAll()) continue;
            m_grid->GetCellValS(r, QStringLiteral("FieldName"), name);
            auto item = std::make_unique<TFilterItem>();
            if (!name.isEmpty()) {
                m_grid->GetCellValS(r, QStringLiteral("FieldType"), type);
                m_grid->GetCellValS(r, QStringLiteral("EqualValue"), value);
                item->SetFieldName(name);
                item->SetFieldTypeName(type);
                item->SetFilterOP(op);
                item->SetEqualValue(value);
            }
            if (item->IsValid()) m_list->Add(std::move(item));
        }
    }
    accept();
}

void TCtrl_FilterSetupFM::DeleteCurrentRow() {
    const int row = m_grid->Row();
    if (row < 1 || row >= m_grid->RowCount()) return;
    m_grid->DeleteRow(row);
}

} // namespace lnq
