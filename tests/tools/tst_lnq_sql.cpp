// lnq init-db and lnq sql, end to end: text and JSON output, quick-filter
// conditions and sort texts, the collation of the framework's tables and the
// dialect's errors passed through.

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
const QString kOverflow =
    QStringLiteral("Arithmetic overflow error converting expression to data type bigint.");
} // namespace

class TestLnqSql : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    QString m_db;

    Run sql(const QString& text, const QStringList& options = {}) {
        return lnqRun(QStringList{"sql", "--db", m_db} + options << text);
    }

private Q_SLOTS:
    void initTestCase() {
        QVERIFY(m_dir.isValid());
        m_db = m_dir.filePath(QStringLiteral("t.db"));
        QCOMPARE(lnqRun({"init-db", m_db}).exitCode, 0);
        for (const char* statement :
             {"create table T (iNo int identity(1,1) primary key, vName nvarchar(20), mPrice money, bFlag "
              "bit, "
              "dWhen datetime, vNote nvarchar(50))",
              "insert into T (vName, mPrice, bFlag, dWhen, vNote) values "
              "('张三', 12.5, 1, '2024-03-05 14:30:15', 'a\tb'), ('李四', NULL, 0, NULL, NULL)",
              "create table C (iNo int primary key, vName nvarchar(20), mPrice money, dWhen datetime)",
              "insert into C values (1, '上海浦东', 5, '2024-06-14'), (2, '北京海淀', 20, '2024-06-10'), "
              "(3, 'beijing', 30, NULL), (4, '北京朝阳', 10, '2024-06-12'), (5, 'Anhui', 10, '2024-06-13'), "
              "(6, '北京', NULL, '2024-06-01')",
              "create table P (iNo int identity(1,1) primary key, vName nvarchar(20), iBig bigint)",
              "insert into P (vName, iBig) values ('Zed', 5000000000000000000)",
              // The framework's own tables carry the collation too.
              "insert into sys_group (vGroupID, vGroupName) values ('G1', N'销售部')"}) {
            const Run r = sql(QString::fromUtf8(statement));
            QVERIFY2(r.exitCode == 0, qPrintable(r.err));
            QCOMPARE(r.out, QString()); // a statement prints nothing
        }
    }

    // Rows run in order: the update rows come after the first read of T.
    void answers_data() {
        QTest::addColumn<QString>("query");
        QTest::addColumn<QString>("out");
        QTest::newRow("text") << "select iNo, vName, mPrice, bFlag, dWhen, vNote from T order by iNo"
                              << "iNo\tvName\tmPrice\tbFlag\tdWhen\tvNote\n"
                                 "1\t张三\t12.50\ttrue\t2024-03-05 14:30:15\ta\\tb\n"
                                 "2\t李四\t\tfalse\t\t\n";
        // Floats print as the dataset shows them (15 significant digits), not
        // as the shortest text that reads back to the same double.
        QTest::newRow("floats as displayed")
            << "select cast(0.1 as float) + cast(0.2 as float) as s, "
               "cast(150177.8 as float) * 3 / 3 as t, cast(1e20 as float) as u"
            << "s\tt\tu\n0.3\t150177.8\t1E20\n";
        QTest::newRow("update prints nothing") << "update T set vNote = 'x''y' where iNo = 2"
                                               << "";
        QTest::newRow("update stored") << "select vNote from T where iNo = 2"
                                       << "vNote\nx'y\n";
        QTest::newRow("case in framework table") << "select vGroupName from sys_group where vGroupID = 'g1  '"
                                                 << "vGroupName\n销售部\n";
    }
    void answers() {
        QFETCH(QString, query);
        QFETCH(QString, out);
        const Run r = sql(query);
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        QCOMPARE(r.out, out);
        QCOMPARE(r.err, QString());
    }

    void json() {
        const Run r =
            sql(QStringLiteral("select iNo, vName, mPrice, bFlag, dWhen from T order by iNo"), {"--json"});
        QCOMPARE(r.exitCode, 0);
        const QJsonArray rows = QJsonDocument::fromJson(r.out.toUtf8()).array();
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
        QCOMPARE(sql(QStringLiteral("select * from T where 1=0"), {"--json"}).out, QStringLiteral("[]\n"));
    }

    void filteredAndSorted_data() {
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<QString>("ids"); // iNo of the rows printed, in order
        QTest::newRow("no options") << QStringList{} << "1 2 3 4 5 6";
        QTest::newRow("contains") << QStringList{"--filter", "vName", "包含", "北京"} << "2 4 6";
        QTest::newRow("two conditions")
            << QStringList{"--filter", "vName", "包含", "北京", "--filter", "mPrice", "大于等于", "10"}
            << "2 4";
        QTest::newRow("one-argument and three-argument forms")
            << QStringList{"--filter", "vName,包含,北京", "--filter", "mPrice", "大于等于", "10"} << "2 4";
        QTest::newRow("collation order") << QStringList{"--sort", "vName"} << "5 3 6 4 2 1";
        QTest::newRow("filtered, sorted descending")
            << QStringList{"--filter", "mPrice", "大于", "6", "--sort", "mPrice DESC, vName"} << "3 2 5 4";
    }
    void filteredAndSorted() {
        QFETCH(QStringList, options);
        QFETCH(QString, ids);
        const Run r = sql(QStringLiteral("select iNo, vName, mPrice, dWhen from C"), options);
        QVERIFY2(r.exitCode == 0 && r.err.isEmpty(), qPrintable(r.err));
        QStringList lines = r.out.split(u'\n', Qt::SkipEmptyParts);
        QCOMPARE(lines.takeFirst(), QStringLiteral("iNo\tvName\tmPrice\tdWhen"));
        for (QString& line : lines)
            line = line.section(u'\t', 0, 0);
        QCOMPARE(lines.join(u' '), ids);
    }

    void refusals_data() {
        lnqtest::refusalColumns();
        const QStringList c{"sql", "--db", "@", "select iNo, vName, mPrice from C"};
        auto withOptions = [&c](const QStringList& options) { return c.mid(0, 3) + options + c.mid(3); };
        QTest::newRow("missing table")
            << QStringList{"sql", "--db", "@", "select * from Nope"} << 1 << "Nope";
        QTest::newRow("no database file")
            << QStringList{"sql", "--db", "@missing", "select 1"} << 1 << "does not exist";
        QTest::newRow("no sql") << QStringList{"sql", "--db", "@"} << 2 << "usage";
        QTest::newRow("no path") << QStringList{"init-db"} << 2 << "usage";
        QTest::newRow("unknown filter field")
            << withOptions({"--filter", "vNope", "包含", "x"}) << 1 << "vNope";
        QTest::newRow("filter value not a number")
            << withOptions({"--filter", "mPrice", "等于", "1元"}) << 1 << "1元";
        QTest::newRow("unknown sort field") << withOptions({"--sort", "vNope"}) << 1 << "vNope";
        QTest::newRow("filter missing its value")
            << QStringList{"sql", "--db", "@", "--filter", "vName", "包含"} << 2 << "--filter";
        QTest::newRow("bigint overflow")
            << QStringList{"sql", "--db", "@", "select iBig * 2 as x from P"} << 1 << kOverflow;
    }
    void refusals() {
        const QString none = m_dir.filePath(QStringLiteral("none.db"));
        lnqtest::checkRefusal({}, {{"@", m_db}, {"@missing", none}});
        QVERIFY(!QFile::exists(none));
    }

    void initRefusesToOverwrite() {
        const Run again = lnqRun({"init-db", m_db});
        QCOMPARE(again.exitCode, 1);
        QVERIFY(again.err.contains(QLatin1String("--force")));
        QCOMPARE(sql(QStringLiteral("select count(*) as n from T")).out, QStringLiteral("n\n2\n"));
        // An empty file may be initialised.
        const QString empty = m_dir.filePath(QStringLiteral("empty.db"));
        QFile f(empty);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.close();
        QCOMPARE(lnqRun({"init-db", empty}).exitCode, 0);
    }

    void initSampleWithForce() {
        const QString file = m_dir.filePath(QStringLiteral("sample.db"));
        QFile f(file);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write("old content");
        f.close();
        QCOMPARE(lnqRun({"init-db", file, "--sample", "--force"}).exitCode, 0);
        const Run n = lnqRun(
            {"sql", "--db", file, "--json", "select count(*) from Cust_CustomersMain where bIsAgent=1"});
        QCOMPARE(n.exitCode, 0);
        QVERIFY(QJsonDocument::fromJson(n.out.toUtf8()).array()[0].toArray()[0].toInt() > 50);
        const Run views =
            lnqRun({"sql", "--db", file,
                    "select vFileName from Sys_FileBase where vExt = '.SAL' order by vFileName"});
        QVERIFY2(views.out.contains(QStringLiteral("常用视图\\\\未审核销售单")), qPrintable(views.out));
    }
};

LNQ_TEST_MAIN_CORE(TestLnqSql)
#include "tst_lnq_sql.moc"
