#include "common/TestMain.h"
#include "util/Exceptions.h"
#include "util/Plat_autostart.h"

#include <QFile>
#include <QTemporaryDir>

using namespace lnq;

class TestPlatAutoStart : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    QString m_config;
    int m_run = 0;

    void writeEntry(const QString& name, const QByteArray& text) {
        QFile f(TAutoStart::EntryLocation(name));
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write(text);
    }

private Q_SLOTS:
    void init() {
        QVERIFY(m_dir.isValid());
        m_config = m_dir.filePath(QStringLiteral("config%1").arg(++m_run)); // a fresh one per test
        qputenv("XDG_CONFIG_HOME", m_config.toUtf8());
    }

    void execLinesRoundTrip_data() {
        QTest::addColumn<QStringList>("command");
        QTest::addColumn<QString>("exec");
        QTest::newRow("plain") << QStringList{"/usr/bin/lnqdemo", "--tray"} << "/usr/bin/lnqdemo --tray";
        QTest::newRow("blanks and chinese")
            << QStringList{"/opt/客户 管理/demo"} << "\"/opt/客户 管理/demo\"";
        QTest::newRow("shell characters") << QStringList{"/bin/x", "a$b", "say \"hi\"", "`id`"}
                                          << "/bin/x \"a\\\\$b\" \"say \\\\\"hi\\\\\"\" \"\\\\`id\\\\`\"";
        QTest::newRow("backslash") << QStringList{"/bin/x", "C:\\data"} << "/bin/x \"C:\\\\\\\\data\"";
        QTest::newRow("percent") << QStringList{"/bin/x", "50%"} << "/bin/x 50%%";
        QTest::newRow("empty argument and tab")
            << QStringList{"/bin/x", "", "a\tb"} << "/bin/x \"\" \"a\\tb\"";
    }
    void execLinesRoundTrip() {
        QFETCH(QStringList, command);
        QFETCH(QString, exec);
        QCOMPARE(TAutoStart::ExecLine(command.first(), command.mid(1)), exec);
        QCOMPARE(TAutoStart::SplitExecLine(exec), command);
    }

    void fieldCodesAreDropped() {
        QCOMPARE(TAutoStart::SplitExecLine(QStringLiteral("app %U --x %f \"100%%\"")),
                 (QStringList{"app", "--x", "100%"}));
        QCOMPARE(TAutoStart::SplitExecLine(QStringLiteral("app \"unterminated")),
                 (QStringList{"app", "unterminated"}));
    }

    void enableWritesAndDisableRemoves() {
        const QString name = QStringLiteral("客户管理");
        const QString path = m_config + QStringLiteral("/autostart/客户管理.desktop");
        QCOMPARE(TAutoStart::EntryLocation(name), path);
        QVERIFY(!TAutoStart::IsEnabled(name));
        QVERIFY(TAutoStart::Command(name).isEmpty());
        TAutoStart::Enable(name, QStringLiteral("/opt/lnq/demo"), {QStringLiteral("--tray")},
                           QStringLiteral("托盘"));
        QVERIFY(TAutoStart::IsEnabled(name));
        QCOMPARE(TAutoStart::Command(name), (QStringList{"/opt/lnq/demo", "--tray"}));
        QFile f(path);
        QVERIFY(f.open(QIODevice::ReadOnly));
        const QString text = QString::fromUtf8(f.readAll());
        f.close();
        QVERIFY(text.startsWith(
            QStringLiteral("[Desktop Entry]\nType=Application\nName=客户管理\nComment=托盘\n")));
        TAutoStart::Disable(name);
        QVERIFY(!QFile::exists(path));
        QVERIFY(!TAutoStart::IsEnabled(name));
        TAutoStart::Disable(name); // nothing left to remove
    }

    void entriesSwitchedOffByTheDesktop_data() {
        QTest::addColumn<QByteArray>("text");
        QTest::addColumn<bool>("enabled");
        QTest::newRow("plain") << QByteArray("[Desktop Entry]\nExec=x\n") << true;
        QTest::newRow("hidden") << QByteArray("[Desktop Entry]\nExec=x\nHidden=true\n") << false;
        QTest::newRow("switched off")
            << QByteArray("[Desktop Entry]\nX-GNOME-Autostart-enabled=false\n") << false;
        QTest::newRow("other group's key")
            << QByteArray("[Desktop Entry]\nExec=x\n[Desktop Action a]\nHidden=true\n") << true;
        QTest::newRow("not text") << QByteArray("\x00\xff\xfe[", 4) << true;
    }
    void entriesSwitchedOffByTheDesktop() {
        QFETCH(QByteArray, text);
        QFETCH(bool, enabled);
        TAutoStart::Enable(QStringLiteral("demo"), QStringLiteral("/bin/true"));
        writeEntry(QStringLiteral("demo"), text);
        QCOMPARE(TAutoStart::IsEnabled(QStringLiteral("demo")), enabled);
    }

    void errors_data() {
        QTest::addColumn<QString>("name");
        QTest::addColumn<QString>("program");
        QTest::newRow("empty name") << ""
                                    << "/bin/x";
        QTest::newRow("path in name") << "../x"
                                      << "/bin/x";
        QTest::newRow("dot dot") << ".."
                                 << "/bin/x";
        QTest::newRow("line break") << "a\nb"
                                    << "/bin/x";
        QTest::newRow("no program") << "demo"
                                    << " ";
        QTest::newRow("folder is a file") << "blocked"
                                          << "/bin/x";
    }
    void errors() {
        QFETCH(QString, name);
        QFETCH(QString, program);
        if (name == QLatin1String("blocked")) {
            QFile block(m_config + QStringLiteral("/autostart"));
            QDir().mkpath(m_config);
            QVERIFY(block.open(QIODevice::WriteOnly));
        }
        QVERIFY_THROWS_EXCEPTION(EInOutError, TAutoStart::Enable(name, program));
        if (name == QLatin1String("blocked")) QFile::remove(m_config + QStringLiteral("/autostart"));
    }
};

LNQ_TEST_MAIN_CORE(TestPlatAutoStart)
#include "tst_Plat_autostart.moc"
