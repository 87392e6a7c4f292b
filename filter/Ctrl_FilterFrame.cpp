#include "filter/Ctrl_FilterFrame.h"

#include "data/Plat_databaseinterface.h"
#include "filter/Ctrl_FilterEditorFM.h"
#include "filter/ViewStream.h"
#include "util/Exceptions.h"
#include "util/Plat_clientutils.h"
#include "util/Plat_clientutils_ui.h"
#include "web/Ctrl_datawebbrowser.h"

#include <QAction>
#include <QBuffer>
#include <QHeaderView>
#include <QInputDialog>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMenu>
#include <QSplitter>
#include <QTreeWidget>
#include <QVBoxLayout>

namespace lnq {

namespace {
const char16_t kRecentFolder[] = u"最近打开的客户集";
const char16_t kRecentSaveFolder[] = u"最近使用";
const char16_t kNoEditRight[] = u"你不具有该视图的修改权限!";
const char16_t kNoDeleteRight[] = u"你不具有该视图的删除权限!";
const char16_t kBadName[] = u"不合法的视图名称";

QString folderOf(const QString& path) {
    const qsizetype slash = path.lastIndexOf(QLatin1Char('\\'));
    return slash < 0 ? QString() : path.left(slash);
}
QString nameOf(const QString& path) {
    const qsizetype slash = path.lastIndexOf(QLatin1Char('\\'));
    return slash < 0 ? path : path.mid(slash + 1);
}
} // namespace

TFilterFrame::TFilterFrame(QWidget* parent) : QWidget(parent) {
    setObjectName(QStringLiteral("FilterFrame"));
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(2);
    m_searchBox = new QLineEdit(this);
    m_searchBox->setObjectName(QStringLiteral("EditSearchView"));
    m_searchBox->setPlaceholderText(QStringLiteral("查找视图（名称或拼音首字母）"));
    m_searchBox->setClearButtonEnabled(true);
    layout->addWidget(m_searchBox);
    connect(m_searchBox, &QLineEdit::textChanged, this, &TFilterFrame::ApplySearchText);
    // Enter in the search box opens the first view left in the tree; the down
    // arrow moves into the tree.
    connect(m_searchBox, &QLineEdit::returnPressed, this, [this] {
        if (QTreeWidgetItem* item = FirstVisibleView()) {
            m_tree->setCurrentItem(item);
            Guarded([this, item] { OpenItem(item); });
        }
    });
    m_searchBox->installEventFilter(this);

    auto* splitter = new QSplitter(Qt::Vertical, this);
    m_tree = new QTreeWidget(splitter);
    m_tree->setObjectName(QStringLiteral("TreeView"));
    m_tree->setHeaderHidden(true);
    m_tree->setContextMenuPolicy(Qt::CustomContextMenu);
    m_viewer = new TLNQDataWebBrowser(splitter);
    m_viewer->setObjectName(QStringLiteral("DataWebBrowser"));
    splitter->setStretchFactor(0, 3);
    splitter->setStretchFactor(1, 1);
    layout->addWidget(splitter, 1);

    OnInputQuery = [this](const QString& title, const QString& prompt, QString& text) {
        bool ok = false;
        const QString answer = QInputDialog::getText(this, title, prompt, QLineEdit::Normal, text, &ok);
        if (ok) text = answer;
        return ok;
    };

    m_menu = new QMenu(this);
    m_menu->setObjectName(QStringLiteral("PopupMenu"));
    // A database error of a command reaches the user as an error box; the
    // tree stays as it was.
    auto command = [this](const QString& text, void (TFilterFrame::*run)()) {
        return m_menu->addAction(text, this, [this, run] { Guarded([this, run] { (this->*run)(); }); });
    };
    m_actSearch = command(QStringLiteral("查找(&F)"), &TFilterFrame::SearchAdHoc);
    m_menu->addSeparator();
    m_actNew = command(QStringLiteral("新建视图(&N)"), &TFilterFrame::NewView);
    m_actRename = command(QStringLiteral("修改视图名称(&R)"), &TFilterFrame::RenameView);
    m_actEdit = command(QStringLiteral("修改视图(&E)"), &TFilterFrame::EditView);
    m_actDelete = command(QStringLiteral("删除视图(&D)"), &TFilterFrame::DeleteView);
    m_actSave = command(QStringLiteral("保存视图(&S)"), &TFilterFrame::SaveView);
    connect(m_menu, &QMenu::aboutToShow, this, &TFilterFrame::UpdateMenu);
    connect(m_tree, &QWidget::customContextMenuRequested, this, [this](const QPoint& pos) {
        if (QTreeWidgetItem* item = m_tree->itemAt(pos)) m_tree->setCurrentItem(item);
        m_menu->popup(m_tree->viewport()->mapToGlobal(pos));
    });
    connect(m_tree, &QTreeWidget::itemClicked, this, [this](QTreeWidgetItem* item) { ItemClicked(item); });
    connect(m_tree, &QTreeWidget::currentItemChanged, this,
            [this](QTreeWidgetItem* item) { ItemClicked(item); });
    // Enter on a view opens it as a double-click does (a double-click
    // activates the item too).
    connect(m_tree, &QTreeWidget::itemActivated, this,
            [this](QTreeWidgetItem* item) { Guarded([this, item] { ItemDoubleClicked(item); }); });
    UpdateMenu();
}

TFilterFrame::~TFilterFrame() = default;

void TFilterFrame::InitUI(std::shared_ptr<IConnection> connection, IServicesInterface* services,
                          const QString& tableName, const QString& baseWhere, const QString& ext,
                          const QString& userName, const QString& userGroups, TSearchFn onSearch) {
    m_connection = std::move(connection);
    m_services = services;
    m_tableName = tableName;
    m_baseWhere = baseWhere;
    m_ext = ext;
    m_userName = userName;
    m_userGroups = userGroups;
    m_onSearch = std::move(onSearch);
}

void TFilterFrame::SetSupportRecent(bool on) {
    m_supportRecent = on;
    UpdateMenu();
}

void TFilterFrame::SetSupportRights(bool on) {
    m_supportRights = on;
}

// ---------------------------------------------------------------- the tree

void TFilterFrame::LoadFiltersToTreeView() {
    m_views = LoadViewList(*m_connection, m_ext, m_userName, m_userGroups);
    const QSignalBlocker block(m_tree);
    m_tree->clear();
    m_recentFolder = nullptr;
    m_recentSql.clear();
    QTreeWidgetItem* folder = nullptr;
    QString previous;
    for (const TViewEntry& view : m_views) {
        // Rows come grouped: the listing orders by folder.
        if (!folder || view.Folder != previous) {
            folder = new QTreeWidgetItem(m_tree, {view.Folder});
            previous = view.Folder;
        }
        new QTreeWidgetItem(folder, {view.Name});
    }
    if (m_supportRecent && m_services) {
        m_recentFolder = new QTreeWidgetItem(m_tree, {QString::fromUtf16(kRecentFolder)});
        for (const TRecentItem& item : TClientUtils::GetRecentItems(*m_services, m_ext)) {
            new QTreeWidgetItem(m_recentFolder, {item.Caption});
            m_recentSql << item.SQL;
        }
    }
    m_tree->expandAll();
    if (m_tree->topLevelItemCount() > 0) m_tree->setCurrentItem(m_tree->topLevelItem(0));
    ApplySearchText();
    ItemClicked(m_tree->currentItem());
    Q_EMIT viewsLoaded();
}

void TFilterFrame::ApplySearchText() {
    const QString text = m_searchBox->text();
    for (int i = 0; i < m_tree->topLevelItemCount(); ++i) {
        QTreeWidgetItem* folder = m_tree->topLevelItem(i);
        const bool folderMatches = !text.trimmed().isEmpty() && ViewNameMatches(folder->text(0), text);
        int shown = 0;
        for (int j = 0; j < folder->childCount(); ++j) {
            const bool keep = folderMatches || ViewNameMatches(folder->child(j)->text(0), text);
            folder->child(j)->setHidden(!keep);
            shown += keep ? 1 : 0;
        }
        folder->setHidden(!folderMatches && shown == 0 && !text.trimmed().isEmpty());
    }
    QTreeWidgetItem* current = m_tree->currentItem();
    if (current && (current->isHidden() || (current->parent() && current->parent()->isHidden())))
        m_tree->setCurrentItem(FirstVisibleView());
}

QTreeWidgetItem* TFilterFrame::FirstVisibleView() const {
    for (int i = 0; i < m_tree->topLevelItemCount(); ++i) {
        QTreeWidgetItem* folder = m_tree->topLevelItem(i);
        if (folder->isHidden()) continue;
        for (int j = 0; j < folder->childCount(); ++j)
            if (!folder->child(j)->isHidden()) return folder->child(j);
    }
    return nullptr;
}

bool TFilterFrame::eventFilter(QObject* watched, QEvent* event) {
    if (watched == m_searchBox && event->type() == QEvent::KeyPress &&
        static_cast<QKeyEvent*>(event)->key() == Qt::Key_Down) {
        if (QTreeWidgetItem* item = FirstVisibleView()) m_tree->setCurrentItem(item);
        m_tree->setFocus();
        return true;
    }
    return QWidget::eventFilter(watched, event);
}

bool TFilterFrame::IsRecentItem(const QTreeWidgetItem* item) const {
    return item && m_recentFolder && item->parent() == m_recentFolder;
}

QString TFilterFrame::SelectedPath() const {
    const QTreeWidgetItem* item = m_tree->currentItem();
    if (!item || !item->parent() || IsRecentItem(item)) return QString();
    return item->parent()->text(0) + QLatin1Char('\\') + item->text(0);
}

QString TFilterFrame::SelectedFolder() const {
    const QTreeWidgetItem* item = m_tree->currentItem();
    if (!item || item == m_recentFolder || IsRecentItem(item)) return QString();
    return item->parent() ? item->parent()->text(0) : item->text(0);
}

void TFilterFrame::ItemClicked(QTreeWidgetItem* item) {
    UpdateMenu();
    if (!item || !item->parent() || IsRecentItem(item)) return;
    const QString folder = item->parent()->text(0);
    const QString name = item->text(0);
    for (const TViewEntry& view : m_views) {
        if (view.Folder == folder && view.Name == name) {
            m_viewer->ShowText(view.Description);
            return;
        }
    }
}

void TFilterFrame::ItemDoubleClicked(QTreeWidgetItem* item) {
    if (item && item->parent()) OpenItem(item);
}

QTreeWidgetItem* TFilterFrame::ItemOfPath(const QString& path) const {
    const QString folder = folderOf(path);
    const QString leaf = nameOf(path);
    for (int i = 0; i < m_tree->topLevelItemCount(); ++i) {
        QTreeWidgetItem* f = m_tree->topLevelItem(i);
        if (f == m_recentFolder || f->text(0) != folder) continue;
        for (int j = 0; j < f->childCount(); ++j)
            if (f->child(j)->text(0) == leaf) return f->child(j);
    }
    return nullptr;
}

void TFilterFrame::SelectPath(const QString& path) {
    if (QTreeWidgetItem* item = ItemOfPath(path)) m_tree->setCurrentItem(item);
}

bool TFilterFrame::OpenFilter(const QString& name) {
    QTreeWidgetItem* item = ItemOfPath(name);
    if (!item) return false;
    m_tree->setCurrentItem(item);
    OpenItem(item);
    return true;
}

void TFilterFrame::OpenItem(QTreeWidgetItem* item) {
    QString sql;
    if (IsRecentItem(item)) {
        // A recent entry carries the full SQL it was opened with; the visit
        // goes to the host's history first.
        const int index = m_recentFolder->indexOfChild(item);
        sql = m_recentSql.value(index);
        if (m_services) TClientUtils::AddRecentItem(*m_services, m_ext, {item->text(0), sql});
    } else {
        const QString path = item->parent()->text(0) + QLatin1Char('\\') + item->text(0);
        QBuffer stream;
        stream.open(QIODevice::ReadWrite);
        QString owner;
        m_connection->LoadStream(owner, path + m_ext, stream);
        bool isSQL = false;
        sql = LoadSQLFromStream(stream, isSQL);
        sql = SubstituteUser(sql, TClientUtils::GetCurrentUserCode(*m_connection),
                             TClientUtils::GetCurrentUserName(*m_connection));
        sql = OpenViewSQL(sql, isSQL, m_tableName, m_supportRights, m_baseWhere);
    }
    m_lastSearchSQL = sql;
    if (m_onSearch) m_onSearch(sql, item->text(0));
}

// ---------------------------------------------------------------- the menu

void TFilterFrame::UpdateMenu() {
    const QTreeWidgetItem* item = m_tree->currentItem();
    const bool ready = static_cast<bool>(m_connection);
    const bool onView = ready && item && item->parent() && !IsRecentItem(item);
    m_actSearch->setEnabled(ready);
    m_actNew->setEnabled(ready);
    m_actRename->setEnabled(onView);
    m_actEdit->setEnabled(onView);
    m_actDelete->setEnabled(onView);
    m_actSave->setVisible(m_supportRecent);
    m_actSave->setEnabled(ready && IsRecentItem(item));
}

void TFilterFrame::Guarded(const std::function<void()>& run) {
    try {
        run();
    } catch (const Exception& e) {
        ErrorMessage(e.Message());
    }
}

void TFilterFrame::Message(const QString& text) {
    TClientUtils::MsgBox(text, QStringLiteral("提示"), mb::Ok | mb::IconAsterisk);
}

void TFilterFrame::ErrorMessage(const QString& text) {
    TClientUtils::MsgBox(text, QStringLiteral("错误提示"), mb::Ok | mb::IconHand);
}

QString TFilterFrame::StoredOwner(const QString& path, QIODevice* stream) {
    QBuffer scratch;
    QIODevice& target = stream ? *stream : scratch;
    if (!target.isOpen()) target.open(QIODevice::ReadWrite);
    QString owner;
    m_connection->LoadStream(owner, path + m_ext, target);
    return owner;
}

void TFilterFrame::SearchAdHoc() {
    if (!m_connection) return;
    QString conditions;
    if (!TFilterEditorFM::ShowSearchDialog(*m_connection, m_tableName, conditions, this)) return;
    m_lastSearchSQL = SearchViewSQL(conditions, m_tableName, m_supportRights, m_baseWhere);
    if (m_onSearch) m_onSearch(m_lastSearchSQL, QStringLiteral("查询"));
}

void TFilterFrame::NewView() {
    if (!m_connection) return;
    QBuffer stream;
    stream.open(QIODevice::ReadWrite);
    QString path;
    TViewRights rights;
    if (!TFilterEditorFM::ShowNewViewDialog(*m_connection, m_tableName, m_ext, SelectedFolder(), stream, path,
                                            rights, this))
        return;
    m_connection->SaveStream(m_userName, path + m_ext, stream);
    m_connection->SetProperty(QStringLiteral("Sys_FileBase"), QStringLiteral("vFileName+vExt"), path + m_ext,
                              rights.Share, rights.AllowedUsers, rights.AllowedGroups, rights.Description);
    LoadFiltersToTreeView();
    SelectPath(path);
}

void TFilterFrame::EditView() {
    const QString path = SelectedPath();
    if (path.isEmpty()) return;
    QBuffer stream;
    stream.open(QIODevice::ReadWrite);
    if (StoredOwner(path, &stream) != m_userName) {
        Message(QString::fromUtf16(kNoEditRight));
        return;
    }
    TViewRights rights;
    QString owner;
    m_connection->GetProperty(QStringLiteral("Sys_FileBase"), QStringLiteral("vFileName+vExt"), path + m_ext,
                              owner, rights.Share, rights.AllowedUsers, rights.AllowedGroups,
                              rights.Description);
    QString newPath = path;
    if (!TFilterEditorFM::ShowEditViewDialog(*m_connection, m_tableName, m_ext, newPath, stream, rights,
                                             this))
        return;
    if (newPath != path)
        m_connection->ExecuteNonQuery(ViewRenameSQL(folderOf(newPath), nameOf(newPath), path, m_ext));
    m_connection->SaveStream(m_userName, newPath + m_ext, stream);
    m_connection->SetProperty(QStringLiteral("Sys_FileBase"), QStringLiteral("vFileName+vExt"),
                              newPath + m_ext, rights.Share, rights.AllowedUsers, rights.AllowedGroups,
                              rights.Description);
    LoadFiltersToTreeView();
}

void TFilterFrame::RenameView() {
    const QString path = SelectedPath();
    if (path.isEmpty()) return;
    if (StoredOwner(path, nullptr) != m_userName) {
        Message(QString::fromUtf16(kNoEditRight));
        return;
    }
    const QString folder = folderOf(path);
    const QString oldName = nameOf(path);
    QString newName = oldName;
    if (!OnInputQuery ||
        !OnInputQuery(QStringLiteral("修改视图名称"), QStringLiteral("将视图名称修改为"), newName))
        return;
    if (newName.contains(QLatin1Char('\\'))) {
        Message(QString::fromUtf16(kBadName) + newName);
        return;
    }
    if (newName == oldName) return;
    const auto count = m_connection->ExecuteWithQuery(ViewDuplicateCountSQL(folder, newName, path, m_ext));
    if (count->Fields(0).AsInteger() > 0) {
        ErrorMessage(QStringLiteral("不能修改, 重复的视图名称！"));
        return;
    }
    m_connection->ExecuteNonQuery(ViewRenameSQL(folder, newName, path, m_ext));
    LoadFiltersToTreeView();
    SelectPath(folder + QLatin1Char('\\') + newName);
}

void TFilterFrame::DeleteView() {
    const QString path = SelectedPath();
    if (path.isEmpty()) return;
    if (StoredOwner(path, nullptr) != m_userName) {
        Message(QString::fromUtf16(kNoDeleteRight));
        return;
    }
    if (TClientUtils::MsgBox(QStringLiteral("您确认要删除该视图吗？"), QStringLiteral("提示"),
                             mb::YesNo | mb::IconAsterisk) != id::Yes)
        return;
    m_connection->ExecuteNonQuery(ViewDeleteSQL(path, m_ext));
    LoadFiltersToTreeView();
}

void TFilterFrame::SaveView() {
    QTreeWidgetItem* item = m_tree->currentItem();
    if (!m_supportRecent || !IsRecentItem(item)) return;
    const QString sql = m_recentSql.value(m_recentFolder->indexOfChild(item));
    QString name = item->text(0);
    if (!OnInputQuery || !OnInputQuery(QStringLiteral("保存视图"), QStringLiteral("将视图名称保存为"), name))
        return;
    if (name.contains(QLatin1Char('\\'))) {
        Message(QString::fromUtf16(kBadName));
        return;
    }
    const QString fileName = QString::fromUtf16(kRecentSaveFolder) + QLatin1Char('\\') + name + m_ext;
    QBuffer stream;
    stream.open(QIODevice::ReadWrite);
    SaveSQLToStream(stream, sql);
    // Saved from the history: the current user's own, not shared.
    m_connection->SaveStream(m_userName, fileName, stream);
    m_connection->SetProperty(QStringLiteral("Sys_FileBase"), QStringLiteral("vFileName+vExt"), fileName,
                              false, QStringLiteral(","), QString(), QString());
    LoadFiltersToTreeView();
}

} // namespace lnq
