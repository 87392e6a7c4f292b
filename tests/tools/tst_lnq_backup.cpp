#include "common/TestMain.h"
#include "common/ToolRun.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

namespace {
using Run = lnqtest::ToolRun;
Run lnqRun(const QStringList& args) {
    return lnqtest::runTool(args);
}
QByteArray readAll(const QString& file) {
    QFile f(file);
    return f.open(QIODevice::ReadOnly) ? f.readAll() : QByteArray();
}
} // namespace

class TestLnqBackup : public QObject {
    Q_OBJECT
private:
    QTemporaryDir m_dir;
    QString m_db;

    QString path(const QString& name) const { return m_dir.filePath(name); }
    QString count(const QString& db) {
        return lnqRun({QStringLiteral("sql"), QStringLiteral("--db"), db,
                       QStringLiteral("select count(*) as n from Cust_CustomersMain")})
            .out;
    }

private Q_SLOTS:
    void initTestCase() {
        QVERIFY(m_dir.isValid());
        m_db = path(QStringLiteral("sample.db"));
        QCOMPARE(lnqRun({QStringLiteral("init-db"), m_db, QStringLiteral("--sample")}).exitCode, 0);
    }

    void backupRestoreCheck() {
        const QString bak = path(QStringLiteral("sample.bak"));
        Run r = lnqRun({QStringLiteral("backup"), QStringLiteral("--db"), m_db, QStringLiteral("--to"), bak});
        QCOMPARE(r.exitCode, 0);
        QVERIFY(QFile::exists(bak));
        r = lnqRun({QStringLiteral("check-db"), bak});
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(r.out, QStringLiteral("ok\n"));

        QVERIFY(QDir(m_dir.path()).mkdir(QStringLiteral("restored")));
        r = lnqRun({QStringLiteral("restore"), QStringLiteral("--from"), bak, QStringLiteral("--name"),
                    QStringLiteral("门店"), QStringLiteral("--dir"), path(QStringLiteral("restored"))});
        QCOMPARE(r.exitCode, 0);
        const QString restored = path(QStringLiteral("restored/门店.db"));
        QCOMPARE(r.out, restored + QLatin1Char('\n'));
        QVERIFY(count(restored).startsWith(QLatin1String("n\n")));
        QCOMPARE(count(restored), count(m_db));

        // A damaged backup is refused and the restored database stays as it was.
        QByteArray bytes = readAll(bak);
        for (qsizetype i = 4096 + 64; i < bytes.size(); i += 5)
            bytes[i] = '\x33';
        const QString bad = path(QStringLiteral("bad.bak"));
        QFile out(bad);
        QVERIFY(out.open(QIODevice::WriteOnly));
        out.write(bytes);
        out.close();
        const QByteArray before = readAll(restored);
        r = lnqRun({QStringLiteral("check-db"), bad});
        QCOMPARE(r.exitCode, 1);
        QVERIFY(!r.err.isEmpty());
        r = lnqRun({QStringLiteral("restore"), QStringLiteral("--from"), bad, QStringLiteral("--name"),
                    QStringLiteral("门店"), QStringLiteral("--dir"), path(QStringLiteral("restored"))});
        QCOMPARE(r.exitCode, 1);
        QVERIFY2(r.err.contains(QStringLiteral("备份文件已损坏")), qPrintable(r.err));
        QCOMPARE(readAll(restored), before);
    }

    // Relative paths are the temporary folder's: nothing may appear there.
    void refusals_data() {
        lnqtest::refusalColumns();
        QTest::newRow("backup without target")
            << QStringList{"backup", "--db", "x.db"} << 2 << "usage: lnq backup";
        QTest::newRow("backup unknown option")
            << QStringList{"backup", "--db", "x.db", "--into", "y"} << 2 << "unexpected argument \"--into\"";
        QTest::newRow("backup missing database")
            << QStringList{"backup", "--db", "missing.db", "--to", "y.bak"} << 1
            << "数据库不存在: missing.db";
        QTest::newRow("restore without name")
            << QStringList{"restore", "--from", "x.bak"} << 2 << "usage: lnq restore";
        QTest::newRow("restore path as name")
            << QStringList{"restore", "--from", "x.bak", "--name", "a/b"} << 2 << "not a path";
        QTest::newRow("restore missing backup")
            << QStringList{"restore", "--from", "missing.bak", "--name", "n"} << 1
            << "备份文件不存在: missing.bak";
        // The local server is not there (or refuses this login): the driver's message, exit 1.
        const QString server =
            "Provider=SQLOLEDB;User ID=sa;Password=x;Data Source=(local);Initial Catalog=Shop";
        QTest::newRow("server backup")
            << QStringList{"backup", "--db", server, "--to", "D:\\y.bak"} << 1 << "lnq: ";
        QTest::newRow("server restore")
            << QStringList{"restore", "--from", "D:\\x.bak", "--name", "n", "--server", server} << 1
            << "lnq: ";
        QTest::newRow("restore on a file as server")
            << QStringList{"restore", "--from", "x.bak", "--name", "n", "--server", "x.db"} << 2
            << "--server wants a SQL Server connection string";
        QTest::newRow("check missing")
            << QStringList{"check-db", "missing.db"} << 1 << "文件不存在: missing.db";
        QTest::newRow("check two") << QStringList{"check-db", "a", "b"} << 2 << "usage: lnq check-db";
    }
    void refusals() {
        lnqtest::checkRefusal({}, {}, {}, m_dir.path());
        QVERIFY(!QFile::exists(path(QStringLiteral("y.bak"))));
        QVERIFY(!QFile::exists(path(QStringLiteral("n.db"))));
    }
};

LNQ_TEST_MAIN_CORE(TestLnqBackup)
#include "tst_lnq_backup.moc"
