// The data grid's print, export, copy and setup items doing their work, and
// its layout file written and read at the save points: driven through the
// grid's own menu on sample customers, with the real report library.

#include "MessageBoxWatch.h"
#include "common/DBGridDriver.h"
#include "common/PdfText.h"
#include "common/SampleDb.h"
#include "common/TestMain.h"
#include "common/ZipRead.h"
#include "data/ADOConnection.h"
#include "data/SampleDatabase.h"
#include "grid/data/Ctrl_DataView.h"
#include "grid/data/Ctrl_GridSetupFm.h"
#include "grid/data/Ctrl_LNQDBGrid.h"
#include "report/ReportTemplate.h"
#include "util/Gbk.h"
#include "web/Ctrl_datawebbrowser.h"

#include <QClipboard>
#include <QDesktopServices>
#include <QDir>
#include <QGuiApplication>
#include <QHeaderView>
#include <QMenu>
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

    void reopen() {
        m_customers.Close();
        m_customers.SetSort(QString());
        m_customers.Open();
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

    void copyItem_data() {
        QTest::addColumn<QString>("field");
        QTest::addColumn<int>("row");
        QTest::newRow("text") << "vCustomerName" << 3;
        QTest::newRow("money") << "mCreditLimit" << 2;
        QTest::newRow("code") << "vCustomerNo" << 5;
    }
    void copyItem() {
        QFETCH(QString, field);
        QFETCH(int, row);
        reopen();
        Screen s(&m_customers);
        QGuiApplication::clipboard()->setText(QStringLiteral("before"));
        s.choose(field, row, QStringLiteral("复制"));
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

    void corruptLayoutFileIsReported_data() {
        QTest::addColumn<QByteArray>("bytes");
        QTest::newRow("short") << QByteArray("\x03\x00\x00\x00\x02\x00\x00\x00v", 9);
        QTest::newRow("huge count") << QByteArray("\xff\xff\xff\x7f", 4);
        QTest::newRow("negative length") << QByteArray("\x01\x00\x00\x00\xfe\xff\xff\xff", 8);
    }
    void corruptLayoutFileIsReported() {
        QFETCH(QByteArray, bytes);
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
};

LNQ_TEST_MAIN_WIDGETS(tst_DBGridMenuActions)
#include "tst_DBGridMenuActions.moc"
