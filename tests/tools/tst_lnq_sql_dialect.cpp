// "lnq sql" on the embedded database answers as the production server does:
// text compared by the Chinese case-insensitive collation, overflow raised,
// TOP ... PERCENT, on a database made by "lnq init-db".

#include "common/TestMain.h"
#include "common/ToolRun.h"

#include <QTemporaryDir>

namespace {
using Run = lnqtest::ToolRun;
} // namespace

class TestLnqSqlDialect : public QObject {
    Q_OBJECT
private:
    QTemporaryDir m_dir;
    QString m_db;

    Run sql(const QString& text) {
        return lnqtest::runTool({QStringLiteral("sql"), QStringLiteral("--db"), m_db, text});
    }

private Q_SLOTS:
    void initTestCase() {
        QVERIFY(m_dir.isValid());
        m_db = m_dir.filePath(QStringLiteral("t.db"));
        QCOMPARE(lnqtest::runTool({QStringLiteral("init-db"), m_db}).exitCode, 0);
        QCOMPARE(sql(QStringLiteral("create table P (iNo int identity(1,1) primary key, vName nvarchar(20), "
                                    "iBig bigint)"))
                     .exitCode,
                 0);
        QCOMPARE(sql(QStringLiteral("insert into P (vName, iBig) values (N'中国', 1), (N'北京  ', 2), "
                                    "(N'啊', 3), (N'ＡＢＣ', 4), ('abc', 5), (N'安徽', 6), ('Zed', "
                                    "5000000000000000000)"))
                     .exitCode,
                 0);
        // The framework's own tables carry the collation too.
        QCOMPARE(sql(QStringLiteral("insert into sys_group (vGroupID, vGroupName) values ('G1', N'销售部')"))
                     .exitCode,
                 0);
    }

    void answers_data() {
        QTest::addColumn<QString>("query");
        QTest::addColumn<QString>("out");
        QTest::newRow("trailing blanks") << "select iNo from P where vName = N'北京'"
                                         << "iNo\n2\n";
        QTest::newRow("trailing blanks in like") << "select count(*) as n from P where vName like N'%京'"
                                                 << "n\n1\n";
        QTest::newRow("case beyond ASCII") << "select iNo from P where vName = N'ａｂｃ' order by iNo"
                                           << "iNo\n4\n";
        QTest::newRow("case in framework table") << "select vGroupName from sys_group where vGroupID = 'g1  '"
                                                 << "vGroupName\n销售部\n";
        QTest::newRow("Chinese order") << "select vName from P where iNo in (1, 2, 3, 6) order by vName"
                                       << "vName\n啊\n安徽\n北京  \n中国\n";
        QTest::newRow("distinct") << "select count(distinct vName) as n from P where iNo in (4, 5)"
                                  << "n\n2\n";
        QTest::newRow("top percent") << "select top 30 percent iNo from P order by iNo desc"
                                     << "iNo\n7\n6\n5\n";
    }

    void answers() {
        QFETCH(QString, query);
        QFETCH(QString, out);
        const Run r = sql(query);
        QVERIFY2(r.exitCode == 0, qPrintable(r.err));
        QCOMPARE(r.out, out);
    }

    void errors_data() {
        QTest::addColumn<QString>("query");
        QTest::addColumn<QString>("message");
        QTest::newRow("bigint overflow")
            << "select iBig * 2 as x from P where iNo = 7"
            << "Arithmetic overflow error converting expression to data type bigint.";
        QTest::newRow("literal overflow")
            << "select 9223372036854775807 + 1"
            << "Arithmetic overflow error converting expression to data type bigint.";
        QTest::newRow("sum overflow")
            << "select sum(iBig) as s from (select iBig from P union all select iBig from P) as u"
            << "Arithmetic overflow error converting expression to data type bigint.";
        QTest::newRow("invalid float") << "select sqrt(-1)"
                                       << "An invalid floating point operation occurred.";
        QTest::newRow("percent range") << "select top 200 percent iNo from P"
                                       << "Percent values must be between 0 and 100.";
    }

    void errors() {
        QFETCH(QString, query);
        QFETCH(QString, message);
        const Run r = sql(query);
        QCOMPARE(r.exitCode, 1);
        QVERIFY2(r.err.contains(message), qPrintable(r.err));
        QVERIFY(r.out.isEmpty());
    }

    void deleteTopLeavesTheRest() {
        QCOMPARE(sql(QStringLiteral("delete top (2) from P where iNo > 5")).exitCode, 0);
        QCOMPARE(sql(QStringLiteral("select count(*) as n from P")).out, QStringLiteral("n\n5\n"));
    }
};

LNQ_TEST_MAIN_CORE(TestLnqSqlDialect)
#include "tst_lnq_sql_dialect.moc"
