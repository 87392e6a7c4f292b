#pragma once
// TDemoMainfm: the main window of the demo client. A navigation tree of the
// business screens the signed-in user may open (grouped in folders) beside a
// tab area holding the open screens; in-application links from any screen,
// the record viewer and the host services arrive at OpenAppLink, which opens
// the record editor, the order editor or the matching screen. The window
// remembers its geometry, its splitters and those of each screen, and the
// open screens in the settings, and shows an icon in the system tray.

#include "demo/DemoScreens.h"

#include <QMainWindow>
#include <QPointer>
#include <map>
#include <memory>

class QLabel;
class QSplitter;
class QTabWidget;
class QTreeWidget;
class QTreeWidgetItem;

namespace lnq {

class TDemoConnection;
class TDemoServices;
class TDemoListfm;
class TDemoBackupfm;
class TLNQTrayIcon;
class TOrderEditfm;

class TDemoMainfm : public QMainWindow {
    Q_OBJECT
public:
    TDemoMainfm(std::shared_ptr<TDemoConnection> connection, TDemoServices& services,
                const QString& databaseFile, QWidget* parent = nullptr);
    ~TDemoMainfm() override;

    // Opens (creating it on first use) and shows the screen; nullptr when the
    // user may not open it or it failed to open (the user was told).
    QWidget* OpenScreen(const QString& id);
    // The screen's widget when it is open, else nullptr.
    QWidget* ScreenWidget(const QString& id) const;
    TDemoListfm* ListScreen(const QString& id) const;
    TOrderEditfm* OrderScreen() const;
    TDemoBackupfm* BackupScreen() const;

    // Routes an in-application link; false when it led nowhere.
    bool OpenAppLink(const QString& link);

    // Hooks for the tour and tests: called with each record editor before it
    // runs modally (it may fill and close it).
    std::function<void(QDialog&)> OnBeforeEditorShow;

    TDemoConnection& Connection() const { return *m_connection; }
    TDemoServices& Services() const { return m_services; }
    QTreeWidget* NavTree() const { return m_nav; }
    QTabWidget* Tabs() const { return m_tabs; }
    TLNQTrayIcon* TrayIcon() const { return m_tray.get(); }

    void SaveState();
    void RestoreState();
    // Opens the screens that were open when the window last closed (those the
    // current user may open).
    void RestoreScreens();

Q_SIGNALS:
    // A record editor saved a row (screen id, key).
    void recordSaved(const QString& screenId, const QString& key);

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void buildNavTree();
    std::unique_ptr<QWidget> createScreen(const TDemoScreen& screen);
    bool editRecord(const TDemoScreen& screen, const QString& key);
    bool deleteRecord(const TDemoScreen& screen, const QString& key);
    void refreshList(const QString& id);
    void closeScreen(QWidget* screen);
    void saveScreenSplitters(const QString& id, QWidget& screen);
    void restoreScreenSplitters(const QString& id, QWidget& screen);
    void showError(const QString& text);

    std::shared_ptr<TDemoConnection> m_connection;
    TDemoServices& m_services;
    QString m_databaseFile;
    QSplitter* m_split = nullptr;
    QTreeWidget* m_nav = nullptr;
    QTabWidget* m_tabs = nullptr;
    QLabel* m_userLabel = nullptr;
    std::unique_ptr<TLNQTrayIcon> m_tray;
    // Open screens by id; the tab widget owns them (Qt parent).
    std::map<QString, QPointer<QWidget>> m_screens;
};

} // namespace lnq
