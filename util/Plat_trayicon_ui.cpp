#include "util/Plat_trayicon_ui.h"

#include "util/Exceptions.h"
#include "util/Plat_autostart.h"

#include <QAction>
#include <QApplication>
#include <QCloseEvent>
#include <QMenu>
#include <QMessageBox>
#include <QMetaMethod>
#include <QWidget>

namespace lnq {

TLNQTrayIcon::TLNQTrayIcon(QObject* parent) : QObject(parent), m_menu(std::make_unique<QMenu>()) {
    m_tray = new QSystemTrayIcon(this);
    m_showAction = m_menu->addAction(QStringLiteral("显示主窗口"));
    m_startAction = m_menu->addAction(QStringLiteral("开机自动启动"));
    m_startAction->setCheckable(true);
    m_menu->addSeparator();
    m_exitAction = m_menu->addAction(QStringLiteral("退出"));
    m_tray->setContextMenu(m_menu.get());

    connect(m_showAction, &QAction::triggered, this, &TLNQTrayIcon::ShowMainForm);
    connect(m_startAction, &QAction::triggered, this, &TLNQTrayIcon::onStartToggled);
    connect(m_exitAction, &QAction::triggered, this, &TLNQTrayIcon::onExit);
    connect(m_menu.get(), &QMenu::aboutToShow, this, [this] {
        // The entry may have been changed outside (the desktop's settings).
        m_startAction->setChecked(StartAtLogin());
        m_showAction->setEnabled(m_mainForm != nullptr);
    });
    connect(m_tray, &QSystemTrayIcon::activated, this, &TLNQTrayIcon::onActivated);
}

TLNQTrayIcon::~TLNQTrayIcon() {
    m_tray->setContextMenu(nullptr);
}

QIcon TLNQTrayIcon::Icon() const {
    return m_tray->icon();
}

void TLNQTrayIcon::SetIcon(const QIcon& icon) {
    m_tray->setIcon(icon);
}

QString TLNQTrayIcon::Hint() const {
    return m_tray->toolTip();
}

void TLNQTrayIcon::SetHint(const QString& hint) {
    m_tray->setToolTip(hint);
}

bool TLNQTrayIcon::Visible() const {
    return m_tray->isVisible();
}

void TLNQTrayIcon::SetVisible(bool on) {
    m_tray->setVisible(on);
}

void TLNQTrayIcon::SetMainForm(QWidget* form) {
    if (m_mainForm) m_mainForm->removeEventFilter(this);
    m_mainForm = form;
    if (form) form->installEventFilter(this);
}

QString TLNQTrayIcon::AppName() const {
    return m_appName.isEmpty() ? QCoreApplication::applicationName() : m_appName;
}

QString TLNQTrayIcon::StartProgram() const {
    return m_startProgram.isEmpty() ? QCoreApplication::applicationFilePath() : m_startProgram;
}

bool TLNQTrayIcon::StartAtLogin() const {
    try {
        return TAutoStart::IsEnabled(AppName());
    } catch (const Exception&) {
        return false; // no usable name, so no entry
    }
}

void TLNQTrayIcon::SetStartAtLogin(bool on) {
    if (on)
        TAutoStart::Enable(AppName(), StartProgram(), m_startArguments, Hint());
    else
        TAutoStart::Disable(AppName());
}

void TLNQTrayIcon::AddMenuAction(QAction* action) {
    // Host actions, then a separator, then the tray's own entries.
    if (!m_hostSeparator) m_hostSeparator = m_menu->insertSeparator(m_showAction);
    m_menu->insertAction(m_hostSeparator, action);
}

void TLNQTrayIcon::ShowMainForm() {
    if (!m_mainForm) return;
    if (m_mainForm->isMinimized())
        m_mainForm->showNormal();
    else
        m_mainForm->show();
    m_mainForm->raise();
    m_mainForm->activateWindow();
}

void TLNQTrayIcon::ShowMessage(const QString& title, const QString& text, int milliseconds) {
    m_tray->showMessage(title, text, Icon(), milliseconds);
}

void TLNQTrayIcon::onActivated(QSystemTrayIcon::ActivationReason reason) {
    Q_EMIT activated(reason);
    if (reason != QSystemTrayIcon::Trigger && reason != QSystemTrayIcon::DoubleClick) return;
    if (!m_mainForm) return;
    if (m_mainForm->isVisible() && !m_mainForm->isMinimized() && m_mainForm->isActiveWindow())
        m_mainForm->hide();
    else
        ShowMainForm();
}

void TLNQTrayIcon::onStartToggled(bool on) {
    try {
        SetStartAtLogin(on);
    } catch (const Exception& e) {
        m_startAction->setChecked(!on);
        if (isSignalConnected(QMetaMethod::fromSignal(&TLNQTrayIcon::startAtLoginFailed)))
            Q_EMIT startAtLoginFailed(e.Message());
        else
            QMessageBox::warning(m_mainForm, QStringLiteral("错误提示"), e.Message());
    }
}

void TLNQTrayIcon::onExit() {
    if (isSignalConnected(QMetaMethod::fromSignal(&TLNQTrayIcon::exitRequested))) {
        // A main form the receiver closes now really closes.
        m_exiting = true;
        Q_EMIT exitRequested();
        m_exiting = false;
        return;
    }
    m_exiting = true;
    if (m_mainForm) m_mainForm->close();
    QCoreApplication::quit();
}

bool TLNQTrayIcon::eventFilter(QObject* watched, QEvent* event) {
    if (watched == m_mainForm && event->type() == QEvent::Close && m_closeToTray && !m_exiting &&
        m_tray->isVisible()) {
        m_mainForm->hide();
        event->ignore();
        return true;
    }
    return QObject::eventFilter(watched, event);
}

} // namespace lnq
