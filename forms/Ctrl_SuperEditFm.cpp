#include "forms/Ctrl_SuperEditFm.h"

#include "data/Plat_databaseinterface.h"
#include "forms/Ctrl_LNQSuperEdit.h"
#include "forms/SuperEditSql.h"
#include "grid/data/Ctrl_LNQDBGrid.h"
#include "util/Exceptions.h"

#include <QApplication>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QScreen>
#include <QStackedWidget>
#include <QToolButton>
#include <QVBoxLayout>
#include <atomic>
#include <exception>

namespace lnq {

namespace {

QToolButton* makeButton(QWidget* parent, const char* name, const QString& caption) {
    auto* b = new QToolButton(parent);
    b->setObjectName(QLatin1String(name));
    b->setText(caption);
    b->setToolButtonStyle(Qt::ToolButtonTextOnly);
    b->setAutoRaise(true);
    // The edit keeps the focus while the user works the list.
    b->setFocusPolicy(Qt::NoFocus);
    return b;
}

std::atomic<int> g_runningThreads{0};

} // namespace

TSuperEditDBFm::TSuperEditDBFm(TLNQSuperEdit& edit)
    : QWidget(&edit, Qt::Tool | Qt::FramelessWindowHint | Qt::WindowDoesNotAcceptFocus |
                         Qt::X11BypassWindowManagerHint),
      m_edit(edit) {
    setObjectName(QStringLiteral("SuperEditDBFm"));
    setAttribute(Qt::WA_ShowWithoutActivating);
    setFocusPolicy(Qt::NoFocus);

    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(1, 1, 1, 1);
    layout->setSpacing(0);

    m_stack = new QStackedWidget(this);
    m_grid = new TLNQDBGrid(m_stack);
    m_grid->setObjectName(QStringLiteral("LNQDBGrid"));
    m_grid->setFocusPolicy(Qt::NoFocus);
    m_grid->SetDBOptions(TLNQDBGridOptions(TDBGridOption::dgTitles) | TDBGridOption::dgIndicator |
                         TDBGridOption::dgColumnResize | TDBGridOption::dgColLines |
                         TDBGridOption::dgRowLines | TDBGridOption::dgRowSelect |
                         TDBGridOption::dgAlwaysShowSelection);
    // Title sorting only: no layout files and no run-time menu for a list
    // that lives as long as the typing does.
    m_grid->SetControlOptions(TDBGridControlOption::coTitleSort);
    connect(m_grid, &QAbstractItemView::doubleClicked, this, [this](const QModelIndex& index) {
        if (index.row() >= 1) m_edit.ChooseCurrentRow();
    });
    m_message = new QLabel(m_stack);
    m_message->setObjectName(QStringLiteral("LabelMessage"));
    m_message->setAlignment(Qt::AlignCenter);
    m_message->setWordWrap(true);
    m_message->setAutoFillBackground(true);
    m_message->setBackgroundRole(QPalette::Base);
    m_stack->addWidget(m_grid);
    m_stack->addWidget(m_message);
    layout->addWidget(m_stack, 1);

    auto* bar = new QWidget(this);
    bar->setObjectName(QStringLiteral("PanelButtons"));
    auto* barLayout = new QHBoxLayout(bar);
    barLayout->setContentsMargins(2, 1, 2, 1);
    barLayout->setSpacing(2);
    m_addButton = makeButton(bar, "SpeedButtonAdd", QStringLiteral("新增"));
    m_clearButton = makeButton(bar, "SpeedButtonClear", QStringLiteral("清除"));
    m_searchButton = makeButton(bar, "SpeedButtonSearch", QStringLiteral("查找"));
    m_refreshButton = makeButton(bar, "SpeedButtonRefresh", QStringLiteral("刷新"));
    barLayout->addWidget(m_addButton);
    barLayout->addWidget(m_clearButton);
    barLayout->addWidget(m_searchButton);
    barLayout->addStretch(1);
    barLayout->addWidget(m_refreshButton);
    layout->addWidget(bar);
    connect(m_addButton, &QToolButton::clicked, this, [this] { m_edit.AddButtonClick(); });
    connect(m_clearButton, &QToolButton::clicked, this, [this] { m_edit.ClearButtonClick(); });
    connect(m_searchButton, &QToolButton::clicked, this, [this] { m_edit.SearchButtonClick(); });
    connect(m_refreshButton, &QToolButton::clicked, this, [this] { RefreshData(); });

    UpdateButtons();
    RedrawImage();
}

TSuperEditDBFm::~TSuperEditDBFm() {
    // The grid must let go of the dataset before it is freed.
    m_grid->SetDataSet(nullptr);
}

std::shared_ptr<IConnection> TSuperEditDBFm::GetConnection() {
    return m_edit.GetConnection();
}

void TSuperEditDBFm::EnsureDataSet() {
    std::shared_ptr<IConnection> connection = GetConnection();
    if (m_dataSet && connection == m_datasetConnection) return;
    ResetDataSet();
    if (!connection) return;
    m_dataSet = connection->CreateDataset();
    m_datasetConnection = std::move(connection);
    m_grid->SetDataSet(m_dataSet.get());
}

void TSuperEditDBFm::ResetDataSet() {
    m_grid->SetDataSet(nullptr);
    m_dataSet.reset();
    m_datasetConnection.reset();
    m_filterText.clear();
    m_failed = false;
    m_lastError.clear();
    RedrawImage();
}

QString TSuperEditDBFm::BuildSQL(const QString& sql) const {
    return LookupAuthoritySql(sql, m_edit.AutoCheckAuthority(), TLNQSuperEdit::CheckAuthorityFunc());
}

bool TSuperEditDBFm::Fill(const QString& sql) {
    EnsureDataSet();
    if (!m_dataSet) {
        m_failed = true;
        m_lastError = QStringLiteral("没有数据库连接");
        RedrawImage();
        return false;
    }
    m_lastSql = sql;
    ++m_fillCount;
    try {
        m_datasetConnection->FillDataset(*m_dataSet, sql);
        m_failed = false;
        m_lastError.clear();
    } catch (const std::exception& e) {
        m_dataSet->Close();
        m_failed = true;
        m_lastError = QString::fromUtf8(e.what());
    }
    if (!m_failed) ApplyColumnWidths();
    RedrawImage();
    return !m_failed;
}

bool TSuperEditDBFm::OpenData() {
    if (m_edit.SQLs().isEmpty()) return true;
    EnsureDataSet();
    if (m_dataSet && m_dataSet->Active()) return true;
    m_filterText.clear();
    return Fill(BuildSQL(m_edit.SQLs()));
}

void TSuperEditDBFm::RefreshFilterDirect(const QString& text) {
    const QString field = LookupSearchField(ClassifyLookupText(text), m_edit.NoField(), m_edit.CodeField(),
                                            m_edit.ValueField());
    if (field.isEmpty()) return;
    EnsureDataSet();
    if (m_dataSet) m_dataSet->Close();
    m_filterText = text;
    Fill(BuildSQL(LookupFilterSql(m_edit.SQLs(), field, text)));
}

void TSuperEditDBFm::RefreshFilter(const QString& text) {
    RefreshFilterDirect(text);
}

void TSuperEditDBFm::RequestRefresh(const QString& text) {
    m_latestText = text;
    TRefreshDataThread::Create(*this, text);
}

void TSuperEditDBFm::RefreshIfLatest(const QString& text) {
    if (text != m_latestText) return;
    RefreshFilterDirect(text);
    // A text that selects no field leaves the list as it is; a list never
    // opened still shows the base select.
    if (!m_failed) OpenData();
}

void TSuperEditDBFm::RefreshData() {
    if (m_dataSet) m_dataSet->Close();
    if (m_filterText.isEmpty())
        OpenData();
    else
        RefreshFilterDirect(m_filterText);
}

void TSuperEditDBFm::UpdateButtons() {
    m_addButton->setVisible(m_edit.HasAddButton());
    m_clearButton->setVisible(m_edit.HasClearButton());
    m_searchButton->setVisible(m_edit.HasSearchButton());
    m_refreshButton->setVisible(m_edit.HasRefreshButton());
    const bool any = m_edit.HasAddButton() || m_edit.HasClearButton() || m_edit.HasSearchButton() ||
                     m_edit.HasRefreshButton();
    if (QWidget* bar = m_addButton->parentWidget()) bar->setVisible(any);
}

void TSuperEditDBFm::ApplyColumnWidths() {
    TLNQDBGridColumns& columns = m_grid->Columns();
    const int n = std::min(columns.Count(), int(TLNQSuperEdit::kColumnWidthCount));
    for (int i = 0; i < n; ++i) {
        const int w = m_edit.ColumnWidth(i);
        if (w != 0) columns.Items(i)->SetWidth(w);
    }
}

void TSuperEditDBFm::Popup() {
    UpdateButtons();
    const QSize size(std::max(m_edit.DropDownWidth(), 80), std::max(m_edit.DropDownHeight(), 60));
    QPoint at = m_edit.mapToGlobal(QPoint(0, m_edit.height()));
    // Above the edit when the screen has no room below it.
    if (const QScreen* screen = m_edit.screen()) {
        const QRect avail = screen->availableGeometry();
        if (at.y() + size.height() > avail.bottom() &&
            at.y() - m_edit.height() - size.height() >= avail.top())
            at.ry() -= m_edit.height() + size.height();
        at.setX(std::clamp(at.x(), avail.left(), std::max(avail.left(), avail.right() - size.width())));
    }
    setGeometry(QRect(at, size));
    RedrawImage();
    show();
    raise();
}

void TSuperEditDBFm::RedrawImage() {
    QString text;
    if (m_failed)
        text = OpenFailedText();
    else if (!m_dataSet || !m_dataSet->Active() || m_dataSet->IsEmpty())
        text = EmptyText();
    if (text.isEmpty()) {
        m_message->clear();
        m_stack->setCurrentWidget(m_grid);
        return;
    }
    m_message->setProperty("MessageText", text);
    if (m_failed && !m_lastError.isEmpty())
        m_message->setText(text.toHtmlEscaped() + QStringLiteral("<br><small><font color=\"gray\">") +
                           m_lastError.toHtmlEscaped() + QStringLiteral("</font></small>"));
    else
        m_message->setText(text);
    m_stack->setCurrentWidget(m_message);
}

void TSuperEditDBFm::paintEvent(QPaintEvent* event) {
    QWidget::paintEvent(event);
    // A frameless window needs its own edge to stand apart from the form
    // beneath it.
    QPainter p(this);
    p.setPen(palette().color(QPalette::Shadow));
    p.drawRect(rect().adjusted(0, 0, -1, -1));
}

QString TSuperEditDBFm::ShownText() const {
    return m_stack->currentWidget() == m_message ? m_message->property("MessageText").toString() : QString();
}

TRefreshDataThread* TRefreshDataThread::Create(TSuperEditDBFm& form, const QString& text,
                                               bool createSuspended) {
    // Owned by itself: deleted (on the GUI thread) once it has finished.
    auto* thread = new TRefreshDataThread(form, text);
    connect(thread, &QThread::finished, thread, &QObject::deleteLater);
    if (!createSuspended) thread->Resume();
    return thread;
}

TRefreshDataThread::TRefreshDataThread(TSuperEditDBFm& form, const QString& text)
    : m_form(&form), m_text(text) {
    ++g_runningThreads;
}

TRefreshDataThread::~TRefreshDataThread() {
    --g_runningThreads;
}

void TRefreshDataThread::Resume() {
    if (!isRunning() && !isFinished()) start(QThread::IdlePriority);
}

int TRefreshDataThread::Running() {
    return g_runningThreads.load();
}

void TRefreshDataThread::run() {
    // The call is queued to the application object, which outlives every
    // form; this thread object lives until the call has returned, and its
    // form pointer is looked at on the GUI thread only, where a form closed
    // meanwhile shows as null.
    QObject* gui = QCoreApplication::instance();
    if (!gui) return;
    QMetaObject::invokeMethod(
        gui,
        [this] {
            if (m_form) m_form->RefreshIfLatest(m_text);
        },
        Qt::BlockingQueuedConnection);
}

} // namespace lnq
