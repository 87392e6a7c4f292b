// lnq export, end to end through the real executable on a sample database:
// the three formats, the layout file, and clear failures.

#include "common/TestMain.h"
#include "common/ToolRun.h"
#include "common/ZipRead.h"
#include "data/SampleDatabase.h"
#include "grid/data/LayoutFile.h"

#include <QFile>
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
        SampleDatabase::Options small;
        small.customers = 40;
        small.products = 5;
        small.sales = 5;
        SampleDatabase::CreateSample(m_db, small);
    }

    void spreadsheet() {
        const QString out = m_dir.filePath(QStringLiteral("a.xlsx"));
        const auto r = run(QStringLiteral("xlsx"), out, {QStringLiteral("--title"), QStringLiteral("客户")});
        QCOMPARE(r.exitCode, 0);
        QVERIFY(r.out.contains(QStringLiteral("30 rows, 4 columns")));
        const QString sheet = QString::fromUtf8(lnqtest::zipMember(out, "xl/worksheets/sheet1.xml"));
        QVERIFY(sheet.contains(QStringLiteral("决策支持中心-客户")));
        QVERIFY(sheet.contains(QStringLiteral("<mergeCell ref=\"A1:D1\"/>")));
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
};

LNQ_TEST_MAIN_CORE(tst_lnq_export)
#include "tst_lnq_export.moc"
