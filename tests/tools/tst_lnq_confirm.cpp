// lnq confirm end to end: the real executable confirms and cancels a sample
// order as the list form does, and refuses what it must not run.

#include "common/TestMain.h"
#include "common/ToolRun.h"
#include "data/ADOConnection.h"
#include "data/Plat_adodatabasese.h"

#include <QTemporaryDir>

using namespace lnq;
using lnqtest::runTool;

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
};

LNQ_TEST_MAIN_CORE(TestLnqConfirm)
#include "tst_lnq_confirm.moc"
