// Printing through the default report library, end to end: the library
// loaded by name, its failure messages, the missing template going to the
// designer, a real PDF of sample customers, the spreadsheet export and the
// template menu.

#include "MessageBoxWatch.h"
#include "common/DataSetHelpers.h"
#include "common/PdfText.h"
#include "common/SampleDb.h"
#include "common/TestMain.h"
#include "common/ZipRead.h"
#include "data/ADOConnection.h"
#include "data/Plat_dataenvironment.h"
#include "data/SampleDatabase.h"
#include "grid/data/Print_ui.h"
#include "report/ReportTemplate.h"
#include "util/Clock.h"

#include <QAction>
#include <QClipboard>
#include <QDesktopServices>
#include <QDir>
#include <QGuiApplication>
#include <QMenu>
#include <QMimeData>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QUrl>

using namespace lnq;

namespace {

class UrlCatcher : public QObject {
    Q_OBJECT
public:
    QList<QUrl> urls;
public Q_SLOTS:
    void open(const QUrl& url) { urls << url; }
};

} // namespace

class tst_Print_ui : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    TADOConnection m_ado;
    TADODataSet m_customers;

    TGridReportSource source(const QString& templateName) {
        TGridReportSource s;
        s.DataSet = &m_customers;
        s.FormCaption = QStringLiteral("客户列表");
        s.Columns = {{QStringLiteral("vCustomerNo"), QStringLiteral("客户.编码"), 90},
                     {QStringLiteral("vCustomerName"), QStringLiteral("客户.名称↓"), 220},
                     {QStringLiteral("mCreditLimit"), QStringLiteral("信用额度"), 90},
                     {QStringLiteral("bIsAgent"), QStringLiteral("代理商"), 50},
                     {QStringLiteral("dCreateDate"), QStringLiteral("建档日期"), 120}};
        s.CellFileName = m_dir.filePath(templateName);
        s.OnPreparePrintData = [](TDataSetCanReportOutObject& data) {
            data.AddMasterData(Gbk::encode(QStringLiteral("操作员")).constData(),
                               Gbk::encode(QStringLiteral("张三")).constData());
        };
        return s;
    }

private Q_SLOTS:
    void initTestCase() {
        const QString db = m_dir.filePath(QStringLiteral("sample.db"));
        lnqtest::openSmallSample(m_ado, db);
        m_customers.SetConnection(&m_ado);
        m_customers.SetCommandText(QStringLiteral("select vCustomerNo, vCustomerName, mCreditLimit, "
                                                  "bIsAgent, dCreateDate from Cust_CustomersMain"));
        m_customers.Open();
        m_customers.SetSort(QStringLiteral("vCustomerNo DESC"));
        TPrint::SetLibraryDir(QStringLiteral(LNQ_REPORT_LIBRARY_DIR));
    }

    void missingLibraryOrEntry_data() {
        QTest::addColumn<bool>("grid");
        QTest::newRow("TPrint") << false;
        QTest::newRow("grid handler") << true;
    }
    void missingLibraryOrEntry() {
        QFETCH(bool, grid);
        TPrint::SetLibraryDir(m_dir.filePath(QStringLiteral("nowhere")));
        lnqtest::MessageBoxWatch boxes;
        TDataSetCanReportOutObject data(nullptr, &m_customers);
        const int r =
            grid ? GridPrint(source(QStringLiteral("a.RPT")), TPrintType::ptPreview)
                 : TPrint::DoReport(m_dir.filePath(QStringLiteral("a.RPT")), data, TPrintType::ptPrint);
        TPrint::SetLibraryDir(QStringLiteral(LNQ_REPORT_LIBRARY_DIR));
        QCOMPARE(r, -1);
        QCOMPARE(boxes.texts, QStringList{"打开凯翔报表组件失败, 请检查KxCellDll.dll文件是否正确！"});
        QCOMPARE(boxes.titles, QStringList{"提示"});
    }

    void closedDatasetDoesNothing() {
        TADODataSet closed;
        TGridReportSource s = source(QStringLiteral("c.RPT"));
        s.DataSet = &closed;
        lnqtest::MessageBoxWatch boxes;
        QCOMPARE(GridPrint(s, TPrintType::ptPrint), -1);
        QCOMPARE(GridExportToExcel(s), QString());
        QTest::qWait(30);
        QVERIFY(boxes.texts.isEmpty());
        QVERIFY(!QFile::exists(s.CellFileName));
    }

    void missingTemplateGoesToTheDesigner() {
        const QString file = m_dir.filePath(QStringLiteral("KXReport/sub/客户.RPT"));
        lnqtest::MessageBoxWatch boxes;
        TDataSetCanReportOutObject data(nullptr, &m_customers, source(QString()).Columns);
        QCOMPARE(TPrint::DoReport(file, data, TPrintType::ptPreview, {{"Unattended", "1"}}), 0);
        QCOMPARE(boxes.texts, QStringList{"打印模板文件没有找到！"});
        QCOMPARE(boxes.titles, QStringList{"提示"});
        // The designer saved a template of the provider's columns.
        const TReportTemplate t = LoadReportTemplateFile(file);
        QCOMPARE(t.Columns.size(), size_t(5));
        QCOMPARE(t.Columns[1].Title, QStringLiteral("客户.名称"));
        QVERIFY(t.Columns[2].Total); // money is totalled by default
        // Now that it exists, preview runs without a message.
        QCOMPARE(TPrint::DoReport(file, data, TPrintType::ptPreview, {{"Unattended", "1"}}), 0);
        QCOMPARE(boxes.texts.size(), 1);
    }

    void printsAPdf() {
        TReportTemplate t;
        t.PageHeader = QStringLiteral("操作员：[主:操作员]  日期：[日期]");
        SaveReportTemplateFile(m_dir.filePath(QStringLiteral("p.RPT")), t);
        const QString pdf = m_dir.filePath(QStringLiteral("customers.pdf"));
        // The library prints the host's date: a moment fixed here holds there.
        Clock::setFixedNow(QDateTime(QDate(2021, 3, 4), QTime(9, 30)));
        const int printed = GridPrint(source(QStringLiteral("p.RPT")), TPrintType::ptPrint,
                                      {{"OutputFile", pdf}, {"Unattended", "1"}});
        Clock::setFixedNow(std::nullopt);
        QCOMPARE(printed, 0);
        if (qEnvironmentVariableIsSet("LNQ_REPORT_PDF_OUT")) {
            QFile::remove(qEnvironmentVariable("LNQ_REPORT_PDF_OUT"));
            QFile::copy(pdf, qEnvironmentVariable("LNQ_REPORT_PDF_OUT"));
        }
        const QString text = lnqtest::pdfText(pdf, {QStringLiteral("-layout")});
        QVERIFY2(lnqtest::pdfHas(text, QStringLiteral("客户列表")), qPrintable(text.left(400)));
        QVERIFY(lnqtest::pdfHas(text, QStringLiteral("操作员：张三 日期：2021-03-04")));
        QVERIFY(lnqtest::pdfHas(text, QStringLiteral("第1页 共2页")));
        QVERIFY(lnqtest::pdfHas(text, QStringLiteral("第2页 共2页")));
        // The header is on both pages; the total closes the last.
        QCOMPARE(text.count(QRegularExpression(QStringLiteral("信[\\x{2E80}-\\x{2FDF}用]额度"))), 2);
        QProcess info;
        info.start(QStringLiteral("pdfinfo"), {pdf});
        info.waitForFinished(60000);
        QVERIFY(
            QString::fromUtf8(info.readAllStandardOutput()).contains(QRegularExpression("Pages:\\s+2\\n")));
    }

    void exportsThroughTheLibrary() {
        const QString xlsx = m_dir.filePath(QStringLiteral("lib.xlsx"));
        QCOMPARE(GridPrint(source(QStringLiteral("x.RPT")), TPrintType::ptExportToExcel,
                           {{"OutputFile", xlsx}, {"Unattended", "1"}}),
                 0);
        const QByteArray sheet = lnqtest::zipMember(xlsx, "xl/worksheets/sheet1.xml");
        QVERIFY(sheet.contains(QStringLiteral("决策支持中心-客户列表").toUtf8()));
        QVERIFY(sheet.contains("<mergeCell ref=\"A2:B2\"/>"));
        QCOMPARE(sheet.count("<row "), 63);
    }

    void exportOpensTheSpreadsheet() {
        // The desktop's handler for files stands in for the spreadsheet program.
        UrlCatcher catcher;
        QDesktopServices::setUrlHandler(QStringLiteral("file"), &catcher, "open");
        const QString file = GridExportToExcel(source(QStringLiteral("e.RPT")));
        QDesktopServices::unsetUrlHandler(QStringLiteral("file"));
        QCOMPARE(catcher.urls, QList<QUrl>{QUrl::fromLocalFile(file)});
        const QByteArray sheet = lnqtest::zipMember(file, "xl/worksheets/sheet1.xml");
        QVERIFY(sheet.contains(QStringLiteral("决策支持中心-客户列表").toUtf8()));
        QCOMPARE(sheet.count("<row "), 63);
        // The rows go to the clipboard as HTML too, in the grid's order.
        const QString html = QGuiApplication::clipboard()->mimeData()->html();
        QVERIFY(html.startsWith(QStringLiteral("<table><tr><td align=center Colspan=5>")));
        QVERIFY(html.indexOf(QStringLiteral("KH000060")) < html.indexOf(QStringLiteral("KH000059")));
        QFile::remove(file);
    }

    // The file holds every record; the clipboard at most 20000, and a longer
    // export says so once.
    void longExportCapsTheClipboard_data() {
        QTest::addColumn<int>("rows");
        QTest::newRow("at the limit") << kClipboardHtmlRows;
        QTest::newRow("over the limit") << kClipboardHtmlRows + 1;
    }
    void longExportCapsTheClipboard() {
        QFETCH(int, rows);
        TClientDataSet ds;
        TRecordSetBuilder& b = ds.BeginLoad({lnqtest::fieldDef("vNo", TFieldType::ftString, 10)});
        for (int r = 0; r < rows; ++r) {
            b.SetText(0, QStringLiteral("N%1").arg(r));
            b.EndRow();
        }
        ds.EndLoad();
        TGridReportSource s;
        s.DataSet = &ds;
        s.FormCaption = QStringLiteral("长表");
        s.Columns = {{QStringLiteral("vNo"), QStringLiteral("编号"), 80}};
        lnqtest::MessageBoxWatch boxes;
        UrlCatcher catcher;
        QDesktopServices::setUrlHandler(QStringLiteral("file"), &catcher, "open");
        const QString file = GridExportToExcel(s);
        QDesktopServices::unsetUrlHandler(QStringLiteral("file"));
        QCOMPARE(lnqtest::zipMember(file, "xl/worksheets/sheet1.xml").count("<row "),
                 rows + 2); // title, header, data
        QFile::remove(file);
        const QString html = QGuiApplication::clipboard()->mimeData()->html();
        QCOMPARE(html.count(QStringLiteral("<tr><td>")), kClipboardHtmlRows);
        QVERIFY(html.endsWith(QStringLiteral("<tr><td>N19999</td></tr></table>")));
        QCOMPARE(boxes.texts,
                 rows > kClipboardHtmlRows ? QStringList{kClipboardHtmlLimitText} : QStringList());
    }

    void templateMenu() {
        const QString folder = QCoreApplication::applicationDirPath() + QStringLiteral("/KXReport/tst_menu");
        QDir(folder).removeRecursively();
        QDir().mkpath(folder);
        for (const char* name : {"月报.rpm", "b.rpm", "c.txt"}) {
            QFile f(folder + QLatin1Char('/') + QString::fromUtf8(name));
            QVERIFY(f.open(QIODevice::WriteOnly));
        }
        QMenu menu;
        QStringList clicked;
        TPrint::InitChonseMenuItem(QStringLiteral("tst_menu"), menu,
                                   [&](QAction* a) { clicked << a->text(); });
        QStringList captions;
        for (QAction* a : menu.actions())
            captions << a->text();
        QCOMPARE(captions, (QStringList{"(默认)", "b.rpm", "月报.rpm"}));
        menu.actions()[2]->trigger();
        menu.actions()[0]->trigger();
        QCOMPARE(clicked, (QStringList{"月报.rpm", "(默认)"}));
        QDir(folder).removeRecursively();
        QCOMPARE(TPrint::GetCellFileName(QStringLiteral("N"), QString(), QString()),
                 QCoreApplication::applicationDirPath() + QStringLiteral("/KXReport/N.RPT"));
    }
};

LNQ_TEST_MAIN_WIDGETS(tst_Print_ui)
#include "tst_Print_ui.moc"
