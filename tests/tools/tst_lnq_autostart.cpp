#include "common/TestMain.h"
#include "common/ToolRun.h"

#include <QFile>
#include <QTemporaryDir>

namespace {
using Run = lnqtest::ToolRun;
} // namespace

class TestLnqAutostart : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;

    Run lnq(const QStringList& args) {
        QProcessEnvironment env;
        env.insert(QStringLiteral("XDG_CONFIG_HOME"), m_dir.path());
        return lnqtest::runTool(QStringList{"autostart"} + args, env);
    }

private Q_SLOTS:
    void enableStatusDisable() {
        QVERIFY(m_dir.isValid());
        const QString entry = m_dir.path() + QStringLiteral("/autostart/客户管理.desktop");
        Run r = lnq({"status", "客户管理"});
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(r.out, QStringLiteral("disabled\t") + entry + u'\n');

        r = lnq({"enable", "--comment", "托盘", "客户管理", "/opt/lnq demo/client", "--tray", "50%"});
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(r.out, entry + u'\n');
        QFile f(entry);
        QVERIFY(f.open(QIODevice::ReadOnly));
        QVERIFY(f.readAll().contains("Exec=\"/opt/lnq demo/client\" --tray 50%%\n"));

        r = lnq({"status", "客户管理"});
        QCOMPARE(r.out,
                 QStringLiteral("enabled\t") + entry + QStringLiteral("\n/opt/lnq demo/client --tray 50%\n"));

        r = lnq({"disable", "客户管理"});
        QCOMPARE(r.exitCode, 0);
        QVERIFY(!QFile::exists(entry));
        QVERIFY(lnq({"status", "客户管理"}).out.startsWith(QStringLiteral("disabled\t")));
    }

    void errors_data() {
        lnqtest::refusalColumns();
        QTest::newRow("no sub-command") << QStringList{} << 2 << "missing sub-command";
        QTest::newRow("unknown sub-command") << QStringList{"on", "x"} << 2 << "unknown sub-command \"on\"";
        QTest::newRow("status without name") << QStringList{"status"} << 2 << "expected one NAME";
        QTest::newRow("enable without program")
            << QStringList{"enable", "x"} << 2 << "expected NAME and PROGRAM";
        QTest::newRow("comment without text")
            << QStringList{"enable", "--comment"} << 2 << "--comment needs a TEXT";
        QTest::newRow("path in name")
            << QStringList{"enable", "../x", "/bin/true"} << 1 << "自动启动项名称无效";
        QTest::newRow("bad name in status") << QStringList{"status", "a/b"} << 1 << "自动启动项名称无效";
    }
    void errors() {
        QProcessEnvironment env;
        env.insert(QStringLiteral("XDG_CONFIG_HOME"), m_dir.path());
        lnqtest::checkRefusal({"autostart"}, {}, env);
    }
};

LNQ_TEST_MAIN_CORE(TestLnqAutostart)
#include "tst_lnq_autostart.moc"
