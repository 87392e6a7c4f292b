// lnq sql with quick-filter conditions and a sort text, end to end.

#include "common/TestMain.h"
#include "common/ToolRun.h"

#include <QTemporaryDir>

namespace {
using Run = lnqtest::ToolRun;
Run lnqRun(const QStringList& args) {
    QProcessEnvironment env;
    env.insert(QStringLiteral("LNQ_NOW"), QStringLiteral("2024-06-15 10:30:00"));
    return lnqtest::runTool(args, env);
}
} // namespace

class TestLnqSqlRows : public QObject {
    Q_OBJECT
private:
    QTemporaryDir m_dir;
    QString m_db;

    Run sql(const QStringList& options, const QString& text) {
        return lnqRun(QStringList{QStringLiteral("sql"), QStringLiteral("--db"), m_db} + options << text);
    }

private Q_SLOTS:
    void initTestCase() {
        QVERIFY(m_dir.isValid());
        m_db = m_dir.filePath(QStringLiteral("t.db"));
        QCOMPARE(lnqRun({QStringLiteral("init-db"), m_db}).exitCode, 0);
        QCOMPARE(sql({}, QStringLiteral("create table C (iNo int primary key, vName nvarchar(20), "
                                        "mPrice money, dWhen datetime)"))
                     .exitCode,
                 0);
        QCOMPARE(sql({}, QStringLiteral("insert into C values (1, '上海浦东', 5, '2024-06-14'),"
                                        "(2, '北京海淀', 20, '2024-06-10'), (3, 'beijing', 30, NULL),"
                                        "(4, '北京朝阳', 10, '2024-06-12'), (5, 'Anhui', 10, '2024-06-13'),"
                                        "(6, '北京', NULL, '2024-06-01')"))
                     .exitCode,
                 0);
    }

    void filteredAndSorted_data() {
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<QString>("ids"); // iNo of the rows printed, in order
        QTest::newRow("no options") << QStringList{} << "1 2 3 4 5 6";
        QTest::newRow("contains") << QStringList{"--filter", "vName", "包含", "北京"} << "2 4 6";
        QTest::newRow("two conditions")
            << QStringList{"--filter", "vName", "包含", "北京", "--filter", "mPrice", "大于等于", "10"}
            << "2 4";
        QTest::newRow("this week") << QStringList{"--filter", "dWhen", "这个星期", ""} << "1 2 4 5";
        QTest::newRow("empty number value is 0") << QStringList{"--filter", "mPrice", "等于", ""} << "6";
        QTest::newRow("collation order") << QStringList{"--sort", "vName"} << "5 3 6 4 2 1";
        QTest::newRow("filtered, sorted descending")
            << QStringList{"--filter", "mPrice", "大于", "6", "--sort", "mPrice DESC, vName"} << "3 2 5 4";
    }
    void filteredAndSorted() {
        QFETCH(QStringList, options);
        QFETCH(QString, ids);
        const Run r = sql(options, QStringLiteral("select iNo, vName, mPrice, dWhen from C"));
        QCOMPARE(r.exitCode, 0);
        QVERIFY2(r.err.isEmpty(), qPrintable(r.err));
        QStringList lines = r.out.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
        QCOMPARE(lines.takeFirst(), QStringLiteral("iNo\tvName\tmPrice\tdWhen"));
        for (QString& line : lines)
            line = line.section(QLatin1Char('\t'), 0, 0);
        QCOMPARE(lines.join(QLatin1Char(' ')), ids);
    }

    void failures_data() {
        QTest::addColumn<QStringList>("options");
        QTest::addColumn<int>("exitCode");
        QTest::addColumn<QString>("errorPart");
        QTest::newRow("unknown field") << QStringList{"--filter", "vNope", "包含", "x"} << 1 << "vNope";
        QTest::newRow("value not a number") << QStringList{"--filter", "mPrice", "等于", "1元"} << 1 << "1元";
        QTest::newRow("unknown sort field") << QStringList{"--sort", "vNope"} << 1 << "vNope";
        QTest::newRow("filter missing its value")
            << QStringList{"--filter", "vName", "包含"} << 2 << "--filter";
    }
    void failures() {
        QFETCH(QStringList, options);
        QFETCH(int, exitCode);
        QFETCH(QString, errorPart);
        const Run r = options.size() == 3
                          ? lnqRun(QStringList{QStringLiteral("sql"), QStringLiteral("--db"), m_db} + options)
                          : sql(options, QStringLiteral("select iNo, vName, mPrice from C"));
        QCOMPARE(r.exitCode, exitCode);
        QVERIFY2(r.err.contains(errorPart), qPrintable(r.err));
        QVERIFY(r.out.isEmpty());
    }
};

LNQ_TEST_MAIN_CORE(TestLnqSqlRows)
#include "tst_lnq_sqlrows.moc"
