#include "common/TestMain.h"
#include "common/ToolRun.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QTemporaryDir>

namespace {
using Run = lnqtest::ToolRun;
Run lnqRun(const QStringList& args) {
    QProcessEnvironment env;
    env.insert(QStringLiteral("LNQ_NOW"), QStringLiteral("2024-06-15 10:30:00"));
    return lnqtest::runTool(args, env);
}
} // namespace

class TestLnqDb : public QObject {
    Q_OBJECT
private:
    QTemporaryDir m_dir;
    QString m_db;

    Run sql(const QString& text, bool json = false) {
        QStringList args{QStringLiteral("sql"), QStringLiteral("--db"), m_db};
        if (json) args << QStringLiteral("--json");
        return lnqRun(args << text);
    }

private Q_SLOTS:
    void initTestCase() {
        QVERIFY(m_dir.isValid());
        m_db = m_dir.filePath(QStringLiteral("t.db"));
        const Run r = lnqRun({QStringLiteral("init-db"), m_db});
        QCOMPARE(r.exitCode, 0);
        QVERIFY(QFile::exists(m_db));
        QCOMPARE(sql(QStringLiteral("create table T (iNo int identity(1,1) primary key, vName nvarchar(20), "
                                    "mPrice money, bFlag bit, dWhen datetime, vNote nvarchar(50))"))
                     .exitCode,
                 0);
        const Run ins = sql(QStringLiteral("insert into T (vName, mPrice, bFlag, dWhen, vNote) values "
                                           "('张三', 12.5, 1, '2024-03-05 14:30:15', 'a\tb'),"
                                           "('李四', NULL, 0, NULL, NULL)"));
        QCOMPARE(ins.exitCode, 0);
        QVERIFY(ins.out.isEmpty()); // a statement prints nothing
    }

    void queryAsText() {
        const Run r =
            sql(QStringLiteral("select iNo, vName, mPrice, bFlag, dWhen, vNote from T order by iNo"));
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(r.out, QStringLiteral("iNo\tvName\tmPrice\tbFlag\tdWhen\tvNote\n"
                                       "1\t张三\t12.50\ttrue\t2024-03-05 14:30:15\ta\\tb\n"
                                       "2\t李四\t\tfalse\t\t\n"));
        QVERIFY(r.err.isEmpty());
    }

    // Floats print as the dataset shows them (15 significant digits), not
    // as the shortest text that reads back to the same double.
    void floatsPrintAsDisplayed() {
        const Run r = sql(QStringLiteral("select cast(0.1 as float) + cast(0.2 as float) as s, "
                                         "cast(150177.8 as float) * 3 / 3 as t, cast(1e20 as float) as u"));
        QCOMPARE(r.exitCode, 0);
        QCOMPARE(r.out, QStringLiteral("s\tt\tu\n0.3\t150177.8\t1E20\n"));
    }

    void queryAsJson() {
        const Run r =
            sql(QStringLiteral("select iNo, vName, mPrice, bFlag, dWhen from T order by iNo"), true);
        QCOMPARE(r.exitCode, 0);
        const QJsonDocument doc = QJsonDocument::fromJson(r.out.toUtf8());
        QVERIFY(doc.isArray());
        const QJsonArray rows = doc.array();
        QCOMPARE(rows.size(), 2);
        const QJsonArray first = rows[0].toArray();
        QVERIFY(first[0].isDouble());
        QCOMPARE(first[0].toInt(), 1);
        QCOMPARE(first[1].toString(), QStringLiteral("张三"));
        QCOMPARE(first[2].toDouble(), 12.5);
        QCOMPARE(first[3], QJsonValue(true));
        QCOMPARE(first[4].toString(), QStringLiteral("2024-03-05 14:30:15"));
        const QJsonArray second = rows[1].toArray();
        QVERIFY(second[2].isNull());
        QCOMPARE(second[3], QJsonValue(false));
        QVERIFY(second[4].isNull());
        QCOMPARE(sql(QStringLiteral("select * from T where 1=0"), true).out, QStringLiteral("[]\n"));
    }

    void statementChangesData() {
        QCOMPARE(sql(QStringLiteral("update T set vNote = 'x''y' where iNo = 2")).exitCode, 0);
        QCOMPARE(sql(QStringLiteral("select vNote from T where iNo = 2")).out,
                 QStringLiteral("vNote\nx'y\n"));
        QCOMPARE(sql(QStringLiteral("update T set vNote = NULL where iNo = 2")).exitCode, 0);
    }

    void failures_data() {
        QTest::addColumn<QStringList>("args");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("errorPart");
        QTest::newRow("missing table")
            << QStringList{"sql", "--db", "@", "select * from Nope"} << 1 << "Nope";
        QTest::newRow("bad statement")
            << QStringList{"sql", "--db", "@", "update Nope set a = 1"} << 1 << "Nope";
        QTest::newRow("no database file")
            << QStringList{"sql", "--db", "@missing", "select 1"} << 1 << "does not exist";
        QTest::newRow("no sql") << QStringList{"sql", "--db", "@"} << 2 << "usage";
        QTest::newRow("no path") << QStringList{"init-db"} << 2 << "usage";
    }
    void failures() {
        QFETCH(QStringList, args);
        QFETCH(int, exitCode);
        QFETCH(QString, errorPart);
        for (QString& a : args) {
            if (a == QLatin1String("@"))
                a = m_db;
            else if (a == QLatin1String("@missing"))
                a = m_dir.filePath(QStringLiteral("none.db"));
        }
        const Run r = lnqRun(args);
        QCOMPARE(r.exitCode, exitCode);
        QVERIFY2(r.err.contains(errorPart), qPrintable(r.err));
        QVERIFY(r.out.isEmpty());
        QVERIFY(!QFile::exists(m_dir.filePath(QStringLiteral("none.db"))));
    }

    void initRefusesToOverwrite() {
        const Run again = lnqRun({QStringLiteral("init-db"), m_db});
        QCOMPARE(again.exitCode, 1);
        QVERIFY(again.err.contains(QLatin1String("--force")));
        QCOMPARE(sql(QStringLiteral("select count(*) as n from T")).out, QStringLiteral("n\n2\n"));

        // An empty file may be initialised.
        const QString empty = m_dir.filePath(QStringLiteral("empty.db"));
        QFile f(empty);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.close();
        QCOMPARE(lnqRun({QStringLiteral("init-db"), empty}).exitCode, 0);
    }

    void initSampleWithForce() {
        const QString file = m_dir.filePath(QStringLiteral("sample.db"));
        QFile f(file);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write("old content");
        f.close();
        const Run r =
            lnqRun({QStringLiteral("init-db"), file, QStringLiteral("--sample"), QStringLiteral("--force")});
        QCOMPARE(r.exitCode, 0);
        const Run n = lnqRun({QStringLiteral("sql"), QStringLiteral("--db"), file, QStringLiteral("--json"),
                              QStringLiteral("select count(*) from Cust_CustomersMain where bIsAgent=1")});
        QCOMPARE(n.exitCode, 0);
        QVERIFY(QJsonDocument::fromJson(n.out.toUtf8()).array()[0].toArray()[0].toInt() > 50);
        const Run views =
            lnqRun({QStringLiteral("sql"), QStringLiteral("--db"), file,
                    QStringLiteral("select vFileName from Sys_FileBase where vExt = '.SAL' order by "
                                   "vFileName")});
        QVERIFY2(views.out.contains(QStringLiteral("常用视图\\\\未审核销售单")), qPrintable(views.out));
    }
};

LNQ_TEST_MAIN_CORE(TestLnqDb)
#include "tst_lnq_db.moc"
