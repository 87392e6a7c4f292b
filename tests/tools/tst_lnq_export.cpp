// lnq export, grid and layout, end to end through the real executable on a
// sample database: the three export formats with a layout file, quick
// filters, sorting and footer totals, layout files decoded, and clear
// failures.

#include "common/TestMain.h"
#include "common/ToolRun.h"
#include "common/ZipRead.h"
#include "data/SampleDatabase.h"
#include "grid/data/LayoutFile.h"

#include <QFile>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QProcess>
#include <QTemporaryDir>

using namespace lnq;

namespace {
const QString kSql = QStringLiteral("select top 30 vCustomerNo, vCustomerName, mCreditLimit, bIsAgent "
                                    "from Cust_CustomersMain order by vCustomerNo");
}

class tst_lnq_export : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    QString m_db;

    lnqtest::ToolRun run(const QString& format, const QString& out, const QStringList& extra = {},
                         const QString& sql = kSql) {
        return lnqtest::runTool(QStringList{"export", "--db", m_db, "--format", format, "--out", out} +
                                extra + QStringList{sql});
    }

private Q_SLOTS:
    void initTestCase() {
        m_db = m_dir.filePath(QStringLiteral("s.db"));
        SampleDatabase::Options opt;
        opt.customers = 120;
        opt.products = 10;
        opt.sales = 5;
        SampleDatabase::CreateSample(m_db, opt);
    }

    void spreadsheet() {
        const QString out = m_dir.filePath(QStringLiteral("a.xlsx"));
        const auto r = run(QStringLiteral("xlsx"), out, {QStringLiteral("--title"), QStringLiteral("客户")});
        QCOMPARE(r.exitCode, 0);
        QVERIFY(r.out.contains(QStringLiteral("30 rows, 4 columns")));
        const QString sheet = QString::fromUtf8(lnqtest::zipMember(out, "xl/worksheets/sheet1.xml"));
        QVERIFY(sheet.contains(QStringLiteral("决策支持中心-客户")));
        QVERIFY(sheet.contains(QStringLiteral(">客户编码<"))); // dictionary caption
        QVERIFY(sheet.contains(QStringLiteral("<row r=\"32\"")));
    }

    void htmlWithLayout() {
        const QString layout = m_dir.filePath(QStringLiteral("l.FMT"));
        SaveLayoutFile(layout, {{QStringLiteral("vCustomerName"), 120, QStringLiteral("客户.名称")},
                                {QStringLiteral("vCustomerNo"), 60, QStringLiteral("客户.编码")}});
        const QString out = m_dir.filePath(QStringLiteral("a.html"));
        const auto r = run(QStringLiteral("html"), out, {QStringLiteral("--layout"), layout});
        QCOMPARE(r.exitCode, 0);
        QFile f(out);
        QVERIFY(f.open(QIODevice::ReadOnly));
        const QString html = QString::fromUtf8(f.readAll());
        QVERIFY(
            html.contains(QStringLiteral("<Table border=\"1\"><tr><td align=center colspan=\"2\">客户</td>"
                                         "</tr><tr><td align=center>名称</td><td align=center>编码</td>"
                                         "</tr></table>")));
        QCOMPARE(html.count(QStringLiteral("<tr><td>")), 30);
    }

    void pdfThroughTheReportLibrary() {
        const QString out = m_dir.filePath(QStringLiteral("a.pdf"));
        const auto r = run(QStringLiteral("pdf"), out);
        QCOMPARE(r.exitCode, 0);
        QFile f(out);
        QVERIFY(f.open(QIODevice::ReadOnly));
        QVERIFY(f.read(5) == "%PDF-");
    }

    void failsClearly_data() {
        QTest::addColumn<QStringList>("extra");
        QTest::addColumn<QString>("sql");
        QTest::addColumn<int>("code");
        QTest::addColumn<QString>("message");
        QTest::newRow("missing table") << QStringList() << "select * from NoSuchTable" << 1 << "NoSuchTable";
        QTest::newRow("missing layout")
            << QStringList{"--layout", "/nonexistent/x.FMT"} << kSql << 1 << "列布局文件";
        QTest::newRow("bad format") << QStringList() << kSql << 2 << "unknown format";
    }
    void failsClearly() {
        QFETCH(QStringList, extra);
        QFETCH(QString, sql);
        QFETCH(int, code);
        QFETCH(QString, message);
        const QString out = m_dir.filePath(QStringLiteral("f.xlsx"));
        const auto r = run(code == 2 ? QStringLiteral("doc") : QStringLiteral("xlsx"), out, extra, sql);
        QCOMPARE(r.exitCode, code);
        QVERIFY2(r.err.contains(message), qPrintable(r.err));
        QVERIFY(!QFile::exists(out));
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

    void gridRefusals_data() {
        lnqtest::refusalColumns();
        QTest::newRow("no sql") << QStringList{"grid", "--db", "x.db"} << 2 << "--db and --sql are required";
        QTest::newRow("bad filter") << QStringList{"grid",          "--db",     "@DB", "--sql",
                                                   "select 1 as a", "--filter", "a"}
                                    << 2 << "--filter wants";
        QTest::newRow("filter of two parts")
            << QStringList{"grid", "--db", "@DB", "--sql", "select 1 as a", "--filter", "a,等于"} << 2
            << "--filter wants";
        QTest::newRow("unknown field")
            << QStringList{"grid", "--db", "@DB", "--sql", "select 1 as a", "--sort", "zz"} << 1 << "zz";
        QTest::newRow("missing table")
            << QStringList{"grid", "--db", "@DB", "--sql", "select * from NoSuchTable"} << 1 << "NoSuchTable";
    }
    void gridRefusals() { lnqtest::checkRefusal({}, {{"@DB", m_db}}); }

    void decodesLayout() {
        const QString file = m_dir.filePath(QStringLiteral("a.FMT"));
        SaveLayoutFile(file, {{QStringLiteral("vCode"), 80, QStringLiteral("客户编码")},
                              {QStringLiteral("vName"), 0, QStringLiteral("名称\"引号")}});
        const auto r = lnqtest::runTool({QStringLiteral("layout"), QStringLiteral("decode"), file});
        QCOMPARE(r.exitCode, 0);
        const QJsonArray a = QJsonDocument::fromJson(r.out.toUtf8()).array();
        QCOMPARE(a.size(), 2);
        QCOMPARE(a[0].toObject(), (QJsonObject{{"field", "vCode"}, {"width", 80}, {"title", "客户编码"}}));
        QCOMPARE(a[1].toObject(), (QJsonObject{{"field", "vName"}, {"width", 0}, {"title", "名称\"引号"}}));
    }

    void layoutRefusals_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::addColumn<QString>("message");
        QTest::newRow("truncated") << QByteArray("\x02\x00\x00\x00\x05\x00\x00\x00vCo", 11) << "流读取错误";
    }
    void layoutRefusals() {
        QFETCH(QByteArray, bytes);
        QFETCH(QString, message);
        const QString file = m_dir.filePath(QStringLiteral("bad.FMT"));
        QFile f(file);
        QVERIFY(f.open(QIODevice::WriteOnly | QIODevice::Truncate));
        f.write(bytes);
        f.close();
        const auto r = lnqtest::runTool({QStringLiteral("layout"), QStringLiteral("decode"), file});
        QCOMPARE(r.exitCode, 1);
        QVERIFY2(r.err.contains(message) && r.err.contains(file), qPrintable(r.err));
        QVERIFY(r.out.isEmpty());
        const auto missing = lnqtest::runTool(
            {QStringLiteral("layout"), QStringLiteral("decode"), m_dir.filePath(QStringLiteral("none.FMT"))});
        QCOMPARE(missing.exitCode, 1);
        QVERIFY(missing.err.contains(QStringLiteral("无法打开文件")));
    }
};

LNQ_TEST_MAIN_CORE(tst_lnq_export)
#include "tst_lnq_export.moc"
