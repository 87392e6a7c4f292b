#include "demo/MainWindow_ui.h"

#include "demo/BackupScreen_ui.h"
#include "demo/DemoConnection.h"
#include "demo/DemoServices.h"
#include "demo/ListScreens_ui.h"
#include "demo/OrderEditForm_ui.h"
#include "demo/RecordEdit_ui.h"
#include "util/Exceptions.h"
#include "util/Plat_clientutils.h"
#include "util/Plat_clientutils_ui.h"
#include "util/Plat_trayicon_ui.h"
#include "web/Ctrl_datawebbrowser.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QDir>
#include <QHeaderView>
#include <QLabel>
#include <QMenuBar>
#include <QSettings>
#include <QSplitter>
#include <QStatusBar>
#include <QStyle>
#include <QTabWidget>
#include <QTreeWidget>

namespace lnq {

namespace {

constexpr int kScreenIdRole = Qt::UserRole + 1;

// Folders of the navigation tree and the screens in each.
struct NavFolder {
    const char* Caption;
    const char* Screens[4];
};
const NavFolder kFolders[] = {
    {"客户管理", {"Customer", "Agent", "Supplier", nullptr}},
    {"商品与服务", {"Product", "Service", "Program", nullptr}},
    {"销售", {"SaleOrder", "OrderEntry", nullptr, nullptr}},
    {"系统", {"SystemUser", "Backup", nullptr, nullptr}},
};

} // namespace

TDemoMainfm::TDemoMainfm(std::shared_ptr<TDemoConnection> connection, TDemoServices& services,
                         const QString& databaseFile, QWidget* parent)
    : QMainWindow(parent), m_connection(std::move(connection)), m_services(services),
      m_databaseFile(databaseFile) {
    setObjectName(QStringLiteral("DemoMainfm"));
    const TDemoUser& user = m_connection->CurrentUser();
    setWindowTitle(QStringLiteral("LNQ 业务客户端 - ") + user.Name);
    setWindowIcon(style()->standardIcon(QStyle::SP_ComputerIcon));

    m_split = new QSplitter(Qt::Horizontal, this);
    m_split->setObjectName(QStringLiteral("MainSplitter"));
    m_nav = new QTreeWidget(m_split);
    m_nav->setObjectName(QStringLiteral("NavTree"));
    m_nav->setHeaderLabel(QStringLiteral("业务导航"));
    m_nav->setMinimumWidth(140);
    m_tabs = new QTabWidget(m_split);
    m_tabs->setObjectName(QStringLiteral("ScreenTabs"));
    m_tabs->setTabsClosable(true);
    m_tabs->setDocumentMode(true);
    m_split->addWidget(m_nav);
    m_split->addWidget(m_tabs);
    m_split->setStretchFactor(1, 1);
    m_split->setSizes({170, 1030});
    setCentralWidget(m_split);
    buildNavTree();

    connect(m_nav, &QTreeWidget::itemActivated, this, [this](QTreeWidgetItem* item) {
        const QString id = item->data(0, kScreenIdRole).toString();
        if (!id.isEmpty()) OpenScreen(id);
    });
    connect(m_nav, &QTreeWidget::itemClicked, this, [this](QTreeWidgetItem* item) {
        const QString id = item->data(0, kScreenIdRole).toString();
        if (!id.isEmpty()) OpenScreen(id);
    });
    connect(m_tabs, &QTabWidget::tabCloseRequested, this,
            [this](int index) { closeScreen(m_tabs->widget(index)); });

    QMenu* fileMenu = menuBar()->addMenu(QStringLiteral("文件(&F)"));
    QAction* exitAction = fileMenu->addAction(QStringLiteral("退出(&X)"));
    connect(exitAction, &QAction::triggered, this, &QWidget::close);
    QMenu* helpMenu = menuBar()->addMenu(QStringLiteral("帮助(&H)"));
    QAction* about = helpMenu->addAction(QStringLiteral("关于(&A)"));
    connect(about, &QAction::triggered, this, [] {
        TClientUtils::MsgBox(
            QStringLiteral("LNQ 业务客户端示例\n基于 LNQ 组件与窗体框架，运行于内置示例数据库。"),
            QStringLiteral("提示"), mb::Ok | mb::IconAsterisk);
    });

    m_userLabel = new QLabel(this);
    m_userLabel->setText(QStringLiteral("用户：") + user.Name + QStringLiteral("（") + user.Code +
                         QStringLiteral("）  数据库：") + QDir::toNativeSeparators(m_databaseFile));
    statusBar()->addWidget(m_userLabel, 1);

    connect(&m_services, &TDemoServices::appLinkRequested, this,
            [this](const QString& link) { OpenAppLink(link); });
    // Links in record pages and property lists come here as well.
    TLNQDataWebBrowser::SetAppNavigate([this](TLNQDataWebBrowser&, const QString& url) { OpenAppLink(url); });

    m_tray = std::make_unique<TLNQTrayIcon>();
    m_tray->SetIcon(windowIcon());
    m_tray->SetHint(QStringLiteral("LNQ 业务客户端 - ") + user.Name);
    m_tray->SetAppName(QStringLiteral("lnq-demo"));
    m_tray->SetMainForm(this);
    if (QSystemTrayIcon::isSystemTrayAvailable()) m_tray->SetVisible(true);
    RestoreState();
}

TDemoMainfm::~TDemoMainfm() {
    TLNQDataWebBrowser::SetAppNavigate({});
    // Screens go before the connection they hold references into.
    while (m_tabs->count() > 0) {
        QWidget* w = m_tabs->widget(0);
        m_tabs->removeTab(0);
        delete w;
    }
}

void TDemoMainfm::buildNavTree() {
    const QString groups = m_connection->CurrentUser().Groups;
    for (const NavFolder& folder : kFolders) {
        QTreeWidgetItem* node = nullptr;
        for (const char* id : folder.Screens) {
            if (!id) break;
            const TDemoScreen* screen = FindDemoScreen(QString::fromLatin1(id));
            if (!screen || !UserMaySee(*screen, groups)) continue;
            if (!node) {
                node = new QTreeWidgetItem(m_nav, {QString::fromUtf8(folder.Caption)});
                node->setIcon(0, style()->standardIcon(QStyle::SP_DirIcon));
            }
            auto* item = new QTreeWidgetItem(node, {screen->Caption});
            item->setData(0, kScreenIdRole, screen->Id);
            item->setIcon(0, style()->standardIcon(screen->Kind == TDemoScreenKind::List
                                                       ? QStyle::SP_FileDialogDetailedView
                                                       : QStyle::SP_FileIcon));
        }
    }
    m_nav->expandAll();
}

QWidget* TDemoMainfm::ScreenWidget(const QString& id) const {
    const TDemoScreen* screen = FindDemoScreen(id);
    if (!screen) return nullptr;
    const auto it = m_screens.find(screen->Id);
    return it == m_screens.end() ? nullptr : it->second.data();
}

TDemoListfm* TDemoMainfm::ListScreen(const QString& id) const {
    return qobject_cast<TDemoListfm*>(ScreenWidget(id));
}

TOrderEditfm* TDemoMainfm::OrderScreen() const {
    return qobject_cast<TOrderEditfm*>(ScreenWidget(QStringLiteral("OrderEntry")));
}

TDemoBackupfm* TDemoMainfm::BackupScreen() const {
    return qobject_cast<TDemoBackupfm*>(ScreenWidget(QStringLiteral("Backup")));
}

std::unique_ptr<QWidget> TDemoMainfm::createScreen(const TDemoScreen& screen) {
    switch (screen.Kind) {
    case TDemoScreenKind::List: {
        std::unique_ptr<TDemoListfm> form = CreateDemoListfm(m_connection, &m_services, screen);
        TDemoListfm* raw = form.get();
        connect(
            raw, &TListCommonfm::FormClosed, this, [this, raw] { closeScreen(raw); }, Qt::QueuedConnection);
        return form;
    }
    case TDemoScreenKind::OrderEntry: {
        auto form = std::make_unique<TOrderEditfm>(m_connection, &m_services);
        form->FormCreate();
        form->ApplinkInit(QStringLiteral("Action=INSERT"));
        TOrderEditfm* raw = form.get();
        connect(
            raw, &TMasterDetailEditfm::ExitRequested, this, [this, raw] { closeScreen(raw); },
            Qt::QueuedConnection);
        // A saved or confirmed order shows at once in the sales order list.
        connect(raw, &TMasterDetailEditfm::DocumentSaved, this,
                [this] { refreshList(QStringLiteral("SaleOrder")); });
        return form;
    }
    case TDemoScreenKind::Backup:
        return std::make_unique<TDemoBackupfm>(m_databaseFile);
    }
    return nullptr;
}

void TDemoMainfm::closeScreen(QWidget* screen) {
    const int index = m_tabs->indexOf(screen);
    if (index < 0) return;
    m_tabs->removeTab(index);
    for (auto it = m_screens.begin(); it != m_screens.end(); ++it)
        if (it->second == screen) {
            saveScreenSplitters(it->first, *screen);
            m_screens.erase(it);
            break;
        }
    delete screen; // a closed screen saves its grid layouts as it goes
}

QWidget* TDemoMainfm::OpenScreen(const QString& id) {
    const TDemoScreen* screen = FindDemoScreen(id);
    if (!screen) return nullptr;
    if (!UserMaySee(*screen, m_connection->CurrentUser().Groups)) {
        TClientUtils::MsgBox(QStringLiteral("您没有权限打开“") + screen->Caption + QStringLiteral("”"),
                             QStringLiteral("提示"), mb::Ok | mb::IconAsterisk);
        return nullptr;
    }
    QWidget* w = ScreenWidget(screen->Id);
    if (!w) {
        std::unique_ptr<QWidget> created;
        try {
            created = createScreen(*screen);
        } catch (const Exception& e) {
            showError(QStringLiteral("无法打开“") + screen->Caption + QStringLiteral("”：") + e.Message());
            return nullptr;
        }
        if (!created) return nullptr;
        if (created->objectName().isEmpty()) created->setObjectName(screen->Id);
        w = created.release(); // the tab widget owns it from here
        m_tabs->addTab(w, screen->Caption);
        m_screens[screen->Id] = w;
        m_tabs->setCurrentWidget(w);
        restoreScreenSplitters(screen->Id, *w);
    }
    m_tabs->setCurrentWidget(w);
    for (QTreeWidgetItemIterator it(m_nav); *it; ++it)
        if ((*it)->data(0, kScreenIdRole).toString() == screen->Id) m_nav->setCurrentItem(*it);
    return w;
}

bool TDemoMainfm::OpenAppLink(const QString& link) {
    const TAppLink parsed = ParseAppLink(link);
    const TLinkRoute route = RouteOfLink(parsed);
    const TDemoScreen* screen = parsed.Valid ? FindDemoScreen(parsed.Target) : nullptr;
    switch (route) {
    case TLinkRoute::Unknown:
        TClientUtils::MsgBox(QStringLiteral("无法识别的链接：") + link, QStringLiteral("提示"),
                             mb::Ok | mb::IconAsterisk);
        return false;
    case TLinkRoute::RecordEdit:
        return editRecord(*screen, parsed.Action == QLatin1String("INSERT") ? QString() : parsed.Key);
    case TLinkRoute::RecordDelete:
        return deleteRecord(*screen, parsed.Key);
    case TLinkRoute::OrderEdit: {
        if (!OpenScreen(QStringLiteral("OrderEntry"))) return false;
        TOrderEditfm* order = OrderScreen();
        try {
            order->ApplinkInit(parsed.Params);
        } catch (const Exception& e) {
            showError(e.Message());
            return false;
        }
        return true;
    }
    case TLinkRoute::Screen: {
        QWidget* w = OpenScreen(screen->Id);
        if (!w) return false;
        if (auto* list = qobject_cast<TDemoListfm*>(w); list && !parsed.Params.isEmpty()) {
            try {
                list->ApplinkInit(parsed.Params);
            } catch (const Exception& e) {
                showError(e.Message());
                return false;
            }
        }
        return true;
    }
    }
    return false;
}

bool TDemoMainfm::editRecord(const TDemoScreen& screen, const QString& key) {
    if (!UserMaySee(screen, m_connection->CurrentUser().Groups)) return OpenScreen(screen.Id) != nullptr;
    std::unique_ptr<TDemoRecordEditfm> editor;
    try {
        editor = std::make_unique<TDemoRecordEditfm>(m_connection, screen, key, this);
    } catch (const Exception& e) {
        showError(e.Message());
        return false;
    }
    QString savedKey;
    bool finished = false;
    connect(editor.get(), &TDemoRecordEditfm::saved, this, [&savedKey](const QString& k) { savedKey = k; });
    connect(editor.get(), &QDialog::finished, this, [&finished] { finished = true; });
    if (OnBeforeEditorShow) OnBeforeEditorShow(*editor);
    if (!finished) editor->exec();
    if (savedKey.isEmpty()) return false;
    refreshList(screen.Id);
    Q_EMIT recordSaved(screen.Id, savedKey);
    return true;
}

bool TDemoMainfm::deleteRecord(const TDemoScreen& screen, const QString& key) {
    bool numeric = false;
    key.toLongLong(&numeric);
    if (!numeric) {
        showError(QStringLiteral("记录编号无效：") + key);
        return false;
    }
    if (TClientUtils::MsgBox(QStringLiteral("确定要删除这条") + screen.Caption +
                                 QStringLiteral("记录（编号 ") + key + QStringLiteral("）吗？"),
                             QStringLiteral("提示"), mb::YesNo | mb::IconQuestion) != id::Yes)
        return false;
    const QString table = screen.EditTable.isEmpty() ? QStringLiteral("Sal_SaleMain") : screen.EditTable;
    const QString keyField = screen.KeyField.isEmpty() ? QStringLiteral("iNo") : screen.KeyField;
    m_connection->BeginTrans();
    try {
        if (!screen.DetailTable.isEmpty())
            m_connection->ExecuteNonQuery(QStringLiteral("delete from ") + screen.DetailTable +
                                          QStringLiteral(" where ") + screen.DetailKeyField +
                                          QLatin1Char('=') + key);
        m_connection->ExecuteNonQuery(QStringLiteral("delete from ") + table + QStringLiteral(" where ") +
                                      keyField + QLatin1Char('=') + key);
        m_connection->CommitTrans();
    } catch (const Exception& e) {
        m_connection->RollbackTrans();
        showError(QStringLiteral("删除失败：") + e.Message());
        return false;
    }
    refreshList(screen.Id);
    return true;
}

void TDemoMainfm::refreshList(const QString& id) {
    if (TDemoListfm* list = ListScreen(id)) {
        try {
            list->RefreshData();
        } catch (const Exception& e) {
            showError(e.Message());
        }
    }
}

void TDemoMainfm::showError(const QString& text) {
    TClientUtils::MsgBox(text, QStringLiteral("错误提示"), mb::Ok | mb::IconHand);
}

void TDemoMainfm::SaveState() {
    QSettings& s = m_services.Settings();
    s.setValue(QStringLiteral("MainWindow/Geometry"), saveGeometry());
    s.setValue(QStringLiteral("MainWindow/State"), saveState());
    s.setValue(QStringLiteral("MainWindow/Splitter"), m_split->saveState());
    QStringList open;
    for (int i = 0; i < m_tabs->count(); ++i)
        for (const auto& [id, w] : m_screens)
            if (w == m_tabs->widget(i)) open << id;
    s.setValue(QStringLiteral("MainWindow/Screens"), open);
    if (QWidget* current = m_tabs->currentWidget())
        for (const auto& [id, w] : m_screens)
            if (w == current) s.setValue(QStringLiteral("MainWindow/Current"), id);
    for (const auto& [id, w] : m_screens)
        if (w) saveScreenSplitters(id, *w);
    s.sync();
}

void TDemoMainfm::RestoreState() {
    QSettings& s = m_services.Settings();
    if (!restoreGeometry(s.value(QStringLiteral("MainWindow/Geometry")).toByteArray())) resize(1200, 760);
    restoreState(s.value(QStringLiteral("MainWindow/State")).toByteArray());
    m_split->restoreState(s.value(QStringLiteral("MainWindow/Splitter")).toByteArray());
}

void TDemoMainfm::RestoreScreens() {
    QSettings& s = m_services.Settings();
    const QString groups = m_connection->CurrentUser().Groups;
    for (const QString& id : s.value(QStringLiteral("MainWindow/Screens")).toStringList()) {
        const TDemoScreen* screen = FindDemoScreen(id);
        if (screen && UserMaySee(*screen, groups)) OpenScreen(id);
    }
    const QString current = s.value(QStringLiteral("MainWindow/Current")).toString();
    if (QWidget* w = ScreenWidget(current)) m_tabs->setCurrentWidget(w);
}

// A screen's splitters (views panel, list and detail grids) by their order
// in the screen, under "Screens/<id>/Splitter<n>".
void TDemoMainfm::saveScreenSplitters(const QString& id, QWidget& screen) {
    const QList<QSplitter*> splitters = screen.findChildren<QSplitter*>();
    for (qsizetype i = 0; i < splitters.size(); ++i)
        m_services.Settings().setValue(QStringLiteral("Screens/") + id + QStringLiteral("/Splitter") +
                                           QString::number(i),
                                       splitters.at(i)->saveState());
}

void TDemoMainfm::restoreScreenSplitters(const QString& id, QWidget& screen) {
    const QList<QSplitter*> splitters = screen.findChildren<QSplitter*>();
    for (qsizetype i = 0; i < splitters.size(); ++i) {
        const QVariant state = m_services.Settings().value(QStringLiteral("Screens/") + id +
                                                           QStringLiteral("/Splitter") + QString::number(i));
        if (state.isValid()) splitters.at(i)->restoreState(state.toByteArray());
    }
}

void TDemoMainfm::closeEvent(QCloseEvent* event) {
    SaveState();
    QMainWindow::closeEvent(event);
}

} // namespace lnq
