#pragma once
// TFilterFrame: the panel beside a business list with the saved views the
// current user may see, as a tree of folders and views, a search box that
// narrows the tree by name or pinyin initials, and the record viewer below
// showing the chosen view's description. Opening a view turns it into a ready
// SELECT handed to the host through OnSearch; the frame never runs it. The
// popup menu searches ad hoc and creates, renames, edits, deletes and saves
// views; only a view's owner may change it.
//
// With recent support on, a folder "最近打开的客户集" lists the views the
// host reports as recently opened (the host services interface keeps that
// history per vExt).

#include "filter/ViewList.h"

#include <QString>
#include <QWidget>
#include <functional>
#include <memory>
#include <vector>

class QAction;
class QLineEdit;
class QMenu;
class QTreeWidget;
class QTreeWidgetItem;

namespace lnq {

class IConnection;
class IServicesInterface;
class TLNQDataWebBrowser;

class TFilterFrame : public QWidget {
    Q_OBJECT
public:
    using TSearchFn = std::function<void(const QString& sql, const QString& caption)>;

    explicit TFilterFrame(QWidget* parent = nullptr);
    ~TFilterFrame() override;

    // The frame keeps the connection alive; services belong to the host and
    // must outlive the frame (nullptr: no recent folder).
    void InitUI(std::shared_ptr<IConnection> connection, IServicesInterface* services,
                const QString& tableName, const QString& baseWhere, const QString& ext,
                const QString& userName, const QString& userGroups, TSearchFn onSearch);
    void SetSupportRecent(bool on);
    void SetSupportRights(bool on);
    bool SupportRecent() const { return m_supportRecent; }
    bool SupportRights() const { return m_supportRights; }

    void LoadFiltersToTreeView();
    // Opens folder\name (the same steps as a double-click); false when the
    // tree has no such view.
    bool OpenFilter(const QString& name);
    QString GetLastSearchSQL() const { return m_lastSearchSQL; }

    // The popup menu's commands.
    void SearchAdHoc();
    void NewView();
    void RenameView();
    void EditView();
    void DeleteView();
    void SaveView();

    QTreeWidget* TreeView() const { return m_tree; }
    QLineEdit* SearchBox() const { return m_searchBox; }
    TLNQDataWebBrowser* Viewer() const { return m_viewer; }
    QMenu* PopupMenu() const { return m_menu; }
    // The recent folder node, nullptr when there is none.
    QTreeWidgetItem* RecentFolder() const { return m_recentFolder; }
    // The path folder\name of the selected view ("" for a folder or nothing).
    QString SelectedPath() const;

    // Asks for a text (title, prompt, prefilled text); false on cancel. The
    // standard input box unless the host replaces it.
    std::function<bool(const QString& title, const QString& prompt, QString& text)> OnInputQuery;

Q_SIGNALS:
    // After the tree was rebuilt.
    void viewsLoaded();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    QTreeWidgetItem* FirstVisibleView() const;
    QTreeWidgetItem* ItemOfPath(const QString& path) const;
    void SelectPath(const QString& path);
    void ItemClicked(QTreeWidgetItem* item);
    void ItemDoubleClicked(QTreeWidgetItem* item);
    void OpenItem(QTreeWidgetItem* item);
    void ApplySearchText();
    void UpdateMenu();
    // The owner of the stored view path (loaded with its stream into stream
    // when given).
    QString StoredOwner(const QString& path, QIODevice* stream);
    bool IsRecentItem(const QTreeWidgetItem* item) const;
    QString SelectedFolder() const;
    void Guarded(const std::function<void()>& run);
    void Message(const QString& text);
    void ErrorMessage(const QString& text);

    std::shared_ptr<IConnection> m_connection;
    IServicesInterface* m_services = nullptr;
    QString m_tableName;
    QString m_baseWhere;
    QString m_ext;
    QString m_userName;
    QString m_userGroups;
    TSearchFn m_onSearch;
    bool m_supportRecent = false;
    bool m_supportRights = false;
    QString m_lastSearchSQL;
    std::vector<TViewEntry> m_views;
    QList<QString> m_recentSql; // SQL of the recent folder's children, in order

    QLineEdit* m_searchBox = nullptr;
    QTreeWidget* m_tree = nullptr;
    TLNQDataWebBrowser* m_viewer = nullptr;
    QMenu* m_menu = nullptr;
    QAction* m_actSearch = nullptr;
    QAction* m_actNew = nullptr;
    QAction* m_actRename = nullptr;
    QAction* m_actEdit = nullptr;
    QAction* m_actDelete = nullptr;
    QAction* m_actSave = nullptr;
    QTreeWidgetItem* m_recentFolder = nullptr;
};

} // namespace lnq
