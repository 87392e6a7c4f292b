// lnq confirm and lnq doc end to end on the sample database: an order
// confirmed and cancelled as the list form does, a document shown,
// confirmed, unconfirmed and deleted with its lines as the edit form does,
// and the refusals of what they must not run.

#include "common/TestMain.h"
#include "common/ToolRun.h"
#include "data/ADOConnection.h"
#include "data/Plat_adodatabasese.h"

#include <QTemporaryDir>

using namespace lnq;
using lnqtest::runTool;
using Run = lnqtest::ToolRun;

namespace {
Run docRun(const QStringList& args) {
    QProcessEnvironment env;
    env.insert(QStringLiteral("LNQ_NOW"), QStringLiteral("2026-03-09 10:00:00"));
    return runTool(args, env);
}
} // namespace

class TestLnqConfirm : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    QString m_db;

    QString column(const QString& field, int key) {
        TADOConnection ado;
        ado.SetConnectionString(m_db);
        ado.Open();
        TInterfacedADOConnection conn(ado);
        return conn
            .ExecuteWithQuery("select " + field + " from Sal_SaleMain where iNo=" + QString::number(key))
            ->Fields(0)
            .AsString();
    }
    QStringList order(int key) {
        return {"confirm",       "--db",          m_db,
                "--table",       "Sal_SaleMain",  "--key-field",
                "iNo",           "--key",         QString::number(key),
                "--state-field", "vConfirmState", "--user-field",
                "vConfirmUser",  "--date-field",  "dConfirmDate",
                "--user",        "张伟"};
    }

    // The first value of a one-column query.
    QString scalar(const QString& sql) {
        const QStringList lines = docRun({"sql", "--db", m_db, sql}).out.split('\n');
        return lines.value(1);
    }
    // "field<TAB>value" of the master part of "doc show".
    static QString masterValue(const QString& shown, const QString& field) {
        for (const QString& line : shown.split('\n')) {
            if (line.isEmpty()) break;
            if (line.section('\t', 0, 0) == field) return line.section('\t', 1);
        }
        return QStringLiteral("<missing>");
    }

private Q_SLOTS:
    void initTestCase() {
        m_db = m_dir.filePath(QStringLiteral("sample.db"));
        const auto init = runTool({"init-db", m_db, "--sample"});
        QVERIFY2(init.exitCode == 0, qPrintable(init.err));
    }

    void confirmThenUndo() {
        QProcessEnvironment env;
        env.insert(QStringLiteral("LNQ_NOW"), QStringLiteral("2026-03-14 09:30:00"));
        auto run = runTool(order(7), env);
        QCOMPARE(run.exitCode, 0);
        QCOMPARE(run.out, QStringLiteral("Sal_SaleMain iNo=7: 已确认\n"));
        QCOMPARE(column("vConfirmState", 7), QStringLiteral("已确认"));
        QCOMPARE(column("vConfirmUser", 7), QStringLiteral("张伟"));
        QCOMPARE(column("dConfirmDate", 7).left(10), QStringLiteral("2026-03-14"));
        run = runTool(order(7) << "--undo"
                               << "--word"
                               << "审核",
                      env);
        QCOMPARE(run.out, QStringLiteral("Sal_SaleMain iNo=7: 未审核\n"));
        QCOMPARE(column("vConfirmState", 7), QStringLiteral("未审核"));
    }

    void refusals_data() {
        lnqtest::refusalColumns();
        const QStringList base{"confirm", "--db",          "DB",
                               "--table", "Sal_SaleMain",  "--key-field",
                               "iNo",     "--state-field", "vConfirmState"};
        QTest::newRow("no row") << (QStringList(base) << "--key"
                                                      << "999999")
                                << 1 << "no row iNo=999999";
        QTest::newRow("key not a number") << (QStringList(base) << "--key"
                                                                << "1 or 1=1")
                                          << 2 << "integer";
        QTest::newRow("hostile table") << (QStringList(base) << "--key"
                                                             << "1"
                                                             << "--table"
                                                             << "x;drop table y")
                                       << 2 << "not a name";
        QTest::newRow("missing key") << base << 2 << "--key is required";
        QTest::newRow("unknown field") << (QStringList(base) << "--key"
                                                             << "1"
                                                             << "--user-field"
                                                             << "vNoSuch")
                                       << 1 << "vNoSuch";
    }
    void refusals() {
        const QString before = column("vConfirmState", 1);
        lnqtest::checkRefusal({}, {{"DB", m_db}});
        QCOMPARE(column("vConfirmState", 1), before);
    }

    // After the confirm cases: a document is deleted here.
    void confirmUnconfirmDelete() {
        const QString key = scalar("select min(iNo) as k from Sal_SaleMain where vConfirmState='未确认'");
        const int lines = scalar("select count(*) as n from Sal_SaleDetail where iMasterNo=" + key).toInt();
        QVERIFY(lines > 0);

        Run r = docRun({"doc", "show", "--db", m_db, key});
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(masterValue(r.out, "iNo"), key);
        const QStringList parts = r.out.split("\n\n");
        QCOMPARE(parts.size(), 2);
        QVERIFY(parts[1].startsWith("iNo\tiMasterNo\tiProductNo\t"));
        QCOMPARE(parts[1].split('\n', Qt::SkipEmptyParts).size(), lines + 1);

        r = docRun({"doc", "confirm", "--db", m_db, "--user", "赵敏", key});
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(r.out, key + "\t已确认\n");
        r = docRun({"doc", "show", "--db", m_db, key});
        QCOMPARE(masterValue(r.out, "vConfirmState"), QStringLiteral("已确认"));
        QCOMPARE(masterValue(r.out, "vConfirmUser"), QStringLiteral("赵敏"));
        QCOMPARE(masterValue(r.out, "dConfirmDate"), QStringLiteral("2026-03-09"));
        QCOMPARE(
            scalar("select count(*) as n from Sal_SaleDetail where vConfirmState='已确认' and iMasterNo=" +
                   key)
                .toInt(),
            lines);

        // Twice, or deleting a confirmed document, is refused.
        QCOMPARE(docRun({"doc", "confirm", "--db", m_db, key}).exitCode, 1);
        r = docRun({"doc", "delete", "--db", m_db, key});
        QCOMPARE(r.exitCode, 1);
        QVERIFY(r.err.contains("已确认"));

        r = docRun({"doc", "unconfirm", "--db", m_db, key});
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(r.out, key + "\t未确认\n");
        r = docRun({"doc", "delete", "--db", m_db, key});
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(r.out, "deleted " + key + " with " + QString::number(lines) + " lines\n");
        QCOMPARE(scalar("select count(*) as n from Sal_SaleDetail where iMasterNo=" + key),
                 QStringLiteral("0"));
        QCOMPARE(docRun({"doc", "show", "--db", m_db, key}).exitCode, 1);
    }

    void docRefusals_data() {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<int>("exitCode");
        QTest::newRow("hostile table")
            << QStringList{"--master", "Sal_SaleMain;drop table Sal_SaleDetail", "1"} << 2;
        QTest::newRow("key not a number") << QStringList{"1 or 1=1"} << 2;
        QTest::newRow("unknown option") << QStringList{"--user", "x", "1"} << 2;
        QTest::newRow("missing table") << QStringList{"--master", "NoSuchTable", "1"} << 1;
    }
    void docRefusals() {
        QFETCH(QStringList, args);
        QFETCH(int, exitCode);
        const Run r = docRun(QStringList{"doc", "show", "--db", m_db} + args);
        QCOMPARE(r.exitCode, exitCode);
        QVERIFY(!r.err.isEmpty());
        QVERIFY(scalar("select count(*) as n from Sal_SaleDetail").toInt() > 0);
    }
};

LNQ_TEST_MAIN_CORE(TestLnqConfirm)
#include "tst_lnq_confirm.moc"
