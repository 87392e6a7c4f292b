#pragma once
// TLNQTrayIcon: the host application's icon in the system tray.
//
// Its menu holds the host's own actions first, then "显示主窗口", the
// checkable "开机自动启动" (the start-at-login entry of TAutoStart, read
// afresh each time the menu opens), a separator and "退出". A click or a
// double click on the icon shows the main form (restored, raised and
// activated) or, when it is the active window already, hides it. With
// CloseToTray, closing the main form while the icon shows only hides the
// form; "退出" really ends: it emits exitRequested (a main form the receiver
// closes there really closes), or, when nothing is connected to it, closes
// the main form and quits the application.
//
// Failing to write or remove the start-at-login entry from the menu leaves
// the check mark as it was and emits startAtLoginFailed(message); with no
// receiver the message is shown in a message box captioned "错误提示".

#include <QIcon>
#include <QObject>
#include <QPointer>
#include <QStringList>
#include <QSystemTrayIcon>
#include <memory>

class QAction;
class QMenu;
class QWidget;

namespace lnq {

class TLNQTrayIcon : public QObject {
    Q_OBJECT
public:
    explicit TLNQTrayIcon(QObject* parent = nullptr);
    ~TLNQTrayIcon() override;

    QIcon Icon() const;
    void SetIcon(const QIcon& icon);
    QString Hint() const;
    void SetHint(const QString& hint);
    bool Visible() const;
    void SetVisible(bool on);

    QWidget* MainForm() const { return m_mainForm; }
    void SetMainForm(QWidget* form);
    bool CloseToTray() const { return m_closeToTray; }
    void SetCloseToTray(bool on) { m_closeToTray = on; }

    // The start-at-login entry: its name (the application's name unless
    // set) and the program with arguments it starts (this executable).
    QString AppName() const;
    void SetAppName(const QString& name) { m_appName = name; }
    QString StartProgram() const;
    void SetStartProgram(const QString& program) { m_startProgram = program; }
    QStringList StartArguments() const { return m_startArguments; }
    void SetStartArguments(const QStringList& arguments) { m_startArguments = arguments; }
    bool StartAtLogin() const;
    // Writes or removes the entry; EInOutError when that fails.
    void SetStartAtLogin(bool on);

    // Host actions go above the tray's own entries, in the order added.
    void AddMenuAction(QAction* action);
    QMenu* Menu() const { return m_menu.get(); }
    QAction* ShowAction() const { return m_showAction; }
    QAction* StartAtLoginAction() const { return m_startAction; }
    QAction* ExitAction() const { return m_exitAction; }
    QSystemTrayIcon* TrayIcon() const { return m_tray; }

    void ShowMainForm();
    void ShowMessage(const QString& title, const QString& text, int milliseconds = 5000);

Q_SIGNALS:
    void exitRequested();
    void startAtLoginFailed(const QString& message);
    void activated(QSystemTrayIcon::ActivationReason reason);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void onActivated(QSystemTrayIcon::ActivationReason reason);
    void onStartToggled(bool on);
    void onExit();

    QSystemTrayIcon* m_tray = nullptr;  // child of this object
    std::unique_ptr<QMenu> m_menu;      // a menu has no object parent here
    QAction* m_hostSeparator = nullptr; // made with the first host action
    QAction* m_showAction = nullptr;
    QAction* m_startAction = nullptr;
    QAction* m_exitAction = nullptr;
    QPointer<QWidget> m_mainForm;
    bool m_closeToTray = false;
    bool m_exiting = false;
    QString m_appName;
    QString m_startProgram;
    QStringList m_startArguments;
};

} // namespace lnq
