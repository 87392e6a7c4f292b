// lnq grid, end to end: quick filters, sorting and footer totals over a query
// on the sample database, by the real executable.

#include "common/TestMain.h"
#include "common/ToolRun.h"
#include "data/SampleDatabase.h"

#include <QTemporaryDir>

using namespace lnq;

class tst_lnq_grid : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    QString m_db;

private Q_SLOTS:
    void initTestCase() {
        m_db = m_dir.filePath(QStringLiteral("sample.db"));
        SampleDatabase::Options opt;
        opt.customers = 120;
        opt.products = 10;
        opt.sales = 5;
        SampleDatabase::CreateSample(m_db, opt);
    }

    void filterSortAndTotals() {
        const QString sql =
            QStringLiteral("select vCustomerNo, vProvince, mCreditLimit from Cust_CustomersMain");
        const auto all = lnqtest::runTool({"grid", "--db", m_db, "--sql", sql});
        QCOMPARE(all.exitCode, 0);
        const QStringList allLines = all.out.split(u'\n', Qt::SkipEmptyParts);
        QCOMPARE(allLines.first(), QStringLiteral("vCustomerNo\tvProvince\tmCreditLimit"));
        QCOMPARE(allLines.size(), 121);
        const QString province = allLines.at(1).split(u'\t').at(1);

        const auto r = lnqtest::runTool({"grid", "--db", m_db, "--sql", sql, "--filter",
                                         "vProvince,等于," + province, "--sort", "mCreditLimit", "--desc",
                                         "--sum", "mCreditLimit", "--count", "vCustomerNo"});
        QCOMPARE(r.exitCode, 0);
        const QStringList lines = r.out.split(u'\n', Qt::SkipEmptyParts);
        QVERIFY(lines.size() > 2 && lines.size() < 121);
        double previous = 1e300, sum = 0;
        for (int i = 1; i < lines.size() - 1; ++i) {
            const QStringList cells = lines[i].split(u'\t');
            QCOMPARE(cells.at(1), province);
            const double v = cells.at(2).toDouble();
            QVERIFY(v <= previous);
            previous = v;
            sum += v;
        }
        const QStringList tail = lines.last().split(u'\t');
        QCOMPARE(tail.at(0), QStringLiteral("合计"));
        QCOMPARE(tail.at(1), QString::number(lines.size() - 2));
        QCOMPARE(tail.at(3), QLocale().toString(sum, 'f', 2));
    }

    void errors_data() {
        lnqtest::refusalColumns();
        QTest::newRow("no sql") << QStringList{"grid", "--db", "x.db"} << 2 << "--db and --sql are required";
        QTest::newRow("bad filter") << QStringList{"grid",          "--db",     "@DB", "--sql",
                                                   "select 1 as a", "--filter", "a"}
                                    << 2 << "--filter wants";
        QTest::newRow("unknown field")
            << QStringList{"grid", "--db", "@DB", "--sql", "select 1 as a", "--sort", "zz"} << 1 << "zz";
        QTest::newRow("missing table")
            << QStringList{"grid", "--db", "@DB", "--sql", "select * from NoSuchTable"} << 1 << "NoSuchTable";
    }
    void errors() { lnqtest::checkRefusal({}, {{"@DB", m_db}}); }
};

LNQ_TEST_MAIN_CORE(tst_lnq_grid)
#include "tst_lnq_grid.moc"
