#include "common/TestMain.h"
#include "common/ToolRun.h"

#include <QTemporaryDir>

namespace {
using Run = lnqtest::ToolRun;
Run lnqRun(const QStringList& args) {
    QProcessEnvironment env;
    env.insert(QStringLiteral("LNQ_NOW"), QStringLiteral("2026-03-09 10:00:00"));
    return lnqtest::runTool(args, env);
}
} // namespace

class TestLnqDoc : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    QString m_db;

    // The first value of a one-column query.
    QString scalar(const QString& sql) {
        const QStringList lines = lnqRun({"sql", "--db", m_db, sql}).out.split('\n');
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
        QVERIFY(m_dir.isValid());
        m_db = m_dir.filePath("sample.db");
        QCOMPARE(lnqRun({"init-db", m_db, "--sample"}).exitCode, 0);
    }

    void confirmUnconfirmDelete() {
        const QString key = scalar("select min(iNo) as k from Sal_SaleMain where vConfirmState='未确认'");
        const int lines = scalar("select count(*) as n from Sal_SaleDetail where iMasterNo=" + key).toInt();
        QVERIFY(lines > 0);

        Run r = lnqRun({"doc", "show", "--db", m_db, key});
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(masterValue(r.out, "iNo"), key);
        const QStringList parts = r.out.split("\n\n");
        QCOMPARE(parts.size(), 2);
        QVERIFY(parts[1].startsWith("iNo\tiMasterNo\tiProductNo\t"));
        QCOMPARE(parts[1].split('\n', Qt::SkipEmptyParts).size(), lines + 1);

        r = lnqRun({"doc", "confirm", "--db", m_db, "--user", "赵敏", key});
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(r.out, key + "\t已确认\n");
        r = lnqRun({"doc", "show", "--db", m_db, key});
        QCOMPARE(masterValue(r.out, "vConfirmState"), QStringLiteral("已确认"));
        QCOMPARE(masterValue(r.out, "vConfirmUser"), QStringLiteral("赵敏"));
        QCOMPARE(masterValue(r.out, "dConfirmDate"), QStringLiteral("2026-03-09"));
        QCOMPARE(
            scalar("select count(*) as n from Sal_SaleDetail where vConfirmState='已确认' and iMasterNo=" +
                   key)
                .toInt(),
            lines);

        // Twice, or deleting a confirmed document, is refused.
        QCOMPARE(lnqRun({"doc", "confirm", "--db", m_db, key}).exitCode, 1);
        r = lnqRun({"doc", "delete", "--db", m_db, key});
        QCOMPARE(r.exitCode, 1);
        QVERIFY(r.err.contains("已确认"));

        r = lnqRun({"doc", "unconfirm", "--db", m_db, key});
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(r.out, key + "\t未确认\n");
        r = lnqRun({"doc", "delete", "--db", m_db, key});
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(r.out, "deleted " + key + " with " + QString::number(lines) + " lines\n");
        QCOMPARE(scalar("select count(*) as n from Sal_SaleDetail where iMasterNo=" + key),
                 QStringLiteral("0"));
        QCOMPARE(lnqRun({"doc", "show", "--db", m_db, key}).exitCode, 1);
    }

    void refusedArguments_data() {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<int>("exitCode");
        QTest::newRow("hostile table")
            << QStringList{"--master", "Sal_SaleMain;drop table Sal_SaleDetail", "1"} << 2;
        QTest::newRow("key not a number") << QStringList{"1 or 1=1"} << 2;
        QTest::newRow("no key") << QStringList{} << 2;
        QTest::newRow("unknown option") << QStringList{"--user", "x", "1"} << 2;
        QTest::newRow("missing table") << QStringList{"--master", "NoSuchTable", "1"} << 1;
    }
    void refusedArguments() {
        QFETCH(QStringList, args);
        QFETCH(int, exitCode);
        const Run r = lnqRun(QStringList{"doc", "show", "--db", m_db} + args);
        QCOMPARE(r.exitCode, exitCode);
        QVERIFY(!r.err.isEmpty());
        QVERIFY(scalar("select count(*) as n from Sal_SaleDetail").toInt() > 0);
    }
};

LNQ_TEST_MAIN_CORE(TestLnqDoc)
#include "tst_lnq_doc.moc"
