#include "forms/ListCommon_ui.h"

#include "forms/ListCommon.h"

#include "data/Plat_databaseinterface.h"
#include "data/Plat_dataenvironment.h"
#include "filter/Ctrl_FilterFrame.h"
#include "filter/SearchSql.h"
#include "filter/ViewList.h"
#include "grid/data/Ctrl_LNQDBGrid.h"
#include "util/Clock.h"
#include "util/Exceptions.h"
#include "util/Plat_clientutils.h"
#include "util/Plat_clientutils_ui.h"
#include "web/Ctrl_datawebbrowser.h"

#include <QCloseEvent>
#include <QComboBox>
#include <QDateEdit>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QLineEdit>
#include <QSignalBlocker>
#include <QSplitter>
#include <QTabWidget>
#include <QToolButton>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace lnq {

namespace {

const char16_t kMaster[] = u"MASTER";
const char16_t kDetail[] = u"DETAIL";
const char16_t kPrompt[] = u"提示";
const char16_t kErrorPrompt[] = u"错误提示";

// A link parameter's value ("" when the link does not name it).
QString valueOf(const QStringList& lines, const QString& name) {
    QString value;
    TClientUtils::GetAppLinkValue(lines, name, value);
    return value;
}

QString messageOf(const std::exception& e) {
    if (const auto* own = dynamic_cast<const Exception*>(&e)) return own->Message();
    return QString::fromUtf8(e.what());
}

} // namespace

// ============================================================ TDataSource

TDataSource::TDataSource(QObject* parent) : QObject(parent) {}

void TDataSource::SetDataSet(TDataSet* dataSet) {
    for (const QMetaObject::Connection& c : std::as_const(m_links))
        disconnect(c);
    m_links.clear();
    m_dataSet = dataSet;
    if (!dataSet) return;
    m_links << connect(dataSet, &TDataSet::scrolled, this, &TDataSource::DataChange)
            << connect(dataSet, &TDataSet::dataSetChanged, this, &TDataSource::DataChange);
}

// ============================================================ the form

TListCommonfm::TListCommonfm(std::shared_ptr<IConnection> connection, IServicesInterface* services,
                             QWidget* parent)
    : QWidget(parent), m_connection(std::move(connection)), m_services(services) {
    setObjectName(QStringLiteral("ListCommonfm"));
    m_listData = m_connection->CreateDataset();
    m_listData->setObjectName(QStringLiteral("ADODataSetList"));
    m_detailData = m_connection->CreateDataset();
    m_detailData->setObjectName(QStringLiteral("ADODataSetDetail"));
    m_sourceMain = new TDataSource(this);
    m_sourceMain->setObjectName(QStringLiteral("DataSourceMain"));
    m_sourceMain->SetDataSet(m_listData.get());
    m_sourceDetail = new TDataSource(this);
    m_sourceDetail->setObjectName(QStringLiteral("DataSourceDeltail"));
    m_sourceDetail->SetDataSet(m_detailData.get());
    BuildUi();
    // While a list or detail page is being loaded the half-built dataset is
    // not looked at; the load runs the record change steps once at its end.
    connect(m_sourceMain, &TDataSource::DataChange, this, [this] {
        if (!m_loadingList) ADODataSetListAfterScroll();
    });
    connect(m_sourceDetail, &TDataSource::DataChange, this, [this] {
        if (!m_loadingDetail) ADODataSetDetailAfterScroll();
    });
}

TListCommonfm::~TListCommonfm() {
    // Nothing may reach the record change steps while the form goes; the
    // grids go before the datasets they show.
    m_sourceMain->SetDataSet(nullptr);
    m_sourceDetail->SetDataSet(nullptr);
    delete m_splitter;
    m_splitter = nullptr;
}

QToolButton* TListCommonfm::AddButton(QHBoxLayout* bar, const QString& name, const QString& caption) {
    auto* b = new QToolButton(this);
    b->setObjectName(name);
    b->setText(caption);
    b->setToolButtonStyle(Qt::ToolButtonTextOnly);
    b->setAutoRaise(true);
    b->setMinimumWidth(44);
    bar->addWidget(b);
    return b;
}

void TListCommonfm::BuildUi() {
    auto* root = new QVBoxLayout(this);
    root->setContentsMargins(2, 2, 2, 2);
    root->setSpacing(2);

    auto* toolbar = new QWidget(this);
    toolbar->setObjectName(QStringLiteral("PanelTop"));
    auto* tools = new QHBoxLayout(toolbar);
    tools->setContentsMargins(0, 0, 0, 0);
    tools->setSpacing(1);
    m_btnAdd = AddButton(tools, QStringLiteral("SpeedButtonAdd"), QStringLiteral("新增"));
    m_btnDelete = AddButton(tools, QStringLiteral("SpeedButtonDelete"), QStringLiteral("删除"));
    m_btnEdit = AddButton(tools, QStringLiteral("SpeedButtonEdit"), QStringLiteral("修改"));
    m_btnDoConfirm = AddButton(tools, QStringLiteral("SpeedButtonDoConfirm"), QStringLiteral("审核"));
    m_btnUnDoConfirm = AddButton(tools, QStringLiteral("SpeedButtonUnDoConfirm"), QStringLiteral("消审"));
    m_btnRefresh = AddButton(tools, QStringLiteral("SpeedButtonReFreash"), QStringLiteral("刷新"));
    tools->addSpacing(8);
    m_btnSelAll = AddButton(tools, QStringLiteral("sbtnSelAll"), QStringLiteral("全选"));
    m_btnSelAllNot = AddButton(tools, QStringLiteral("sbtnSelAllNot"), QStringLiteral("反选"));
    m_btnDetail = AddButton(tools, QStringLiteral("SpeedButtonDetail"), QStringLiteral("明细"));
    m_btnViews = AddButton(tools, QStringLiteral("SpeedButtonViews"), QStringLiteral("视图"));
    m_btnViews->setCheckable(true);
    m_btnViews->setChecked(true);
    m_btnSearch = AddButton(tools, QStringLiteral("SpeedButtonSearch"), QStringLiteral("查找"));
    tools->addStretch(1);
    m_btnExit = AddButton(tools, QStringLiteral("SpeedButtonExit"), QStringLiteral("退出"));
    root->addWidget(toolbar);

    // The quick-search bar: field, operator and the one value editor that
    // suits the operator.
    auto* searchBar = new QWidget(this);
    searchBar->setObjectName(QStringLiteral("PanelQuickSearch"));
    auto* search = new QHBoxLayout(searchBar);
    search->setContentsMargins(0, 0, 0, 0);
    search->setSpacing(4);
    search->addWidget(new QLabel(QStringLiteral("快速查找"), searchBar));
    m_searchField = new QComboBox(searchBar);
    m_searchField->setObjectName(QStringLiteral("ComboBoxSearchField"));
    m_searchField->setMinimumWidth(110);
    m_opType = new QComboBox(searchBar);
    m_opType->setObjectName(QStringLiteral("ComboBoxOpType"));
    m_opType->setMinimumWidth(110);
    m_valueString = new QLineEdit(searchBar);
    m_valueString->setObjectName(QStringLiteral("EditValueString"));
    m_valueNumber = new QLineEdit(searchBar);
    m_valueNumber->setObjectName(QStringLiteral("EditValueNumber"));
    m_valueNumber->setAlignment(Qt::AlignRight);
    m_datePicker = new QDateEdit(searchBar);
    m_datePicker->setObjectName(QStringLiteral("DateTimePicker"));
    m_datePicker->setCalendarPopup(true);
    m_datePicker->setDisplayFormat(QStringLiteral("yyyy-MM-dd"));
    m_datePicker->setDate(Clock::today());
    for (QWidget* w : {static_cast<QWidget*>(m_searchField), static_cast<QWidget*>(m_opType)})
        search->addWidget(w);
    for (QWidget* w : {static_cast<QWidget*>(m_valueString), static_cast<QWidget*>(m_valueNumber),
                       static_cast<QWidget*>(m_datePicker)}) {
        w->setMinimumWidth(140);
        search->addWidget(w);
    }
    m_btnQuickSearch =
        AddButton(search, QStringLiteral("SpeedButtonQuickSearch"), QStringLiteral("在视图中查找"));
    m_btnSearchAllView =
        AddButton(search, QStringLiteral("SpeedButtonSearchAllView"), QStringLiteral("在全部数据中查找"));
    search->addStretch(1);
    root->addWidget(searchBar);

    m_splitter = new QSplitter(Qt::Horizontal, this);
    m_splitter->setObjectName(QStringLiteral("SplitterMain"));
    m_splitter->setChildrenCollapsible(false);
    m_sidePanel = new QWidget(m_splitter);
    m_sidePanel->setObjectName(QStringLiteral("PanelLeft"));
    auto* side = new QVBoxLayout(m_sidePanel);
    side->setContentsMargins(0, 0, 0, 0);
    m_filterFrame = new TFilterFrame(m_sidePanel);
    side->addWidget(m_filterFrame);
    // The side panel is narrow: one caption and value to a line.
    m_filterFrame->Viewer()->SetColumnCount(1);

    auto* right = new QSplitter(Qt::Vertical, m_splitter);
    right->setObjectName(QStringLiteral("SplitterList"));
    right->setChildrenCollapsible(false);
    auto* listPanel = new QWidget(right);
    auto* listLayout = new QVBoxLayout(listPanel);
    listLayout->setContentsMargins(0, 0, 0, 0);
    listLayout->setSpacing(1);
    m_captionLabel = new QLabel(listPanel);
    m_captionLabel->setObjectName(QStringLiteral("LabelCaption"));
    listLayout->addWidget(m_captionLabel);
    m_gridList = new TLNQDBGrid(listPanel);
    m_gridList->setObjectName(QStringLiteral("LNQDBGridList"));
    listLayout->addWidget(m_gridList, 1);

    m_pages = new QTabWidget(right);
    m_pages->setObjectName(QStringLiteral("PageControl"));
    m_tabDetail = new QWidget(m_pages);
    m_tabDetail->setObjectName(QStringLiteral("TabSheetDetail"));
    auto* detailLayout = new QVBoxLayout(m_tabDetail);
    detailLayout->setContentsMargins(0, 0, 0, 0);
    m_gridDetail = new TLNQDBGrid(m_tabDetail);
    m_gridDetail->setObjectName(QStringLiteral("LNQDBGridDetail"));
    detailLayout->addWidget(m_gridDetail);
    m_pages->addTab(m_tabDetail, QStringLiteral("明细"));
    right->setStretchFactor(0, 3);
    right->setStretchFactor(1, 1);

    m_splitter->setStretchFactor(0, 0);
    m_splitter->setStretchFactor(1, 1);
    m_splitter->setSizes({240, 760});
    root->addWidget(m_splitter, 1);

    // Lists are read here and changed in the host's editor: no in-place
    // editing, rows selected for the selection buttons.
    const TDBGridControlOptions gridOptions =
        TDBGridControlOptions(TDBGridControlOption::coTitleSort) | TDBGridControlOption::coAutoFormat |
        TDBGridControlOption::coMenuFilter | TDBGridControlOption::coMenuSort |
        TDBGridControlOption::coMenuPrintPreview | TDBGridControlOption::coMenuPrintSetup |
        TDBGridControlOption::coMenuPrintOut | TDBGridControlOption::coMenuPrintDesign |
        TDBGridControlOption::coMenuExportToExcel | TDBGridControlOption::coMenuCopy |
        TDBGridControlOption::coMenuSetup;
    for (TLNQDBGrid* grid : {m_gridList, m_gridDetail}) {
        TLNQDBGridOptions o = grid->DBOptions();
        o.setFlag(TDBGridOption::dgEditing, false);
        o.setFlag(TDBGridOption::dgMultiSelect, true);
        grid->SetDBOptions(o);
        grid->SetControlOptions(gridOptions);
    }
    m_gridList->SetDataSet(m_listData.get());
    m_gridDetail->SetDataSet(m_detailData.get());

    connect(m_btnAdd, &QToolButton::clicked, this, &TListCommonfm::SpeedButtonAddClick);
    connect(m_btnDelete, &QToolButton::clicked, this, &TListCommonfm::SpeedButtonDeleteClick);
    connect(m_btnEdit, &QToolButton::clicked, this, &TListCommonfm::SpeedButtonEditClick);
    connect(m_btnDetail, &QToolButton::clicked, this, &TListCommonfm::SpeedButtonDetailClick);
    connect(m_btnDoConfirm, &QToolButton::clicked, this, &TListCommonfm::SpeedButtonDoConfirmClick);
    connect(m_btnUnDoConfirm, &QToolButton::clicked, this, &TListCommonfm::SpeedButtonUnDoConfirmClick);
    connect(m_btnRefresh, &QToolButton::clicked, this, [this] { Reload(m_currentSql, m_listCaption); });
    connect(m_btnExit, &QToolButton::clicked, this, &QWidget::close);
    connect(m_btnSelAll, &QToolButton::clicked, this, &TListCommonfm::SelectAll);
    connect(m_btnSelAllNot, &QToolButton::clicked, this, &TListCommonfm::InvertSelection);
    connect(m_btnViews, &QToolButton::toggled, m_sidePanel, &QWidget::setVisible);
    connect(m_btnSearch, &QToolButton::clicked, this,
            [this] { Guarded([this] { m_filterFrame->SearchAdHoc(); }); });
    connect(m_btnQuickSearch, &QToolButton::clicked, this, &TListCommonfm::QuickSearchFromViewData);
    connect(m_btnSearchAllView, &QToolButton::clicked, this, &TListCommonfm::QuickSearchFromALLData);
    connect(m_searchField, &QComboBox::currentIndexChanged, this, &TListCommonfm::SearchFieldChanged);
    connect(m_opType, &QComboBox::currentIndexChanged, this, &TListCommonfm::OpTypeChanged);
    for (QLineEdit* value : {m_valueString, m_valueNumber})
        connect(value, &QLineEdit::returnPressed, this, &TListCommonfm::QuickSearchFromViewData);
    // A double click on a row asks the host to edit it (the title row sorts).
    connect(m_gridList, &QAbstractItemView::doubleClicked, this, [this](const QModelIndex& index) {
        if (m_gridList->RecordOfGridRow(index.row()) >= 0) SpeedButtonEditClick();
    });
    m_gridList->installEventFilter(this);
    OpTypeChanged();
    UpdateConfirmButtons(nullptr, QString());
}

bool TListCommonfm::eventFilter(QObject* watched, QEvent* event) {
    // Enter on a row of the list opens it, as a double click does.
    if (watched == m_gridList && event->type() == QEvent::KeyPress) {
        const int key = static_cast<QKeyEvent*>(event)->key();
        if ((key == Qt::Key_Return || key == Qt::Key_Enter) && !m_gridList->EditorMode() &&
            !CurrentKeyText().isEmpty()) {
            SpeedButtonEditClick();
            return true;
        }
    }
    return QWidget::eventFilter(watched, event);
}

// ------------------------------------------------------------ creation

void TListCommonfm::FormCreate() {
    ConfirmWord = QStringLiteral("确认");
    // The field dictionary gives captions to grids, viewer and field chooser;
    // a database without one shows field names.
    Guarded([this] { TDataEnvironment::GetInstance(m_connection->MyConnection()); });
    // Each list keeps its own column layouts, whatever window hosts it.
    const QString layoutBase = objectName() + QStringLiteral(".st_");
    m_gridList->SetFormatFileName(layoutBase + ListTable());
    m_gridDetail->SetFormatFileName(layoutBase + DetailTable() + QStringLiteral("_Detail"));

    const QString authority = TClientUtils::GetAuthorityString(*m_connection);
    m_filterFrame->SetSupportRights(!authority.isEmpty());
    m_filterFrame->InitUI(m_connection, m_services, ListTable(), authority, ViewExt(),
                          TClientUtils::GetCurrentUserCode(*m_connection),
                          TClientUtils::GetCurrrentGroups(*m_connection),
                          [this](const QString& sql, const QString& caption) { Reload(sql, caption); });
    Guarded([this] { m_filterFrame->LoadFiltersToTreeView(); });

    const bool detail = UsesDetail() && !DetailTable().isEmpty();
    m_pages->setTabVisible(m_pages->indexOf(m_tabDetail), detail);
    m_pages->setVisible(detail);
    ApplySignMode();
    RefreshData();
}

// ------------------------------------------------------------ loading

void TListCommonfm::RefreshData(const QString& sql) {
    Reload(sql, sql.isEmpty() ? QString() : m_listCaption);
}

void TListCommonfm::Reload(const QString& sql, const QString& caption) {
    const QString text = sql.isEmpty() ? ListNewestSQL(ListTable(), ListKeyField()) : sql;
    // The query runs on a scratch dataset: a failing text leaves the rows on
    // screen as they were. The list then shares the new records.
    std::unique_ptr<TADODataSet> fresh = m_connection->CreateDataset();
    if (!Guarded([&] { m_connection->FillDataset(*fresh, text); })) return;
    m_currentSql = sql;
    m_listCaption = caption;
    m_captionLabel->setText(caption.isEmpty() ? QString() : QStringLiteral("当前视图：") + caption);
    m_gridList->SelectedRows().Clear();
    m_gridList->BeginLayout();
    m_loadingList = true;
    const bool loaded = Guarded([&] {
        m_listData->Clone(*fresh);
        PrepareFields();
    });
    m_loadingList = false;
    m_gridList->EndLayout();
    if (!loaded) return;
    ADODataSetListAfterScroll();
    Q_EMIT ListRefreshed();
}

void TListCommonfm::RefreshDetail() {
    if (DetailTable().isEmpty()) return;
    const QString key = CurrentKeyText();
    m_loadingDetail = true;
    if (key.isEmpty()) {
        m_detailData->Close();
    } else {
        const QString sql = ListDetailSQL(DetailTable(), DetailKeyField(), key);
        std::unique_ptr<TADODataSet> fresh = m_connection->CreateDataset();
        if (Guarded([&] { m_connection->FillDataset(*fresh, sql); }))
            Guarded([&] { m_detailData->Clone(*fresh); });
    }
    m_loadingDetail = false;
    ADODataSetDetailAfterScroll();
}

void TListCommonfm::PrepareFields() {
    const TTitleCaptionFn titleOf = TitleCaptionsOf(TDataEnvironment::Instance());
    const QString chosen =
        m_searchField->currentIndex() >= 0 ? m_searchFields.value(m_searchField->currentIndex()) : QString();
    QStringList captions;
    m_searchFields.clear();
    if (m_listData->Active()) {
        for (int i = 0; i < m_listData->FieldCount(); ++i) {
            TField& field = m_listData->Fields(i);
            const QString caption = titleOf(field.FieldName());
            const bool hidden = IsSharingField(field.FieldName()) || caption == QLatin1String("NotVisible");
            field.SetVisible(!hidden);
            if (hidden) continue;
            captions << caption;
            m_searchFields << field.FieldName();
        }
    }
    if (m_gridList->Columns().State() == csDefault) m_gridList->Columns().RebuildColumns();
    {
        const QSignalBlocker block(m_searchField);
        m_searchField->clear();
        m_searchField->addItems(captions);
        const qsizetype again = m_searchFields.indexOf(chosen);
        m_searchField->setCurrentIndex(again >= 0 ? int(again) : (captions.isEmpty() ? -1 : 0));
    }
    // A reload that keeps the field keeps the operator the user chose.
    const QString op = m_opType->currentText();
    SearchFieldChanged();
    if (m_searchFields.value(m_searchField->currentIndex()) == chosen && m_opType->findText(op) >= 0)
        m_opType->setCurrentIndex(m_opType->findText(op));
}

// ------------------------------------------------------------ record change

void TListCommonfm::ADODataSetListAfterScroll() {
    const QString key = CurrentKeyText();
    if (!key.isEmpty()) {
        // The record's property list when it has one, else the record itself.
        const QString sql = ListPropertiesSQL(ListTable(), key);
        std::unique_ptr<TADODataSet> properties;
        try {
            properties = m_connection->ExecuteWithQuery(sql);
        } catch (const std::exception& e) {
            // A database without property lists would say so at every row:
            // once is enough.
            if (!m_propertiesFailed) ErrorMessage(messageOf(e));
            m_propertiesFailed = true;
        }
        if (properties && properties->Active() && !properties->IsEmpty())
            ShowDataProperty(*properties);
        else
            ShowGrid(*m_gridList);
    }
    UpdateConfirmButtons(m_listData.get(), QString::fromUtf16(kMaster));
    if (UsesDetail()) RefreshDetail();
}

void TListCommonfm::ADODataSetDetailAfterScroll() {
    UpdateConfirmButtons(m_detailData.get(), QString::fromUtf16(kDetail));
}

void TListCommonfm::ShowDataProperty(TDataSet& properties) {
    // The link formats name the record's key as "[" + key field + "]".
    DataWebBrowser()->PropertyOutPutWebHtml(properties, ListKeyField() + QLatin1Char('=') + CurrentKeyText());
}

void TListCommonfm::ShowGrid(TLNQCustomDBGrid& grid) {
    TDataSet* ds = grid.DataSet();
    if (!ds) return;
    // The grid's titles; fields it does not show stay out of the page.
    TCaptionMap captions = GridFieldsCaptions(grid);
    for (int i = 0; i < ds->FieldCount(); ++i) {
        const QString& name = ds->Fields(i).FieldName();
        bool shown = false;
        for (const auto& pair : std::as_const(captions))
            if (pair.first.compare(name, Qt::CaseInsensitive) == 0) shown = true;
        if (!shown) captions.append({name, QStringLiteral("NotVisible")});
    }
    DataWebBrowser()->CommShowDataSet(*ds, captions);
}

void TListCommonfm::UpdateConfirmButtons(TDataSet* dataSet, const QString& target) {
    if (!dataSet || ConfirmTarget() != target) {
        if (ConfirmTarget().isEmpty()) {
            m_btnDoConfirm->setEnabled(false);
            m_btnUnDoConfirm->setEnabled(false);
        }
        return;
    }
    if (!dataSet->Active() || dataSet->IsEmpty() || !dataSet->FindField(ConfirmStateField())) {
        m_btnDoConfirm->setEnabled(false);
        m_btnUnDoConfirm->setEnabled(false);
        return;
    }
    const bool confirmed = IsConfirmed(*dataSet, {ConfirmStateField(), {}, {}, ConfirmWord});
    m_btnDoConfirm->setEnabled(!confirmed);
    m_btnUnDoConfirm->setEnabled(confirmed);
}

// ------------------------------------------------------------ links

QString TListCommonfm::CurrentKeyText() const {
    if (!m_listData->Active() || m_listData->IsEmpty()) return QString();
    const TField* key = m_listData->FindField(ListKeyField());
    if (!key || key->IsNull()) return QString();
    try {
        return QString::number(key->AsLargeInt());
    } catch (const Exception&) {
        return QString();
    }
}

void TListCommonfm::OpenLink(const QString& query) {
    if (!m_services) return;
    TClientUtils::OpenAppLink(*m_services, QStringLiteral("app://") + LinkTarget() + query);
}

void TListCommonfm::SpeedButtonAddClick() {
    OpenLink(QStringLiteral("?Action=INSERT"));
}

void TListCommonfm::SpeedButtonEditClick() {
    const QString key = CurrentKeyText();
    if (!key.isEmpty()) OpenLink(QStringLiteral("?Action=EDIT&KeyField=") + key);
}

void TListCommonfm::SpeedButtonDeleteClick() {
    const QString key = CurrentKeyText();
    if (!key.isEmpty()) OpenLink(QStringLiteral("?Action=DELETE&KeyField=") + key);
}

void TListCommonfm::SpeedButtonDetailClick() {
    const QString key = CurrentKeyText();
    if (!key.isEmpty()) OpenLink(QStringLiteral("?KeyField=") + key);
}

// ------------------------------------------------------------ link entry

void TListCommonfm::ApplinkInit(const QString& params) {
    const QStringList lines = TClientUtils::GetAppLinkListValue(params);
    if (valueOf(lines, QStringLiteral("ACTION")).toUpper() == QLatin1String("SIGN")) {
        m_signMode = true;
        m_signType = valueOf(lines, QStringLiteral("SignType"));
        ApplySignMode();
    }
    const QString filterName = valueOf(lines, QStringLiteral("FilterName")).toUpper();
    if (!filterName.isEmpty()) {
        // The tree keeps the names as stored; the link's name is compared in
        // upper case.
        QString path;
        const QTreeWidget* tree = m_filterFrame->TreeView();
        for (int i = 0; i < tree->topLevelItemCount() && path.isEmpty(); ++i) {
            const QTreeWidgetItem* folder = tree->topLevelItem(i);
            for (int j = 0; j < folder->childCount(); ++j) {
                const QString candidate = folder->text(0) + QLatin1Char('\\') + folder->child(j)->text(0);
                if (candidate.toUpper() == filterName) {
                    path = candidate;
                    break;
                }
            }
        }
        if (path.isEmpty())
            Message(QStringLiteral("找不到视图：") + filterName, QString::fromUtf16(kPrompt),
                    mb::Ok | mb::IconAsterisk);
        else
            Guarded([&] { m_filterFrame->OpenFilter(path); });
    }
    for (const QString& name : {QStringLiteral("iCustomerNo"), QStringLiteral("KeyField")}) {
        const QString value = valueOf(lines, name).trimmed();
        if (value.isEmpty()) continue;
        // Keys are integers; anything else in a link is refused rather than
        // put into a query.
        bool ok = false;
        const qint64 number = value.toLongLong(&ok);
        if (!ok) {
            ErrorMessage(QStringLiteral("无效的关键字：") + value);
            continue;
        }
        const QString field = name == QLatin1String("KeyField") ? ListKeyField() : name;
        Reload(ListKeySQL(ListTable(), field, number, ListKeyField()), QString());
    }
}

void TListCommonfm::ApplySignMode() {
    const bool confirming = m_signMode || !ConfirmTarget().isEmpty();
    m_btnDoConfirm->setVisible(confirming);
    m_btnUnDoConfirm->setVisible(confirming);
    for (QToolButton* b : {m_btnAdd, m_btnDelete, m_btnEdit})
        b->setVisible(!m_signMode);
}

// ------------------------------------------------------------ quick search

void TListCommonfm::SearchFieldChanged() {
    {
        const QSignalBlocker block(m_opType);
        m_opType->clear();
        m_ops.clear();
        const int k = m_searchField->currentIndex();
        const TField* field =
            k >= 0 && m_listData->Active() ? m_listData->FindField(m_searchFields.value(k)) : nullptr;
        if (field) FillSearchOperators(field->DataType(), m_ops);
        for (const TSearchOperator& op : m_ops)
            m_opType->addItem(op.Name);
        m_opType->setCurrentIndex(m_ops.empty() ? -1 : 0);
    }
    OpTypeChanged();
}

void TListCommonfm::OpTypeChanged() {
    const int k = m_opType->currentIndex();
    const qint32 kind = k >= 0 && k < int(m_ops.size()) ? m_ops[size_t(k)].Value.ValueKind : svkNone;
    m_valueString->setVisible(kind == svkText);
    m_valueNumber->setVisible(kind == svkNumber);
    m_datePicker->setVisible(kind == svkDate);
}

QString TListCommonfm::GetItemSQL() const {
    const int k = m_opType->currentIndex();
    if (!m_listData->Active() || m_searchField->currentIndex() < 0 || k < 0 || k >= int(m_ops.size()))
        return QString();
    const TSearchInput input{m_valueString->text(), m_valueNumber->text(), m_datePicker->date()};
    return lnq::GetItemSQL(m_searchField->currentText(), *m_listData, &m_ops[size_t(k)], input,
                           TitleCaptionsOf(TDataEnvironment::Instance()));
}

bool TListCommonfm::QuickCondition(QString& condition) {
    condition = GetItemSQL();
    if (!condition.isEmpty()) return true;
    Message(QStringLiteral("请先选择查找的字段和条件"), QString::fromUtf16(kPrompt),
            mb::Ok | mb::IconAsterisk);
    return false;
}

void TListCommonfm::QuickSearchFromViewData() {
    QString condition;
    if (!QuickCondition(condition)) return;
    const QString view = m_filterFrame->GetLastSearchSQL();
    // Before any view was opened the list is the table itself.
    if (view.isEmpty()) return QuickSearchFromALLData();
    Reload(view + QStringLiteral(" and ") + condition, m_listCaption);
}

void TListCommonfm::QuickSearchFromALLData() {
    QString condition;
    if (!QuickCondition(condition)) return;
    const QString sql =
        ListAllDataSQL(ListTable(), condition, TClientUtils::GetAuthorityString(*m_connection));
    Reload(sql, QStringLiteral("查询"));
}

// ------------------------------------------------------------ confirmation

void TListCommonfm::SpeedButtonDoConfirmClick() {
    SetConfirmState(true);
}

void TListCommonfm::SpeedButtonUnDoConfirmClick() {
    SetConfirmState(false);
}

void TListCommonfm::SetConfirmState(bool confirm) {
    const QString target = ConfirmTarget();
    const bool detail = target == QString::fromUtf16(kDetail);
    if (!detail && target != QString::fromUtf16(kMaster)) return;
    TADODataSet& ds = detail ? *m_detailData : *m_listData;
    if (!ds.Active() || ds.IsEmpty()) return;
    if (confirm ? !CanDoConfirm() : !CanUndoConfirm()) return;
    const QString table = detail ? DetailTable() : ListTable();
    const QString keyField = detail ? QString() : ListKeyField();
    const TConfirmFields fields{ConfirmStateField(), ConfirmUserField(), ConfirmDateField(), ConfirmWord};
    const bool written = Guarded([&] {
        WriteConfirmState(*m_connection, ds, table, keyField, fields, confirm,
                          TClientUtils::GetCurrentUserName(*m_connection));
    });
    if (!written) return;
    if (!Guarded([&] { confirm ? DoConfirmData() : UndoConfirmData(); })) return;
    // Reload what changed and come back to the same record.
    if (detail) {
        // The lines come back in the same order.
        const int line = ds.RecNo();
        RefreshDetail();
        if (m_detailData->Active() && line <= m_detailData->RecordCount()) m_detailData->SetRecNo(line);
    } else {
        const QString key = CurrentKeyText();
        Reload(m_currentSql, m_listCaption);
        if (!key.isEmpty() && m_listData->Active()) m_listData->Locate(ListKeyField(), key.toLongLong());
    }
    Message(confirm ? ConfirmWord + QStringLiteral("成功！")
                    : QStringLiteral("取消") + ConfirmWord + QStringLiteral("成功！"),
            QString::fromUtf16(kPrompt), mb::Ok | mb::IconAsterisk);
}

// ------------------------------------------------------------ selection

void TListCommonfm::SelectAll() {
    Guarded([this] { m_gridList->SelectedRows().SelectAll(); });
}

void TListCommonfm::InvertSelection() {
    Guarded([this] { m_gridList->SelectedRows().InvertSelection(); });
}

// ------------------------------------------------------------ plumbing

TLNQDataWebBrowser* TListCommonfm::DataWebBrowser() const {
    return m_filterFrame->Viewer();
}

TDataSet& TListCommonfm::ListDataSet() {
    return *m_listData;
}

TDataSet& TListCommonfm::DetailDataSet() {
    return *m_detailData;
}

void TListCommonfm::closeEvent(QCloseEvent* event) {
    QWidget::closeEvent(event);
    if (event->isAccepted()) Q_EMIT FormClosed();
}

int TListCommonfm::Message(const QString& text, const QString& caption, int flags) {
    if (OnMessage) return OnMessage(text, caption, flags);
    return TClientUtils::MsgBox(text, caption, flags);
}

void TListCommonfm::ErrorMessage(const QString& text) {
    Message(text, QString::fromUtf16(kErrorPrompt), mb::Ok | mb::IconHand);
}

bool TListCommonfm::Guarded(const std::function<void()>& step) {
    try {
        step();
        return true;
    } catch (const std::exception& e) {
        ErrorMessage(messageOf(e));
        return false;
    }
}

} // namespace lnq
