// The data grid's print, export, copy and setup items doing their work, and
// its layout file written and read at the save points: driven through the
// grid's own menu on sample customers, with the real report library. Then
// printing through that library directly: the library loaded by name, its
// failure messages, the missing template going to the designer, a real PDF,
// the spreadsheet export and the template menu.

#include "MessageBoxWatch.h"
#include "common/DBGridDriver.h"
#include "common/DataSetHelpers.h"
#include "common/PdfText.h"
#include "common/SampleDb.h"
#include "common/TestMain.h"
#include "common/ZipRead.h"
#include "data/ADOConnection.h"
#include "data/SampleDatabase.h"
#include "grid/data/Ctrl_DataView.h"
#include "grid/data/Ctrl_GridSetupFm.h"
#include "grid/data/Ctrl_LNQDBGrid.h"
#include "grid/data/Print_ui.h"
#include "report/ReportTemplate.h"
#include "util/Clock.h"
#include "util/Gbk.h"
#include "web/Ctrl_datawebbrowser.h"

#include <QClipboard>
#include <QDesktopServices>
#include <QDir>
#include <QGuiApplication>
#include <QHeaderView>
#include <QMenu>
#include <QMimeData>
#include <QProcess>
#include <QRegularExpression>
#include <QTemporaryDir>
#include <QTimer>
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

// A grid on a form, as a host places it.
struct Screen {
    QWidget form;
    TLNQDBGrid* g;
    explicit Screen(TDataSet* ds, bool autoFormat = false, const QString& formatFileName = {}) {
        form.setObjectName(QStringLiteral("FormCust"));
        form.setWindowTitle(QStringLiteral("客户列表"));
        g = new TLNQDBGrid(&form);
        g->setObjectName(QStringLiteral("gridCust"));
        g->PrinterCount = [] { return 1; };
        g->SetFormatFileName(formatFileName);
        // The menu is built with the options (and the printer count) in force.
        g->SetControlOptions(autoFormat ? g->ControlOptions() | TDBGridControlOption::coAutoFormat
                                        : g->ControlOptions());
        g->SetDataSet(ds);
        g->resize(800, 300);
        form.resize(800, 300);
        form.show();
    }
    TColumn* col(const QString& f) const { return g->Columns().ColumnOfField(f); }
    void choose(const QString& field, int row, const QString& caption) {
        lnqtest::chooseMenuItem(*g, field, row, caption);
    }
    QStringList shown(const QString& field) const { return lnqtest::shownColumn(*g, field); }
    QStringList layout() const {
        QStringList out;
        for (int i = 0; i < g->Columns().Count(); ++i) {
            const TColumn* c = g->Columns()[i];
            out << c->FieldName() + u':' + c->Title().Caption() + u':' + QString::number(c->Width());
        }
        return out;
    }
};

} // namespace

class tst_DBGridMenuActions : public QObject {
    Q_OBJECT
    QTemporaryDir m_dir;
    TADOConnection m_ado;
    TADODataSet m_customers;
    TADODataSet m_sorted; // by code, descending, for the report source

    void reopen() {
        m_customers.Close();
        m_customers.SetSort(QString());
        m_customers.Open();
    }

    TGridReportSource source(const QString& templateName) {
        TGridReportSource s;
        s.DataSet = &m_sorted;
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
        m_customers.SetCommandText(
            QStringLiteral("select vCustomerNo, vCustomerName, mCreditLimit, bIsAgent, "
                           "vCustomersKind from Cust_CustomersMain"));
        m_customers.Open();
        m_sorted.SetConnection(&m_ado);
        m_sorted.SetCommandText(QStringLiteral("select vCustomerNo, vCustomerName, mCreditLimit, "
                                               "bIsAgent, dCreateDate from Cust_CustomersMain"));
        m_sorted.Open();
        m_sorted.SetSort(QStringLiteral("vCustomerNo DESC"));
        TPrint::SetLibraryDir(QStringLiteral(LNQ_REPORT_LIBRARY_DIR));
        QDir(QCoreApplication::applicationDirPath() + QStringLiteral("/KXFormat")).removeRecursively();
    }

    void printItemMakesAPdf() {
        Screen s(&m_customers);
        s.g->SetCellFileName(QStringLiteral("some/folder/客户打印"));
        QCOMPARE(s.g->GetCellFileName(),
                 QCoreApplication::applicationDirPath() + QStringLiteral("/KXReport/客户打印.RPT"));
        TReportTemplate t;
        t.PageHeader = QStringLiteral("操作员：[主:操作员]");
        SaveReportTemplateFile(s.g->GetCellFileName(), t);
        const QString pdf = m_dir.filePath(QStringLiteral("grid.pdf"));
        s.g->ReportOptions = {{"OutputFile", pdf}, {"Unattended", "1"}};
        s.g->OnPreparePrintData = [](TLNQCustomDBGrid*, TDataSetCanReportOutObject& data) {
            data.AddMasterData(Gbk::encode(QStringLiteral("操作员")).constData(),
                               Gbk::encode(QStringLiteral("李四")).constData());
        };
        s.choose(QStringLiteral("vCustomerName"), 1, QStringLiteral("打印"));
        const QString text = lnqtest::pdfText(pdf).remove(u' ');
        QVERIFY2(lnqtest::pdfHas(text, QStringLiteral("客户列表")), qPrintable(text.left(300)));
        QVERIFY(lnqtest::pdfHas(text, QStringLiteral("操作员：李四")));
        // The rows are the grid's: its first customer is on the first page.
        m_customers.First();
        QVERIFY(lnqtest::pdfHas(text, m_customers.FieldByName(QStringLiteral("vCustomerName")).AsString()));
        QFile::remove(s.g->GetCellFileName());
    }

    void exportFollowsSortAndFilter_data() {
        QTest::addColumn<bool>("client");
        QTest::newRow("ADO dataset") << false;
        QTest::newRow("client dataset") << true;
    }
    void exportFollowsSortAndFilter() {
        QFETCH(bool, client);
        reopen();
        TClientDataSet copy;
        if (client) copy.CopyFrom(m_customers);
        Screen s(client ? static_cast<TDataSet*>(&copy) : &m_customers);
        s.g->TitleClick(s.col(QStringLiteral("vCustomerNo")));
        s.g->TitleClick(s.col(QStringLiteral("vCustomerNo")));
        s.choose(QStringLiteral("vCustomersKind"), 1, QStringLiteral("按照当前内容筛选"));
        const QStringList onScreen = s.shown(QStringLiteral("vCustomerNo"));
        QVERIFY2(onScreen.size() > 2 && onScreen.size() < 50, qPrintable(QString::number(onScreen.size())));
        UrlCatcher catcher;
        QDesktopServices::setUrlHandler(QStringLiteral("file"), &catcher, "open");
        s.choose(QStringLiteral("vCustomerName"), 1, QStringLiteral("导出到EXCEL"));
        QDesktopServices::unsetUrlHandler(QStringLiteral("file"));
        QCOMPARE(catcher.urls.size(), 1);
        const QString file = catcher.urls[0].toLocalFile();
        const QByteArray sheet = lnqtest::zipMember(file, "xl/worksheets/sheet1.xml");
        QFile::remove(file);
        QVERIFY(sheet.contains(QStringLiteral("决策支持中心-客户列表").toUtf8()));
        QStringList exported;
        for (const auto& m :
             QRegularExpression(QStringLiteral("KH\\d{6}")).globalMatch(QString::fromUtf8(sheet)))
            exported << m.captured();
        QCOMPARE(exported, onScreen);
        s.g->ClearAllFilters();
    }

    void copyItem() {
        reopen();
        Screen s(&m_customers);
        QGuiApplication::clipboard()->setText(QStringLiteral("before"));
        s.choose(QStringLiteral("vCustomerName"), 3, QStringLiteral("复制"));
        QCOMPARE(QGuiApplication::clipboard()->text(), s.g->SelectedField()->AsString());
        QVERIFY(QGuiApplication::clipboard()->text() != QStringLiteral("before"));
    }

    void layoutFileAtTheSavePoints() {
        reopen();
        const QString file = QCoreApplication::applicationDirPath() + QStringLiteral("/KXFormat/") +
                             QFileInfo(QCoreApplication::applicationFilePath()).fileName() +
                             QStringLiteral(".FormCust.gridCust.FMT");
        QFile::remove(file);
        QStringList saved;
        {
            Screen s(&m_customers, true);
            QCOMPARE(s.g->GetFileName(), file);
            // First use: the defaults are not user-assigned widths.
            QVERIFY(!s.col(QStringLiteral("vCustomerName"))->IsWidthStored());
            QVERIFY(!QFile::exists(file));
            s.col(QStringLiteral("vCustomerName"))->SetWidth(150);
            s.col(QStringLiteral("mCreditLimit"))->Title().SetCaption(QStringLiteral("额度"));
            s.g->TitleClick(s.col(QStringLiteral("vCustomerNo")));
            QVERIFY(s.col(QStringLiteral("vCustomerNo"))->Title().Caption().contains(u'↓'));
            QVERIFY(QFile::exists(file));
            saved = s.layout();
            saved[0].remove(u'↓');
        }
        // Byte for byte: count, then the first record's field name in GBK.
        QFile f(file);
        QVERIFY(f.open(QIODevice::ReadOnly));
        const QByteArray bytes = f.readAll();
        QCOMPARE(bytes.left(4), QByteArray("\x05\x00\x00\x00", 4));
        QCOMPARE(bytes.mid(4, 15), QByteArray("\x0b\x00\x00\x00vCustomerNo", 15));
        QVERIFY(bytes.contains(Gbk::encode(QStringLiteral("额度"))));
        QVERIFY(!bytes.contains(Gbk::encode(QStringLiteral("↓"))));
        f.close();
        // A new grid on the same screen reads it back, without the sort mark.
        reopen();
        {
            Screen again(&m_customers, true);
            QCOMPARE(again.layout(), saved);
            // Closing the dataset is a save point too.
            again.col(QStringLiteral("bIsAgent"))->SetWidth(0);
            m_customers.Close();
            QCOMPARE(LoadLayoutFile(file).at(3).Width, 0);
            m_customers.Open();
            QCOMPARE(again.col(QStringLiteral("bIsAgent"))->Width(), 0);
            QFile::remove(file);
        }
        // Destroying the grid saved it once more.
        QVERIFY(QFile::exists(file));
        QFile::remove(file);
    }

    // Every kind of damage has its row in the reader's own table; here the
    // grid reports it and keeps its columns.
    void corruptLayoutFileIsReported() {
        const QByteArray bytes("\x03\x00\x00\x00\x02\x00\x00\x00v", 9);
        reopen();
        const QString file = LayoutFileName(QStringLiteral("corrupt"), QString(), QString());
        QFile f(file);
        QVERIFY(f.open(QIODevice::WriteOnly));
        f.write(bytes);
        f.close();
        QStringList errors;
        QWidget form;
        auto* g = new TLNQDBGrid(&form);
        g->OnDataError = [&](TLNQCustomDBGrid*, const QString& m) { errors << m; };
        g->SetFormatFileName(QStringLiteral("corrupt"));
        g->SetControlOptions(g->ControlOptions() | TDBGridControlOption::coAutoFormat);
        g->SetDataSet(&m_customers);
        QCOMPARE(errors, QStringList{"流读取错误"});
        // The grid keeps one column per field.
        QCOMPARE(g->Columns().Count(), m_customers.FieldCount());
        g->SetControlOptions(g->ControlOptions() &
                             ~TDBGridControlOptions(TDBGridControlOption::coAutoFormat));
        QFile::remove(file);
    }

    // A screen whose columns were rebuilt after the first layout (as a list
    // form does when it hides fields) saves, as its dataset closes, the widths
    // the user saw, not the narrow ones of columns without a field.
    void closingSavesTheWidthsShown() {
        reopen();
        const QString name = QStringLiteral("widths_test");
        const QString file = LayoutFileName(name, QString(), QString());
        QFile::remove(file);
        Screen s(&m_customers, true, name);
        s.g->Columns().RebuildColumns();
        QStringList shown;
        for (int i = 0; i < s.g->Columns().Count(); ++i)
            shown << s.g->Columns()[i]->FieldName() + u':' + QString::number(s.g->Columns()[i]->Width());
        m_customers.Close();
        QStringList saved;
        for (const TLayoutEntry& e : LoadLayoutFile(file))
            saved << e.FieldName + u':' + QString::number(e.Width);
        QCOMPARE(saved, shown);
        m_customers.Open();
        QFile::remove(file);
    }

    void setupItemAppliesAndSaves() {
        reopen();
        const QString name = QStringLiteral("setup_test");
        const QString file = LayoutFileName(name, QString(), QString());
        QFile::remove(file);
        {
            Screen s(&m_customers, true, QStringLiteral("dir/") + name);
            QTimer::singleShot(0, [] {
                auto* f = qobject_cast<TCtrl_GridSetupFm*>(QApplication::activeModalWidget());
                QVERIFY(f);
                f->Grid()->FocusCell(1, 2); // vCustomerName
                QTest::mouseClick(f->BitBtn5, Qt::LeftButton);
                QTest::mouseClick(f->BitBtn1, Qt::LeftButton);
            });
            s.choose(QStringLiteral("vCustomerNo"), 1, QStringLiteral("设置"));
            QVERIFY(!s.col(QStringLiteral("vCustomerName")));
            QCOMPARE(s.g->Columns().Count(), 4);
            QVERIFY(!QFile::exists(file)); // not before a save point
        }
        QStringList fields;
        for (const TLayoutEntry& e : LoadLayoutFile(file))
            fields << e.FieldName;
        QCOMPARE(fields, (QStringList{"vCustomerNo", "mCreditLimit", "bIsAgent", "vCustomersKind"}));
        // The record viewer reads the same file's captions by its name.
        TLNQDataWebBrowser web;
        web.InitFieldsCaptions(name);
        QCOMPARE(web.Page().FieldsCaptions().size(), 4);
        QCOMPARE(web.Page().FieldsCaptions().at(0).first, QStringLiteral("vCustomerNo"));
        QFile::remove(file);
    }

    // A title dragged onto another column moves the column: the collection
    // follows, the order survives a reload and reaches the layout file.
    void columnDraggedByItsTitle() {
        reopen();
        const QString name = QStringLiteral("drag_test");
        const QString file = LayoutFileName(name, QString(), QString());
        QFile::remove(file);
        const QStringList moved{"vCustomerNo", "mCreditLimit", "vCustomerName", "bIsAgent", "vCustomersKind"};
        {
            Screen s(&m_customers, true, name);
            QVERIFY(QTest::qWaitForWindowExposed(&s.form));
            QHeaderView* header = s.g->horizontalHeader();
            auto titleAt = [&](const QString& field) {
                const int gc = s.g->GridColOf(s.col(field));
                return QPoint(header->sectionViewportPosition(gc) + header->sectionSize(gc) / 2,
                              header->height() - 6);
            };
            const QPoint from = titleAt(QStringLiteral("vCustomerName"));
            const QPoint to = titleAt(QStringLiteral("mCreditLimit"));
            QWidget* w = header->viewport();
            QTest::mousePress(w, Qt::LeftButton, {}, from);
            for (int i = 1; i <= 4; ++i) {
                const QPoint p = from + (to - from) * i / 4;
                QMouseEvent move(QEvent::MouseMove, p, w->mapToGlobal(p), Qt::NoButton, Qt::LeftButton,
                                 Qt::NoModifier);
                QApplication::sendEvent(w, &move);
            }
            QTest::mouseRelease(w, Qt::LeftButton, {}, to);
            QStringList fields;
            for (int i = 0; i < s.g->Columns().Count(); ++i)
                fields << s.g->Columns()[i]->FieldName();
            QCOMPARE(fields, moved);
            QCOMPARE(s.g->Columns().State(), csCustomized);
            QCOMPARE(s.shown(QStringLiteral("vCustomerName")).first(), m_customers.ValueAt(0, 1).toString());
            QCOMPARE(s.g->CellModel().Cell(3, 1), m_customers.ValueAt(0, 1).toString());
            // Reloaded (closing is a save point), the columns keep their order.
            reopen();
            QCOMPARE(s.g->Columns()[1]->FieldName(), QStringLiteral("mCreditLimit"));
            QVERIFY(QFile::exists(file));
        }
        QStringList saved;
        for (const TLayoutEntry& e : LoadLayoutFile(file))
            saved << e.FieldName;
        QCOMPARE(saved, moved);
        QFile::remove(file);
    }

    // PermenentIndex: a title sort survives a re-query (order and mark) when
    // set, and is dropped with its mark when clear; a sort the host set on
    // the dataset itself is left alone.
    void permenentIndexAcrossReloads_data() {
        QTest::addColumn<bool>("permanent");
        QTest::newRow("kept") << true;
        QTest::newRow("dropped") << false;
    }
    void permenentIndexAcrossReloads() {
        QFETCH(bool, permanent);
        reopen();
        Screen s(&m_customers);
        s.g->SetPermenentIndex(permanent);
        TColumn* name = s.col(QStringLiteral("vCustomerName"));
        const QString plain = name->Title().Caption();
        s.g->TitleClick(name);
        QCOMPARE(m_customers.Sort(), QStringLiteral("vCustomerName ASC"));
        const QStringList sorted = s.shown(QStringLiteral("vCustomerName"));
        m_customers.Requery();
        name = s.col(QStringLiteral("vCustomerName"));
        QCOMPARE(m_customers.Sort(), permanent ? QStringLiteral("vCustomerName ASC") : QString());
        QCOMPARE(name->Title().Caption().contains(QStringLiteral("↓")), permanent);
        QCOMPARE(s.shown(QStringLiteral("vCustomerName")) == sorted, permanent);
        m_customers.Close();
        m_customers.Open();
        QCOMPARE(m_customers.Sort(), permanent ? QStringLiteral("vCustomerName ASC") : QString());
        // After "取消排序" nothing is re-applied; the host's own sort stays.
        s.choose(QStringLiteral("vCustomerName"), 1, QStringLiteral("取消排序"));
        m_customers.SetSort(QStringLiteral("mCreditLimit DESC"));
        m_customers.Requery();
        QCOMPARE(m_customers.Sort(), QStringLiteral("mCreditLimit DESC"));
        QCOMPARE(s.col(QStringLiteral("vCustomerName"))->Title().Caption(), plain);
    }

    void recordCardAndViewerFromTheGrid() {
        reopen();
        Screen s(&m_customers);
        s.col(QStringLiteral("mCreditLimit"))->Title().SetCaption(QStringLiteral("额度"));
        s.col(QStringLiteral("bIsAgent"))->SetWidth(0);
        s.g->FocusCell(1, 3);
        TDataView card;
        card.ShowGrid(*s.g);
        QCOMPARE(card.Items().at(0), QStringLiteral("vCustomerNo"));
        QCOMPARE(card.Items().at(1), m_customers.FieldByName(QStringLiteral("vCustomerNo")).AsString());
        QVERIFY(card.Items().contains(QStringLiteral("额度")));
        card.InitFieldsCaptions(*s.g);
        QCOMPARE(card.FieldCaptions(), (QStringList{"vCustomerNo=vCustomerNo", "vCustomerName=vCustomerName",
                                                    "mCreditLimit=额度", "vCustomersKind=vCustomersKind"}));
        const TCaptionMap map = GridFieldsCaptions(*s.g);
        QCOMPARE(map.size(), 4);
        QCOMPARE(map.at(2), (QPair<QString, QString>{"mCreditLimit", "额度"}));
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
        TDataSetCanReportOutObject data(nullptr, &m_sorted);
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
        TDataSetCanReportOutObject data(nullptr, &m_sorted, source(QString()).Columns);
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
    }
};

LNQ_TEST_MAIN_WIDGETS(tst_DBGridMenuActions)
#include "tst_DBGridMenuActions.moc"
