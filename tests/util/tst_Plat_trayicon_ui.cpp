#include "common/TestMain.h"
#include "util/Exceptions.h"
#include "util/Plat_autostart.h"
#include "util/Plat_trayicon_ui.h"

#include <QAction>
#include <QFile>
#include <QMenu>
#include <QSignalSpy>
#include <QTemporaryDir>

using namespace lnq;

namespace {

QStringList captions(const QMenu& menu) {
    QStringList out;
    for (const QAction* a : menu.actions())
        out << (a->isSeparator() ? QStringLiteral("-") : a->text());
    return out;
}

// Opens the tray menu and clicks the entry with that caption.
void choose(QMenu& menu, const QString& caption) {
    menu.popup(QPoint(10, 10));
    QVERIFY(QTest::qWaitForWindowExposed(&menu));
    for (QAction* a : menu.actions())
        if (a->text() == caption) {
            QTest::mouseClick(&menu, Qt::LeftButton, {}, menu.actionGeometry(a).center());
            QTRY_VERIFY(!menu.isVisible());
            return;
        }
    QFAIL(qPrintable(QStringLiteral("no menu entry ") + caption));
}

} // namespace

class TestPlatTrayIcon : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    int m_run = 0;

private Q_SLOTS:
    void init() {
        QVERIFY(m_dir.isValid());
        qputenv("XDG_CONFIG_HOME", m_dir.filePath(QStringLiteral("c%1").arg(++m_run)).toUtf8());
    }

    void menuEntriesWithTheHostsFirst() {
        TLNQTrayIcon tray;
        QCOMPARE(captions(*tray.Menu()), (QStringList{"显示主窗口", "开机自动启动", "-", "退出"}));
        QAction open(QStringLiteral("打开订单"));
        QAction find(QStringLiteral("查找客户"));
        tray.AddMenuAction(&open);
        tray.AddMenuAction(&find);
        QCOMPARE(captions(*tray.Menu()),
                 (QStringList{"打开订单", "查找客户", "-", "显示主窗口", "开机自动启动", "-", "退出"}));
    }

    void startAtLoginFromTheMenu() {
        TLNQTrayIcon tray;
        tray.SetAppName(QStringLiteral("客户管理"));
        tray.SetStartProgram(QStringLiteral("/opt/lnq/客户管理"));
        tray.SetStartArguments({QStringLiteral("--tray")});
        const QString entry = TAutoStart::EntryLocation(QStringLiteral("客户管理"));
        choose(*tray.Menu(), QStringLiteral("开机自动启动"));
        QVERIFY(QFile::exists(entry));
        QVERIFY(tray.StartAtLogin());
        QCOMPARE(TAutoStart::Command(QStringLiteral("客户管理")),
                 (QStringList{"/opt/lnq/客户管理", "--tray"}));
        choose(*tray.Menu(), QStringLiteral("开机自动启动"));
        QVERIFY(!QFile::exists(entry));
        // An entry made elsewhere shows as a check mark when the menu opens.
        TAutoStart::Enable(QStringLiteral("客户管理"), QStringLiteral("/bin/true"));
        tray.Menu()->popup(QPoint(10, 10));
        QVERIFY(tray.StartAtLoginAction()->isChecked());
        tray.Menu()->hide();
    }

    void failureKeepsTheCheckMark() {
        TLNQTrayIcon tray;
        tray.SetAppName(QStringLiteral("demo"));
        const QByteArray config = qgetenv("XDG_CONFIG_HOME");
        QDir().mkpath(QString::fromUtf8(config));
        QFile blocker(QString::fromUtf8(config) +
                      QStringLiteral("/autostart")); // a file where the folder goes
        QVERIFY(blocker.open(QIODevice::WriteOnly));
        QSignalSpy failed(&tray, &TLNQTrayIcon::startAtLoginFailed);
        choose(*tray.Menu(), QStringLiteral("开机自动启动"));
        QCOMPARE(failed.count(), 1);
        QVERIFY(failed.first().first().toString().contains(QStringLiteral("无法创建目录")));
        QVERIFY(!tray.StartAtLoginAction()->isChecked());
        QVERIFY_THROWS_EXCEPTION(EInOutError, tray.SetStartAtLogin(true));
    }

    void iconClicksAndClosingToTheTray() {
        QWidget main;
        TLNQTrayIcon tray;
        tray.SetMainForm(&main);
        tray.SetCloseToTray(true);
        tray.SetVisible(true);
        Q_EMIT tray.TrayIcon()->activated(QSystemTrayIcon::Trigger);
        QVERIFY(QTest::qWaitForWindowActive(&main));
        Q_EMIT tray.TrayIcon()->activated(QSystemTrayIcon::DoubleClick); // active already: hides
        QVERIFY(!main.isVisible());
        choose(*tray.Menu(), QStringLiteral("显示主窗口"));
        QVERIFY(main.isVisible());
        QVERIFY(!main.close()); // only hidden while the icon shows
        QVERIFY(!main.isVisible());
        tray.ShowMainForm();
        bool closed = false;
        connect(&tray, &TLNQTrayIcon::exitRequested, &main, [&] { closed = main.close(); });
        choose(*tray.Menu(), QStringLiteral("退出"));
        QVERIFY(closed);
        QVERIFY(!main.isVisible());
        // Without the icon, closing is closing.
        tray.ShowMainForm();
        tray.SetVisible(false);
        QVERIFY(main.close());
    }
};

LNQ_TEST_MAIN_WIDGETS(TestPlatTrayIcon)
#include "tst_Plat_trayicon_ui.moc"
