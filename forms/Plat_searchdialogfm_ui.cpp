#include "forms/Plat_searchdialogfm_ui.h"

#include "data/DataSet.h"
#include "forms/Plat_searchlists.h"
#include "grid/data/Ctrl_LNQDBGrid.h"
#include "util/Exceptions.h"

#include <QComboBox>
#include <QCoreApplication>
#include <QFontMetrics>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QMessageBox>
#include <QPushButton>
#include <QVBoxLayout>

namespace lnq {

namespace {

// Column titles carry the sort mark of a title sort; the chooser shows the
// plain title.
QString plainTitle(QString title) {
    title.remove(QChar(0x2191)); // ↑
    title.remove(QChar(0x2193)); // ↓
    return title;
}

} // namespace

TPLAT_Searchfm::TPLAT_Searchfm(QWidget* parent) : QDialog(parent) {
    setObjectName(QStringLiteral("PLAT_Searchfm"));
    setWindowTitle(QStringLiteral("选择"));
    setModal(true);
    resize(640, 420);

    auto* searchRow = new QHBoxLayout;
    auto* fieldLabel = new QLabel(QStringLiteral("查找字段"), this);
    m_fieldBox = new QComboBox(this);
    m_fieldBox->setObjectName(QStringLiteral("ComboBoxField"));
    m_fieldBox->setMinimumContentsLength(8);
    fieldLabel->setBuddy(m_fieldBox);
    auto* valueLabel = new QLabel(QStringLiteral("查找内容"), this);
    m_edit = new QLineEdit(this);
    m_edit->setObjectName(QStringLiteral("EditValue"));
    m_edit->setClearButtonEnabled(true);
    m_edit->setPlaceholderText(QStringLiteral("文字或拼音首字母"));
    valueLabel->setBuddy(m_edit);
    m_count = new QLabel(this);
    m_count->setObjectName(QStringLiteral("LabelCount"));
    searchRow->addWidget(fieldLabel);
    searchRow->addWidget(m_fieldBox);
    searchRow->addWidget(valueLabel);
    searchRow->addWidget(m_edit, 1);
    searchRow->addWidget(m_count);

    m_grid = new TLNQDBGrid(this);
    m_grid->setObjectName(QStringLiteral("LNQDBGrid"));
    m_grid->SetControlOptions(TDBGridControlOption::coTitleSort | TDBGridControlOption::coMenuFilter |
                              TDBGridControlOption::coMenuSort | TDBGridControlOption::coMenuCopy);
    m_grid->installEventFilter(this);
    m_edit->installEventFilter(this);

    auto* buttons = new QHBoxLayout;
    m_all = new QPushButton(QStringLiteral("全选"), this);
    m_all->setObjectName(QStringLiteral("BitBtnAll"));
    m_unAll = new QPushButton(QStringLiteral("清除"), this);
    m_unAll->setObjectName(QStringLiteral("BitBtnUnAll"));
    m_ok = new QPushButton(QStringLiteral("确定"), this);
    m_ok->setObjectName(QStringLiteral("BitBtnOK"));
    m_cancel = new QPushButton(QStringLiteral("取消"), this);
    m_cancel->setObjectName(QStringLiteral("BitBtnCancel"));
    for (QPushButton* b : {m_all, m_unAll, m_ok, m_cancel})
        b->setAutoDefault(false);
    m_ok->setDefault(true);
    buttons->addWidget(m_all);
    buttons->addWidget(m_unAll);
    buttons->addStretch(1);
    buttons->addWidget(m_ok);
    buttons->addWidget(m_cancel);

    auto* layout = new QVBoxLayout(this);
    layout->addLayout(searchRow);
    layout->addWidget(m_grid, 1);
    layout->addLayout(buttons);

    connect(m_all, &QPushButton::clicked, this, [this] { SelectAll(); });
    connect(m_unAll, &QPushButton::clicked, this, [this] { UnSelectAll(); });
    connect(m_ok, &QPushButton::clicked, this, [this] { accept(); });
    connect(m_cancel, &QPushButton::clicked, this, [this] { reject(); });
    connect(m_edit, &QLineEdit::textChanged, this, [this] { applySearch(); });
    connect(m_fieldBox, &QComboBox::currentIndexChanged, this, [this] { applySearch(); });
    connect(m_grid, &QAbstractItemView::doubleClicked, this, [this](const QModelIndex& index) {
        // A double click on a record chooses it; one on the titles sorts.
        if (index.row() >= 1 && m_dataSet && m_dataSet->Active() && !m_dataSet->IsEmpty()) accept();
    });
    SetMultiSelect(true);
}

TPLAT_Searchfm::~TPLAT_Searchfm() {
    // The dataset outlives the form: its record filter must not call back.
    SetDataSet(nullptr);
}

void TPLAT_Searchfm::SetDataSet(TDataSet* dataSet) {
    if (m_dataSet == dataSet) return;
    if (m_dataSet && m_filterInstalled) {
        m_dataSet->SetOnFilterRecord(nullptr);
        m_filterInstalled = false;
    }
    if (m_dataSet) disconnect(m_dataSet, nullptr, this, nullptr);
    m_dataSet = dataSet;
    m_grid->SetDataSet(dataSet);
    if (dataSet) connect(dataSet, &TDataSet::dataSetChanged, this, [this] { updateCount(); });
    updateCount();
}

TDataSet* TPLAT_Searchfm::DataSet() const {
    return m_dataSet.data();
}

void TPLAT_Searchfm::SetMultiSelect(bool on) {
    m_multiSelect = on;
    TLNQDBGridOptions options = m_grid->DBOptions();
    options &= ~TLNQDBGridOptions(TDBGridOption::dgEditing);
    options |= TDBGridOption::dgRowSelect;
    options |= TDBGridOption::dgAlwaysShowSelection;
    options.setFlag(TDBGridOption::dgMultiSelect, on);
    m_grid->SetDBOptions(options);
    if (!on) m_grid->SelectedRows().Clear();
    m_all->setVisible(on);
    m_unAll->setVisible(on);
}

void TPLAT_Searchfm::fitColumns() {
    // Lookup lists are read, not edited: each column gets room for its title
    // and for the texts of the first rows (a bounded sample, whatever the
    // list's length), up to a third of the screen's usual width.
    const TDataSet* ds = m_dataSet.data();
    if (!ds || !ds->Active()) return;
    constexpr int kSampleRows = 200;
    constexpr int kMaxWidth = 320;
    const int rows = std::min(ds->RecordCount(), kSampleRows);
    const TLNQDBGridColumns& columns = m_grid->Columns();
    for (int i = 0; i < columns.Count(); ++i) {
        TColumn* column = columns.Items(i);
        const TField* field = column->Field();
        if (!column->Visible() || !field || column->IsWidthStored()) continue;
        const QFontMetrics title(column->Title().Font());
        const QFontMetrics cells(column->Font());
        int width = title.horizontalAdvance(column->Title().Caption());
        for (int r = 0; r < rows; ++r)
            width = std::max(width, cells.horizontalAdvance(ds->DisplayTextAt(r, field->Index())));
        column->SetDefaultWidth(std::min(width + 12, kMaxWidth));
    }
}

void TPLAT_Searchfm::UpdateFieldName() {
    fitColumns();
    const QSignalBlocker block(m_fieldBox);
    m_fieldBox->clear();
    QStringList titles;
    const TLNQDBGridColumns& columns = m_grid->Columns();
    for (int i = 0; i < columns.Count(); ++i) {
        const TColumn* column = columns.Items(i);
        if (!column->Visible() || column->FieldName().isEmpty()) continue;
        titles << plainTitle(column->Title().Caption());
        m_fieldBox->addItem(titles.last(), column->FieldName());
    }
    const int chosen = TSearchLists::DefaultSearchColumn(titles);
    m_fieldBox->setCurrentIndex(chosen);
    {
        const QSignalBlocker blockEdit(m_edit);
        m_edit->clear();
    }
    applySearch();
}

QString TPLAT_Searchfm::SearchFieldName() const {
    return m_fieldBox->currentData().toString();
}

void TPLAT_Searchfm::SetSearchFieldName(const QString& fieldName) {
    for (int i = 0; i < m_fieldBox->count(); ++i) {
        if (m_fieldBox->itemData(i).toString().compare(fieldName, Qt::CaseInsensitive) == 0) {
            m_fieldBox->setCurrentIndex(i);
            return;
        }
    }
}

void TPLAT_Searchfm::SetSearchText(const QString& text) {
    m_edit->setText(text);
}

QString TPLAT_Searchfm::SearchText() const {
    return m_edit->text();
}

bool TPLAT_Searchfm::Accepts(TDataSet& dataSet) const {
    if (m_search.IsEmpty() || m_fieldIndex < 0 || m_fieldIndex >= dataSet.FieldCount()) return true;
    return m_search.Matches(dataSet.Fields(m_fieldIndex).AsString());
}

void TPLAT_Searchfm::applySearch() {
    TDataSet* ds = m_dataSet.data();
    m_search.SetText(m_edit->text());
    m_fieldIndex = -1;
    if (ds && ds->Active()) {
        if (const TField* f = ds->FindField(SearchFieldName())) m_fieldIndex = f->Index();
    }
    if (!ds || !ds->Active()) {
        updateCount();
        return;
    }
    try {
        if (!m_filterInstalled) {
            // Installed once; the grid's own quick filters use the records
            // filter and switch Filtered, which this callback survives.
            ds->SetOnFilterRecord([this](TDataSet& d, bool& accept) { accept = Accepts(d); });
            m_filterInstalled = true;
        }
        if (!ds->Filtered())
            ds->SetFiltered(true);
        else
            ds->Refilter();
    } catch (const Exception& e) {
        QMessageBox::critical(this, QStringLiteral("错误提示"), e.Message());
    }
    updateCount();
}

void TPLAT_Searchfm::updateCount() {
    const TDataSet* ds = m_dataSet.data();
    const int n = ds && ds->Active() ? ds->RecordCount() : 0;
    m_count->setText(QString::number(n) + QStringLiteral(" 条"));
}

void TPLAT_Searchfm::SelectAll() {
    if (!m_multiSelect) return;
    try {
        m_grid->SelectedRows().SelectAll();
    } catch (const Exception& e) {
        QMessageBox::critical(this, QStringLiteral("错误提示"), e.Message());
    }
}

void TPLAT_Searchfm::UnSelectAll() {
    m_grid->SelectedRows().Clear();
}

void TPLAT_Searchfm::done(int result) {
    m_modalResult = result;
    m_finished = true;
    QDialog::done(result);
}

void TPLAT_Searchfm::reject() {
    done(mrCancel);
}

void TPLAT_Searchfm::accept() {
    done(mrOk);
}

void TPLAT_Searchfm::showEvent(QShowEvent* event) {
    m_finished = false;
    m_modalResult = mrNone;
    QDialog::showEvent(event);
    m_edit->setFocus();
}

bool TPLAT_Searchfm::eventFilter(QObject* watched, QEvent* event) {
    if (event->type() != QEvent::KeyPress) return QDialog::eventFilter(watched, event);
    auto* key = static_cast<QKeyEvent*>(event);
    const Qt::KeyboardModifiers mods = key->modifiers() & ~Qt::KeypadModifier;
    const bool enter = key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter;
    if (watched == m_edit) {
        // The list moves under the search text, so typing, arrows and Enter
        // choose without leaving the edit.
        switch (key->key()) {
        case Qt::Key_Up:
        case Qt::Key_Down:
        case Qt::Key_PageUp:
        case Qt::Key_PageDown: {
            QKeyEvent copy(key->type(), key->key(), key->modifiers(), key->text());
            QCoreApplication::sendEvent(m_grid, &copy);
            return true;
        }
        default:
            break;
        }
        if (enter && mods == Qt::NoModifier) {
            accept();
            return true;
        }
    } else if (watched == m_grid && enter && mods == Qt::NoModifier && !m_grid->EditorMode()) {
        accept();
        return true;
    }
    return QDialog::eventFilter(watched, event);
}

} // namespace lnq
